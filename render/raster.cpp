#include "render/raster.h"

#include "layout/form.h"

#include <QPageSize>
#include <QPainter>
#include <cmath>

namespace {

// A0 at this resolution is about 3 GB.
constexpr double max_dpi = 1200;

} // namespace

QSizeF paper_size_mm(form_l& form) {
    QPageSize size = form.media_size_n(form.paper_name);
    if (!size.isValid() || size.id() == QPageSize::Custom) size = QPageSize(QPageSize::A4);
    QSizeF mm = size.size(QPageSize::Millimeter);
    if (form.paper_orientation == QLatin1String("2")) mm.transpose();
    return mm;
}

QImage render_page_image(form_l& form, double dpi, bool* ok) {
    if (ok) *ok = false;
    if (!(dpi > 0 && dpi <= max_dpi)) return QImage();
    const QSizeF mm = paper_size_mm(form);
    const QSize pixels(qMax(1, int(std::lround(mm.width() / 25.4 * dpi))),
                       qMax(1, int(std::lround(mm.height() / 25.4 * dpi))));
    QImage image(pixels, QImage::Format_RGB32);
    if (image.isNull()) return image; // no memory for a sheet that large
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
