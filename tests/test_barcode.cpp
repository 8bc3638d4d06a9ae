// Bar codes and images. Symbols are drawn through the real primitives into a 300 dpi
// image; zbarimg must read them back and their bars must match zint's reference
// patterns module for module (JAN) or wide/narrow element for element (CODE39).
#include "layout/form.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <cctype>
#include <cmath>
#include <functional>

namespace {

const double device_factor = 2.8346276; // device units per millimetre
const double dpi = 300;
const double pixels_per_unit = dpi / 72;

// One device unit is 1/72 inch and the primitives truncate every coordinate to whole
// units, so a module of exactly two units puts every EAN bar centre on that grid.
// A hair over two units keeps float rounding from truncating a position one unit low.
const float two_units = 0.706f;   // 2.0012 units
const float three_units = 1.059f; // 3.0019 units

QString program_output(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
    }
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

// The widths of the dark and light runs of zint's reference pattern, in modules,
// starting and ending with a bar.
QList<int> zint_runs(const QStringList& args) {
    QString bits;
    const QString dump =
        program_output(QStringLiteral("zint"), QStringList{QStringLiteral("--dump")} + args);
    // Hex digits, four modules each; the last group may be a single digit.
    for (const QChar c : dump)
        if (isxdigit(c.unicode()))
            bits += QStringLiteral("%1").arg(QString(c).toInt(nullptr, 16), 4, 2, QLatin1Char('0'));
    bits = bits.left(bits.lastIndexOf(QLatin1Char('1')) + 1);
    QList<int> runs;
    for (int i = 0; i < bits.size(); ++i) {
        if (i == 0 || bits.at(i) != bits.at(i - 1))
            runs.append(1);
        else
            ++runs.last();
    }
    return runs;
}

// The dark and light runs along one pixel row, in pixels, from the first dark pixel
// to the last.
QList<int> image_runs(const QImage& image, int y) {
    QList<int> runs;
    int colour = -1;
    for (int x = 0; x < image.width(); ++x) {
        const int dark = qGray(image.pixel(x, y)) < 128 ? 1 : 0;
        if (colour < 0 && !dark) continue;
        if (dark == colour)
            ++runs.last();
        else
            runs.append(1);
        colour = dark;
    }
    if (colour == 0) runs.removeLast();
    return runs;
}

QList<int> to_modules(const QList<int>& pixel_runs, double module_pixels) {
    QList<int> modules;
    for (int run : pixel_runs)
        modules.append(int(std::lround(run / module_pixels)));
    return modules;
}

// "N" or "W" per element.
QString wide_narrow(const QList<int>& runs, double narrow) {
    QString s;
    for (int run : runs)
        s += run > 1.75 * narrow ? QLatin1Char('W') : QLatin1Char('N');
    return s;
}

bool has_ink(const QImage& image, const QRect& area) {
    const QRect r = area.intersected(image.rect());
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x)
            if (qGray(image.pixel(x, y)) < 128) return true;
    return false;
}

// Pixel row and column of a page position in millimetres.
int pixel_of(double mm) {
    return int(mm * device_factor * pixels_per_unit);
}

} // namespace

class test_barcode : public QObject {
    Q_OBJECT

    std::unique_ptr<qx_z_l> ctx;
    std::unique_ptr<form_l> form;
    qx_print_l item;
    QTemporaryDir dir;

