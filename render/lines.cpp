// Pens and the ruled primitives. Coordinates arrive in page millimetres (offset and
// scale applied); each is multiplied by the device factor and truncated to a whole
// device unit, a device unit being 1/72 inch on every output.
#include "layout/form.h"

#include <QPainter>

QPen form_l::new_pen_nn(float width) {
    return QPen(pen_brush, double(width * pen_factor), Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
}

void form_l::draw_line_v(const QPen& pen, float x1, float y1, float x2, float y2) {
    if (!painter) return;
    painter->setPen(pen);
    painter->drawLine(
        QLine(int(x1 * points_per_mm + x_geta_f()), int(y1 * points_per_mm + y_geta_f()),
              int(x2 * points_per_mm + x_geta_f()), int(y2 * points_per_mm + y_geta_f())));
}

void form_l::draw_rect_v(const QPen& pen, float x, float y, float w, float h) {
    if (!painter) return;
    painter->setPen(pen);
    painter->setBrush(Qt::NoBrush);
    if (w == 0) w = 1;
    if (h == 0) h = 1;
    const int left = int(x * points_per_mm + x_geta_f());
    const int top = int(y * points_per_mm + y_geta_f());
    const int width = int(w * points_per_mm);
    const int height = int(h * points_per_mm);
    // The outline covers exactly width by height units: right edge left + width - 1.
    painter->drawRect(QRect(QPoint(left, top), QPoint(left + width - 1, top + height - 1))
                          .adjusted(0, 0, -1, -1));
}

void form_l::draw_arc_v(const QPen& pen, float x, float y, float w, float h, float a1, float a2) {
    if (!painter) return;
    painter->setPen(pen);
    if (w == 0) w = 1;
    if (h == 0) h = 1;
    const QRectF rect(int(x * points_per_mm + x_geta_f()), int(y * points_per_mm + y_geta_f()),
                      int(w * points_per_mm), int(h * points_per_mm));
    painter->drawArc(rect, int(a1), int(a2));
}
