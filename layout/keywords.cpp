// The layout keywords: each record becomes styles, settings or items.
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

void form_l::paper_v() {}
void form_l::offset_v() {}
void form_l::line_set_v() {}
void form_l::font_v() {}
void form_l::char_set_v() {}
void form_l::occurs_v() {}
void form_l::box_v() {}
void form_l::text_v() {}
void form_l::replace_v() {}
void form_l::barcode_v() {}
void form_l::version_v() {}
