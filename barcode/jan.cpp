// JAN bar codes (EAN-13 and EAN-8): the modulo-10 check digit, the bars and the
// human-readable digits. Each bar is one vertical line drawn with a pen as wide as the bar.
#include "barcode/bars.h"
#include "layout/form.h"

namespace {

bool is_jan_digit(QChar c) {
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

// Element widths in modules of each digit's left-hand odd-parity code, read space, bar,
// space, bar. The right-hand code has the same widths read bar, space, bar, space; the
// left-hand even-parity code has them reversed, read space, bar, space, bar.
const int digit_widths[10][4] = {
    {3, 2, 1, 1}, {2, 2, 2, 1}, {2, 1, 2, 2}, {1, 4, 1, 1}, {1, 1, 3, 2},
    {1, 2, 3, 1}, {1, 1, 1, 4}, {1, 3, 1, 2}, {1, 2, 1, 3}, {3, 1, 1, 2},
};

// The parities of the six left-hand digits of an EAN-13 symbol, chosen by its first
// digit (which has no bars of its own): 0 = odd, 1 = even.
const int first_digit_parity[10][6] = {
    {0, 0, 0, 0, 0, 0}, {0, 0, 1, 0, 1, 1}, {0, 0, 1, 1, 0, 1}, {0, 0, 1, 1, 1, 0},
    {0, 1, 0, 0, 1, 1}, {0, 1, 1, 0, 0, 1}, {0, 1, 1, 1, 0, 0}, {0, 1, 0, 1, 0, 1},
    {0, 1, 0, 1, 1, 0}, {0, 1, 1, 0, 1, 0},
};

// Guard patterns as element widths, starting with a bar (normal) or a space (centre).
const int normal_guard[3] = {1, 1, 1};
const int centre_guard[5] = {1, 1, 1, 1, 1};

} // namespace

QString qx_z_l::jan_s(const QString& digits) const {
    if (digits.isEmpty()) return QString();
    // The last character always weighs 3, so the first weighs 3 when the length is odd.
    int weight = digits.size() % 2 == 1 ? 3 : 1;
    int sum = 0;
    for (const QChar c : digits) {
        if (is_jan_digit(c)) sum = (sum + (c.unicode() - '0') * weight) % 10;
        weight = 4 - weight;
    }
    return QString(QLatin1Char(char('0' + (10 - sum) % 10)));
}

int form_l::jan_b(float x_offset, float y_offset, float scale, const QString& text) {
    const qx_print_l* item = current_item;
    if (!item) return 1;

    // Test data is one digit; seven of it make an EAN-8.
    QString value = text;
    if (mode == MODE_TEST_DATA && !value.isEmpty())
        value = ctx->pad_end_s(value, 7, ctx->at_s_c(value, 0));
    if (value.size() == 12 || value.size() == 7) value += ctx->jan_s(value);
    if (value.size() != 13 && value.size() != 8) {
        ctx->message = QStringLiteral("jan length 8 or 13 error (") + value + QLatin1Char(')');
        add_err_v(0);
        return 0;
    }

    const float module = item->num5 * scale;
    ctx->clear_pe_v(&pens);
    for (int k = 0; k <= 4; ++k)
        ctx->add_pe(&pens, barcode::bar_pen(this, float(k) * module));

    const float height = zero_float_f(item->num6);
    const float left = (x_offset + item->num1) * scale;
    const float top = (y_offset + item->num2) * scale;
    const float guard_bottom = (y_offset + item->num2 + height) * scale;
    const float data_bottom = (y_offset + item->num2 + height - 7.5f * item->num5) * scale;
    work_left = left;
    work_top = top;
    work_bottom = guard_bottom;

    // x is the left edge of the next element. Bars are drawn at their centres.
    float x = left;
    auto element = [&](int modules, bool is_bar, float bottom) {
        const float width = float(modules) * module;
        if (is_bar) {
            const float centre = x + width / 2;
            draw_line_v(ctx->at_pe(&pens, modules), centre, top, centre, bottom);
        }
        x += width;
    };
    auto convert_error = [&](int pos) {
        ctx->message = QStringLiteral("jan convert error txt (") +
                       barcode::character_at(value, pos) + QLatin1Char(')');
        add_err_v(0);
        return 0;
    };

    const bool ean13 = value.size() == 13;
    const int first_encoded = ean13 ? 1 : 0;
    const int per_half = ean13 ? 6 : 4;
    const int centre_before = first_encoded + per_half;
    if (ean13 && !is_jan_digit(value.at(0))) return convert_error(0);
    const int* parity = first_digit_parity[ean13 ? value.at(0).unicode() - '0' : 0];

    for (int i = 0; i < 3; ++i)
        element(normal_guard[i], i % 2 == 0, guard_bottom);
    const float left_start = x;
    float centre_x = x;
    float right_start = x;
    for (int pos = first_encoded; pos < value.size(); ++pos) {
        if (pos == centre_before) {
            centre_x = x;
            for (int i = 0; i < 5; ++i)
                element(centre_guard[i], i % 2 == 1, guard_bottom);
            right_start = x;
        }
        const QChar c = value.at(pos);
        if (!is_jan_digit(c)) return convert_error(pos);
        const int* widths = digit_widths[c.unicode() - '0'];
        if (pos >= centre_before) {
            for (int i = 0; i < 4; ++i)
                element(widths[i], i % 2 == 0, data_bottom);
        } else if (parity[pos - first_encoded] == 0) {
            for (int i = 0; i < 4; ++i)
                element(widths[i], i % 2 == 1, data_bottom);
        } else {
            for (int i = 0; i < 4; ++i)
                element(widths[3 - i], i % 2 == 1, data_bottom);
        }
    }
    for (int i = 0; i < 3; ++i)
        element(normal_guard[i], i % 2 == 0, guard_bottom);
    work_right = x;

    // The digits: one pitch per digit, the first digit of an EAN-13 left of the start
    // guard, each half under its own bars.
    float pitch = (centre_x - left_start) / float(per_half);
    float double_pitch = 2 * pitch;
    if (pitch <= 0) {
        pitch = 0.1f;
        double_pitch = 0.1f;
    }
    const QFont font = new_font_n(barcode_font_family(), 0.975f * double_pitch, QString());
    const float baseline = (y_offset + item->num2 + height) * scale - pitch;
    const int saved_fix_flag = fix_flag;
    fix_flag = 0;
    if (ean13)
        draw_h_string_v(0.0f, value.left(1), font, black_brush,
                        (x_offset + item->num1) * scale - 1.25f * pitch, baseline);
    draw_h_string_v(0.0f, value.mid(first_encoded, per_half), font, black_brush,
                    left_start - 0.25f * pitch, baseline);
    draw_h_string_v(0.0f, value.mid(centre_before, per_half), font, black_brush,
                    right_start - 0.25f * pitch, baseline);
    fix_flag = saved_fix_flag;
    return 1;
}
