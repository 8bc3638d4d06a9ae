// The floor of the invoice benchmark: the pages of bench/invoice/invoice.csv drawn by a
// plain Qt program that knows the form by heart, straight with QPainter into a
// QPdfWriter at 72 dpi. It reads the same data file and draws the same primitives at
// the same device positions as korvan-batch --pdf: the box and the 25 ruled lines, the
// 7 fixed texts, 40 data texts glyph by glyph (amounts with thousands separators,
// right-aligned in 12 columns), the EAN-13 bars and digits and the Code 39 bars, every
// position at full precision. Each
// font's glyph indexes are looked up once per character, and every text is one glyph
// run, as the fastest program of this kind would draw it.
//
//   floor_pdf DATA.tsv OUT.pdf            the benchmark
//   floor_pdf --png DPI DATA.tsv OUT.png  the first page as an image, to compare with
//                                         korvan-batch --png --dpi DPI --end 1
#include <QFile>
#include <QGlyphRun>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPdfWriter>
#include <QRawFont>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr float per_mm = 2.8346276f; // device units (1/72 inch) per millimetre
constexpr int values_per_page = 42;

// A position in millimetres as device units, at full precision.
double pos(double mm) {
    return mm * double(per_mm);
}

// A font at a size in millimetres, the point size drawn as that many device units,
// with a glyph index per character looked up once.
class font_l {
public:
    explicit font_l(float size_mm) : size_mm_(size_mm), points_(int(size_mm * per_mm)) {
        QFont font(QStringLiteral("IPAGothic"));
        font.setPixelSize(points_);
        raw_ = QRawFont::fromFont(font);
        glyphs_.assign(0x10000, -1);
    }
    float size_mm() const { return size_mm_; }
    int points() const { return points_; }
    const QRawFont& raw() const { return raw_; }
    quint32 glyph(QChar c) {
        qint64& g = glyphs_[c.unicode()];
        if (g < 0) {
            quint32 index = 0;
            int count = 1;
            raw_.glyphIndexesForChars(&c, 1, &index, &count);
            g = index;
        }
        return quint32(g);
    }

private:
    float size_mm_;
    int points_;
    QRawFont raw_;
    std::vector<qint64> glyphs_;
};

bool is_narrow(QChar c) {
    const char16_t u = c.unicode();
    return u < 0x80 || (u >= 0xFF66 && u < 0xFFA0);
}

// One text, left edge x and baseline y in millimetres: a narrow character advances one
// point size, a wide one two; spaces are not drawn.
class text_l {
public:
    void clear() {
        glyphs_.clear();
        positions_.clear();
    }
    void add(font_l& font, QStringView text, float x, float y) {
        const double py = pos(y);
        float p = x;
        const float narrow = float(font.points() * 3) / per_mm - float(font.points() * 2) / per_mm;
        const float wide = float(font.points() * 4) / per_mm - float(font.points() * 2) / per_mm;
        for (const QChar c : text) {
            if (c != QLatin1Char(' ')) {
                glyphs_.append(font.glyph(c));
                positions_.append(QPointF(pos(p), py));
            }
            p += is_narrow(c) ? narrow : wide;
        }
    }
    void draw(QPainter& painter, const font_l& font) {
        if (glyphs_.isEmpty()) return;
        QGlyphRun run;
        run.setRawFont(font.raw());
        run.setGlyphIndexes(glyphs_);
        run.setPositions(positions_);
        painter.drawGlyphRun(QPointF(0, 0), run);
        clear();
    }

private:
    QList<quint32> glyphs_;
    QList<QPointF> positions_;
};

QPen line_pen(float width_mm, Qt::PenCapStyle cap) {
    return QPen(QBrush(Qt::black), double(width_mm * per_mm), Qt::SolidLine, cap, Qt::BevelJoin);
}

void line(QPainter& painter, float x1, float y1, float x2, float y2) {
    painter.drawLine(QLineF(pos(x1), pos(y1), pos(x2), pos(y2)));
}

// A bar of a bar code, filled.
void bar(QPainter& painter, double left, double right, float top, float bottom) {
    painter.fillRect(QRectF(QPointF(pos(left), pos(top)), QPointF(pos(right), pos(bottom))),
                     QBrush(Qt::black));
}

