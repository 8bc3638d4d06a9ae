// The output side: paper names, the preview window's keys and page walk, the error
// screen, and printing through the print dialog (answered by the test, into a PDF).
#include "core/qx_z.h"
#include "output/korvan.h"

#include <QApplication>
#include <QPrintDialog>
#include <QPrinter>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <memory>
#include <vector>

namespace {

constexpr double mm_to_pt = 72.0 / 25.4;

// A run of the program inside the test: its context made from a command line, and the
// window, which does the whole set-up in its constructor.
struct run_l {
    std::vector<QByteArray> words;
    std::vector<char*> argv;
    std::unique_ptr<qx_z_l> ctx;
    std::unique_ptr<korvan_l> window;

    explicit run_l(const QStringList& command_line) {
        words.push_back("korvan");
        for (const QString& w : command_line)
            words.push_back(w.toLocal8Bit());
        for (QByteArray& w : words)
            argv.push_back(w.data());
        ctx = std::make_unique<qx_z_l>(QStringLiteral("KORVAN"), int(argv.size()), argv.data());
        window = std::make_unique<korvan_l>(ctx.get());
    }
    korvan_l* w() { return window.get(); }
};

// Answers every print dialog that opens: cancels it, or accepts it with the output
// going into a PDF file. Counts the dialogs it saw.
class dialog_answer_l : public QObject {
public:
    explicit dialog_answer_l(const QString& pdf_file = QString()) : pdf(pdf_file) {
        connect(&timer, &QTimer::timeout, this, [this] { poll_v(); });
        timer.start(10);
    }
    int shown = 0;

private:
    void poll_v() {
        auto* dialog = qobject_cast<QPrintDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible()) return;
        ++shown;
        if (pdf.isEmpty()) {
            dialog->reject();
            return;
        }
        dialog->printer()->setOutputFormat(QPrinter::PdfFormat);
        dialog->printer()->setOutputFileName(pdf);
        dialog->done(QDialog::Accepted);
    }
    QString pdf;
    QTimer timer;
};

QString write_file(const QTemporaryDir& dir, const QString& name, const QByteArray& text) {
    const QString path = dir.filePath(name);
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly)) return QString();
    f.write(text);
    return path;
}

// A form with a box and `fields` data fields on one sheet.
QByteArray form_layout(const QByteArray& paper = "PAPER,A4,1", int fields = 1) {
    QByteArray text = paper + "\nLINE_SET,L,0.3,0\nBOX,L,10,10,110,60\n";
    for (int i = 0; i < fields; ++i)
        text += "DATA,,," + QByteArray::number(20 + 30 * i) + ",20,10,\n";
    return text;
}

QByteArray lines(int n) {
    QByteArray text;
    for (int i = 1; i <= n; ++i)
        text += "value" + QByteArray::number(i) + "\n";
    return text;
}

struct pdf_info_l {
    int pages = -1;
    double width = 0, height = 0;
};

pdf_info_l pdf_info(const QString& file) {
    pdf_info_l info;
    QProcess p;
    p.start(QStringLiteral("pdfinfo"), {file});
    if (!p.waitForFinished(30000) || p.exitCode() != 0) return info;
    const QString out = QString::fromUtf8(p.readAllStandardOutput());
    const auto pages = QRegularExpression(QStringLiteral("Pages:\\s+(\\d+)")).match(out);
    if (pages.hasMatch()) info.pages = pages.captured(1).toInt();
    const auto size =
        QRegularExpression(QStringLiteral("Page size:\\s+([\\d.]+) x ([\\d.]+) pts")).match(out);
    if (size.hasMatch()) {
        info.width = size.captured(1).toDouble();
        info.height = size.captured(2).toDouble();
    }
    return info;
}

bool is_pink(QRgb c) {
    return qRed(c) == 255 && qGreen(c) == 128 && qBlue(c) == 192;
}

// The lowest row of the image that holds a dark pixel, -1 when there is none.
int lowest_dark_row(const QImage& image) {
    for (int y = image.height() - 1; y >= 0; --y)
        for (int x = 0; x < image.width(); ++x)
            if (qGray(image.pixel(x, y)) < 100) return y;
    return -1;
}

