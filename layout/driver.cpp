// The run driver: state of a new run, the command line, and the phases of set-up.
#include "core/textfile.h"
#include "layout/form.h"

#include <QFontDatabase>
#include <QPainter>

form_l::form_l(qx_z_l* context) : ctx(context) {
    error_list.append(QStringLiteral("★エラーが有ります★Esc=終了"));
    today = ctx->date_time_s(ctx->date_time_now_s(), 1).left(10);
    layout_reader = std::make_unique<qx_read_l>(ctx);
    black_brush = QBrush(QColor(0, 0, 0, 255), Qt::SolidPattern);
    pink_brush = QBrush(QColor(255, 128, 192, 255), Qt::SolidPattern);
    pen_brush = black_brush;
    error_brush = black_brush;
    error_background_brush = pink_brush;
    default_font_a = new_font_n(ctx->default_font_family, 4.0f, QString());
    default_font_b = new_font_n(ctx->default_font_family, 4.0f, QString());
    error_font = new_font_n(ctx->default_font_family, 4.0f, QString());
    // The nameless character style always exists, so a text item may leave its style
    // name empty.
    char_names.append(QString());
    char_sizes.append(3.5f);
    char_fonts.append(QString());
    char_attrs.append(QString());
}

form_l::~form_l() {
    qDeleteAll(line_items);
    qDeleteAll(print_items);
    delete new_item;
}

void form_l::read_command_line_v() {
    const s_l* args = &ctx->arguments;
    const int n = ctx->count_s_i(args);
    if (n > 0) {
        const QString word = ctx->upper_s(ctx->at_s(args, 0));
        if (ctx->e3s_b(word, QStringLiteral("PRINT"), QStringLiteral("REAL")))
            mode = MODE_PRINT;
        else if (ctx->e3s_b(word, QStringLiteral("DISPLAY"), QStringLiteral("TEST")))
            mode = MODE_DISPLAY;
        else if (ctx->e3s_b(word, QStringLiteral("DATA"), QStringLiteral("TEST_DATA")))
            mode = MODE_TEST_DATA;
    }
    if (n > 1) data_name = ctx->at_s(args, 1);
    if (n > 2) layout_name = ctx->at_s(args, 2);
    qx_zz_l result;
    if (n > 3) {
        if (!to_int_b(&result, ctx->at_s(args, 3))) {
            error_prefix = QStringLiteral("開始[4]");
            add_err_v(1);
            return;
        }
        start_page = int(result.num2);
    }
    if (n > 4) {
        if (!to_int_b(&result, ctx->at_s(args, 4))) {
            error_prefix = QStringLiteral("終了[5]");
            add_err_v(1);
            return;
        }
        end_page = int(result.num2);
    }
    if (start_page == 0) start_page = 1;
    if (start_page < 0) {
        error_prefix = QStringLiteral("開始[4]");
        ctx->message = QLatin1Char('(') + ctx->to_i_s(start_page) + QStringLiteral(") error");
        add_err_v(1);
        return;
    }
    if (end_page < 0 || (end_page != 0 && end_page < start_page)) {
        error_prefix = QStringLiteral("終了[5]");
        ctx->message = QLatin1Char('(') + ctx->to_i_s(end_page) + QStringLiteral(") error");
        add_err_v(1);
    }
}

void form_l::setup_v() {
    read_command_line_v();
    if (error_flag == 1) return;

    const int sep = int(data_name.lastIndexOf(ctx->path_separator));
    data_dir = sep < 0 ? QString() : data_name.left(sep);

    if (mode == MODE_NONE) {
        help_v();
        return;
    }

    const QString name = layout_name.isEmpty() ? QStringLiteral("KORVAN.CSV") : layout_name;
    const QString path = ctx->get_tmp_file_s(name);
    if (!layout_reader->open_b(path, ctx->file_encoding_s(path))) {
        error_prefix = QStringLiteral("レイアウト[2]");
        add_err_v(1);
        return;
    }
    read_layout_v();
    finish_layout_v();
    layout_reader->read_close_v();

    const int copies = int(offsets.size() / 2);
    run_summary = QStringLiteral(" PAPER(") + paper_name + QLatin1Char(',') + paper_orientation +
                  QStringLiteral(") DATA(") + ctx->to_i_s(copies ? values_per_form / copies : 0) +
                  QLatin1Char(',') + ctx->to_i_s(copies) + QLatin1Char(')');

    if (mode == MODE_TEST_DATA) {
        data_generated = 1;
        current_page = start_page;
    } else {
        read_data_b(start_page);
    }
    ready = 1;
    if (mode == MODE_PRINT && error_flag == 0) printer_b();
}

void form_l::help_v() {
    paper_name = QStringLiteral("A4");
    paper_orientation = QStringLiteral("1");
    for (const QString& line : help_lines())
        add_text_v(line);

    // The installed families, as many to a line as fit in 72 columns.
    QString text = QStringLiteral("★フォント一覧{");
    for (const QString& family : QFontDatabase::families()) {
        const QString piece = family + QLatin1Char(',');
        if (!text.isEmpty() && ctx->form_length(text + piece) > 72) {
            add_text_v(text);
            text.clear();
        }
        text += piece;
    }
    text += QLatin1Char('}');
    add_text_v(text);

    offsets = {10.0f, 10.0f};
    ready = 1;
    repaint_v();
}
