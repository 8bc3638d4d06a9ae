// The scanned background: finding it, reading it in bounded memory, drawing it.
#include "output/background.h"

#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QPainter>
#include <cmath>

QStringList background_l::names_sx(const QString& layout_path) {
    const QString named = qEnvironmentVariable("KORVAN_BACKGROUND");
    if (!named.isEmpty()) return {QFileInfo(named).absoluteFilePath()};
    const QFileInfo layout(layout_path);
    const QString base = layout.dir().filePath(layout.completeBaseName() + ".background.");
    return {base + "png", base + "jpg", base + "jpeg"};
}

QString background_l::find_s(const QString& layout_path) {
    const QStringList names = names_sx(layout_path);
    // A file named on purpose is taken even when it is missing, so that this is said;
    // the names beside the layout are only looked for.
    if (names.size() == 1) return names.first();
    for (const QString& name : names)
        if (QFileInfo::exists(name)) return name;
    return QString();
}

double background_l::dpi_from_environment() {
    bool ok = false;
    const double dpi = qEnvironmentVariable("KORVAN_BACKGROUND_DPI").toDouble(&ok);
    return ok && dpi >= 10 && dpi <= 10000 ? dpi : 0;
}

void background_l::clear_v() {
    image = QImage();
    scaled = QImage();
    size_mm = QSizeF();
}

bool background_l::load_b(const QString& file, double dpi) {
    clear_v();
    path = file;
    problem.clear();
    QImageReader reader(file);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    const auto refuse = [&](const QString& why) {
        problem = QStringLiteral("background ") + file + QStringLiteral(": ") + why;
        return false;
    };
    if (!reader.canRead()) {
        const bool exists = QFileInfo::exists(file);
        return refuse(exists ? QStringLiteral("not an image") : QStringLiteral("no such file"));
    }
    // The header says how large it is and in what form it will be read; a picture
    // larger than any scan of a sheet is refused before a pixel of it is decoded.
    const int bits = QImage::toPixelFormat(reader.imageFormat()).bitsPerPixel();
    const qint64 pixels = size.isValid() ? qint64(size.width()) * size.height() : 0;
    if (pixels > max_pixels || pixels * qMax(bits, 32) / 8 > max_bytes)
        return refuse(QStringLiteral("%1 x %2 pixels is too large (at most %3 million pixels "
                                     "of 8 bits a colour)")
                          .arg(size.width())
                          .arg(size.height())
                          .arg(max_pixels / 1'000'000));
    // Qt's own, lower limit would refuse the largest pictures taken here.
    reader.setAllocationLimit(int(max_bytes / (1024 * 1024)) + 1);
    QImage read;
    if (!reader.read(&read) || read.isNull())
        return refuse(QStringLiteral("cannot be read (") + reader.errorString() + ')');
    if (qint64(read.width()) * read.height() > max_pixels || read.sizeInBytes() > max_bytes)
        return refuse(QStringLiteral("too large"));

    // Its size on the sheet: its pixels at its resolution. A file that states none is
    // given the resolution of a new image (the screen's), which says nothing about the
    // scan; the same value stated in the file cannot be told from it, and is not taken
    // either.
    const QImage unstated(1, 1, QImage::Format_RGB32);
    const bool stated = read.dotsPerMeterX() != unstated.dotsPerMeterX() ||
                        read.dotsPerMeterY() != unstated.dotsPerMeterY();
    const double x_per_mm = dpi > 0 ? dpi / 25.4 : stated ? read.dotsPerMeterX() / 1000.0 : 0;
    const double y_per_mm = dpi > 0 ? dpi / 25.4 : stated ? read.dotsPerMeterY() / 1000.0 : 0;
    if (!(x_per_mm > 0.1) || !(y_per_mm > 0.1))
        return refuse(QStringLiteral("its resolution is not known: give it in dots per inch "
                                     "with KORVAN_BACKGROUND_DPI"));
    // A picture of one bit or a palette (as scanners and tools save two-colour pages)
    // in true colour: scaled down as it is, it would come out black and white.
    if (read.format() == QImage::Format_Mono || read.format() == QImage::Format_MonoLSB ||
        read.format() == QImage::Format_Indexed8)
        read.convertTo(read.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                              : QImage::Format_RGB32);
    image = read;
    size_mm = QSizeF(image.width() / x_per_mm, image.height() / y_per_mm);
    return true;
}

void background_l::draw_v(QPainter& painter, const QRectF& target, const QRectF& visible) {
    if (image.isNull() || target.isEmpty()) return;
    const QRectF shown = target & visible;
    if (shown.isEmpty()) return;
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
    const QSize whole(int(std::lround(target.width())), int(std::lround(target.height())));
    if (whole.width() <= image.width() && whole.height() <= image.height() && !whole.isEmpty() &&
        qint64(whole.width()) * whole.height() <= max_scaled_pixels) {
        // Smaller on the screen than in the file: scaled once per zoom, averaging the
        // pixels so that the thin printed lines of the stock stay visible.
        if (scaled.size() != whole)
            scaled = image.scaled(whole, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        painter.setClipRect(shown, Qt::IntersectClip);
        painter.drawImage(target.topLeft(), scaled);
    } else {
        // Larger (or a zoom so high that a scaled copy would be large): only the part
        // in view is drawn, scaled as it goes.
        scaled = QImage();
        const double sx = image.width() / target.width();
        const double sy = image.height() / target.height();
        const QRectF source((shown.left() - target.left()) * sx, (shown.top() - target.top()) * sy,
                            shown.width() * sx, shown.height() * sy);
        painter.drawImage(shown, image, source);
    }
    painter.restore();
}
