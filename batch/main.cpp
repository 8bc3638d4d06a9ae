// korvan-batch: the print run of PRINT mode without a window or a dialog, for the
// systems that print forms unattended. Pages go to a PDF file, to PNG images or
// straight to a named print queue.
#include "batch/calibrate.h"
#include "batch/outputs.h"
#include "core/qx_z.h"
#include "core/version.h"
#include "layout/form.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cstdio>
#include <unistd.h>

namespace {

enum { EXIT_OK = 0, EXIT_ERRORS = 1, EXIT_USAGE = 2 };

using batch::say;

int usage_error(const QString& text) {
    say(QStringLiteral("korvan-batch: ") + text);
    say(QStringLiteral("Try 'korvan-batch --help' for more information."));
    return EXIT_USAGE;
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
        "one is a line on standard error, and the output is left as it was), 2 when the\n"
        "command line is wrong."));
    const QCommandLineOption help_option({QStringLiteral("h"), QStringLiteral("help")},
                                         QStringLiteral("Show this help and exit."));
    const QCommandLineOption version_option(QStringLiteral("version"),
                                            QStringLiteral("Show the version and exit."));
    const QCommandLineOption pdf_option(
        QStringLiteral("pdf"),
        QStringLiteral("Write the pages to the PDF file FILE ('-': standard output)."),
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
        QStringLiteral("Only read the layout and report its errors (DATA may be left out); "
                       "the errors and warnings also go to standard output as "
                       "FILE:LINE: lines."));
    parser.addOptions({help_option, version_option, pdf_option, png_option, dpi_option,
                       printer_option, start_option, end_option, test_data_option, encoding_option,
                       check_option});
    // Printer calibration: its commands and the calibration of a run (batch/calibrate.cpp).
    const batch::calibration_options_l calibration;
    calibration.add_to_v(parser);
    parser.addPositionalArgument(QStringLiteral("DATA"), QStringLiteral("The data file."));
    parser.addPositionalArgument(QStringLiteral("LAYOUT"), QStringLiteral("The layout file."));

    if (!parser.parse(QCoreApplication::arguments())) return usage_error(parser.errorText());
    if (parser.isSet(help_option)) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return EXIT_OK;
    }
    // Answered before the file names are looked at, which it does not need.
    if (parser.isSet(version_option)) {
        const qx_version_l version(nullptr);
        std::printf(
            "korvan-batch %s (layout VERSION %d)\n",
            qPrintable(qx_z_l::version_label_s(version.version_text, version.general_number)),
            version.korvan_number);
        return EXIT_OK;
    }

    if (calibration.command_b(parser)) return calibration.run_i(parser);

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
    if (parser.isSet(encoding_option)) ctx->forced_encoding = parser.value(encoding_option);

    form_l form(ctx);
    form.setup_v();
    const bool start_given = parser.isSet(start_option);
    if (form.error_flag == 1) batch::explain_data_fault(form, start_given);
    // After the lines above on standard error, the findings as editors read them.
    for (const QString& line : check ? form.located_lines(layout_file) : QStringList())
        std::fputs((line + QLatin1Char('\n')).toUtf8().constData(), stdout);
    if (form.error_flag == 1 || check) return form.error_flag == 1 ? EXIT_ERRORS : EXIT_OK;

    if (!calibration.apply_b(
            parser, form, parser.isSet(printer_option) ? parser.value(printer_option) : QString()))
        return EXIT_ERRORS;

    batch::progress_l progress;
    bool ok;
    if (parser.isSet(pdf_option))
        ok = batch::print_to_pdf(form, parser.value(pdf_option), progress);
    else if (parser.isSet(png_option))
        ok = batch::print_to_png(form, parser.value(png_option), dpi, progress);
    else
        ok = batch::print_to_printer(form, parser.value(printer_option), progress);
    progress.finish();
    batch::explain_data_fault(form, start_given);
    return ok && form.error_flag == 0 ? EXIT_OK : EXIT_ERRORS;
}
