// Micro-benchmarks of the per-page work that is not the painter's: splitting a data
// line, binding and editing the values of a page, character classes, the text layout
// loop and the bar code encoders. Every case runs on the invoice workload's own values.
#include "bench_data.h"

#include "core/textfile.h"
#include "layout/form.h"

#include <QApplication>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <memory>
#include <vector>

namespace {

constexpr int data_pages = 200;
qx_z_l* context = nullptr;
QString data_path;
QString first_line; // a line of invoice data, decoded

// A form of the invoice layout in print mode, positioned on its first page.
std::unique_ptr<form_l> invoice_form() {
    auto form = std::make_unique<form_l>(context);
    if (!setup_invoice_form(*form)) return nullptr;
    return form;
}

// Back to the first page when the data has run out.
void restart(form_l& form) {
    form.current_page = 0;
    form.read_data_b(1);
}

QStringList first_values() {
    return first_line.split(QLatin1Char('\t'));
}

// One data line into its 42 values.
void split_line(benchmark::State& state) {
    for (auto _ : state) {
        s_l values = context->split_sx(first_line, QLatin1Char('\t'));
        benchmark::DoNotOptimize(values);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(split_line);

// Reading and splitting the next line of the data file, as each page does.
void read_line(benchmark::State& state) {
    auto form = invoice_form();
    if (!form) return state.SkipWithError("no invoice form");
    for (auto _ : state) {
        if (form->last_page_reached == 1) {
            state.PauseTiming();
            restart(*form);
            state.ResumeTiming();
        }
        form->read_b();
        benchmark::DoNotOptimize(form->data_values);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(read_line);

// The amounts of a page through the "+" edit code in 12 columns.
void edit_amounts(benchmark::State& state) {
    const QStringList values = first_values();
    for (auto _ : state) {
        for (int i = 1; i < 40; i += 2) {
            QString v = form_l::edit_s(context, values.at(i), QStringLiteral("+"), 12, false);
            benchmark::DoNotOptimize(v);
        }
    }
    state.SetItemsProcessed(state.iterations() * 20);
}
BENCHMARK(edit_amounts);

void comma(benchmark::State& state) {
    const QString amount = QStringLiteral("12345678");
    for (auto _ : state) {
        QString v = context->comma_s(amount);
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(comma);

// The class of every character of a page's values.
void kind_code(benchmark::State& state) {
    const QString text = first_values().join(QString());
    qint64 sum = 0;
    for (auto _ : state) {
        for (const QChar c : text)
            sum += context->kind_code(c);
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * text.size());
}
BENCHMARK(kind_code);

// A whole page bound and laid out without a painter: values taken from the data,
// edited, fonts chosen, characters placed; nothing is drawn.
void bind_page(benchmark::State& state) {
    auto form = invoice_form();
    if (!form) return state.SkipWithError("no invoice form");
    form->painter = nullptr;
    for (auto _ : state) {
        if (form->last_page_reached == 1) {
            state.PauseTiming();
            restart(*form);
            state.ResumeTiming();
        }
        form->page_values.clear();
        form->print_sub_b(0, 0, 0, 1.0f);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(bind_page)->Unit(benchmark::kMicrosecond);

// The text layout loop of one item name: character classes, advances, glyphs and
// positions. Drawn into a small image so that the glyph run is built but costs little
// to paint; range(0) = 0 lays out without a painter.
void text_layout(benchmark::State& state) {
    auto form = invoice_form();
    if (!form) return state.SkipWithError("no invoice form");
    const QString name = first_values().at(0);
    const QFont font = form->new_font_n(QStringLiteral("IPAGothic"), 3.5f, QString());
    QImage image(8, 8, QImage::Format_RGB32);
    QPainter painter(&image);
    form->painter = state.range(0) ? &painter : nullptr;
    form->fix_flag = 0;
    for (auto _ : state)
        form->draw_h_string_v(0.0f, name, font, form->black_brush, 17.0f, 85.5f);
    form->painter = nullptr;
    state.SetItemsProcessed(state.iterations() * name.size());
}
BENCHMARK(text_layout)->Arg(0)->Arg(1);

void code39_check(benchmark::State& state) {
    const QString text = first_values().at(41);
    for (auto _ : state) {
        QString c = context->code39_s(text);
        benchmark::DoNotOptimize(c);
    }
}
BENCHMARK(code39_check);

void jan_check(benchmark::State& state) {
    const QString digits = first_values().at(40);
    for (auto _ : state) {
        QString c = context->jan_s(digits);
        benchmark::DoNotOptimize(c);
    }
}
BENCHMARK(jan_check);

// The bars of the page's bar codes worked out without a painter.
void barcodes(benchmark::State& state) {
    auto form = invoice_form();
    if (!form) return state.SkipWithError("no invoice form");
    form->painter = nullptr;
    qx_print_l* jan = nullptr;
    qx_print_l* code39 = nullptr;
    for (qx_print_l* item : std::as_const(form->print_items)) {
        if (item->keyword == QLatin1String("JAN")) jan = item;
        if (item->keyword == QLatin1String("CODE39")) code39 = item;
    }
    if (!jan || !code39) return state.SkipWithError("no bar codes in the layout");
    const QStringList values = first_values();
    for (auto _ : state) {
        form->current_item = jan;
        form->jan_b(0, 0, 1.0f, values.at(40));
        form->current_item = code39;
        form->code39_b(0, 0, 1.0f, values.at(41));
    }
}
BENCHMARK(barcodes);

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir dir;
    data_path = dir.filePath(QStringLiteral("invoice.tsv"));
    if (!dir.isValid() || !write_invoice_data(data_path, data_pages)) {
        std::fprintf(stderr, "cannot write the invoice data\n");
        return 1;
    }
    QFile file(data_path);
    if (!file.open(QIODevice::ReadOnly)) return 1;
    first_line = QString::fromUtf8(file.readLine());
    if (first_line.endsWith(QLatin1Char('\n'))) first_line.chop(1);

    const QByteArray data_arg = data_path.toLocal8Bit();
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
