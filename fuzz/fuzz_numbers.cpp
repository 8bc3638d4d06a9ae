// Feeds arbitrary texts to the number parsers to_double_o and to_int_check, with every
// sign rule and with and without a report, and holds them against the C library:
// a text the C library reads completely as a finite double (or an int) must read as
// the same number here, a text with any character that no number has must be refused,
// and a refusal with a report must say why in the context's message.
//
// Input: byte 0 the sign rule, byte 1 bit 0 report, bit 1 the text as UTF-16 instead
// of UTF-8; the rest is the text.
#include "harness.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

const char* const name = "fuzz_numbers";
const char signs[] = {'-', '+', '0', ' ', 'x'};
const char* const number_chars = "0123456789+-.eE \t\n\v\f\r";

bool only_number_chars(const QString& text) {
    for (const QChar c : text)
        if (c.unicode() >= 128 || c.unicode() == 0 || !std::strchr(number_chars, char(c.unicode())))
            return false;
    return true;
}

bool is_c_space(char c) {
    return c == ' ' || (c >= 0x09 && c <= 0x0D);
}

// The C library's reading: true when the whole text (white space aside) is one number.
bool c_double(const QByteArray& text, double* out, bool* range_error) {
    const char* begin = text.constData();
    char* end = nullptr;
    errno = 0;
    *out = std::strtod(begin, &end);
    *range_error = errno == ERANGE;
    if (end == begin) return false;
    while (*end && is_c_space(*end))
        ++end;
    return *end == '\0';
}

bool c_int(const QByteArray& text, long long* out) {
    const char* begin = text.constData();
    char* end = nullptr;
    errno = 0;
    *out = std::strtoll(begin, &end, 10);
    if (end == begin || errno == ERANGE) return false;
    while (*end && is_c_space(*end))
        ++end;
    return *end == '\0' && *out >= INT_MIN && *out <= INT_MAX;
}

QString quoted(const QString& text) {
    return QLatin1Char('"') + text + QLatin1Char('"');
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    harness::start(name);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using harness::check;
    harness::input_l in(data, size);
    const QChar sign = QLatin1Char(signs[in.byte() % sizeof signs]);
    const uint8_t flags = in.byte();
    const int report = flags & 1;
    const QByteArray bytes = in.rest();
    const QString text =
        (flags & 2) ? QString(reinterpret_cast<const QChar*>(bytes.constData()), bytes.size() / 2)
                    : QString::fromUtf8(bytes);
    qx_z_l* ctx = harness::context;
    const QString untouched = QStringLiteral("untouched");

    // ---- to_double_o ----
    ctx->message = untouched;
    const double d = ctx->to_double_o(text, sign, 7.5, report);
    const bool d_ok = ctx->numeric_ok;
    if (d_ok) {
        check(std::isfinite(d), name, "a double read is finite");
        check(!(std::signbit(d) && d == 0.0), name, "no negative zero");
        if (sign == QLatin1Char('+')) check(d >= 0, name, "'+' refuses negative numbers");
    } else {
        check(d == 7.5, name, "a refused double gives the default");
        if (report == 1)
            check(ctx->message == QStringLiteral("not numeric ") + quoted(text) ||
                      ctx->message == QStringLiteral("not plus ") + quoted(text),
                  name, "a reported refusal names the text");
    }
    if (report == 0) check(ctx->message == untouched, name, "no report, no message");
    if (text.isEmpty()) check(d_ok && d == 0.0, name, "an empty text is 0");

    if (!text.isEmpty() && !only_number_chars(text)) {
        check(!d_ok, name, "a character that no number has makes no double");
    } else if (!text.isEmpty()) {
        double expected = 0;
        bool range_error = false;
        const bool c_ok = c_double(text.toLatin1(), &expected, &range_error);
        if (!c_ok) {
            check(!d_ok, name, "what the C library cannot read is no double");
        } else if (!range_error && std::isfinite(expected)) {
            const bool refused_sign = sign == QLatin1Char('+') && expected < 0;
            check(d_ok == !refused_sign, name, "what the C library reads is a double");
            if (d_ok) check(d == expected, name, "the same double as the C library");
        } else if (std::isinf(expected)) {
            check(!d_ok, name, "a double too large is refused");
        }
    }

    // ---- to_int_check ----
    ctx->message = untouched;
    const int i = ctx->to_int_check(text, sign, 42, report);
    const bool i_ok = ctx->numeric_ok;
    if (text.isEmpty()) {
        check(i == 0 && i_ok == (sign != QLatin1Char('0')), name, "an empty int is 0");
    } else if (!only_number_chars(text)) {
        check(!i_ok && i == 42, name, "a character that no int has makes no int");
    } else {
        long long expected = 0;
        if (!c_int(text.toLatin1(), &expected)) {
            check(!i_ok && i == 42, name, "what the C library cannot read as an int is none");
        } else {
            if (sign == QLatin1Char('-'))
                check(i_ok, name, "'-' takes every int");
            else if (expected < 0)
                check(!i_ok, name, "only '-' takes negative ints");
            else if (sign == QLatin1Char('0') && expected == 0)
                check(!i_ok && i == 0, name, "'0' refuses zero");
            else
                check(i_ok, name, "a plain int is taken");
            if (i_ok || expected < 0) check(i == expected, name, "the same int as the C library");
            // Every int is also a double.
            const double as_double = ctx->to_double_o(text, QLatin1Char('-'), 0.5, 0);
            check(ctx->numeric_ok && as_double == double(expected), name,
                  "an int reads as the same double");
        }
    }
    if (!i_ok && report == 1)
        check(ctx->message.startsWith(QStringLiteral("not numeric ")) ||
                  ctx->message.startsWith(QStringLiteral("not plus ")) ||
                  ctx->message.startsWith(QStringLiteral("bad zero ")),
              name, "a reported int refusal says why");
    return 0;
}
