// The error list: one line per problem, shown instead of the pages.
#include "layout/form.h"

#include <algorithm>
#include <cstdio>
#include <utility>

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

void form_l::add_warning_v() {
    ctx->add_s(&warning_list, error_prefix + QLatin1Char(' ') + ctx->message);
}

namespace {

const char* const keywords[] = {
    "PAPER",    "OFFSET", "LINE_SET",   "FONT",      "CHAR_SET", "OCCURS", "LINE",       "BOX",
    "X_LINE",   "Y_LINE", "ARC",        "TEXT",      "TEXT_FIX", "TEXT_V", "TEXT_FIX_V", "DATA",
    "DATA_FIX", "DATA_V", "DATA_FIX_V", "REPLACE_V", "CODE39",   "JAN",    "IMAGE",      "VERSION"};

// The number of single-character edits that turn one word into the other.
int edit_distance(const QString& a, const QString& b) {
    QList<int> row(b.size() + 1);
    for (int j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (int i = 1; i <= a.size(); ++i) {
        int diagonal = row[0];
        row[0] = i;
        for (int j = 1; j <= b.size(); ++j) {
            const int above = row[j];
            row[j] = qMin(qMin(row[j] + 1, row[j - 1] + 1),
                          diagonal + (a.at(i - 1) == b.at(j - 1) ? 0 : 1));
            diagonal = above;
        }
    }
    return row[b.size()];
}

// "(12) TEXT Char name (S9) not found" as its line number and the rest; a line of the
// command line or the data ("データ[1] ...") has no line number (0).
std::pair<int, QString> split_line(const QString& line) {
    if (line.startsWith(QLatin1Char('('))) {
        const qsizetype close = line.indexOf(QStringLiteral(") "));
        bool ok = false;
        const int number = close > 1 ? line.mid(1, close - 1).toInt(&ok) : 0;
        if (ok && number > 0) return {number, line.mid(close + 2)};
    }
    return {0, line.trimmed()};
}

// An unknown keyword reads "KW KW ?"; said plainly, with the keyword it most likely
// misspells.
QString plain_message(const QString& rest) {
    const qsizetype blank = rest.indexOf(QLatin1Char(' '));
    const QString keyword = rest.left(blank);
    if (blank <= 0 || rest.mid(blank + 1) != keyword + QStringLiteral(" ?")) return rest;
    QString text = QStringLiteral("unknown keyword ") + keyword;
    QString best;
    int best_distance = 3; // further off than two edits is no longer a typo
    for (const char* word : keywords) {
        const int d = edit_distance(keyword, QLatin1String(word));
        if (d < best_distance) best_distance = d, best = QLatin1String(word);
    }
    if (!best.isEmpty()) text += QStringLiteral(" (did you mean ") + best + QStringLiteral("?)");
    return text;
}

} // namespace

QStringList form_l::located_lines(const QString& file) const {
    struct finding {
        int line;
        QString text;
    };
    QList<finding> found;
    for (qsizetype i = 1; i < error_list.size(); ++i) { // after the banner
        const auto [line, rest] = split_line(error_list.at(i));
        found.append({line, QStringLiteral("error: ") + plain_message(rest)});
    }
    for (const QString& warning : warning_list) {
        const auto [line, rest] = split_line(warning);
        found.append({line, QStringLiteral("warning: ") + rest});
    }
    for (finding& f : found)
        f.line = record_first_lines.value(f.line, f.line);
    std::stable_sort(found.begin(), found.end(),
                     [](const finding& a, const finding& b) { return a.line < b.line; });
    QStringList lines;
    for (const finding& f : found)
        lines.append(file + QLatin1Char(':') +
                     (f.line > 0 ? QString::number(f.line) + QLatin1Char(':') : QString()) +
                     QLatin1Char(' ') + f.text);
    return lines;
}
