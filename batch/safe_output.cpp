#include "batch/safe_output.h"

#include <QFile>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace batch {

namespace {

// ---- What a signal removes and says ----
// Shared with the signal handler, which may run on any thread: the buffers are filled
// before the state says ARMED, and the handler reads them only after it has moved the
// state from ARMED to DYING, so that the main thread, which moves it from ARMED to
// COMMITTING before putting the output in place, and the handler never both win.
enum { IDLE, ARMED, COMMITTING, DYING };
std::atomic<int> state{IDLE};
static_assert(std::atomic<int>::is_always_lock_free);
enum { REMOVE_FILE, REMOVE_PAGES };
int remove_kind = REMOVE_FILE;
char remove_path[PATH_MAX + 1];
std::atomic<int> remove_pages{0};
char note[PATH_MAX + 256];
std::atomic<size_t> note_length{0};

const int caught_signals[] = {SIGINT, SIGTERM, SIGHUP};

// A progress line without its line end stands on standard error: what comes next
// starts on a line of its own (the signal handler's line too).
volatile sig_atomic_t progress_line_open = 0;

void put(const char* text, size_t size) {
    while (size > 0) {
        const ssize_t n = write(STDERR_FILENO, text, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;
        text += n;
        size -= size_t(n);
    }
}

void put(const char* text) {
    put(text, strlen(text));
}

// "page-00012.png" for 12 into `out`, with its terminating zero; no printf, which a
// signal handler must not call. Returns the length.
size_t page_file_name(char* out, int number) {
    char digits[12];
    int n = 0;
    do {
        digits[n++] = char('0' + number % 10);
        number /= 10;
    } while (number > 0);
    char* p = out;
    memcpy(p, "page-", 5);
    p += 5;
    for (int i = n; i < 5; ++i)
        *p++ = '0';
    while (n > 0)
        *p++ = digits[--n];
    memcpy(p, ".png", 5);
    return size_t(p + 4 - out);
}

void remove_armed_output() {
    if (remove_kind == REMOVE_FILE) {
        unlink(remove_path);
        return;
    }
    char path[sizeof remove_path + 32];
    const size_t dir_length = strlen(remove_path);
    memcpy(path, remove_path, dir_length);
    path[dir_length] = '/';
    for (int page = remove_pages.load(); page > 0; --page) {
        page_file_name(path + dir_length + 1, page);
        unlink(path);
    }
    rmdir(remove_path);
}

extern "C" void on_signal(int sig) {
    const int saved_errno = errno;
    int expected = ARMED;
    if (state.compare_exchange_strong(expected, DYING)) {
        remove_armed_output();
    } else if (expected == COMMITTING) {
        // The output is complete and being put in place: the run finishes.
        errno = saved_errno;
        return;
    } else if (expected == DYING) {
        // Another thread is removing the output and ends the program.
        for (;;)
            pause();
    }
    if (progress_line_open) put("\n");
    put("korvan-batch: stopped by ");
    put(sig == SIGINT ? "SIGINT" : sig == SIGTERM ? "SIGTERM" : "SIGHUP");
    put(note, note_length.load());
    put("\n");
    // Ended by the signal itself, so that the caller sees what stopped the run.
    signal(sig, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, sig);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    raise(sig);
    _exit(128 + sig);
}

void install_handlers() {
    static bool installed = false;
    if (installed) return;
    installed = true;
    // A closed pipe is a write error with its reason (EPIPE), not a silent death.
    signal(SIGPIPE, SIG_IGN);
    struct sigaction action = {};
    action.sa_handler = on_signal;
    sigemptyset(&action.sa_mask);
    for (int sig : caught_signals)
        sigaddset(&action.sa_mask, sig);
    action.sa_flags = SA_RESTART;
    for (int sig : caught_signals) {
        struct sigaction old = {};
        // A signal the caller ignores (nohup, a background job) stays ignored.
        if (sigaction(sig, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) continue;
        sigaction(sig, &action, nullptr);
    }
}

void copy_note(const QString& text) {
    const QByteArray bytes = text.toUtf8().left(int(sizeof note));
    note_length = 0;
    memcpy(note, bytes.constData(), size_t(bytes.size()));
    note_length = size_t(bytes.size());
}

void arm(int kind, const QByteArray& path, const QString& text) {
    install_handlers();
    remove_kind = kind;
    const size_t n = qMin(size_t(path.size()), sizeof remove_path - 1);
    memcpy(remove_path, path.constData(), n);
    remove_path[n] = 0;
    remove_pages = 0;
    copy_note(text);
    state = ARMED;
}

// Holds the caught signals back while a temporary is made and armed: a stop that comes
// in between is handled once the temporary is armed, so it is removed and named.
class held_signals_l {
public:
    held_signals_l() {
        sigset_t set;
        sigemptyset(&set);
        for (int sig : caught_signals)
            sigaddset(&set, sig);
        pthread_sigmask(SIG_BLOCK, &set, &old_);
    }
    ~held_signals_l() { pthread_sigmask(SIG_SETMASK, &old_, nullptr); }
    held_signals_l(const held_signals_l&) = delete;
    held_signals_l& operator=(const held_signals_l&) = delete;

private:
    sigset_t old_;
};

void disarm() {
    int expected = ARMED;
    state.compare_exchange_strong(expected, IDLE);
}

// From here on a signal lets the run finish: the output is complete and is put in
// place. A signal that came first is ending the program on another thread: wait for it.
void begin_commit() {
    int expected = state.load();
    for (;;) {
        if (expected == DYING)
            for (;;)
                pause();
        if (state.compare_exchange_weak(expected, COMMITTING)) return;
    }
}

QString reason(int error) {
    return QString::fromLocal8Bit(strerror(error));
}

void say_cannot(const QString& what, const QString& name, int error) {
    say(QStringLiteral("korvan-batch: cannot ") + what + QLatin1Char(' ') + name +
        QStringLiteral(": ") + reason(error));
}

bool write_all(int fd, const char* data, qint64 size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size_t(qMin<qint64>(size, 1 << 30)));
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        size -= n;
    }
    return true;
}

// A temporary of this program: "." NAME ".korvan-" and the six characters mkstemp picks.
bool is_temporary(const char* name) {
    static const char mark[] = ".korvan-";
    const size_t n = strlen(name);
    const size_t tail = sizeof mark - 1 + 6;
    if (name[0] != '.' || n < tail + 2) return false;
    if (memcmp(name + n - tail, mark, sizeof mark - 1) != 0) return false;
    for (size_t i = n - 6; i < n; ++i) {
        const char c = name[i];
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')))
            return false;
    }
    return true;
}

// "page-" five or more digits ".png": a page a run wrote into its temporary directory.
bool is_page_file(const char* name) {
    const size_t n = strlen(name);
    if (n < 14 || memcmp(name, "page-", 5) != 0 || strcmp(name + n - 4, ".png") != 0) return false;
    for (size_t i = 5; i < n - 4; ++i)
        if (name[i] < '0' || name[i] > '9') return false;
    return true;
}

// Locks a temporary just made at `path` through `fd`. False when it is no longer the
// file at `path`: a run removing stale temporaries took it in the moment between its
// making and its locking, and another name must be tried.
bool lock_fresh(int fd, const QByteArray& path) {
    struct stat by_fd, by_name;
    return flock(fd, LOCK_EX | LOCK_NB) == 0 && fstat(fd, &by_fd) == 0 &&
           lstat(path.constData(), &by_name) == 0 && by_fd.st_dev == by_name.st_dev &&
           by_fd.st_ino == by_name.st_ino;
}

QByteArray directory_of(const QByteArray& path) {
    const int slash = path.lastIndexOf('/');
    if (slash < 0) return QByteArrayLiteral(".");
    if (slash == 0) return QByteArrayLiteral("/");
    return path.left(slash);
}

// Creates the directory and its parents; 0 or the reason it could not.
int make_path(const QByteArray& path) {
    struct stat st;
    if (stat(path.constData(), &st) == 0) return S_ISDIR(st.st_mode) ? 0 : ENOTDIR;
    for (int at = 1; at <= path.size(); ++at) {
        if (at < path.size() && path.at(at) != '/') continue;
        const QByteArray part = path.left(at);
        if (mkdir(part.constData(), 0777) != 0 && errno != EEXIST) return errno;
    }
    return stat(path.constData(), &st) == 0 && S_ISDIR(st.st_mode) ? 0 : ENOTDIR;
}

} // namespace

