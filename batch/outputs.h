// The outputs of korvan-batch: a PDF file, PNG images or a print queue, each fed by the
// print run of the engine, and the progress line shown meanwhile.
#pragma once

#include "batch/safe_output.h"

#include <QElapsedTimer>
#include <QString>

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

bool print_to_pdf(form_l& form, const QString& file, progress_l& progress);
bool print_to_png(form_l& form, const QString& dir, int dpi, progress_l& progress);
bool print_to_printer(form_l& form, const QString& name, progress_l& progress);

} // namespace batch
