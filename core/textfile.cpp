#include "core/textfile.h"

#include <QFileInfo>
#include <cstring>
#include <vector>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__GNUC__) && defined(__x86_64__)
#include <immintrin.h>
#endif

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

namespace {

// The Shift-JIS converter follows the PC code page in placing three control characters:
// it reads byte 0x1A as U+001C, 0x1C as U+007F and 0x7F as U+001A, and writes them
// back the same way. Code page 932 keeps all three where ASCII has them. None of the
// three bytes can be part of a two-byte character, so swapping them before decoding
// (and after encoding) is safe anywhere in a line.
void to_pc_controls(QByteArray* bytes) {
    for (char& b : *bytes) {
        if (b == 0x1A)
            b = 0x7F;
        else if (b == 0x1C)
            b = 0x1A;
        else if (b == 0x7F)
            b = 0x1C;
    }
}

void from_pc_controls(QByteArray* bytes) {
    for (char& b : *bytes) {
        if (b == 0x7F)
            b = 0x1A;
        else if (b == 0x1A)
            b = 0x1C;
        else if (b == 0x1C)
            b = 0x7F;
    }
}

bool is_japanese(const QString& canonical) {
    return canonical == QLatin1String("Shift-JIS") || canonical == QLatin1String("EUC-JP");
}

// One line of a UTF-16 file as UTF-8. A trailing odd byte decodes as U+FFFD already; a
// surrogate half without its partner (a character cut off by the end of the line or
// of the file) becomes U+FFFD as well, as a cut-off character does in every other
// encoding, instead of the "?" that the UTF-8 encoder would write for it.
QByteArray utf16_to_utf8(QStringDecoder* decoder, const QByteArray& bytes) {
    QString text = decoder->decode(bytes);
    decoder->resetState();
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate())
            ++i;
        else if (c.isSurrogate())
            text[i] = QChar(QChar::ReplacementCharacter);
    }
    return text.toUtf8();
}

} // namespace

QString decode_line_s(QStringDecoder* decoder, const QString& canonical, QByteArray bytes) {
    const bool own_sub = bytes.contains('\x1A');
    if (canonical == QLatin1String("Shift-JIS")) to_pc_controls(&bytes);
    // The line goes through the converter with its line feed put back: a multibyte
    // character cut off by the end of the line (or of the file) then meets a byte that
    // cannot continue it and is decoded as a bad sequence, instead of waiting for bytes
    // that never come and vanishing. No encoding here lets a line feed continue a
    // character, so the feed comes out again and is taken off.
    bytes.append('\n');
    QString text = decoder->decode(bytes);
    decoder->resetState();
    if (text.endsWith(QLatin1Char('\n'))) text.chop(1);
    // The Japanese converters decode a bad sequence as U+001A (SUB), which a form would
    // draw as nothing. Unless the line holds SUB bytes of its own, make those U+FFFD, as
    // UTF-8 does, so that a damaged character shows on the page.
    if (is_japanese(canonical) && !own_sub)
        text.replace(QChar(0x1A), QChar(QChar::ReplacementCharacter));
    return text;
}

QByteArray encode_text(QStringEncoder* encoder, const QString& canonical, const QString& text) {
    QByteArray bytes = encoder->encode(text);
    if (canonical == QLatin1String("Shift-JIS")) from_pc_controls(&bytes);
    return bytes;
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
    const char* data = nullptr;
    qsizetype size = 0;
    const int r = next_view(&data, &size);
    if (r == 0) *out = QByteArray(data, size);
    return r;
}