void show_and_paint(korvan_l* w) {
    QVERIFY(QTest::qWaitForWindowExposed(w));
    w->repaint();
}

} // namespace

class test_output : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void paper_names_data();
    void paper_names();
    void paper_dimensions_data();
    void paper_dimensions();
    void move_and_zoom_keys_data();
    void move_and_zoom_keys();
    void delete_stops_near_a_third();
    void enter_walks_the_pages_data();
    void enter_walks_the_pages();
    void window_title();
    void error_screen_lists_every_line();
    void print_run_data();
    void print_run();
    void print_run_stops_at_a_page_ending_inside_a_line();
    void cancelled_print_run_shows_the_error_screen();
    void p_key_prints_the_page_shown_data();
    void p_key_prints_the_page_shown();
    void cancelled_test_print_changes_nothing();
    void unwritable_print_file_is_an_error();
    void no_display();

private:
    QTemporaryDir dir;
};

void test_output::initTestCase() {
    QVERIFY(dir.isValid());
    // No print queue of the machine takes part: the dialogs here print to PDF files.
    qputenv("CUPS_SERVER", dir.filePath(QStringLiteral("no-cups.sock")).toLocal8Bit());
}

void test_output::paper_names_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("id");
    const auto row = [](const char* tag, const QString& name, QPageSize::PageSizeId id) {
        QTest::newRow(tag) << name << int(id);
    };
    row("a4 lower case", QStringLiteral("a4"), QPageSize::A4);
    row("iso_a4 lower case", QStringLiteral("iso_a4"), QPageSize::A4);
    row("B5 is JIS", QStringLiteral("B5"), QPageSize::JisB5);
    row("ISO_B5", QStringLiteral("ISO_B5"), QPageSize::B5);
    row("ISO_B10", QStringLiteral("ISO_B10"), QPageSize::B10);
    row("A10", QStringLiteral("A10"), QPageSize::A10);
    row("B10 is JIS", QStringLiteral("B10"), QPageSize::JisB10);
    row("A is letter", QStringLiteral("A"), QPageSize::Letter);
    row("B is ledger", QStringLiteral("B"), QPageSize::Ledger);
    row("E is the D sheet", QStringLiteral("E"), QPageSize::AnsiD);
    row("LEDGER with its blank", QStringLiteral("LEDGER "), QPageSize::Ledger);
    row("LEDGER without blank", QStringLiteral("LEDGER"), QPageSize::Custom);
    row("C0 envelope", QStringLiteral("C0"), QPageSize::EnvelopeC0);
    row("C5", QStringLiteral("C5"), QPageSize::C5E);
    row("postcard", QStringLiteral("はがき"), QPageSize::Postcard);
    row("JAPANESE_POSTCARD", QStringLiteral("japanese_postcard"), QPageSize::Postcard);
    row("double postcard", QStringLiteral("往復はがき"), QPageSize::DoublePostcard);
    row("NA_LEGAL", QStringLiteral("NA_LEGAL"), QPageSize::Legal);
    row("NA_LETTER", QStringLiteral("NA_LETTER"), QPageSize::Letter);
    row("NA_NUMBER_10_ENVELOPE", QStringLiteral("NA_NUMBER_10_ENVELOPE"), QPageSize::Comm10E);
    row("NA_NUMBER_9_ENVELOPE", QStringLiteral("NA_NUMBER_9_ENVELOPE"), QPageSize::Envelope9);
    row("INVOICE accepted without a size", QStringLiteral("INVOICE"), QPageSize::Custom);
    row("NA_5X7 accepted without a size", QStringLiteral("NA_5X7"), QPageSize::Custom);
    row("ISO_DESIGNATED_LONG", QStringLiteral("ISO_DESIGNATED_LONG"), QPageSize::Custom);
    row("unknown name", QStringLiteral("POSTER"), QPageSize::Custom);
    row("trailing blank", QStringLiteral("A4 "), QPageSize::Custom);
    row("A11 does not exist", QStringLiteral("A11"), QPageSize::Custom);
    row("empty", QString(), QPageSize::Custom);
}

