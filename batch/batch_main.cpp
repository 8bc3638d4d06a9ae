// korvan-batch: the print run of PRINT mode without a window or a dialog, for the
// systems that print forms unattended. Pages go to a PDF file, to PNG images or
// straight to a named print queue.
#include "core/qx_z.h"
#include "core/version.h"
#include "layout/form.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QPdfWriter>
#include <QPrinter>
#include <QPrinterInfo>
#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {

enum { EXIT_OK = 0, EXIT_ERRORS = 1, EXIT_USAGE = 2 };

void say(const QString& text) {
    const QByteArray bytes = text.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
}

int usage_error(const QString& text) {
    say(QStringLiteral("korvan-batch: ") + text);
    say(QStringLiteral("Try 'korvan-batch --help' for more information."));
    return EXIT_USAGE;
}

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

// A progress line on standard error, only when it is a terminal and the run lasts.
class progress_l {
public:
    progress_l() : tty_(isatty(STDERR_FILENO) == 1) { timer_.start(); }
    void page_done() {
        ++pages_;
        if (!tty_ || timer_.elapsed() < 1000 || timer_.elapsed() - last_ < 250) return;
        last_ = timer_.elapsed();
        show();
        shown_ = true;
    }
    void finish() {
        if (shown_) {
            show();
            std::fputs("\n", stderr);
        }
    }

private:
    void show() {
        const double seconds = double(timer_.elapsed()) / 1000.0;
        std::fprintf(stderr, "\rkorvan-batch: %d pages, %.0f pages/s   ", pages_,
                     seconds > 0 ? pages_ / seconds : 0.0);
        std::fflush(stderr);
    }
    bool tty_;
    bool shown_ = false;
    int pages_ = 0;
    qint64 last_ = 0;
    QElapsedTimer timer_;
};

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

} // namespace

