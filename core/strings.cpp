// Number parsing and the small string, list and date helpers of the context.
#include "core/qx_z.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace {

QString quoted(const QString& text) {
    return QLatin1Char('"') + text + QLatin1Char('"');
}

// White space that a C-locale conversion skips: blank, tab, line feed, vertical tab,
// form feed and carriage return. Other spaces (the ideographic space, no-break space)
// make a text no number.
bool is_c_space(char16_t u) {
    return u == u' ' || (u >= 0x09 && u <= 0x0D);
}

QStringView strip_c_space(QStringView t) {
    qsizetype b = 0;
    qsizetype e = t.size();
    while (b < e && is_c_space(t.at(b).unicode()))
        ++b;
    while (e > b && is_c_space(t.at(e - 1).unicode()))
        --e;
    return t.mid(b, e - b);
}

bool is_digit(QChar c) {
    return c.unicode() >= u'0' && c.unicode() <= u'9';
}

// Base-10 integer with an optional sign and white space at either end, as the number
// texts of layouts and data files are written. Only ASCII digits count; a value that
// does not fit into 32 bits is no number. Any length of text is looked at in one pass.
bool parse_int(const QString& text, int* out) {
    const QStringView t = strip_c_space(text);
    qsizetype i = 0;
    bool negative = false;
    if (i < t.size() && (t.at(i) == u'+' || t.at(i) == u'-')) negative = t.at(i++) == u'-';
    if (i == t.size()) return false;
    constexpr qint64 limit = qint64(std::numeric_limits<int>::max()) + 1;
    qint64 v = 0;
    for (; i < t.size(); ++i) {
        if (!is_digit(t.at(i))) return false;
        v = v * 10 + (t.at(i).unicode() - u'0');
        if (v > limit) return false; // leading zeros never get here
    }
    if (!negative && v == limit) return false;
    *out = int(negative ? -v : v);
    return true;
}

// C-locale floating-point number: optional sign, digits with an optional decimal
// point (at least one digit), optional exponent, white space at either end. "inf",
// "nan", hexadecimal and grouped numbers are no numbers. A value too large for a double
// is no number; one too small to be told from zero is zero.
bool parse_double(const QString& text, double* out) {
    const QStringView t = strip_c_space(text);
    const qsizetype n = t.size();
    qsizetype i = 0;
    bool negative = false;
    if (i < n && (t.at(i) == u'+' || t.at(i) == u'-')) negative = t.at(i++) == u'-';
    const qsizetype mantissa = i;
    qsizetype int_digits = 0; // integer digits after leading zeros
    qsizetype frac_zeros = 0; // zeros after the point before the first other digit
    bool any_digit = false;
    bool nonzero = false;
    for (; i < n && is_digit(t.at(i)); ++i) {
        any_digit = true;
        if (t.at(i) != u'0') nonzero = true;
        if (nonzero) ++int_digits;
    }
    if (i < n && t.at(i) == u'.') {
        for (++i; i < n && is_digit(t.at(i)); ++i) {
            any_digit = true;
            if (t.at(i) != u'0') nonzero = true;
            if (!nonzero) ++frac_zeros;
        }
    }
    if (!any_digit) return false;
    qint64 exponent = 0;
    if (i < n && (t.at(i) == u'e' || t.at(i) == u'E')) {
        ++i;
        bool exp_negative = false;
        if (i < n && (t.at(i) == u'+' || t.at(i) == u'-')) exp_negative = t.at(i++) == u'-';
        if (i == n) return false;
        for (; i < n; ++i) {
            if (!is_digit(t.at(i))) return false;
            if (exponent < 1000000000) exponent = exponent * 10 + (t.at(i).unicode() - u'0');
        }
        if (exp_negative) exponent = -exponent;
    }
    if (i != n) return false;

    const QByteArray ascii = t.mid(mantissa).toLatin1();
    double v = 0.0;
    const auto result = std::from_chars(ascii.constData(), ascii.constData() + ascii.size(), v,
                                        std::chars_format::general);
    if (result.ec == std::errc::result_out_of_range) {
        // Out of range one way or the other: the decimal magnitude tells which.
        const qint64 magnitude =
            int_digits > 0 ? int_digits - 1 + exponent : exponent - frac_zeros - 1;
        if (magnitude > 0) return false;
        v = 0.0;
    } else if (result.ec != std::errc() || result.ptr != ascii.constData() + ascii.size()) {
        return false;
    }
    if (!std::isfinite(v)) return false;
    *out = v == 0.0 ? 0.0 : (negative ? -v : v); // "-0" is plain zero
    return true;
}

} // namespace

