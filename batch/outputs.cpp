#include "batch/outputs.h"

#include "batch/safe_output.h"
#include "core/textfile.h"
#include "layout/form.h"
#include "output/queue.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QPageLayout>
#include <QPainter>
#include <QPdfWriter>
#include <QPrinterInfo>
#include <cstdio>
#include <functional>
#include <unistd.h>

namespace batch {

namespace {

// The paper of the layout, or `fallback` when it names none that has a size: A4 for a
// file, which has no paper of its own, the queue's own paper for a printer.
QPageLayout page_layout_of(form_l& form, const QPageSize& fallback = QPageSize(QPageSize::A4)) {
    QPageSize size = fallback;
    if (!form.paper_name.isEmpty()) {
        const QPageSize named = form.media_size_n(form.paper_name);
        if (named.isValid() && named.id() != QPageSize::Custom) size = named;
    }
    const auto orientation = form.paper_orientation == QLatin1String("2") ? QPageLayout::Landscape
                                                                          : QPageLayout::Portrait;
    return QPageLayout(size, orientation, QMarginsF(0, 0, 0, 0), QPageLayout::Point);
}

// Made-up data never runs out, so a test-data run prints the start page, or the
// pages up to --end when one is given.
bool run_test_data_pages(form_l& form, const form_l::new_page_fn& new_page, progress_l& progress) {
    const int last = form.end_page == 0 ? form.start_page : form.end_page;
    for (int page = form.start_page; page <= last; ++page) {
        // Each page takes fresh digits instead of replaying the page before it.
        form.current_page = page;
        form.replay_index = -1;
        form.page_values.clear();
        if (!form.display_print_b(0, 0, 1.0f)) return false;
        progress.page_done();
        if (page < last && (!new_page() || form.error_flag == 1)) return false;
    }
    return form.error_flag == 0;
}

bool run_pages(form_l& form, QPainter& painter, const std::function<bool()>& next_device_page,
               progress_l& progress) {
    form.painter = &painter;
    const form_l::new_page_fn new_page = [&]() {
        progress.page_done();
        return next_device_page();
    };
    bool ok;
    if (form.mode == form_l::MODE_TEST_DATA) {
        ok = run_test_data_pages(form, next_device_page, progress);
    } else {
        ok = form.print_run_b(new_page);
        if (ok) progress.page_done();
    }
    form.painter = nullptr;
    return ok && form.error_flag == 0;
}

// Ends the run at the next page without a word of its own: the output has said what
// failed, and the engine would blame the printer.
bool stop_run(form_l& form) {
    form.error_flag = 1;
    form.last_page_reached = 1;
    return true;
}

QString values_s(qint64 n) {
    return QString::number(n) + (n == 1 ? QStringLiteral(" value") : QStringLiteral(" values"));
}

} // namespace

void explain_data_fault(const form_l& form, bool start_given) {
    const int copies = int(form.offsets.size() / 2);
    const int per_page = form.values_per_form;
    if (form.data_fault == form_l::DATA_FAULT_PAGE_END) {
        // The page's values must end with a line. Its first line is where a record
        // with too few or too many values shows; when the page ran on into the next
        // line, say how far.
        const auto& start = form.page_start;
        QString text = QStringLiteral("korvan-batch: data line ") + QString::number(start.line) +
                       QStringLiteral(" holds ") + values_s(start.values) +
                       QStringLiteral("; page ") + QString::number(start.page) +
                       QStringLiteral(" takes ") + QString::number(per_page);
        text += copies > 1 ? QStringLiteral(" (the layout's ") +
                                 QString::number(copies ? per_page / copies : 0) +
                                 QStringLiteral(" data fields times its ") +
                                 QString::number(copies) + QStringLiteral(" OFFSET copies)")
                           : QStringLiteral(" (the layout's data fields)");
        if (form.data_records_read != start.line)
            text += QStringLiteral(", so it took ") + QString::number(form.data_index) +
                    QStringLiteral(" of line ") + QString::number(form.data_records_read) +
                    QStringLiteral("'s ") + values_s(form.line_values);
        say(text);
    } else if (form.data_fault == form_l::DATA_FAULT_BEFORE_START) {
        const int held = form.data_pages_held;
        if (held == 0 && !start_given)
            say(QStringLiteral("korvan-batch: the data file holds no values"));
        else
            say(QStringLiteral("korvan-batch: --start ") + QString::number(form.start_page) +
                QStringLiteral(", but the data holds ") + QString::number(held) +
                (held == 1 ? QStringLiteral(" page") : QStringLiteral(" pages")));
    } else if (form.data_fault == form_l::DATA_FAULT_DRAWING) {
        // The error line names the value but not the page: a value that a short line
        // before it pushed into the wrong field is found from the page's first line.
        say(QStringLiteral("korvan-batch: the run stopped on page ") +
            QString::number(form.page_start.page) +
            (per_page > 0 ? QStringLiteral(", whose values begin on data line ") +
                                QString::number(form.page_start.line)
                          : QString()));
    } else if (form.data_fault == form_l::DATA_FAULT_SHRANK && form.data_reader &&
               form.data_reader->file) {
        say(QStringLiteral("korvan-batch: the data file shrank from ") +
            QString::number(form.data_size_at_open) + QStringLiteral(" to ") +
            QString::number(form.data_reader->file->size()) +
            QStringLiteral(" bytes while it was read"));
    }
}

progress_l::progress_l() : tty_(isatty(STDERR_FILENO) == 1) {
    timer_.start();
}

void progress_l::page_done() {
    ++pages_;
    if (!tty_ || timer_.elapsed() < 1000 || timer_.elapsed() - last_ < 250) return;
    last_ = timer_.elapsed();
    show();
    shown_ = true;
    set_progress_line_open(true);
}

void progress_l::finish() {
    if (shown_) {
        show();
        std::fputs("\n", stderr);
        set_progress_line_open(false);
    }
}

void progress_l::show() {
    const double seconds = double(timer_.elapsed()) / 1000.0;
    std::fprintf(stderr, "\rkorvan-batch: %d pages, %.0f pages/s   ", pages_,
                 seconds > 0 ? pages_ / seconds : 0.0);
    std::fflush(stderr);
}

namespace {

// The PDF drawn by `pages` into `out`. False when `pages` failed or a write did (each
// said).
bool pdf_to(output_file_l& out, const QPageLayout& layout, const pdf_pages_fn& pages) {
    QPdfWriter writer(&out);
    writer.setResolution(72);
    writer.setCreator(QStringLiteral("korvan-batch"));
    writer.setPageLayout(layout);
    QPainter painter;
    if (!painter.begin(&writer)) {
        say(QStringLiteral("korvan-batch: cannot start the PDF"));
        return false;
    }
    // A page is written out when the next one starts: a write that failed stops the
    // drawing there.
    const bool ok = pages(painter, [&]() { return writer.newPage() && !out.failed_b(); });
    painter.end();
    return ok && !out.failed_b();
}

} // namespace

bool pdf_to_file(const QString& file, const QPageLayout& layout, const pdf_pages_fn& pages) {
    output_file_l out;
    if (!out.open_b(file)) return false;
    // Nothing of a run that found errors goes out: no page built from wrong values.
    if (!pdf_to(out, layout, pages)) {
        out.abort_v();
        return false;
    }
    return out.commit_b();
}

bool pdf_to_queue(const QString& name, const QPageLayout& layout, const QString& media,
                  const pdf_pages_fn& pages) {
    const QString cannot =
        QStringLiteral("korvan-batch: cannot print on ") + name + QStringLiteral(": ");
    const QString problem = queue_problem_s(name);
    if (!problem.isEmpty()) {
        say(cannot + problem);
        return false;
    }
    // The job is written in full to a spool file, then handed to the print system in
    // one request, which it takes whole or not at all: a run that fails or is stopped
    // queues nothing, and a job in the queue has every page.
    const QString dir = QDir::tempPath();
    output_file_l spool;
    if (!spool.open_spool_b(dir,
                            QStringLiteral("the job for ") + name + QStringLiteral(" in ") + dir))
        return false;
    set_interrupt_note_v(QStringLiteral("; nothing was sent to ") + name);
    if (!pdf_to(spool, layout, pages)) {
        spool.abort_v();
        return false;
    }
    if (!spool.commit_b()) return false;
    // Stopped while the job is on its way, the run cannot tell whether it arrived.
    set_interrupt_note_v(QStringLiteral("; the job was being sent: lpstat -o ") + name +
                         QStringLiteral(" shows whether it arrived"));
    const QString refused =
        print_file_s(name, spool.spool_path(), QStringLiteral("korvan-batch"), media);
    if (refused.isEmpty()) output_complete_v();
    spool.remove_v();
    if (!refused.isEmpty()) {
        say(cannot + refused);
        return false;
    }
    return true;
}

QPageSize queue_paper(const QString& name) {
    const QPageSize paper = QPrinterInfo::printerInfo(name).defaultPageSize();
    return paper.isValid() ? paper : QPageSize(QPageSize::A4);
}

namespace {

// The form's pages into a PDF: a failed write ends the run at the next page.
pdf_pages_fn form_pages(form_l& form, progress_l& progress) {
    return [&form, &progress](QPainter& painter, const std::function<bool()>& new_page) {
        return run_pages(
            form, painter, [&]() { return new_page() ? true : stop_run(form); }, progress);
    };
}

} // namespace

bool print_to_pdf(form_l& form, const QString& file, progress_l& progress) {
    return pdf_to_file(file, page_layout_of(form), form_pages(form, progress));
}

bool print_to_printer(form_l& form, const QString& name, progress_l& progress) {
    // The paper the form is laid out for, asked of the queue by name; the queue's own
    // when the layout names none.
    const QPageLayout layout = page_layout_of(form, queue_paper(name));
    const QSizeF mm = layout.pageSize().size(QPageSize::Millimeter);
    const QString media =
        form.paper_name.isEmpty() ? QString() : media_name_s(mm.width(), mm.height());
    return pdf_to_queue(name, layout, media, form_pages(form, progress));
}

bool print_to_png(form_l& form, const QString& dir, int dpi, progress_l& progress) {
    page_files_l files;
    if (!files.open_b(dir)) return false;
    const QPageLayout layout = page_layout_of(form);
    const QSizeF mm = layout.fullRect(QPageLayout::Millimeter).size();
    const QSize pixels(qRound(mm.width() / 25.4 * dpi), qRound(mm.height() / 25.4 * dpi));
    QImage image(pixels, QImage::Format_RGB32);
    QPainter painter;
    int number = 0;
    auto start_image = [&]() {
        image.fill(Qt::white);
        painter.begin(&image);
        painter.scale(dpi / 72.0, dpi / 72.0);
    };
    auto save_image = [&]() {
        painter.end();
        image.setDotsPerMeterX(qRound(dpi / 0.0254));
        image.setDotsPerMeterY(qRound(dpi / 0.0254));
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        if (!image.save(&buffer, "PNG")) {
            say(QStringLiteral("korvan-batch: cannot make the image of page ") +
                QString::number(number + 1));
            return false;
        }
        return files.write_b(++number, bytes);
    };
    start_image();
    const bool ok = run_pages(
        form, painter,
        [&]() {
            if (!save_image()) return stop_run(form);
            start_image();
            return true;
        },
        progress);
    // The last page is saved when the run ended well; a failed run keeps no page.
    if (!ok || (painter.isActive() && !save_image())) {
        if (painter.isActive()) painter.end();
        files.abort_v();
        return false;
    }
    return files.commit_b();
}

} // namespace batch
