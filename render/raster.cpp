#include "render/raster.h"

#include "layout/form.h"

#include <QPageSize>
#include <QPainter>
#include <cmath>

QSizeF paper_size_mm(form_l& form) {
    QPageSize size = form.media_size_n(form.paper_name);
    if (!size.isValid() || size.id() == QPageSize::Custom) size = QPageSize(QPageSize::A4);
    QSizeF mm = size.size(QPageSize::Millimeter);
    if (form.paper_orientation == QLatin1String("2")) mm.transpose();
    return mm;
}

QImage render_page_image(form_l& form, double dpi, bool* ok) {
    if (!(dpi > 0) || dpi > 2400) dpi = 72;
    const QSizeF mm = paper_size_mm(form);
    const QSize pixels(qMax(1, int(std::lround(mm.width() / 25.4 * dpi))),
                       qMax(1, int(std::lround(mm.height() / 25.4 * dpi))));
    QImage image(pixels, QImage::Format_RGB32);
    const int dots_per_metre = int(std::lround(dpi / 0.0254));
    image.setDotsPerMeterX(dots_per_metre);
    image.setDotsPerMeterY(dots_per_metre);
    image.fill(Qt::white);

    QPainter painter(&image);
    painter.scale(dpi / 72.0, dpi / 72.0);
    QPainter* const previous = form.painter;
    form.painter = &painter;
    const bool drawn = form.display_print_b(0, 0, 1.0f);
    form.painter = previous;
    painter.end();
    if (ok) *ok = drawn;
    return image;
}
