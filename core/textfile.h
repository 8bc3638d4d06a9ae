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
// U+FFFD in every encoding; the decoder is left ready for the next line.
QString decode_line_s(QStringDecoder* decoder, const QString& canonical, QByteArray bytes);
QByteArray encode_text(QStringEncoder* encoder, const QString& canonical, const QString& text);

// Reads a file in large blocks and hands out its lines as raw bytes, without their
// line feed and without the carriage return of a CR LF pair.
class qx_line_buffer_l {
public:
    explicit qx_line_buffer_l(QFile* file) : file_(file) {}
    // 0 a line is in *out, 1 end of file, 2 read error.
    int next(QByteArray* out);

private:
    QFile* file_;
    QByteArray buffer_;
    qsizetype pos_ = 0;
    bool eof_ = false;
};

class qx_read_l {
public:
    explicit qx_read_l(qx_z_l* context) : ctx(context) {}
    ~qx_read_l() { read_close_v(); }
    qx_read_l(const qx_read_l&) = delete;
    qx_read_l& operator=(const qx_read_l&) = delete;

    bool open_b(const QString& file, const QString& encoding);
    // 0 a line was read into `line`; 1 end of file (line empty); 2 read error;
    // 5 no file is open.
    int read();
    // As read(), but leaves the line undecoded in `raw_line`; for skipping pages,
    // where only the TABs of a line matter.
    int read_raw();
    void read_close_v();
    bool is_open() const { return bool(file); }
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
    bool first_line_ = true;
    void strip_bom(QByteArray* bytes);
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