int qx_line_buffer_l::next_view(const char** data, qsizetype* size) {
    constexpr qsizetype block = 1 << 16;
    qsizetype scan_from = pos_;
    for (;;) {
        const qsizetype nl = find_line_feed(scan_from);
        if (nl >= 0) {
            const char* begin = buffer_.constData() + pos_;
            pos_ = nl + unit_;
            if (skipping_) {
                // The end of a line that was reported when it passed the limit.
                skipping_ = false;
                scan_from = pos_;
                continue;
            }
            qsizetype len = nl - (begin - buffer_.constData());
            if (ends_with_cr(begin, len)) len -= unit_;
            if (len > max_line) return 3;
            *data = begin;
            *size = len;
            return 0;
        }
        if (eof_) {
            if (skipping_) {
                skipping_ = false;
                pos_ = buffer_.size();
                return 1;
            }
            if (pos_ >= buffer_.size()) return 1;
            // The last line has no line feed.
            const qsizetype len = buffer_.size() - pos_;
            const qsizetype start = pos_;
            pos_ = buffer_.size();
            if (len > max_line) return 3;
            *data = buffer_.constData() + start;
            *size = len;
            return 0;
        }
        // Keep the unread part, or in an overlong line only a trailing partial unit,
        // then read another block behind it.
        buffer_.remove(0, pos_);
        pos_ = 0;
        if (skipping_) buffer_.remove(0, buffer_.size() - buffer_.size() % unit_);
        if (!skipping_ && buffer_.size() > max_line + unit_) {
            // Reported as soon as it passes the limit, not once its end is found: a
            // line may never end (a device, an endless pipe). The next call skips the
            // rest of it.
            skipping_ = true;
            buffer_.remove(0, buffer_.size() - buffer_.size() % unit_);
            return 3;
        }
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
    raw_encoding_ = unit == 2 ? QStringLiteral("UTF-8") : encoding_;
    decoder_ = make_decoder(raw_encoding_);
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
    if (utf16_decoder_.isValid()) raw_line = utf16_to_utf8(&utf16_decoder_, raw_line);
    return 0;
}

int qx_read_l::skip_raw(qint64* tabs) {
    *tabs = 0;
    // A UTF-16 line is counted once it is UTF-8, as read_raw hands it out.
    if (utf16_decoder_.isValid() || !file || !stream) {
        const int r = read_raw();
        if (r == 0) *tabs = raw_line.count('\t');
        return r;
    }
    const char* data = nullptr;
    qsizetype size = 0;
    const int r = stream->next_view(&data, &size);
    line.clear();
    raw_line.clear();
    if (r != 0) {
        if (r == 1) return 1;
        ctx->message = (r == 3 ? QStringLiteral("line too long(") : QStringLiteral("read error(")) +
                       file_name + QStringLiteral(")");
        return 2;
    }
    const char* end = data + size;
    while ((data = static_cast<const char*>(std::memchr(data, '\t', size_t(end - data)))) !=
           nullptr) {
        ++*tabs;
        ++data;
    }
    return 0;
}

int qx_read_l::read() {
    const int r = read_raw();
    if (r != 0) return r;
    line = decode_line_s(&decoder_, raw_encoding_, raw_line);
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
    encoding_ = ctx->encode_s(enc);
    stream = std::make_unique<QStringEncoder>(make_encoder(encoding_));
    return true;
}

bool qx_write_l::write_b(const QString& text) {
    if (!file || !stream) {
        ctx->message = QStringLiteral("not open write");
        return false;
    }
    const QByteArray bytes = encode_text(stream.get(), encoding_, text + line_terminator);
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

// The UTF-8 sequence that starts at p (n bytes available): its length when it is a
// well-formed sequence (no overlong forms, no surrogates, nothing above U+10FFFF), -1
// when the bytes end before it does but are right so far, 0 when it is no UTF-8.
int utf8_sequence(const unsigned char* p, qsizetype n) {
    const unsigned int c = p[0];
    int len;
    unsigned int lo = 0x80; // range of the second byte
    unsigned int hi = 0xBF;
    if (c >= 0xC2 && c <= 0xDF) {
        len = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
        len = 3;
        if (c == 0xE0) lo = 0xA0;
        if (c == 0xED) hi = 0x9F;
    } else if (c >= 0xF0 && c <= 0xF4) {
        len = 4;
        if (c == 0xF0) lo = 0x90;
        if (c == 0xF4) hi = 0x8F;
    } else {
        return 0;
    }
    for (int k = 1; k < len; ++k) {
        if (k >= n) return -1;
        const unsigned int b = p[k];
        if (k == 1 ? (b < lo || b > hi) : (b & 0xC0) != 0x80) return 0;
    }
    return len;
}

// The end of the well-formed UTF-8 that starts p (n bytes), one sequence at a time:
// n when all of it is, the start of a sequence that the end cuts short, or -1 at the
// first byte sequence that is no UTF-8.
qsizetype utf8_prefix_bytes(const unsigned char* p, qsizetype n) {
    qsizetype i = 0;
    while (i < n) {
        if (p[i] < 0x80) {
            ++i;
            continue;
        }
        const int len = utf8_sequence(p + i, n - i);
        if (len == 0) return -1;
        if (len < 0) return i;
        i += len;
    }
    return i;
}

#if defined(__SSE2__)
// The same test on whole 16-byte chunks, with the bytes classified side by side:
// every continuation byte must be one that a lead byte 1, 2 or 3 places before asks
// for and the other way round; C0, C1 and F5 to FF never appear; and the second byte
// after E0, ED, F0 and F4 keeps out of the overlong forms, the surrogates and what lies
// above U+10FFFF. Returns the end of the last chunk that ended between two sequences
// (0 when none did), or -1 at a byte sequence that is no UTF-8. Mixed Japanese and
// ASCII text makes a byte-by-byte test mispredict at every change of script, which
// made it the slowest part of starting deep into a large file.
qsizetype utf8_prefix_chunks(const unsigned char* p, qsizetype n) {
    // Bytes are compared as signed after flipping the top bit, so that the order of
    // the unsigned values is kept.
    const __m128i flip = _mm_set1_epi8(char(0x80));
    const auto at_least = [](__m128i v, int lo) {
        return _mm_cmpgt_epi8(v, _mm_set1_epi8(char((lo ^ 0x80) - 1)));
    };
    const auto at_most = [](__m128i v, int hi) {
        return _mm_cmplt_epi8(v, _mm_set1_epi8(char((hi ^ 0x80) + 1)));
    };
    const auto mask = [](__m128i m) { return quint32(_mm_movemask_epi8(m)); };
    const auto within = [&](__m128i v, int lo, int hi) {
        return mask(_mm_and_si128(at_least(v, lo), at_most(v, hi)));
    };
    const auto equal = [&](__m128i x, int c) {
        return mask(_mm_cmpeq_epi8(x, _mm_set1_epi8(char(c))));
    };
    const auto top_bits = [&](__m128i x, int bits, int value) {
        return mask(_mm_cmpeq_epi8(_mm_and_si128(x, _mm_set1_epi8(char(bits))),
                                   _mm_set1_epi8(char(value))));
    };
    quint32 want_cont = 0, want_a0 = 0, deny_a0 = 0, want_90 = 0, deny_90 = 0;
    qsizetype boundary = 0;
    for (qsizetype i = 0; i + 16 <= n; i += 16) {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        const quint32 high = mask(x); // the bytes from 0x80 up
        if (high == 0 && want_cont == 0) {
            boundary = i + 16; // ASCII only
            continue;
        }
        const __m128i v = _mm_xor_si128(x, flip);
        const quint32 cont = top_bits(x, 0xC0, 0x80);
        const quint32 lead2 = within(v, 0xC2, 0xDF);
        const quint32 lead3 = top_bits(x, 0xF0, 0xE0);
        const quint32 lead4 = within(v, 0xF0, 0xF4);
        // C0, C1 and F5 to FF: high bytes of no class.
        const quint32 bad = high & ~(cont | lead2 | lead3 | lead4);
        want_cont |= ((lead2 | lead3 | lead4) << 1) | ((lead3 | lead4) << 2) | (lead4 << 3);
        if ((want_cont & 0xFFFF) != cont || bad != 0) return -1;
        // The leads whose second byte has a narrower range; Japanese text has none.
        const quint32 special =
            mask(_mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(x, _mm_set1_epi8(char(0xE0))),
                                           _mm_cmpeq_epi8(x, _mm_set1_epi8(char(0xED)))),
                              _mm_or_si128(_mm_cmpeq_epi8(x, _mm_set1_epi8(char(0xF0))),
                                           _mm_cmpeq_epi8(x, _mm_set1_epi8(char(0xF4))))));
        if ((special | want_a0 | deny_a0 | want_90 | deny_90) != 0) {
            want_a0 |= equal(x, 0xE0) << 1;
            deny_a0 |= equal(x, 0xED) << 1;
            want_90 |= equal(x, 0xF0) << 1;
            deny_90 |= equal(x, 0xF4) << 1;
            const quint32 a0 = within(v, 0xA0, 0xBF);
            const quint32 n90 = within(v, 0x90, 0xBF);
            if ((want_a0 & 0xFFFF & ~a0) != 0 || (deny_a0 & a0) != 0 ||
                (want_90 & 0xFFFF & ~n90) != 0 || (deny_90 & n90) != 0)
                return -1;
            want_a0 >>= 16;
            deny_a0 >>= 16;
            want_90 >>= 16;
            deny_90 >>= 16;
        }
        want_cont >>= 16;
        if (want_cont == 0) boundary = i + 16;
    }
    return boundary;
}
#endif

