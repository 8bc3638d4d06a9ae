// Bar codes and images. Symbols are drawn through the real primitives into a 300 dpi
// image; zbarimg must read them back and their bars must match zint's reference
// patterns module for module (JAN) or wide/narrow element for element (CODE39).
#include "support.h"

#include <QBuffer>
#include <QImageReader>
#include <QPainter>
#include <QRegularExpression>
#include <QtEndian>
#include <cctype>
#include <cmath>
#include <functional>

namespace {

const double device_factor = 2.8346276; // device units per millimetre
const double pixels_per_unit = 300.0 / 72;

// Bars are placed at full precision, so any module width draws true bars; these are
// JAN's nominal module and one of twice that.
const float nominal = 0.33f;
const float double_size = 0.66f;

// Dark and light runs, starting and ending with a bar: of zint's reference pattern in
// modules, or of one pixel row of an image in pixels.
QList<int> runs_of(const QString& bits) {
    QList<int> runs;
    for (int i = 0; i < bits.size(); ++i)
        if (i == 0 || bits.at(i) != bits.at(i - 1))
            runs.append(1);
        else
            ++runs.last();
    return runs;
}

QList<int> zint_runs(const QStringList& args) {
    const QByteArray dump = run_tool("zint", QStringList{"--dump"} + args).out;
    QString bits; // hex digits, four modules each
    for (const char c : dump)
        if (isxdigit(c))
            bits += QString::number(QByteArray(1, c).toInt(nullptr, 16), 2).rightJustified(4, '0');
    return runs_of(bits.left(bits.lastIndexOf('1') + 1));
}

QList<int> image_runs(const QImage& image, int y) {
    QString bits;
    for (int x = 0; x < image.width(); ++x)
        bits += qGray(image.pixel(x, y)) < 128 ? '1' : '0';
    bits.remove(0, bits.indexOf('1'));
    return runs_of(bits.left(bits.lastIndexOf('1') + 1));
}

QList<int> to_modules(const QList<int>& pixel_runs, double module_mm) {
    QList<int> modules;
    for (int run : pixel_runs)
        modules.append(int(std::lround(run / (module_mm * device_factor * pixels_per_unit))));
    return modules;
}

// "N" or "W" per element.
QString wide_narrow(const QList<int>& runs, double narrow) {
    QString s;
    for (int run : runs)
        s += run > 1.75 * narrow ? 'W' : 'N';
    return s;
}

bool has_ink(const QImage& image, const QRect& area) {
    return !ink(image.copy(area.intersected(image.rect())), 128).isEmpty();
}

// Pixel row or column of a page position in millimetres at 300 dpi.
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

