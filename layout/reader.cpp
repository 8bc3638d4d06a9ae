// The layout file reader: physical lines into records, records into fields, and each
// record to the routine of its keyword.
#include "core/textfile.h"
#include "layout/form.h"

void form_l::read_layout_v() {
    at_eof = false;
    for (;;) {
        // Assemble one record: a line ending in a backslash goes on in the next line.
        record.clear();
        // A comment has its "*" as the very first character of its first line; after
        // leading blanks it is a keyword like any other (and an unknown one).
        bool first_line = true;
        bool comment = false;
        const int record_start = layout_line_no + 1;
        for (;;) {
            ++layout_line_no;
            const int status = layout_reader->read();
            if (status == 1) {
                at_eof = true;
                break;
            }
            if (status != 0) {
                // What was read so far stays in effect; the rest of the file is lost.
                error_prefix = QStringLiteral("レイアウト[2]");
                add_err_v(1);
                at_eof = true;
                return;
            }
            const QString& line = layout_reader->line;
            if (first_line) comment = line.startsWith(QLatin1Char('*'));
            first_line = false;
            if (line.isEmpty()) break;
            if (!line.endsWith(QLatin1Char('\\'))) {
                record += ctx->trim_start_s(line);
                break;
            }
            record += ctx->trim_start_s(line.chopped(1));
        }
        // A record cut off by the end of the file (its last line ended in a backslash)
        // is dropped.
        if (at_eof) return;
        if (record.isEmpty()) continue;
        if (comment) continue;
        if (layout_line_no != record_start) record_first_lines.insert(layout_line_no, record_start);
        csv_split_v(&fields, record);
        dispatch_record_v();
    }
}

namespace {

// One field of a record: white space around it goes (tabs and ideographic spaces too;
// quote a field to keep them), enclosing quotes go, and a doubled quote stands for one.
QString csv_field_s(qx_z_l* ctx, const QString& raw) {
    QString field = ctx->trim_s(raw);
    const QChar quote = QLatin1Char('"');
    if (field.size() > 1 && field.startsWith(quote) && field.endsWith(quote))
        field = field.mid(1, field.size() - 2);
    return field.replace(QStringLiteral("\"\""), QStringLiteral("\""));
}

} // namespace

void form_l::csv_split_v(s_l* out, const QString& rec) {
    ctx->clear_s_v(out);
    bool in_quotes = false;
    qsizetype start = 0;
    for (qsizetype i = 0; i < rec.size(); ++i) {
        const QChar c = rec.at(i);
        if (c == QLatin1Char('"')) {
            in_quotes = !in_quotes;
        } else if (c == QLatin1Char(',') && !in_quotes) {
            ctx->add_s(out, csv_field_s(ctx, rec.mid(start, i - start)));
            start = i + 1;
        }
    }
    // The end of the record ends the last field, an empty one after a final comma.
    ctx->add_s(out, csv_field_s(ctx, rec.mid(start)));
}

void form_l::dispatch_record_v() {
    const QString keyword = ctx->upper_s(ctx->at_s(&fields, 0));
    error_prefix = QLatin1Char('(') + ctx->to_i_s(layout_line_no) + QStringLiteral(") ") + keyword;
    record_data_flag = 0;

    auto is = [&keyword](const char* word) { return keyword == QLatin1String(word); };
    if (is("PAPER")) {
        paper_v();
    } else if (is("OFFSET")) {
        offset_v();
    } else if (is("LINE_SET")) {
        line_set_v();
    } else if (is("FONT")) {
        font_v();
    } else if (is("CHAR_SET")) {
        char_set_v();
    } else if (is("OCCURS")) {
        occurs_v();
    } else if (is("LINE") || is("BOX") || is("X_LINE") || is("Y_LINE") || is("ARC")) {
        box_v();
    } else if (is("TEXT") || is("TEXT_FIX") || is("TEXT_V") || is("TEXT_FIX_V") || is("DATA") ||
               is("DATA_FIX") || is("DATA_V") || is("DATA_FIX_V")) {
        text_v();
    } else if (is("REPLACE_V")) {
        replace_v();
    } else if (is("CODE39") || is("JAN") || is("IMAGE")) {
        barcode_v();
    } else if (is("VERSION")) {
        version_v();
    } else {
        ctx->message = keyword + QStringLiteral(" ?");
        add_err_v(0);
    }
}