double qx_z_l::to_double_o(const QString& text, QChar sign, double default_value, int report) {
    if (text.isEmpty()) {
        numeric_ok = true;
        return 0.0;
    }
    double v = 0.0;
    if (!parse_double(text, &v)) {
        numeric_ok = false;
        if (report == 1) message = QStringLiteral("not numeric ") + quoted(text);
        return default_value;
    }
    if (v < 0.0 && sign == QLatin1Char('+')) {
        numeric_ok = false;
        if (report == 1) message = QStringLiteral("not plus ") + quoted(text);
        return default_value;
    }
    numeric_ok = true;
    return v;
}

int qx_z_l::to_int_check(const QString& text, QChar sign, int default_value, int report) {
    if (text.isEmpty()) {
        if (sign == QLatin1Char('0')) {
            numeric_ok = false;
            if (report == 1) message = QStringLiteral("bad zero ") + quoted(text);
            return 0;
        }
        numeric_ok = true;
        return 0;
    }
    int v = 0;
    if (!parse_int(text, &v)) {
        numeric_ok = false;
        if (report == 1) message = QStringLiteral("not numeric ") + quoted(text);
        return default_value;
    }
    if (sign == QLatin1Char('-')) {
        numeric_ok = true;
        return v;
    }
    if (v < 0) {
        numeric_ok = false;
        if (report == 1) message = QStringLiteral("not plus ") + quoted(text);
        return v;
    }
    if (sign == QLatin1Char('0') && v == 0) {
        numeric_ok = false;
        if (report == 1) message = QStringLiteral("bad zero ") + quoted(text);
        return 0;
    }
    numeric_ok = true;
    return v;
}

int qx_z_l::to_int1s_i(const QString& text) {
    int v = 0;
    return parse_int(text, &v) ? v : 0;
}

int qx_z_l::to_int_c_i(QChar c) {
    return c.digitValue() < 0 ? 0 : c.digitValue();
}

QString qx_z_l::to_i_s(int n) {
    return QString::number(n);
}
QString qx_z_l::to1_i_s(int n) {
    return QString::number(n);
}

bool qx_z_l::e_list_b(const QString& a, std::initializer_list<QString> candidates) {
    QStringList names;
    for (const QString& c : candidates) {
        if (a == c) return true;
        names.append(c);
    }
    compare_note = quoted(a) + QStringLiteral(" not in('") + names.join(QStringLiteral("','")) +
                   QStringLiteral("')");
    return false;
}

bool qx_z_l::e2s_b(const QString& a, const QString& b) {
    return e_list_b(a, {b});
}
bool qx_z_l::e3s_b(const QString& a, const QString& b, const QString& c) {
    return e_list_b(a, {b, c});
}
bool qx_z_l::e4s_b(const QString& a, const QString& b, const QString& c, const QString& d) {
    return e_list_b(a, {b, c, d});
}
bool qx_z_l::e5s_b(const QString& a, const QString& b, const QString& c, const QString& d,
                   const QString& e) {
    return e_list_b(a, {b, c, d, e});
}
bool qx_z_l::e6s_b(const QString& a, const QString& b, const QString& c, const QString& d,
                   const QString& e, const QString& f) {
    return e_list_b(a, {b, c, d, e, f});
}
bool qx_z_l::e7s_b(const QString& a, const QString& b, const QString& c, const QString& d,
                   const QString& e, const QString& f, const QString& g) {
    return e_list_b(a, {b, c, d, e, f, g});
}
bool qx_z_l::e8s_b(const QString& a, const QString& b, const QString& c, const QString& d,
                   const QString& e, const QString& f, const QString& g, const QString& h) {
    return e_list_b(a, {b, c, d, e, f, g, h});
}
bool qx_z_l::e9s_b(const QString& a, const QString& b, const QString& c, const QString& d,
                   const QString& e, const QString& f, const QString& g, const QString& h,
                   const QString& i) {
    return e_list_b(a, {b, c, d, e, f, g, h, i});
}