int main(int argc, char** argv) {
    // The batch tool never opens a window; it must run where there is no display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    // Qt warns on standard error when it has to make up a runtime directory; standard
    // error is where a calling system reads the run's errors, so give it one quietly.
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        const QString dir =
            QDir::tempPath() + QStringLiteral("/korvan-runtime-") + QString::number(uint(getuid()));
        QDir().mkpath(dir);
        QFile::setPermissions(dir, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                       QFileDevice::ExeOwner);
        qputenv("XDG_RUNTIME_DIR", dir.toLocal8Bit());
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("korvan-batch"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Prints the pages of a form without a window: the layout file LAYOUT describes one\n"
        "form page, the TAB-separated data file DATA supplies its values, and the pages go\n"
        "to a PDF file, to PNG images or straight to a print queue.\n"
        "\n"
        "Examples:\n"
        "  korvan-batch --pdf out.pdf invoice.tsv invoice.csv\n"
        "  korvan-batch --png pages/ --dpi 150 --start 2 --end 3 invoice.tsv invoice.csv\n"
        "  korvan-batch --printer office invoice.tsv invoice.csv\n"
        "  korvan-batch --check invoice.csv\n"
        "\n"
        "Exit status: 0 when every page was produced, 1 when the run found errors (each\n"
        "one is a line on standard error), 2 when the command line is wrong."));
    const QCommandLineOption help_option({QStringLiteral("h"), QStringLiteral("help")},
                                         QStringLiteral("Show this help and exit."));
    const QCommandLineOption version_option(QStringLiteral("version"),
                                            QStringLiteral("Show the version and exit."));
    const QCommandLineOption pdf_option(QStringLiteral("pdf"),
                                        QStringLiteral("Write the pages to the PDF file FILE."),
                                        QStringLiteral("FILE"));
    const QCommandLineOption png_option(QStringLiteral("png"),
                                        QStringLiteral("Write one PNG image per page into DIR."),
                                        QStringLiteral("DIR"));
    const QCommandLineOption dpi_option(
        QStringLiteral("dpi"), QStringLiteral("Resolution of the PNG images (default 300)."),
        QStringLiteral("N"), QStringLiteral("300"));
    const QCommandLineOption printer_option(
        QStringLiteral("printer"),
        QStringLiteral("Send the pages to the print queue NAME, without a dialog."),
        QStringLiteral("NAME"));
    const QCommandLineOption start_option(QStringLiteral("start"),
                                          QStringLiteral("First page to print (default 1)."),
                                          QStringLiteral("N"));
    const QCommandLineOption end_option(
        QStringLiteral("end"), QStringLiteral("Last page to print (default: the last page)."),
        QStringLiteral("N"));
    const QCommandLineOption test_data_option(
        QStringLiteral("test-data"),
        QStringLiteral("Fill the data fields with made-up digits instead of reading DATA; "
                       "prints the start page only unless --end asks for more."));
    const QCommandLineOption encoding_option(
        QStringLiteral("encoding"),
        QStringLiteral("Read the layout and data files in NAME (UTF-8, SJIS, EUC-JP). "
                       "Without it each file is read as UTF-8 when it is valid UTF-8, "
                       "else as Shift-JIS."),
        QStringLiteral("NAME"));
    const QCommandLineOption check_option(
        QStringLiteral("check"),
        QStringLiteral("Only read the layout and report its errors (DATA may be left out)."));
    parser.addOptions({help_option, version_option, pdf_option, png_option, dpi_option,
                       printer_option, start_option, end_option, test_data_option, encoding_option,
                       check_option});
    parser.addPositionalArgument(QStringLiteral("DATA"), QStringLiteral("The data file."));
    parser.addPositionalArgument(QStringLiteral("LAYOUT"), QStringLiteral("The layout file."));

    if (!parser.parse(QCoreApplication::arguments())) return usage_error(parser.errorText());
    if (parser.isSet(help_option)) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return EXIT_OK;
    }

    const bool check = parser.isSet(check_option);
    const QStringList positional = parser.positionalArguments();
    QString data_file, layout_file;
    if (check && positional.size() == 1) {
        layout_file = positional.at(0);
    } else if (positional.size() == 2) {
        data_file = positional.at(0);
        layout_file = positional.at(1);
    } else {
        return usage_error(QStringLiteral("expected DATA and LAYOUT"));
    }

    // Unlike the window program, whose bare names mean files in the work directory, the
    // batch tool takes its file names as ordinary paths from the current directory.
    if (!data_file.isEmpty()) data_file = QFileInfo(data_file).absoluteFilePath();
    layout_file = QFileInfo(layout_file).absoluteFilePath();

    const int outputs = int(parser.isSet(pdf_option)) + int(parser.isSet(png_option)) +
                        int(parser.isSet(printer_option));
    if (!check && outputs != 1)
        return usage_error(QStringLiteral("give exactly one of --pdf, --png and --printer"));
    bool dpi_ok = false;
    const int dpi = parser.value(dpi_option).toInt(&dpi_ok);
    if (!dpi_ok || dpi < 10 || dpi > 2400)
        return usage_error(QStringLiteral("--dpi wants a number from 10 to 2400"));

    // The run reads its command line as the program does: mode, data, layout, pages.
    const QString mode = check || parser.isSet(test_data_option) ? QStringLiteral("TEST_DATA")
                                                                 : QStringLiteral("PRINT");
    QList<QByteArray> words = {QByteArray("korvan-batch"),
                               mode.toLocal8Bit(),
                               data_file.toLocal8Bit(),
                               layout_file.toLocal8Bit(),
                               parser.value(start_option).toLocal8Bit(),
                               parser.value(end_option).toLocal8Bit()};
    std::vector<char*> args;
    for (QByteArray& w : words)
        args.push_back(w.data());
    args.push_back(nullptr);

    auto* ctx = new qx_z_l(QStringLiteral("KORVAN"), int(words.size()), args.data());
    if (parser.isSet(version_option)) {
        std::printf("korvan-batch %s\n", qPrintable(ctx->version_label));
        return EXIT_OK;
    }
    if (parser.isSet(encoding_option)) ctx->forced_encoding = parser.value(encoding_option);

    form_l form(ctx);
    form.setup_v();
    if (form.error_flag == 1 || check) return form.error_flag == 1 ? EXIT_ERRORS : EXIT_OK;

    progress_l progress;
    bool ok;
    if (parser.isSet(pdf_option))
        ok = print_to_pdf(form, parser.value(pdf_option), progress);
    else if (parser.isSet(png_option))
        ok = print_to_png(form, parser.value(png_option), dpi, progress);
    else
        ok = print_to_printer(form, parser.value(printer_option), progress);
    progress.finish();
    return ok && form.error_flag == 0 ? EXIT_OK : EXIT_ERRORS;
}