// "1234567" -> "    1,234,567": separators, then right-aligned in 12 columns.
QString amount_text(QStringView digits) {
    QString out;
    const qsizetype k = digits.size();
    int countdown = k % 3 == 0 ? 3 : int(k % 3);
    for (qsizetype i = 0; i < k; ++i) {
        out += digits[i];
        if (i + 1 < k && k > 3 && --countdown == 0) {
            out += QLatin1Char(',');
            countdown = 3;
        }
    }
    if (out.size() < 12) out.prepend(QString(12 - out.size(), QLatin1Char(' ')));
    return out;
}

class invoice_l {
public:
    invoice_l() : title_(10), middle_(4), small_(3.5f), rule_(line_pen(0.3f, Qt::SquareCap)) {
        // The EAN digits' ink, measured once per unit of pixel size.
        constexpr double reference = 256;
        QFont font(QStringLiteral("IPAGothic"));
        font.setPixelSize(int(reference));
        font.setHintingPreference(QFont::PreferNoHinting);
        digits_ = QRawFont::fromFont(font);
        QRectF all;
        for (int i = 0; i < 10; ++i) {
            const QChar c(u'0' + i);
            int count = 1;
            digits_.glyphIndexesForChars(&c, 1, &digit_glyph_[i], &count);
            const QRectF ink = digits_.boundingRect(digit_glyph_[i]);
            digit_centre_[i] = ink.center().x() / reference;
            digit_width_ = qMax(digit_width_, ink.width() / reference);
            all = all.united(ink);
        }
        digit_top_ = all.top() / reference;
        digit_height_ = all.height() / reference;
    }

    void draw_page(QPainter& painter, const QStringView* v) {
        // The frame and the item table.
        painter.setPen(rule_);
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(QRectF(QPointF(pos(10), pos(10)), QPointF(pos(200), pos(287))));
        for (int row = 0; row < 20; ++row) {
            const float y = 80.0f + 8.0f * float(row);
            line(painter, 15, y, 195, y);
        }
        for (float x : {15.0f, 60.0f, 110.0f, 150.0f, 195.0f})
            line(painter, x, 80, x, 240);

        // Fixed texts and the 20 rows of name and amount.
        fixed(painter, title_, u"請求書", 75, 17);
        fixed(painter, middle_, u"請求先", 15, 36);
        fixed(painter, middle_, u"備考", 15, 46);
        fixed(painter, middle_, u"請求番号", 120, 36);
        fixed(painter, middle_, u"請求日", 120, 46);
        fixed(painter, middle_, u"品名", 17, 73);
        fixed(painter, middle_, u"金額", 152, 73);
        for (int row = 0; row < 20; ++row) {
            const float y = 82.0f + 8.0f * float(row) + 3.5f;
            text_.add(small_, v[2 * row], 17, y);
            text_.draw(painter, small_);
            text_.add(small_, amount_text(v[2 * row + 1]), 154.9f, y);
            text_.draw(painter, small_);
        }
        jan(painter, v[40]);
        code39(painter, v[41]);
    }

private:
    // A text whose top is at y; it is drawn on its baseline, one character size lower.
    void fixed(QPainter& painter, font_l& font, QStringView text, float x, float y) {
        text_.add(font, text, x, y + font.size_mm());
        text_.draw(painter, font);
    }

