// Start-up: the application, the context, the VERSION request, then the window.
#include "core/qx_z.h"
#include "core/version.h"
#include "output/korvan.h"

#include <QApplication>
#include <QString>
#include <cstdio>

namespace {

// The context and the window live until the process ends. They are held here rather
// than only in main's locals so that they stay reachable to the end (a leak checker
// then does not report them).
qx_z_l* context = nullptr;
korvan_l* window = nullptr;

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
    context = new qx_z_l(QStringLiteral("KORVAN"), argc, argv);
    if (context->version->version_b(&context->arguments)) return 0;
    window = new korvan_l(context);
    return app.exec();
}
