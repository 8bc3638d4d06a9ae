// The outputs of korvan-batch: a PDF file, PNG images or a print queue, each fed by the
// print run of the engine, and the progress line shown meanwhile.
#pragma once

#include <QElapsedTimer>
#include <QString>

class form_l;

namespace batch {

// One line on standard error, in UTF-8.
void say(const QString& text);

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
