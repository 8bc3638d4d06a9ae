// Fonts and the character-by-character text layout.
//
// Characters are placed at full precision, like the ruled lines they sit between.
// Advances are not taken from font metrics: a narrow character (ASCII, half-width
// katakana) advances by the font's point size, a wide one by twice that, so that a form
// looks the same on every device. A font's point size is drawn as that many device
// units on every output (the painter's font gets a pixel size equal to the point size):
// screens, images and printers differ in resolution, and characters must keep their
// size relative to the ruled lines, which are laid out at one device unit per point.
// Characters are never rotated: vertical text stacks upright characters.
#include "layout/form.h"
#include "render/device.h"
#include "render/text_cache.h"

#include <QPainter>
#include <algorithm>

namespace {

// Largest point size handed to a font; no sheet is anywhere near this tall.
constexpr float max_points = 100000.0f;

// Fonts kept by the text cache.
constexpr size_t max_cached_fonts = 16;

bool is_wide_kind(int kind) {
    return kind == qx_z_l::KIND_WIDE || kind == qx_z_l::KIND_HIGH_SURROGATE;
}

bool is_surrogate_kind(int kind) {
    return kind == qx_z_l::KIND_HIGH_SURROGATE || kind == qx_z_l::KIND_LOW_SURROGATE;
}

// Draws the units of one text item. The painter's pen is set once for the item. A unit
// that the font has one glyph for is collected into a glyph run and drawn with the
// others in one call; anything else (a character the font lacks and the painter must
// find elsewhere, a broken surrogate pair) is drawn as text in the painter's font,
// after the glyphs collected before it, so that the drawing order is kept. Units that
// land far outside the device are skipped: a field may hold a megabyte of text.
class unit_painter_l {
public:
    unit_painter_l(form_l* form, const QFont& font) : form_(form) {
        QPainter* p = form->painter;
        if (!p || !p->isActive()) return;
        painter_ = p;
        cache_ = &form_l::text_cache_l::of(form);
        font_ = &cache_->font(font);
        p->setPen(cache_->text_pen);
        if (!cache_->in_form || !cache_->view_known) {
            const QPaintDevice* device = p->device();
            const QTransform t = p->combinedTransform();
            cache_->view_valid = device && t.isInvertible();
            if (cache_->view_valid)
                cache_->view =
                    t.inverted().mapRect(QRectF(0, 0, device->width(), device->height()));
            cache_->view_known = cache_->in_form;
        }
        if (cache_->view_valid) {
            const double margin = 4.0 * font.pointSize() + 16.0;
            const QRectF visible = cache_->view.adjusted(-margin, -margin, margin, margin);
            // QRectF::contains, worked out once: edges included, nothing in a null rect.
            left_ = qMin(visible.left(), visible.right());
            right_ = qMax(visible.left(), visible.right());
            top_ = qMin(visible.top(), visible.bottom());
            bottom_ = qMax(visible.top(), visible.bottom());
            nothing_visible_ = left_ == right_ || top_ == bottom_;
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
        const double px = device_coordinate(form_->device_x(x));
        const double py = device_coordinate(form_->device_y(y));
        if (culling_ &&
            (nothing_visible_ || px < left_ || px > right_ || py < top_ || py > bottom_))
            return;
        const quint32 glyph =
            length == 1 ? font_->glyph(*chars) : font_->look_up(chars, int(length));
        if (glyph != form_l::text_cache_l::glyph_none) {
            cache_->run_glyphs.push_back(glyph);
            cache_->run_positions.emplace_back(px, py);
            // A run is drawn every few thousand glyphs: a spread field of a 15 MB value
            // puts every character on the sheet, and collecting them all first took
            // 700 MB.
            if (qsizetype(cache_->run_glyphs.size()) >= max_run) flush();
            return;
        }
        flush();
        painter_->setFont(font_->device);
        painter_->drawText(QPointF(px, py), QString::fromRawData(chars, length));
    }

private:
    void flush() {
        if (!cache_ || cache_->run_glyphs.empty()) return;
        QGlyphRun& run = cache_->run;
        run.setRawFont(font_->raw);
        run.setRawData(cache_->run_glyphs.data(), cache_->run_positions.data(),
                       int(cache_->run_glyphs.size()));
        painter_->drawGlyphRun(QPointF(0, 0), run);
        cache_->run_glyphs.clear();
        cache_->run_positions.clear();
    }

    static constexpr qsizetype max_run = 4096;
    form_l* form_;
    QPainter* painter_ = nullptr;
    form_l::text_cache_l* cache_ = nullptr;
    form_l::text_cache_l::font_l* font_ = nullptr;
    double left_ = 0, right_ = 0, top_ = 0, bottom_ = 0;
    bool nothing_visible_ = false;
    bool culling_ = false;
};

} // namespace

form_l::text_cache_l& form_l::text_cache_l::of(form_l* form) {
    if (!form->text_cache) form->text_cache = std::make_shared<text_cache_l>();
    return *form->text_cache;
}

const QFont& form_l::text_cache_l::style_font(form_l* form, const QString& family, float size,
                                              const QString& attribute) {
    for (size_t i = 0; i < style_fonts.size(); ++i) {
        const style_font_l& s = style_fonts[i];
        if (s.size == size && s.points_per_mm == form->points_per_mm && s.family == family &&
            s.attribute == attribute) {
            if (i != 0)
                std::rotate(style_fonts.begin(), style_fonts.begin() + long(i),
                            style_fonts.begin() + long(i) + 1);
            return style_fonts.front().font;
        }
    }
    if (style_fonts.size() >= max_cached_fonts) style_fonts.pop_back();
    style_fonts.insert(style_fonts.begin(),
                       style_font_l{family, size, attribute, form->points_per_mm,
                                    form->new_font_n(family, size, attribute)});
    return style_fonts.front().font;
}

form_l::text_cache_l::font_l& form_l::text_cache_l::font(const QFont& font) {
    for (size_t i = 0; i < fonts.size(); ++i) {
        if (fonts[i]->key == font) {
            // An equal font made elsewhere: keep that one, so that the next comparison
            // with it finds the same font data at once.
            fonts[i]->key = font;
            if (i != 0)
                std::rotate(fonts.begin(), fonts.begin() + long(i), fonts.begin() + long(i) + 1);
            return *fonts.front();
        }
    }
    if (fonts.size() >= max_cached_fonts) fonts.pop_back();
    auto entry = std::make_unique<font_l>();
    entry->key = font;
    entry->device = font;
    entry->device.setPixelSize(qMax(1, font.pointSize()));
    entry->raw = QRawFont::fromFont(entry->device);
    fonts.insert(fonts.begin(), std::move(entry));
    return *fonts.front();
}

const form_l::text_cache_l::digits_l& form_l::text_cache_l::digits(const QString& family) {
    if (jan_digits.measured && jan_digits.family == family) return jan_digits;
    constexpr double reference = 256; // pixel size the ink is measured at
    digits_l d;
    d.measured = true;
    d.family = family;
    QFont font(family);
    font.setPixelSize(int(reference));
    font.setHintingPreference(QFont::PreferNoHinting);
    d.raw = QRawFont::fromFont(font);
    QRectF all;
    bool complete = d.raw.isValid();
    for (int i = 0; i < 10 && complete; ++i) {
        const QChar c(u'0' + i);
        int count = 1;
        complete = d.raw.glyphIndexesForChars(&c, 1, &d.glyph[i], &count) && d.glyph[i] != 0;
        const QRectF ink = d.raw.boundingRect(d.glyph[i]);
        complete = complete && !ink.isEmpty();
        d.ink_centre[i] = ink.center().x() / reference;
        d.ink_width = qMax(d.ink_width, ink.width() / reference);
        all = all.united(ink);
    }
    d.ink_top = all.top() / reference;
    d.ink_height = all.height() / reference;
    d.valid = complete && d.ink_height > 0 && d.ink_width > 0;
    jan_digits = d;
    return jan_digits;
}

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
    return text_cache_l::of(this).font(font).device;
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
// font_width_f("XX"), computed without building the strings. The unit counts as three
// characters with the two "X" when it is one narrow character, as four otherwise, so
// an item has only two advances, worked out once.
struct advances_l {
    advances_l(int points, float per_mm)
        : narrow(float(points * 3) / per_mm - float(points * 2) / per_mm),
          wide(float(points * 4) / per_mm - float(points * 2) / per_mm) {}
    float of(qsizetype length, int first_kind) const {
        return (length == 1 && !is_wide_kind(first_kind)) ? narrow : wide;
    }
    float narrow, wide;
};

} // namespace

