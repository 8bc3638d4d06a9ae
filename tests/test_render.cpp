// The data stream, value binding, field editing and page drawing, checked on rendered
// images. Expected positions are worked out by hand from the device factor 2.8346276
// units per millimetre with truncation: 10 mm -> 28, 14 mm -> 39, 20 mm -> 56,
// 30 mm -> 85, 40 mm -> 113; a 4 mm character has point size 11, so an ASCII letter
// advances 11 / 2.8346276 = 3.8806 mm and a kanji 7.7612 mm.
#include "core/textfile.h"
#include "layout/form.h"
#include "render/raster.h"

#include <QPainter>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

namespace {

char arg0[] = "test_render";

// One text item of a layout, for the data-driven drawing comparisons.
struct text_item {
    text_item() = default;
    text_item(const QString& keyword, const QString& text = {}, float x = 10, float y = 10,
              float spacing = 0, int count = 0, const QString& edit = {}, float size = 4)
        : keyword(keyword), text(text), x(x), y(y), spacing(spacing), count(count), edit(edit),
          size(size) {}
    QString keyword;
    QString text;
    float x = 10, y = 10, spacing = 0;
    int count = 0;
    QString edit;
    float size = 4;
};
using text_items = QList<text_item>;

bool is_line_keyword(const QString& kw) {
    return kw == "LINE" || kw == "BOX" || kw == "X_LINE" || kw == "Y_LINE" || kw == "ARC";
}

// Bounding box of the pixels darker than `threshold`.
QRect ink(const QImage& image, int threshold = 255) {
    QRect box;
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x)
            if (qGray(row[x]) < threshold) box |= QRect(x, y, 1, 1);
    }
    return box;
}

} // namespace

Q_DECLARE_METATYPE(text_item)

class test_render : public QObject {
    Q_OBJECT

    std::unique_ptr<qx_z_l> ctx;
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
    static int char_style(form_l& f, float size) {
        f.char_names << "S";
        f.char_sizes << size;
        f.char_fonts << "IPAGothic";
        f.char_attrs << QString();
        return int(f.char_sizes.size()) - 1;
    }
    static qx_print_l* add(form_l& f, const QString& kw, float x1, float y1, float x2 = 0,
                           float y2 = 0) {
        auto* item = new qx_print_l;
        item->keyword = kw;
        item->num1 = x1, item->num2 = y1, item->num3 = x2, item->num4 = y2;
        (is_line_keyword(kw) ? f.line_items : f.print_items).append(item);
        return item;
    }
    static qx_print_l* add_text(form_l& f, const text_item& s, int data_flag = 0) {
        qx_print_l* item = add(f, s.keyword, s.x, s.y);
        item->text = s.text, item->data_flag = data_flag, item->num5 = s.spacing;
        item->count = s.count, item->edit = s.edit;
        item->style = char_style(f, s.size);
        return item;
    }
    QImage draw_texts(const text_items& items) {
        auto f = new_form();
        for (const text_item& s : items)
            add_text(*f, s);
        return render_page_image(*f, 72);
    }
    QString write_file(const QString& name, const QByteArray& bytes) {
        const QString path = dir.filePath(name);
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(bytes);
        return path;
    }

private slots:
    void initTestCase() {
        char* argv[] = {arg0, nullptr};
        ctx = std::make_unique<qx_z_l>("KORVAN", 1, argv);
        QVERIFY(dir.isValid());
    }

    // ---- field editing ----

