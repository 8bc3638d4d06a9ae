// The data stream, field editing and page drawing, checked on rendered images.
// Positions are worked out by hand from the device factor 2.8346276 units per
// millimetre, at full precision; a 4 mm character has point size 11, so an ASCII letter
// advances 11 / 2.8346276 = 3.8806 mm and a kanji 7.7612 mm.
#include "core/textfile.h"
#include "render/raster.h"
#include "support.h"

#include <QPainter>

namespace {

// One text item: keyword, text, x, y, spacing, count, edit code, character size.
struct text_item {
    text_item(const QString& kw = {}, const QString& text = {}, float x = 10, float y = 10,
              float spacing = 0, int count = 0, const QString& edit = {}, float size = 4)
        : keyword(kw), text(text), edit(edit), x(x), y(y), spacing(spacing), size(size),
          count(count) {}
    QString keyword, text, edit;
    float x, y, spacing, size;
    int count;
};
using text_items = QList<text_item>;

struct edit_row {
    const char *value, *code;
    int n;
    bool test_data;
    const char* expected;
};
// clang-format off
const edit_row edit_rows[] = {
    {"1234567", "+", 10, false, " 1,234,567"}, {"12345", "-", 2, false, "12,345"},
    {"5000", "E", 8, false, "  \\5,000"}, {"", "E", 8, false, "        "},
    {"1234567", "+", 0, false, "1234567"}, {"1234.00", ".", 0, false, "1234"},
    {"1234.00", ".", 8, false, "1,234"}, {"20240105", "D", 0, false, "2024-01-05"},
    {"20240105", "Y", 0, false, "05-01-2024"}, {"2024105", "D", 0, false, "2024105"},
    {"3.000", "R", 6, false, " 3.000"}, {"3.000", "Z", 0, false, "3"}, {"0.0", "Z", 0, false, "0"},
    {"12.50", "Z", 6, false, " 12.50"}, {"100", "Z", 0, false, "100"}, {"abc", "X", 5, false, "abc"},
    {"20240105", "d", 0, false, "20240105"},
    // Test data: the digit fills the field.
    {"7", "D", 0, true, "7777-77-77"}, {"4", "Y", 0, true, "44-44-4444"},
    {"3", "+", 8, true, " 333,333"}, {"5", "E", 8, true, "\\555,555"}, {"3", "R", 6, true, "     3"},
    {"4", "", 5, true, "44444"}, {"4", "+", 0, true, "4"}};

struct comma_row {
    const char *text, *expected;
};
const comma_row comma_rows[] = {
    {"1234", "1,234"}, {"1234567.891", "1,234,567.891"}, {"-1234", "-1,234"}, {"123", "123"},
    {"-123", "-123"}, {"abcdef", "abc,def"}, {" 1234", " 1,234"}, {"1234.", "1,234."},
    {"12.34567", "12.34567"}, {"", ""}};

// A data file, values per page, the start page and the values taken (joined by "|"),
// or the start of the error line.
struct data_row {
    const char* tag;
    QByteArray bytes;
    int per_page, start;
    const char* values;
};
const data_row data_rows[] = {
    {"page over two lines", "a\tb\nc\nd\te\nf\n", 3, 2, "d|e"},
    {"first page", "1\t2\n3\t4\n", 2, 1, "1|2"},
    {"empty fields count", "a\t\tb\nc\t\t\n", 3, 2, "c||"},
    {"Shift-JIS", "\x8a\xbf\x8e\x9a\tX\n\x93\xfa\x96\x7b\tY\n", 2, 2, "日本|Y"},
    {"beyond the data", "1\t2\n3\t4\n", 2, 3, "データ[1] Data Count Error"},
    {"empty file", "", 2, 1, "データ[1] Data Count Error"},
    {"missing file", "<none>", 2, 1, "データ[1] open read error("},
    {"page ends inside a line", "1\t2\t3\t4\n5\t6\n", 3, 2, "データ[1] Page End data Count Error"}};
// clang-format on

} // namespace

Q_DECLARE_METATYPE(text_item)

