#include "batch/calibrate.h"

#include "batch/outputs.h"
#include "layout/form.h"
#include "output/calibration.h"

#include <QCommandLineParser>
#include <QPageLayout>
#include <QPainter>
#include <QPrinterInfo>
#include <algorithm>
#include <cmath>
#include <cstdio>

namespace batch {

namespace {

enum { EXIT_OK = 0, EXIT_ERRORS = 1, EXIT_USAGE = 2 };
const QString program = QStringLiteral("korvan-batch");

int usage_error(const QString& text) {
    say(program + QStringLiteral(": ") + text);
    say(QStringLiteral("Try 'korvan-batch --help' for more information."));
    return EXIT_USAGE;
}

int run_error(const QString& text) {
    say(program + QStringLiteral(": ") + text);
    return EXIT_ERRORS;
}

QString no_queue_s(const QString& name) {
    return QStringLiteral("no print queue named ") + name +
           QStringLiteral(" (lpstat -p lists them)");
}

// The queue's name as the print system spells it; empty when there is no such queue.
QString queue_named(const QString& name) {
    for (const QString& queue : QPrinterInfo::availablePrinterNames())
        if (queue.compare(name, Qt::CaseInsensitive) == 0) return queue;
    return {};
}

// Exactly `count` finite numbers separated by commas.
bool numbers_b(const QString& text, int count, double* out) {
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != count) return false;
    for (int i = 0; i < count; ++i) {
        bool ok = false;
        out[i] = parts[i].trimmed().toDouble(&ok);
        if (!ok || !std::isfinite(out[i])) return false;
    }
    return true;
}

void show_v(const QString& queue, const calibration_l& values) {
    const QString line =
        queue + QStringLiteral(": ") +
        (values.identity_b() ? QStringLiteral("no calibration") : values.text_s()) +
        QLatin1Char('\n');
    std::fputs(line.toUtf8().constData(), stdout);
}

bool within_limits_b(const calibration_l& c) {
    return calibration_l::shift_ok_b(c.shift_x) && calibration_l::shift_ok_b(c.shift_y) &&
           calibration_l::stretch_ok_b(c.stretch_x) && calibration_l::stretch_ok_b(c.stretch_y);
}

int print_sheet_i(const QString& pdf, const QString& printer, const QString& values_queue) {
    QString queue;
    if (!printer.isEmpty()) {
        queue = queue_named(printer);
        if (queue.isEmpty()) return run_error(no_queue_s(printer));
    }
    // Drawn with the queue's calibration, as its forms are: the sheet then shows what
    // the queue does to a form, and a calibrated queue reads 0 on every scale.
    QString problem, note;
    const calibration_l values = calibration_l::load_n(values_queue, &problem);
    if (!problem.isEmpty()) {
        say(program + QStringLiteral(": ") + problem +
            QStringLiteral("; the sheet is drawn without calibration"));
        note = QStringLiteral("The stored calibration is unusable and was ignored: ") + problem;
    }
    const QPageSize paper = queue_paper(queue.isEmpty() ? values_queue : queue);
    const QString named = values_queue.isEmpty() ? queue : values_queue;
    // One page, written and sent as the pages of a run are: whole or not at all.
    const QPageLayout layout(paper, QPageLayout::Portrait, QMarginsF(0, 0, 0, 0),
                             QPageLayout::Point);
    const pdf_pages_fn sheet = [&](QPainter& painter, const std::function<bool()>&) {
        draw_calibration_sheet_v(&painter, paper.size(QPageSize::Millimeter), paper.name(), values,
                                 named, note);
        return true;
    };
    const bool done = pdf.isEmpty() ? pdf_to_queue(queue, layout, QString(), sheet)
                                    : pdf_to_file(pdf, layout, sheet);
    return done ? EXIT_OK : EXIT_ERRORS;
}

} // namespace

void calibration_options_l::add_to_v(QCommandLineParser& parser) const {
    parser.addOptions({calibrate_, shift_, stretch_, readings_, clear_, calibration_, sheet_});
}

bool calibration_options_l::command_b(const QCommandLineParser& parser) const {
    for (const QCommandLineOption* o :
         {&calibrate_, &shift_, &stretch_, &readings_, &clear_, &sheet_})
        if (parser.isSet(*o)) return true;
    // --calibration QUEUE alone shows the values.
    return parser.isSet(calibration_) && parser.positionalArguments().isEmpty() &&
           !parser.isSet(QStringLiteral("pdf")) && !parser.isSet(QStringLiteral("png")) &&
           !parser.isSet(QStringLiteral("printer"));
}

