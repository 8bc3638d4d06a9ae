// The page renderer: draws one copy of the form at an offset and a scale, ruled items
// first, then texts, data fields, bar codes and images, in layout order. It is also
// where data items are bound to values: the next value of the data file, a digit in
// test-data mode, or the value remembered from an earlier drawing of the same page.
#include "layout/form.h"
#include "render/text_cache.h"

namespace {

const QString kw_x_line = QStringLiteral("X_LINE");
const QString kw_y_line = QStringLiteral("Y_LINE");
const QString kw_arc = QStringLiteral("ARC");
const QString kw_box = QStringLiteral("BOX");
const QString kw_code39 = QStringLiteral("CODE39");
const QString kw_jan = QStringLiteral("JAN");
const QString kw_image = QStringLiteral("IMAGE");

Qt::PenStyle pen_style(const QString& kind) {
    if (kind == QLatin1String("1")) return Qt::DashLine;
    if (kind == QLatin1String("2")) return Qt::DotLine;
    if (kind == QLatin1String("3")) return Qt::DashDotLine;
    if (kind == QLatin1String("4")) return Qt::DashDotDotLine;
    return Qt::SolidLine;
}

// Whether the keyword's first four characters, upper-cased, are "DATA" or "TEXT": a
// text item. A keyword of ASCII, as layouts write them, is looked at in place.
bool is_text_keyword(const qx_z_l* ctx, const QString& kw) {
    if (kw.size() >= 4) {
        char16_t up[4];
        bool ascii = true;
        for (int i = 0; i < 4 && ascii; ++i) {
            const char16_t c = kw.at(i).unicode();
            ascii = c < 0x80;
            up[i] = (c >= u'a' && c <= u'z') ? char16_t(c - u'a' + u'A') : c;
        }
        if (ascii) {
            const QStringView head(up, 4);
            return head == u"DATA" || head == u"TEXT";
        }
    }
    const QString kind = ctx->upper_s(kw.left(4));
    return kind == QLatin1String("DATA") || kind == QLatin1String("TEXT");
}

// Marks the drawing of one copy of the form for the text cache, which may then keep
// what it works out from the painter until the copy is drawn.
class form_scope_l {
public:
    explicit form_scope_l(form_l* form) : cache_(form_l::text_cache_l::of(form)) {
        cache_.in_form = true;
        cache_.view_known = false;
    }
    ~form_scope_l() {
        cache_.in_form = false;
        cache_.view_known = false;
    }
    form_scope_l(const form_scope_l&) = delete;
    form_scope_l& operator=(const form_scope_l&) = delete;

private:
    form_l::text_cache_l& cache_;
};

} // namespace

// A page number is never printed by "?_PAGE?": the marker prints as nothing on every
// page, page 0 included. "?_TODAY?" prints the run's date, yyyy-MM-dd. Only a text that
// is exactly a marker is replaced.
QString form_l::change_s(const QString& text) {
    if (text == QLatin1String("?_TODAY?")) return today;
    if (text == QLatin1String("?_PAGE?")) return QString();
    return text;
}

