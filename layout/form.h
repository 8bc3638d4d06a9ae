// The form engine: everything of a run that needs no window. It reads the command
// line and the layout, holds the items and styles, streams the data, binds values and
// draws pages on whatever QPainter it is given (a widget, an image, a PDF, a printer).
// The preview window korvan_l inherits it; the batch tool and the tests use it bare.
// The engine reaches the window only through the virtual hooks, which do nothing here.
#pragma once

#include "core/qx_z.h"

#include <QBrush>
#include <QFont>
#include <QHash>
#include <QPageSize>
#include <QPen>
#include <QRectF>
#include <QString>
#include <functional>
#include <memory>

class QPainter;
class qx_read_l;

class form_l {
public:
    enum { MODE_NONE = 0, MODE_TEST_DATA = 1, MODE_DISPLAY = 2, MODE_PRINT = 3 };

    // Initialises the run state (first step of the run); setup_v() does the rest.
    explicit form_l(qx_z_l* context);
    virtual ~form_l();
    form_l(const form_l&) = delete;
    form_l& operator=(const form_l&) = delete;
    // Puts every member back as a new run has it (same context and command line), so
    // that the preview can read its files again; setup_v() then does the set-up.
    void restart_v();

    // ---- hooks into the window (do nothing without one) ----
    virtual void repaint_v() {}
    virtual void close_v() {}
    virtual void set_title_v(const QString&) {}
    // Draws the current page on the window; without a window there is nothing to draw.
    virtual bool display_b() { return true; }
    // Print mode's dialog and print run; without a window the caller drives the run.
    virtual bool printer_b() { return false; }

    // ---- run driver and command line (layout/driver.cpp) ----
    // Reads the command line, the layout and the data, as the window's constructor
    // does after setting the window up.
    void setup_v();
    void read_command_line_v();
    void help_v();
    // The 69 fixed lines of the help display.
    static const QStringList& help_lines();

    // ---- layout reader (layout/reader.cpp) ----
    void read_layout_v();
    void csv_split_v(s_l* out, const QString& rec);
    void dispatch_record_v();

    // ---- keywords and items (layout/keywords.cpp) ----
    bool to_float_b(qx_zz_l* result, const QString& text);
    bool to_int_b(qx_zz_l* result, const QString& text);
    bool to_float_b(f_l* list, int first, int last);
    void set_print_v();
    void add_text_v(const QString& text);
    QString font_find_s(const QString& name);
    void paper_v();
    void offset_v();
    void line_set_v();
    void font_v();
    void char_set_v();
    void occurs_v();
    void box_v();
    void text_v();
    void replace_v();
    void barcode_v();
    void version_v();

    // ---- repetition (layout/repeat.cpp) ----
    void apply_occurs_v();
    void finish_layout_v();

    // ---- error list (layout/errors.cpp) ----
    void add_err_v(int show_now);
    // A value the layout gives that the program replaces by another without saying so
    // (an unknown paper name, an orientation that is neither 1 nor 2): recorded with
    // the record's prefix, not an error.
    void add_warning_v();
    // The errors and warnings in the form editors and build tools read, in line order:
    // "FILE:LINE: error: message", "FILE:LINE: warning: message".
    QStringList located_lines(const QString& file) const;
    void form_layout_err_count();
    void err_v();

    // ---- data stream (render/data.cpp) ----
    int read_b();
    int read_data_b(int start);
    // Reopens the data file and stands at the first value of page `start`, wherever the
    // stream was (the preview coming back to a page); errors as read_data_b's, except
    // that without `report_past_end` data that ends before the page returns -1 quietly.
    int position_data_b(int start, bool report_past_end = true);

    // ---- page renderer (render/page.cpp) ----
    int print_sub_b(int copy, float x_offset, float y_offset, float scale);
    QString change_s(const QString& text);

    // ---- field editing (render/edit.cpp) ----
    // Applies an edit code, the zero-fraction rule of "Z" and "." and nothing else
    // (the final padding is the renderer's).
    static QString edit_s(qx_z_l* ctx, const QString& value, const QString& code, int n,
                          bool test_data);