    // A white page with whatever `draw` puts on it through the form.
    QImage render(double width_mm, double height_mm, const std::function<void()>& draw,
                  double dpi = 300) {
        QImage image(int(width_mm / 25.4 * dpi), int(height_mm / 25.4 * dpi), QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.scale(dpi / 72, dpi / 72);
        form->painter = &painter;
        form->current_item = &item;
        draw();
        form->painter = nullptr;
        return image;
    }

    QString zbar(const QImage& image) {
        const QString path = dir.filePath("symbol.png");
        if (!image.save(path)) return "(not saved)";
        return run_tool("zbarimg", {"--raw", "-q", path}).out.trimmed();
    }

    // A bar code item at (15, 10) mm, 25 mm high: the digits drawn over the lower part
    // of a JAN symbol leave its upper part clear.
    void set_item(float thin, float char_size = 0) {
        item = qx_print_l();
        item.num1 = 15, item.num2 = 10, item.num5 = thin, item.num6 = 25, item.num7 = char_size;
    }

private slots:
    void init() {
        ctx = make_context();
        form = std::make_unique<form_l>(ctx.get());
        QVERIFY(dir.isValid());
    }

    // CODE39: the sum of the character values modulo 43 (lower case counts as upper);
    // JAN: weights 3 and 1 from the right, a non-digit keeps its place and adds nothing.
    void check_characters() {
        const std::pair<const char*, const char*> code39[] = {
            {"abc", "X"}, {"Z8", "0"}, {"Z7", "%"}, {"A*", ""}, {"\xEF\xBC\xA1", ""}};
        for (const auto& [text, check] : code39)
            QCOMPARE(ctx->code39_s(text), QString(check));
        // 12345: 1*3+2+3*3+4+5*3 = 33. 490123456789 sums to 126 (check 4); its last 9
        // (weight 3) as an A: 126 - 27 = 99. Full-width digits add nothing.
        const std::pair<const char*, const char*> jan[] = {
            {"12345", "7"}, {"49012345678A", "1"}, {"\xEF\xBC\x94\xEF\xBC\x99", "0"}, {"", ""}};
        for (const auto& [digits, check] : jan)
            QCOMPARE(ctx->jan_s(digits), QString(check));
    }

    // Read back by zbarimg and compared with zint element for element. zint's --vers=1
    // adds its own modulo-43 check character. Every special character: K20 O24 R27 V31
    // A10 N23 -36 1 .37 0 sp38 $39 /40 +41 %42 X33 Y34 sp38 4 2: 520 = 12*43 + 4.
    void code39_symbols_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("decoded");
        QTest::addColumn<QStringList>("zint");
        // clang-format off
        QTest::newRow("ABC gets X") << "ABC" << "ABCX" << QStringList{"--vers=1", "-d", "ABC"};
        QTest::newRow("framed text as it stands") << "*ABC*" << "ABC" << QStringList{"-d", "ABC"};
        QTest::newRow("every special character") << "KORVAN-1.0 $/+%XY 42" << "KORVAN-1.0 $/+%XY 424"
                                                 << QStringList{"-d", "KORVAN-1.0 $/+%XY 424"};
        // clang-format on
    }
    void code39_symbols() {
        QFETCH(QString, text);
        QFETCH(QStringList, zint);
        set_item(nominal);
        const QImage image = render(260, 45, [&] { QVERIFY(form->code39_b(0, 0, 1, text)); });
        QTEST(zbar(image), "decoded");
        const double narrow = nominal * device_factor * pixels_per_unit;
        QCOMPARE(wide_narrow(image_runs(image, pixel_of(12)), narrow),
                 wide_narrow(zint_runs(QStringList{"-b", "8"} + zint), 1));
    }

    // JAN symbols: the value, test data or not, the module width and the digits zbarimg
    // must read (for "3": 3*3+3+3*3+3+3*3+3+3*3 = 45, check digit 5). zint's EAN takes
    // all 13 or 8 digits and verifies the last.
    void jan_symbols() {
        // clang-format off
        const std::tuple<const char*, bool, float, const char*> rows[] = {
            {"490123456789", false, nominal, "4901234567894"}, {"490123456789", false, double_size, "4901234567894"},
            {"4901234", false, nominal, "49012347"}, {"4006381333931", false, nominal, "4006381333931"},
            {"12345670", false, nominal, "12345670"}, {"3", true, nominal, "33333335"},
            {"490123456789", true, nominal, "4901234567894"}};
        // clang-format on
        for (const auto& [value, test_data, module, digits] : rows) {
            set_item(module);
            form->mode = test_data ? form_l::MODE_TEST_DATA : form_l::MODE_DISPLAY;
            const QImage image = render(150, 45, [&] { QCOMPARE(form->jan_b(0, 0, 1, value), 1); });
            QCOMPARE(zbar(image), QString(digits));
            QCOMPARE(to_modules(image_runs(image, pixel_of(12)), module),
                     zint_runs({"-b", "14", "-d", digits}));
            QCOMPARE(form->error_list.size(), 1);
        }
    }

    void errors_data() {
        QTest::addColumn<bool>("jan");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("bars_before");
        // clang-format off
        QTest::newRow("code39 lower case") << false << "abc" << "code39 convert error (a)" << true;
        QTest::newRow("code39 framed") << false << "*Ab*" << "code39 convert error (b)" << true;
        QTest::newRow("code39 empty") << false << "" << "" << false;
        QTest::newRow("jan 5 digits") << true << "12345" << "jan length 8 or 13 error (12345)" << false;
        QTest::newRow("jan empty") << true << "" << "jan length 8 or 13 error ()" << false;
        QTest::newRow("jan letter in right half") << true << "49012345678A" << "jan convert error txt (A)" << true;
        QTest::newRow("jan letter first") << true << "A901234567894" << "jan convert error txt (A)" << false;
        QTest::newRow("jan EAN-8 letter") << true << "4901X34" << "jan convert error txt (X)" << true;
        QTest::newRow("jan full-width digits") << true << "\xEF\xBC\x94\xEF\xBC\x99" "01234567894"
                                               << "jan convert error txt (\xEF\xBC\x94)" << false;
        // clang-format on
    }
    void errors() {
        QFETCH(bool, jan);
        QFETCH(QString, value);
        QFETCH(QString, message);
        set_item(nominal, 3);
        form->error_prefix = "(7) JAN";
        ctx->message = "earlier";
        bool ok = false;
        const QImage image = render(150, 45, [&] {
            ok = jan ? form->jan_b(0, 0, 1, value) == 1 : form->code39_b(0, 0, 1, value);
        });
        QCOMPARE(ok, message.isEmpty());
        QTEST(has_ink(image, image.rect()), "bars_before");
        QCOMPARE(form->error_flag, message.isEmpty() ? 0 : 1);
        if (message.isEmpty()) {
            QCOMPARE(form->error_list.size(), 1);
            return;
        }
        QCOMPARE(ctx->message, message);
        QCOMPARE(form->error_list.mid(1), QStringList{"(7) JAN " + message});
    }

