// The output side: paper names, the scanned background, the preview window's keys and
// page walk, the error screen, and printing through the print dialog (answered by the
// test, into a PDF).
#include "output/background.h"
#include "output/korvan.h"
#include "support.h"

#include <QApplication>
#include <QPrintDialog>
#include <QPrinter>
#include <QRegularExpression>
#include <QTimer>

namespace {

using run_l = session_l<korvan_l>; // the window does the whole set-up in its constructor

// Answers every print dialog that opens: cancels it, or accepts it with the output going
// into a PDF file. Counts the dialogs it saw.
class dialog_answer_l : public QObject {
public:
    explicit dialog_answer_l(const QString& pdf_file = QString()) : pdf(pdf_file) {
        connect(&timer, &QTimer::timeout, this, [this] {
            auto* dialog = qobject_cast<QPrintDialog*>(QApplication::activeModalWidget());
            if (!dialog || !dialog->isVisible()) return;
            ++shown;
            if (pdf.isEmpty()) return dialog->reject();
            dialog->printer()->setOutputFormat(QPrinter::PdfFormat);
            dialog->printer()->setOutputFileName(pdf);
            dialog->done(QDialog::Accepted);
        });
        timer.start(10);
    }
    int shown = 0;

private:
    QString pdf;
    QTimer timer;
};

// The page count and size in points of a PDF, as pdfinfo reads it.
QList<double> pdf_info(const QString& file) {
    const QString out = run_tool("pdfinfo", {file}).out;
    const auto m = QRegularExpression("Pages:\\s+(\\d+).*Page size:\\s+([\\d.]+) x ([\\d.]+) pts",
                                      QRegularExpression::DotMatchesEverythingOption)
                       .match(out);
    return m.hasMatch() ? QList<double>{m.captured(1).toDouble(), m.captured(2).toDouble(),
                                        m.captured(3).toDouble()}
                        : QList<double>{-1, 0, 0};
}

bool is_pink(const QImage& image, int x = 5, int y = 5) {
    return image.pixel(x, y) == qRgb(255, 128, 192);
}

} // namespace

class test_output : public QObject {
    Q_OBJECT

    QTemporaryDir dir;

    // A run on a form with a box and `fields` data fields a sheet, and `n` lines of data.
    std::unique_ptr<run_l> run(const QString& mode, int n, const QStringList& pages = {},
                               const QByteArray& paper = "PAPER,A4,1", int fields = 1,
                               const QByteArray& data = {}) {
        QByteArray layout = paper + "\nLINE_SET,L,0.3,0\nBOX,L,10,10,110,60\n", lines = data;
        for (int i = 0; i < fields; ++i)
            layout += "DATA,,," + QByteArray::number(20 + 30 * i) + ",20,10,\n";
        for (int i = 1; i <= n; ++i)
            lines += "value" + QByteArray::number(i) + "\n";
        return std::make_unique<run_l>(
            QStringList{mode, put(dir, "form.txt", lines), put(dir, "form.csv", layout)} + pages);
    }
    static korvan_l* shown(run_l& r) {
        if (!QTest::qWaitForWindowExposed(r.form.get())) return nullptr;
        r->repaint();
        return r.form.get();
    }

private slots:
    void initTestCase() {
        QVERIFY(dir.isValid());
        // No print queue of the machine takes part: the dialogs here print to PDF files.
        qputenv("CUPS_SERVER", dir.filePath("no-cups.sock").toLocal8Bit());
    }

    // Every name is found; one without a size of its own gives the printer none.
    void paper_names() {
        const std::pair<const char*, QPageSize::PageSizeId> rows[] = {
            {"a4", QPageSize::A4},           {"B5", QPageSize::JisB5},
            {"ISO_B5", QPageSize::B5},       {"B", QPageSize::Ledger},
            {"E", QPageSize::AnsiD},         {"LEDGER ", QPageSize::Ledger},
            {"LEDGER", QPageSize::Custom},   {"C5", QPageSize::C5E},
            {"はがき", QPageSize::Postcard}, {"A4 ", QPageSize::Custom},
            {"POSTER", QPageSize::Custom}};
        session_l<> s;
        for (const auto& [name, id] : rows) {
            s->found = 0;
            const QPageSize size = s->media_size_n(name);
            QVERIFY2(size.id() == id, name);
            QCOMPARE(s->found, 1);
            if (id == QPageSize::Custom) QVERIFY(!size.isValid());
        }
    }