void test_output::paper_names() {
    QFETCH(QString, name);
    QFETCH(int, id);
    char arg0[] = "korvan";
    char* argv[] = {arg0};
    qx_z_l ctx(QStringLiteral("KORVAN"), 1, argv);
    form_l form(&ctx);
    form.found = 0;
    const QPageSize size = form.media_size_n(name);
    QCOMPARE(int(size.id()), id);
    // No name is ever reported as missing.
    QCOMPARE(form.found, 1);
    // A name without a size of its own must not give the printer one.
    if (id == QPageSize::Custom) QVERIFY(!size.isValid());
}

void test_output::paper_dimensions_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<double>("width_mm");
    QTest::addColumn<double>("height_mm");
    QTest::newRow("JIS B5") << QStringLiteral("B5") << 182.0 << 257.0;
    QTest::newRow("ISO B5") << QStringLiteral("ISO_B5") << 176.0 << 250.0;
    QTest::newRow("postcard") << QStringLiteral("はがき") << 100.0 << 148.0;
    QTest::newRow("double postcard") << QStringLiteral("往復はがき") << 200.0 << 148.0;
}

void test_output::paper_dimensions() {
    QFETCH(QString, name);
    QFETCH(double, width_mm);
    QFETCH(double, height_mm);
    char arg0[] = "korvan";
    char* argv[] = {arg0};
    qx_z_l ctx(QStringLiteral("KORVAN"), 1, argv);
    form_l form(&ctx);
    const QSizeF size = form.media_size_n(name).size(QPageSize::Millimeter);
    QVERIFY2(qAbs(size.width() - width_mm) < 0.5 && qAbs(size.height() - height_mm) < 0.5,
             qPrintable(QStringLiteral("%1 x %2 mm").arg(size.width()).arg(size.height())));
}

void test_output::move_and_zoom_keys_data() {
    QTest::addColumn<float>("zoom");
    QTest::addColumn<float>("x");
    QTest::addColumn<float>("y");
    QTest::addColumn<QList<int>>("keys");
    QTest::addColumn<float>("new_zoom");
    QTest::addColumn<float>("new_x");
    QTest::addColumn<float>("new_y");
    QTest::addColumn<bool>("home");

    // One key press moves 10 mm of page divided by the zoom.
    QTest::newRow("down at zoom 2")
        << 2.0f << 0.0f << 0.0f << QList<int>{Qt::Key_Down} << 2.0f << 0.0f << -5.0f << false;
    QTest::newRow("down then up at zoom 2")
        << 2.0f << 0.0f << 0.0f << QList<int>{Qt::Key_Down, Qt::Key_Up} << 2.0f << 0.0f << 0.0f
        << false;
    QTest::newRow("down has no limit") << 1.0f << 0.0f << -1000.0f << QList<int>{Qt::Key_Down}
                                       << 1.0f << 0.0f << -1010.0f << false;
    QTest::newRow("up at the top")
        << 1.0f << 0.0f << 0.0f << QList<int>{Qt::Key_Up} << 1.0f << 0.0f << 0.0f << false;
    QTest::newRow("up from -5 passes 0 once")
        << 1.0f << 0.0f << -5.0f << QList<int>{Qt::Key_Up, Qt::Key_Up} << 1.0f << 0.0f << 5.0f
        << false;
    QTest::newRow("right at zoom 0.5")
        << 0.5f << 0.0f << 0.0f << QList<int>{Qt::Key_Right} << 0.5f << -20.0f << 0.0f << false;
    QTest::newRow("left at the left edge")
        << 1.0f << 0.0f << 0.0f << QList<int>{Qt::Key_Left} << 1.0f << 0.0f << 0.0f << false;
    QTest::newRow("right right left")
        << 1.0f << 0.0f << 0.0f << QList<int>{Qt::Key_Right, Qt::Key_Right, Qt::Key_Left} << 1.0f
        << -10.0f << 0.0f << false;
    QTest::newRow("left from -4 at zoom 4 passes 0 once")
        << 4.0f << -4.0f << 0.0f << QList<int>{Qt::Key_Left, Qt::Key_Left, Qt::Key_Left} << 4.0f
        << 1.0f << 0.0f << false;
    QTest::newRow("home keeps the horizontal shift")
        << 1.5f << -20.0f << -10.0f << QList<int>{Qt::Key_Home} << 1.0f << -20.0f << 0.0f << true;
    QTest::newRow("end resets the zoom only")
        << 1.7f << -3.0f << -4.0f << QList<int>{Qt::Key_End} << 1.0f << -3.0f << -4.0f << false;
    QTest::newRow("insert") << 1.0f << 0.0f << 0.0f << QList<int>{Qt::Key_Insert} << 1.1f << 0.0f
                            << 0.0f << false;
    QTest::newRow("insert has no limit")
        << 9.95f << 0.0f << 0.0f << QList<int>{Qt::Key_Insert} << 10.05f << 0.0f << 0.0f << false;
    QTest::newRow("delete above 0.3")
        << 0.35f << 0.0f << 0.0f << QList<int>{Qt::Key_Delete} << 0.25f << 0.0f << 0.0f << false;
    QTest::newRow("delete at 0.3")
        << 0.3f << 0.0f << 0.0f << QList<int>{Qt::Key_Delete} << 0.3f << 0.0f << 0.0f << false;
    // Keys of no row: letters, function keys (whose code has a letter's low bits), the
    // volume key whose low bits are "p".
    QTest::newRow("other keys") << 1.2f << -1.0f << -2.0f
                                << QList<int>{Qt::Key_A,          Qt::Key_Q,
                                              Qt::Key_F1,         Qt::Key_Space,
                                              Qt::Key_Tab,        Qt::Key_PageDown,
                                              Qt::Key_VolumeDown, Qt::Key_Backspace}
                                << 1.2f << -1.0f << -2.0f << false;
}

