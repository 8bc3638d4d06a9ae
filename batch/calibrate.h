// korvan-batch's printer calibration: the options that set, show and clear a print
// queue's calibration and print its calibration sheet, and the calibration of a run.
#pragma once

#include <QCommandLineOption>

class QCommandLineParser;
class form_l;

namespace batch {

class calibration_options_l {
public:
    void add_to_v(QCommandLineParser& parser) const;
    // True when the command line is a calibration command rather than a print run.
    bool command_b(const QCommandLineParser& parser) const;
    // Sets, shows or clears a queue's values or prints a calibration sheet; returns the
    // exit status.
    int run_i(const QCommandLineParser& parser) const;
    // Calibrates a print run: with the values of --calibration QUEUE when given, else
    // with those of the print queue `printer` (empty for files: none). False, with a
    // line on standard error, when --calibration names neither a queue nor stored values.
    bool apply_b(const QCommandLineParser& parser, form_l& form, const QString& printer) const;

private:
    const QCommandLineOption calibrate_{
        QStringLiteral("calibrate"),
        QStringLiteral("Set the calibration of the print queue QUEUE, with --shift and "
                       "--stretch, with --readings, or remove it with --clear."),
        QStringLiteral("QUEUE")};
    const QCommandLineOption shift_{
        QStringLiteral("shift"),
        QStringLiteral("With --calibrate: move everything printed X mm right and Y mm down "
                       "(-20 to 20 each)."),
        QStringLiteral("X,Y")};
    const QCommandLineOption stretch_{
        QStringLiteral("stretch"),
        QStringLiteral("With --calibrate: multiply every position by SX across and SY down, "
                       "about the sheet's corner (0.9 to 1.1 each)."),
        QStringLiteral("SX,SY")};
    const QCommandLineOption readings_{
        QStringLiteral("readings"),
        QStringLiteral("With --calibrate: correct the queue by the four readings of its "
                       "calibration sheet, in mm."),
        QStringLiteral("L,R,T,B")};
    const QCommandLineOption clear_{
        QStringLiteral("clear"),
        QStringLiteral("With --calibrate: remove the queue's calibration.")};
    const QCommandLineOption calibration_{
        QStringLiteral("calibration"),
        QStringLiteral("Alone: show the calibration of QUEUE. With a run or a calibration "
                       "sheet: use the calibration of QUEUE (--pdf and --png have none "
                       "otherwise)."),
        QStringLiteral("QUEUE")};
    const QCommandLineOption sheet_{
        QStringLiteral("calibration-sheet"),
        QStringLiteral("Print the calibration sheet of the queue of --printer, or write it "
                       "to the PDF file of --pdf.")};
};

} // namespace batch