    // The scanned background: its size on the sheet from its own resolution or the one
    // given, and a line saying why when it cannot be used. A file that states no
    // resolution: a 1 x 1 white PNG without a pHYs chunk.
    void background_data() {
        QTest::addColumn<QByteArray>("file"); // "stated": 420 x 594 px at 2000 dots a metre
        QTest::addColumn<double>("dpi");
        QTest::addColumn<QSizeF>("mm"); // empty: refused
        QTest::addColumn<QString>("problem");
        const QByteArray none = QByteArray::fromHex(
            "89504e470d0a1a0a0000000d49484452000000010000000108000000003a7e9b550000000a494441"
            "54789c63f80f0001010100b138f6140000000049454e44ae426082");
        QTest::newRow("stated") << QByteArray("stated") << 0.0 << QSizeF(210, 297) << "";
        QTest::newRow("given over stated")
            << QByteArray("stated") << 254.0 << QSizeF(42, 59.4) << "";
        QTest::newRow("none stated") << none << 0.0 << QSizeF() << ": its resolution is not known";
        QTest::newRow("none stated, given") << none << 25.4 << QSizeF(1, 1) << "";
        QTest::newRow("not an image")
            << QByteArray("PAPER,A4,1\n") << 300.0 << QSizeF() << ": not an image";
        QTest::newRow("missing") << QByteArray() << 300.0 << QSizeF() << ": no such file";
    }
    void background() {
        QFETCH(QByteArray, file);
        QFETCH(double, dpi);
        QFETCH(QSizeF, mm);
        QFETCH(QString, problem);
        const QString path = dir.filePath("stock.png");
        QFile::remove(path);
        if (file == "stated") {
            QImage image(420, 594, QImage::Format_RGB32);
            image.fill(Qt::white);
            image.setDotsPerMeterX(2000), image.setDotsPerMeterY(2000);
            QVERIFY(image.save(path));
        } else if (!file.isEmpty()) {
            put(dir, "stock.png", file);
        }
        background_l b;
        QCOMPARE(b.load_b(path, dpi), !mm.isEmpty());
        QCOMPARE(b.empty(), mm.isEmpty());
        QVERIFY2(qAbs(b.size_mm.width() - mm.width()) < 1e-9 &&
                     qAbs(b.size_mm.height() - mm.height()) < 1e-9,
                 qPrintable(QString("%1 x %2 mm").arg(b.size_mm.width()).arg(b.size_mm.height())));
        QVERIFY2(problem.isEmpty() ? b.problem.isEmpty()
                                   : b.problem.startsWith("background " + path + problem),
                 qPrintable(b.problem));
    }

    // One key press moves 10 mm of page divided by the zoom; Up and Left only move back
    // while the page is shifted.
    void move_and_zoom_keys_data() {
        QTest::addColumn<QList<float>>("before"); // zoom, x, y
        QTest::addColumn<QList<int>>("keys");
        QTest::addColumn<QList<float>>("after");
        QTest::addColumn<bool>("home");
        const auto row = [](const char* tag, QList<float> before, QList<int> keys,
                            QList<float> after, bool home = false) {
            QTest::newRow(tag) << before << keys << after << home;
        };
        // clang-format off
        row("down has no limit", {1, 0, -1000}, {Qt::Key_Down}, {1, 0, -1010});
        row("up at the top", {1, 0, 0}, {Qt::Key_Up}, {1, 0, 0});
        row("up from -5 passes 0 once", {1, 0, -5}, {Qt::Key_Up, Qt::Key_Up}, {1, 0, 5});
        row("right at zoom 0.5", {0.5, 0, 0}, {Qt::Key_Right}, {0.5, -20, 0});
        row("left at the left edge", {1, 0, 0}, {Qt::Key_Left}, {1, 0, 0});
        row("left from -4 at zoom 4", {4, -4, 0}, {Qt::Key_Left, Qt::Key_Left, Qt::Key_Left}, {4, 1, 0});
        row("home keeps the horizontal shift", {1.5, -20, -10}, {Qt::Key_Home}, {1, -20, 0}, true);
        row("end resets the zoom only", {1.7f, -3, -4}, {Qt::Key_End}, {1, -3, -4});
        row("insert has no limit", {9.95f, 0, 0}, {Qt::Key_Insert}, {10.05f, 0, 0});
        // Function keys have a letter's low bits, the volume key those of "p".
        row("other keys", {1.2f, -1, -2},
            {Qt::Key_A, Qt::Key_F1, Qt::Key_Space, Qt::Key_Pause, Qt::Key_VolumeDown}, {1.2f, -1, -2});
        // clang-format on
    }
    void move_and_zoom_keys() {
        QFETCH(QList<float>, before);
        QFETCH(QList<int>, keys);
        QFETCH(QList<float>, after);
        QFETCH(bool, home);
        dialog_answer_l dialogs;
        auto r = run("TEST", 3);
        korvan_l* w = shown(*r);
        QVERIFY(w);
        w->zoom = before[0], w->x_offset = before[1], w->y_offset = before[2];
        w->occurs_shift = 7.0f;
        for (int key : keys)
            QTest::keyClick(w, Qt::Key(key));
        const QList<float> got{w->zoom, w->x_offset, w->y_offset};
        for (int i = 0; i < 3; ++i)
            QVERIFY2(qAbs(got[i] - after[i]) < 1e-4f, qPrintable(QString::number(got[i])));
        QCOMPARE(w->occurs_shift, home ? 0.0f : 7.0f);
        QCOMPARE(w->current_page, 1);
        QVERIFY(w->isVisible());
        QCOMPARE(dialogs.shown, 0);
        QCOMPARE(w->error_flag, 0);
    }