    void edit_codes_data() {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("code");
        QTest::addColumn<int>("n");
        QTest::addColumn<bool>("test_data");
        QTest::addColumn<QString>("expected");
        const struct {
            const char *name, *value, *code;
            int n;
            bool test_data;
            const char* expected;
        } rows[] = {
            {"+ in 10", "1234567", "+", 10, false, " 1,234,567"},
            {"too long for n", "12345", "-", 2, false, "12,345"},
            {"E sign", "5000", "E", 8, false, "  \\5,000"},
            {"E empty", "", "E", 8, false, "        "},
            {"+ without n", "1234567", "+", 0, false, "1234567"},
            {"E without n", "1234567", "E", 0, false, "1234567"},
            {". without n", "1234.00", ".", 0, false, "1234"},
            {". after align", "1234.00", ".", 8, false, "1,234"},
            {"D", "20240105", "D", 0, false, "2024-01-05"},
            {"Y", "20240105", "Y", 0, false, "05-01-2024"},
            {"D 7 chars", "2024105", "D", 0, false, "2024105"},
            {"R in 6", "3.000", "R", 6, false, " 3.000"},
            {"R without n", "3.000", "R", 0, false, "3.000"},
            {"Z drops .000", "3.000", "Z", 0, false, "3"},
            {"Z 0.0", "0.0", "Z", 0, false, "0"},
            {"Z 12.50", "12.50", "Z", 6, false, " 12.50"},
            {"Z 100", "100", "Z", 0, false, "100"},
            {"Z two points", "1.0.00", "Z", 0, false, "1"},
            {"unknown code", "abc", "X", 5, false, "abc"},
            {"lower-case d", "20240105", "d", 0, false, "20240105"},
            {"test D", "7", "D", 0, true, "7777-77-77"},
            {"test Y", "4", "Y", 0, true, "44-44-4444"},
            {"test + 8", "3", "+", 8, true, " 333,333"},
            {"test + 10", "9", "+", 10, true, "99,999,999"},
            {"test E 8", "5", "E", 8, true, "\\555,555"},
            {"test R", "3", "R", 6, true, "     3"},
            {"test empty code", "4", "", 5, true, "44444"},
            {"test + no n", "4", "+", 0, true, "4"},
        };
        for (const auto& r : rows)
            QTest::newRow(r.name) << QString(r.value) << QString(r.code) << r.n << r.test_data
                                  << QString(r.expected);
    }
    void edit_codes() {
        QFETCH(QString, value);
        QFETCH(QString, code);
        QFETCH(int, n);
        QFETCH(bool, test_data);
        QFETCH(QString, expected);
        QCOMPARE(form_l::edit_s(ctx.get(), value, code, n, test_data), expected);
    }

