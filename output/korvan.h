// The program's one window: the page preview, its keys and the error screen, and the
// print dialog. Everything else of a run is the engine's (form_l).
#pragma once

#include "layout/form.h"
#include "output/background.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

class QFileSystemWatcher;
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

    // ---- the preview as a design tool (output/preview_view.cpp, preview_watch.cpp) ----
    // Reads the layout, the data and the background again, keeping the page, the zoom
    // and the offsets (F5, and a change to one of the files).
    void reload_v();
    // The sheet in millimetres: the paper of PAPER and its orientation, A4 when the
    // name has no size of its own.
    QSizeF sheet_mm();
    // Where a sheet position in millimetres is drawn in the window (device units, which
    // are the window's pixels), with the zoom and the offsets of the preview.
    QPointF window_point(QPointF mm) const;
    // The sheet position under the middle of a window pixel.
    QPointF sheet_point(QPoint pixel) const;
    // The status line along the bottom of the window, and what it says.
    QRect status_rect() const;
    QString status_text_s();
    bool grid_shown = false;
    bool background_shown = true;
    background_l background;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    // Sets the printer up from PAPER, asks the operator, and prints: the whole run in
    // print mode, the page shown otherwise. False when nothing was printed or the run
    // recorded an error.
    bool print_pages_b();
    // Print mode shows its dialog once; set as soon as the run was handed to it.
    bool print_run_started = false;

    // Whether the window shows a page (not help, print mode or the error screen).
    bool shows_page_b() const;
    // Stands the data stream at the page shown when it is elsewhere (the preview came
    // back to a page, or a paint was skipped).
    void follow_page_v();
    // The page whose first value the data stream stands at (display mode).
    int stream_page = -1;

    // The keys the preview has beyond Enter, the arrows and the zoom keys: Page Down,
    // Page Up, F5, G and B. False when `key` is none of them or does nothing here (the
    // error screen takes only F5).
    bool design_key_b(int key);
    // Drawing beside the page: under it the white sheet, the scanned background and
    // the grid; the status line over the bottom of the window.
    void draw_sheet_v(QPainter& p);
    void draw_grid_v(QPainter& p, const QRect& sheet);
    void draw_status_v(QPainter& p);
    void zoom_about_v(QPoint pixel, float new_zoom);
    QPoint cursor{-1, -1}; // the mouse in the window, (-1, -1) when it is elsewhere
    int wheel_rest = 0;    // eighths of a degree of wheel not yet turned into moves

    // File watching and reload.
    void start_watching_v();
    // The files the run reads (the layout, the data, the background or the names it may
    // appear under), each as "path<TAB>size, times and readability", so that any change
    // to one of them, its appearing or its going, makes a different list.
    QStringList file_states();
    // Watches those files, and their directories for files replaced by rename.
    void watch_paths_v();
    void load_background_v();
    QFileSystemWatcher* watcher = nullptr;
    QTimer reload_timer;
    QStringList watched_states; // file_states() when the files were last read
    QString background_state;   // the background's state when it was last read
    QString status_note;        // the last thing worth saying (a background refused)
    QElapsedTimer first_change; // since the first change of a burst the timer waits for
    // The page last shown or asked for, with its zoom and offsets: a reload comes back
    // to it, also after an error screen in between (which is drawn from its top-left).
    struct view_l {
        int page = -1;
        float zoom = 1.0f, x = 0.0f, y = 0.0f;
    } kept;
    void keep_view_v();
};
