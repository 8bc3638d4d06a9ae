// The layout keywords: each record becomes styles, settings or items.
#include "core/version.h"
#include "layout/form.h"

bool form_l::to_float_b(qx_zz_l* result, const QString& text) {
    result->num1 = 0.0;
    if (text.isEmpty()) return true;
    const double v = ctx->to_double_o(text, QLatin1Char('-'), 0.0, 1);
    if (!ctx->numeric_ok) return false;
    result->num1 = v;
    return true;
}

bool form_l::to_int_b(qx_zz_l* result, const QString& text) {
    result->num2 = 0;
    if (text.isEmpty()) return true;
    const int v = ctx->to_int_check(text, QLatin1Char('-'), 0, 1);
    if (!ctx->numeric_ok) return false;
    result->num2 = v;
    return true;
}

bool form_l::to_float_b(f_l* list, int first, int last) {
    qx_zz_l r;
    for (int i = first; i <= last; ++i) {
        if (!to_float_b(&r, ctx->at_s(&fields, i))) return false;
        ctx->add_f(list, float(r.num1));
    }
    return true;
}

void form_l::set_print_v() {
    delete new_item;
    new_item = new qx_print_l;
    new_item->keyword = ctx->upper_s(ctx->at_s(&fields, 0));
    new_item->data_flag = record_data_flag;
    if (record_data_flag == 0) new_item->text = ctx->at_s(&fields, 1);
    // The first group of a record takes the data value, its later groups print it again.
    if (record_data_flag == 1) record_data_flag = 2;
}

void form_l::add_text_v(const QString& text) {
    auto* item = new qx_print_l;
    item->keyword = QStringLiteral("TEXT");
    item->text = text;
    item->style = 0;
    // One line below the other, a little more than the default character size apart.
    item->num2 = float(print_items.size()) * 4.5f;
    ctx->add_p(&print_items, item);
}

QString form_l::font_find_s(const QString& name) {
    return qx_z_l::installed_family_s(name);
}

namespace {

// Pads the record with empty fields until the groups after its `lead` leading fields
// are whole, and there is at least one: an omitted number counts as 0.
void fill_groups_v(form_l* f, int lead, int size) {
    while (f->fields.size() < lead + size || (f->fields.size() - lead) % size != 0)
        f->ctx->add_s(&f->fields, QString());
}

// Field `index` as a number; a field that does not convert is recorded as an error.
bool field_f_b(form_l* f, int index, float* out) {
    qx_zz_l result;
    if (!f->to_float_b(&result, f->ctx->at_s(&f->fields, index))) {
        f->add_err_v(0);
        return false;
    }
    *out = float(result.num1);
    return true;
}

bool field_i_b(form_l* f, int index, int* out) {
    qx_zz_l result;
    if (!f->to_int_b(&result, f->ctx->at_s(&f->fields, index))) {
        f->add_err_v(0);
        return false;
    }
    *out = int(result.num2);
    return true;
}

// The first position of `name` in the style names, or -1: what a scan from the front
// finds, through an index that takes in the names defined since the last look.
int style_index_i(form_l* f, form_l::name_index_l* index, const s_l& names, const QString& name) {
    if (index->indexed > names.size()) *index = {};
    for (; index->indexed < names.size(); ++index->indexed) {
        const QString& defined = names.at(index->indexed);
        if (!index->first.contains(defined)) index->first.insert(defined, int(index->indexed));
    }
    const auto found = index->first.constFind(name);
    if (found == index->first.constEnd()) return -1;
    if (names.at(*found) == name) return *found;
    // The list was changed in place behind the index: look the slow way, index anew.
    *index = {};
    return f->ctx->index2as_i(&names, name);
}

// Hands the started item over to its list.
void append_item_v(form_l* f, p_l* list) {
    f->ctx->add_p(list, f->new_item);
    f->new_item = nullptr;
}

} // namespace

void form_l::paper_v() {
    const int n = ctx->count_s_i(&fields);
    if (n != 2 && n != 3) {
        form_layout_err_count();
        return;
    }
    paper_name = ctx->at_s(&fields, 1);
    if (n == 3) paper_orientation = ctx->at_s(&fields, 2);
    // Both are taken as they are; what the printer then does is worth a word.
    if (!paper_name.isEmpty() && media_size_n(paper_name).id() == QPageSize::Custom) {
        ctx->message = QStringLiteral("name (") + paper_name +
                       QStringLiteral(") gives no paper size: a printer keeps its own "
                                      "paper; a PDF, a PNG and the preview use A4");
        add_warning_v();
    }
    if (!paper_orientation.isEmpty() && paper_orientation != QLatin1String("1") &&
        paper_orientation != QLatin1String("2")) {
        ctx->message = QStringLiteral("orientation (") + paper_orientation +
                       QStringLiteral(") is neither 1 nor 2: a printer keeps its own, "
                                      "the rest use portrait");
        add_warning_v();
    }
}