int form_l::print_sub_b(int, float x_off, float y_off, float scale) {
    const form_scope_l scope(this);
    text_cache_l::rule_pen_l& rule = text_cache_l::of(this).rule_pen;
    // Ruled items.
    for (qx_print_l* item : std::as_const(line_items)) {
        current_item = item;
        float width = ctx->at_f(&line_widths, item->style) * scale;
        if (width == 0) width = 0.1f; // a zero-width line set still draws a hairline
        const Qt::PenStyle style = pen_style(ctx->at_s(&line_kinds, item->style));
        if (!rule.made || rule.width != width || rule.style != style || rule.factor != pen_factor ||
            !(rule.brush == pen_brush)) {
            rule.made = true;
            rule.width = width;
            rule.style = style;
            rule.factor = pen_factor;
            rule.brush = pen_brush;
            rule.pen = new_pen_nn(width);
            rule.pen.setStyle(style);
        }
        current_pen = rule.pen;

        line_x1 = (item->num1 + x_off) * scale;
        line_x2 = (item->num3 + x_off) * scale;
        line_y1 = (item->num2 + y_off) * scale;
        line_y2 = (item->num4 + y_off) * scale;
        const QString& kw = item->keyword;
        if (kw == kw_x_line) {
            draw_line_v(current_pen, line_x1, line_y1, line_x2, line_y1);
        } else if (kw == kw_y_line) {
            draw_line_v(current_pen, line_x1, line_y1, line_x1, line_y2);
        } else if (kw == kw_arc || kw == kw_box) {
            const float left = qMin(line_x1, line_x2);
            const float top = qMin(line_y1, line_y2);
            const float w = qAbs(line_x2 - line_x1);
            const float h = qAbs(line_y2 - line_y1);
            if (kw == kw_arc)
                draw_arc_v(current_pen, left, top, w, h, item->num5, item->num6);
            else
                draw_rect_v(current_pen, left, top, w, h);
        } else {
            draw_line_v(current_pen, line_x1, line_y1, line_x2, line_y2);
        }
    }

    // Texts, data, bar codes and images.
    previous_value.clear();
    for (qx_print_l* item : std::as_const(print_items)) {
        current_item = item;

        QString value;
        if (item->data_flag == 0) {
            value = change_s(item->text);
        } else if (item->data_flag == 1) {
            if (replay_index != -1) {
                value = ctx->at_s(&page_values, replay_index);
                replay_index += 1;
            } else {
                if (mode == MODE_TEST_DATA) {
                    test_digit = test_digit == 9 ? 0 : test_digit + 1;
                    value = ctx->to_i_s(test_digit);
                    if (item->keyword == kw_image) value.clear();
                } else if (last_page_reached == 0) {
                    value = ctx->at_s(&data_values, data_index);
                    data_index += 1;
                    if (data_index >= ctx->count_s_i(&data_values) && read_b() == 0) {
                        // The next line cannot be read (a line too long, a read
                        // error): nothing after it can be placed on the right page, so
                        // this page is finished with the values it has and the run
                        // stops after it, saying why.
                        error_prefix = QStringLiteral("データ[1]");
                        add_err_v(0);
                        last_page_reached = 1;
                    }
                }
                ctx->add_s(&page_values, value);
            }
            previous_value = value;
        } else {
            value = previous_value;
        }

        const QString& kw = item->keyword;
        if (!is_text_keyword(ctx, kw)) {
            if (kw == kw_code39) {
                if (!code39_b(x_off, y_off, scale, value)) return 0;
            } else if (kw == kw_jan) {
                if (!jan_b(x_off, y_off, scale, value)) return 0;
            } else if (kw == kw_image) {
                if (!image_b(x_off, y_off, scale, value)) return 0;
            }
            continue;
        }

        // A character set of size 0 takes the size from the value: "5:ABC".
        float size = ctx->at_f(&char_sizes, item->style);
        if (size == 0) {
            const int colon = ctx->index2c_i(value, QLatin1Char(':'));
            if (colon > 0) {
                qx_zz_l result;
                if (to_float_b(&result, value.left(colon))) {
                    size = float(result.num1);
                    value = value.mid(colon + 1);
                }
            }
        }

        // Vertical data is written with the characters that vertical writing needs.
        if (kw.startsWith(QLatin1String("DATA_")) && kw.endsWith(QLatin1String("_V"))) {
            const int pairs = ctx->count_s_i(&replace_list) / 2;
            for (int i = 0; i < pairs; ++i)
                value = ctx->replace_s_s(value, ctx->at_s(&replace_list, 2 * i),
                                         ctx->at_s(&replace_list, 2 * i + 1));
        }

        if (size == 0) size = 1.0f;
        value = edit_s(ctx, value, item->edit, item->count, mode == MODE_TEST_DATA);
        QString family = ctx->at_s(&char_fonts, item->style);
        if (family.isEmpty()) family = default_font;
        current_font = text_cache_l::of(this).style_font(this, family, size * scale,
                                                         ctx->at_s(&char_attrs, item->style));
        if (item->count > 0) value = ctx->pad_end_s(value, item->count);

        // "_FIX" as the 5th to 8th characters: the characters are spread evenly up to
        // the spacing, which is the end position of the field.
        fix_flag = (kw.size() >= 8 && QStringView(kw).mid(4, 4) == u"_FIX") ? 1 : 0;
        if (fix_flag == 1) fix_count = item->count != 0 ? item->count : length_count(value);

        // The layout gives the top of the characters; drawing wants the baseline.
        const float x = (x_off + item->num1) * scale;
        const float y = (y_off + item->num2 + size) * scale;
        if (kw.endsWith(QLatin1String("_V")))
            draw_v_string_v(item->num5 * scale, value, current_font, black_brush, x, y);
        else
            draw_h_string_v(item->num5 * scale, value, current_font, black_brush, x, y);
    }
    return 1;
}