void test_output::move_and_zoom_keys() {
    QFETCH(float, zoom);
    QFETCH(float, x);
    QFETCH(float, y);
    QFETCH(QList<int>, keys);
    QFETCH(float, new_zoom);
    QFETCH(float, new_x);
    QFETCH(float, new_y);
    QFETCH(bool, home);

    const QString layout = write_file(dir, QStringLiteral("keys.csv"), form_layout());
    const QString data = write_file(dir, QStringLiteral("keys.txt"), lines(3));
    dialog_answer_l dialogs;
    run_l run({QStringLiteral("TEST"), data, layout});
    korvan_l* w = run.w();
    show_and_paint(w);
    w->zoom = zoom;
    w->x_offset = x;
    w->y_offset = y;
    w->occurs_shift = 7.0f;
    const int page = w->current_page;

    for (int key : keys)
        QTest::keyClick(w, Qt::Key(key));

    QVERIFY2(qAbs(w->zoom - new_zoom) < 1e-5f, qPrintable(QString::number(w->zoom)));
    QVERIFY2(qAbs(w->x_offset - new_x) < 1e-4f, qPrintable(QString::number(w->x_offset)));
    QVERIFY2(qAbs(w->y_offset - new_y) < 1e-4f, qPrintable(QString::number(w->y_offset)));
    QCOMPARE(w->occurs_shift, home ? 0.0f : 7.0f);
    QCOMPARE(w->current_page, page);
    QVERIFY(w->isVisible());
    QCOMPARE(dialogs.shown, 0);
    QCOMPARE(w->error_flag, 0);
}