void form_l::offset_v() {
    offset_prefix = error_prefix;
    fill_groups_v(this, 1, 2);
    for (int i = 1; i < ctx->count_s_i(&fields); i += 2) {
        // A pair is taken whole or not at all, so that x and y stay paired.
        f_l pair;
        if (!to_float_b(&pair, i, i + 1)) {
            add_err_v(0);
            continue;
        }
        offsets += pair;
    }
}

void form_l::line_set_v() {
    fill_groups_v(this, 1, 3);
    for (int i = 1; i < ctx->count_s_i(&fields); i += 3) {
        float width = 0;
        if (!field_f_b(this, i + 1, &width)) continue;
        // Every named line is visible: no width draws the thinnest line.
        if (width <= 0) width = 0.1f;
        ctx->add_s(&line_names, ctx->at_s(&fields, i));
        ctx->add_f(&line_widths, width);
        ctx->add_s(&line_kinds, ctx->at_s(&fields, i + 2));
    }
}

void form_l::font_v() {
    const QString name = ctx->at_s(&fields, 1);
    if (ctx->count_s_i(&fields) != 2 || name.isEmpty()) {
        ctx->message = QStringLiteral("FONT,(FONT Name)");
        add_err_v(0);
        return;
    }
    const QString family = font_find_s(name);
    if (family.isEmpty()) {
        ctx->message = QStringLiteral("FONT(") + name + QStringLiteral(") not found");
        add_err_v(0);
    }
    default_font = family.isEmpty() ? name : family;
}

void form_l::char_set_v() {
    fill_groups_v(this, 1, 4);
    for (int i = 1; i < ctx->count_s_i(&fields); i += 4) {
        float size = 0;
        if (!field_f_b(this, i + 1, &size)) continue;
        QString font = ctx->at_s(&fields, i + 2);
        if (font.isEmpty()) {
            font = default_font;
        } else {
            // A style with a missing font is still defined, so that the texts using it
            // do not add an error each.
            const QString family = font_find_s(font);
            if (family.isEmpty()) {
                ctx->message = QStringLiteral("FONT(") + font + QStringLiteral(") not found");
                add_err_v(0);
            } else {
                font = family;
            }
        }
        ctx->add_s(&char_names, ctx->at_s(&fields, i));
        ctx->add_f(&char_sizes, size);
        ctx->add_s(&char_fonts, font);
        ctx->add_s(&char_attrs, ctx->at_s(&fields, i + 3));
    }
}

void form_l::occurs_v() {
    // A repetition reaches only as far as the next OCCURS.
    apply_occurs_v();
    line_mark = ctx->count_p_i(&line_items);
    print_mark = ctx->count_p_i(&print_items);
    occurs_prefix = error_prefix;
    fill_groups_v(this, 1, 3);
    for (int i = 1; i < ctx->count_s_i(&fields); i += 3) {
        int count = 0;
        float dx = 0, dy = 0;
        if (!field_i_b(this, i, &count) || !field_f_b(this, i + 1, &dx) ||
            !field_f_b(this, i + 2, &dy))
            continue;
        ctx->add_i(&occurs_counts, count);
        ctx->add_f(&occurs_dx, dx);
        ctx->add_f(&occurs_dy, dy);
    }
}

