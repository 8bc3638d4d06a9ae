// The data stream: one record a line, values separated by TAB, a fixed number of values
// per page. A page's values may span several lines, but every page starts on a new line.
//
// Only one line is held at a time, and the pages before the start page are skipped by
// counting the TAB bytes of their raw lines, without decoding them, so that starting
// deep into a large file costs one pass over its bytes and no memory beyond a line.
// Counting bytes is safe in every encoding read here: no byte of a multibyte character
// in UTF-8, Shift-JIS or EUC-JP is 0x09.
#include "core/textfile.h"
#include "layout/form.h"

namespace {

const QChar tab = QLatin1Char('\t');

// The values of a line as the renderer takes them, but never more than `keep` of them
// and one more, which holds the rest of the line unsplit. A page takes no value beyond
// its own (a line with more values than a page stops the run at the page end), so a
// line of millions of values costs one string instead of millions.
s_l split_values(const QString& line, qsizetype keep) {
    s_l values;
    qsizetype from = 0;
    while (values.size() < keep) {
        const qsizetype at = line.indexOf(tab, from);
        if (at < 0) break;
        values.append(line.mid(from, at - from));
        from = at + 1;
    }
    values.append(line.mid(from));
    return values;
}

// A file that ends before the size it had when it was opened was cut short (truncated or
// rewritten by another process) while it was read: its end is not the data's end.
bool shrank(const form_l& f) {
    return f.data_reader && f.data_reader->file && f.data_reader->file->pos() < f.data_size_at_open;
}

int shrank_error(form_l* f) {
    f->ctx->message = QStringLiteral("read error(") + f->data_reader->file_name + QLatin1Char(')');
    f->data_fault = form_l::DATA_FAULT_SHRANK;
    return 0;
}

} // namespace

int form_l::read_b() {
    if (last_page_reached == 0) {
        if (!data_reader) {
            ctx->message = QStringLiteral("not open read");
            return 0;
        }
        const int r = data_reader->read();
        if (r == 0) {
            data_values = split_values(data_reader->line, values_per_form);
            line_values = data_reader->line.count(tab) + 1;
            data_records_read += 1;
        } else if (r == 1) {
            if (shrank(*this)) return shrank_error(this);
            // The old values stay; the renderer prints the rest of the page empty.
            last_page_reached = 1;
        } else {
            return 0;
        }
    }
    data_index = 0;
    return 1;
}

int form_l::read_data_b(int start) {
    if (current_page == start) return 1;
    return position_data_b(start);
}

int form_l::position_data_b(int start, bool report_past_end) {
    // Every move reopens the file and counts from its first line: the renderer may have
    // taken values of the page it stands on, so only the first line is a place whose
    // page number is certain. The end of the data is then unknown again, so a page the
    // preview comes back to shows its values as it did the first time.
    data_reader.reset();
    data_values.clear();
    data_index = 0;
    data_records_read = 0;
    last_page_reached = 0;
    current_page = -1;
    data_fault = DATA_FAULT_NONE;
    data_pages_held = -1;

    const QString name = data_name.isEmpty() ? QStringLiteral("KORVAN.TXT") : data_name;
    const QString path = ctx->get_tmp_file_s(name);
    data_reader = std::make_unique<qx_read_l>(ctx);
    error_prefix = QStringLiteral("データ[1]");
    if (!data_reader->open_b(path, ctx->file_encoding_s(path))) {
        add_err_v(1);
        return 0;
    }
    data_size_at_open = data_reader->file->size();
    current_page = 1;

    for (;;) {
        qint64 count = 0;
        page_start = {current_page, data_records_read + 1, 0};
        do {
            if (current_page >= start) {
                // The start page's first line: the renderer takes its values.
                if (read_b() == 0) {
                    add_err_v(1);
                    return 0;
                }
                if (last_page_reached == 1) {
                    if (!report_past_end) return -1;
                    ctx->message = QStringLiteral("Data Count Error");
                    data_fault = DATA_FAULT_BEFORE_START;
                    data_pages_held = current_page - 1;
                    add_err_v(1);
                    return 0;
                }
                return 1;
            }
            qint64 tabs = 0;
            const int r = data_reader->skip_raw(&tabs);
            if (r == 1) {
                last_page_reached = 1;
                if (!report_past_end) return -1;
                if (shrank(*this)) {
                    shrank_error(this);
                } else {
                    ctx->message = QStringLiteral("Data Count Error");
                    data_fault = DATA_FAULT_BEFORE_START;
                    // A page whose values began before the end is a page, if a short one.
                    data_pages_held = current_page - (count == 0 ? 1 : 0);
                }
                add_err_v(1);
                return 0;
            }
            if (r != 0) {
                add_err_v(1);
                return 0;
            }
            data_records_read += 1;
            line_values = tabs + 1;
            if (count == 0) page_start.values = line_values;
            count += line_values;
        } while (count < values_per_form);

        if (count != values_per_form) {
            // The page would take the first values of the line it ends inside.
            data_index = int(values_per_form - (count - line_values));
            data_fault = DATA_FAULT_PAGE_END;
            ctx->message = QStringLiteral("Page End data Count Error");
            add_err_v(1);
            return 0;
        }
        current_page += 1;
    }
}