void say(const QString& text) {
    if (progress_line_open) std::fputs("\n", stderr);
    progress_line_open = 0;
    const QByteArray bytes = text.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
    std::fflush(stderr);
}

void set_progress_line_open(bool open) {
    progress_line_open = open ? 1 : 0;
}

void output_complete_v() {
    begin_commit();
}

void set_interrupt_note_v(const QString& text) {
    install_handlers();
    copy_note(text);
}

void remove_stale_temporaries_v(const QByteArray& dir) {
    DIR* entries = opendir(dir.constData());
    if (!entries) return;
    const int dir_fd = dirfd(entries);
    while (const dirent* entry = readdir(entries)) {
        const char* name = entry->d_name;
        if (!is_temporary(name)) continue;
        const int fd = openat(dir_fd, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) continue;
        struct stat by_fd, by_name;
        // Unlocked: its run has ended without removing it. Only this user's, so that a
        // file of someone else's that happens to look like one stays.
        if (flock(fd, LOCK_EX | LOCK_NB) == 0 && fstat(fd, &by_fd) == 0 &&
            by_fd.st_uid == geteuid() &&
            fstatat(dir_fd, name, &by_name, AT_SYMLINK_NOFOLLOW) == 0 &&
            by_fd.st_dev == by_name.st_dev && by_fd.st_ino == by_name.st_ino) {
            if (S_ISREG(by_fd.st_mode)) {
                unlinkat(dir_fd, name, 0);
            } else if (S_ISDIR(by_fd.st_mode)) {
                // A directory of pages: its page files go, and with them the directory
                // unless it holds anything else.
                if (DIR* pages = fdopendir(dup(fd))) {
                    while (const dirent* page = readdir(pages))
                        if (is_page_file(page->d_name)) unlinkat(dirfd(pages), page->d_name, 0);
                    closedir(pages);
                }
                unlinkat(dir_fd, name, AT_REMOVEDIR);
            }
        }
        ::close(fd);
    }
    closedir(entries);
}

