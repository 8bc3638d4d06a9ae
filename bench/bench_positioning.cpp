// Starting a run deep into a large data file: page 100,000 of a file of about 1 GB
// (one invoice page a line, about 10 KB a line), generated in /tmp and removed after.
// Reports the time to position and the peak resident memory of the process, which
// must stay under 100 MB whatever the size of the file.
#include "bench_data.h"

#include "layout/form.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr int start_page = 100000;
constexpr int line_bytes = 10700;
constexpr double limit_mb = 100;

double peak_rss_mb() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0; // kilobytes on Linux
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    qx_z_l ctx(QStringLiteral("KORVAN"), argc, argv);

    const QString path = QStringLiteral("/tmp/korvan-positioning-%1.tsv").arg(qint64(::getpid()));
    QElapsedTimer timer;
    timer.start();
    const bool written = write_invoice_data(path, start_page, line_bytes);
    const double write_s = double(timer.elapsed()) / 1000.0;
    if (!written) {
        QFile::remove(path);
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return 1;
    }
    const double size_gb = double(QFileInfo(path).size()) / 1e9;
    const double rss_before = peak_rss_mb();

    form_l form(&ctx);
    form.mode = form_l::MODE_PRINT;
    form.data_name = path;
    form.values_per_form = invoice_values;
    timer.restart();
    const int ok = form.read_data_b(start_page);
    const double position_s = double(timer.elapsed()) / 1000.0;
    const double rss = peak_rss_mb();
    const bool right_page =
        ok == 1 && form.data_values.size() == invoice_values &&
        form.data_values.first().startsWith(QStringLiteral("page%1 ").arg(start_page));
    QFile::remove(path);

    std::printf("data file        %.2f GB, %d pages (written in %.1f s, so in the page cache)\n",
                size_gb, start_page, write_s);
    std::printf("positioning      page %d in %.2f s (%.0f MB/s)%s\n", start_page, position_s,
                size_gb * 1000.0 / position_s, right_page ? "" : "  WRONG PAGE");
    std::printf("peak RSS         %.1f MB (%.1f MB before positioning; limit %.0f MB)\n", rss,
                rss_before, limit_mb);
    return right_page && rss < limit_mb ? 0 : 1;
}