    // A white page of the given size with whatever `draw` puts on it through the form,
    // at `resolution` dots per inch.
    QImage render(double width_mm, double height_mm, const std::function<void()>& draw,
                  double resolution = dpi) {
        QImage image(int(width_mm / 25.4 * resolution), int(height_mm / 25.4 * resolution),
                     QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.scale(resolution / 72, resolution / 72);
        form->painter = &painter;
        form->current_item = &item;
        draw();
        form->painter = nullptr;
        return image;
    }

    QString zbar(const QImage& image) {
        const QString path = dir.filePath(QStringLiteral("symbol.png"));
        if (!image.save(path)) return QStringLiteral("(not saved)");
        return program_output(QStringLiteral("zbarimg"),
                              {QStringLiteral("--raw"), QStringLiteral("-q"), path});
    }

    // A bar code item at (15, 10) mm, 25 mm high: tall enough that the digits drawn
    // over the lower part of a JAN symbol leave its upper part clear.
    void set_item(float thin, float char_size = 0) {
        item = qx_print_l();
        item.num5 = thin;
        item.num6 = 25;
        item.num1 = 15;
        item.num2 = 10;
        item.num7 = char_size;
    }

private slots:
    void init() {
        ctx = std::make_unique<qx_z_l>(QStringLiteral("KORVAN"), 0, nullptr);
        form = std::make_unique<form_l>(ctx.get());
        QVERIFY(dir.isValid());
    }

    void code39_check_character_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("check");
        QTest::newRow("A+B+C = 33") << "ABC"
                                    << "X";
        QTest::newRow("lower case counts as upper") << "abc"
                                                    << "X";
        QTest::newRow("Z+8 = 43 wraps to 0") << "Z8"
                                             << "0";
        QTest::newRow("Z+7 = 42 stays") << "Z7"
                                        << "%";
        QTest::newRow("specials sum 273 = 6*43+15") << "-. $/+%"
                                                    << "F";
        QTest::newRow("star is not a check character") << "A*"
                                                       << "";
        QTest::newRow("full-width letter") << QString::fromUtf8("\xEF\xBC\xA1") << "";
    }
    void code39_check_character() {
        QFETCH(QString, text);
        QFETCH(QString, check);
        QCOMPARE(ctx->code39_s(text), check);
    }

    void jan_check_digit_data() {
        QTest::addColumn<QString>("digits");
        QTest::addColumn<QString>("check");
        // 4*1+9*3+0+1*3+2*1+3*3+4*1+5*3+6*1+7*3+8*1+9*3 = 126
        QTest::newRow("EAN-13 126") << "490123456789"
                                    << "4";
        QTest::newRow("EAN-13 known") << "400638133393"
                                      << "1";
        // 4*3+9+0+1+2*3+3+4*3 = 43
        QTest::newRow("EAN-8 43") << "4901234"
                                  << "7";
        QTest::newRow("odd length starts at 3") << "12345"
                                                << "7";
        // The A keeps its place (weight 3) and adds nothing: 126 - 27 = 99.
        QTest::newRow("letter keeps its place") << "49012345678A"
                                                << "1";
        QTest::newRow("full-width digits add nothing")
            << QString::fromUtf8("\xEF\xBC\x94\xEF\xBC\x99") << "0";
        QTest::newRow("empty") << ""
                               << "";
    }
    void jan_check_digit() {
        QFETCH(QString, digits);
        QFETCH(QString, check);
        QCOMPARE(ctx->jan_s(digits), check);
    }

