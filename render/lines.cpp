// Pens and the ruled primitives. Coordinates arrive in page millimetres (offset and
// scale applied) and are mapped to the device at full precision, so that edges which
// share a coordinate in the layout meet: a line ending on a box's edge ends on it, and
// the shared edge of two copies of a form is one line. Images and the screen round each
// edge at their own resolution; PDF and printers keep the fractions.
#include "layout/form.h"
#include "render/device.h"

#include <QPainter>

QPen form_l::new_pen_nn(float width) {
    return QPen(pen_brush, double(width * pen_factor), Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
}

// The far corner is worked out in double, so that it lands where a line drawn to the
// same coordinate ends.
QRectF form_l::device_rect(float x, float y, float w, float h) const {
    return QRectF(QPointF(device_coordinate(device_x(x)), device_coordinate(device_y(y))),
                  QPointF(device_coordinate(device_x(double(x) + double(w))),
                          device_coordinate(device_y(double(y) + double(h)))));
}

void form_l::draw_line_v(const QPen& pen, float x1, float y1, float x2, float y2) {
    if (!painter || !painter->isActive()) return;
    painter->setPen(pen);
    painter->drawLine(QLineF(device_coordinate(device_x(x1)), device_coordinate(device_y(y1)),
                             device_coordinate(device_x(x2)), device_coordinate(device_y(y2))));
}

// The outline runs through both corners; a side of 0 counts as 1 mm.
void form_l::draw_rect_v(const QPen& pen, float x, float y, float w, float h) {
    if (!painter || !painter->isActive()) return;
    painter->setPen(pen);
    painter->setBrush(Qt::NoBrush);
    if (w == 0) w = 1;
    if (h == 0) h = 1;
    painter->drawRect(device_rect(x, y, w, h));
}

// The arc of the ellipse inscribed in the rectangle, angles in sixteenths of a degree.
void form_l::draw_arc_v(const QPen& pen, float x, float y, float w, float h, float a1, float a2) {
    if (!painter || !painter->isActive()) return;
    painter->setPen(pen);
    if (w == 0) w = 1;
    if (h == 0) h = 1;
    painter->drawArc(device_rect(x, y, w, h), device_unit(a1), device_unit(a2));
}

// A bar of a bar code: a filled rectangle from left to right and top to bottom, edges
// exactly where the modules put them. Nothing is drawn for a bar of no width.
void form_l::draw_bar_v(double left, double right, float top, float bottom) {
    if (!painter || !painter->isActive() || !(right > left)) return;
    const double x1 = device_coordinate(device_x(left));
    const double x2 = device_coordinate(device_x(right));
    const double y1 = device_coordinate(device_y(top));
    const double y2 = device_coordinate(device_y(bottom));
    if (!(x2 > x1) || y2 == y1) return;
    painter->fillRect(QRectF(QPointF(x1, qMin(y1, y2)), QPointF(x2, qMax(y1, y2))), pen_brush);
}
