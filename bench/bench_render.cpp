// Pages per second of the invoice form (40 data fields of Japanese names and edited
// amounts, 26 ruled items, 7 fixed texts, two bar codes) drawn into page images, data
// file reading and value binding included.
#include "bench_data.h"

#include "layout/form.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cmath>
#include <memory>
#include <vector>

namespace {

constexpr int data_pages = 2000;
qx_z_l* context = nullptr;

// Draws page after page, as a print run does, onto a white A4 image at the given
// resolution; the data file is started again when it runs out.
void invoice_pages(benchmark::State& state) {
    const double dpi = double(state.range(0));
    form_l form(context);
    if (!setup_invoice_form(form)) {
        state.SkipWithError("the invoice form could not be set up");
        return;
    }
    QImage image(int(std::lround(210 / 25.4 * dpi)), int(std::lround(297 / 25.4 * dpi)),
                 QImage::Format_RGB32);
    QPainter painter(&image);
    painter.scale(dpi / 72.0, dpi / 72.0);
    form.painter = &painter;
    const auto no_new_page = [] { return true; };
    for (auto _ : state) {
        if (form.last_page_reached == 1) {
            state.PauseTiming();
            form.read_data_b(1);
            state.ResumeTiming();
        }
        image.fill(Qt::white);
        form.print_v(no_new_page);
        if (form.error_flag == 1) {
            state.SkipWithError("a page could not be drawn");
            break;
        }
    }
    form.painter = nullptr;
    state.SetItemsProcessed(state.iterations());
    state.counters["pages/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(invoice_pages)->Arg(72)->Arg(150)->Arg(300)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir dir;
    const QString data = dir.filePath(QStringLiteral("invoice.tsv"));
    if (!dir.isValid() || !write_invoice_data(data, data_pages)) {
        std::fprintf(stderr, "cannot write the invoice data\n");
        return 1;
    }
    const QByteArray data_arg = data.toLocal8Bit();
    const QByteArray layout_arg = invoice_layout_path().toLocal8Bit();
    std::vector<char*> args = {argv[0], const_cast<char*>("PRINT"),
                               const_cast<char*>(data_arg.constData()),
                               const_cast<char*>(layout_arg.constData())};
    qx_z_l ctx(QStringLiteral("KORVAN"), int(args.size()), args.data());
    context = &ctx;

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
