// Layouts written for Windows name the Windows Japanese fonts; on this system those
// names draw in the IPA fonts, and count as installed wherever a layout names them.
//
// The program's fonts also stand in for one another, whatever else the machine has
// installed: a character the IPA font lacks is drawn in the IPAex font of the same
// style (the vertical forms of brackets and dashes, ︵ ︶ ︻ ︼ and their kin, which
// vertical text turns brackets into), and one neither has in IPAmj Mincho (the rare
// kanji of people's and places' names, such as 𠮷). Only after those does Qt ask the
// machine's fontconfig, whose choice would depend on what happens to be installed.
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

// The families that draw what `family` (an IPA or IPAex family) lacks, in order.
QStringList fallbacks(const QString& family) {
    const QString mj = QStringLiteral("IPAmjMincho");
    if (family.startsWith(QLatin1String("IPAex"))) return {mj};
    const bool mincho = family.endsWith(QLatin1String("Mincho"));
    return {mincho ? QStringLiteral("IPAexMincho") : QStringLiteral("IPAexGothic"), mj};
}

} // namespace

void qx_z_l::install_font_substitutions() {
    static bool done = false;
    if (done) return;
    done = true;
    // Qt looks in the substitutes of the family a font asks for, not in those of its
    // substitutes, so a Windows name gets the whole list: its IPA family first.
    const QStringList spellings = {
        QStringLiteral("MS Gothic"),    QStringLiteral("MS Mincho"),
        QStringLiteral("MS PGothic"),   QStringLiteral("MS PMincho"),
        QStringLiteral("MS UI Gothic"), QStringLiteral("ＭＳ ゴシック"),
        QStringLiteral("ＭＳ 明朝"),    QStringLiteral("ＭＳ Ｐゴシック"),
        QStringLiteral("ＭＳ Ｐ明朝")};
    for (const QString& name : spellings) {
        const QString family = font_map().value(name.toLower());
        QFont::insertSubstitutions(name, QStringList{family} + fallbacks(family));
    }
    for (const char* family :
         {"IPAGothic", "IPAPGothic", "IPAMincho", "IPAPMincho", "IPAexGothic", "IPAexMincho"})
        QFont::insertSubstitutions(QLatin1String(family), fallbacks(QLatin1String(family)));
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
