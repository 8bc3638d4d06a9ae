// Preview redraw time of the invoice page: the page drawn with display_print_b onto a
// window-sized image, as the preview's paint handler draws it. A page flip takes the
// next page's values from the data file; a pan or zoom draws the same page again from
// the values it remembered. Each must be ready within a frame (16 ms).
//
// Prints key=value lines (milliseconds) for bench/run.py.
#include "bench_data.h"

#include "layout/form.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int window_size = 800; // the preview window's side in pixels
constexpr int samples = 60;

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

double max_of(const std::vector<double>& v) {
    return *std::max_element(v.begin(), v.end());
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir dir;
    const QString data = dir.filePath(QStringLiteral("invoice.tsv"));
    if (!dir.isValid() || !write_invoice_data(data, samples + 10)) return 1;
    const QByteArray data_arg = data.toLocal8Bit();
    const QByteArray layout_arg = invoice_layout_path().toLocal8Bit();
    std::vector<char*> args = {argv[0], const_cast<char*>("DISPLAY"),
                               const_cast<char*>(data_arg.constData()),
                               const_cast<char*>(layout_arg.constData())};
    qx_z_l ctx(QStringLiteral("KORVAN"), int(args.size()), args.data());
    form_l form(&ctx);
    if (!setup_invoice_form(form)) return 1;

    // The window's surface: the background is filled, then the page is drawn on it.
    QImage surface(window_size, window_size, QImage::Format_ARGB32_Premultiplied);
    const QColor background(210, 210, 210);
    auto paint = [&](float x, float y, float zoom) {
        QElapsedTimer timer;
        timer.start();
        surface.fill(background);
        QPainter painter(&surface);
        form.painter = &painter;
        const bool ok = form.display_print_b(x, y, zoom);
        form.painter = nullptr;
        painter.end();
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        return ok ? ms : -1.0;
    };

    std::vector<double> flip, redraw, zoomed;
    paint(0, 0, 1.0f); // the first page: fonts and character classes are made here
    for (int i = 0; i < samples; ++i) {
        // Enter: the next page, with fresh values.
        form.replay_index = -1;
        form.page_values.clear();
        form.current_page += 1;
        flip.push_back(paint(0, 0, 1.0f));
        // A pan of 10 mm and a zoom, both drawn from the remembered values.
        redraw.push_back(paint(0, -10, 1.0f));
        zoomed.push_back(paint(0, 0, 2.0f));
    }
    if (std::min({*std::min_element(flip.begin(), flip.end()),
                  *std::min_element(redraw.begin(), redraw.end()),
                  *std::min_element(zoomed.begin(), zoomed.end())}) < 0) {
        std::fprintf(stderr, "a page could not be drawn\n");
        return 1;
    }
    std::printf("flip_median=%.3f\nflip_max=%.3f\n", median(flip), max_of(flip));
    std::printf("redraw_median=%.3f\nredraw_max=%.3f\n", median(redraw), max_of(redraw));
    std::printf("zoom2_median=%.3f\nzoom2_max=%.3f\n", median(zoomed), max_of(zoomed));
    return 0;
}