void test_output::delete_stops_near_a_third() {
    const QString layout = write_file(dir, QStringLiteral("del.csv"), form_layout());
    const QString data = write_file(dir, QStringLiteral("del.txt"), lines(1));
    run_l run({QStringLiteral("TEST"), data, layout});
    korvan_l* w = run.w();
    show_and_paint(w);
    for (int k = 1; k <= 7; ++k) {
        QTest::keyClick(w, Qt::Key_Delete);
        QVERIFY2(qAbs(w->zoom - (1.0f - 0.1f * float(k))) < 1e-5f,
                 qPrintable(QString::number(k) + QLatin1Char(' ') + QString::number(w->zoom)));
    }
    // Seven steps of 0.1 in single precision end just below 0.3: the eighth is refused.
    const float after_seven = w->zoom;
    QVERIFY(after_seven < 0.3f);
    QTest::keyClick(w, Qt::Key_Delete);
    QCOMPARE(w->zoom, after_seven);

    // The exact return to 0: Down then Up at zoom 2.0.
    w->zoom = 2.0f;
    QTest::keyClick(w, Qt::Key_Down);
    QCOMPARE(w->y_offset, -5.0f);
    QTest::keyClick(w, Qt::Key_Up);
    QCOMPARE(w->y_offset, 0.0f);
}

void test_output::enter_walks_the_pages_data() {
    QTest::addColumn<QString>("mode");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end");
    QTest::addColumn<int>("data_lines");
    QTest::addColumn<QList<int>>("pages");

    // Pages of one value on one line each. The first number is the page shown at start,
    // then one per Enter.
    QTest::newRow("end page 3 from 2")
        << QStringLiteral("TEST") << 2 << 3 << 5 << QList<int>{2, 3, 2, 3, 2};
    QTest::newRow("end page equal to start")
        << QStringLiteral("TEST") << 2 << 2 << 5 << QList<int>{2, 2, 2};
    QTest::newRow("data runs out")
        << QStringLiteral("DISPLAY") << 1 << 0 << 3 << QList<int>{1, 2, 3, 1, 2, 3, 1};
    QTest::newRow("data runs out from page 2")
        << QStringLiteral("TEST") << 2 << 0 << 3 << QList<int>{2, 3, 2, 3};
    QTest::newRow("single page") << QStringLiteral("TEST") << 1 << 0 << 1 << QList<int>{1, 1, 1};
    QTest::newRow("test data") << QStringLiteral("TEST_DATA") << 1 << 0 << 0 << QList<int>{1, 1, 1};
    QTest::newRow("test data from page 4")
        << QStringLiteral("DATA") << 4 << 9 << 0 << QList<int>{4, 4, 4};
}

void test_output::enter_walks_the_pages() {
    QFETCH(QString, mode);
    QFETCH(int, start);
    QFETCH(int, end);
    QFETCH(int, data_lines);
    QFETCH(QList<int>, pages);

    const QString layout = write_file(dir, QStringLiteral("walk.csv"), form_layout());
    const QString data = write_file(dir, QStringLiteral("walk.txt"), lines(data_lines));
    run_l run({mode, data, layout, QString::number(start), QString::number(end)});
    korvan_l* w = run.w();
    show_and_paint(w);
    QCOMPARE(w->error_flag, 0);
    for (int i = 0; i < pages.size(); ++i) {
        if (i > 0) QTest::keyClick(w, i % 2 ? Qt::Key_Enter : Qt::Key_Return);
        QCOMPARE(w->current_page, pages.at(i));
        QVERIFY(w->windowTitle().endsWith(QStringLiteral(" PAGE(") + QString::number(pages.at(i)) +
                                          QLatin1Char(')')));
    }
    QCOMPARE(w->error_flag, 0);
}

void test_output::window_title() {
    const QString layout = write_file(dir, QStringLiteral("title.csv"), form_layout("PAPER,B5,2"));
    const QString data = write_file(dir, QStringLiteral("title.txt"), lines(4));
    run_l run({QStringLiteral("TEST"), data, layout, QStringLiteral("3")});
    korvan_l* w = run.w();
    show_and_paint(w);
    const QString head = QStringLiteral("KORVAN VERSION(") + run.ctx->version_label +
                         QStringLiteral(") PAPER(B5,2) DATA(1,1) PAGE(");
    QCOMPARE(w->windowTitle(), head + QStringLiteral("3)"));
    QTest::keyClick(w, Qt::Key_Enter);
    QCOMPARE(w->windowTitle(), head + QStringLiteral("4)"));
}