    void code39_symbols_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<float>("thin");
        QTest::addColumn<QString>("decoded");
        QTest::addColumn<QStringList>("zint");
        // zint's --vers=1 adds its own modulo-43 check character.
        QTest::newRow("ABC gets X")
            << "ABC" << two_units << "ABCX" << QStringList{"-b", "8", "--vers=1", "-d", "ABC"};
        QTest::newRow("framed text as it stands")
            << "*ABC*" << two_units << "ABC" << QStringList{"-b", "8", "-d", "ABC"};
        // K20 O24 R27 V31 A10 N23 -36 1 .37 0 sp38 $39 /40 +41 %42 X33 Y34 sp38 4 2:
        // 520 = 12*43 + 4.
        QTest::newRow("every special character")
            << "KORVAN-1.0 $/+%XY 42" << two_units << "KORVAN-1.0 $/+%XY 424"
            << QStringList{"-b", "8", "-d", "KORVAN-1.0 $/+%XY 424"};
        // 20 + 3 + 9 + 36 + 2 = 70 = 43 + 27
        QTest::newRow("three-unit narrow bars")
            << "K39-2" << three_units << "K39-2R" << QStringList{"-b", "8", "-d", "K39-2R"};
    }
    void code39_symbols() {
        QFETCH(QString, text);
        QFETCH(float, thin);
        QFETCH(QString, decoded);
        QFETCH(QStringList, zint);
        set_item(thin);
        const QImage image = render(260, 45, [&] { QVERIFY(form->code39_b(0, 0, 1, text)); });
        QCOMPARE(zbar(image), decoded);
        const QList<int> drawn = image_runs(image, pixel_of(12));
        const double narrow = thin * device_factor * pixels_per_unit;
        QCOMPARE(wide_narrow(drawn, narrow), wide_narrow(zint_runs(zint), 1));
    }

    void jan_symbols_data() {
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("test_data");
        QTest::addColumn<float>("module");
        QTest::addColumn<QString>("digits");
        QTest::newRow("12 digits") << "490123456789" << false << two_units << "4901234567894";
        QTest::newRow("12 digits, 3-unit module")
            << "490123456789" << false << three_units << "4901234567894";
        QTest::newRow("7 digits") << "4901234" << false << two_units << "49012347";
        QTest::newRow("13 digits whole")
            << "4006381333931" << false << two_units << "4006381333931";
        QTest::newRow("8 digits whole") << "12345670" << false << two_units << "12345670";
        // 3*3+3+3*3+3+3*3+3+3*3 = 45
        QTest::newRow("test digit 3") << "3" << true << two_units << "33333335";
        QTest::newRow("test data of 12 digits")
            << "490123456789" << true << two_units << "4901234567894";
    }
    void jan_symbols() {
        QFETCH(QString, value);
        QFETCH(bool, test_data);
        QFETCH(float, module);
        QFETCH(QString, digits);
        set_item(module);
        form->mode = test_data ? form_l::MODE_TEST_DATA : form_l::MODE_DISPLAY;
        const QImage image = render(150, 45, [&] { QCOMPARE(form->jan_b(0, 0, 1, value), 1); });
        QCOMPARE(zbar(image), digits);
        const double module_pixels = module * device_factor * pixels_per_unit;
        const QList<int> drawn = to_modules(image_runs(image, pixel_of(12)), module_pixels);
        // zint's EAN with check digit takes all 13 or 8 digits and verifies the last.
        QCOMPARE(drawn, zint_runs({"-b", "14", "-d", digits}));
        QCOMPARE(form->error_list.size(), 1);
    }

    // A 13-digit value is not checked: its last digit is drawn even when wrong.
    void jan_wrong_check_digit_drawn_as_given() {
        set_item(two_units);
        const QImage image = render(150, 45, [&] { form->jan_b(0, 0, 1, "4901234567890"); });
        const double module_pixels = two_units * device_factor * pixels_per_unit;
        QList<int> expected = zint_runs({"-b", "14", "-d", "4901234567894"});
        // Right-hand 4 is bar 1, space 1, bar 3, space 2; a 0 is bar 3, space 2, bar 1,
        // space 1. The end guard follows.
        expected = expected.mid(0, expected.size() - 7) + QList<int>{3, 2, 1, 1, 1, 1, 1};
        QCOMPARE(to_modules(image_runs(image, pixel_of(12)), module_pixels), expected);
    }

    // Every bar starts at the top; guard bars reach the full code height (30 mm), data
    // bars stop 7.5 modules higher (at 24.7 mm).
    void jan_bar_heights() {
        set_item(two_units);
        item.num6 = 20;
        const QImage image = render(150, 45, [&] { form->jan_b(0, 0, 1, "4901234"); });
        const int all_bars = 2 * 22 - 1; // 22 bars and the spaces between them
        const int guard_bars = 2 * 6 - 1;
        QVERIFY(!has_ink(image, QRect(0, 0, image.width(), pixel_of(9.9))));
        QCOMPARE(image_runs(image, pixel_of(10.1)).size(), all_bars);
        QCOMPARE(image_runs(image, pixel_of(14)).size(), all_bars);
        QCOMPARE(image_runs(image, pixel_of(27)).size(), guard_bars);
        QCOMPARE(image_runs(image, pixel_of(29.9)).size(), guard_bars);
        QVERIFY(!has_ink(image, QRect(0, pixel_of(30.1), image.width(), pixel_of(5))));
    }

    void errors_data() {
        QTest::addColumn<bool>("jan");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("bars_before");
        QTest::newRow("code39 lower case") << false << "abc"
                                           << "code39 convert error (a)" << true;
        QTest::newRow("code39 unknown character") << false << "AB#C"
                                                  << "code39 convert error (#)" << true;
        QTest::newRow("code39 framed lower case") << false << "*Ab*"
                                                  << "code39 convert error (b)" << true;
        QTest::newRow("code39 full-width")
            << false << QString::fromUtf8("\xEF\xBC\xA1")
            << QString::fromUtf8("code39 convert error (\xEF\xBC\xA1)") << true;
        QTest::newRow("code39 empty") << false << ""
                                      << "" << false;
        QTest::newRow("jan 5 digits") << true << "12345"
                                      << "jan length 8 or 13 error (12345)" << false;
        QTest::newRow("jan empty") << true << ""
                                   << "jan length 8 or 13 error ()" << false;
        QTest::newRow("jan 11 digits") << true << "12345678901"
                                       << "jan length 8 or 13 error (12345678901)" << false;
        QTest::newRow("jan letter in right half") << true << "49012345678A"
                                                  << "jan convert error txt (A)" << true;
        QTest::newRow("jan letter first") << true << "A901234567894"
                                          << "jan convert error txt (A)" << false;
        QTest::newRow("jan EAN-8 letter") << true << "4901X34"
                                          << "jan convert error txt (X)" << true;
        QTest::newRow("jan full-width digits")
            << true << QString::fromUtf8("\xEF\xBC\x94\xEF\xBC\x99") + "01234567894"
            << QString::fromUtf8("jan convert error txt (\xEF\xBC\x94)") << false;
    }
    void errors() {
        QFETCH(bool, jan);
        QFETCH(QString, value);
        QFETCH(QString, message);
        QFETCH(bool, bars_before);
        set_item(two_units, 3);
        form->error_prefix = QStringLiteral("(7) JAN");
        ctx->message = QStringLiteral("earlier");
        bool ok = false;
        const QImage image = render(150, 45, [&] {
            ok = jan ? form->jan_b(0, 0, 1, value) == 1 : form->code39_b(0, 0, 1, value);
        });
        QCOMPARE(ok, message.isEmpty());
        QCOMPARE(has_ink(image, image.rect()), bars_before);
        if (message.isEmpty()) {
            QCOMPARE(form->error_list.size(), 1);
            QCOMPARE(form->error_flag, 0);
            return;
        }
        QCOMPARE(ctx->message, message);
        QCOMPARE(form->error_list.size(), 2);
        QCOMPARE(form->error_list.last(), "(7) JAN " + message);
        QCOMPARE(form->error_flag, 1);
    }

    // A text that starts with "*" but does not end with it is framed again with no
    // check character: "**AB*" is five valid characters.
    void code39_half_framed_text() {
        set_item(two_units);
        const QImage image = render(150, 45, [&] { QVERIFY(form->code39_b(0, 0, 1, "*AB")); });
        QCOMPARE(image_runs(image, pixel_of(12)).size(), 5 * 10 - 1);
        QCOMPARE(form->error_list.size(), 1);
    }

    // The framed text stands on the bar code's lower-left corner (char x and char y are
    // not used): it changes only rows within one character size above the bar bottom
    // (35 mm), starts at the left edge (15 mm), and its six characters at the 11-point
    // advance of 11 / 2.8346 mm end between 15 + 5 and 15 + 6 advances.
    void code39_text() {
        set_item(two_units);
        const QImage bare = render(150, 45, [&] { form->code39_b(0, 0, 1, "ABC"); });
        item.num7 = 4;
        item.num3 = 60;
        item.num4 = 2;
        const QImage text = render(150, 45, [&] { form->code39_b(0, 0, 1, "ABC"); });
        QCOMPARE(zbar(text), QStringLiteral("ABCX"));
        QRect changed;
        for (int y = 0; y < text.height(); ++y)
            for (int x = 0; x < text.width(); ++x)
                if (text.pixel(x, y) != bare.pixel(x, y)) changed |= QRect(x, y, 1, 1);
        QVERIFY(!changed.isEmpty());
        QVERIFY(changed.top() >= pixel_of(31) && changed.bottom() <= pixel_of(36));
        QVERIFY(changed.left() >= pixel_of(15) && changed.left() < pixel_of(17));
        const double advance = 11 / device_factor;
        QVERIFY(changed.right() > pixel_of(15 + 5 * advance));
        QVERIFY(changed.right() <= pixel_of(15 + 6 * advance));
    }

    // The first digit of an EAN-13 stands alone left of the start guard, from 1.25 digit
    // pitches (6.2 mm) left of it; an EAN-8 has nothing there, and a value that fails
    // draws no digits at all. The first bar's left edge is truncated to 42 units (14.8 mm).
    void jan_first_digit_data() {
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("digit_left");
        QTest::newRow("EAN-13") << "490123456789" << true;
        QTest::newRow("EAN-8") << "4901234" << false;
        QTest::newRow("failed") << "49012345678A" << false;
    }
    void jan_first_digit() {
        QFETCH(QString, value);
        QFETCH(bool, digit_left);
        set_item(two_units);
        const QImage image = render(150, 45, [&] { form->jan_b(0, 0, 1, value); });
        QCOMPARE(has_ink(image, QRect(0, 0, pixel_of(14.5), image.height())), digit_left);
    }

    // The picture keeps its own pixel size, one pixel per device unit, with its corner
    // at (x1, y1) truncated to whole units, whatever x2 and y2 say. The frame is turned
    // round when drawn right to left, unless x1 is 0.
    void image_frame_data() {
        QTest::addColumn<float>("x1");
        QTest::addColumn<float>("x2");
        QTest::addColumn<int>("corner_x");
        QTest::addColumn<float>("frame_left");
        QTest::addColumn<float>("frame_right");
        QTest::newRow("natural size") << 10.0f << 0.0f << 28 << 0.0f << 10.0f;
        QTest::newRow("frame 50") << 10.0f << 50.0f << 28 << 10.0f << 50.0f;
        QTest::newRow("frame turned round") << 10.0f << 5.0f << 28 << 5.0f << 10.0f;
        QTest::newRow("x1 0 is never turned") << 0.0f << -5.0f << 0 << 0.0f << -5.0f;
    }
    void image_frame() {
        QFETCH(float, x1);
        QFETCH(float, x2);
        QFETCH(int, corner_x);
        QFETCH(float, frame_left);
        QFETCH(float, frame_right);
        QImage picture(12, 8, QImage::Format_RGB32);
        picture.fill(QColor(200, 0, 0));
        const QString path = dir.filePath(QStringLiteral("red.png"));
        QVERIFY(picture.save(path));
        item = qx_print_l();
        item.num1 = x1;
        item.num2 = 20;
        item.num3 = x2;
        item.num4 = x2;
        // At 72 dpi one pixel is one device unit: 10 mm -> 28, 20 mm -> 56.
        const QImage page = render(
            80, 80, [&] { QVERIFY(form->image_b(0, 0, 1, path)); }, 72);
        QImage expected(page.size(), QImage::Format_RGB32);
        expected.fill(Qt::white);
        QPainter(&expected).fillRect(QRect(corner_x, 56, 12, 8), QColor(200, 0, 0));
        QCOMPARE(page, expected);
        QCOMPARE(form->work_left, frame_left);
        QCOMPARE(form->work_right, frame_right);
        QCOMPARE(form->error_list.size(), 1);
    }

    void image_formats_data() {
        QTest::addColumn<QString>("format");
        QTest::newRow("PNG") << "PNG";
        QTest::newRow("JPEG") << "JPG";
        QTest::newRow("BMP") << "BMP";
    }
    void image_formats() {
        QFETCH(QString, format);
        QImage picture(40, 40, QImage::Format_RGB32);
        picture.fill(QColor(0, 0, 160));
        // No extension: the reader must recognise the contents.
        const QString path = dir.filePath(QStringLiteral("picture"));
        QVERIFY(picture.save(path, format.toLatin1().constData()));
        item = qx_print_l();
        item.num1 = item.num2 = 10;
        const QImage page = render(
            40, 40, [&] { form->image_b(0, 0, 1, path); }, 72);
        const QColor centre = page.pixelColor(28 + 20, 28 + 20);
        QVERIFY2(centre.blue() > 140 && centre.red() < 20 && centre.green() < 20,
                 qPrintable(centre.name()));
        QCOMPARE(page.pixelColor(27, 40), QColor(Qt::white));
    }

    void image_bad_files_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("contents");
        QImage picture(64, 64, QImage::Format_RGB32);
        picture.fill(Qt::black);
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        picture.save(&buffer, "PNG");
        QTest::newRow("truncated PNG") << "cut.png" << png.left(png.size() / 2);
        QTest::newRow("header only") << "head.png" << png.left(16);
        QTest::newRow("text named .png") << "text.png" << QByteArray("not a picture\n");
        QTest::newRow("empty file") << "empty.png" << QByteArray();
        QTest::newRow("missing") << "missing.png" << QByteArray("-");
        QTest::newRow("no name") << "" << QByteArray("-");
    }
    void image_bad_files() {
        QFETCH(QString, name);
        QFETCH(QByteArray, contents);
        QString path = name.isEmpty() ? QString() : dir.filePath(name);
        if (contents != "-") {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(contents);
        }
        item = qx_print_l();
        item.num1 = item.num2 = 10;
        ctx->message = QStringLiteral("earlier");
        const QImage page = render(60, 60, [&] { QVERIFY(form->image_b(0, 0, 1, path)); });
        QVERIFY(!has_ink(page, page.rect()));
        QCOMPARE(ctx->message, QStringLiteral("earlier"));
        QCOMPARE(form->error_list.size(), 1);
    }
};

QTEST_MAIN(test_barcode)
#include "test_barcode.moc"