    // Absurd module widths, heights and places: each call returns at once, drawing what
    // fits on the sheet, and nothing at all for a module of 0 or less.
    void hostile_sizes() {
        const std::tuple<float, float, float> rows[] = {
            {0, 25, 15},    {-0.5f, 25, 15},  {1e-6f, 25, 15},   {1000, 25, 15},
            {0.33f, 0, 15}, {0.33f, 25, -20}, {0.33f, 25, 5000}, {1e30f, 1e30f, -1e30f}};
        for (const auto& [module, height, x] : rows) {
            set_item(module);
            item.num1 = x, item.num6 = height;
            const QImage page = render(150, 45, [&] {
                QCOMPARE(form->jan_b(0, 0, 1, "490123456789"), 1);
                QVERIFY(form->code39_b(0, 0, 1, "ABC"));
            });
            if (module <= 0) QVERIFY(!has_ink(page, page.rect()));
        }
        QCOMPARE(form->error_list.size(), 1);
    }

    // Retail sizes through korvan-batch: JAN at 80 % to 200 % of its nominal module and
    // CODE39 with narrow bars of 0.19 to 0.3 mm, one symbol a row of an A4 sheet, as PNG
    // at 300 and 600 dpi and as PDF rasterised by pdftoppm at 300 dpi. Every symbol must
    // decode; at 600 dpi every bar edge lies within a pixel of where zint's pattern puts
    // it, and a JAN's digits stand clear of its bars.
    void retail_sizes() {
        struct symbol_l {
            bool jan;
            float module;
            const char *value, *decoded;
        };
        // C019: C 12 + 1 + 9 = 22, check M; D254: 13 + 11 = 24, O; E300: 14 + 3 = 17, H.
        const symbol_l symbols[] = {{true, 0.264f, "490123456789", "4901234567894"},
                                    {true, 0.33f, "4901234", "49012347"},
                                    {true, 0.5f, "4006381333931", "4006381333931"},
                                    {true, 0.66f, "12345670", "12345670"},
                                    {false, 0.19f, "C019", "C019M"},
                                    {false, 0.254f, "D254", "D254O"},
                                    {false, 0.3f, "E300", "E300H"}};
        const float x = 20;
        QByteArray layout = "PAPER,A4,1\n", data;
        QList<float> tops;
        float y = 10;
        for (const symbol_l& sym : symbols) {
            // JAN heights scale with the module (22.85 mm at 0.33); 12 mm for CODE39.
            const float height = sym.jan ? 22.85f / 0.33f * sym.module : 12;
            layout += QString("%1,,%2,%3,%4,%5%6\n")
                          .arg(sym.jan ? "JAN" : "CODE39")
                          .arg(sym.module)
                          .arg(height)
                          .arg(x)
                          .arg(y)
                          .arg(sym.jan ? "" : ",3,0,0")
                          .toUtf8();
            data += QByteArray(sym.value) + (&sym == &symbols[6] ? "\n" : "\t");
            tops << y;
            y += height + 12;
        }
        put(dir, "sizes.csv", layout);
        put(dir, "sizes.tsv", data);
        const QString batch = KORVAN_BINARY_DIR "/bin/korvan-batch";
        const QStringList files{dir.filePath("sizes.tsv"), dir.filePath("sizes.csv")};
        QStringList pages;
        for (const char* dpi : {"300", "600"}) {
            const QString out = dir.filePath(QString("png") + dpi);
            QCOMPARE(run_tool(batch, QStringList{"--png", out, "--dpi", dpi} + files).status, 0);
            pages << out + "/page-00001.png";
        }
        QCOMPARE(run_tool(batch, QStringList{"--pdf", dir.filePath("sizes.pdf")} + files).status,
                 0);
        // The PDF holds each legend as text, in symbol order.
        const QString text =
            QString(run_tool("pdftotext", {"-raw", dir.filePath("sizes.pdf"), "-"}).out)
                .remove(QRegularExpression("\\s"));
        QCOMPARE(text, QString("490123456789449012347400638133393112345670*C019M**D254O**E300H*"));
        QCOMPARE(run_tool("pdftoppm", {"-r", "300", "-png", "-singlefile",
                                       dir.filePath("sizes.pdf"), dir.filePath("pdf300")})
                     .status,
                 0);
        pages << dir.filePath("pdf300.png");

        QStringList expected;
        for (const symbol_l& sym : symbols)
            expected << sym.decoded;
        expected.sort();
        for (const QString& page : pages) {
            QStringList decoded = QString(run_tool("zbarimg", {"--raw", "-q", page}).out)
                                      .split('\n', Qt::SkipEmptyParts);
            decoded.sort();
            QVERIFY2(decoded == expected, qPrintable(page + ": " + decoded.join(' ')));
        }

        QImageReader::setAllocationLimit(256); // MB: an A4 sheet at 600 dpi is 140
        const QImage image(pages.at(1));
        const double px = device_factor * 600 / 72; // pixels a millimetre
        for (int i = 0; i < 7; ++i) {
            const symbol_l& sym = symbols[i];
            // zint's pattern as element widths in modules; CODE39's wide elements are 2.5.
            QList<int> pattern = sym.jan ? zint_runs({"-b", "14", "-d", sym.decoded})
                                         : zint_runs({"-b", "8", "-d", sym.decoded});
            const QString wn = wide_narrow(pattern, 1);
            QList<double> edges{x * px};
            for (int k = 0; k < pattern.size(); ++k)
                edges << edges.last() + (sym.jan        ? pattern[k]
                                         : wn[k] == 'W' ? 2.5
                                                        : 1) *
                                            sym.module * px;
            const int row = int((tops[i] + 3) * px);
            QList<double> measured;
            for (int x = 1; x < image.width(); ++x)
                if ((qGray(image.pixel(x, row)) < 128) != (qGray(image.pixel(x - 1, row)) < 128))
                    measured << x;
            QCOMPARE(measured.size(), edges.size());
            for (int k = 0; k < edges.size(); ++k)
                QVERIFY2(qAbs(measured[k] - edges[k]) <= 1,
                         qPrintable(QString("%1 edge %2 at %3 px, expected %4")
                                        .arg(sym.decoded)
                                        .arg(k)
                                        .arg(measured[k])
                                        .arg(edges[k])));
            if (!sym.jan) continue;

            // The bars as rectangles, data bars 7.5 modules shorter than the guards; a
            // dark pixel outside every bar (grown by a pixel) must be a digit: in the band
            // below the data bars and at least two pixels from any bar.
            const double top = tops[i] * px, guard = (tops[i] + 22.85 / 0.33 * sym.module) * px;
            const double band = guard - 7.5 * sym.module * px;
            const qsizetype n = pattern.size();
            const qsizetype guard_runs[] = {0, 2, n / 2 - 1, n / 2 + 1, n - 3, n - 1};
            QList<QRectF> bars;
            for (qsizetype k = 0; k < n; k += 2) {
                const bool is_guard = std::find(std::begin(guard_runs), std::end(guard_runs), k) !=
                                      std::end(guard_runs);
                bars << QRectF(QPointF(edges[k], top),
                               QPointF(edges[k + 1], is_guard ? guard : band));
            }
            const QRect area = QRectF(QPointF(edges.first() - 8 * sym.module * px, top),
                                      QPointF(edges.last() + px, guard + 2 * px))
                                   .toAlignedRect();
            int digit_pixels = 0;
            for (int py = area.top(); py <= area.bottom(); ++py)
                for (int px_ = area.left(); px_ <= area.right(); ++px_) {
                    if (qGray(image.pixel(px_, py)) >= 128) continue;
                    const QPointF p(px_ + 0.5, py + 0.5);
                    double distance = 1e9;
                    for (const QRectF& bar : bars)
                        distance =
                            qMin(distance, qMax(qMax(bar.left() - p.x(), p.x() - bar.right()),
                                                qMax(bar.top() - p.y(), p.y() - bar.bottom())));
                    if (distance <= 1) continue; // a bar's own pixel
                    QVERIFY2(
                        distance >= 2 && p.y() > band && p.y() < guard + 1,
                        qPrintable(
                            QString("%1: stray pixel %2,%3").arg(sym.decoded).arg(px_).arg(py)));
                    ++digit_pixels;
                }
            QVERIFY(digit_pixels > 0);
        }
    }

