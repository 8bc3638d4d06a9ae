#include "core/textfile.h"

#include <cstring>

QString qx_z_l::encode_s(const QString& name) {
    const QString u = name.toUpper();
    if (u == QLatin1String("/") || u.isEmpty() || u == QLatin1String("UTF8") ||
        u == QLatin1String("UTF-8") || u == QLatin1String("UTF_8"))
        return QStringLiteral("UTF-8");
    if (u == QLatin1String("EUCJP") || u == QLatin1String("EUC-JP") || u == QLatin1String("EUC_JP"))
        return QStringLiteral("EUC-JP");
    if (u == QLatin1String("SJIS") || u == QLatin1String("SHIFT-JIS") ||
        u == QLatin1String("SHIFT_JIS"))
        return QStringLiteral("Shift-JIS");
    return u;
}

QStringDecoder make_decoder(const QString& canonical) {
    if (canonical == QLatin1String("Shift-JIS"))
        return QStringDecoder("windows-31j", QStringConverter::Flag::Stateless);
    if (canonical == QLatin1String("EUC-JP"))
        return QStringDecoder("EUC-JP", QStringConverter::Flag::Stateless);
    if (canonical == QLatin1String("UTF-8"))
        return QStringDecoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    return QStringDecoder(QStringConverter::System, QStringConverter::Flag::Stateless);
}

QStringEncoder make_encoder(const QString& canonical) {
    if (canonical == QLatin1String("Shift-JIS")) return QStringEncoder("windows-31j");
    if (canonical == QLatin1String("EUC-JP")) return QStringEncoder("EUC-JP");
    if (canonical == QLatin1String("UTF-8"))
        return QStringEncoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    return QStringEncoder(QStringConverter::System, QStringConverter::Flag::Stateless);
}

int qx_line_buffer_l::next(QByteArray* out) {
    constexpr qsizetype block = 1 << 16;
    qsizetype scan_from = pos_;
    for (;;) {
        const char* begin = buffer_.constData() + pos_;
        const char* from = buffer_.constData() + scan_from;
        const char* nl =
            static_cast<const char*>(std::memchr(from, '\n', size_t(buffer_.size() - scan_from)));
        if (nl) {
            qsizetype len = nl - begin;
            if (len > 0 && begin[len - 1] == '\r') --len;
            *out = QByteArray(begin, len);
            pos_ = (nl - buffer_.constData()) + 1;
            return 0;
        }
        if (eof_) {
            if (pos_ >= buffer_.size()) return 1;
            // The last line has no line feed.
            *out = QByteArray(begin, buffer_.size() - pos_);
            pos_ = buffer_.size();
            return 0;
        }
        // Keep the unread part, then read another block behind it.
        buffer_.remove(0, pos_);
        scan_from = buffer_.size();
        pos_ = 0;
        const qsizetype old = buffer_.size();
        buffer_.resize(old + block);
        const qint64 got = file_->read(buffer_.data() + old, block);
        if (got < 0) {
            buffer_.resize(old);
            return 2;
        }
        buffer_.resize(old + got);
        if (got == 0) eof_ = true;
    }
}

bool qx_read_l::open_b(const QString& name, const QString& encoding) {
    if (file) {
        ctx->message = QStringLiteral("already open read");
        return false;
    }
    file_name = name;
    file = std::make_unique<QFile>(name);
    if (!file->open(QIODevice::ReadOnly)) {
        ctx->message = QStringLiteral("open read error(") + name + QStringLiteral(")");
        read_close_v();
        return false;
    }
    encoding_ = ctx->encode_s(encoding);
    decoder_ = make_decoder(encoding_);
    stream = std::make_unique<qx_line_buffer_l>(file.get());
    first_line_ = true;
    return true;
}

void qx_read_l::strip_bom(QByteArray* bytes) {
    if (first_line_) {
        first_line_ = false;
        if (bytes->startsWith("\xEF\xBB\xBF")) {
            bytes->remove(0, 3);
            if (encoding_ != QLatin1String("UTF-8")) {
                // A byte-order mark says what the file is, whatever it was opened as.
                encoding_ = QStringLiteral("UTF-8");
                decoder_ = make_decoder(encoding_);
            }
        }
    }
}

int qx_read_l::read_raw() {
    if (!file || !stream) {
        ctx->message = QStringLiteral("not open read");
        return 5;
    }
    const int r = stream->next(&raw_line);
    if (r == 1) {
        line.clear();
        raw_line.clear();
        return 1;
    }
    if (r != 0) {
        ctx->message = QStringLiteral("read error(") + file_name + QStringLiteral(")");
        return 2;
    }
    strip_bom(&raw_line);
    return 0;
}

