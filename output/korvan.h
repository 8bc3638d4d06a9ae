// The program's one window: the page preview, its keys and the error screen, and the
// print dialog. Everything else of a run is the engine's (form_l).
#pragma once

#include "layout/form.h"

#include <QWidget>

class QPrinter;

class korvan_l : public QWidget, public form_l {
    Q_OBJECT
public:
    explicit korvan_l(qx_z_l* context, QWidget* parent = nullptr);
    ~korvan_l() override;

    void repaint_v() override;
    void close_v() override;
    void set_title_v(const QString& title) override;
    bool display_b() override;
    // Print mode: one dialog, then every page of the run in one job; afterwards the
    // window closes (success) or shows the error screen (cancel, failure).
    // Other modes: one dialog and the page shown (a test print).
    bool printer_b() override;

    // Enter: the next page, wrapping back to the start page after the last one.
    void next_page_v();
    // Page Up: the page before, never before the start page.
    void previous_page_v();

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    // Sets the printer up from PAPER, asks the operator, and prints: the whole run in
    // print mode, the page shown otherwise. False when nothing was printed or the run
    // recorded an error.
    bool print_pages_b();
    // Print mode shows its dialog once; set as soon as the run was handed to it.
    bool print_run_started = false;

    // Stands the data stream at the page shown when it is elsewhere (the preview came
    // back to a page, or a paint was skipped).
    void follow_page_v();
    // The page whose first value the data stream stands at (display mode).
    int stream_page = -1;
};
