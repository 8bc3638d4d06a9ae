// What the renderer keeps between items and pages: per font, the font handed to the
// painter, its raw font and the glyph of each character looked up so far; the buffers
// of the glyph run being collected; the pen of the ruled items. Private to render/.
#pragma once

#include "layout/form.h"

#include <QGlyphRun>
#include <QPointF>
#include <QRawFont>
#include <QRectF>
#include <array>
#include <memory>
#include <vector>

struct form_l::text_cache_l {
    // Glyph table values: not looked up yet, or no single glyph of the raw font (the
    // character is drawn as text, so that the painter finds it in another font).
    static constexpr quint32 glyph_unknown = 0;
    static constexpr quint32 glyph_none = 0xFFFFFFFFu;

    struct font_l {
        QFont key;    // a font of new_font_n
        QFont device; // the same font, its point size as pixel size
        QRawFont raw; // the first font the painter looks in for a glyph
        // The glyph of each character of the Basic Multilingual Plane, in pages of 256
        // characters made when a character of the page is first drawn.
        std::array<std::unique_ptr<std::array<quint32, 256>>, 256> glyphs;

        // The glyph that draws `c` alone, or glyph_none.
        quint32 glyph(QChar c) {
            auto& page = glyphs[c.unicode() >> 8];
            if (!page) {
                page = std::make_unique<std::array<quint32, 256>>();
                page->fill(glyph_unknown);
            }
            quint32& g = (*page)[c.unicode() & 0xFF];
            if (g == glyph_unknown) g = look_up(&c, 1);
            return g;
        }
        // The glyph of a unit of one or two UTF-16 code units, looked up every time for
        // two (a surrogate pair).
        quint32 look_up(const QChar* chars, int length) const {
            quint32 found[2] = {0, 0};
            int count = 2;
            if (raw.isValid() && raw.glyphIndexesForChars(chars, length, found, &count) &&
                count == 1 && found[0] != 0)
                return found[0];
            return glyph_none;
        }
    };

    // The form's text cache, made on first use.
    static text_cache_l& of(form_l* form);

    // The entry of `font`, made on first use. A few fonts are kept, the most recently
    // used first; a layout that takes its sizes from the data could otherwise have any
    // number of them.
    font_l& font(const QFont& font);

    // new_font_n(family, size, attribute) of the form, made once for each character set
    // and scale rather than for every item drawn with it.
    const QFont& style_font(form_l* form, const QString& family, float size,
                            const QString& attribute);

    struct style_font_l {
        QString family;
        float size;
        QString attribute;
        float points_per_mm;
        QFont font;
    };

    // The digits of a JAN symbol's legend in one family: glyphs and ink measured once,
    // per unit of pixel size, so that any size can be worked out without a font at it.
    struct digits_l {
        bool measured = false;
        QString family;
        bool valid = false; // the family has all ten digits
        QRawFont raw;
        quint32 glyph[10] = {};
        double ink_centre[10] = {}; // from the glyph's origin to the middle of its ink
        double ink_top = 0;         // of the ten digits together, above the baseline (< 0)
        double ink_height = 0;
        double ink_width = 0; // of the widest digit
    };
    const digits_l& digits(const QString& family);
    digits_l jan_digits;

    std::vector<std::unique_ptr<font_l>> fonts;
    std::vector<style_font_l> style_fonts;

    // The pen of the ruled items drawn last, with what it was made from: the items of
    // one line set share it instead of making their own.
    struct rule_pen_l {
        bool made = false;
        float width = 0;
        Qt::PenStyle style = Qt::SolidLine;
        float factor = 0;
        QBrush brush;
        QPen pen;
    };
    rule_pen_l rule_pen;

    // The device's area in form units. While the renderer draws a copy of the form
    // (in_form), neither the painter nor its transform changes, so the area is worked
    // out for the first text item and kept for the others; outside it, every item
    // works it out anew.
    bool in_form = false;
    bool view_known = false;
    bool view_valid = false; // false: no device or a transform that cannot be inverted
    QRectF view;
    QPen text_pen = QPen(QColor(0, 0, 0));
    // The glyph run being collected, reused from item to item.
    std::vector<quint32> run_glyphs;
    std::vector<QPointF> run_positions;
    QGlyphRun run;
};
