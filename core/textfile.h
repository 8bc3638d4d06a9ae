// Line-oriented text files in named encodings. Both classes report misuse through
// status values and the context's message, and never throw.
#pragma once

#include "core/qx_z.h"

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QStringDecoder>
#include <QStringEncoder>
#include <memory>

// The converter for a canonical encoding name: "UTF-8", "Shift-JIS" (code page 932),
// "EUC-JP", or the system encoding for anything else. Convert through decode_line_s and
// encode_text, not the converters' own calls: those put the Shift-JIS control
// characters right and mark bad bytes.
QStringDecoder make_decoder(const QString& canonical);
QStringEncoder make_encoder(const QString& canonical);
// One line's bytes (without line end) as text. A bad or cut-off byte sequence becomes
// U+FFFD in every encoding; the decoder is left ready for the next line. The encoding
// must be ASCII-compatible: the reader hands the lines of a UTF-16 file over as UTF-8.
QString decode_line_s(QStringDecoder* decoder, const QString& canonical, QByteArray bytes);
QByteArray encode_text(QStringEncoder* encoder, const QString& canonical, const QString& text);

// Reads a file in large blocks and hands out its lines as raw bytes, without their
// line feed and without the carriage return of a CR LF pair. In UTF-16 files (unit 2)
// the line feed and carriage return are the two-byte units of those characters.
class qx_line_buffer_l {
public:
    // The longest line handed out, in bytes without its line end; a longer one is
    // skipped, so that memory stays flat whatever a file holds.
    static constexpr qsizetype max_line = qsizetype(16) << 20;

    explicit qx_line_buffer_l(QFile* file, int unit = 1, bool big_endian = false)
        : file_(file), unit_(unit), big_endian_(big_endian) {}
    // 0 a line is in *out, 1 end of file, 2 read error (after which the file counts as
    // ended), 3 the line is longer than max_line: it is reported as soon as it passes
    // the limit, and the next call goes on after it.
    int next(QByteArray* out);
    // As next(), but the line is left in the buffer: *data and *size show it until the
    // next call.
    int next_view(const char** data, qsizetype* size);

private:
    QFile* file_;
    int unit_;
    bool big_endian_;
    QByteArray buffer_;
    qsizetype pos_ = 0;
    bool eof_ = false;
    bool skipping_ = false; // inside a line longer than max_line
    qsizetype find_line_feed(qsizetype from) const;
    bool ends_with_cr(const char* begin, qsizetype len) const;
};

class qx_read_l {
public:
    explicit qx_read_l(qx_z_l* context) : ctx(context) {}
    ~qx_read_l() { read_close_v(); }
    qx_read_l(const qx_read_l&) = delete;
    qx_read_l& operator=(const qx_read_l&) = delete;

    // A byte-order mark at the start of the file (UTF-8, UTF-16 LE or BE) decides the
    // encoding, whatever `encoding` says.
    bool open_b(const QString& file, const QString& encoding);
    // 0 a line was read into `line`; 1 end of file (line empty); 2 read error or a line
    // too long (line empty, the message says which; reading may go on); 5 no file is
    // open.
    int read();
    // As read(), but leaves the line undecoded in `raw_line`; for skipping pages,
    // where only the TABs of a line matter. The bytes are in an ASCII-compatible
    // encoding (UTF-16 files are handed out as UTF-8), so a TAB is the byte 0x09.
    int read_raw();
    // As read_raw(), but only counts the TABs of the line into *tabs, without handing
    // the line out: skipping pages needs nothing else of a line, and a page deep into
    // a large file is reached without copying every line before it.
    int skip_raw(qint64* tabs);
    void read_close_v();
    bool is_open() const { return bool(file); }
    // The encoding the lines are decoded from: the canonical name given to open_b, or
    // "UTF-8", "UTF-16LE", "UTF-16BE" when a byte-order mark said so.
    QString encoding() const { return encoding_; }

    qx_z_l* ctx;
    std::unique_ptr<QFile> file;
    std::unique_ptr<qx_line_buffer_l> stream;
    QString file_name;
    QString line;
    QByteArray raw_line;
    QString spare;

private:
    QStringDecoder decoder_;
    QString encoding_;
    // The encoding of raw_line, which decoder_ reads: encoding_, or "UTF-8" for a
    // UTF-16 file.
    QString raw_encoding_;
    // Set for UTF-16 files only: turns their lines into UTF-8 for raw_line.
    QStringDecoder utf16_decoder_;
};

class qx_write_l {
public:
    explicit qx_write_l(qx_z_l* context) : ctx(context) {}
    ~qx_write_l() { write_close_v(); }
    qx_write_l(const qx_write_l&) = delete;
    qx_write_l& operator=(const qx_write_l&) = delete;

    bool open_b(const QString& file, const QString& mode, const QString& encoding);
    bool write_b(const QString& text);
    void write_close_v();

    QString line_terminator;
    QString unix_terminator = QStringLiteral("\n");
    QString windows_terminator = QStringLiteral("\r\n");
    qx_z_l* ctx;
    QString file_name;
    QString spare;
    std::unique_ptr<QFile> file;
    std::unique_ptr<QStringEncoder> stream;

private:
    QString encoding_;
};
