// Start-up: the application, the context, the VERSION request, then the window.
#include "core/qx_z.h"
#include "core/version.h"
#include "output/korvan.h"

#include <QApplication>
#include <QString>
#include <cstdio>

namespace {

bool display_available() {
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

// The same test as qx_version_l::version_b makes once the context exists: exactly two
// arguments, each "VERSION" once upper-cased (so "version Version" counts too).
bool is_version_request(int argc, char** argv) {
    if (argc != 3) return false;
    for (int i = 1; i < 3; ++i) {
        if (QString::fromLocal8Bit(argv[i]).toUpper() != QLatin1String("VERSION")) return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    // With no display Qt would abort while creating the application. A VERSION request
    // needs no window, so it runs on the off-screen platform; anything else cannot run.
    if (!display_available()) {
        if (!is_version_request(argc, argv)) {
            std::fputs("korvan: no display available\n", stderr);
            return 1;
        }
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    auto* ctx = new qx_z_l(QStringLiteral("KORVAN"), argc, argv);
    if (ctx->version->version_b(&ctx->arguments)) return 0;
    new korvan_l(ctx);
    return app.exec();
}
