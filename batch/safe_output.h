// Output that is whole or absent. A system that prints with korvan-batch trusts the exit
// status: 0 means every page is in the output, anything else means the output it had
// before is untouched. So nothing is written under the name the caller gave until the
// run has succeeded:
//
// - A file (the PDF) is written to a temporary file beside it, ".NAME.korvan-XXXXXX",
//   and renamed over it once it was flushed, synced and closed without error.
// - Page files (PNG) are written into a temporary directory inside the page directory,
//   ".pages.korvan-XXXXXX", and moved into place, each by a rename, once all of them
//   are written.
// - "-" (standard output), a device or a FIFO cannot be replaced: they are written
//   as they are, and a failure is still reported.
// - A print job is written in full to a spool file in the temporary directory before
//   it is sent.
//
// SIGINT, SIGTERM and SIGHUP remove the temporary file or directory, say so in one line
// and end the program by the same signal. SIGKILL cannot be caught and may leave one
// temporary behind: every run removes the temporaries of killed runs from the directory
// it writes into. A temporary is locked (flock) while its run lives, and the kernel
// drops the lock when the run dies however it dies, so an unlocked temporary is one
// that no run will finish.
#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QString>
#include <sys/types.h>

namespace batch {

// One line on standard error, in UTF-8, after ending a progress line that is shown.
void say(const QString& text);
// Whether a progress line (without its line end) stands on standard error.
void set_progress_line_open(bool open);

// Removes the temporaries that killed runs left in `dir`.
void remove_stale_temporaries_v(const QByteArray& dir);

// What a signal that ends the run says after "korvan-batch: stopped by SIGTERM", when
// no output of this file removes anything itself: "; nothing was sent to office".
void set_interrupt_note_v(const QString& note);
// The output is complete where it belongs (a job the print system took): a signal from
// now on no longer stops the run, which ends as it stands.
void output_complete_v();

// The PDF's file, for QPdfWriter: buffered writes straight to the file descriptor, so
// that every failure is seen with the system's reason, which is said once.
class output_file_l : public QIODevice {
public:
    output_file_l() = default;
    ~output_file_l() override;

    // Opens the output for `target`. False after saying why.
    bool open_b(const QString& target);
    // Opens a spool file in `dir` for a job: commit_b() then leaves it in place for the
    // caller to send, and remove_v() removes it. `shown` names it in messages.
    bool open_spool_b(const QString& dir, const QString& shown);
    QByteArray spool_path() const { return temporary_; }
    void remove_v();
    // True once a write failed; the failure has been said.
    bool failed_b() const { return failed_; }
    // Flushes, syncs and closes the file and puts it in place. False after saying why;
    // the target is then as it was before the run.
    bool commit_b();
    // Drops what was written; the target stays as it was.
    void abort_v();

    bool isSequential() const override { return true; }

protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char* data, qint64 size) override;

private:
    bool flush_b();
    void fail_v(int error);
    bool create_temporary_b(const QByteArray& dir, const QByteArray& base, mode_t mode);

    QString shown_; // the name in messages
    QByteArray final_;
    QByteArray temporary_; // empty when the target is written as it is
    int fd_ = -1;
    int lock_fd_ = -1;
    bool failed_ = false;
    bool done_ = false;
    bool spool_ = false;
    QByteArray buffer_;
};

// The page files of a run, DIR/page-00001.png and on.
class page_files_l {
public:
    page_files_l() = default;
    ~page_files_l();
    page_files_l(const page_files_l&) = delete;
    page_files_l& operator=(const page_files_l&) = delete;

    // Creates DIR when needed and the run's temporary directory inside it. False after
    // saying why.
    bool open_b(const QString& dir);
    // The name of page `number` in DIR.
    QString page_name(int number) const;
    // Writes page `number`. False after saying why.
    bool write_b(int number, const QByteArray& bytes);
    // Moves the pages written into DIR. False after saying why; the pages of the run
    // are then none of them in DIR.
    bool commit_b();
    // Drops the pages written; DIR stays as it was.
    void abort_v();

private:
    QString dir_;
    QByteArray dir_path_;
    QByteArray temporary_;
    int dir_fd_ = -1;
    int temp_fd_ = -1;
    int pages_ = 0;
    bool done_ = false;
};

} // namespace batch