    // EAN-13 from 12 digits: the check digit, 95 modules of bars, the digits below.
    void jan(QPainter& painter, QStringView digits12) {
        static const int widths[10][4] = {
            {3, 2, 1, 1}, {2, 2, 2, 1}, {2, 1, 2, 2}, {1, 4, 1, 1}, {1, 1, 3, 2},
            {1, 2, 3, 1}, {1, 1, 1, 4}, {1, 3, 1, 2}, {1, 2, 1, 3}, {3, 1, 1, 2},
        };
        static const int parities[10][6] = {
            {0, 0, 0, 0, 0, 0}, {0, 0, 1, 0, 1, 1}, {0, 0, 1, 1, 0, 1}, {0, 0, 1, 1, 1, 0},
            {0, 1, 0, 0, 1, 1}, {0, 1, 1, 0, 0, 1}, {0, 1, 1, 1, 0, 0}, {0, 1, 0, 1, 0, 1},
            {0, 1, 0, 1, 1, 0}, {0, 1, 1, 0, 1, 0},
        };
        char16_t d[13];
        int sum = 0;
        for (int i = 0; i < 12; ++i) {
            d[i] = digits12[i].unicode();
            sum += (d[i] - u'0') * (i % 2 == 1 ? 3 : 1);
        }
        d[12] = char16_t(u'0' + (10 - sum % 10) % 10);

        const double module = double(0.33f);
        const float top = 245, guard_bottom = 245.0f + 20.0f;
        const float data_bottom = 245.0f + 20.0f - 7.5f * 0.33f;
        double x = 20;
        double digit_left[13];
        digit_left[0] = 20 - 7 * module;
        auto element = [&](int modules, bool is_bar, float bottom) {
            const double w = modules * module;
            if (is_bar) bar(painter, x, x + w, top, bottom);
            x += w;
        };
        for (int i = 0; i < 3; ++i)
            element(1, i % 2 == 0, guard_bottom);
        const int* parity = parities[d[0] - u'0'];
        for (int pos = 1; pos < 13; ++pos) {
            if (pos == 7) {
                for (int i = 0; i < 5; ++i)
                    element(1, i % 2 == 1, guard_bottom);
            }
            digit_left[pos] = x;
            const int* w = widths[d[pos] - u'0'];
            if (pos >= 7)
                for (int i = 0; i < 4; ++i)
                    element(w[i], i % 2 == 0, data_bottom);
            else if (parity[pos - 1] == 0)
                for (int i = 0; i < 4; ++i)
                    element(w[i], i % 2 == 1, data_bottom);
            else
                for (int i = 0; i < 4; ++i)
                    element(w[3 - i], i % 2 == 1, data_bottom);
        }
        for (int i = 0; i < 3; ++i)
            element(1, i % 2 == 0, guard_bottom);

        // Each digit under its 7 modules, as large as the band below the data bars
        // allows (less 3/4 module under the bars), at most 6 modules wide.
        const double module_dev = pos(digit_left[0] + module) - pos(digit_left[0]);
        const double band_top = pos(data_bottom) + 0.75 * module_dev;
        const double room = pos(guard_bottom) - band_top;
        const double size = std::min(room / digit_height_, 6 * module_dev / digit_width_);
        const double baseline = band_top + (room - digit_height_ * size) / 2 - digit_top_ * size;
        QRawFont raw = digits_;
        raw.setPixelSize(size);
        QList<quint32> glyphs;
        QList<QPointF> positions;
        for (int i = 0; i < 13; ++i) {
            const int k = d[i] - u'0';
            glyphs.append(digit_glyph_[k]);
            positions.append(
                QPointF(pos(digit_left[i] + 3.5 * module) - digit_centre_[k] * size, baseline));
        }
        QGlyphRun run;
        run.setRawFont(raw);
        run.setGlyphIndexes(glyphs);
        run.setPositions(positions);
        painter.setPen(QColor(0, 0, 0));
        painter.drawGlyphRun(QPointF(0, 0), run);
    }