class test_render : public QObject {
    Q_OBJECT

    std::unique_ptr<qx_z_l> ctx = make_context();
    QTemporaryDir dir;

    std::unique_ptr<form_l> new_form(int mode = form_l::MODE_DISPLAY) {
        auto f = std::make_unique<form_l>(ctx.get());
        f->mode = mode;
        f->offsets = {0, 0};
        f->line_names = {"L"};
        f->line_widths = {0.35f}; // a pen of one device unit
        f->line_kinds = {"0"};
        f->char_fonts[0] = "IPAGothic";
        return f;
    }
    static qx_print_l* add(form_l& f, const QString& kw, float x1, float y1, float x2 = 0,
                           float y2 = 0) {
        auto* item = new qx_print_l;
        item->keyword = kw;
        item->num1 = x1, item->num2 = y1, item->num3 = x2, item->num4 = y2;
        const bool ruled = QStringList{"LINE", "BOX", "X_LINE", "Y_LINE", "ARC"}.contains(kw);
        (ruled ? f.line_items : f.print_items).append(item);
        return item;
    }
    static qx_print_l* add_text(form_l& f, const text_item& s, int data_flag = 0) {
        qx_print_l* item = add(f, s.keyword, s.x, s.y);
        item->text = s.text, item->data_flag = data_flag, item->num5 = s.spacing;
        item->count = s.count, item->edit = s.edit;
        f.char_names << "S";
        f.char_sizes << s.size;
        f.char_fonts << "IPAGothic";
        f.char_attrs << QString();
        item->style = int(f.char_sizes.size()) - 1;
        return item;
    }
    QImage draw_texts(const text_items& items) {
        auto f = new_form();
        for (const text_item& s : items)
            add_text(*f, s);
        return render_page_image(*f, 72);
    }

private slots:
    void initTestCase() { QVERIFY(dir.isValid()); }

    void edit_codes_data() { table_data(edit_rows, &edit_row::expected); }
    void edit_codes() {
        QFETCH(int, row);
        const edit_row& r = edit_rows[row];
        QCOMPARE(form_l::edit_s(ctx.get(), r.value, r.code, r.n, r.test_data), QString(r.expected));
    }

    void comma_data() { table_data(comma_rows, &comma_row::text); }
    void comma() {
        QFETCH(int, row);
        QCOMPARE(ctx->comma_s(comma_rows[row].text), QString(comma_rows[row].expected));
    }

    void positioning_data() { table_data(data_rows, &data_row::tag); }
    void positioning() {
        QFETCH(int, row);
        const data_row& r = data_rows[row];
        auto f = new_form();
        f->data_name =
            r.bytes == "<none>" ? dir.filePath("absent.txt") : put(dir, "pos.txt", r.bytes);
        f->values_per_form = r.per_page;
        const QString values = QString::fromUtf8(r.values);
        const bool error = values.startsWith("データ");
        QCOMPARE(f->read_data_b(r.start), error ? 0 : 1);
        if (error) {
            QVERIFY2(f->error_list.last().startsWith(values), qPrintable(f->error_list.last()));
            return;
        }
        QCOMPARE(f->error_flag, 0);
        QCOMPARE(f->current_page, r.start);
        QCOMPARE(f->data_values.join('|'), values);
        QCOMPARE(f->data_index, 0);
    }

