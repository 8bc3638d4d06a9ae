// OCCURS copies and OFFSET pairs.
#include "layout/form.h"

#include <climits>

namespace {

// No OCCURS may make an item list longer than this.
constexpr qint64 max_items = 100000;

// The length `list` would reach if each of its items from `mark` to `end` got `copies`
// copies; saturates instead of overflowing.
qint64 reach_i(qint64 end, qint64 mark, qint64 copies) {
    const qint64 span = end - mark;
    if (span <= 0 || copies <= 0) return end;
    if (copies > (LLONG_MAX - end) / span) return LLONG_MAX;
    return end + copies * span;
}

} // namespace

void form_l::apply_occurs_v() {
    const int groups = ctx->count_i_i(&occurs_counts);
    if (groups > 0) {
        // Every item between the mark and the end gets one copy per unit of count; a
        // count of 0 or less adds none.
        qint64 copies = 0;
        for (int g = 0; g < groups; ++g)
            copies += qMax(0, ctx->at_i(&occurs_counts, g));
        const int line_end = ctx->count_p_i(&line_items);
        const int print_end = ctx->count_p_i(&print_items);
        const qint64 line_reach = reach_i(line_end, line_mark, copies);
        const qint64 print_reach = reach_i(print_end, print_mark, copies);

        if (line_reach > max_items || print_reach > max_items) {
            // The error belongs to the OCCURS record that asked for the copies.
            const QString current_prefix = error_prefix;
            error_prefix = occurs_prefix;
            ctx->message = QStringLiteral("OCCURS count too large (") +
                           QString::number(line_reach > max_items ? line_reach : print_reach) +
                           QLatin1Char(')');
            add_err_v(0);
            error_prefix = current_prefix;
        } else {
            // Copies are made of the items that stood between the mark and the end
            // only, never of earlier copies; the shift carries on from group to group.
            auto copy_v = [&](p_l* list, int mark, int end) {
                if (end <= mark) return;
                float dx = 0, dy = 0;
                for (int g = 0; g < groups; ++g) {
                    const int count = ctx->at_i(&occurs_counts, g);
                    for (int r = 0; r < count; ++r) {
                        dx += ctx->at_f(&occurs_dx, g);
                        dy += ctx->at_f(&occurs_dy, g);
                        for (int j = mark; j < end; ++j) {
                            auto* copy = new qx_print_l(*ctx->at_p(list, j));
                            copy->num1 += dx;
                            copy->num3 += dx;
                            copy->num2 += dy;
                            copy->num4 += dy;
                            // Each copy of a data item takes a value of its own.
                            if (copy->data_flag == 1) ++values_per_form;
                            ctx->add_p(list, copy);
                        }
                    }
                }
            };
            copy_v(&line_items, line_mark, line_end);
            copy_v(&print_items, print_mark, print_end);
        }
    }
    ctx->clear_i_v(&occurs_counts);
    ctx->clear_f_v(&occurs_dx);
    ctx->clear_f_v(&occurs_dy);
}

void form_l::finish_layout_v() {
    apply_occurs_v();
    if (offsets.isEmpty()) offsets = {0.0f, 0.0f};
    // Every copy of the form draws every item, so a page is bounded like an item list:
    // copies that would draw more leave the form with its first copy only.
    const qint64 copies = offsets.size() / 2;
    const qint64 drawn = copies * qMax(line_items.size(), print_items.size());
    if (copies > 1 && drawn > max_items) {
        const QString current_prefix = error_prefix;
        error_prefix = offset_prefix;
        ctx->message =
            QStringLiteral("OFFSET count too large (") + QString::number(drawn) + QLatin1Char(')');
        add_err_v(0);
        error_prefix = current_prefix;
        offsets.resize(2);
    }
    // Every copy of the form on a page takes values of its own.
    const qint64 per_page = qint64(values_per_form) * (offsets.size() / 2);
    values_per_form = int(qMin<qint64>(per_page, INT_MAX));
}
