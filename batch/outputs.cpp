#include "batch/outputs.h"

#include "layout/form.h"

#include <QDir>
#include <QImage>
#include <QPageLayout>
#include <QPainter>
#include <QPdfWriter>
#include <QPrinter>
#include <QPrinterInfo>
#include <cstdio>
#include <functional>
#include <unistd.h>

namespace batch {

namespace {

// The paper of the layout, or A4 when it names none that has a size (a printer would
// keep its own paper; a file has none of its own).
QPageLayout page_layout_of(form_l& form) {
    QPageSize size(QPageSize::A4);
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
        if (page < last && !new_page()) return false;
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

} // namespace

void say(const QString& text) {
    const QByteArray bytes = text.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
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
}

void progress_l::finish() {
    if (shown_) {
        show();
        std::fputs("\n", stderr);
    }
}

void progress_l::show() {
    const double seconds = double(timer_.elapsed()) / 1000.0;
    std::fprintf(stderr, "\rkorvan-batch: %d pages, %.0f pages/s   ", pages_,
                 seconds > 0 ? pages_ / seconds : 0.0);
    std::fflush(stderr);
}

bool print_to_pdf(form_l& form, const QString& file, progress_l& progress) {
    QPdfWriter writer(file);
    writer.setResolution(72);
    writer.setCreator(QStringLiteral("korvan-batch"));
    writer.setPageLayout(page_layout_of(form));
    QPainter painter;
    if (!painter.begin(&writer)) {
        say(QStringLiteral("korvan-batch: cannot write ") + file);
        return false;
    }
    const bool ok = run_pages(
        form, painter, [&]() { return writer.newPage(); }, progress);
    painter.end();
    return ok;
}

bool print_to_printer(form_l& form, const QString& name, progress_l& progress) {
    if (QPrinterInfo::printerInfo(name).isNull()) {
        say(QStringLiteral("korvan-batch: no printer named ") + name);
        return false;
    }
    QPrinter printer(QPrinter::ScreenResolution);
    printer.setPrinterName(name);
    printer.setResolution(72);
    printer.setFullPage(true);
    if (!form.paper_name.isEmpty()) {
        const QPageSize size = form.media_size_n(form.paper_name);
        if (size.isValid() && size.id() != QPageSize::Custom) printer.setPageSize(size);
    }
    if (form.paper_orientation == QLatin1String("1"))
        printer.setPageOrientation(QPageLayout::Portrait);
    else if (form.paper_orientation == QLatin1String("2"))
        printer.setPageOrientation(QPageLayout::Landscape);
    printer.setDocName(QStringLiteral("korvan-batch"));
    QPainter painter;
    if (!painter.begin(&printer)) {
        say(QStringLiteral("korvan-batch: cannot print on ") + name);
        return false;
    }
    const bool ok = run_pages(
        form, painter, [&]() { return printer.newPage(); }, progress);
    painter.end();
    return ok;
}

bool print_to_png(form_l& form, const QString& dir, int dpi, progress_l& progress) {
    if (!QDir().mkpath(dir)) {
        say(QStringLiteral("korvan-batch: cannot create ") + dir);
        return false;
    }
    const QPageLayout layout = page_layout_of(form);
    const QSizeF mm = layout.fullRect(QPageLayout::Millimeter).size();
    const QSize pixels(qRound(mm.width() / 25.4 * dpi), qRound(mm.height() / 25.4 * dpi));
    QImage image(pixels, QImage::Format_RGB32);
    QPainter painter;
    int number = 0;
    bool saved_ok = true;
    auto start_image = [&]() {
        image.fill(Qt::white);
        painter.begin(&image);
        painter.scale(dpi / 72.0, dpi / 72.0);
    };
    auto save_image = [&]() {
        painter.end();
        ++number;
        const QString name =
            QDir(dir).filePath(QStringLiteral("page-%1.png").arg(number, 5, 10, QLatin1Char('0')));
        image.setDotsPerMeterX(qRound(dpi / 0.0254));
        image.setDotsPerMeterY(qRound(dpi / 0.0254));
        if (!image.save(name, "PNG")) {
            say(QStringLiteral("korvan-batch: cannot write ") + name);
            saved_ok = false;
            return false;
        }
        return true;
    };
    start_image();
    const bool ok = run_pages(
        form, painter,
        [&]() {
            if (!save_image()) return false;
            start_image();
            return true;
        },
        progress);
    if (painter.isActive() && !save_image()) return false;
    return ok && saved_ok;
}

} // namespace batch
