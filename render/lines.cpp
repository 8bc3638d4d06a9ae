// Pens and the ruled primitives. Coordinates arrive in page millimetres (offset and
// scale applied); each is multiplied by the device factor and truncated to a whole
// device unit, a device unit being 1/72 inch on every output.
#include "layout/form.h"
#include "render/device.h"

#include <QPainter>

QPen form_l::new_pen_nn(float width) {
    return QPen(pen_brush, double(width * pen_factor), Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
}

void form_l::draw_line_v(const QPen& pen, float x1, float y1, float x2, float y2) {
    if (!painter || !painter->isActive()) return;
    painter->setPen(pen);
    painter->drawLine(QLine(device_unit(device_x(x1)), device_unit(device_y(y1)),
                            device_unit(device_x(x2)), device_unit(device_y(y2))));
}

void form_l::draw_rect_v(const QPen& pen, float x, float y, float w, float h) {
    if (!painter || !painter->isActive()) return;
    painter->setPen(pen);
    painter->setBrush(Qt::NoBrush);
    if (w == 0) w = 1;
    if (h == 0) h = 1;
    const int left = device_unit(device_x(x));
    const int top = device_unit(device_y(y));
    const int width = device_unit(device_w(w));
    const int height = device_unit(device_h(h));
    // The outline covers exactly width by height units: right edge left + width - 1.
    painter->drawRect(QRect(QPoint(left, top), QPoint(left + width - 1, top + height - 1))
                          .adjusted(0, 0, -1, -1));
}

void form_l::draw_arc_v(const QPen& pen, float x, float y, float w, float h, float a1, float a2) {
    if (!painter || !painter->isActive()) return;
    painter->setPen(pen);
    if (w == 0) w = 1;
    if (h == 0) h = 1;
    const QRectF rect(device_unit(device_x(x)), device_unit(device_y(y)), device_unit(device_w(w)),
                      device_unit(device_h(h)));
    painter->drawArc(rect, device_unit(a1), device_unit(a2));
}