// ---- the PDF's file ----

output_file_l::~output_file_l() {
    abort_v();
}

bool output_file_l::open_b(const QString& target) {
    install_handlers();
    if (target == QLatin1String("-")) {
        shown_ = QStringLiteral("standard output");
        fd_ = STDOUT_FILENO;
        set_interrupt_note_v(QStringLiteral("; the PDF on standard output is incomplete"));
        return QIODevice::open(QIODevice::WriteOnly);
    }
    shown_ = target;
    const QByteArray path = QFile::encodeName(target);
    struct stat st;
    mode_t mode;
    bool existed = false;
    if (stat(path.constData(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) {
            say_cannot(QStringLiteral("write"), shown_, EISDIR);
            return false;
        }
        if (!S_ISREG(st.st_mode)) {
            // A device or a FIFO is written as it is: it cannot be replaced.
            fd_ = ::open(path.constData(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
            if (fd_ < 0) {
                say_cannot(QStringLiteral("write"), shown_, errno);
                return false;
            }
            set_interrupt_note_v(QStringLiteral("; the PDF written to ") + shown_ +
                                 QStringLiteral(" is incomplete"));
            return QIODevice::open(QIODevice::WriteOnly);
        }
        // The file a symbolic link names is replaced, not the link.
        char* real = realpath(path.constData(), nullptr);
        final_ = real ? QByteArray(real) : path;
        free(real);
        mode = st.st_mode & 07777;
        existed = true;
    } else {
        final_ = path;
        const mode_t mask = umask(0);
        umask(mask);
        mode = 0666 & ~mask;
    }
    const QByteArray dir = directory_of(final_);
    remove_stale_temporaries_v(dir);
    // A name of NAME_MAX bytes leaves no room for the temporary's own characters.
    const QByteArray base = final_.mid(final_.lastIndexOf('/') + 1).left(200);
    const held_signals_l held;
    if (!create_temporary_b(dir, base, mode)) {
        say_cannot(QStringLiteral("write"), shown_, errno);
        return false;
    }
    arm(REMOVE_FILE, temporary_,
        existed ? QStringLiteral("; ") + shown_ + QStringLiteral(" was left as it was")
                : QStringLiteral("; ") + shown_ + QStringLiteral(" was not written"));
    return QIODevice::open(QIODevice::WriteOnly);
}

bool output_file_l::open_spool_b(const QString& dir, const QString& shown) {
    install_handlers();
    shown_ = shown;
    spool_ = true;
    const QByteArray path = QFile::encodeName(dir);
    remove_stale_temporaries_v(path);
    const held_signals_l held;
    if (!create_temporary_b(path, "korvan-batch-job", 0600)) {
        say_cannot(QStringLiteral("write"), shown_, errno);
        return false;
    }
    arm(REMOVE_FILE, temporary_, QString());
    return QIODevice::open(QIODevice::WriteOnly);
}

void output_file_l::remove_v() {
    if (temporary_.isEmpty()) return;
    unlink(temporary_.constData());
    ::close(lock_fd_);
    lock_fd_ = -1;
    disarm();
}

bool output_file_l::create_temporary_b(const QByteArray& dir, const QByteArray& base, mode_t mode) {
    for (int attempt = 0; attempt < 10; ++attempt) {
        QByteArray name = dir + "/." + base + ".korvan-XXXXXX";
        const int fd = mkostemp(name.data(), O_CLOEXEC);
        if (fd < 0) return false;
        if (!lock_fresh(fd, name)) {
            ::close(fd);
            continue;
        }
        fchmod(fd, mode);
        // The lock lives as long as either descriptor: closing the file to see its
        // errors must not unlock it before it is renamed.
        lock_fd_ = dup(fd);
        fd_ = fd;
        temporary_ = name;
        return true;
    }
    errno = EEXIST;
    return false;
}

qint64 output_file_l::writeData(const char* data, qint64 size) {
    if (failed_) return size; // said once; the run stops at the next page
    // The PDF engine writes many small pieces: they go to the file 16 KiB at a time,
    // few system calls, and the file grows steadily as the pages are written.
    buffer_.append(data, size);
    if (buffer_.size() >= (1 << 14)) flush_b();
    return size;
}

bool output_file_l::flush_b() {
    if (!failed_ && !buffer_.isEmpty() && !write_all(fd_, buffer_.constData(), buffer_.size()))
        fail_v(errno);
    buffer_.clear();
    return !failed_;
}

void output_file_l::fail_v(int error) {
    if (failed_) return;
    failed_ = true;
    say_cannot(QStringLiteral("write"), shown_, error);
}

bool output_file_l::commit_b() {
    if (done_) return !failed_;
    done_ = true;
    flush_b();
    QIODevice::close();
    if (temporary_.isEmpty()) {
        if (fd_ != STDOUT_FILENO && fd_ >= 0 && ::close(fd_) != 0) fail_v(errno);
        fd_ = -1;
        if (!failed_) begin_commit();
        return !failed_;
    }
    // A spool file is read back at once; a file that is the output must be on the disk
    // before it takes the output's name.
    if (!failed_ && !spool_ && fsync(fd_) != 0) fail_v(errno);
    if (::close(fd_) != 0) fail_v(errno);
    fd_ = -1;
    if (spool_) {
        if (failed_) remove_v();
        return !failed_;
    }
    if (!failed_) {
        begin_commit();
        if (rename(temporary_.constData(), final_.constData()) != 0) {
            fail_v(errno);
        } else {
            // The new name on the disk too (best effort: some file systems refuse).
            const int dir_fd = ::open(directory_of(final_).constData(), O_RDONLY | O_CLOEXEC);
            if (dir_fd >= 0) {
                fsync(dir_fd);
                ::close(dir_fd);
            }
        }
    }
    if (failed_) {
        unlink(temporary_.constData());
        disarm();
    }
    ::close(lock_fd_);
    lock_fd_ = -1;
    return !failed_;
}

void output_file_l::abort_v() {
    if (done_) return;
    done_ = true;
    QIODevice::close();
    if (temporary_.isEmpty()) {
        if (fd_ != STDOUT_FILENO && fd_ >= 0) ::close(fd_);
        return;
    }
    ::close(fd_);
    unlink(temporary_.constData());
    ::close(lock_fd_);
    fd_ = lock_fd_ = -1;
    disarm();
}

// ---- page files ----

page_files_l::~page_files_l() {
    abort_v();
}

QString page_files_l::page_name(int number) const {
    return dir_ + QStringLiteral("/page-%1.png").arg(number, 5, 10, QLatin1Char('0'));
}

bool page_files_l::open_b(const QString& dir) {
    install_handlers();
    dir_ = dir.endsWith(QLatin1Char('/')) && dir.size() > 1 ? dir.chopped(1) : dir;
    dir_path_ = QFile::encodeName(dir_);
    if (const int error = make_path(dir_path_)) {
        say_cannot(QStringLiteral("create"), dir_, error);
        return false;
    }
    dir_fd_ = ::open(dir_path_.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir_fd_ < 0) {
        say_cannot(QStringLiteral("write"), dir_, errno);
        return false;
    }
    remove_stale_temporaries_v(dir_path_);
    const held_signals_l held;
    for (int attempt = 0; attempt < 10; ++attempt) {
        QByteArray name = dir_path_ + "/.pages.korvan-XXXXXX";
        if (!mkdtemp(name.data())) {
            say_cannot(QStringLiteral("write"), dir_, errno);
            return false;
        }
        const int fd = ::open(name.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd >= 0 && lock_fresh(fd, name)) {
            temp_fd_ = fd;
            temporary_ = name;
            arm(REMOVE_PAGES, temporary_, QStringLiteral("; no page was written to ") + dir_);
            return true;
        }
        if (fd >= 0) ::close(fd);
    }
    say_cannot(QStringLiteral("write"), dir_, EEXIST);
    return false;
}

bool page_files_l::write_b(int number, const QByteArray& bytes) {
    char name[32];
    page_file_name(name, number);
    // Counted before the file exists, so that a signal removes it as well.
    if (number > pages_) pages_ = number;
    remove_pages = pages_;
    const int fd = openat(temp_fd_, name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    int error = fd < 0 ? errno : 0;
    if (fd >= 0) {
        if (!write_all(fd, bytes.constData(), bytes.size())) error = errno;
        if (::close(fd) != 0 && error == 0) error = errno;
    }
    if (error == 0) return true;
    say_cannot(QStringLiteral("write"), page_name(number), error);
    return false;
}

bool page_files_l::commit_b() {
    if (done_) return false;
    // Everything written reaches the disk before any page takes its place.
    if (syncfs(temp_fd_) != 0) {
        say_cannot(QStringLiteral("write"), dir_, errno);
        abort_v();
        return false;
    }
    begin_commit();
    done_ = true;
    char name[32];
    int pages_moved = 0;
    for (int page = 1; page <= pages_; ++page) {
        page_file_name(name, page);
        if (renameat(temp_fd_, name, dir_fd_, name) == 0) {
            pages_moved = page;
            continue;
        }
        say_cannot(QStringLiteral("write"), page_name(page), errno);
        // The pages already moved belong to a run that failed: none of them stays.
        for (int moved = 1; moved < page; ++moved) {
            page_file_name(name, moved);
            unlinkat(dir_fd_, name, 0);
        }
        for (int left = page; left <= pages_; ++left) {
            page_file_name(name, left);
            unlinkat(temp_fd_, name, 0);
        }
        break;
    }
    const bool moved_all = pages_moved == pages_;
    unlinkat(dir_fd_, temporary_.mid(temporary_.lastIndexOf('/') + 1).constData(), AT_REMOVEDIR);
    if (moved_all) fsync(dir_fd_);
    ::close(temp_fd_);
    ::close(dir_fd_);
    temp_fd_ = dir_fd_ = -1;
    return moved_all;
}

void page_files_l::abort_v() {
    if (done_) return;
    done_ = true;
    if (temp_fd_ >= 0) {
        char name[32];
        for (int page = 1; page <= pages_; ++page) {
            page_file_name(name, page);
            unlinkat(temp_fd_, name, 0);
        }
        rmdir(temporary_.constData());
        ::close(temp_fd_);
        disarm();
    }
    if (dir_fd_ >= 0) ::close(dir_fd_);
    temp_fd_ = dir_fd_ = -1;
}

} // namespace batch
