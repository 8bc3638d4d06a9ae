#include "core/version.h"

#include "core/textfile.h"

int qx_version_l::program_number() const {
    if (ctx->program_name == QLatin1String("BELDOM")) return beldom_number;
    if (ctx->program_name == QLatin1String("KORVAN")) return korvan_number;
    return general_number;
}

bool qx_version_l::version_b(const s_l* arguments) {
    if (ctx->count_s_i(arguments) != 2) return false;
    if (!ctx->e2s_b(ctx->upper_s(ctx->at_s(arguments, 0)), QStringLiteral("VERSION"))) return false;
    if (!ctx->e2s_b(ctx->upper_s(ctx->at_s(arguments, 1)), QStringLiteral("VERSION"))) return false;
    const QString sep = ctx->path_separator;
    const QString path = ctx->root_directory + sep + QStringLiteral("Q") + sep +
                         QStringLiteral("TMP") + sep + QStringLiteral("VERSION_") +
                         ctx->program_name + QStringLiteral(".TXT");
    qx_write_l writer(ctx);
    if (writer.open_b(path, QStringLiteral("OT"), QStringLiteral("/"))) {
        if (ctx->program_name == QLatin1String("BELDOM") ||
            ctx->program_name == QLatin1String("KORVAN"))
            writer.write_b(QString::number(program_number()));
        else
            writer.write_b(QString::number(general_number) + QLatin1Char('\t') + version_text);
        writer.write_close_v();
    }
    return true;
}
