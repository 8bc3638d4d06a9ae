// Live reload: while the preview is open, a change to the layout, the data or the
// background file reads them again, keeping the page, the zoom and the offsets. A
// layout with errors shows the error screen; saved fixed, the page comes back.
#include "core/textfile.h" // the readers the moved-in run replaces
#include "output/korvan.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <cstdio>
#include <filesystem>

namespace {

// Changes closer together than this are read once: an editor's save is often a
// truncate and a write, or a write and a rename. A file written slowly puts the reload
// off until it has been quiet that long, but never longer than the second limit after
// its first change, so that the window is current within a second.
constexpr int settle_ms = 150;
constexpr int longest_wait_ms = 800;

// What tells one version of a file from the next: its size, its modification time to
// the nanosecond, the time of its last change of permissions, and whether it can be
// read ("-" when it is missing).
QString stamp_s(const QString& path) {
    std::error_code error;
    const std::filesystem::path p(QFile::encodeName(path).toStdString());
    const auto size = std::filesystem::file_size(p, error);
    if (error) return QStringLiteral("-");
    const auto time = std::filesystem::last_write_time(p, error);
    if (error) return QStringLiteral("-");
    const QFileInfo info(path);
    return QString::number(qulonglong(size)) + QLatin1Char(' ') +
           QString::number(qlonglong(time.time_since_epoch().count())) + QLatin1Char(' ') +
           QString::number(info.metadataChangeTime().toMSecsSinceEpoch()) +
           (info.isReadable() ? QStringLiteral(" r") : QStringLiteral(" -"));
}

} // namespace

// Every member back to its start: a fresh run, made by the engine's own constructor,
// moved in member by member, so that no state of the old run (an error, the end of the
// data, the styles) survives into the new one.
form_l& form_l::operator=(form_l&&) = default;

void form_l::restart_v() {
    qDeleteAll(line_items);
    qDeleteAll(print_items);
    delete new_item;
    line_items.clear();
    print_items.clear();
    new_item = nullptr;
    // The items are freed above: the moved-from run holds none of them to free again.
    form_l fresh(ctx);
    *this = std::move(fresh);
}

void korvan_l::start_watching_v() {
    setMouseTracking(true); // the status line follows the mouse
    watcher = new QFileSystemWatcher(this);
    // An editor that saves by writing a new file and renaming it over the old one
    // leaves the old file's watch behind: the directories are watched as well, and the
    // files are watched again after each change.
    const auto changed = [this] {
        if (!reload_timer.isActive()) first_change.start();
        if (first_change.elapsed() + settle_ms < longest_wait_ms) reload_timer.start();
    };
    connect(watcher, &QFileSystemWatcher::fileChanged, this, changed);
    connect(watcher, &QFileSystemWatcher::directoryChanged, this, changed);
    reload_timer.setSingleShot(true);
    reload_timer.setInterval(settle_ms);
    connect(&reload_timer, &QTimer::timeout, this, [this] {
        // Not while a print dialog is open or a page is being drawn: later.
        if (QApplication::activeModalWidget() || busy_flag == 1 || printing_flag == 1)
            return reload_timer.start();
        if (file_states() != watched_states)
            reload_v();
        else
            watch_paths_v(); // another file of the directory, or a file put back as it was
    });
    watched_states = file_states();
    load_background_v();
    watch_paths_v();
}

QStringList korvan_l::file_states() {
    const QString layout_path =
        ctx->get_tmp_file_s(layout_name.isEmpty() ? QStringLiteral("KORVAN.CSV") : layout_name);
    QStringList files{layout_path};
    if (mode == MODE_DISPLAY)
        files.append(
            ctx->get_tmp_file_s(data_name.isEmpty() ? QStringLiteral("KORVAN.TXT") : data_name));
    files += background_l::names_sx(layout_path);
    QStringList states;
    for (const QString& file : std::as_const(files))
        states.append(file + QLatin1Char('\t') + stamp_s(file));
    return states;
}

void korvan_l::watch_paths_v() {
    for (const QString& state : std::as_const(watched_states)) {
        const QString file = state.section(QLatin1Char('\t'), 0, 0);
        const QString dir = QFileInfo(file).absolutePath();
        if (QFileInfo(dir).isDir() && !watcher->directories().contains(dir)) watcher->addPath(dir);
        if (!QFileInfo::exists(file)) continue;
        // Watched afresh each time: a file replaced by rename while another program
        // still holds the old one open would otherwise stay watched as the old one, and
        // the new one's in-place writes would go unseen.
        if (watcher->files().contains(file)) watcher->removePath(file);
        watcher->addPath(file);
    }
}

// Reads the background when it is new or has changed since it was read; a picture that
// cannot be used is said once, on standard error and in the status line.
void korvan_l::load_background_v() {
    const QString file = background_l::find_s(
        ctx->get_tmp_file_s(layout_name.isEmpty() ? QStringLiteral("KORVAN.CSV") : layout_name));
    const QString state = file + QLatin1Char('\t') + stamp_s(file);
    if (state == background_state) return;
    background_state = state;
    status_note.clear();
    background.clear_v();
    background.path = file;
    if (file.isEmpty()) return;
    if (!background.load_b(file, background_l::dpi_from_environment())) {
        status_note = background.problem;
        const QByteArray line = (QStringLiteral("korvan: ") + background.problem).toUtf8() + '\n';
        std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
        std::fflush(stderr);
    }
}

void korvan_l::reload_v() {
    if (mode != MODE_DISPLAY && mode != MODE_TEST_DATA) return;
    // What the files are like before they are read: a save during the reading makes
    // the next comparison differ, so the window never stays with an older version.
    watched_states = file_states();
    // The page to come back to: the one shown, or the one shown before the error screen.
    if (shows_page_b()) keep_view_v();
    const view_l view = kept;
    restart_v();
    zoom = view.zoom;
    x_offset = view.x;
    y_offset = view.y;
    setup_v(); // reads the layout and stands the data at the start page
    // The error screen's lines start at its top-left whatever the page's offsets were;
    // the page gets them back when the layout is saved fixed.
    if (error_flag == 1) x_offset = y_offset = 0.0f;
    const int page = view.page;
    if (error_flag == 0 && page > current_page) {
        if (mode == MODE_TEST_DATA) {
            current_page = page;
        } else if (position_data_b(page, false) < 0) {
            // The data no longer reaches that page: the start page, as at start-up.
            position_data_b(start_page);
        }
    }
    stream_page = current_page;
    load_background_v();
    watch_paths_v();
    repaint_v();
}
