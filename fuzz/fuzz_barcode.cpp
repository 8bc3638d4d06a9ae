// Feeds arbitrary texts to the bar codes: the check characters code39_s and jan_s, and
// the drawing of a CODE39 or JAN item onto a small image, with bar widths, heights and
// positions taken from a table of ordinary and absurd values (0, negative, huge,
// infinite, not a number). Whatever the text, drawing ends with the symbol or with
// exactly one error line, and the check characters stay in their alphabets.
//
// Input: byte 0 bit 0 JAN instead of CODE39, bit 1 test-data mode; bytes 1-5 pick the
// thin bar width, code height, x, y and char size; the rest is the text in UTF-8.
#include "harness.h"

#include "layout/form.h"

#include <QImage>
#include <QPainter>
#include <cmath>
#include <limits>

namespace {

const char* const name = "fuzz_barcode";
const QString check_alphabet = QStringLiteral("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%");

const float numbers[] = {0.0f,
                         0.3f,
                         1.0f,
                         10.0f,
                         -5.0f,
                         0.001f,
                         250.0f,
                         1.0e6f,
                         -1.0e6f,
                         3.0e38f,
                         std::numeric_limits<float>::infinity(),
                         -std::numeric_limits<float>::infinity(),
                         std::numeric_limits<float>::quiet_NaN(),
                         std::numeric_limits<float>::denorm_min(),
                         2.5f,
                         100.0f};
constexpr int number_count = int(sizeof numbers / sizeof numbers[0]);

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    harness::start(name);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using harness::check;
    harness::input_l in(data, size);
    const uint8_t flags = in.byte();
    const bool jan = flags & 1;
    qx_print_l item;
    item.keyword = QLatin1String(jan ? "JAN" : "CODE39");
    item.data_flag = 1;
    item.num5 = numbers[in.byte() % number_count];
    item.num6 = numbers[in.byte() % number_count];
    item.num1 = numbers[in.byte() % number_count];
    item.num2 = numbers[in.byte() % number_count];
    item.num7 = numbers[in.byte() % number_count];
    const QString text = QString::fromUtf8(in.rest());
    qx_z_l* ctx = harness::context;

    const QString check39 = ctx->code39_s(text);
    check(check39.isEmpty() || (check39.size() == 1 && check_alphabet.contains(check39)), name,
          "code39_s gives one character of the check alphabet or none");
    const QString check_jan = ctx->jan_s(text);
    check(text.isEmpty() ? check_jan.isEmpty()
                         : (check_jan.size() == 1 && check_jan.at(0).isDigit() &&
                            check_jan.at(0).unicode() < 128),
          name, "jan_s gives one digit, or nothing for nothing");

    form_l form(ctx);
    form.mode = (flags & 2) ? form_l::MODE_TEST_DATA : form_l::MODE_PRINT;
    form.current_item = &item;
    QImage image(64, 64, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    form.painter = &painter;
    const qsizetype errors_before = form.error_list.size();
    const bool ok = jan ? form.jan_b(0, 0, 1.0f, text) != 0 : form.code39_b(0, 0, 1.0f, text);
    form.painter = nullptr;
    form.current_item = nullptr;
    painter.end();
    check(form.error_list.size() == errors_before + (ok ? 0 : 1), name,
          "a failed bar code adds exactly one error line");
    if (!jan && text.isEmpty()) check(ok, name, "an empty CODE39 draws nothing and succeeds");
    return 0;
}