    // Three data items a page, printed through the print run: the pages printed, the
    // values taken, and the error that ends the run. Each page's values are collected
    // when the next page starts: a run holds no more values than a page takes, and a
    // line no more than that and one for the rest of it, however long the run or the
    // line. A line the reader skips (too long) ends the run after the page before it,
    // with the reader's message, instead of shifting the values after it.
    void print_run_counts() {
        const QByteArray too_long(qx_line_buffer_l::max_line + 10, 'x');
        const std::tuple<QByteArray, int, const char*, const char*> rows[] = {
            {"a\tb\nc\nd\te\nf\n", 2, "a|b|c|d|e|f", ""},
            {"1\t2\t3\t4\n5\t6\n", 1, "1|2|3", " Page End data Count(3) Error"},
            {"a\tb\tc\nd\n", 2, "a|b|c|d||", ""},
            {"1\t2\t3" + QByteArray("\tx").repeated(1000000) + "\n4\t5\t6\n", 1, "1|2|3",
             " Page End data Count(3) Error"},
            {"a\tb\tc\n" + too_long + "\nd\te\tf\n", 1, "a|b|c", "line too long("}};
        for (const auto& [bytes, pages, taken, error] : rows) {
            auto f = new_form(form_l::MODE_PRINT);
            for (int i = 0; i < 3; ++i)
                add_text(*f, {"DATA", {}, 10, 10.0f + 10 * i}, 1);
            f->values_per_form = 3;
            f->data_name = put(dir, "run.txt", bytes);
            QCOMPARE(f->read_data_b(1), 1);
            QVERIFY(f->data_values.size() <= 4);
            QImage image(100, 100, QImage::Format_RGB32);
            QPainter painter(&image);
            f->painter = &painter;
            s_l all;
            auto page_done = [&] {
                QVERIFY(f->page_values.size() <= 3);
                all += f->page_values;
            };
            int printed = 1;
            QCOMPARE(f->print_run_b([&] {
                page_done();
                return ++printed > 0;
            }),
                     !*error);
            page_done();
            QCOMPARE(printed, pages);
            QCOMPARE(all.join('|'), QString(taken));
            const QString reader_error =
                QString::fromUtf8("データ[1] line too long(") + f->data_name + ")";
            QCOMPARE(f->error_list.mid(1), !*error ? QStringList()
                                           : QString(error) == "line too long("
                                               ? QStringList{reader_error}
                                               : QStringList{error});
        }
    }

    // A repaint draws the same values again without reading data.
    void repaint_replays_the_page() {
        auto f = new_form();
        add_text(*f, {"DATA", {}, 10, 10}, 1);
        add_text(*f, {"DATA", {}, 10, 20}, 1);
        f->values_per_form = 2;
        f->data_name = put(dir, "replay.txt", "a\tb\nc\td\n");
        QCOMPARE(f->read_data_b(1), 1);
        const QImage first = render_page_image(*f, 72);
        const int records = f->data_records_read;
        QCOMPARE(render_page_image(*f, 72), first);
        QCOMPARE(f->page_values, s_l({"a", "b"}));
        QCOMPARE(f->data_records_read, records);
        QCOMPARE(f->data_values, s_l({"c", "d"}));
        f->replay_index = -1; // the next page takes fresh values
        f->page_values.clear();
        f->current_page += 1;
        render_page_image(*f, 72);
        QCOMPARE(f->page_values, s_l({"c", "d"}));
    }

    // A later group of a DATA record prints the record's value again and takes none of
    // its own: the middle text shows "AB", as a fixed "AB" at the same place would.
    void later_group_repeats_the_value() {
        auto f = new_form();
        add_text(*f, {"DATA", {}, 10, 10}, 1);
        add_text(*f, {"DATA", {}, 10, 40}, 2);
        add_text(*f, {"DATA", {}, 10, 70}, 1);
        f->values_per_form = 2;
        f->data_name = put(dir, "groups.txt", "AB\tCD\n");
        QCOMPARE(f->read_data_b(1), 1);
        const QImage page = render_page_image(*f, 72);
        QCOMPARE(f->page_values, s_l({"AB", "CD"}));
        const QImage fixed = draw_texts({{"TEXT", "AB", 10, 40}});
        const QRect band(0, int(35 * 2.8346276), page.width(), int(20 * 2.8346276));
        QCOMPARE(page.copy(band), fixed.copy(band));
    }

