// What the two bar code kinds share: the pen of a bar and the naming of a character
// that cannot be encoded.
#pragma once

#include "layout/form.h"

namespace barcode {

// The character at `pos` for a message: a surrogate pair stays whole.
inline QString character_at(const QString& text, int pos) {
    if (text.at(pos).isHighSurrogate() && pos + 1 < text.size() &&
        text.at(pos + 1).isLowSurrogate())
        return text.mid(pos, 2);
    return QString(text.at(pos));
}

// A bar is a vertical line as wide as the bar. Flat ends keep it exactly between the
// bar top and the bar bottom, whatever its width.
inline QPen bar_pen(form_l* form, float width) {
    QPen pen = form->new_pen_nn(width);
    pen.setCapStyle(Qt::FlatCap);
    return pen;
}

} // namespace barcode
