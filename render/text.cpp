// Fonts and the character-by-character text layout.
#include "layout/form.h"

#include <QPainter>

QFont form_l::new_font_n(const QString& family, float size, const QString& attribute) {
    QFont font(family);
    const int points = int(size * points_per_mm);
    if (points > 0) font.setPointSize(points);
    font.setWeight(QFont::Normal);
    font.setItalic(false);
    const QString a = attribute.toLower();
    if (a.contains(QLatin1Char('b')))
        font.setWeight(QFont::Bold);
    else if (a.contains(QLatin1Char('i')))
        font.setItalic(true);
    return font;
}

float form_l::font_width_f(const QFont&, const QString&) {
    return 0;
}

float form_l::font_height_f(const QFont& font, const QString& text) {
    return float(double(text.size()) * font.pointSize() * 2.5 / points_per_mm);
}

int form_l::length_count(const QString& text) {
    return int(text.size());
}
void form_l::draw_h_string_v(float, const QString&, const QFont&, const QBrush&, float, float) {}
void form_l::draw_v_string_v(float, const QString&, const QFont&, const QBrush&, float, float) {}

void form_l::draw_string_v(const QString& text, const QFont& font, const QBrush&, float x, float y,
                           QChar) {
    if (!painter) return;
    // A point of the font is one device unit on every output, screen and images too.
    QFont f = font;
    f.setPixelSize(qMax(1, font.pointSize()));
    painter->setFont(f);
    painter->setPen(QPen(QColor(0, 0, 0)));
    painter->drawText(
        QPoint(int(x * points_per_mm + x_geta_f()), int(y * points_per_mm + y_geta_f())), text);
}
