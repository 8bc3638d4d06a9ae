// The per-queue calibration values: their limits, their file, and their effect on the
// engine's mapping of millimetres to the device.
#include "output/calibration.h"

#include "layout/form.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <cmath>
#include <cstdio>

namespace {

// Device units are 1/72 inch on every output.
constexpr double units_per_mm = 72.0 / 25.4;
// A list of print queues is a few lines; a file far larger than that is not one.
constexpr qint64 max_file_size = 1 << 20;
const char* const keys[4] = {"shift_x", "shift_y", "stretch_x", "stretch_y"};

// Print queue names ignore case, so "Office" and "office" share their values.
QString group_of(const QString& queue) {
    return queue.toLower();
}

QString number_s(double v, int decimals) {
    return QString::number(v, 'f', decimals);
}

// A value as the file holds it, short enough for a one-line message.
QString shown_s(const QVariant& value) {
    QString text = value.typeId() == QMetaType::QStringList ? value.toStringList().join(',')
                                                            : value.toString();
    for (QChar& c : text)
        if (c.unicode() < 0x20) c = QLatin1Char('?');
    return text.size() > 40 ? text.left(40) + QStringLiteral("...") : text;
}

// Why the file as a whole cannot be used, or an empty text when it can (or is absent).
QString file_problem_s(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists()) return {};
    if (!info.isFile()) return path + QStringLiteral(": not a file");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return path + QStringLiteral(": cannot be read (") + file.errorString() + QLatin1Char(')');
    if (file.size() > max_file_size)
        return path + QStringLiteral(": too large to be a list of printers");
    QSettings settings(path, QSettings::IniFormat);
    // Sections are parsed when their keys are first asked for: ask for all of them.
    settings.allKeys();
    if (settings.status() != QSettings::NoError)
        return path + QStringLiteral(": corrupt, not a list of printers");
    return {};
}

} // namespace

bool calibration_l::shift_ok_b(double mm) {
    return std::isfinite(mm) && std::fabs(mm) <= max_shift;
}

bool calibration_l::stretch_ok_b(double factor) {
    return std::isfinite(factor) && factor >= min_stretch && factor <= max_stretch;
}

bool calibration_l::identity_b() const {
    return shift_x == 0 && shift_y == 0 && stretch_x == 1 && stretch_y == 1;
}

QString calibration_l::text_s() const {
    return QStringLiteral("shift ") + number_s(shift_x, 2) + QLatin1Char(',') +
           number_s(shift_y, 2) + QStringLiteral(" mm, stretch ") + number_s(stretch_x, 5) +
           QLatin1Char(',') + number_s(stretch_y, 5);
}

void calibration_l::apply_v(form_l* form) const {
    form->shift_x = shift_x * units_per_mm;
    form->shift_y = shift_y * units_per_mm;
    form->stretch_x = stretch_x;
    form->stretch_y = stretch_y;
}

calibration_l calibration_l::corrected_n(const double readings[4], double width,
                                         double height) const {
    // The sheet puts a mark at x * stretch + shift; the printer then puts it at
    // x * s + d on the paper. A reading L at the left edge means that the mark meant for
    // x = -L lands on the edge, R at the right edge that the one meant for width - R
    // does: so s = width / (width - R + L) and d = s * L. The new correction makes the
    // whole chain the identity: stretch / s, and shift - stretch * L.
    const auto axis = [](double stretch, double shift, double first, double last, double size,
                         double* new_stretch, double* new_shift) {
        *new_stretch = stretch * (size - last + first) / size;
        *new_shift = shift - stretch * first;
    };
    calibration_l c;
    axis(stretch_x, shift_x, readings[0], readings[1], width, &c.stretch_x, &c.shift_x);
    axis(stretch_y, shift_y, readings[2], readings[3], height, &c.stretch_y, &c.shift_y);
    return c;
}

QString calibration_l::file_s() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/korvan/printers.ini");
}

calibration_l calibration_l::load_n(const QString& queue, QString* problem) {
    problem->clear();
    if (queue.isEmpty()) return {};
    const QString path = file_s();
    *problem = file_problem_s(path);
    if (!problem->isEmpty() || !QFileInfo::exists(path)) return {};

    QSettings settings(path, QSettings::IniFormat);
    settings.beginGroup(group_of(queue));
    calibration_l c;
    double* const fields[4] = {&c.shift_x, &c.shift_y, &c.stretch_x, &c.stretch_y};
    for (int i = 0; i < 4; ++i) {
        const QVariant value = settings.value(QLatin1String(keys[i]));
        if (!value.isValid()) continue; // not stored: no correction on that account
        bool number = false;
        const double v = value.toString().trimmed().toDouble(&number);
        const bool ok = number && (i < 2 ? shift_ok_b(v) : stretch_ok_b(v));
        if (!ok) {
            *problem = path + QStringLiteral(": [") + queue + QStringLiteral("] ") +
                       QLatin1String(keys[i]) + QStringLiteral(" is \"") + shown_s(value) +
                       QStringLiteral("\", not ") +
                       (i < 2 ? QStringLiteral("a shift from -20 to 20 mm")
                              : QStringLiteral("a stretch from 0.9 to 1.1"));
            return {};
        }
        *fields[i] = v;
    }
    return c;
}

calibration_l calibration_l::printing_n(const QString& queue, const QString& program) {
    QString problem;
    const calibration_l c = load_n(queue, &problem);
    if (!problem.isEmpty()) {
        const QByteArray line = (program + QStringLiteral(": ") + problem +
                                 QStringLiteral("; printing without calibration\n"))
                                    .toUtf8();
        std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
    }
    return c;
}

bool calibration_l::store_b(const QString& queue, const calibration_l* values, QString* problem) {
    const QString path = file_s();
    // A file that cannot be parsed would lose what it holds when rewritten.
    *problem = file_problem_s(path);
    if (!problem->isEmpty()) {
        *problem += QStringLiteral("; nothing changed: repair or delete it first");
        return false;
    }
    const QString dir = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(dir)) {
        *problem = dir + QStringLiteral(": cannot be created; nothing changed");
        return false;
    }
    QSettings settings(path, QSettings::IniFormat);
    settings.beginGroup(group_of(queue));
    if (values) {
        settings.setValue(QLatin1String(keys[0]), number_s(values->shift_x, 3));
        settings.setValue(QLatin1String(keys[1]), number_s(values->shift_y, 3));
        settings.setValue(QLatin1String(keys[2]), number_s(values->stretch_x, 6));
        settings.setValue(QLatin1String(keys[3]), number_s(values->stretch_y, 6));
    } else {
        settings.remove(QString());
    }
    settings.endGroup();
    // The file is replaced as a whole or not at all.
    settings.sync();
    if (settings.status() != QSettings::NoError) {
        *problem = path + QStringLiteral(": cannot be written (is ") + dir +
                   QStringLiteral(" read-only?); nothing changed");
        return false;
    }
    return true;
}
