// The print queues of the print system (CUPS): asked before pages are sent, and told
// the job, so that a run says why nothing was printed instead of leaving pages in a
// queue that will not print them, or half a job in one that will. Shared by
// korvan-batch and the window's print run.
#pragma once

#include <QByteArray>
#include <QString>

// Why pages cannot go to the print queue `name` now: "there is no such queue", "the
// queue is disabled", "the queue is rejecting jobs", or the print system's own words
// when it does not answer; empty when they can. A disabled queue would keep a job
// without printing it, so it counts as one that cannot print.
QString queue_problem_s(const QString& name);

// Hands the PDF `file` to the queue `name` as one job, in one request: the print
// system takes it whole or not at all. `media` is the paper to ask for (a PWG or PPD
// size name), or empty for the queue's own. Empty when the job was taken, else why not.
QString print_file_s(const QString& name, const QByteArray& file, const QString& title,
                     const QString& media);

// The window's print run goes through Qt's print engine, which hands the spooled job to
// the print system when the printer's painter ends and keeps the print system's answer
// to itself. Asked just after the painter ended, job_problem_s() gives that answer:
// empty when the job was taken, else why not (nothing was then queued). The answer
// before it must have been a success: queue_problem_s() finding nothing wrong, asked
// after the dialog, is one.
QString job_problem_s(const QString& name);

// The PWG name of a paper size in millimetres ("iso_a4_210x297mm"), empty for none.
QString media_name_s(double width_mm, double height_mm);
