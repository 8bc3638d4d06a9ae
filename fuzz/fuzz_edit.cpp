// Feeds arbitrary values to the field editing: every edit code, char counts from -128
// to 383, test-data mode on and off, and the group separators of comma_s on their own.
// Besides running clean, the results must keep what the codes promise: separators are
// only ever added, numeric codes right-align in the char count, an unknown code leaves
// the value alone outside test-data mode.
//
// Input: byte 0 the edit code, bytes 1-2 the char count, byte 3 bit 0 test-data mode,
// bit 1 the value as UTF-16 instead of UTF-8; the rest is the value.
#include "harness.h"

#include "layout/form.h"

namespace {

const char* const name = "fuzz_edit";
const char* const codes[] = {"", "+", "-", ".", "E", "R", "Z", "D", "Y", "X", "z", "d", "++"};
constexpr int code_count = int(sizeof codes / sizeof codes[0]);

QString without_commas(QString s) {
    return s.remove(QLatin1Char(','));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    harness::start(name);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using harness::check;
    harness::input_l in(data, size);
    const QString code = QLatin1String(codes[in.byte() % code_count]);
    const int n = int(in.word() % 512) - 128;
    const uint8_t flags = in.byte();
    const bool test_data = flags & 1;
    const QByteArray bytes = in.rest();
    const QString value =
        (flags & 2) ? QString(reinterpret_cast<const QChar*>(bytes.constData()), bytes.size() / 2)
                    : QString::fromUtf8(bytes);
    qx_z_l* ctx = harness::context;

    const QString grouped = ctx->comma_s(value);
    check(without_commas(grouped) == without_commas(value), name,
          "comma_s only inserts separators");
    check(grouped.size() >= value.size(), name, "comma_s never shortens");
    if (!value.contains(QLatin1Char('.')) && value.size() <= 3)
        check(grouped == value, name, "three characters or fewer stay as they are");

    const QString edited = form_l::edit_s(ctx, value, code, n, test_data);
    const bool numeric = code == QLatin1String("+") || code == QLatin1String("-") ||
                         code == QLatin1String(".") || code == QLatin1String("E");
    if (numeric && n > 0 && !test_data && code != QLatin1String(".")) {
        check(edited.size() >= n, name, "numeric codes fill the char count");
        const QString sign = (code == QLatin1String("E") && !value.isEmpty()) ? "\\" : "";
        check(edited.endsWith(sign + grouped), name, "numeric codes right-align the grouped value");
        check(edited.trimmed() == (sign + grouped).trimmed(), name, "padded with blanks only");
    }
    if (code == QLatin1String("R") && !test_data)
        check(edited == ctx->pad_start_s(value, n), name, "R right-aligns");
    if ((code == QLatin1String("D") || code == QLatin1String("Y")) && !test_data) {
        const bool ymd = code == QLatin1String("D");
        if (value.size() == 8)
            check(edited.size() == 10 && edited.at(ymd ? 4 : 2) == QLatin1Char('-') &&
                      edited.at(ymd ? 7 : 5) == QLatin1Char('-'),
                  name, "an 8-character date gets two dashes");
        else
            check(edited == value, name, "a date of another length stays as it is");
    }
    if (!numeric && code != QLatin1String("R") && code != QLatin1String("Z") &&
        code != QLatin1String("D") && code != QLatin1String("Y")) {
        if (!test_data)
            check(edited == value, name, "an unknown code changes nothing");
        else
            check(edited.startsWith(value) && edited.size() == qMax<qsizetype>(value.size(), n),
                  name, "test data is widened to the char count");
    }
    return 0;
}