#if defined(__GNUC__) && defined(__x86_64__)
// utf8_prefix_chunks on 32-byte chunks, for processors with AVX2: the same steps, as
// wide again. The AVX2 instructions cannot go through the helpers above, which are
// built for the base instruction set, so the steps are written out here.
__attribute__((target("avx2"))) qsizetype utf8_prefix_chunks_avx2(const unsigned char* p,
                                                                  qsizetype n) {
#define KORVAN_SET(c) _mm256_set1_epi8(char(c))
#define KORVAN_MASK(m) quint64(quint32(_mm256_movemask_epi8(m)))
// Bytes from lo to hi, in the flipped (signed) order.
#define KORVAN_WITHIN(v, lo, hi)                                                                   \
    KORVAN_MASK(_mm256_and_si256(_mm256_cmpgt_epi8(v, KORVAN_SET(((lo) ^ 0x80) - 1)),              \
                                 _mm256_cmpgt_epi8(KORVAN_SET(((hi) ^ 0x80) + 1), v)))
#define KORVAN_EQUAL(x, c) KORVAN_MASK(_mm256_cmpeq_epi8(x, KORVAN_SET(c)))
#define KORVAN_TOP(x, bits, value)                                                                 \
    KORVAN_MASK(_mm256_cmpeq_epi8(_mm256_and_si256(x, KORVAN_SET(bits)), KORVAN_SET(value)))
    constexpr quint64 all = 0xFFFFFFFFull;
    quint64 want_cont = 0, want_a0 = 0, deny_a0 = 0, want_90 = 0, deny_90 = 0;
    qsizetype boundary = 0;
    for (qsizetype i = 0; i + 32 <= n; i += 32) {
        const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i));
        const quint64 high = KORVAN_MASK(x);
        if (high == 0 && want_cont == 0) {
            boundary = i + 32;
            continue;
        }
        const __m256i v = _mm256_xor_si256(x, KORVAN_SET(0x80));
        const quint64 cont = KORVAN_TOP(x, 0xC0, 0x80);
        const quint64 lead2 = KORVAN_WITHIN(v, 0xC2, 0xDF);
        const quint64 lead3 = KORVAN_TOP(x, 0xF0, 0xE0);
        const quint64 lead4 = KORVAN_WITHIN(v, 0xF0, 0xF4);
        const quint64 bad = high & ~(cont | lead2 | lead3 | lead4);
        want_cont |= ((lead2 | lead3 | lead4) << 1) | ((lead3 | lead4) << 2) | (lead4 << 3);
        if ((want_cont & all) != cont || bad != 0) return -1;
        const quint64 special =
            KORVAN_MASK(_mm256_or_si256(_mm256_or_si256(_mm256_cmpeq_epi8(x, KORVAN_SET(0xE0)),
                                                        _mm256_cmpeq_epi8(x, KORVAN_SET(0xED))),
                                        _mm256_or_si256(_mm256_cmpeq_epi8(x, KORVAN_SET(0xF0)),
                                                        _mm256_cmpeq_epi8(x, KORVAN_SET(0xF4)))));
        if ((special | want_a0 | deny_a0 | want_90 | deny_90) != 0) {
            want_a0 |= KORVAN_EQUAL(x, 0xE0) << 1;
            deny_a0 |= KORVAN_EQUAL(x, 0xED) << 1;
            want_90 |= KORVAN_EQUAL(x, 0xF0) << 1;
            deny_90 |= KORVAN_EQUAL(x, 0xF4) << 1;
            const quint64 a0 = KORVAN_WITHIN(v, 0xA0, 0xBF);
            const quint64 n90 = KORVAN_WITHIN(v, 0x90, 0xBF);
            if ((want_a0 & all & ~a0) != 0 || (deny_a0 & a0) != 0 || (want_90 & all & ~n90) != 0 ||
                (deny_90 & n90) != 0)
                return -1;
            want_a0 >>= 32;
            deny_a0 >>= 32;
            want_90 >>= 32;
            deny_90 >>= 32;
        }
        want_cont >>= 32;
        if (want_cont == 0) boundary = i + 32;
    }
    return boundary;