    void comma_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        for (const auto& [in, out] : std::initializer_list<std::pair<const char*, const char*>>{
                 {"1234", "1,234"},
                 {"1234567.891", "1,234,567.891"},
                 {"-1234", "-1,234"},
                 {"123", "123"},
                 {"-123", "-123"},
                 {"-123456", "-123,456"},
                 {"abcdef", "abc,def"},
                 {" 1234", " 1,234"},
                 {"1234.", "1,234."},
                 {"12.34567", "12.34567"},
                 {"", ""},
                 {"-", "-"}})
            QTest::newRow(in) << QString(in) << QString(out);
    }
    void comma() {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(ctx->comma_s(text), expected);
    }

    // ---- data stream ----

    void positioning_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("per_page");
        QTest::addColumn<int>("start");
        QTest::addColumn<QString>("values"); // joined by "|", or the error line
        QTest::newRow("page over two lines") << QByteArray("a\tb\nc\nd\te\nf\n") << 3 << 2 << "d|e";
        QTest::newRow("third page") << QByteArray("1\t2\n3\t4\n5\t6\n") << 2 << 3 << "5|6";
        QTest::newRow("first page") << QByteArray("1\t2\n3\t4\n") << 2 << 1 << "1|2";
        QTest::newRow("empty fields count") << QByteArray("a\t\tb\nc\t\t\n") << 3 << 2 << "c||";
        QTest::newRow("CR LF") << QByteArray("a\tb\r\nc\td\r\n") << 2 << 2 << "c|d";
        QTest::newRow("byte-order mark") << QByteArray("\xEF\xBB\xBF"
                                                       "a\tb\n")
                                         << 2 << 1 << "a|b";
        QTest::newRow("UTF-16") << QByteArray("\xFF\xFE"
                                              "a\0\t\0b\0\n\0c\0\t\0d\0\n\0",
                                              18)
                                << 2 << 2 << "c|d";
        QTest::newRow("Shift-JIS") << QByteArray("\x8a\xbf\x8e\x9a\tX\n\x93\xfa\x96\x7b\tY\n") << 2
                                   << 2 << QString::fromUtf8("日本|Y");
        QTest::newRow("beyond the data") << QByteArray("1\t2\n3\t4\n") << 2 << 3
                                         << QString::fromUtf8("データ[1] Data Count Error");
        QTest::newRow("empty file")
            << QByteArray() << 2 << 1 << QString::fromUtf8("データ[1] Data Count Error");
        QTest::newRow("missing file")
            << QByteArray("no file") << 2 << 1 << QString::fromUtf8("データ[1] open read error(");
        QTest::newRow("page ends inside a line")
            << QByteArray("1\t2\t3\t4\n5\t6\n") << 3 << 2
            << QString::fromUtf8("データ[1] Page End data Count Error");
    }
    void positioning() {
        QFETCH(QByteArray, bytes);
        QFETCH(int, per_page);
        QFETCH(int, start);
        QFETCH(QString, values);
        auto f = new_form();
        f->data_name =
            bytes == "no file" ? dir.filePath("absent.txt") : write_file("positioning.txt", bytes);
        f->values_per_form = per_page;
        const int ok = f->read_data_b(start);
        if (values.startsWith(QString::fromUtf8("データ"))) {
            QCOMPARE(ok, 0);
            QVERIFY2(f->error_list.last().startsWith(values), qPrintable(f->error_list.last()));
        } else {
            QCOMPARE(ok, 1);
            QCOMPARE(f->error_flag, 0);
            QCOMPARE(f->current_page, start);
            QCOMPARE(f->data_values.join('|'), values);
            QCOMPARE(f->data_index, 0);
        }
    }

    // Three data items per page, printed through the print run.
    void print_run_counts_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("pages");
        QTest::addColumn<QString>("taken");
        QTest::addColumn<QString>("error");
        QTest::newRow("2+1 values a page") << QByteArray("a\tb\nc\nd\te\nf\n") << 2 << "a|b|c|d|e|f"
                                           << "";
        QTest::newRow("4 then 2") << QByteArray("1\t2\t3\t4\n5\t6\n") << 1 << "1|2|3"
                                  << "Page End data Count(3) Error";
        QTest::newRow("data runs out") << QByteArray("a\tb\tc\nd\n") << 2 << "a|b|c|d||"
                                       << "";
    }
    void print_run_counts() {
        QFETCH(QByteArray, bytes);
        QFETCH(int, pages);
        QFETCH(QString, taken);
        QFETCH(QString, error);
        auto f = new_form(form_l::MODE_PRINT);
        for (int i = 0; i < 3; ++i)
            add_text(*f, {"DATA", {}, 10, 10.0f + 10 * i}, 1);
        f->values_per_form = 3;
        f->data_name = write_file("run.txt", bytes);
        QCOMPARE(f->read_data_b(1), 1);
        QImage image(100, 100, QImage::Format_RGB32);
        QPainter painter(&image);
        f->painter = &painter;
        // Each page keeps the values it took until the next page starts.
        int printed = 1;
        QStringList values;
        const bool ok = f->print_run_b([&] {
            values << f->page_values;
            return ++printed > 0;
        });
        values << f->page_values;
        QCOMPARE(printed, pages);
        QCOMPARE(values.join('|'), taken);
        QCOMPARE(ok, error.isEmpty());
        if (!error.isEmpty()) QVERIFY(f->error_list.last().endsWith(error));
    }

    // A data record with two positions prints one value twice; fixed texts take none.
    void value_binding() {
        auto f = new_form();
        f->data_values = {"x", "y"};
        add_text(*f, {"DATA", {}, 10, 10}, 1);
        add_text(*f, {"DATA", {}, 10, 30}, 2);
        add_text(*f, {"TEXT", "fixed", 10, 50});
        add_text(*f, {"DATA", {}, 10, 70}, 1);
        add_text(*f, {"DATA", {}, 10, 90}, 2);
        const QImage drawn = render_page_image(*f, 72);
        QCOMPARE(f->page_values, s_l({"x", "y"}));
        QCOMPARE(drawn, draw_texts({{"TEXT", "x", 10, 10},
                                    {"TEXT", "x", 10, 30},
                                    {"TEXT", "fixed", 10, 50},
                                    {"TEXT", "y", 10, 70},
                                    {"TEXT", "y", 10, 90}}));
    }

    void repaint_replays_the_page() {
        auto f = new_form();
        add_text(*f, {"DATA", {}, 10, 10}, 1);
        add_text(*f, {"DATA", {}, 10, 20}, 1);
        f->values_per_form = 2;
        f->data_name = write_file("replay.txt", "a\tb\nc\td\n");
        QCOMPARE(f->read_data_b(1), 1);
        const QImage first = render_page_image(*f, 72);
        const int records = f->data_records_read;
        const QImage again = render_page_image(*f, 72);
        QCOMPARE(again, first);
        QCOMPARE(f->page_values, s_l({"a", "b"}));
        QCOMPARE(f->data_records_read, records);
        QCOMPARE(f->data_values, s_l({"c", "d"}));
        // The next page takes fresh values.
        f->replay_index = -1;
        f->page_values.clear();
        f->current_page += 1;
        render_page_image(*f, 72);
        QCOMPARE(f->page_values, s_l({"c", "d"}));
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

    void fixed_texts() {
        auto f = new_form();
        QCOMPARE(f->change_s("?_TODAY?"), QDate::currentDate().toString("yyyy-MM-dd"));
        // Never the page number; nothing at all on page 0.
        for (int page : {0, 1, 5, 49, 123}) {
            f->current_page = page;
            QVERIFY(!f->change_s("?_PAGE?").contains(QString::number(page)));
        }
        f->current_page = 0;
        QCOMPARE(f->change_s("?_PAGE?"), QString());
        QCOMPARE(f->change_s("?_PAGE? "), QString("?_PAGE? "));
        QCOMPARE(f->change_s("?_today?"), QString("?_today?"));
    }

    // ---- ruled items ----

    void ruled_pixels_data() {
        QTest::addColumn<QString>("keyword");
        QTest::addColumn<QRectF>("mm"); // x1, y1, x2, y2 as left, top, right, bottom
        QTest::addColumn<QRect>("pixels");
        QTest::newRow("line") << "LINE" << QRectF(QPointF(10, 20), QPointF(30, 20))
                              << QRect(QPoint(28, 56), QPoint(85, 56));
        QTest::newRow("x_line ignores y2") << "X_LINE" << QRectF(QPointF(10, 20), QPointF(30, 90))
                                           << QRect(QPoint(28, 56), QPoint(85, 56));
        QTest::newRow("y_line ignores x2") << "Y_LINE" << QRectF(QPointF(10, 20), QPointF(90, 30))
                                           << QRect(QPoint(28, 56), QPoint(28, 85));
        QTest::newRow("box") << "BOX" << QRectF(QPointF(10, 20), QPointF(30, 40))
                             << QRect(QPoint(28, 56), QPoint(83, 111));
        QTest::newRow("box swapped") << "BOX" << QRectF(QPointF(30, 40), QPointF(10, 20))
                                     << QRect(QPoint(28, 56), QPoint(83, 111));
        QTest::newRow("box of width 0") << "BOX" << QRectF(QPointF(10, 20), QPointF(10, 40))
                                        << QRect(QPoint(28, 56), QPoint(29, 111));
    }
    void ruled_pixels() {
        QFETCH(QString, keyword);
        QFETCH(QRectF, mm);
        QFETCH(QRect, pixels);
        auto f = new_form();
        add(*f, keyword, mm.left(), mm.top(), mm.right(), mm.bottom());
        QCOMPARE(ink(render_page_image(*f, 72)), pixels);
    }

    void ruled_shapes() {
        auto draw = [&](const QString& kw, QRectF mm, float a1, float a2, float width = 0.35f,
                        const QString& kind = "0") {
            auto f = new_form();
            f->line_widths = {width};
            f->line_kinds = {kind};
            qx_print_l* item = add(*f, kw, mm.left(), mm.top(), mm.right(), mm.bottom());
            item->num5 = a1, item->num6 = a2;
            return render_page_image(*f, 72);
        };
        const QRectF corners(QPointF(10, 20), QPointF(50, 60));
        const QRectF swapped(QPointF(50, 60), QPointF(10, 20));
        const QImage full = draw("ARC", corners, 0, 5760);
        QCOMPARE(draw("ARC", swapped, 0, 5760), full);
        QCOMPARE(ink(full), QRect(28, 56, 113, 113));
        // A quarter from 3 o'clock to 12 o'clock lies in the upper right quarter of the
        // ellipse in (28, 56, 113 x 113).
        const QRect quarter = ink(draw("ARC", corners, 0, 1440));
        QVERIFY(quarter.left() >= 84 && quarter.bottom() <= 113);
        QVERIFY(quarter.top() == 56 && quarter.right() == 140);
        // A line set of width 0 still draws, as a 0.1 mm hairline.
        const QImage zero = draw("LINE", corners, 0, 0, 0.0f);
        QVERIFY(!ink(zero).isEmpty());
        QCOMPARE(zero, draw("LINE", corners, 0, 0, 0.1f));
        // Kind "1" dashes the line; unknown kinds keep it solid.
        const QRectF across(QPointF(10, 20), QPointF(100, 20));
        const QImage solid = draw("LINE", across, 0, 0);
        QCOMPARE(draw("LINE", across, 0, 0, 0.35f, "9"), solid);
        QVERIFY(draw("LINE", across, 0, 0, 0.35f, "1") != solid);
    }

    // Every OFFSET pair draws the whole form again, moved by the pair.
    void offset_copies() {
        auto f = new_form();
        f->offsets = {0, 0, 100, 50};
        add(*f, "LINE", 10, 20, 30, 20);
        const QImage image = render_page_image(*f, 72);
        // 110 mm -> 311, 130 mm -> 368, 70 mm -> 198.
        QCOMPARE(ink(image), QRect(QPoint(28, 56), QPoint(368, 198)));
        QCOMPARE(qGray(image.pixel(311, 198)) < 255, true);
        QCOMPARE(qGray(image.pixel(310, 198)), 255);
    }

    // ---- text ----

    // A text at (10, 10) with size 4 is drawn like the bare painter draws it at device
    // point (28, 39) with an 11-unit font; a _FIX field of 4 characters between 10 and
    // 50 mm puts them at 10, 20, 30 and 40 mm.
    void text_against_painter() {
        auto painted = [](const QList<QPair<QPoint, QString>>& glyphs) {
            QImage image(595, 842, QImage::Format_RGB32);
            image.fill(Qt::white);
            QPainter p(&image);
            QFont font("IPAGothic");
            font.setPixelSize(11);
            p.setFont(font);
            for (const auto& g : glyphs)
                p.drawText(g.first, g.second);
            return image;
        };
        QCOMPARE(draw_texts({{"TEXT", "H", 10, 10}}), painted({{{28, 39}, "H"}}));
        QCOMPARE(draw_texts({{"TEXT_FIX", "ABCD", 10, 10, 50}}),
                 painted({{{28, 39}, "A"}, {{56, 39}, "B"}, {{85, 39}, "C"}, {{113, 39}, "D"}}));
    }

    void text_layout_data() {
        QTest::addColumn<text_items>("item");
        QTest::addColumn<text_items>("same_as");
        const QString pair = QString::fromUtf8("𠀋");
        QTest::newRow("fix with count") << text_items{{"TEXT_FIX", "AB", 10, 10, 50, 4}}
                                        << text_items{{"TEXT", "A", 10}, {"TEXT", "B", 20}};
        QTest::newRow("ascii advance")
            << text_items{{"TEXT", "AX"}} << text_items{{"TEXT", "A"}, {"TEXT", "X", 13.88f}};
        QTest::newRow("kanji advance")
            << text_items{{"TEXT", QString::fromUtf8("漢X")}}
            << text_items{{"TEXT", QString::fromUtf8("漢")}, {"TEXT", "X", 17.76f}};
        QTest::newRow("spacing") << text_items{{"TEXT", "AX", 10, 10, 1}}
                                 << text_items{{"TEXT", "A"}, {"TEXT", "X", 14.88f}};
        QTest::newRow("surrogate pair") << text_items{{"TEXT", pair + "X"}}
                                        << text_items{{"TEXT", pair}, {"TEXT", "X", 17.76f}};
        QTest::newRow("fix counts a pair once")
            << text_items{{"TEXT_FIX", pair + "AB", 10, 10, 40}}
            << text_items{{"TEXT", pair, 10}, {"TEXT", "A", 20}, {"TEXT", "B", 30}};
        QTest::newRow("vertical ascii")
            << text_items{{"TEXT_V", "AB"}} << text_items{{"TEXT", "A"}, {"TEXT", "B", 10, 13.88f}};
        QTest::newRow("vertical spacing") << text_items{{"TEXT_V", "AB", 10, 10, 3}}
                                          << text_items{{"TEXT", "A"}, {"TEXT", "B", 10, 16.88f}};
        QTest::newRow("vertical kanji")
            << text_items{{"TEXT_V", QString::fromUtf8("一二")}}
            << text_items{{"TEXT", QString::fromUtf8("一")},
                          {"TEXT", QString::fromUtf8("二"), 10, 18.73f}};
        // The step of a vertical _FIX runs from the baseline (14) to the end (50).
        QTest::newRow("vertical fix") << text_items{{"TEXT_FIX_V", "ABCD", 10, 10, 50}}
                                      << text_items{{"TEXT", "A", 10, 10},
                                                    {"TEXT", "B", 10, 19},
                                                    {"TEXT", "C", 10, 28},
                                                    {"TEXT", "D", 10, 37}};
        QTest::newRow("size from the value") << text_items{{"TEXT", "5:ABC", 10, 10, 0, 0, {}, 0}}
                                             << text_items{{"TEXT", "ABC", 10, 10, 0, 0, {}, 5}};
        QTest::newRow("no size in the value") << text_items{{"TEXT", "ABC", 10, 10, 0, 0, {}, 0}}
                                              << text_items{{"TEXT", "ABC", 10, 10, 0, 0, {}, 1}};
        QTest::newRow("leading colon") << text_items{{"TEXT", ":ABC", 10, 10, 0, 0, {}, 0}}
                                       << text_items{{"TEXT", ":ABC", 10, 10, 0, 0, {}, 1}};
        QTest::newRow("size not a number") << text_items{{"TEXT", "x:AB", 10, 10, 0, 0, {}, 0}}
                                           << text_items{{"TEXT", "x:AB", 10, 10, 0, 0, {}, 1}};
        // The zero fraction goes after the right alignment, so the value ends up left.
        QTest::newRow(". loses alignment")
            << text_items{{"TEXT", "1234.00", 10, 10, 0, 8, "."}} << text_items{{"TEXT", "1,234"}};
        QTest::newRow("+ aligns right")
            << text_items{{"TEXT", "1234", 10, 10, 0, 8, "+"}} << text_items{{"TEXT", "   1,234"}};
    }
    void text_layout() {
        QFETCH(text_items, item);
        QFETCH(text_items, same_as);
        QCOMPARE(draw_texts(item), draw_texts(same_as));
    }

    // A character that the font draws without advance sits on the letter before it.
    void zero_width_overlay() {
        const QChar zwsp(0x200B);
        if (ctx->kind_code(zwsp) != qx_z_l::KIND_NONE) QSKIP("U+200B has an advance here");
        QCOMPARE(draw_texts({{"TEXT", QString("A") + zwsp + "X"}}),
                 draw_texts({{"TEXT", "A"}, {"TEXT", "X", 13.88f}}));
        auto f = new_form();
        QCOMPARE(f->length_count(QString("A") + zwsp + QString::fromUtf8("𠀋")), 2);
    }

    void replace_for_vertical_data_data() {
        QTest::addColumn<QString>("keyword");
        QTest::addColumn<int>("data_flag");
        QTest::addColumn<QString>("drawn");
        QTest::newRow("DATA_V") << "DATA_V" << 1 << "CC";
        QTest::newRow("DATA_FIX_V") << "DATA_FIX_V" << 1 << "CC";
        QTest::newRow("DATA") << "DATA" << 1 << "AB";
        QTest::newRow("TEXT_V") << "TEXT_V" << 0 << "AB";
    }
    void replace_for_vertical_data() {
        QFETCH(QString, keyword);
        QFETCH(int, data_flag);
        QFETCH(QString, drawn);
        auto f = new_form();
        f->replace_list = {"A", "B", "B", "C"}; // pairs apply in order
        f->data_values = {"AB"};
        add_text(*f, {keyword, "AB", 10, 10, 30}, data_flag);
        QCOMPARE(render_page_image(*f, 72), draw_texts({{keyword, drawn, 10, 10, 30}}));
    }

    void fonts_data() {
        QTest::addColumn<QString>("attribute");
        QTest::addColumn<bool>("bold");
        QTest::addColumn<bool>("italic");
        QTest::newRow("B") << "B" << true << false;
        QTest::newRow("BI") << "BI" << true << false;
        QTest::newRow("IB") << "IB" << true << false;
        QTest::newRow("I") << "I" << false << true;
        QTest::newRow("i") << "i" << false << true;
        QTest::newRow("X") << "X" << false << false;
    }
    void fonts() {
        QFETCH(QString, attribute);
        QFETCH(bool, bold);
        QFETCH(bool, italic);
        auto f = new_form();
        const QFont font = f->new_font_n("IPAGothic", 4.0f, attribute);
        QCOMPARE(font.pointSize(), 11);
        QCOMPARE(font.weight(), bold ? QFont::Bold : QFont::Normal);
        QCOMPARE(font.italic(), italic);
    }

    // Glyphs keep their size relative to the ruled lines whatever the resolution.
    void glyphs_scale_with_lines() {
        auto page = new_form();
        add(*page, "BOX", 10, 10, 110, 60);
        add_text(*page, {"TEXT", "H", 20, 20, 0, 0, {}, 20});
        auto measure = [&](double dpi) {
            const QImage image = render_page_image(*page, dpi);
            const double box = ink(image).width();
            const QRect inside = ink(image.copy(ink(image).adjusted(4, 4, -4, -4)), 128);
            return inside.height() / box;
        };
        const double at72 = measure(72), at96 = measure(96);
        QVERIFY2(qAbs(at96 / at72 - 1.0) < 0.05, qPrintable(QString::number(at96 / at72)));
    }

    // ---- bad input ----

    void bad_input() {
        // A megabyte in one field, through every kind of text item.
        for (const QString kw : {"DATA", "DATA_FIX", "DATA_V", "DATA_FIX_V"}) {
            auto f = new_form();
            f->data_values = {QString(1 << 20, QChar(0x6F22))};
            add_text(*f, {kw, {}, 10, 10, 100, 0, "+"}, 1);
            bool ok = false;
            const QImage image = render_page_image(*f, 72, &ok);
            QVERIFY(ok);
            QVERIFY(!ink(image).isEmpty());
        }
        // Sizes and positions that no sheet holds, a missing style, a replay beyond
        // the values taken, negative counts and spacings.
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
        for (double dpi : {0.0, -72.0, 1e6, qQNaN()}) {
            QVERIFY(render_page_image(*f, dpi, &ok).isNull());
            QVERIFY(!ok);
        }
        // Bytes that are not text in any encoding still make values.
        f = new_form();
        f->values_per_form = 2;
        f->data_name = write_file("bad.txt", QByteArray("a\xff\x80\tb\x81\xfe\n"));
        QCOMPARE(f->read_data_b(1), 1);
        QCOMPARE(f->data_values.size(), 2);
        add_text(*f, {"DATA", {}, 10, 10}, 1);
        render_page_image(*f, 72, &ok);
        QVERIFY(ok);
    }
};

QTEST_MAIN(test_render)
#include "test_render.moc"