void form_l::box_v() {
    const QString keyword = ctx->upper_s(ctx->at_s(&fields, 0));
    const QString name = ctx->at_s(&fields, 1);
    const int style = style_index_i(this, &line_name_index, line_names, name);
    if (style < 0) {
        ctx->message = QStringLiteral("Line name (") + name + QStringLiteral(") not found");
        add_err_v(0);
        return;
    }
    const bool x_line = keyword == QLatin1String("X_LINE");
    const bool y_line = keyword == QLatin1String("Y_LINE");
    const bool arc = keyword == QLatin1String("ARC");

    // X_LINE and Y_LINE have one group; every field after it is one more y or x.
    const int size = (x_line || y_line) ? 3 : arc ? 6 : 4;
    if (x_line || y_line) {
        while (ctx->count_s_i(&fields) < 2 + size)
            ctx->add_s(&fields, QString());
    } else {
        fill_groups_v(this, 2, size);
    }
    const int group_end = (x_line || y_line) ? 2 + size : ctx->count_s_i(&fields);

    // A number that does not convert ends the record; what was appended stays.
    for (int i = 2; i < group_end; i += size) {
        set_print_v();
        qx_print_l* item = new_item;
        item->style = style;
        bool ok;
        if (x_line) {
            ok = field_f_b(this, i, &item->num1) && field_f_b(this, i + 1, &item->num2) &&
                 field_f_b(this, i + 2, &item->num3);
        } else if (y_line) {
            ok = field_f_b(this, i, &item->num1) && field_f_b(this, i + 1, &item->num2) &&
                 field_f_b(this, i + 2, &item->num4);
        } else {
            ok = field_f_b(this, i, &item->num1) && field_f_b(this, i + 1, &item->num2) &&
                 field_f_b(this, i + 2, &item->num3) && field_f_b(this, i + 3, &item->num4);
            if (ok && arc)
                ok = field_f_b(this, i + 4, &item->num5) && field_f_b(this, i + 5, &item->num6);
        }
        if (!ok) return;
        append_item_v(this, &line_items);
    }
    if (!x_line && !y_line) return;

    const qx_print_l* first = ctx->at_p(&line_items, ctx->count_p_i(&line_items) - 1);
    for (int i = 2 + size; i < ctx->count_s_i(&fields); ++i) {
        if (ctx->at_s(&fields, i).isEmpty()) continue;
        float v = 0;
        if (!field_f_b(this, i, &v)) return;
        auto* copy = new qx_print_l(*first);
        if (x_line)
            copy->num2 = v;
        else
            copy->num1 = v;
        ctx->add_p(&line_items, copy);
    }
}

void form_l::text_v() {
    const QString keyword = ctx->upper_s(ctx->at_s(&fields, 0));
    int first = 2;
    if (keyword.startsWith(QLatin1String("DATA"))) {
        // One value per form, however many places print it.
        record_data_flag = 1;
        ++values_per_form;
        first = 1;
    }
    fill_groups_v(this, first, 6);
    for (int i = first; i < ctx->count_s_i(&fields); i += 6) {
        set_print_v();
        qx_print_l* item = new_item;
        const QString name = ctx->at_s(&fields, i);
        item->style = style_index_i(this, &char_name_index, char_names, name);
        if (item->style < 0) {
            ctx->message = QStringLiteral("Char name (") + name + QStringLiteral(") not found");
            add_err_v(0);
            continue;
        }
        if (!field_f_b(this, i + 1, &item->num5) || !field_f_b(this, i + 2, &item->num1) ||
            !field_f_b(this, i + 3, &item->num2) || !field_i_b(this, i + 4, &item->count))
            continue;
        item->edit = ctx->upper_s(ctx->at_s(&fields, i + 5));
        append_item_v(this, &print_items);
    }
}

void form_l::replace_v() {
    const int n = ctx->count_s_i(&fields);
    if ((n - 1) % 2 != 0) {
        ctx->message = QStringLiteral("not even");
        add_err_v(0);
        return;
    }
    // Kept flat: before, after, before, after, ...
    for (int i = 1; i < n; ++i)
        ctx->add_s(&replace_list, ctx->at_s(&fields, i));
}

void form_l::barcode_v() {
    const QString keyword = ctx->upper_s(ctx->at_s(&fields, 0));
    // Field order of a group and the slot each field goes to.
    static const int code39_slots[] = {5, 6, 1, 2, 7, 3, 4};
    static const int jan_slots[] = {5, 6, 1, 2};
    static const int image_slots[] = {1, 2, 3, 4};
    const int* slot_of = image_slots;
    int size = 4;
    if (keyword == QLatin1String("CODE39")) {
        slot_of = code39_slots;
        size = 7;
    } else if (keyword == QLatin1String("JAN")) {
        slot_of = jan_slots;
    }
    if (ctx->at_s(&fields, 1).isEmpty()) {
        record_data_flag = 1;
        ++values_per_form;
    }
    fill_groups_v(this, 2, size);
    for (int i = 2; i < ctx->count_s_i(&fields); i += size) {
        set_print_v();
        qx_print_l* item = new_item;
        float* slot[] = {nullptr,     &item->num1, &item->num2, &item->num3,
                         &item->num4, &item->num5, &item->num6, &item->num7};
        bool ok = true;
        for (int k = 0; k < size && ok; ++k)
            ok = field_f_b(this, i + k, slot[slot_of[k]]);
        if (ok) append_item_v(this, &print_items);
    }
}

void form_l::version_v() {
    if (ctx->count_s_i(&fields) != 2) {
        form_layout_err_count();
        return;
    }
    int required = 0;
    if (!field_i_b(this, 1, &required)) return;
    required_version = required;
    const int own = ctx->version->program_number();
    if (own < required) {
        ctx->message = QStringLiteral("version ") + ctx->to_i_s(own) + QStringLiteral(" < ") +
                       ctx->to_i_s(required);
        add_err_v(0);
    }
}