#undef KORVAN_SET
#undef KORVAN_MASK
#undef KORVAN_WITHIN
#undef KORVAN_EQUAL
#undef KORVAN_TOP
}
#endif

// The end of the well-formed UTF-8 that starts p (n bytes): n when all of it is, the
// start of a sequence that the end cuts short, or -1 at the first byte sequence that
// is no UTF-8.
qsizetype utf8_prefix(const unsigned char* p, qsizetype n) {
    qsizetype checked = 0;
#if defined(__GNUC__) && defined(__x86_64__)
    static const bool avx2 = __builtin_cpu_supports("avx2");
    if (avx2) {
        checked = utf8_prefix_chunks_avx2(p, n);
        if (checked < 0) return -1;
    }
#endif
#if defined(__SSE2__)
    if (checked == 0) checked = utf8_prefix_chunks(p, n);
    if (checked < 0) return -1;
#endif
    const qsizetype rest = utf8_prefix_bytes(p + checked, n - checked);
    return rest < 0 ? -1 : checked + rest;
}

} // namespace

QString qx_z_l::file_encoding_s(const QString& path) {
    if (!forced_encoding.isEmpty()) return encode_s(forced_encoding);
    const QString utf8 = QStringLiteral("UTF-8");
    // Only a regular file can be looked at before it is read: a pipe would be drained
    // by the look, a device may never end. Anything else is read as UTF-8.
    if (!QFileInfo(path).isFile()) return utf8;
    const QString sjis = QStringLiteral("Shift-JIS");
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) return utf8;
    // The whole file is looked at, a block at a time and in constant memory, so that a
    // Shift-JIS character is found however far into the file the first one is. The
    // first byte sequence that is no UTF-8 decides for Shift-JIS.
    constexpr qsizetype block = qsizetype(1) << 16;
    // A sequence cut by the end of the last block (at most 3 bytes), then the next
    // block read behind it.
    std::vector<unsigned char> buf(size_t(block) + 4);
    qsizetype carried = 0;
    bool first_block = true;
    for (;;) {
        const qint64 got = f.read(reinterpret_cast<char*>(buf.data()) + carried, block);
        if (got <= 0) return carried == 0 ? utf8 : sjis; // cut at the end: no UTF-8
        const qsizetype n = carried + got;
        if (first_block) {
            first_block = false;
            if (n >= 3 && std::memcmp(buf.data(), "\xEF\xBB\xBF", 3) == 0) return utf8;
        }
        const qsizetype end = utf8_prefix(buf.data(), n);
        if (end < 0) return sjis;
        carried = n - end;
        std::memmove(buf.data(), buf.data() + end, size_t(carried));
    }
}