void form_l::draw_h_string_v(float spacing, const QString& text, const QFont& font, const QBrush&,
                             float x, float y) {
    if (fix_flag == 1) fix_step = fix_count != 0 ? (spacing - x) / float(fix_count) : 0.0f;
    unit_painter_l out(this, font);
    const advances_l advance(font.pointSize(), points_per_mm);
    const bool fixed = fix_flag == 1;
    float p = x; // pen position: where the next character goes
    float d = x; // where the current unit is drawn
    for (qsizetype i = 0; i < text.size();) {
        const int kind = ctx->kind_code(text.at(i));
        const qsizetype length = unit_length(text, i, kind);
        // A character without advance is drawn over the unit before it.
        if (kind != qx_z_l::KIND_NONE) d = p;
        out.draw(text, i, length, d, y);
        p = fixed ? d + fix_step : d + spacing + advance.of(length, kind);
        i += length;
    }
}

void form_l::draw_v_string_v(float spacing, const QString& text, const QFont& font, const QBrush&,
                             float x, float y) {
    if (fix_flag == 1) fix_step = fix_count != 0 ? (spacing - y) / float(fix_count) : 0.0f;
    unit_painter_l out(this, font);
    const int points = font.pointSize();
    const advances_l advance(points, points_per_mm);
    // 0.9 of the text height of a unit of one and of two UTF-16 units.
    const float tall[2] = {float(0.9 * double(float(1.0 * points * 2.5 / points_per_mm))),
                           float(0.9 * double(float(2.0 * points * 2.5 / points_per_mm)))};
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
            q += kind == qx_z_l::KIND_ASCII ? advance.of(length, kind) : tall[length - 1];
        }
        i += length;
    }
}

void form_l::draw_string_v(const QString& text, const QFont& font, const QBrush&, float x, float y,
                           QChar) {
    if (!painter || !painter->isActive()) return;
    painter->setFont(painter_font_n(font));
    painter->setPen(QPen(QColor(0, 0, 0)));
    painter->drawText(QPointF(device_coordinate(device_x(x)), device_coordinate(device_y(y))),
                      text);
}