void test_output::error_screen_lists_every_line() {
    // A layout that cannot be opened is one error, shown at once.
    run_l run({QStringLiteral("TEST"), dir.filePath(QStringLiteral("none.txt")),
               dir.filePath(QStringLiteral("none.csv"))});
    korvan_l* w = run.w();
    show_and_paint(w);
    QCOMPARE(w->error_flag, 1);
    QCOMPARE(w->error_list.size(), 2);
    QVERIFY(w->error_list.at(1).startsWith(QStringLiteral("レイアウト[2] ")));

    const QImage two = w->grab().toImage();
    QVERIFY(is_pink(two.pixel(1, 1)));
    QVERIFY(is_pink(two.pixel(780, 780)));
    const int bottom_two = lowest_dark_row(two);
    QVERIFY(bottom_two > 0);

    // Every line of the list is drawn, one below the other.
    w->error_list.append(QStringLiteral("(3) BOX Line name (Q) not found"));
    w->error_list.append(QStringLiteral("(4) FOO ?"));
    const QImage four = w->grab().toImage();
    QVERIFY(is_pink(four.pixel(1, 1)));
    QVERIFY2(lowest_dark_row(four) > bottom_two + 20,
             qPrintable(QString::number(lowest_dark_row(four)) + QLatin1Char(' ') +
                        QString::number(bottom_two)));

    // The keys still work on the error screen; Esc closes the window.
    QTest::keyClick(w, Qt::Key_Down);
    QCOMPARE(w->y_offset, -10.0f);
    QTest::keyClick(w, Qt::Key_Escape);
    QVERIFY(!w->isVisible());
}

void test_output::print_run_data() {
    QTest::addColumn<QByteArray>("paper");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end");
    QTest::addColumn<int>("pages");
    QTest::addColumn<double>("width_pt");
    QTest::addColumn<double>("height_pt");

    const double a4w = 210 * mm_to_pt, a4h = 297 * mm_to_pt;
    // Three lines of data, one value per page: three pages unless the range cuts them.
    QTest::newRow("all pages") << QByteArray("PAPER,A4,1") << 1 << 0 << 3 << a4w << a4h;
    QTest::newRow("from page 2") << QByteArray("PAPER,A4,1") << 2 << 0 << 2 << a4w << a4h;
    QTest::newRow("to page 2") << QByteArray("PAPER,A4,1") << 1 << 2 << 2 << a4w << a4h;
    QTest::newRow("one page") << QByteArray("PAPER,A4,1") << 2 << 2 << 1 << a4w << a4h;
    QTest::newRow("landscape") << QByteArray("PAPER,A4,2") << 1 << 0 << 3 << a4h << a4w;
    QTest::newRow("postcard") << QByteArray("PAPER,はがき,1") << 1 << 0 << 3 << 100 * mm_to_pt
                              << 148 * mm_to_pt;
    // A name without a size: the printer's own paper (negative: take the default).
    QTest::newRow("LEDGER keeps the paper")
        << QByteArray("PAPER,LEDGER,1") << 1 << 0 << 3 << -1.0 << -1.0;
}

void test_output::print_run() {
    QFETCH(QByteArray, paper);
    QFETCH(int, start);
    QFETCH(int, end);
    QFETCH(int, pages);
    QFETCH(double, width_pt);
    QFETCH(double, height_pt);
    if (QStandardPaths::findExecutable(QStringLiteral("pdfinfo")).isEmpty())
        QSKIP("pdfinfo (poppler-utils) is not installed");
    if (width_pt < 0) {
        const QSizeF paper_size = QPrinter().pageLayout().fullRectPoints().size();
        width_pt = paper_size.width();
        height_pt = paper_size.height();
    }

    const QString layout = write_file(dir, QStringLiteral("run.csv"), form_layout(paper));
    const QString data = write_file(dir, QStringLiteral("run.txt"), lines(3));
    const QString pdf = dir.filePath(QStringLiteral("run.pdf"));
    QFile::remove(pdf);
    dialog_answer_l dialogs(pdf);
    run_l run(
        {QStringLiteral("PRINT"), data, layout, QString::number(start), QString::number(end)});
    korvan_l* w = run.w();
    QCOMPARE(dialogs.shown, 1);
    QCOMPARE(w->error_flag, 0);
    QCOMPARE(w->finished_flag, 1);
    QCOMPARE(w->printing_flag, 0);

    // A print run takes no keys.
    QTest::keyClick(w, Qt::Key_Down);
    QTest::keyClick(w, Qt::Key_Insert);
    QCOMPARE(w->y_offset, 0.0f);
    QCOMPARE(w->zoom, 1.0f);

    // The next paint closes the window, without a second dialog.
    QTRY_VERIFY(!w->isVisible());
    QTest::qWait(50);
    QCOMPARE(dialogs.shown, 1);

    const pdf_info_l info = pdf_info(pdf);
    QCOMPARE(info.pages, pages);
    // Qt gives page sizes in whole points.
    QVERIFY2(qAbs(info.width - width_pt) < 1.0 && qAbs(info.height - height_pt) < 1.0,
             qPrintable(QStringLiteral("%1 x %2 pt").arg(info.width).arg(info.height)));
}

