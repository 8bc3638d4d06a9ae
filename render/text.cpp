// Fonts and the character-by-character text layout.
//
// Advances are not taken from font metrics: a narrow character (ASCII, half-width
// katakana) advances by the font's point size, a wide one by twice that, so that a form
// looks the same on every device. A font's point size is drawn as that many device
// units on every output (the painter's font gets a pixel size equal to the point size):
// screens, images and printers differ in resolution, and characters must keep their
// size relative to the ruled lines, which are laid out at one device unit per point.
// Characters are never rotated: vertical text stacks upright characters.
#include "layout/form.h"
#include "render/device.h"

#include <QGlyphRun>
#include <QPainter>
#include <QRawFont>

struct form_l::text_cache_l {
    QFont key;    // a font of new_font_n
    QFont device; // the same font, its point size as pixel size
    QRawFont raw; // the first font the painter looks in for a glyph
    bool made = false;
};

namespace {

// Largest point size handed to a font; no sheet is anywhere near this tall.
constexpr float max_points = 100000.0f;

bool is_wide_kind(int kind) {
    return kind == qx_z_l::KIND_WIDE || kind == qx_z_l::KIND_HIGH_SURROGATE;
}

bool is_surrogate_kind(int kind) {
    return kind == qx_z_l::KIND_HIGH_SURROGATE || kind == qx_z_l::KIND_LOW_SURROGATE;
}

// Draws the units of one text item. The painter's font and pen are set once for the
// item. A unit that the font has one glyph for is collected into a glyph run and drawn
// with the others in one call; anything else (a character the font lacks and the
// painter must find elsewhere, a broken surrogate pair) is drawn as text, after the
// glyphs collected before it, so that the drawing order is kept. Units that land far
// outside the device are skipped: a field may hold a megabyte of text.
class unit_painter_l {
public:
    unit_painter_l(form_l* form, const QFont& font) : form_(form) {
        QPainter* p = form->painter;
        if (!p || !p->isActive()) return;
        painter_ = p;
        p->setFont(form->painter_font_n(font));
        p->setPen(QPen(QColor(0, 0, 0)));
        raw_ = form->text_cache->raw;
        const QPaintDevice* device = p->device();
        const QTransform t = p->combinedTransform();
        if (device && t.isInvertible()) {
            const double margin = 4.0 * font.pointSize() + 16.0;
            visible_ = t.inverted()
                           .mapRect(QRectF(0, 0, device->width(), device->height()))
                           .adjusted(-margin, -margin, margin, margin);
            culling_ = true;
        }
    }
    ~unit_painter_l() { flush(); }
    unit_painter_l(const unit_painter_l&) = delete;
    unit_painter_l& operator=(const unit_painter_l&) = delete;

    void draw(const QString& text, qsizetype from, qsizetype length, float x, float y) {
        if (!painter_) return;
        const QChar* chars = text.constData() + from;
        if (length == 1 && *chars == QLatin1Char(' ')) return;
        const int px = device_unit(double(x * form_->points_per_mm + form_->x_geta_f()));
        const int py = device_unit(double(y * form_->points_per_mm + form_->y_geta_f()));
        if (culling_ && !visible_.contains(QPointF(px, py))) return;
        quint32 glyph[2] = {0, 0};
        int glyph_count = 2;
        if (raw_.isValid() && raw_.glyphIndexesForChars(chars, int(length), glyph, &glyph_count) &&
            glyph_count == 1 && glyph[0] != 0) {
            glyphs_.append(glyph[0]);
            positions_.append(QPointF(px, py));
            // A run is drawn every few thousand glyphs: a spread field of a 15 MB value
            // puts every character on the sheet, and collecting them all first took
            // 700 MB.
            if (glyphs_.size() >= max_run) flush();
            return;
        }
        flush();
        painter_->drawText(QPoint(px, py), QString::fromRawData(chars, length));
    }

private:
    void flush() {
        if (glyphs_.isEmpty()) return;
        QGlyphRun run;
        run.setRawFont(raw_);
        run.setGlyphIndexes(glyphs_);
        run.setPositions(positions_);
        painter_->drawGlyphRun(QPointF(0, 0), run);
        glyphs_.clear();
        positions_.clear();
    }

    static constexpr qsizetype max_run = 4096;
    form_l* form_;
    QPainter* painter_ = nullptr;
    QRawFont raw_;
    QList<quint32> glyphs_;
    QList<QPointF> positions_;
    QRectF visible_;
    bool culling_ = false;
};

} // namespace

