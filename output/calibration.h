// Printer calibration. No printer puts (0, 0) exactly on the sheet's corner or draws
// 100 mm exactly 100 mm long; on pre-printed stock a millimetre puts a digit on a rule.
// Each print queue therefore has a correction, kept in the user's configuration
// ($XDG_CONFIG_HOME/korvan/printers.ini, one group per queue), which every position
// drawn on that queue receives: a point x mm from the sheet's left edge is drawn at
// x * stretch_x + shift_x mm, and likewise for y. A stretch of 1.01 in x draws a
// 100 mm wide box 101 mm wide; a shift of +2 moves everything 2 mm to the right.
//
// The calibration sheet measures a queue: it is drawn with the queue's correction, as
// forms are, and its scales read, at each edge, how far the print lies from its place.
// corrected_n() turns those four readings into the correction that cancels them.
#pragma once

#include <QSizeF>
#include <QString>

class QPainter;
class form_l;

struct calibration_l {
    double shift_x = 0, shift_y = 0;     // millimetres; + moves the print right / down
    double stretch_x = 1, stretch_y = 1; // factors about the sheet's top-left corner

    // Values outside these are a mistake, not a printer.
    static constexpr double max_shift = 20, min_stretch = 0.9, max_stretch = 1.1;
    static bool shift_ok_b(double mm);
    static bool stretch_ok_b(double factor);

    bool identity_b() const;
    // "shift 1.50,-0.75 mm, stretch 1.00200,0.99800"
    QString text_s() const;
    // Sets the engine's mapping of millimetres to the device from these values.
    void apply_v(form_l* form) const;

    // The correction after reading a calibration sheet of width x height mm that was
    // drawn with these values: the readings at the left, right, top and bottom edges,
    // in millimetres, + where the print lies right of (below) its place.
    calibration_l corrected_n(const double readings[4], double width, double height) const;

    // ---- the stored values ----
    // The file that holds the values of every queue.
    static QString file_s();
    // The values of `queue`; the identity when none are stored. When the file cannot be
    // read or parsed, or the queue's values are not numbers within the limits, also the
    // identity, and `problem` says in one line what is wrong.
    static calibration_l load_n(const QString& queue, QString* problem);
    // The values a print run on `queue` uses: load_n(), with a problem reported on
    // standard error as one line beginning with `program`. An empty queue (a file the
    // print dialog prints into) has none.
    static calibration_l printing_n(const QString& queue, const QString& program);
    // Stores the values of `queue`, or removes them when `values` is null. False, with
    // the reason in `problem`, when the file cannot be written; it is then unchanged.
    static bool store_b(const QString& queue, const calibration_l* values, QString* problem);
};

// Draws the calibration sheet on `painter` (device units of 1/72 inch, (0, 0) at the
// sheet's corner) for a sheet of `paper` mm named `paper_name`, with `values` applied.
// `queue` names the queue in the reading instructions (empty: none); `note` is an extra
// line about the values (empty: none).
void draw_calibration_sheet_v(QPainter* painter, const QSizeF& paper, const QString& paper_name,
                              const calibration_l& values, const QString& queue,
                              const QString& note);
