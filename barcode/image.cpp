// Images placed on the form. A picture is drawn at its own pixel size, one image pixel
// to one device unit (1/72 inch), with its top-left corner at the item's (x1, y1);
// x2 and y2 only make a frame that is kept in the working fields.
#include "layout/form.h"
#include "render/device.h"

#include <QImage>
#include <QPainter>
#include <utility>

namespace {

// Qt's image readers tell of damaged and oversized files on standard error ("libpng
// error: Read Error", "exceeds the current allocation limit"). For the form such a
// file is no picture, said nowhere, and standard error carries the run's error lines.
void no_message_v(QtMsgType, const QMessageLogContext&, const QString&) {}

} // namespace

bool form_l::image_b(float x_offset, float y_offset, float scale, const QString& name) {
    const qx_print_l* item = current_item;
    if (!item || name.isEmpty()) return true;
    const QString path = ctx->get_tmp_file_s(name);
    if (path.isEmpty()) return true;

    // The frame, in page millimetres times the scale. A frame drawn from right to left
    // (or bottom to top) is turned round, except when x1 (or y1) is 0.
    const float left = (x_offset + item->num1) * scale;
    const float top = (y_offset + item->num2) * scale;
    work_left = left;
    work_right = (x_offset + item->num3) * scale;
    work_top = top;
    work_bottom = (y_offset + item->num4) * scale;
    if (item->num1 != 0 && work_right < work_left) std::swap(work_left, work_right);
    if (item->num2 != 0 && work_bottom < work_top) std::swap(work_top, work_bottom);

    // A missing, unreadable or damaged file gives a null image: nothing is drawn and
    // the page goes on without a message.
    const QtMessageHandler previous = qInstallMessageHandler(no_message_v);
    const QImage image(path, nullptr);
    qInstallMessageHandler(previous);
    if (image.isNull() || !painter) return true;

    // The corner is (x1, y1) converted to whole device units like every other
    // coordinate. The picture is drawn once, whatever the frame: a natural-size item
    // (x2 = y2 = 0) and a framed one look the same, translucent pictures included.
    const QPointF corner(device_unit(device_x(left)), device_unit(device_y(top)));
    painter->drawImage(corner, image);
    return true;
}
