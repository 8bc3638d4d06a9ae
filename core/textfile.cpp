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

qsizetype qx_line_buffer_l::find_line_feed(qsizetype from) const {
    const char* data = buffer_.constData();
    const qsizetype size = buffer_.size();
    if (unit_ == 1) {
        const void* nl = std::memchr(data + from, '\n', size_t(size - from));
        return nl ? static_cast<const char*>(nl) - data : -1;
    }
    const int low = big_endian_ ? 1 : 0; // where the 0x0A byte of the unit is
    for (qsizetype i = from; i + 1 < size; i += 2) {
        if (data[i + low] == '\n' && data[i + 1 - low] == 0) return i;
    }
    return -1;
}

bool qx_line_buffer_l::ends_with_cr(const char* begin, qsizetype len) const {
    if (len < unit_) return false;
    const char* u = begin + len - unit_;
    if (unit_ == 1) return u[0] == '\r';
    return big_endian_ ? (u[0] == 0 && u[1] == '\r') : (u[0] == '\r' && u[1] == 0);
}

int qx_line_buffer_l::next(QByteArray* out) {
    constexpr qsizetype block = 1 << 16;
    qsizetype scan_from = pos_;
    for (;;) {
        const qsizetype nl = find_line_feed(scan_from);
        if (nl >= 0) {
            const char* begin = buffer_.constData() + pos_;
            pos_ = nl + unit_;
            if (skipping_) {
                skipping_ = false;
                return 3;
            }
            qsizetype len = nl - (begin - buffer_.constData());
            if (ends_with_cr(begin, len)) len -= unit_;
            if (len > max_line) return 3;
            *out = QByteArray(begin, len);
            return 0;
        }
        if (eof_) {
            if (skipping_) {
                skipping_ = false;
                pos_ = buffer_.size();
                return 3;
            }
            if (pos_ >= buffer_.size()) return 1;
            // The last line has no line feed.
            const qsizetype len = buffer_.size() - pos_;
            const qsizetype start = pos_;
            pos_ = buffer_.size();
            if (len > max_line) return 3;
            *out = QByteArray(buffer_.constData() + start, len);
            return 0;
        }
        // Keep the unread part, or in an overlong line only a trailing partial unit,
        // then read another block behind it.
        buffer_.remove(0, pos_);
        pos_ = 0;
        if (!skipping_ && buffer_.size() > max_line + unit_) skipping_ = true;
        if (skipping_) buffer_.remove(0, buffer_.size() - buffer_.size() % unit_);
        scan_from = buffer_.size() - buffer_.size() % unit_;
        const qsizetype old = buffer_.size();
        buffer_.resize(old + block);
        const qint64 got = file_->read(buffer_.data() + old, block);
        if (got < 0) {
            // Nothing after a failed read can be trusted; the file counts as ended.
            buffer_.clear();
            eof_ = true;
            skipping_ = false;
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
    utf16_decoder_ = QStringDecoder();
    int unit = 1;
    bool big_endian = false;
    // A byte-order mark says what the file is, whatever it was opened as.
    const QByteArray head = file->peek(3);
    if (head.startsWith("\xEF\xBB\xBF")) {
        file->skip(3);
        encoding_ = QStringLiteral("UTF-8");
    } else if (head.startsWith("\xFF\xFE") || head.startsWith("\xFE\xFF")) {
        file->skip(2);
        unit = 2;
        big_endian = head.startsWith("\xFE\xFF");
        encoding_ = big_endian ? QStringLiteral("UTF-16BE") : QStringLiteral("UTF-16LE");
        utf16_decoder_ =
            QStringDecoder(big_endian ? QStringConverter::Utf16BE : QStringConverter::Utf16LE,
                           QStringConverter::Flag::Stateless);
    }
    decoder_ = make_decoder(unit == 2 ? QStringLiteral("UTF-8") : encoding_);
    stream = std::make_unique<qx_line_buffer_l>(file.get(), unit, big_endian);
    return true;
}

int qx_read_l::read_raw() {
    if (!file || !stream) {
        ctx->message = QStringLiteral("not open read");
        return 5;
    }
    const int r = stream->next(&raw_line);
    if (r != 0) {
        line.clear();
        raw_line.clear();
        if (r == 1) return 1;
        ctx->message = (r == 3 ? QStringLiteral("line too long(") : QStringLiteral("read error(")) +
                       file_name + QStringLiteral(")");
        return 2;
    }
    if (utf16_decoder_.isValid()) {
        raw_line = QString(utf16_decoder_.decode(raw_line)).toUtf8();
        utf16_decoder_.resetState();
    }
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
