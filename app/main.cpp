// Start-up: the application, the context, the VERSION request, then the window.
#include "core/qx_z.h"
#include "core/version.h"
#include "output/korvan.h"

#include <QApplication>
#include <cstdio>
#include <cstring>

namespace {

bool display_available() {
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

bool is_version_request(int argc, char** argv) {
    return argc == 3 && qstricmp(argv[1], "VERSION") == 0 && qstricmp(argv[2], "VERSION") == 0;
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
