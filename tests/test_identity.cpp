// Output identity: every page of the examples and of the benchmark invoice, drawn the
// way the print run and the preview draw them, must match the references under
// tests/identity/ pixel for pixel (a SHA-256 of each page's pixels). The references
// were made before any change to the drawing code was made for speed, so a faster
// renderer is proven to draw exactly what the plain one drew. The PDF of a print run is
// checked too, through poppler: its text (pdftotext -raw) and its pages as pixels.
//
// After a deliberate change of the output, rewrite the references with
//   KORVAN_IDENTITY_UPDATE=1 build/bin/test_identity
// and look at the pages before committing them.
#include "layout/form.h"
#include "render/raster.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QPainter>
#include <QPdfWriter>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <memory>
#include <vector>

namespace {

const QString source_dir = QStringLiteral(KORVAN_SOURCE_DIR);
const QString reference_dir = source_dir + QStringLiteral("/tests/identity");
// "?_TODAY?" prints the run's date; the references are made on this one.
const QString fixed_today = QStringLiteral("2024-01-05");

bool updating() {
    return qEnvironmentVariableIntValue("KORVAN_IDENTITY_UPDATE") == 1;
}

QString pixel_hash(const QImage& image) {
    QCryptographicHash hash(QCryptographicHash::Sha256);
    const QImage rgb = image.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < rgb.height(); ++y)
        hash.addData(QByteArrayView(reinterpret_cast<const char*>(rgb.constScanLine(y)),
                                    qsizetype(rgb.width()) * 4));
    return QString::fromLatin1(hash.result().toHex());
}

// A run of the program as korvan-batch starts it: mode word, data file, layout file.
struct run_l {
    run_l(const QString& mode, const QString& data, const QString& layout) {
        words = {QByteArray("test_identity"), mode.toLocal8Bit(),
                 (source_dir + QLatin1Char('/') + data).toLocal8Bit(),
                 (source_dir + QLatin1Char('/') + layout).toLocal8Bit()};
        for (QByteArray& w : words)
            args.push_back(w.data());
        ctx = std::make_unique<qx_z_l>(QStringLiteral("KORVAN"), int(args.size()), args.data());
        form = std::make_unique<form_l>(ctx.get());
        form->setup_v();
        form->today = fixed_today;
    }
    QList<QByteArray> words;
    std::vector<char*> args;
    std::unique_ptr<qx_z_l> ctx;
    std::unique_ptr<form_l> form;
};

// Every page of a print run, drawn as korvan-batch draws PNG pages: one image per
// page, the painter scaled from form units (1/72 inch) to the resolution.
QList<QImage> print_run_images(form_l& form, double dpi, bool* ok) {
    const QSizeF mm = paper_size_mm(form);
    const QSize pixels(int(std::lround(mm.width() / 25.4 * dpi)),
                       int(std::lround(mm.height() / 25.4 * dpi)));
    QList<QImage> pages;
    QImage image(pixels, QImage::Format_RGB32);
    QPainter painter;
    auto start = [&] {
        image.fill(Qt::white);
        painter.begin(&image);
        painter.scale(dpi / 72.0, dpi / 72.0);
    };
    auto finish = [&] {
        painter.end();
        pages.append(image.copy());
    };
    start();
    form.painter = &painter;
    *ok = form.print_run_b([&] {
        finish();
        start();
        return true;
    });
    form.painter = nullptr;
    finish();
    return pages;
}

// The pages of a print run as a PDF file written at 72 dpi, as korvan-batch --pdf does.
bool print_run_pdf(form_l& form, const QString& file) {
    QPdfWriter writer(file);
    writer.setResolution(72);
    writer.setCreator(QStringLiteral("korvan-batch"));
    writer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                                     QMarginsF(0, 0, 0, 0), QPageLayout::Point));
    QPainter painter;
    if (!painter.begin(&writer)) return false;
    form.painter = &painter;
    const bool ok = form.print_run_b([&] { return writer.newPage(); });
    form.painter = nullptr;
    painter.end();
    return ok;
}

// Runs a tool to its end; false when it could not run or failed.
bool run_tool(const QString& program, const QStringList& args, QByteArray* output = nullptr) {
    QProcess process;
    process.start(program, args);
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        return false;
    }
    if (output) *output = process.readAllStandardOutput();
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// Reference lines "case page hash", in the order they were written.
QMap<QString, QStringList> read_hashes(const QString& path) {
    QMap<QString, QStringList> hashes;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) return hashes;
    while (!file.atEnd()) {
        const QStringList f = QString::fromUtf8(file.readLine()).simplified().split(' ');
        if (f.size() == 3) hashes[f.at(0)].append(f.at(2));
    }
    return hashes;
}

