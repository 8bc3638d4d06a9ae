// A scanned picture of the blank pre-printed stock, drawn under the page at its
// physical size from the sheet's top-left corner, so that the operator sees whether
// every field lands in its box. It belongs to the screen (and to proofs that ask for
// it); nothing here is ever sent to a printer.
#pragma once

#include <QImage>
#include <QRectF>
#include <QString>
#include <QStringList>

class QPainter;

class background_l {
public:
    // The largest picture taken, in pixels: A4 at 600 dpi, A3 at 400 dpi. A bigger
    // one would cost more memory than a preview is worth.
    static constexpr qint64 max_pixels = 36'000'000;
    static constexpr qint64 max_bytes = max_pixels * 4; // read at 8 bits a colour
    // The largest copy kept at the size on the screen (an A4 sheet at zoom 4).
    static constexpr qint64 max_scaled_pixels = 8'000'000;

    // The names the picture for a layout file may have: the file KORVAN_BACKGROUND
    // names, or else the layout's name with ".background.png" (".jpg", ".jpeg") in
    // place of its extension, beside it.
    static QStringList names_sx(const QString& layout_path);
    // The picture to read: the one KORVAN_BACKGROUND names, or the first of the names
    // beside the layout that exists; empty when there is none.
    static QString find_s(const QString& layout_path);
    // The resolution KORVAN_BACKGROUND_DPI gives, 0 when none (the picture's own).
    static double dpi_from_environment();

    // Reads the picture. False, with `problem` saying why in one line, when it cannot
    // be read, is too large or has no resolution; the background is then empty.
    bool load_b(const QString& file, double dpi);
    void clear_v();
    bool empty() const { return image.isNull(); }

    // Draws it into `target` (window or device units: the sheet's millimetres of its
    // size mapped by the caller), only where `visible` shows.
    void draw_v(QPainter& painter, const QRectF& target, const QRectF& visible);

    QString path;
    QString problem;
    QSizeF size_mm; // its physical size

private:
    QImage image;
    QImage scaled; // the picture at the size last drawn, when that is smaller
};
