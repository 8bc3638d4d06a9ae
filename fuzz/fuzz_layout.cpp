// Feeds arbitrary bytes to the layout reader as a layout file: the reader, the field
// splitter, every keyword, OCCURS and OFFSET. Whatever the bytes, parsing must end
// without a crash, a sanitizer report or a long run, and leave a consistent form.
#include "core/qx_z.h"
#include "core/textfile.h"
#include "layout/form.h"

#include <QFile>
#include <QGuiApplication>
#include <cstdint>
#include <cstdlib>
#include <unistd.h>

namespace {

qx_z_l* context = nullptr;
QString layout_path;

void check(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "fuzz_layout: broken invariant: %s\n", what);
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Fonts are looked up through the font database, which needs a GUI application.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "fuzz_layout";
    static char* argv[] = {name, nullptr};
    new QGuiApplication(argc, argv);
    context = new qx_z_l(QStringLiteral("KORVAN"), argc, argv);
    layout_path = QStringLiteral("/dev/shm/korvan-fuzz-layout-%1.csv").arg(getpid());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    {
        QFile file(layout_path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return 0;
        file.write(reinterpret_cast<const char*>(data), qint64(size));
    }
    form_l form(context);
    form.mode = form_l::MODE_DISPLAY;
    if (!form.layout_reader->open_b(layout_path, context->file_encoding_s(layout_path))) return 0;
    form.read_layout_v();
    form.finish_layout_v();
    form.layout_reader->read_close_v();

    check(form.error_list.size() >= 1, "banner kept");
    check(form.error_flag == (form.error_list.size() > 1 ? 1 : 0), "error flag matches the list");
    check(!form.offsets.isEmpty() && form.offsets.size() % 2 == 0, "offsets in pairs");
    check(form.values_per_form >= 0, "values per page not negative");
    check(form.line_names.size() == form.line_widths.size() &&
              form.line_names.size() == form.line_kinds.size(),
          "line style lists parallel");
    check(form.char_names.size() == form.char_sizes.size() &&
              form.char_names.size() == form.char_fonts.size() &&
              form.char_names.size() == form.char_attrs.size(),
          "character style lists parallel");
    check(form.replace_list.size() % 2 == 0, "replacements in pairs");
    for (const qx_print_l* p : form.line_items) {
        check(p && p->style >= 0 && p->style < form.line_names.size(), "line style index");
        check(p->data_flag == 0, "line items take no data");
    }
    for (const qx_print_l* p : form.print_items) {
        check(p && p->data_flag >= 0 && p->data_flag <= 2, "data flag");
        if (p->keyword.startsWith(QLatin1String("TEXT")) ||
            p->keyword.startsWith(QLatin1String("DATA")))
            check(p->style >= 0 && p->style < form.char_names.size(), "character style index");
    }
    return 0;
}