void write_hashes(const QString& path, const QString& name, const QStringList& hashes) {
    QMap<QString, QStringList> all = read_hashes(path);
    all[name] = hashes;
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Text | QIODevice::Truncate));
    for (auto it = all.cbegin(); it != all.cend(); ++it)
        for (int i = 0; i < it.value().size(); ++i)
            file.write(QStringLiteral("%1 %2 %3\n")
                           .arg(it.key())
                           .arg(i + 1)
                           .arg(it.value().at(i))
                           .toUtf8());
}

// Compares a case's page hashes with its references, keeping the pages that differ
// as PNG files for a look.
void compare_pages(const QString& file_name, const QString& name, const QList<QImage>& pages) {
    QStringList hashes;
    for (const QImage& page : pages)
        hashes.append(pixel_hash(page));
    const QString path = reference_dir + QLatin1Char('/') + file_name;
    if (updating()) {
        write_hashes(path, name, hashes);
        return;
    }
    const QStringList expected = read_hashes(path).value(name);
    QVERIFY2(!expected.isEmpty(), qPrintable(QStringLiteral("no reference for ") + name));
    QCOMPARE(hashes.size(), expected.size());
    const QString failures = QStringLiteral(KORVAN_BINARY_DIR "/identity-failures");
    QStringList differing;
    for (int i = 0; i < hashes.size(); ++i) {
        if (hashes.at(i) == expected.at(i)) continue;
        differing.append(QString::number(i + 1));
        QDir().mkpath(failures);
        pages.at(i).save(failures + QStringLiteral("/%1-page%2.png").arg(name).arg(i + 1));
    }
    QVERIFY2(differing.isEmpty(),
             qPrintable(name + QStringLiteral(": pages ") + differing.join(QLatin1Char(',')) +
                        QStringLiteral(" differ; drawn pages in ") + failures));
}

} // namespace

class test_identity : public QObject {
    Q_OBJECT

private slots:
    void print_pages_data() {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<QString>("data");
        QTest::addColumn<double>("dpi");
        QTest::newRow("invoice") << "examples/invoice/invoice.csv"
                                 << "examples/invoice/invoice.tsv" << 150.0;
        QTest::newRow("delivery") << "examples/delivery/delivery.csv"
                                  << "examples/delivery/delivery.tsv" << 150.0;
        QTest::newRow("labels") << "examples/labels/labels.csv"
                                << "examples/labels/labels.tsv" << 150.0;
        QTest::newRow("bench-invoice") << "bench/invoice/invoice.csv"
                                       << "tests/identity/bench_invoice.tsv" << 150.0;
        QTest::newRow("bench-invoice-72") << "bench/invoice/invoice.csv"
                                          << "tests/identity/bench_invoice.tsv" << 72.0;
        QTest::newRow("mixed") << "tests/identity/mixed.csv"
                               << "tests/identity/mixed.tsv" << 150.0;
        QTest::newRow("sizes") << "tests/identity/sizes.csv"
                               << "tests/identity/sizes.tsv" << 100.0;
    }
    // Every page of a print run.
    void print_pages() {
        QFETCH(QString, layout);
        QFETCH(QString, data);
        QFETCH(double, dpi);
        run_l run(QStringLiteral("PRINT"), data, layout);
        QCOMPARE(run.form->error_flag, 0);
        bool ok = false;
        const QList<QImage> pages = print_run_images(*run.form, dpi, &ok);
        QVERIFY(ok);
        compare_pages(QStringLiteral("pages.sha256"), QString::fromLatin1(QTest::currentDataTag()),
                      pages);
    }

