// Character classes and display widths. A form counts field widths in columns: ASCII
// and half-width katakana take one, everything else of the Basic Multilingual Plane
// two, and a character that the default font draws without advance none.
#include "core/qx_z.h"

#include <QFontMetrics>

int qx_z_l::kind_code(QChar c) {
    // Measuring builds font metrics and shapes two strings; a form draws the same few
    // hundred characters over and over, so each one is measured once per run.
    qint8& cached = kind_cache_[c.unicode()];
    if (cached < 0) cached = qint8(measure_kind_code(c));
    return cached;
}

int qx_z_l::measure_kind_code(QChar c) {
    const char16_t u = c.unicode();
    // Half of a surrogate pair is never drawn as itself: measured alone, the font shows a
    // replacement glyph or nothing, depending on the font, so its advance says nothing
    // about the character. The halves are classed by code, so that a character beyond
    // the Basic Multilingual Plane is always two columns (high half 2, low half 0).
    if ((u & 0xFC00) == 0xDC00) return KIND_LOW_SURROGATE;
    if ((u & 0xFC00) == 0xD800) return KIND_HIGH_SURROGATE;
    // Anything the default font draws without advance (combining marks, joiners,
    // controls) takes no column, whatever its code.
    if (!metrics_) metrics_ = std::make_unique<QFontMetrics>(default_font);
    const QString a = QStringLiteral("A");
    if (metrics_->horizontalAdvance(a + c) == metrics_->horizontalAdvance(a)) return KIND_NONE;
    if (u < 0xFF66) return u < 0x80 ? KIND_ASCII : KIND_WIDE;
    if (u < 0xFFA0) return KIND_HALF_KANA;
    return KIND_WIDE;
}

namespace {

// Columns of a character class: a surrogate pair counts two, on its high half.
int class_width(int kind) {
    switch (kind) {
    case qx_z_l::KIND_ASCII:
    case qx_z_l::KIND_HALF_KANA:
        return 1;
    case qx_z_l::KIND_WIDE:
    case qx_z_l::KIND_HIGH_SURROGATE:
        return 2;
    default: // no advance, low surrogate
        return 0;
    }
}

} // namespace

int qx_z_l::form_length(QChar c) {
    return class_width(kind_code(c));
}

int qx_z_l::form_length(qx_zz_l* counter, QChar c) {
    const int kind = kind_code(c);
    if (kind == KIND_HIGH_SURROGATE) counter->num2 = qint32(counter->num2) + 1;
    return class_width(kind);
}

int qx_z_l::form_length(const QString& s, int n) {
    qx_zz_l counter;
    counter.num2 = 0;
    int sum = 0;
    while (qint32(counter.num2) < n && qint32(counter.num2) < s.size()) {
        sum += form_length(&counter, s.at(qint32(counter.num2)));
        counter.num2 = qint32(counter.num2) + 1;
    }
    return sum;
}

int qx_z_l::form_length(const QString& s) {
    return form_length(s, int(s.size()));
}
