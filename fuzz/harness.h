// What every harness needs: a GUI application (fonts are looked up through the font
// database), one context for the whole run, a scratch file in memory, and an abort that
// names the broken invariant, so that libFuzzer keeps the input that broke it.
#pragma once

#include "core/qx_z.h"

#include <QByteArray>
#include <QFile>
#include <QGuiApplication>
#include <QString>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace harness {

inline qx_z_l* context = nullptr;

// Creates the application and the context once, for the harness called `name`.
inline void start(const char* name) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char program[64];
    std::snprintf(program, sizeof program, "%s", name);
    static char* argv[] = {program, nullptr};
    new QGuiApplication(argc, argv);
    context = new qx_z_l(QStringLiteral("KORVAN"), argc, argv);
}

inline void check(bool condition, const char* harness_name, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s: broken invariant: %s\n", harness_name, what);
        std::abort();
    }
}

// A file of this process in /dev/shm, so that writing it costs no disk.
inline QString scratch_path(const char* tag) {
    return QStringLiteral("/dev/shm/korvan-fuzz-%1-%2").arg(QLatin1String(tag)).arg(getpid());
}

inline bool write_file(const QString& path, const char* data, qsizetype size) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return false;
    return file.write(data, size) == size;
}

// Takes bytes from the front of the input, and zeros once it is used up, so that a
// harness can read its parameters without checking the length every time.
class input_l {
public:
    input_l(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    uint16_t word() { return uint16_t(byte() | (byte() << 8)); }
    // The rest of the input.
    QByteArray rest() const {
        return QByteArray(reinterpret_cast<const char*>(data_ + pos_), qsizetype(size_ - pos_));
    }

private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

} // namespace harness
