#include "core/qx_z.h"

#include "core/textfile.h"
#include "core/version.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QPainter>
#include <QProcess>
#include <QProcessEnvironment>

qx_z_l::qx_z_l(const QString& name, int argc, char** argv) {
    kind_cache_.fill(-1);
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i] ? argv[i] : ""));
    if (argc > 0 && argv[0]) program_path = QString::fromLocal8Bit(argv[0]);
    sub_v(name);
}

qx_z_l::~qx_z_l() = default;

void qx_z_l::sub_v(const QString& name) {
    program_name = name;
    platform_code = QLatin1Char('U');
    if (platform_code == QLatin1Char('W')) {
        path_separator = QStringLiteral("\\");
        delete_command = QStringLiteral("DEL");
        root_directory = environment_s(QStringLiteral("SystemDrive"));
    } else {
        path_separator = QStringLiteral("/");
        delete_command = QStringLiteral("RM");
        root_directory = QStringLiteral("/home");
    }
    settings = {
        QStringLiteral("INP"),        QStringLiteral("ZZZZ"),
        QStringLiteral("JA"),         QStringLiteral("REAL"),
        QStringLiteral("REAL"),       QStringLiteral("_TRACE.TXT"),
        QStringLiteral("30/600"),     QStringLiteral("ZZZZ000000"),
        QStringLiteral("zzzz800000"), QStringLiteral(",Normal,C,No Comma,Z,Display 0,E,C+Z")};

    program_directory = program_directory_s(program_path, path_separator);
    current_directory = get_current_directory_s();
    machine_name = machine_name_s();
    machine_name_upper = machine_name.toUpper();
    machine_key = machine_key_s(machine_name);

    const int g = grey_level;
    const int rgb[11][3] = {{255, 255, 255}, {224, 224, 224}, {g, g, g},       {128, 128, 128},
                            {0, 0, 0},       {255, 255, 128}, {255, 128, 192}, {128, 255, 128},
                            {128, 192, 255}, {255, 191, 127}, {192, 128, 255}};
    palette.clear();
    for (const auto& c : rgb)
        palette.append(QBrush(QColor(c[0], c[1], c[2], 255), Qt::SolidPattern));

    // KORVAN_ENCODING names the encoding of the layout and data files for the whole run.
    // A name that encode_s does not know is ignored: each file is then looked at.
    const QString wanted = environment_s(QStringLiteral("KORVAN_ENCODING"));
    const QString canonical = encode_s(wanted);
    if (!wanted.isEmpty() &&
        (canonical == QLatin1String("UTF-8") || canonical == QLatin1String("EUC-JP") ||
         canonical == QLatin1String("Shift-JIS")))
        forced_encoding = canonical;

    install_font_substitutions();
    font_family = default_font_family;
    default_font = QFont(default_font_family, font_size);
    default_font.setWeight(QFont::Normal);
    default_font.setItalic(false);

    version = std::make_unique<qx_version_l>(this);
    version_label = version_label_s(version->version_text, version->general_number);
    product_code = QStringLiteral("Q") + QString::number(version->general_number);
}

QString qx_z_l::environment_s(const QString& name) const {
    return QString::fromUtf8(qgetenv(name.toLocal8Bit().constData()));
}

QString qx_z_l::user_name_s() const {
    return environment_s(platform_code == QLatin1Char('W') ? QStringLiteral("USERNAME")
                                                           : QStringLiteral("USER"));
}

QString qx_z_l::machine_name_s() {
    // One bound of 30 seconds for starting and finishing together.
    const QDeadlineTimer deadline(30000);
    QProcess process;
    process.start(QStringLiteral("hostname"), QStringList());
    if (!process.waitForStarted(int(deadline.remainingTime()))) return QString();
    process.waitForFinished(int(qMax<qint64>(0, deadline.remainingTime())));
    const QByteArray line = process.readLine();
    if (line.isEmpty()) return QString();
    return machine_name_from_s(QString::fromLocal8Bit(line));
}

QString qx_z_l::machine_name_from_s(const QString& first_line) {
    // Only blanks are trimmed, so a name without a dot keeps its line feed.
    return split_sx(trim_end_s(first_line), QLatin1Char('.')).value(0);
}

QString qx_z_l::machine_key_s(const QString& name) {
    QString key = name.toUpper();
    return key.replace(QLatin1Char('-'), QLatin1Char('_'));
}

QString qx_z_l::get_current_directory_s() const {
    return QDir::currentPath();
}

QString qx_z_l::program_directory_s(const QString& path, const QString& separator) {
    if (path.size() <= 1) return path;
    for (qsizetype p = path.size() - 1; p >= 1; --p) {
        if (path.mid(p, separator.size()) == separator) return path.left(p + 1);
    }
    return path.left(1);
}

QString qx_z_l::version_label_s(const QString& v, int general_number) {
    auto strip = [](QString part, int at_most) {
        for (int i = 0; i < at_most && part.size() > 1 && part.startsWith(QLatin1Char('0')); ++i)
            part.remove(0, 1);
        return part;
    };
    const QString major = strip(v.mid(0, 4), 3);
    const QString minor = strip(v.mid(4, 2), 1);
    const QString build = strip(v.mid(6, 3), 2);
    return QString::number(general_number) + QLatin1Char('/') + major + QLatin1Char('.') + minor +
           QLatin1Char('.') + build;
}

void qx_z_l::beep_v() {
    if (qobject_cast<QApplication*>(QCoreApplication::instance())) QApplication::beep();
}

void qx_z_l::fill_rect_v(QPainter* painter, const QBrush& brush, float x, float y, float width,
                         float height) {
    if (painter) painter->fillRect(QRectF(x, y, width, height), brush);
}

bool qx_z_l::e2k_b(int key, int expected) {
    if (key == expected) return true;
    message = QLatin1Char('"') + QString::number(key) + QStringLiteral("\" not in('") +
              QString::number(expected) + QStringLiteral("')");
    return false;
}