    // The picture keeps its own pixel size, one pixel a device unit, with its corner at
    // (x1, y1) truncated to whole units, whatever x2 and y2 say. The frame is turned
    // round when drawn right to left, unless x1 is 0.
    void image_frame() {
        // x1, x2 (= y2), the picture's left pixel, the frame's left and right.
        const std::tuple<float, float, int, float, float> rows[] = {
            {10, 0, 28, 0, 10}, {10, 50, 28, 10, 50}, {10, 5, 28, 5, 10}, {0, -5, 0, 0, -5}};
        QImage picture(12, 8, QImage::Format_RGB32);
        picture.fill(QColor(200, 0, 0));
        const QString path = dir.filePath("red.png");
        QVERIFY(picture.save(path));
        for (const auto& [x1, x2, corner_x, frame_left, frame_right] : rows) {
            item = qx_print_l();
            item.num1 = x1, item.num2 = 20, item.num3 = x2, item.num4 = x2;
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
    }

    // The reader goes by the contents, not the name; a file it cannot read (damaged, or
    // too large to hold) draws nothing and says nothing, not even through Qt's log.
    void image_files() {
        QImage picture(40, 40, QImage::Format_RGB32);
        picture.fill(QColor(0, 0, 160));
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        picture.save(&buffer, "PNG");
        item = qx_print_l();
        item.num1 = item.num2 = 10;
        for (const char* format : {"PNG", "JPG", "BMP"}) {
            const QString path = dir.filePath("picture");
            QVERIFY(picture.save(path, format));
            const QImage page = render(
                40, 40, [&] { form->image_b(0, 0, 1, path); }, 72);
            const QColor centre = page.pixelColor(28 + 20, 28 + 20);
            QVERIFY2(centre.blue() > 140 && centre.red() < 20 && centre.green() < 20, format);
            QCOMPARE(page.pixelColor(27, 40), QColor(Qt::white));
        }
        // A PNG header that claims 30000 x 30000 pixels: 3.6 GB once loaded.
        QByteArray huge = png.left(33);
        qToBigEndian<quint32>(30000, huge.data() + 16);
        qToBigEndian<quint32>(30000, huge.data() + 20);
        quint32 crc = 0xFFFFFFFF; // the chunk's CRC-32, over its type and data
        for (const char byte : huge.mid(12, 17)) {
            crc ^= quint8(byte);
            for (int bit = 0; bit < 8; ++bit)
                crc = (crc >> 1) ^ (crc & 1 ? 0xEDB88320 : 0);
        }
        qToBigEndian<quint32>(~crc, huge.data() + 29);
        const std::pair<const char*, QByteArray> bad[] = {{"cut.png", png.left(png.size() / 2)},
                                                          {"huge.png", huge + png.mid(33)},
                                                          {"text.png", "not a picture\n"},
                                                          {"empty.png", ""},
                                                          {"missing.png", "-"},
                                                          {"", "-"}};
        static QStringList logged;
        for (const auto& [name, contents] : bad) {
            const QString path = *name ? dir.filePath(name) : QString();
            if (contents != "-") put(dir, name, contents);
            ctx->message = "earlier";
            logged.clear();
            const QtMessageHandler test_handler = qInstallMessageHandler(
                [](QtMsgType, const QMessageLogContext&, const QString& text) { logged << text; });
            const QImage page = render(60, 60, [&] { QVERIFY(form->image_b(0, 0, 1, path)); });
            qInstallMessageHandler(test_handler);
            QVERIFY2(!has_ink(page, page.rect()), name);
            QCOMPARE(ctx->message, QStringLiteral("earlier"));
            QCOMPARE(form->error_list.size(), 1);
            QCOMPARE(logged, QStringList());
        }
    }
};

QTEST_MAIN(test_barcode)
#include "test_barcode.moc"
