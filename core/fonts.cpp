// Layouts written for Windows name the Windows Japanese fonts; on this system those
// names draw in the IPA fonts, and count as installed wherever a layout names them.
#include "core/qx_z.h"

#include <QFontDatabase>
#include <QHash>

namespace {

// Lower-cased Windows family name -> IPA family.
const QHash<QString, QString>& font_map() {
    static const QHash<QString, QString> map = {
        {QStringLiteral("ms gothic"), QStringLiteral("IPAGothic")},
        {QStringLiteral("ms mincho"), QStringLiteral("IPAMincho")},
        {QStringLiteral("ms pgothic"), QStringLiteral("IPAPGothic")},
        {QStringLiteral("ms pmincho"), QStringLiteral("IPAPMincho")},
        {QStringLiteral("ms ui gothic"), QStringLiteral("IPAPGothic")},
        {QStringLiteral("ｍｓ ゴシック"), QStringLiteral("IPAGothic")},
        {QStringLiteral("ｍｓ 明朝"), QStringLiteral("IPAMincho")},
        {QStringLiteral("ｍｓ ｐゴシック"), QStringLiteral("IPAPGothic")},
        {QStringLiteral("ｍｓ ｐ明朝"), QStringLiteral("IPAPMincho")},
    };
    return map;
}

} // namespace

void qx_z_l::install_font_substitutions() {
    static bool done = false;
    if (done) return;
    done = true;
    // Substitution by exact spelling, for the names as layouts usually write them.
    const QStringList spellings = {
        QStringLiteral("MS Gothic"),    QStringLiteral("MS Mincho"),
        QStringLiteral("MS PGothic"),   QStringLiteral("MS PMincho"),
        QStringLiteral("MS UI Gothic"), QStringLiteral("ＭＳ ゴシック"),
        QStringLiteral("ＭＳ 明朝"),    QStringLiteral("ＭＳ Ｐゴシック"),
        QStringLiteral("ＭＳ Ｐ明朝")};
    for (const QString& name : spellings)
        QFont::insertSubstitution(name, font_map().value(name.toLower()));
}

QString qx_z_l::installed_family_s(const QString& name) {
    static QHash<QString, QString> installed; // lower-cased family -> family
    if (installed.isEmpty()) {
        for (const QString& family : QFontDatabase::families())
            installed.insert(family.toLower(), family);
    }
    const QString key = name.toLower();
    const QString mapped = font_map().value(key);
    if (!mapped.isEmpty()) {
        const QString target = installed.value(mapped.toLower());
        return target.isEmpty() ? QString() : name;
    }
    return installed.value(key);
}
