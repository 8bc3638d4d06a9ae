// Turning file names into the paths that are opened: a bare name means a file in the
// program's work directory.
#include "core/qx_z.h"

bool qx_z_l::check_path_b(const QString& name) {
    if (name.size() >= 2 && name.at(1) == QLatin1Char(':')) return true;
    if (name.startsWith(path_separator)) return true;
    if (name.startsWith(QLatin1Char('.') + path_separator)) return true;
    if (name.startsWith(QStringLiteral("..") + path_separator)) return true;
    return false;
}

QString qx_z_l::get_tmp_path_s(const QString& tail) {
    return get_tmp_path_s(program_name, tail);
}

QString qx_z_l::get_tmp_path_s(const QString& /*program*/, const QString& tail) {
    return root_directory + path_separator + QStringLiteral("Q") + path_separator +
           QStringLiteral("TMP") + tail;
}

QString qx_z_l::get_tmp_file_s(const QString& name) {
    if (check_path_b(name)) return name;
    return get_tmp_path_s(path_separator) + name;
}
