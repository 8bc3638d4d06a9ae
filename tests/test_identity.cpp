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
#include "render/raster.h"
#include "support.h"

#include <QCryptographicHash>
#include <QDir>
#include <QPainter>
#include <QPdfWriter>
#include <cmath>

namespace {

const QString source_dir = KORVAN_SOURCE_DIR "/";
const QString reference_dir = source_dir + "tests/identity/";

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

// A run of the program as korvan-batch starts it, on files of the source tree. "?_TODAY?"
// prints the run's date; the references are made on a fixed one.
session_l<> start(const QString& mode, const QString& layout, const QString& data) {
    session_l<> run({mode, source_dir + data, source_dir + layout});
    run->setup_v();
    run->today = "2024-01-05";
    return run;
}

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
    writer.setCreator("korvan-batch");
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

// Compares the page hashes of the current case with its references in `file_name`,
// keeping the pages that differ as PNG files for a look.
void compare_pages(const QString& file_name, const QList<QImage>& pages) {
    const QString name = QTest::currentDataTag(), path = reference_dir + file_name;
    QStringList hashes;
    for (const QImage& page : pages)
        hashes.append(pixel_hash(page));
    QMap<QString, QStringList> all = read_hashes(path);
    if (updating()) {
        all[name] = hashes;
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Text | QIODevice::Truncate));
        for (auto it = all.cbegin(); it != all.cend(); ++it)
            for (int i = 0; i < it.value().size(); ++i)
                file.write(QString("%1 %2 %3\n").arg(it.key()).arg(i + 1).arg(it->at(i)).toUtf8());
        return;
    }
    const QStringList expected = all.value(name);
    QVERIFY2(!expected.isEmpty(), qPrintable("no reference for " + name));
    QCOMPARE(hashes.size(), expected.size());
    const QString failures = KORVAN_BINARY_DIR "/identity-failures";
    QStringList differing;
    for (int i = 0; i < hashes.size(); ++i) {
        if (hashes.at(i) == expected.at(i)) continue;
        differing.append(QString::number(i + 1));
        QDir().mkpath(failures);
        pages.at(i).save(failures + QString("/%1-page%2.png").arg(name).arg(i + 1));
    }
    QVERIFY2(differing.isEmpty(), qPrintable(name + ": pages " + differing.join(',') +
                                             " differ; drawn pages in " + failures));
}

// The layout and data of each case, under the source tree.
struct files_l {
    const char *layout, *data;
};
const files_l invoice{"examples/invoice/invoice.csv", "examples/invoice/invoice.tsv"},
    delivery{"examples/delivery/delivery.csv", "examples/delivery/delivery.tsv"},
    labels{"examples/labels/labels.csv", "examples/labels/labels.tsv"},
    bench{"bench/invoice/invoice.csv", "tests/identity/bench_invoice.tsv"},
    mixed{"tests/identity/mixed.csv", "tests/identity/mixed.tsv"},
    sizes{"tests/identity/sizes.csv", "tests/identity/sizes.tsv"};

// A case named by its references: the mode the program is started in, its files, and
// the resolution and zoom of the drawn pages.
void add_case(const char* tag, const char* mode, const files_l& files, double dpi = 0,
              float zoom = 1) {
    QTest::newRow(tag) << QString(mode) << QString(files.layout) << QString(files.data) << dpi
                       << zoom;
}
void case_columns() {
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("layout");
    QTest::addColumn<QString>("data");
    QTest::addColumn<double>("dpi");
    QTest::addColumn<float>("zoom");
}

} // namespace