    void exact_steps() {
        auto r = run("TEST", 1);
        korvan_l* w = shown(*r);
        QVERIFY(w);
        for (int k = 1; k <= 7; ++k) {
            QTest::keyClick(w, Qt::Key_Delete);
            QVERIFY2(qAbs(w->zoom - (1.0f - 0.1f * k)) < 1e-5f, qPrintable(QString::number(k)));
        }
        // Seven steps of 0.1 in single precision end just below 0.3: the eighth is refused.
        const float after_seven = w->zoom;
        QVERIFY(after_seven < 0.3f);
        QTest::keyClick(w, Qt::Key_Delete);
        QCOMPARE(w->zoom, after_seven);
        // Down then Up at zoom 2.0 returns exactly to 0.
        w->zoom = 2.0f;
        QTest::keyClick(w, Qt::Key_Down);
        QCOMPARE(w->y_offset, -5.0f);
        QTest::keyClick(w, Qt::Key_Up);
        QCOMPARE(w->y_offset, 0.0f);
    }

    // Pages of one value a line. The first page is the one shown at start, then one per
    // Enter (or Return, or the key given), wrapping after the end page or the end of the
    // data; every page shows its own line's value, also after the wrap.
    void enter_walks_the_pages_data() {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QStringList>("range");
        QTest::addColumn<int>("data_lines");
        QTest::addColumn<QList<int>>("pages");
        QTest::addColumn<QList<int>>("keys");
        // clang-format off
        QTest::newRow("end page 3 from 2") << "TEST" << QStringList{"2", "3"} << 5 << QList<int>{2, 3, 2, 3, 2} << QList<int>{};
        QTest::newRow("end page equal to start") << "TEST" << QStringList{"2", "2"} << 5 << QList<int>{2, 2, 2} << QList<int>{};
        QTest::newRow("data runs out") << "DISPLAY" << QStringList{"1", "0"} << 3 << QList<int>{1, 2, 3, 1, 2, 3, 1} << QList<int>{};
        QTest::newRow("single page") << "TEST" << QStringList{"1", "0"} << 1 << QList<int>{1, 1, 1} << QList<int>{};
        QTest::newRow("test data from page 4") << "DATA" << QStringList{"4", "9"} << 0 << QList<int>{4, 4} << QList<int>{};
        QTest::newRow("page down and up") << "TEST" << QStringList{"2", "0"} << 4
            << QList<int>{2, 3, 4, 3, 2, 2, 3, 4, 2}
            << QList<int>{Qt::Key_PageDown, Qt::Key_PageDown, Qt::Key_PageUp, Qt::Key_PageUp,
                          Qt::Key_PageUp, Qt::Key_PageDown, Qt::Key_PageDown, Qt::Key_PageDown};
        // clang-format on
    }
    void enter_walks_the_pages() {
        QFETCH(QString, mode);
        QFETCH(QStringList, range);
        QFETCH(int, data_lines);
        QFETCH(QList<int>, pages);
        QFETCH(QList<int>, keys);
        auto r = run(mode, data_lines, range);
        korvan_l* w = shown(*r);
        QVERIFY(w);
        for (int i = 0; i < pages.size(); ++i) {
            if (i > 0)
                QTest::keyClick(w,
                                Qt::Key(keys.value(i - 1, i % 2 ? Qt::Key_Enter : Qt::Key_Return)));
            QCOMPARE(w->current_page, pages.at(i));
            QVERIFY(w->windowTitle().endsWith(QString(" PAGE(%1)").arg(pages.at(i))));
            if (mode != "DATA")
                QCOMPARE(w->page_values, QStringList{QString("value%1").arg(pages.at(i))});
        }
        QCOMPARE(w->error_flag, 0);
    }