    // Code 39 with its check character and the start/stop characters.
    void code39(QPainter& painter, QStringView text) {
        static const char alphabet[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%";
        static const char patterns[] = "1234567890ABCDEFGHIJKLMNOPQRSTUVWXYZ-. *$/+%";
        static const int bar_rows[11][5] = {
            {0, 0, 0, 0, 0}, {1, 0, 0, 0, 1}, {0, 1, 0, 0, 1}, {1, 1, 0, 0, 0},
            {0, 0, 1, 0, 1}, {1, 0, 1, 0, 0}, {0, 1, 1, 0, 0}, {0, 0, 0, 1, 1},
            {1, 0, 0, 1, 0}, {0, 1, 0, 1, 0}, {0, 0, 1, 1, 0},
        };
        static const int space_rows[8][5] = {
            {1, 1, 1, 0, 0}, {1, 1, 0, 1, 0}, {1, 0, 1, 1, 0}, {0, 1, 1, 1, 0},
            {0, 1, 0, 0, 0}, {0, 0, 1, 0, 0}, {0, 0, 0, 1, 0}, {1, 0, 0, 0, 0},
        };
        char framed[32];
        int n = 0, sum = 0;
        framed[n++] = '*';
        for (const QChar c : text) {
            const char ch = char(c.unicode());
            sum += int(std::strchr(alphabet, ch) - alphabet);
            framed[n++] = ch;
        }
        framed[n++] = alphabet[sum % 43];
        framed[n++] = '*';

        const double narrow = double(0.25f), wide = 2.5 * narrow;
        const float top = 250, bottom = 250.0f + 12.0f;
        double x = 120;
        for (int pos = 0; pos < n; ++pos) {
            const int k = int(std::strchr(patterns, framed[pos]) - patterns);
            const int* bars = bar_rows[k < 40 ? k % 10 + 1 : 0];
            const int* spaces = space_rows[k < 40 ? k / 10 + 4 : k - 40];
            for (int i = 0; i < 5; ++i) {
                const double w = bars[i] ? wide : narrow;
                bar(painter, x, x + w, top, bottom);
                x += w + (spaces[i] ? wide : narrow);
            }
        }
    }

    font_l title_, middle_, small_;
    QRawFont digits_;
    quint32 digit_glyph_[10] = {};
    double digit_centre_[10] = {};
    double digit_top_ = 0, digit_height_ = 0, digit_width_ = 0;
    QPen rule_;
    text_l text_;
};

// Reads the data file line by line; one line is one page of 42 values.
class data_l {
public:
    explicit data_l(const QString& path) : file_(path) { ok_ = file_.open(QIODevice::ReadOnly); }
    bool ok() const { return ok_; }
    bool next(QStringView* values) {
        const qint64 n = file_.readLine(buffer_, sizeof buffer_);
        if (n <= 0) return false;
        qint64 end = n;
        while (end > 0 && (buffer_[end - 1] == '\n' || buffer_[end - 1] == '\r'))
            --end;
        line_ = QString::fromUtf8(buffer_, end);
        int count = 0;
        qsizetype from = 0;
        while (count < values_per_page) {
            const qsizetype tab = line_.indexOf(QLatin1Char('\t'), from);
            const qsizetype to = tab < 0 ? line_.size() : tab;
            values[count++] = QStringView(line_).sliced(from, to - from);
            if (tab < 0) break;
            from = tab + 1;
        }
        return count == values_per_page;
    }

private:
    QFile file_;
    bool ok_ = false;
    char buffer_[1 << 16];
    QString line_;
};

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList args = QGuiApplication::arguments();
    const bool png = args.size() == 5 && args.at(1) == QLatin1String("--png");
    if (!png && args.size() != 3) {
        std::fprintf(stderr, "usage: floor_pdf DATA OUT.pdf | floor_pdf --png DPI DATA OUT.png\n");
        return 2;
    }
    auto data = std::make_unique<data_l>(args.at(png ? 3 : 1));
    if (!data->ok()) {
        std::fprintf(stderr, "floor_pdf: cannot read the data file\n");
        return 1;
    }
    invoice_l invoice;
    QStringView values[values_per_page];

    if (png) {
        const double dpi = args.at(2).toDouble();
        QImage image(qRound(210 / 25.4 * dpi), qRound(297 / 25.4 * dpi), QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.scale(dpi / 72.0, dpi / 72.0);
        if (!data->next(values)) return 1;
        invoice.draw_page(painter, values);
        painter.end();
        image.setDotsPerMeterX(qRound(dpi / 0.0254));
        image.setDotsPerMeterY(qRound(dpi / 0.0254));
        return image.save(args.at(4), "PNG") ? 0 : 1;
    }

    QPdfWriter writer(args.at(2));
    writer.setResolution(72);
    writer.setCreator(QStringLiteral("floor_pdf"));
    writer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                                     QMarginsF(0, 0, 0, 0), QPageLayout::Point));
    QPainter painter(&writer);
    int pages = 0;
    while (data->next(values)) {
        if (pages > 0) writer.newPage();
        invoice.draw_page(painter, values);
        ++pages;
    }
    painter.end();
    return pages > 0 ? 0 : 1;
}
