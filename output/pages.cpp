// Drawing whole pages and the print run: the part of the output that needs no window,
// shared by the preview, the print dialog's job and the batch tool.
#include "layout/form.h"

#include <QPainter>

QString form_l::title_s() {
    return ctx->title + QStringLiteral(" VERSION(") + ctx->version_label + QLatin1Char(')') +
           run_summary + QStringLiteral(" PAGE(") + ctx->to_i_s(current_page) + QLatin1Char(')');
}

bool form_l::display_print_b(float x, float y, float page_zoom) {
    set_title_v(title_s());
    if (error_flag != 1) {
        const int entries = ctx->count_f_i(&offsets);
        for (int i = 0; i < entries / 2; ++i) {
            // The data ran out at the end of the previous copy: the page ends here.
            if (last_page_reached == 1 && (current_page - 1) * entries / 2 + i == data_records_read)
                return true;
            if (print_sub_b(i, ctx->at_f(&offsets, 2 * i) + x, ctx->at_f(&offsets, 2 * i + 1) + y,
                            page_zoom) == 0)
                return false;
        }
        if (mode != MODE_PRINT) replay_index = 0;
        return true;
    }

    if (printing_flag != 1 && painter)
        ctx->fill_rect_v(painter, error_background_brush, 0, 0, int(x_geta_f() + screen_size),
                         int(y_geta_f() + screen_size));
    float h = 10.0f;
    for (const QString& line : error_list) {
        draw_string_v(line, error_font, error_brush, x + 10, y + h, QLatin1Char('H'));
        h += font_height_f(error_font, QStringLiteral("X"));
    }
    return true;
}

namespace {
// A page's values must end exactly at the end of a data line; otherwise the pages that
// follow would start in the middle of a record.
void page_end_error_v(form_l* f) {
    f->error_prefix.clear();
    f->ctx->message = QStringLiteral("Page End data Count(") + f->ctx->to_i_s(f->values_per_form) +
                      QStringLiteral(") Error");
    f->add_err_v(0);
    f->error_flag = 1;
    f->last_page_reached = 1;
    f->data_fault = form_l::DATA_FAULT_PAGE_END;
}
} // namespace

void form_l::print_v(const new_page_fn& new_page) {
    if (data_index != 0) {
        page_end_error_v(this);
        return;
    }
    // A print run never draws a page twice, so it keeps only the values of the page
    // being printed, not those of every page before it.
    if (mode == MODE_PRINT) page_values.clear();
    page_start = {current_page, data_records_read, line_values};
    if (!display_print_b(0, 0, 1.0f)) {
        error_flag = 1;
        last_page_reached = 1;
        return;
    }
    if (mode != MODE_PRINT) {
        last_page_reached = 1;
        return;
    }
    current_page += 1;
    if ((end_page == 0 || current_page <= end_page) && values_per_form != 0 &&
        last_page_reached == 0) {
        // Another page follows. Its check comes before the printer page is opened, so
        // that a run stopped by it ends without a blank page.
        if (data_index != 0) {
            page_end_error_v(this);
            return;
        }
        if (new_page && !new_page()) {
            error_prefix.clear();
            ctx->message = QStringLiteral("Printer newPage Error");
            add_err_v(0);
            last_page_reached = 1;
        }
    } else {
        last_page_reached = 1;
    }
}

bool form_l::print_run_b(const new_page_fn& new_page) {
    // The last page has no successor, so whatever it left of its data line is not
    // checked.
    for (;;) {
        print_v(new_page);
        if (error_flag == 1) return false;
        if (last_page_reached == 1) return true;
    }
}