bool qx_z_l::starts_with_b(const QString& s, const QString& prefix) const {
    return s.startsWith(prefix);
}
bool qx_z_l::ends_with_b(const QString& s, const QString& suffix) const {
    return s.endsWith(suffix);
}

QString qx_z_l::substring2_s(const QString& s, int start) const {
    if (start < 0) start = 0;
    if (start >= s.size()) return QString();
    return s.mid(start);
}

QString qx_z_l::substring3_s(const QString& s, int start, int count) const {
    if (start < 0) start = 0;
    if (start >= s.size() || count <= 0) return QString();
    return s.mid(start, count);
}

QChar qx_z_l::at_s_c(const QString& s, int pos) const {
    return (pos >= 0 && pos < s.size()) ? s.at(pos) : QChar();
}

int qx_z_l::index2s_i(const QString& s, const QString& what) const {
    return int(s.indexOf(what));
}
int qx_z_l::index2c_i(const QString& s, QChar what) const {
    return int(s.indexOf(what));
}
int qx_z_l::index3s_i(const QString& s, const QString& what, int from) const {
    return int(s.indexOf(what, qMax(0, from)));
}
int qx_z_l::index3c_i(const QString& s, QChar what, int from) const {
    return int(s.indexOf(what, qMax(0, from)));
}
int qx_z_l::last_index2c_i(const QString& s, QChar what) const {
    return int(s.lastIndexOf(what));
}

QString qx_z_l::trim_s(const QString& s) const {
    // QChar::isSpace covers blanks, tabs, line ends and the ideographic space.
    return s.trimmed();
}

QString qx_z_l::trim_start_s(const QString& s) const {
    qsizetype i = 0;
    while (i < s.size() && s.at(i) == QLatin1Char(' '))
        ++i;
    return s.mid(i);
}

QString qx_z_l::trim_end_s(const QString& s) const {
    qsizetype n = s.size();
    while (n > 0 && s.at(n - 1) == QLatin1Char(' '))
        --n;
    return s.left(n);
}

QString qx_z_l::replace_c_s(const QString& s, QChar from, QChar to) const {
    QString r = s;
    return r.replace(from, to);
}

QString qx_z_l::replace_s_s(const QString& s, const QString& from, const QString& to) const {
    if (from.isEmpty()) return s;
    QString r = s;
    return r.replace(from, to);
}

QString qx_z_l::pad_start_s(const QString& s, int width, QChar fill) const {
    if (s.size() >= width) return s;
    return QString(width - s.size(), fill) + s;
}

QString qx_z_l::pad_end_s(const QString& s, int width, QChar fill) const {
    if (s.size() >= width) return s;
    return s + QString(width - s.size(), fill);
}

s_l qx_z_l::split_sx(const QString& s, QChar sep) const {
    return s.split(sep);
}

QString qx_z_l::at_s(const s_l* l, int i) const {
    return (l && i >= 0 && i < l->size()) ? l->at(i) : QString();
}
int qx_z_l::at_i(const i_l* l, int i) const {
    return (l && i >= 0 && i < l->size()) ? l->at(i) : 0;
}
float qx_z_l::at_f(const f_l* l, int i) const {
    return (l && i >= 0 && i < l->size()) ? l->at(i) : 0.0f;
}
qx_print_l* qx_z_l::at_p(const p_l* l, int i) const {
    return (l && i >= 0 && i < l->size()) ? l->at(i) : nullptr;
}
QPen qx_z_l::at_pe(const pe_l* l, int i) const {
    return (l && i >= 0 && i < l->size()) ? l->at(i) : QPen();
}
int qx_z_l::index3as_i(const s_l* l, const QString& s, int from) const {
    if (!l) return -1;
    for (int i = qMax(0, from); i < l->size(); ++i)
        if (l->at(i) == s) return i;
    return -1;
}

QString qx_z_l::date_time_s(const QDateTime& t, int style) const {
    return t.toString(style == 0 ? QStringLiteral("yyyyMMddHHmmsszzz")
                                 : QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
}