int qx_read_l::read() {
    const int r = read_raw();
    if (r != 0) return r;
    line = decoder_.decode(raw_line);
    // A multibyte character cut off at the end of a line must not leak into the next.
    decoder_.resetState();
    return 0;
}

void qx_read_l::read_close_v() {
    stream.reset();
    if (file) {
        file->close();
        file.reset();
    }
}

bool qx_write_l::open_b(const QString& name, const QString& mode, const QString& encoding) {
    QString enc = encoding;
    QString style;
    const QStringList pieces = encoding.split(QLatin1Char(','));
    if (pieces.size() >= 2) {
        enc = pieces.at(0).trimmed();
        style = pieces.at(1).trimmed().toUpper();
    }
    if (file) {
        ctx->message = QStringLiteral("already open write");
        return false;
    }
    if (style.isEmpty() && ctx->platform_code == QLatin1Char('U'))
        line_terminator = unix_terminator;
    else
        line_terminator = style == QLatin1String("U") ? unix_terminator : windows_terminator;
    file_name = name;
    file = std::make_unique<QFile>(name);
    const QIODevice::OpenMode open_mode = mode == QLatin1String("ADD")
                                              ? (QIODevice::WriteOnly | QIODevice::Append)
                                              : (QIODevice::WriteOnly | QIODevice::Truncate);
    if (!file->open(open_mode)) {
        ctx->message = QStringLiteral("Open Write error");
        write_close_v();
        return false;
    }
    stream = std::make_unique<QStringEncoder>(make_encoder(ctx->encode_s(enc)));
    return true;
}

bool qx_write_l::write_b(const QString& text) {
    if (!file || !stream) {
        ctx->message = QStringLiteral("not open write");
        return false;
    }
    const QByteArray bytes = stream->encode(text + line_terminator);
    return file->write(bytes) == bytes.size();
}

void qx_write_l::write_close_v() {
    stream.reset();
    if (file) {
        file->close();
        file.reset();
    }
}

namespace {

// Length of the valid UTF-8 sequence at p (at most n bytes), or 0 when it is not one.
int utf8_sequence(const unsigned char* p, qsizetype n) {
    const unsigned char c = p[0];
    int len;
    unsigned int min;
    if (c >= 0xC2 && c <= 0xDF) {
        len = 2;
        min = 0x80;
    } else if (c >= 0xE0 && c <= 0xEF) {
        len = 3;
        min = 0x800;
    } else if (c >= 0xF0 && c <= 0xF4) {
        len = 4;
        min = 0x10000;
    } else {
        return 0;
    }
    if (n < len) return 0;
    unsigned int cp = c & (0x7F >> len);
    for (int i = 1; i < len; ++i) {
        if ((p[i] & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (p[i] & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
    return len;
}

} // namespace

QString qx_z_l::file_encoding_s(const QString& path) {
    if (!forced_encoding.isEmpty()) return encode_s(forced_encoding);
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return QStringLiteral("UTF-8");
    // ASCII says nothing, so skip to the first byte above 0x7F however far in it is,
    // then judge by up to 256 KB from there: Shift-JIS text is practically never valid
    // UTF-8 for more than a character or two.
    constexpr qsizetype block = 1 << 18;
    QByteArray buf;
    bool first_block = true;
    for (;;) {
        QByteArray more = f.read(block);
        if (more.isEmpty() && buf.isEmpty()) return QStringLiteral("UTF-8");
        buf += more;
        if (first_block && buf.startsWith("\xEF\xBB\xBF")) return QStringLiteral("UTF-8");
        first_block = false;
        const auto* p = reinterpret_cast<const unsigned char*>(buf.constData());
        qsizetype i = 0;
        const qsizetype n = buf.size();
        while (i < n && p[i] < 0x80)
            ++i;
        if (i == n) {
            if (more.isEmpty()) return QStringLiteral("UTF-8");
            buf.clear();
            continue;
        }
        // Found non-ASCII: make sure the judging window is in memory.
        buf.remove(0, i);
        while (buf.size() < block) {
            const QByteArray tail = f.read(block - buf.size());
            if (tail.isEmpty()) break;
            buf += tail;
        }
        const auto* q = reinterpret_cast<const unsigned char*>(buf.constData());
        const qsizetype m = buf.size();
        qsizetype j = 0;
        while (j < m) {
            if (q[j] < 0x80) {
                ++j;
                continue;
            }
            const int len = utf8_sequence(q + j, m - j);
            if (len == 0) {
                // A sequence cut by the end of the window is no verdict against UTF-8.
                if (m - j < 4 && m == block) break;
                return QStringLiteral("Shift-JIS");
            }
            j += len;
        }
        return QStringLiteral("UTF-8");
    }
}
