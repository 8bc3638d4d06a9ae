// The preview window: set-up, the paint handler that drives the run, the keys, and the
// print dialog.
#include "output/korvan.h"

#include "core/textfile.h"
#include "output/calibration.h"
#include "output/queue.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPalette>
#include <QPrintDialog>
#include <QPrinter>

korvan_l::korvan_l(qx_z_l* context, QWidget* parent) : QWidget(parent), form_l(context) {
    setAttribute(Qt::WA_DeleteOnClose, false);
    resize(screen_size, screen_size);
    QPalette pal = palette();
    pal.setBrush(QPalette::All, QPalette::Window, QBrush(QColor(210, 210, 210), Qt::SolidPattern));
    setPalette(pal);
    setAutoFillBackground(true);
    show();
    setup_v();
    stream_page = current_page;
    if (mode == MODE_DISPLAY || mode == MODE_TEST_DATA) start_watching_v();
}

korvan_l::~korvan_l() = default;

void korvan_l::repaint_v() {
    repaint();
}
void korvan_l::close_v() {
    close();
}
void korvan_l::set_title_v(const QString& title) {
    setWindowTitle(title);
}
bool korvan_l::display_b() {
    if (shows_page_b()) keep_view_v();
    const bool fresh = replay_index == -1 && error_flag != 1;
    const bool drawn = display_print_b(x_offset, y_offset, zoom);
    // Drawing the page took its values: the stream stands at the next page.
    if (fresh && drawn) stream_page = current_page + 1;
    return drawn;
}

bool korvan_l::shows_page_b() const {
    return (mode == MODE_DISPLAY || mode == MODE_TEST_DATA) && error_flag != 1;
}

void korvan_l::keep_view_v() {
    kept = {current_page, zoom, x_offset, y_offset};
}

void korvan_l::follow_page_v() {
    // The page asked for is the one to come back to, even when reaching it fails.
    if (shows_page_b()) keep_view_v();
    if (mode != MODE_DISPLAY || error_flag == 1 || stream_page == current_page) return;
    const int page = current_page;
    if (position_data_b(page) == 1)
        stream_page = page;
    else
        current_page = page; // the title still names the page asked for
}

bool korvan_l::printer_b() {
    // A test print, or in print mode the P key on the error screen.
    if (mode != MODE_PRINT || print_run_started) return print_pages_b();

    // The print run itself, started by the run driver before the event loop runs;
    // paints that arrive while the dialog is open find the window busy and draw nothing.
    print_run_started = true;
    const int was_busy = busy_flag;
    busy_flag = 1;
    const bool printed = print_pages_b();
    busy_flag = was_busy;
    if (printed)
        finished_flag = 1; // the next paint closes the window
    else
        error_flag = 1; // cancelled or failed: the error screen stays until Esc
    update();
    return printed;
}

bool korvan_l::print_pages_b() {
    // Full-page mode at 72 dpi: (0, 0) is the sheet's corner and one device unit is a
    // point, the unit the form is laid out in.
    QPrinter printer(QPrinter::ScreenResolution);
    printer.setResolution(72);
    printer.setFullPage(true);

    // The paper of the layout; a name without a size of its own leaves the printer's.
    QPageSize paper;
    if (!ctx->e2s_b(paper_name, QString())) {
        const QPageSize size = media_size_n(paper_name);
        if (found != 1) {
            ctx->message =
                QStringLiteral("PaperSize (") + paper_name + QStringLiteral(") not found\r");
            add_err_v(0);
            return false;
        }
        if (size.isValid()) paper = size;
    }
    const auto set_paper = [&] {
        if (paper.isValid()) printer.setPageSize(paper);
        if (ctx->e2s_b(paper_orientation, QStringLiteral("1")))
            printer.setPageOrientation(QPageLayout::Portrait);
        else if (ctx->e2s_b(paper_orientation, QStringLiteral("2")))
            printer.setPageOrientation(QPageLayout::Landscape);
    };
    set_paper();

    QPrintDialog dialog(&printer, this);
    if (dialog.exec() != QDialog::Accepted) return false;
    // Choosing a print queue in the dialog puts the queue's default paper (and its
    // resolution) on the printer; the form is laid out for its own paper.
    set_paper();
    printer.setResolution(72);
    printer.setFullPage(true);

    // A queue that cannot print now gets no job (a disabled one would keep it unprinted).
    const bool to_queue = printer.outputFormat() == QPrinter::NativeFormat;
    const auto not_ready = [&](const QString& why) {
        error_prefix.clear();
        ctx->message = QStringLiteral("Printer (") + printer.printerName() +
                       QStringLiteral(") not ready: ") + why;
        add_err_v(0);
        return false;
    };
    if (to_queue) {
        const QString problem = queue_problem_s(printer.printerName());
        if (!problem.isEmpty()) return not_ready(problem);
    }

    QPainter* const outer = painter;
    printing_flag = 1;
    QPainter printer_painter;
    if (!printer_painter.begin(&printer)) {
        printing_flag = 0;
        error_prefix.clear();
        // A queue, or the file the dialog chose to print into.
        const QString target =
            printer.printerName().isEmpty() ? printer.outputFileName() : printer.printerName();
        ctx->message = QStringLiteral("Printer (") + target + QStringLiteral(") not ready");
        add_err_v(0);
        return false;
    }
    painter = &printer_painter;
    // The queue chosen in the dialog moves and stretches everything drawn on it.
    calibration_l::printing_n(printer.printerName(), QStringLiteral("korvan")).apply_v(this);
    bool printed = true;
    if (error_flag == 1)
        display_print_b(0, 0, 1.0f); // the error screen, as shown: one sheet
    else if (mode == MODE_PRINT)
        printed = print_run_b([&printer] { return printer.newPage(); });
    else
        print_v(nullptr);
    printer_painter.end();
    calibration_l().apply_v(this); // the preview is not calibrated
    painter = outer;
    printing_flag = 0;
    // The job was handed to the print system as the painter ended.
    if (to_queue) {
        const QString refused = job_problem_s(printer.printerName());
        if (!refused.isEmpty()) return not_ready(refused);
    }
    return printed;
}

