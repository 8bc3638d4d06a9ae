// The program's version and the VERSION request: "VERSION VERSION" on the command line
// writes a one-line report into the work directory and ends the run.
#pragma once

#include "core/qx_z.h"

class qx_version_l {
public:
    explicit qx_version_l(qx_z_l* context) : ctx(context) {}

    const QString version_text = QStringLiteral("000800017");
    const int general_number = 37;
    const int korvan_number = 14;
    const int beldom_number = 2;
    qx_z_l* ctx;

    // True when the arguments were a VERSION request and it has been answered.
    bool version_b(const s_l* arguments);
    // The number this program reports and compares against a layout's VERSION.
    int program_number() const;
};