    // ---- text drawing (render/text.cpp) ----
    QFont new_font_n(const QString& family, float size, const QString& attribute);
    float font_width_f(const QFont& font, const QString& text);
    float font_height_f(const QFont& font, const QString& text);
    int length_count(const QString& text);
    void draw_h_string_v(float spacing, const QString& text, const QFont& font, const QBrush& brush,
                         float x, float y);
    void draw_v_string_v(float spacing, const QString& text, const QFont& font, const QBrush& brush,
                         float x, float y);
    void draw_string_v(const QString& text, const QFont& font, const QBrush& brush, float x,
                       float y, QChar orientation);

    // ---- lines, boxes and arcs (render/lines.cpp) ----
    QPen new_pen_nn(float width);
    void draw_line_v(const QPen& pen, float x1, float y1, float x2, float y2);
    void draw_rect_v(const QPen& pen, float x, float y, float w, float h);
    void draw_arc_v(const QPen& pen, float x, float y, float w, float h, float a1, float a2);
    // One bar of a bar code, filled, from left to right (page millimetres, double so that
    // a symbol's modules add up exactly) and top to bottom.
    void draw_bar_v(double left, double right, float top, float bottom);
    float zero_float_f(float v) const { return v > 0 ? v : 0.1f; }
    // The shift, in device units, added to every position drawn.
    float x_geta_f() const { return float(shift_x); }
    float y_geta_f() const { return float(shift_y); }
    // A position or length of the page in millimetres as device units on the output:
    // times the device factor and the stretch, plus the shift for positions.
    double device_x(double mm) const { return mm * points_per_mm * stretch_x + shift_x; }
    double device_y(double mm) const { return mm * points_per_mm * stretch_y + shift_y; }
    // The device rectangle with corners (x, y) and (x + w, y + h), page millimetres.
    QRectF device_rect(float x, float y, float w, float h) const;

    // ---- bar codes and images (barcode/) ----
    bool code39_b(float x_offset, float y_offset, float scale, const QString& text);
    int jan_b(float x_offset, float y_offset, float scale, const QString& value);
    void draw_jan_digits_v(const QString& value, const double* digit_left, double module,
                           float band_top, float band_bottom);
    bool image_b(float x_offset, float y_offset, float scale, const QString& name);

    // ---- paper (output/paper.cpp) ----
    QPageSize media_size_n(const QString& name);

    // ---- pages (output/pages.cpp) ----
    // Draws one page (every OFFSET copy) or the error screen on `painter`.
    bool display_print_b(float x, float y, float page_zoom);
    // The page sink of a print run: starts the next page (a printer's newPage()).
    using new_page_fn = std::function<bool()>;
    // Prints the current page and, in print mode, moves on to the next one, asking the
    // sink for a new page only when another page follows.
    void print_v(const new_page_fn& new_page);
    // Prints every page of the run, from the current page to the end page or the end
    // of the data, on the open `painter`: one job, no blank last page. True when no
    // error was recorded.
    bool print_run_b(const new_page_fn& new_page);
    QString title_s();

    // ================= run state =================
    qx_z_l* ctx;

    // Command line and run.
    int mode = MODE_NONE;
    QString data_name = QStringLiteral("KORVAN.TXT");
    QString layout_name = QStringLiteral("KORVAN.CSV");
    int start_page = 1;
    int end_page = 0;
    float points_per_mm = 2.8346276f;
    // Where the output puts the form: the shift (device units) and the stretch (a factor
    // about the sheet's corner) of a printer's calibration; 0 and 1 on other outputs.
    double shift_x = 0, shift_y = 0, stretch_x = 1, stretch_y = 1;
    float zoom = 1.0f;
    int ready = 0;
    int data_generated = -1;
    QString today;
    QString data_dir;
    std::unique_ptr<qx_read_l> layout_reader;
    QBrush black_brush;
    QBrush pink_brush;
    QFont default_font_a;
    QFont default_font_b;

    // Errors.
    int error_flag = 0;
    s_l error_list;
    s_l warning_list;
    QString error_prefix;

    // Layout reader.
    int layout_line_no = 0;
    // Records continued over several lines: the line their messages name (the last)
    // to the line they start on, where an editor should take the reader.
    QHash<int, int> record_first_lines;
    bool at_eof = false;
    QString record;
    s_l fields;