void korvan_l::paintEvent(QPaintEvent* event) {
    if (ready == 0 || printing_flag == 1) return;
    // A paint inside a paint (a dialog's event loop): the outer one is still drawing.
    if (busy_flag == 1) return;

    QPainter window_painter(this);
    // Only the status line asked to be drawn (the mouse moved): the page is as it was.
    const bool view = shows_page_b();
    if (view && status_rect().contains(event->rect())) return draw_status_v(window_painter);
    QPainter* const outer = painter;
    painter = &window_painter;
    if (view) draw_sheet_v(window_painter);
    if (error_flag == 1) err_v();
    for (;;) {
        if (finished_flag == 1) {
            if (data_reader) data_reader->read_close_v();
            window_painter.end();
            painter = outer;
            // Closed once this paint has been delivered: a window closed inside its own
            // paint leaves Qt a paint to flush on a window that no longer exists.
            QMetaObject::invokeMethod(this, &korvan_l::close_v, Qt::QueuedConnection);
            return;
        }
        busy_flag = 1;
        if (error_flag == 1 || finished_flag == 1) {
            busy_flag = 0;
            break;
        }
        if (mode == MODE_PRINT) {
            // The run has one dialog: once it was shown, its outcome is in the flags.
            if (print_run_started) {
                busy_flag = 0;
                break;
            }
            if (printer_b())
                finished_flag = 1;
            else
                error_flag = 1;
        } else {
            if (display_b()) {
                busy_flag = 0;
                break;
            }
            error_flag = 1;
        }
        busy_flag = 0;
        if (error_flag == 1) {
            // The sheet goes with the page it was drawn for.
            if (view) window_painter.fillRect(rect(), palette().window());
            err_v();
        }
    }
    if (shows_page_b()) draw_status_v(window_painter);
    painter = outer;
}

void korvan_l::next_page_v() {
    replay_index = -1;
    ctx->clear_s_v(&page_values);
    const int first = start_page == 0 ? 1 : start_page;
    const bool at_end = last_page_reached == 1 || (end_page != 0 && end_page == current_page) ||
                        mode == MODE_TEST_DATA;
    if (at_end && last_page == -1) {
        // The page count is known now.
        last_page = current_page;
        current_page = first;
    } else {
        current_page += 1;
        if (!(current_page <= last_page || last_page == -1)) current_page = first;
    }
    // Back at the start page after the last one, every page shows its data again.
    follow_page_v();
    repaint_v();
}

void korvan_l::previous_page_v() {
    const int first = start_page == 0 ? 1 : start_page;
    if (current_page <= first) return;
    replay_index = -1;
    ctx->clear_s_v(&page_values);
    current_page -= 1;
    follow_page_v();
    repaint_v();
}

void korvan_l::keyPressEvent(QKeyEvent* event) {
    // A print run takes no keys, unless it ended on the error screen.
    if (mode == MODE_PRINT && error_flag != 1) return;

    int key = event->key();
    if (ctx->e2k_b(key, Qt::Key_Return)) key = Qt::Key_Enter;

    // Moves are 10 mm of page divided by the zoom: the same distance on the screen at
    // every zoom. Up and Left only move back while the page is shifted.
    if (ctx->e2k_b(key, Qt::Key_Home)) {
        zoom = 1.0f;
        y_offset = 0.0f;
        occurs_shift = 0.0f;
        // The horizontal shift stays: a wide form keeps showing the same columns.
    } else if (ctx->e2k_b(key, Qt::Key_End)) {
        zoom = 1.0f;
    } else if (ctx->e2k_b(key, Qt::Key_Enter)) {
        next_page_v();
        return;
    } else if (ctx->e2k_b(key, Qt::Key_Up)) {
        if (y_offset < 0.0f) y_offset += 10.0f / zoom;
    } else if (ctx->e2k_b(key, Qt::Key_Down)) {
        y_offset -= 10.0f / zoom;
    } else if (ctx->e2k_b(key, Qt::Key_Left)) {
        if (x_offset < 0.0f) x_offset += 10.0f / zoom;
    } else if (ctx->e2k_b(key, Qt::Key_Right)) {
        x_offset -= 10.0f / zoom;
    } else if (ctx->e2k_b(key, Qt::Key_Insert)) {
        zoom += 0.1f;
    } else if (ctx->e2k_b(key, Qt::Key_Delete)) {
        if (zoom > 0.3f) zoom -= 0.1f;
    } else if (ctx->e2k_b(key, Qt::Key_Escape)) {
        close_v();
        return;
    } else if (design_key_b(key)) {
        return;
    } else {
        // Character keys carry their code point; the special keys lie above the
        // character range and are none of the letters.
        if (key > 0 && key <= 0xFFFF &&
            ctx->e2k_b(QChar(key).toUpper().unicode(), QLatin1Char('P').unicode()))
            printer_b();
        return;
    }
    repaint_v();
}
