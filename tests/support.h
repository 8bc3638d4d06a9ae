// Helpers shared by the test programs: contexts and forms made from a command line,
// files in a temporary directory, the ink of a rendered page, and running a tool.
#pragma once
#include "core/qx_z.h"
#include "layout/form.h"

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>
#include <vector>

// A data-driven test over a table: one data row per element, named by its field
// `name`; the test function takes its element with QFETCH(int, row).
template <class T, size_t N> void table_data(const T (&table)[N], const char* T::*name) {
    QTest::addColumn<int>("row");
    for (size_t i = 0; i < N; ++i) // control characters would break the log lines
        QTest::addRow("%d %s", int(i), QByteArray(table[i].*name).replace('\n', "\\n").data())
            << int(i);
}

// A context as the program makes it from argv; argv[0] is the program path.
inline std::unique_ptr<qx_z_l> make_context(const QStringList& argv = {"korvan"},
                                            const QString& name = QStringLiteral("KORVAN")) {
    std::vector<QByteArray> words;
    for (const QString& a : argv)
        words.push_back(a.toLocal8Bit());
    std::vector<char*> ptrs;
    for (QByteArray& w : words)
        ptrs.push_back(w.data());
    ptrs.push_back(nullptr);
    return std::make_unique<qx_z_l>(name, int(words.size()), ptrs.data());
}

// A context and a form (or the window, which sets itself up) for the arguments that
// follow the program name.
template <class F = form_l> struct session_l {
    std::unique_ptr<qx_z_l> ctx;
    std::unique_ptr<F> form;
    explicit session_l(const QStringList& args = {})
        : ctx(make_context(QStringList{"korvan"} + args)), form(std::make_unique<F>(ctx.get())) {}
    F* operator->() const { return form.get(); }
    QStringList errors() const { return form->error_list.mid(1); } // after the banner
};

// Writes a file into `dir` and returns its path.
inline QString put(const QTemporaryDir& dir, const QString& name, const QByteArray& bytes) {
    const QString path = dir.filePath(name);
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

inline QByteArray slurp(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

struct tool_run_l {
    int status = -1; // -1: did not start or did not end normally
    QByteArray out, err;
};

inline tool_run_l
run_tool(const QString& program, const QStringList& args, const QByteArray& input = {},
         const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment()) {
    tool_run_l r;
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(program, args);
    if (!p.waitForStarted()) return r;
    p.write(input);
    p.closeWriteChannel();
    if (!p.waitForFinished(60000)) p.kill(), p.waitForFinished();
    if (p.exitStatus() == QProcess::NormalExit) r.status = p.exitCode();
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    return r;
}

// Bounding box of the pixels darker than `threshold`.
inline QRect ink(const QImage& image, int threshold = 255) {
    QRect box;
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x)
            if (qGray(row[x]) < threshold) box |= QRect(x, y, 1, 1);
    }
    return box;
}