    // Digits 1..9, 0, 1.. in drawing order across copies and pages; an image takes a
    // digit but gets no name.
    void test_data_digits() {
        auto f = new_form(form_l::MODE_TEST_DATA);
        f->offsets = {0, 0, 0, 100};
        for (int i = 0; i < 3; ++i)
            add_text(*f, {"DATA", {}, 10, 10.0f + 10 * i}, 1);
        add(*f, "IMAGE", 10, 50)->data_flag = 1;
        render_page_image(*f, 72);
        QCOMPARE(f->page_values, s_l({"1", "2", "3", "", "5", "6", "7", ""}));
        f->replay_index = -1;
        f->page_values.clear();
        render_page_image(*f, 72);
        QCOMPARE(f->page_values, s_l({"9", "0", "1", "", "3", "4", "5", ""}));
    }

    // Ruled items at full precision, measured at 600 dpi: the centres of a box's edges
    // lie on its corners' coordinates, a line ending on a box's edge continues it on the
    // same pixels, copies of a form that share an edge draw one line, and a box or an
    // ellipse is as large as its corners say, plus the pen.
    void ruled_geometry() {
        const double px = 2.8346276 * 600 / 72; // pixels a millimetre
        // The dark runs of the pixel row (or column) at `mm`, as [first, last] pixels.
        const auto runs = [&](const QImage& page, double mm, bool row) {
            QList<QPair<int, int>> found;
            const int at = int(mm * px), n = row ? page.width() : page.height();
            for (int i = 0; i < n; ++i) {
                if (qGray(row ? page.pixel(i, at) : page.pixel(at, i)) >= 128) continue;
                if (found.isEmpty() || found.last().second != i - 1)
                    found.append({i, i});
                else
                    found.last().second = i;
            }
            return found;
        };
        const auto centre = [&](QPair<int, int> r) { return (r.first + r.second + 1) / 2.0 / px; };
        const auto near = [](double a, double b, double tolerance) {
            return qAbs(a - b) <= tolerance;
        };
        const auto page = [&](const QList<QList<float>>& boxes, const f_l& offsets = {0, 0}) {
            auto f = new_form();
            f->line_widths = {0.3f};
            f->offsets = offsets;
            for (const QList<float>& b : boxes)
                add(*f, b.size() == 5 ? "LINE" : "BOX", b[0], b[1], b[2], b[3]);
            return render_page_image(*f, 600);
        };

        const QImage box = page({{20, 20, 120, 70}, {120, 70, 120, 100, 0}});
        const auto across = runs(box, 45, true), down = runs(box, 70, false);
        QCOMPARE(across.size(), 2);
        QCOMPARE(down.size(), 2);
        for (const auto& [run, mm] :
             {std::pair{across[0], 20.0}, {across[1], 120.0}, {down[0], 20.0}, {down[1], 70.0}}) {
            QVERIFY2(near(centre(run), mm, 0.1), qPrintable(QString::number(centre(run))));
            QVERIFY(near((run.second - run.first + 1) / px, 0.3, 1.5 / px));
        }
        const QList<QPair<int, int>> below{across[1]};
        QCOMPARE(runs(box, 85, true), below);

        // Two copies side by side sharing the edge at 60 mm: three edges, not four.
        const auto shared = runs(page({{10, 10, 60, 40}}, {0, 0, 50, 0}), 25, true);
        QCOMPARE(shared.size(), 3);
        QVERIFY(near(centre(shared[1]), 60, 0.1));

        // A 1 x 1 mm box is 1.3 mm across its outer edges, as is one of width 0.
        QVERIFY(near(ink(page({{10, 10, 11, 11}})).width() / px, 1.3, 1.5 / px));
        QCOMPARE(page({{10, 10, 10, 11}}), page({{10, 10, 11, 11}}));
        QCOMPARE(page({{11, 11, 10, 10}}), page({{10, 10, 11, 11}}));
    }