class test_identity : public QObject {
    Q_OBJECT

private slots:
    void print_pages_data() {
        case_columns();
        add_case("invoice", "PRINT", invoice, 150);
        add_case("delivery", "PRINT", delivery, 150);
        add_case("labels", "PRINT", labels, 150);
        add_case("bench-invoice", "PRINT", bench, 150);
        add_case("bench-invoice-72", "PRINT", bench, 72);
        add_case("mixed", "PRINT", mixed, 150);
        add_case("sizes", "PRINT", sizes, 100);
    }
    // Every page of a print run.
    void print_pages() {
        QFETCH(QString, mode);
        QFETCH(QString, layout);
        QFETCH(QString, data);
        QFETCH(double, dpi);
        auto run = start(mode, layout, data);
        QCOMPARE(run->error_flag, 0);
        bool ok = false;
        const QList<QImage> pages = print_run_images(*run.form, dpi, &ok);
        QVERIFY(ok);
        compare_pages("pages.sha256", pages);
    }

    void preview_pages_data() {
        case_columns();
        add_case("invoice-72", "DISPLAY", invoice, 72);
        add_case("invoice-zoom", "DISPLAY", invoice, 96, 1.7f);
        add_case("invoice-test-data", "TEST_DATA", invoice, 100);
        add_case("mixed-zoom", "DISPLAY", mixed, 96, 0.8f);
        add_case("mixed-test-data", "TEST_DATA", mixed, 100);
        add_case("delivery-test-data", "TEST_DATA", delivery, 100);
    }
    // The first page as the preview draws it, and the same page drawn again from the
    // remembered values.
    void preview_pages() {
        QFETCH(QString, mode);
        QFETCH(QString, layout);
        QFETCH(QString, data);
        QFETCH(double, dpi);
        QFETCH(float, zoom);
        auto run = start(mode, layout, data);
        QCOMPARE(run->error_flag, 0);
        QList<QImage> pages;
        for (int i = 0; i < 2; ++i) {
            QImage image = zoom == 1.0f ? render_page_image(*run.form, dpi)
                                        : QImage(900, 1200, QImage::Format_RGB32);
            if (zoom != 1.0f) {
                image.fill(Qt::white);
                QPainter painter(&image);
                painter.scale(dpi / 72.0, dpi / 72.0);
                run->painter = &painter;
                QVERIFY(run->display_print_b(-5, -3, zoom));
                run->painter = nullptr;
            }
            QVERIFY(!image.isNull());
            pages.append(image);
        }
        QCOMPARE(pixel_hash(pages.at(1)), pixel_hash(pages.at(0)));
        compare_pages("preview.sha256", pages.mid(0, 1));
    }

    void pdf_data() {
        case_columns();
        add_case("invoice", "PRINT", invoice);
        add_case("bench-invoice", "PRINT", bench);
        add_case("mixed", "PRINT", mixed);
    }
    // The PDF of a print run: its text as pdftotext reads it and its pages as poppler
    // draws them.
    void pdf() {
        QFETCH(QString, mode);
        QFETCH(QString, layout);
        QFETCH(QString, data);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString file = dir.filePath("run.pdf");
        auto run = start(mode, layout, data);
        QVERIFY(print_run_pdf(*run.form, file));
        const char* poppler = "poppler-utils failed or is missing (scripts/install-deps.sh)";
        const tool_run_l text = run_tool("pdftotext", {"-raw", file, "-"});
        QVERIFY2(text.status == 0 && !text.out.isEmpty(), poppler);
        const QString text_reference = reference_dir + QTest::currentDataTag() + ".txt";
        if (updating()) {
            QFile out(text_reference);
            QVERIFY(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
            out.write(text.out);
        } else {
            QCOMPARE(QString::fromUtf8(text.out), QString::fromUtf8(slurp(text_reference)));
        }
        QVERIFY2(run_tool("pdftoppm", {"-r", "100", "-png", file, dir.filePath("page")}).status ==
                     0,
                 poppler);
        QList<QImage> pages;
        for (const QString& f : QDir(dir.path()).entryList({"page*.png"}, QDir::Files, QDir::Name))
            pages.append(QImage(dir.filePath(f)));
        QVERIFY(!pages.isEmpty());
        compare_pages("pdf.sha256", pages);
    }
};

QTEST_MAIN(test_identity)
#include "test_identity.moc"