void test_output::print_run_stops_at_a_page_ending_inside_a_line() {
    if (QStandardPaths::findExecutable(QStringLiteral("pdfinfo")).isEmpty())
        QSKIP("pdfinfo (poppler-utils) is not installed");
    // Two values a page; the first line holds three, so page 2 would start inside it.
    const QString layout = write_file(dir, QStringLiteral("end.csv"), form_layout("PAPER,A4,1", 2));
    const QString data = write_file(dir, QStringLiteral("end.txt"), "a\tb\tc\nd\n");
    const QString pdf = dir.filePath(QStringLiteral("end.pdf"));
    dialog_answer_l dialogs(pdf);
    run_l run({QStringLiteral("PRINT"), data, layout});
    korvan_l* w = run.w();
    QCOMPARE(dialogs.shown, 1);
    QCOMPARE(w->error_flag, 1);
    QCOMPARE(w->finished_flag, 0);
    QCOMPARE(w->error_list.last(), QStringLiteral(" Page End data Count(2) Error"));
    // The page printed before the check, and no blank page after it.
    QCOMPARE(pdf_info(pdf).pages, 1);
    show_and_paint(w);
    QVERIFY(is_pink(w->grab().toImage().pixel(5, 5)));
    QCOMPARE(dialogs.shown, 1);
}

void test_output::cancelled_print_run_shows_the_error_screen() {
    const QString layout = write_file(dir, QStringLiteral("cancel.csv"), form_layout());
    const QString data = write_file(dir, QStringLiteral("cancel.txt"), lines(3));
    dialog_answer_l dialogs;
    run_l run({QStringLiteral("PRINT"), data, layout});
    korvan_l* w = run.w();
    QCOMPARE(dialogs.shown, 1);
    QCOMPARE(w->error_flag, 1);
    QCOMPARE(w->finished_flag, 0);
    // Cancelling adds no line: the banner alone.
    QCOMPARE(w->error_list.size(), 1);

    show_and_paint(w);
    QTest::qWait(100);
    QVERIFY(w->isVisible());
    QVERIFY(is_pink(w->grab().toImage().pixel(5, 5)));
    // The paints did not ask again.
    QCOMPARE(dialogs.shown, 1);

    // On the error screen the keys are live again, Esc ends the run.
    QTest::keyClick(w, Qt::Key_Right);
    QCOMPARE(w->x_offset, -10.0f);
    // P asks for a printer again (to print the error list); cancelled, nothing changes.
    QTest::keyClick(w, Qt::Key_P);
    QCOMPARE(dialogs.shown, 2);
    QCOMPARE(w->error_flag, 1);
    QVERIFY(w->isVisible());
    QTest::keyClick(w, Qt::Key_Escape);
    QVERIFY(!w->isVisible());
}

void test_output::p_key_prints_the_page_shown_data() {
    QTest::addColumn<int>("modifiers");
    QTest::newRow("p") << int(Qt::NoModifier);
    QTest::newRow("shift P") << int(Qt::ShiftModifier);
}