    // Items and styles.
    p_l line_items;
    p_l print_items;
    s_l line_names;
    f_l line_widths;
    s_l line_kinds;
    s_l char_names;
    f_l char_sizes;
    s_l char_fonts;
    s_l char_attrs;
    // Where each style name is first defined, following the style lists as they grow,
    // so that a layout of thousands of styles is not read in quadratic time
    // (layout/keywords.cpp).
    struct name_index_l {
        QHash<QString, int> first;
        qsizetype indexed = 0;
    };
    name_index_l line_name_index;
    name_index_l char_name_index;
    QString default_font = QStringLiteral("MS Gothic");
    s_l replace_list;
    QString paper_name;
    QString paper_orientation;
    int required_version = 0;
    int record_data_flag = 0;
    qx_print_l* new_item = nullptr; // the item set_print_v started, not yet appended

    // Repetition.
    i_l occurs_counts;
    f_l occurs_dx;
    f_l occurs_dy;
    int line_mark = 0;
    int print_mark = 0;
    f_l offsets;
    int values_per_form = 0; // data values per page once the layout is finished
    float occurs_shift = 0.0f;
    // Error prefix of the OCCURS record whose repetition is pending: its errors are
    // found only when the repetition is applied, at a later record.
    QString occurs_prefix;
    // Error prefix of the last OFFSET record: the copies are counted against the items
    // when the layout is finished.
    QString offset_prefix;

    // Data stream.
    std::unique_ptr<qx_read_l> data_reader;
    s_l data_values;
    int data_index = 0;
    int last_page_reached = 0;
    int current_page = -1;
    int data_records_read = 0;
    QString error_location;
    // Where the data stands, so that a caller can say where a data error lies: the
    // page being printed or skipped with its first data line and that line's value
    // count, the value count of the line last read (all of its values, however many
    // the page keeps), the pages the data holds when it ended before the start page,
    // the file's size when it was opened, and which fault stopped the run (DRAWING: a
    // page could not be drawn, most often for a value it took).
    enum {
        DATA_FAULT_NONE,
        DATA_FAULT_PAGE_END,
        DATA_FAULT_BEFORE_START,
        DATA_FAULT_SHRANK,
        DATA_FAULT_DRAWING
    };
    struct page_start_l {
        int page = 0;
        int line = 0;
        qint64 values = 0;
    } page_start;
    qint64 line_values = 0;
    int data_pages_held = -1;
    qint64 data_size_at_open = -1;
    int data_fault = DATA_FAULT_NONE;

    // Page renderer.
    QPainter* painter = nullptr;
    qx_print_l* current_item = nullptr;
    QPen current_pen;
    QFont current_font;
    float line_x1 = 0, line_x2 = 0, line_y1 = 0, line_y2 = 0;
    int fix_flag = 0;
    int fix_count = 0;
    float fix_step = 0;
    int replay_index = -1;
    s_l page_values;
    int test_digit = 0;
    int last_page = -1;
    QString previous_value;
    // The font handed to the painter for a font of new_font_n: the same font with a
    // pixel size equal to its point size. It and the glyphs of the font are prepared
    // once per font, not per character, and kept here between items (render/text.cpp).
    QFont painter_font_n(const QFont& font);
    struct text_cache_l;
    std::shared_ptr<text_cache_l> text_cache;

    // Drawing primitives. Line widths in a layout are millimetres on paper, so pens are
    // scaled by the device factor like every coordinate.
    float pen_factor = 2.8346276f;
    QBrush pen_brush;
    float work_left = 0, work_right = 0, work_top = 0, work_bottom = 0;
    QString barcode_font_family() const { return default_font; }

    // Output.
    int found = 0;
    float x_offset = 0.0f;
    float y_offset = 0.0f;
    int finished_flag = 0;
    int busy_flag = 0;
    int printing_flag = 0;
    int screen_size = 800;
    QBrush error_brush;
    QBrush error_background_brush;
    QFont error_font;
    QString run_summary;

private:
    // Member by member, for restart_v(); the items are freed there first.
    form_l& operator=(form_l&&);
};
