// CODE39 bar codes: the modulo-43 check character, the start/stop framing, the bars
// (filled rectangles whose edges lie exactly where the elements put them) and the text.
#include "barcode/bars.h"
#include "layout/form.h"

namespace {

// A character's check value is its position here.
const QString check_alphabet = QStringLiteral("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%");

// A character's position k here selects its bars and spaces: k < 40 takes bar row
// (k mod 10) + 1 and space row (k div 10) + 4; "$", "/", "+" and "%" take bar row 0 and
// space row k - 40. The comparison is exact, so lower-case letters are not found.
const QString pattern_alphabet = QStringLiteral("1234567890ABCDEFGHIJKLMNOPQRSTUVWXYZ-. *$/+%");

// 1 = wide, 0 = narrow. Rows 1 to 10 are the two-of-five bar patterns of the digits
// 1, 2, ... 9, 0, shared by the letters of each group of ten; row 0 is all narrow.
const int bar_rows[11][5] = {
    {0, 0, 0, 0, 0}, // $ / + %
    {1, 0, 0, 0, 1}, // 1 A K U
    {0, 1, 0, 0, 1}, // 2 B L V
    {1, 1, 0, 0, 0}, // 3 C M W
    {0, 0, 1, 0, 1}, // 4 D N X
    {1, 0, 1, 0, 0}, // 5 E O Y
    {0, 1, 1, 0, 0}, // 6 F P Z
    {0, 0, 0, 1, 1}, // 7 G Q -
    {1, 0, 0, 1, 0}, // 8 H R .
    {0, 1, 0, 1, 0}, // 9 I S space
    {0, 0, 1, 1, 0}, // 0 J T *
};

// The four spaces inside a character, then the narrow gap to the next character.
const int space_rows[8][5] = {
    {1, 1, 1, 0, 0}, // $
    {1, 1, 0, 1, 0}, // /
    {1, 0, 1, 1, 0}, // +
    {0, 1, 1, 1, 0}, // %
    {0, 1, 0, 0, 0}, // digits
    {0, 0, 1, 0, 0}, // A to J
    {0, 0, 0, 1, 0}, // K to T
    {1, 0, 0, 0, 0}, // U to Z, "-", ".", space, "*"
};

} // namespace

QString qx_z_l::code39_s(const QString& text) const {
    const QString upper = upper_s(text);
    int sum = 0;
    for (const QChar c : upper) {
        const int value = int(check_alphabet.indexOf(c));
        if (value < 0) return QString();
        // Reducing as we go gives the same remainder and cannot overflow.
        sum = (sum + value) % 43;
    }
    return QString(check_alphabet.at(sum));
}

bool form_l::code39_b(float x_offset, float y_offset, float scale, const QString& text) {
    const qx_print_l* item = current_item;
    if (!item) return true;

    // A thin bar width of 0 or less counts as 0: the symbol has no bars to draw.
    const double narrow = double(item->num5 > 0 ? item->num5 : 0.0f) * double(scale);
    const double wide = 2.5 * narrow;

    // A text framed by the layout is taken as it stands, with whatever check character
    // it carries; anything else gets the start/stop characters and a check character.
    QString framed = text;
    if (!text.isEmpty() && !(ctx->starts_with_b(text, QStringLiteral("*")) &&
                             ctx->ends_with_b(text, QStringLiteral("*"))))
        framed = QLatin1Char('*') + text + ctx->code39_s(text) + QLatin1Char('*');

    const double left = double(x_offset + item->num1) * double(scale);
    const float top = (y_offset + item->num2) * scale;
    const float bottom = (item->num2 + item->num6 + y_offset) * scale;
    work_left = float(left);
    work_top = top;
    work_bottom = bottom;

    // x is the left edge of the next element; each character ends with a narrow gap.
    double x = left;
    for (int pos = 0; pos < framed.size(); ++pos) {
        const int k = int(pattern_alphabet.indexOf(framed.at(pos)));
        if (k < 0) {
            ctx->message = QStringLiteral("code39 convert error (") +
                           barcode::character_at(framed, pos) + QLatin1Char(')');
            add_err_v(0);
            return false;
        }
        const int* bars = bar_rows[k < 40 ? k % 10 + 1 : 0];
        const int* spaces = space_rows[k < 40 ? k / 10 + 4 : k - 40];
        for (int i = 0; i < 5; ++i) {
            const double bar = bars[i] ? wide : narrow;
            draw_bar_v(x, x + bar, top, bottom);
            x += bar + (spaces[i] ? wide : narrow);
        }
    }
    // The right edge of the last bar, without the gap after it.
    work_right = float(framed.isEmpty() ? left : x - narrow);

    // The text, start/stop and check character included, stands under the bars from the
    // symbol's left edge: its top at the bars' bottom, its baseline one character size
    // lower. A bar code is not a "_FIX" item, whatever the item before it was, so its
    // characters take their own advances.
    if (item->num7 != 0) {
        const float size = item->num7 * scale;
        const QFont font = new_font_n(barcode_font_family(), size, QString());
        const int saved_fix_flag = fix_flag;
        fix_flag = 0;
        draw_h_string_v(0.0f, framed, font, black_brush, float(left), bottom + size);
        fix_flag = saved_fix_flag;
    }
    return true;
}
