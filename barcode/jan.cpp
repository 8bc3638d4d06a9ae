// JAN bar codes (EAN-13 and EAN-8): the modulo-10 check digit, the bars and the
// human-readable digits. Bars are filled rectangles whose edges lie exactly where the
// modules put them; each digit stands on its own under the 7 modules that encode it.
#include "barcode/bars.h"
#include "layout/form.h"
#include "render/text_cache.h"

#include <QPainter>
#include <cmath>

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

    // Module edges are summed in double: the 95th module of a symbol ends exactly 95
    // modules from its origin.
    const double module = double(item->num5) * double(scale);
    const float height = zero_float_f(item->num6);
    const double left = double(x_offset + item->num1) * double(scale);
    const float top = (y_offset + item->num2) * scale;
    const float guard_bottom = (y_offset + item->num2 + height) * scale;
    const float data_bottom = (y_offset + item->num2 + height - 7.5f * item->num5) * scale;
    work_left = float(left);
    work_top = top;
    work_bottom = guard_bottom;

    // x is the left edge of the next element.
    double x = left;
    auto element = [&](int modules, bool is_bar, float bottom) {
        const double width = modules * module;
        if (is_bar) draw_bar_v(x, x + width, top, bottom);
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

    // Where each digit's 7 modules begin; an EAN-13's first digit has the 7 modules
    // before the start guard.
    double digit_left[13];
    if (ean13) digit_left[0] = left - 7 * module;
    for (int i = 0; i < 3; ++i)
        element(normal_guard[i], i % 2 == 0, guard_bottom);
    for (int pos = first_encoded; pos < value.size(); ++pos) {
        if (pos == centre_before) {
            for (int i = 0; i < 5; ++i)
                element(centre_guard[i], i % 2 == 1, guard_bottom);
        }
        const QChar c = value.at(pos);
        if (!is_jan_digit(c)) return convert_error(pos);
        digit_left[pos] = x;
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
    work_right = float(x);

    draw_jan_digits_v(value, digit_left, module, data_bottom, guard_bottom);
    return 1;
}

// The digits, one by one, in the band that the guard bars leave below the data bars:
// the layout's default font, plain, at the largest size whose digits are no taller than
// the band (less a gap of 3/4 module under the bars) and no wider than 6 modules, each
// digit's ink centred on its modules. The digits go to the painter as one glyph run,
// so that a PDF holds them as text, in symbol order.
void form_l::draw_jan_digits_v(const QString& value, const double* digit_left, double module,
                               float band_top, float band_bottom) {
    if (!painter || !painter->isActive() || !(module > 0) || !std::isfinite(module)) return;
    const text_cache_l::digits_l& digits = text_cache_l::of(this).digits(barcode_font_family());
    if (!digits.valid) return;

    const double module_dev = device_x(digit_left[0] + module) - device_x(digit_left[0]);
    const double band_top_dev = device_y(band_top) + 0.75 * module_dev;
    const double band_bottom_dev = device_y(band_bottom);
    const double room = band_bottom_dev - band_top_dev;
    // Pixel size of the font, in device units: the digits' ink scales with it.
    const double size = std::min(room / digits.ink_height, 6 * module_dev / digits.ink_width);
    // A symbol too small to see, or larger than any sheet: no digits.
    if (!(size >= 0.5 && size <= 20000)) return;
    const double baseline =
        band_top_dev + (room - digits.ink_height * size) / 2 - digits.ink_top * size;

    QRawFont raw = digits.raw;
    raw.setPixelSize(size);
    std::vector<quint32> glyphs;
    std::vector<QPointF> positions;
    for (int pos = 0; pos < value.size(); ++pos) {
        const int d = value.at(pos).unicode() - '0';
        const double centre = device_x(digit_left[pos] + 3.5 * module);
        glyphs.push_back(digits.glyph[d]);
        positions.emplace_back(centre - digits.ink_centre[d] * size, baseline);
    }
    QGlyphRun run;
    run.setRawFont(raw);
    run.setGlyphIndexes(QList<quint32>(glyphs.begin(), glyphs.end()));
    run.setPositions(QList<QPointF>(positions.begin(), positions.end()));
    painter->setPen(QColor(0, 0, 0));
    painter->drawGlyphRun(QPointF(0, 0), run);
}
