// The error list: one line per problem, shown instead of the pages.
#include "layout/form.h"

#include <cstdio>

void form_l::add_err_v(int show_now) {
    const QString line = error_prefix + QLatin1Char(' ') + ctx->message;
    ctx->add_s(&error_list, line);
    error_flag = 1;
    // A program that started the run reads why it failed from standard error.
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
    std::fflush(stderr);
    if (show_now == 1) {
        ready = 1;
        repaint_v();
    }
}

void form_l::form_layout_err_count() {
    ctx->message =
        QStringLiteral("Count(") + ctx->to_i_s(ctx->count_s_i(&fields)) + QLatin1Char(')');
    add_err_v(0);
}

void form_l::err_v() {
    ctx->beep_v();
    display_b();
}