QFont form_l::new_font_n(const QString& family, float size, const QString& attribute) {
    QFont font(family);
    // The whole part of the size in device units. A character of less than one point
    // is drawn one point high; a point size of 0 is not a size a font can have.
    const float points = size * points_per_mm;
    font.setPointSize(points >= 1.0f ? int(qMin(points, max_points)) : 1);
    font.setWeight(QFont::Normal);
    font.setItalic(false);
    // "BI" gives bold and upright: bold is looked at first and ends the test.
    const QString a = attribute.toLower();
    if (a.contains(QLatin1Char('b')))
        font.setWeight(QFont::Bold);
    else if (a.contains(QLatin1Char('i')))
        font.setItalic(true);
    return font;
}

QFont form_l::painter_font_n(const QFont& font) {
    if (!text_cache) text_cache = std::make_shared<text_cache_l>();
    text_cache_l& cache = *text_cache;
    if (!cache.made || !(cache.key == font)) {
        cache.made = true;
        cache.key = font;
        cache.device = font;
        cache.device.setPixelSize(qMax(1, font.pointSize()));
        cache.raw = QRawFont::fromFont(cache.device);
    }
    return cache.device;
}

float form_l::font_width_f(const QFont& font, const QString& text) {
    int count = int(text.size());
    // One character between two others: a wide one counts as two.
    if (count == 3 && is_wide_kind(ctx->kind_code(text.at(1)))) count = 4;
    return float(font.pointSize() * count) / points_per_mm;
}

float form_l::font_height_f(const QFont& font, const QString& text) {
    return float(double(text.size()) * font.pointSize() * 2.5 / points_per_mm);
}

int form_l::length_count(const QString& text) {
    int count = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const int kind = ctx->kind_code(text.at(i));
        if (kind == qx_z_l::KIND_NONE) continue;
        ++count;
        if (is_surrogate_kind(kind)) ++i; // a pair is one character
    }
    return count;
}

namespace {

// A unit is one character, or a surrogate with the character after it.
qsizetype unit_length(const QString& text, qsizetype i, int kind) {
    return (is_surrogate_kind(kind) && i + 1 < text.size()) ? 2 : 1;
}

// The advance of a unit between two "X": font_width_f("X" + unit + "X") minus
// font_width_f("XX"), computed without building the strings.
float unit_advance(int points, float per_mm, qsizetype length, int first_kind) {
    const int count = (length == 1 && is_wide_kind(first_kind)) ? 4 : int(length) + 2;
    return float(points * count) / per_mm - float(points * 2) / per_mm;
}

} // namespace

void form_l::draw_h_string_v(float spacing, const QString& text, const QFont& font, const QBrush&,
                             float x, float y) {
    if (fix_flag == 1) fix_step = fix_count != 0 ? (spacing - x) / float(fix_count) : 0.0f;
    unit_painter_l out(this, font);
    const int points = font.pointSize();
    float p = x; // pen position: where the next character goes
    float d = x; // where the current unit is drawn
    for (qsizetype i = 0; i < text.size();) {
        const int kind = ctx->kind_code(text.at(i));
        const qsizetype length = unit_length(text, i, kind);
        // A character without advance is drawn over the unit before it.
        if (kind != qx_z_l::KIND_NONE) d = p;
        out.draw(text, i, length, d, y);
        p = fix_flag == 1 ? d + fix_step
                          : d + spacing + unit_advance(points, points_per_mm, length, kind);
        i += length;
    }
}

void form_l::draw_v_string_v(float spacing, const QString& text, const QFont& font, const QBrush&,
                             float x, float y) {
    if (fix_flag == 1) fix_step = fix_count != 0 ? (spacing - y) / float(fix_count) : 0.0f;
    unit_painter_l out(this, font);
    const int points = font.pointSize();
    float q = y; // pen position
    float e = y; // where the current unit is drawn
    for (qsizetype i = 0; i < text.size();) {
        const int kind = ctx->kind_code(text.at(i));
        const qsizetype length = unit_length(text, i, kind);
        if (kind != qx_z_l::KIND_NONE) e = q;
        out.draw(text, i, length, x, e);
        if (fix_flag == 1) {
            q = e + fix_step;
        } else {
            q = e + spacing;
            // An ASCII letter takes its point size; anything else 0.9 of the text
            // height, 2.25 points per character.
            if (kind == qx_z_l::KIND_ASCII)
                q += unit_advance(points, points_per_mm, length, kind);
            else
                q += float(0.9 * double(float(double(length) * points * 2.5 / points_per_mm)));
        }
        i += length;
    }
}

void form_l::draw_string_v(const QString& text, const QFont& font, const QBrush&, float x, float y,
                           QChar) {
    if (!painter || !painter->isActive()) return;
    painter->setFont(painter_font_n(font));
    painter->setPen(QPen(QColor(0, 0, 0)));
    painter->drawText(QPoint(device_unit(double(x * points_per_mm + x_geta_f())),
                             device_unit(double(y * points_per_mm + y_geta_f()))),
                      text);
}