    void preview_pages_data() {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("layout");
        QTest::addColumn<QString>("data");
        QTest::addColumn<double>("dpi");
        QTest::addColumn<float>("zoom");
        QTest::newRow("invoice-72") << "DISPLAY"
                                    << "examples/invoice/invoice.csv"
                                    << "examples/invoice/invoice.tsv" << 72.0 << 1.0f;
        QTest::newRow("invoice-zoom") << "DISPLAY"
                                      << "examples/invoice/invoice.csv"
                                      << "examples/invoice/invoice.tsv" << 96.0 << 1.7f;
        QTest::newRow("invoice-test-data") << "TEST_DATA"
                                           << "examples/invoice/invoice.csv"
                                           << "examples/invoice/invoice.tsv" << 100.0 << 1.0f;
        QTest::newRow("mixed-zoom") << "DISPLAY"
                                    << "tests/identity/mixed.csv"
                                    << "tests/identity/mixed.tsv" << 96.0 << 0.8f;
        QTest::newRow("mixed-test-data") << "TEST_DATA"
                                         << "tests/identity/mixed.csv"
                                         << "tests/identity/mixed.tsv" << 100.0 << 1.0f;
        QTest::newRow("delivery-test-data") << "TEST_DATA"
                                            << "examples/delivery/delivery.csv"
                                            << "examples/delivery/delivery.tsv" << 100.0 << 1.0f;
    }
    // The first page as the preview draws it, and the same page drawn again from the
    // remembered values.
    void preview_pages() {
        QFETCH(QString, mode);
        QFETCH(QString, layout);
        QFETCH(QString, data);
        QFETCH(double, dpi);
        QFETCH(float, zoom);
        run_l run(mode, data, layout);
        QCOMPARE(run.form->error_flag, 0);
        QList<QImage> pages;
        for (int i = 0; i < 2; ++i) {
            QImage image = zoom == 1.0f ? render_page_image(*run.form, dpi)
                                        : QImage(900, 1200, QImage::Format_RGB32);
            if (zoom != 1.0f) {
                image.fill(Qt::white);
                QPainter painter(&image);
                painter.scale(dpi / 72.0, dpi / 72.0);
                run.form->painter = &painter;
                QVERIFY(run.form->display_print_b(-5, -3, zoom));
                run.form->painter = nullptr;
            }
            QVERIFY(!image.isNull());
            pages.append(image);
        }
        QCOMPARE(pixel_hash(pages.at(1)), pixel_hash(pages.at(0)));
        compare_pages(QStringLiteral("preview.sha256"),
                      QString::fromLatin1(QTest::currentDataTag()), pages.mid(0, 1));
    }

    void pdf_data() {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<QString>("data");
        QTest::newRow("invoice") << "examples/invoice/invoice.csv"
                                 << "examples/invoice/invoice.tsv";
        QTest::newRow("bench-invoice") << "bench/invoice/invoice.csv"
                                       << "tests/identity/bench_invoice.tsv";
        QTest::newRow("mixed") << "tests/identity/mixed.csv"
                               << "tests/identity/mixed.tsv";
    }
    // The PDF of a print run: its text as pdftotext reads it and its pages as poppler
    // draws them.
    void pdf() {
        QFETCH(QString, layout);
        QFETCH(QString, data);
        if (QStandardPaths::findExecutable(QStringLiteral("pdftotext")).isEmpty() ||
            QStandardPaths::findExecutable(QStringLiteral("pdftoppm")).isEmpty())
            QFAIL("poppler-utils (pdftotext, pdftoppm) is not installed: scripts/install-deps.sh "
                  "installs it");
        const QString name = QString::fromLatin1(QTest::currentDataTag());
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString file = dir.filePath(QStringLiteral("run.pdf"));
        run_l run(QStringLiteral("PRINT"), data, layout);
        QVERIFY(print_run_pdf(*run.form, file));

        QByteArray text;
        QVERIFY(run_tool(QStringLiteral("pdftotext"),
                         {QStringLiteral("-raw"), file, QStringLiteral("-")}, &text));
        QVERIFY(!text.isEmpty());
        const QString text_reference =
            reference_dir + QLatin1Char('/') + name + QStringLiteral(".txt");
        if (updating()) {
            QFile out(text_reference);
            QVERIFY(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
            out.write(text);
        } else {
            QFile in(text_reference);
            QVERIFY(in.open(QIODevice::ReadOnly));
            QCOMPARE(QString::fromUtf8(text), QString::fromUtf8(in.readAll()));
        }

        QVERIFY(run_tool(QStringLiteral("pdftoppm"),
                         {QStringLiteral("-r"), QStringLiteral("100"), QStringLiteral("-png"), file,
                          dir.filePath(QStringLiteral("page"))}));
        QList<QImage> pages;
        QStringList files =
            QDir(dir.path()).entryList({QStringLiteral("page*.png")}, QDir::Files, QDir::Name);
        for (const QString& f : files)
            pages.append(QImage(dir.filePath(f)));
        QVERIFY(!pages.isEmpty());
        compare_pages(QStringLiteral("pdf.sha256"), name, pages);
    }
};

QTEST_MAIN(test_identity)
#include "test_identity.moc"
