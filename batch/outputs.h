// The outputs of korvan-batch: a PDF file, PNG images or a print queue, each fed by the
// print run of the engine, and the progress line shown meanwhile.
#pragma once

#include "batch/safe_output.h"

#include <QElapsedTimer>
#include <QPageLayout>
#include <QString>
#include <functional>

class QPainter;
class form_l;

namespace batch {

// After a run that stopped in the data, one more line that says where, in numbers a
// person can find in the data file. `start_given`: --start was on the command line.
void explain_data_fault(const form_l& form, bool start_given);

// A progress line on standard error, only when it is a terminal and the run lasts.
class progress_l {
public:
    progress_l();
    void page_done();
    void finish();

private:
    void show();
    bool tty_;
    bool shown_ = false;
    int pages_ = 0;
    qint64 last_ = 0;
    QElapsedTimer timer_;
};

// A PDF drawn by `pages` on a painter of 1/72 inch units, (0, 0) at the sheet's corner;
// the second argument starts each page after the first and is false once a write
// failed. `pages` returns false when what it drew is not to go out.
using pdf_pages_fn = std::function<bool(QPainter&, const std::function<bool()>&)>;
// ... to `file` ("-": standard output), whole or not at all. False after saying why.
bool pdf_to_file(const QString& file, const QPageLayout& layout, const pdf_pages_fn& pages);
// ... as one job on the queue `name` (its paper `media` when not empty), once the queue
// was found to take jobs; queued whole or not at all. False after saying why.
bool pdf_to_queue(const QString& name, const QPageLayout& layout, const QString& media,
                  const pdf_pages_fn& pages);
// The queue's own paper; A4 when it names none.
QPageSize queue_paper(const QString& name);

bool print_to_pdf(form_l& form, const QString& file, progress_l& progress);
bool print_to_png(form_l& form, const QString& dir, int dpi, progress_l& progress);
bool print_to_printer(form_l& form, const QString& name, progress_l& progress);

} // namespace batch
