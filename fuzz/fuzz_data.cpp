// Feeds arbitrary bytes to the data stream as a data file: the line reader in the
// file's encoding, the TAB splitting, the positioning at a start page, and the binding
// of values to the items of a small layout as a print run (or a preview page) draws
// them, sized-from-data texts, edit codes, vertical and spread texts and bar codes
// included. Whatever the bytes, the run must end without a crash or a sanitizer report,
// say why whenever it stops early, and hold no more values than one page has.
//
// Input: byte 0 the start page (1 to 4), byte 1 the number of data items (1 to 8),
// byte 2 flags (bit 0 two OFFSET copies, bit 1 preview instead of a print run, bits 2-3
// the encoding: found by looking, UTF-8, Shift-JIS, EUC-JP); the rest is the data file.
#include "harness.h"

#include "core/textfile.h"
#include "layout/form.h"

#include <QImage>
#include <QPainter>

namespace {

const char* const name = "fuzz_data";
QString layout_path;
QString data_path;

const char* const item_lines[] = {
    "DATA,,,5,5,0,\n",
    "DATA_V,S0,,20,5,4,R\n",
    "DATA_FIX,,60,5,20,8,+\n",
    "DATA,,,5,30,10,E\n",
    "DATA_FIX_V,S1,40,40,5,6,D\n",
    "DATA,S1,,5,45,0,Z\n",
    "CODE39,,0.3,10,60,5,3,0,0\n",
    "JAN,,0.3,15,60,30\n",
};
const char* const encodings[] = {"", "UTF-8", "SJIS", "EUC-JP"};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    harness::start(name);
    layout_path = harness::scratch_path("data-layout");
    data_path = harness::scratch_path("data");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using harness::check;
    harness::input_l in(data, size);
    const int start = 1 + in.byte() % 4;
    const int items = 1 + in.byte() % 8;
    const uint8_t flags = in.byte();
    const QByteArray bytes = in.rest();

    QByteArray layout = "CHAR_SET,S0,0,,B,S1,4,,I\nREPLACE_V,ー,｜,(,︵\n";
    if (flags & 1) layout += "OFFSET,0,0,100,0\n";
    for (int i = 0; i < items; ++i)
        layout += item_lines[i];
    if (!harness::write_file(layout_path, layout.constData(), layout.size()) ||
        !harness::write_file(data_path, bytes.constData(), bytes.size()))
        return 0;

    qx_z_l* ctx = harness::context;
    ctx->forced_encoding = QLatin1String(encodings[(flags >> 2) & 3]);
    form_l form(ctx);
    form.mode = (flags & 2) ? form_l::MODE_DISPLAY : form_l::MODE_PRINT;
    form.layout_name = layout_path;
    form.data_name = data_path;
    form.start_page = start;
    if (!form.layout_reader->open_b(layout_path, ctx->file_encoding_s(layout_path))) return 0;
    form.read_layout_v();
    form.finish_layout_v();
    form.layout_reader->read_close_v();
    check(form.error_flag == 0, name, "the harness layout is clean");
    const int per_page = items * ((flags & 1) ? 2 : 1);
    check(form.values_per_form == per_page, name, "values per page");

    const qsizetype lines = bytes.count('\n') + 1;
    if (form.read_data_b(start) == 0) {
        check(form.error_flag == 1 && form.error_list.size() > 1, name,
              "a failed positioning says why");
        check(form.current_page <= start, name, "positioning stops at the start page");
        return 0;
    }
    check(form.current_page == start && form.data_index == 0, name,
          "positioned at the first value of the start page");

    QImage image(120, 170, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.scale(0.2, 0.2);
    form.painter = &painter;
    int pages = 1;
    bool ok;
    if (form.mode == form_l::MODE_PRINT) {
        ok = form.print_run_b([&]() {
            check(form.data_index == 0, name, "a new page starts on a new line");
            ++pages;
            return true;
        });
    } else {
        ok = form.display_print_b(0, 0, 1.0f);
        // The preview draws the same page again from the values it remembered.
        if (ok) ok = form.display_print_b(0, 0, 1.0f);
    }
    form.painter = nullptr;
    painter.end();

    if (!ok) check(form.error_list.size() > 1, name, "a run that stops says why");
    if (ok && form.mode == form_l::MODE_PRINT)
        check(form.error_flag == 0, name, "a clean print run records no error");
    check(form.data_records_read <= lines, name, "no more lines than the file has");
    check(pages <= lines, name, "every page starts on a line of its own");
    check(form.page_values.size() <= per_page, name, "no more values held than a page takes");
    return 0;
}