    void ruled_shapes() {
        const double px = 2.8346276 * 600 / 72;
        auto draw = [&](const QString& kw, QRectF mm, float a1, float a2, float width = 0.35f) {
            auto f = new_form();
            f->line_widths = {width};
            qx_print_l* item = add(*f, kw, mm.left(), mm.top(), mm.right(), mm.bottom());
            item->num5 = a1, item->num6 = a2;
            return render_page_image(*f, 600);
        };
        const QRectF corners(QPointF(10, 20), QPointF(50, 60));
        const QImage full = draw("ARC", corners, 0, 5760);
        QCOMPARE(draw("ARC", QRectF(QPointF(50, 60), QPointF(10, 20)), 0, 5760), full);
        // The ellipse inscribed in the corners, its outer edge half the 0.35 mm pen out.
        const QRectF outer = corners.adjusted(-0.175, -0.175, 0.175, 0.175);
        const QRect drawn = ink(full);
        for (const auto& [got, want] : {std::pair{drawn.left(), outer.left()},
                                        {drawn.top(), outer.top()},
                                        {drawn.right() + 1, outer.right()},
                                        {drawn.bottom() + 1, outer.bottom()}})
            QVERIFY2(qAbs(got / px - want) <= 1.5 / px, qPrintable(QString::number(got / px)));
        // A quarter from 3 o'clock to 12 o'clock: the upper right quarter.
        const QRect quarter = ink(draw("ARC", corners, 0, 1440));
        QVERIFY(quarter.left() >= int(29.8 * px) && quarter.bottom() <= int(40.2 * px));
        QCOMPARE(quarter.top(), drawn.top());
        QCOMPARE(quarter.right(), drawn.right());
        // A line set of width 0 still draws, as a 0.1 mm hairline.
        QCOMPARE(draw("LINE", corners, 0, 0, 0.0f), draw("LINE", corners, 0, 0, 0.1f));
        QVERIFY(!ink(draw("LINE", corners, 0, 0, 0.0f)).isEmpty());
    }