void test_output::p_key_prints_the_page_shown() {
    QFETCH(int, modifiers);
    if (QStandardPaths::findExecutable(QStringLiteral("pdfinfo")).isEmpty())
        QSKIP("pdfinfo (poppler-utils) is not installed");
    const QString layout = write_file(dir, QStringLiteral("p.csv"), form_layout());
    const QString data = write_file(dir, QStringLiteral("p.txt"), lines(3));
    const QString pdf = dir.filePath(QStringLiteral("p.pdf"));
    QFile::remove(pdf);
    run_l run({QStringLiteral("TEST"), data, layout});
    korvan_l* w = run.w();
    show_and_paint(w);
    QTest::keyClick(w, Qt::Key_Enter);
    QCOMPARE(w->current_page, 2);

    dialog_answer_l dialogs(pdf);
    QTest::keyClick(w, Qt::Key_P, Qt::KeyboardModifiers(modifiers));
    QCOMPARE(dialogs.shown, 1);
    QCOMPARE(w->error_flag, 0);
    QCOMPARE(w->current_page, 2);
    QVERIFY(w->isVisible());
    const pdf_info_l info = pdf_info(pdf);
    QCOMPARE(info.pages, 1);
    QVERIFY(qAbs(info.width - 210 * mm_to_pt) < 1.0);

    // A test print marks the page shown as the last one: Enter wraps to the start.
    QCOMPARE(w->last_page_reached, 1);
    QTest::keyClick(w, Qt::Key_Enter);
    QCOMPARE(w->current_page, 1);
    QCOMPARE(w->last_page, 2);
}

void test_output::cancelled_test_print_changes_nothing() {
    const QString layout = write_file(dir, QStringLiteral("pc.csv"), form_layout());
    const QString data = write_file(dir, QStringLiteral("pc.txt"), lines(3));
    run_l run({QStringLiteral("TEST"), data, layout});
    korvan_l* w = run.w();
    show_and_paint(w);
    dialog_answer_l dialogs;
    QTest::keyClick(w, Qt::Key_P);
    QCOMPARE(dialogs.shown, 1);
    QCOMPARE(w->error_flag, 0);
    QCOMPARE(w->last_page_reached, 0);
    QCOMPARE(w->error_list.size(), 1);
    QTest::keyClick(w, Qt::Key_Enter);
    QCOMPARE(w->current_page, 2);
}

void test_output::unwritable_print_file_is_an_error() {
    const QString layout = write_file(dir, QStringLiteral("nf.csv"), form_layout());
    const QString data = write_file(dir, QStringLiteral("nf.txt"), lines(3));
    const QString pdf = dir.filePath(QStringLiteral("no/such/dir/p.pdf"));
    run_l run({QStringLiteral("TEST"), data, layout});
    korvan_l* w = run.w();
    show_and_paint(w);
    dialog_answer_l dialogs(pdf);
    QTest::keyClick(w, Qt::Key_P);
    QCOMPARE(dialogs.shown, 1);
    QCOMPARE(w->error_flag, 1);
    QCOMPARE(w->printing_flag, 0);
    QCOMPARE(w->error_list.last(),
             QStringLiteral(" Printer (") + pdf + QStringLiteral(") not ready"));
    QVERIFY(is_pink(w->grab().toImage().pixel(5, 5)));
}

void test_output::no_display() {
    // Without a display a window cannot be made: one line on standard error, status 1.
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("DISPLAY"));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    p.setProcessEnvironment(env);
    p.start(QStringLiteral(KORVAN_BINARY_DIR "/bin/korvan"),
            {QStringLiteral("TEST"), dir.filePath(QStringLiteral("none.txt")),
             dir.filePath(QStringLiteral("none.csv"))});
    QVERIFY(p.waitForFinished(30000));
    QCOMPARE(p.exitStatus(), QProcess::NormalExit);
    QCOMPARE(p.exitCode(), 1);
    QCOMPARE(p.readAllStandardError(), QByteArray("korvan: no display available\n"));
    QCOMPARE(p.readAllStandardOutput(), QByteArray());
}

QTEST_MAIN(test_output)
#include "test_output.moc"
