// Feeds arbitrary bytes to the text reader as a file in each encoding: UTF-8,
// Shift-JIS, EUC-JP, a name the reader does not know, and the encoding that
// file_encoding_s finds by looking at the file, byte-order marks included. The reader
// must hand out lines without line ends in the order of the file, end with status 1
// for good, and keep the bytes of a file exactly (read_raw); valid UTF-8 must come out
// as the same text, and the encoding found must be UTF-8 exactly for valid UTF-8.
//
// Input: byte 0 the encoding; the rest is the file.
#include "harness.h"

#include "core/textfile.h"

#include <QStringDecoder>

namespace {

const char* const name = "fuzz_text";
const char* const encodings[] = {"UTF-8", "Shift-JIS", "EUC-JP", "sjis", "KOI8-R", nullptr};
constexpr int encoding_count = int(sizeof encodings / sizeof encodings[0]);
QString path;

bool valid_utf8(const QByteArray& bytes) {
    QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    const QString text = decoder.decode(bytes);
    Q_UNUSED(text);
    return !decoder.hasError();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    harness::start(name);
    path = harness::scratch_path("text");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using harness::check;
    harness::input_l in(data, size);
    const char* chosen = encodings[in.byte() % encoding_count];
    const QByteArray bytes = in.rest();
    if (!harness::write_file(path, bytes.constData(), bytes.size())) return 0;
    qx_z_l* ctx = harness::context;
    ctx->forced_encoding.clear();

    const QString found = ctx->file_encoding_s(path);
    const bool bom8 = bytes.startsWith("\xEF\xBB\xBF");
    const bool bom16 = bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF");
    const bool utf8 = valid_utf8(bytes);
    if (!bom8)
        check(found == QLatin1String(utf8 ? "UTF-8" : "Shift-JIS"), name,
              "valid UTF-8 is found as UTF-8, anything else as Shift-JIS");
    const QString encoding = chosen ? QString::fromLatin1(chosen) : found;

    // Decoded lines.
    qx_read_l reader(ctx);
    check(reader.open_b(path, encoding), name, "opens");
    QStringList lines;
    int status = 0;
    int rounds = 0;
    while ((status = reader.read()) != 1) {
        check(status == 0, name, "a short file reads without errors");
        check(!reader.line.contains(QLatin1Char('\n')), name, "no line feed inside a line");
        lines.append(reader.line);
        check(++rounds <= int(bytes.size()) + 1, name, "no more lines than bytes");
    }
    check(reader.read() == 1 && reader.line.isEmpty(), name, "the end of the file stays the end");
    reader.read_close_v();
    check(reader.read() == 5, name, "a closed reader reads nothing");

    const bool plain = !bom8 && !bom16 && !bytes.contains('\r');
    if (plain && utf8 && reader.encoding() == QLatin1String("UTF-8")) {
        // A byte-order mark that starts a later line (files joined end to end) is
        // dropped like the first one.
        const QChar bom(0xFEFF);
        QByteArray body = bytes;
        if (body.endsWith('\n')) body.chop(1);
        const QString whole = QString::fromUtf8(body).remove(bom);
        check(lines.join(QLatin1Char('\n')).remove(bom) == whole, name,
              "UTF-8 lines are the file's text");
    }

    // Raw lines: exactly the bytes of the file, split at its line feeds.
    qx_read_l raw(ctx);
    check(raw.open_b(path, encoding), name, "opens again");
    QList<QByteArray> raw_lines;
    while ((status = raw.read_raw()) == 0) {
        check(!raw.raw_line.contains('\n'), name, "no line feed inside a raw line");
        raw_lines.append(raw.raw_line);
    }
    check(status == 1, name, "raw reading ends at the end of the file");
    check(raw_lines.size() == lines.size(), name, "as many raw lines as decoded ones");
    if (plain) {
        QByteArray whole = bytes;
        if (whole.endsWith('\n')) whole.chop(1);
        QByteArray joined;
        for (qsizetype i = 0; i < raw_lines.size(); ++i) {
            if (i) joined += '\n';
            joined += raw_lines.at(i);
        }
        check(joined == whole, name, "raw lines are the file's bytes");
    }

    // Every decoder on every raw line, as the data stream and the layout reader use them.
    for (const char* canonical : {"UTF-8", "Shift-JIS", "EUC-JP"}) {
        QStringDecoder decoder = make_decoder(QLatin1String(canonical));
        for (const QByteArray& line : std::as_const(raw_lines)) {
            const QString text = decode_line_s(&decoder, QLatin1String(canonical), line);
            check(!text.contains(QLatin1Char('\n')), name, "a decoded line holds no line feed");
            if (!line.startsWith("\xEF\xBB\xBF"))
                check(line.isEmpty() == text.isEmpty(), name, "bytes decode to something");
        }
    }
    return 0;
}