    // The error screen: pink, every line of the list drawn one below the other, the keys
    // still live, Esc closes the window.
    void error_screen() {
        run_l r({"TEST", dir.filePath("none.txt"), dir.filePath("none.csv")});
        korvan_l* w = shown(r);
        QVERIFY(w);
        QCOMPARE(w->error_flag, 1);
        QCOMPARE(w->error_list.size(), 2);
        QVERIFY(w->error_list.at(1).startsWith("レイアウト[2] "));
        const QImage two = w->grab().toImage();
        QVERIFY(is_pink(two, 1, 1) && is_pink(two, 780, 780));
        const int bottom_two = ink(two, 100).bottom(); // the lowest dark row
        QVERIFY(bottom_two > 0);
        w->error_list << "(3) BOX Line name (Q) not found"
                      << "(4) FOO ?";
        const QImage four = w->grab().toImage();
        QVERIFY(is_pink(four, 1, 1));
        QVERIFY(ink(four, 100).bottom() > bottom_two + 20);
        QTest::keyClick(w, Qt::Key_Down);
        QCOMPARE(w->y_offset, -10.0f);
        QTest::keyClick(w, Qt::Key_Escape);
        QVERIFY(!w->isVisible());
    }

    // Print mode: one dialog, every page in one job, then the window closes without a
    // second dialog; it takes no keys. The sheet comes from PAPER; a name without a size
    // prints on the printer's own paper.
    void print_run() {
        const QSizeF a4(210 * 72 / 25.4, 297 * 72 / 25.4);
        const std::tuple<QByteArray, QSizeF> rows[] = {
            {"PAPER,A4,2", a4.transposed()},
            {"PAPER,LEDGER,1", QPrinter().pageLayout().fullRectPoints().size()}};
        for (const auto& [paper, size] : rows) {
            const QString file = dir.filePath("run.pdf");
            QFile::remove(file);
            dialog_answer_l dialogs(file);
            auto r = run("PRINT", 3, {"2"}, paper);
            korvan_l* w = r->form.get();
            QCOMPARE(dialogs.shown, 1);
            QCOMPARE(w->error_flag, 0);
            QCOMPARE(w->finished_flag, 1);
            QTest::keyClick(w, Qt::Key_Down);
            QTest::keyClick(w, Qt::Key_Insert);
            QCOMPARE(w->y_offset, 0.0f);
            QCOMPARE(w->zoom, 1.0f);
            QTRY_VERIFY(!w->isVisible());
            QTest::qWait(50);
            QCOMPARE(dialogs.shown, 1);
            const QList<double> got = pdf_info(file); // Qt gives sizes in whole points
            QCOMPARE(got[0], 2.0);
            QVERIFY2(qAbs(got[1] - size.width()) < 1.0 && qAbs(got[2] - size.height()) < 1.0,
                     qPrintable(QString("%1 x %2 pt").arg(got[1]).arg(got[2])));
        }
    }

    // P prints the page shown and marks it the last: Enter then wraps. Cancelled,
    // nothing changes; an unwritable file is an error.
    void test_print() {
        const QString file = dir.filePath("p.pdf");
        auto r = run("TEST", 3);
        korvan_l* w = shown(*r);
        QVERIFY(w);
        {
            dialog_answer_l cancel;
            QTest::keyClick(w, Qt::Key_P);
            QCOMPARE(cancel.shown, 1);
        }
        QCOMPARE(w->error_list.size(), 1);
        QTest::keyClick(w, Qt::Key_Enter);
        QCOMPARE(w->current_page, 2);
        {
            dialog_answer_l accept(file);
            QTest::keyClick(w, Qt::Key_P, Qt::ShiftModifier);
            QCOMPARE(accept.shown, 1);
        }
        QCOMPARE(w->error_flag, 0);
        QCOMPARE(pdf_info(file)[0], 1.0);
        QCOMPARE(w->last_page_reached, 1);
        QTest::keyClick(w, Qt::Key_Enter);
        QCOMPARE(w->current_page, 1);
        const QString bad = dir.filePath("no/such/dir/p.pdf");
        dialog_answer_l dialogs(bad);
        QTest::keyClick(w, Qt::Key_P);
        QCOMPARE(w->error_flag, 1);
        QCOMPARE(w->printing_flag, 0);
        QCOMPARE(w->error_list.last(), " Printer (" + bad + ") not ready");
        QVERIFY(is_pink(w->grab().toImage()));
    }
};

QTEST_MAIN(test_output)
#include "test_output.moc"
