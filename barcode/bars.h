// What the two bar code kinds share: the naming of a character that cannot be encoded.
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

} // namespace barcode
