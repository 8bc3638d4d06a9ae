// Field editing: the edit code of a TEXT or DATA item turns its value into the text
// that is drawn. Codes are exact, case-sensitive texts; the value is never checked to be
// a number or a date, and lengths count UTF-16 units.
//
//   "+" "-" "." "E"  thousands separators, right-aligned in the char count ("E" puts a
//                    backslash in front, which Japanese fonts draw as the yen sign);
//                    without a char count they change nothing
//   "R" "Z"          right-aligned in the char count
//   "D" "Y"          an 8-character date yyyyMMdd as yyyy-MM-dd or dd-MM-yyyy
//   "Z" "."          a zero fraction is dropped, after the alignment
//   anything else    unchanged
//
// In test-data mode the value is a single digit, widened by repeating it so that the
// preview shows how wide the field is.
#include "layout/form.h"

namespace {

// Drops a fraction made of zeros: walks from the end towards the second character,
// skipping "0"; a "." found there is cut off together with everything behind it, and
// the walk goes on, so that only another "." can cut again. The first character is
// never looked at, so "0.0" keeps its leading "0".
QString drop_zero_fraction(QString v) {
    for (qsizetype i = v.size() - 1; i >= 1; --i) {
        const QChar c = v.at(i);
        if (c == QLatin1Char('0')) continue;
        if (c != QLatin1Char('.')) break;
        v.truncate(i);
    }
    return v;
}

QString widen(const qx_z_l* ctx, const QString& v, int n) {
    return ctx->pad_end_s(v, n, ctx->at_s_c(v, 0));
}

} // namespace

QString form_l::edit_s(qx_z_l* ctx, const QString& value, const QString& code, int n,
                       bool test_data) {
    // Every code is one character; any longer text is no code.
    const char16_t c = code.size() == 1 ? code.at(0).unicode() : u'\0';
    QString v = value;
    const bool numeric = c == u'+' || c == u'-' || c == u'.' || c == u'E';
    if (numeric && n > 0) {
        if (test_data) v = widen(ctx, v, n - n / 4);
        QString edited = ctx->comma_s(v);
        if (c == u'E' && !v.isEmpty()) edited.prepend(QLatin1Char('\\'));
        v = ctx->pad_start_s(edited, n);
    } else if (c == u'R' || c == u'Z') {
        if (n != 0) v = ctx->pad_start_s(v, n);
    } else if (c == u'D' || c == u'Y') {
        if (test_data) v = widen(ctx, v, 8);
        if (v.size() == 8) {
            const QString year = v.left(4), month = v.mid(4, 2), day = v.mid(6, 2);
            const QChar dash = QLatin1Char('-');
            v = c == u'D' ? year + dash + month + dash + day : day + dash + month + dash + year;
        }
    } else {
        // Any other code, and a numeric code without a char count.
        if (test_data) v = widen(ctx, v, n);
    }
    if (c == u'Z' || c == u'.') v = drop_zero_fraction(v);
    return v;
}

// Inserts "," between groups of three digits of the integer part. The integer part ends
// at the last "."; a leading "-" is not a digit; characters are not checked, so a
// leading space counts as a digit position.
QString qx_z_l::comma_s(const QString& text) const {
    const qsizetype length = text.size();
    qsizetype k = text.lastIndexOf(QLatin1Char('.'));
    if (k < 0) k = length;
    if (length > 1 && text.at(0) == QLatin1Char('-')) --k;
    if (k <= 3) return text;

    QString out;
    out.reserve(length + length / 3 + 1);
    int countdown = k % 3 == 0 ? 3 : int(k % 3);
    bool grouping = true;
    for (qsizetype i = 0; i < length; ++i) {
        const QChar c = text.at(i);
        out += c;
        if (i == length - 1 || !grouping) continue;
        if (text.at(i + 1) == QLatin1Char('.')) {
            grouping = false; // no separators in the fraction
            continue;
        }
        if (c == QLatin1Char('-')) continue;
        if (countdown == 1) {
            out += QLatin1Char(',');
            countdown = 3;
        } else {
            --countdown;
        }
    }
    return out;
}