    // A text at (10, 10) of size 4 is drawn as the bare painter draws it at 10 mm and its
    // baseline at 14 mm (28.346 and 39.685 units), with an 11-unit font. The rows of
    // text_layout measure every other text against this one.
    void text_against_painter() {
        QImage image(595, 842, QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter p(&image);
        QFont font("IPAGothic");
        font.setPixelSize(11);
        p.setFont(font);
        p.drawText(QPointF(10 * 2.8346276, 14 * 2.8346276), "H");
        p.end();
        QCOMPARE(draw_texts({{"TEXT", "H", 10, 10}}), image);
    }

    void text_layout_data() {
        QTest::addColumn<text_items>("item");
        QTest::addColumn<text_items>("same_as");
        const QString pair = "𠀋", kanji = "漢";
        const auto row = [](const char* tag, const text_items& a, const text_items& b) {
            QTest::newRow(tag) << a << b;
        };
        // clang-format off
        // A _FIX field of 4 characters from 10 to 50 mm puts them at 10, 20, 30 and 40 mm.
        row("fix", {{"TEXT_FIX", "ABCD", 10, 10, 50}},
            {{"TEXT", "A", 10}, {"TEXT", "B", 20}, {"TEXT", "C", 30}, {"TEXT", "D", 40}});
        row("fix with count", {{"TEXT_FIX", "AB", 10, 10, 50, 4}}, {{"TEXT", "A", 10}, {"TEXT", "B", 20}});
        row("kanji twice a letter", {{"TEXT", kanji + "X"}}, {{"TEXT", kanji}, {"TEXT", "X", 17.76f}});
        row("spacing", {{"TEXT", "AX", 10, 10, 1}}, {{"TEXT", "A"}, {"TEXT", "X", 14.88f}});
        row("surrogate pair", {{"TEXT", pair + "X"}}, {{"TEXT", pair}, {"TEXT", "X", 17.76f}});
        row("vertical spacing", {{"TEXT_V", "AB", 10, 10, 3}}, {{"TEXT", "A"}, {"TEXT", "B", 10, 16.88f}});
        row("vertical kanji", {{"TEXT_V", "一二"}}, {{"TEXT", "一"}, {"TEXT", "二", 10, 18.73f}});
        // The step of a vertical _FIX runs from the baseline (14) to the end (50).
        row("vertical fix", {{"TEXT_FIX_V", "ABCD", 10, 10, 50}},
            {{"TEXT", "A", 10, 10}, {"TEXT", "B", 10, 19}, {"TEXT", "C", 10, 28}, {"TEXT", "D", 10, 37}});
        // Size 0: the value carries the size as "size:text".
        row("size from the value", {{"TEXT", "5:ABC", 10, 10, 0, 0, {}, 0}}, {{"TEXT", "ABC", 10, 10, 0, 0, {}, 5}});
        // The zero fraction goes after the right alignment: "1,234" and three spaces.
        row(". loses alignment", {{"TEXT", "1234.00", 10, 10, 0, 8, "."}}, {{"TEXT", "1,234   "}});
        row("+ aligns right", {{"TEXT", "1234", 10, 10, 0, 8, "+"}}, {{"TEXT", "   1,234"}});
        // clang-format on
    }
    void text_layout() {
        QFETCH(text_items, item);
        QFETCH(text_items, same_as);
        QCOMPARE(draw_texts(item), draw_texts(same_as));
    }

    // Glyphs keep their size relative to the ruled lines whatever the resolution.
    void glyphs_scale_with_lines() {
        auto page = new_form();
        add(*page, "BOX", 10, 10, 110, 60);
        add_text(*page, {"TEXT", "H", 20, 20, 0, 0, {}, 20});
        auto measure = [&](double dpi) {
            const QImage image = render_page_image(*page, dpi);
            const QRect inside = ink(image.copy(ink(image).adjusted(4, 4, -4, -4)), 128);
            return double(inside.height()) / ink(image).width();
        };
        const double ratio = measure(96) / measure(72);
        QVERIFY2(qAbs(ratio - 1.0) < 0.05, qPrintable(QString::number(ratio)));
    }

    void bad_input() {
        // A megabyte in one field, through every kind of text item.
        for (const QString kw : {"DATA", "DATA_FIX", "DATA_V", "DATA_FIX_V"}) {
            auto f = new_form();
            f->data_values = {QString(1 << 20, QChar(0x6F22))};
            add_text(*f, {kw, {}, 10, 10, 100, 0, "+"}, 1);
            bool ok = false;
            QVERIFY(!ink(render_page_image(*f, 72, &ok)).isEmpty());
            QVERIFY(ok);
        }
        // Sizes and positions that no sheet holds, a missing style, a replay beyond the
        // values taken, negative counts and spacings.
        auto f = new_form();
        f->data_values = {"1e30:A", "1000:B", "-3:C", "D", "E"};
        add_text(*f, {"DATA", {}, 10, 10, 0, 0, {}, 0}, 1);
        add_text(*f, {"DATA", {}, 10, 10, 0, 0, {}, 0}, 1);
        add_text(*f, {"DATA_V", {}, 1e30f, -1e30f, 0, 0, {}, 0}, 1);
        add_text(*f, {"DATA_FIX", {}, 10, 10, -5, -3, {}, 0}, 1);
        add_text(*f, {"DATA_FIX_V", {}, 10, 10}, 1)->style = 99;
        add(*f, "LINE", -1e30f, 0, 1e30f, 1e30f);
        add(*f, "ARC", 0, 0, 1e30f, 10)->num6 = 1e30f;
        bool ok = false;
        render_page_image(*f, 72, &ok);
        QVERIFY(ok);
        f->replay_index = 3;
        render_page_image(*f, 72, &ok);
        QVERIFY(ok);
        for (double dpi : {0.0, 1e6, qQNaN()}) {
            QVERIFY(render_page_image(*f, dpi, &ok).isNull());
            QVERIFY(!ok);
        }
        // Bytes that are not text in any encoding still make values.
        f = new_form();
        f->values_per_form = 2;
        f->data_name = put(dir, "bad.txt", "a\xff\x80\tb\x81\xfe\n");
        QCOMPARE(f->read_data_b(1), 1);
        QCOMPARE(f->data_values.size(), 2);
        add_text(*f, {"DATA", {}, 10, 10}, 1);
        render_page_image(*f, 72, &ok);
        QVERIFY(ok);
    }
};

QTEST_MAIN(test_render)
#include "test_render.moc"