int calibration_options_l::run_i(const QCommandLineParser& parser) const {
    if (!parser.positionalArguments().isEmpty())
        return usage_error(QStringLiteral("a calibration command takes no DATA or LAYOUT"));
    const QString pdf = parser.value(QStringLiteral("pdf"));
    const QString printer = parser.value(QStringLiteral("printer"));

    if (parser.isSet(sheet_)) {
        if (parser.isSet(calibrate_) || parser.isSet(QStringLiteral("png")) ||
            pdf.isEmpty() == printer.isEmpty())
            return usage_error(
                QStringLiteral("--calibration-sheet wants one of --pdf and --printer"));
        return print_sheet_i(pdf, printer,
                             parser.isSet(calibration_) ? parser.value(calibration_) : printer);
    }

    if (!parser.isSet(calibrate_)) {
        if (!parser.isSet(calibration_))
            return usage_error(QStringLiteral("--shift, --stretch, --readings and --clear go with "
                                              "--calibrate QUEUE"));
        // Show the values.
        const QString name = parser.value(calibration_);
        QString problem;
        const calibration_l values = calibration_l::load_n(name, &problem);
        if (!problem.isEmpty())
            return run_error(problem + QStringLiteral("; the queue prints without calibration"));
        if (values.identity_b() && queue_named(name).isEmpty()) return run_error(no_queue_s(name));
        show_v(name, values);
        return EXIT_OK;
    }

    const QString name = parser.value(calibrate_);
    const bool set = parser.isSet(shift_) || parser.isSet(stretch_);
    if (int(set) + int(parser.isSet(readings_)) + int(parser.isSet(clear_)) != 1)
        return usage_error(QStringLiteral("--calibrate QUEUE wants --shift or --stretch (or both), "
                                          "--readings, or --clear"));
    double shift[2], stretch[2], readings[4];
    if (parser.isSet(shift_) &&
        !(numbers_b(parser.value(shift_), 2, shift) && calibration_l::shift_ok_b(shift[0]) &&
          calibration_l::shift_ok_b(shift[1])))
        return usage_error(QStringLiteral("--shift wants X,Y in millimetres, each from -20 to 20"));
    if (parser.isSet(stretch_) &&
        !(numbers_b(parser.value(stretch_), 2, stretch) &&
          calibration_l::stretch_ok_b(stretch[0]) && calibration_l::stretch_ok_b(stretch[1])))
        return usage_error(QStringLiteral("--stretch wants SX,SY, each from 0.9 to 1.1"));
    if (parser.isSet(readings_) &&
        !(numbers_b(parser.value(readings_), 4, readings) &&
          std::all_of(readings, readings + 4, [](double r) { return std::fabs(r) <= 20; })))
        return usage_error(QStringLiteral("--readings wants LEFT,RIGHT,TOP,BOTTOM in "
                                          "millimetres, each from -20 to 20"));

    QString problem;
    if (parser.isSet(clear_)) {
        // A queue that is gone may still have values to remove.
        if (!calibration_l::store_b(name, nullptr, &problem)) return run_error(problem);
        show_v(name, calibration_l());
        return EXIT_OK;
    }
    const QString queue = queue_named(name);
    if (queue.isEmpty()) return run_error(no_queue_s(name));
    // Unusable stored values count as none, as they do when the queue prints.
    QString stored_problem;
    calibration_l values = calibration_l::load_n(queue, &stored_problem);
    if (parser.isSet(shift_)) {
        values.shift_x = shift[0];
        values.shift_y = shift[1];
    }
    if (parser.isSet(stretch_)) {
        values.stretch_x = stretch[0];
        values.stretch_y = stretch[1];
    }
    if (parser.isSet(readings_)) {
        const QSizeF paper = queue_paper(queue).size(QPageSize::Millimeter);
        values = values.corrected_n(readings, paper.width(), paper.height());
        if (!within_limits_b(values))
            return usage_error(QStringLiteral("the readings give ") + values.text_s() +
                               QStringLiteral(", beyond -20 to 20 mm and 0.9 to 1.1: check them"));
    }
    if (!calibration_l::store_b(queue, &values, &problem)) return run_error(problem);
    if (!stored_problem.isEmpty())
        say(program + QStringLiteral(": ") + stored_problem + QStringLiteral("; replaced"));
    show_v(queue, values);
    return EXIT_OK;
}

bool calibration_options_l::apply_b(const QCommandLineParser& parser, form_l& form,
                                    const QString& printer) const {
    const QString queue = parser.isSet(calibration_) ? parser.value(calibration_) : printer;
    QString problem;
    const calibration_l values = calibration_l::load_n(queue, &problem);
    if (!problem.isEmpty()) {
        // Unusable values print uncalibrated, on a queue or not: said once.
        say(program + QStringLiteral(": ") + problem +
            QStringLiteral("; printing without calibration"));
    } else if (parser.isSet(calibration_) && values.identity_b() && queue_named(queue).isEmpty()) {
        // A name that is neither a queue nor in the file is a mistake, not "no calibration".
        run_error(no_queue_s(queue));
        return false;
    }
    values.apply_v(&form);
    return true;
}

} // namespace batch
