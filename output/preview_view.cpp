// What the preview shows beside the page: the white sheet on the grey window, the
// scanned background, the millimetre grid and the status line with the cursor's
// position; and the mouse: the wheel moves the page, Ctrl + wheel zooms about the
// cursor. None of it reaches a printer: it is drawn by the window's paint handler
// around the page, never by the page drawing itself.
#include "output/korvan.h"

#include <QMouseEvent>
#include <QPainter>
#include <cmath>

namespace {

constexpr int status_height = 20;

// The grid is translucent, so that the printed lines of a scanned background show
// through it.
const QColor edge_colour(110, 110, 110);
const QColor grid_1mm(60, 120, 220, 40);
const QColor grid_5mm(60, 120, 220, 90);
const QColor grid_10mm(40, 100, 210, 190);
const QColor label_colour(40, 90, 170);

// Pixel column or row of a window position: the pixel that holds it.
int pixel_of(double v) {
    return int(std::floor(qBound(-1.0e6, v, 1.0e6)));
}

} // namespace

bool korvan_l::design_key_b(int key) {
    if (mode != MODE_DISPLAY && mode != MODE_TEST_DATA) return false;
    // F5 also on the error screen: a layout saved fixed shows the page again.
    if (ctx->e2k_b(key, Qt::Key_F5)) {
        reload_v();
        return true;
    }
    if (!shows_page_b()) return false;
    if (ctx->e2k_b(key, Qt::Key_PageDown)) {
        next_page_v();
    } else if (ctx->e2k_b(key, Qt::Key_PageUp)) {
        previous_page_v();
    } else if (ctx->e2k_b(key, Qt::Key_G)) {
        grid_shown = !grid_shown;
        repaint_v();
    } else if (ctx->e2k_b(key, Qt::Key_B)) {
        background_shown = !background_shown;
        repaint_v();
    } else {
        return false;
    }
    return true;
}

QSizeF korvan_l::sheet_mm() {
    QPageSize size(QPageSize::A4);
    if (!paper_name.isEmpty()) {
        const QPageSize named = media_size_n(paper_name);
        if (named.isValid() && named.id() != QPageSize::Custom) size = named;
    }
    const QSizeF mm = size.size(QPageSize::Millimeter);
    return paper_orientation == QLatin1String("2") ? mm.transposed() : mm;
}

// The same mapping as the page's own items: millimetres plus the offset, times the
// zoom, then the engine's device mapping.
QPointF korvan_l::window_point(QPointF mm) const {
    return QPointF(device_x((float(mm.x()) + x_offset) * zoom),
                   device_y((float(mm.y()) + y_offset) * zoom));
}

QPointF korvan_l::sheet_point(QPoint pixel) const {
    const double x0 = device_x(0.0f), y0 = device_y(0.0f);
    const double per_mm_x = device_x(1.0f) - x0, per_mm_y = device_y(1.0f) - y0;
    return QPointF((pixel.x() + 0.5 - x0) / per_mm_x / zoom - x_offset,
                   (pixel.y() + 0.5 - y0) / per_mm_y / zoom - y_offset);
}

QRect korvan_l::status_rect() const {
    return QRect(0, height() - status_height, width(), status_height);
}

// The cursor's position (empty when the mouse is not over the sheet), the zoom, the
// keys of the preview's tools and a note, separated by tabs.
QString korvan_l::status_text_s() {
    QString where;
    const QSizeF sheet = sheet_mm();
    if (cursor.x() >= 0 && !status_rect().contains(cursor)) {
        const QPointF mm = sheet_point(cursor);
        if (mm.x() >= 0 && mm.y() >= 0 && mm.x() <= sheet.width() && mm.y() <= sheet.height())
            where =
                QStringLiteral("x %1 mm   y %2 mm").arg(mm.x(), 0, 'f', 1).arg(mm.y(), 0, 'f', 1);
    }
    QString keys = QStringLiteral("G grid");
    if (!background.empty()) keys += QStringLiteral("   B background");
    keys += QStringLiteral("   F5 reload");
    return where + QStringLiteral("\tzoom %1\t").arg(double(zoom), 0, 'f', 1) + keys +
           QLatin1Char('\t') + status_note;
}

void korvan_l::draw_sheet_v(QPainter& p) {
    const QSizeF mm = sheet_mm();
    const QPointF from = window_point(QPointF(0, 0));
    const QPointF to = window_point(QPointF(mm.width(), mm.height()));
    const QRect sheet(QPoint(pixel_of(from.x()), pixel_of(from.y())),
                      QPoint(pixel_of(to.x()) - 1, pixel_of(to.y()) - 1));
    // A thin edge just outside the paper, then the paper.
    p.fillRect(sheet.adjusted(-1, -1, 1, 1), edge_colour);
    p.fillRect(sheet, Qt::white);
    if (background_shown && !background.empty()) {
        const QPointF end =
            window_point(QPointF(background.size_mm.width(), background.size_mm.height()));
        background.draw_v(p, QRectF(from, end), QRectF(rect()) & QRectF(sheet));
    }
    if (grid_shown) draw_grid_v(p, sheet);
}

// Lines every 10 mm, lighter every 5 mm (unless zoomed far out) and, once they are at
// least 4 pixels apart, every millimetre; a line at x mm fills the pixel column that holds x, as an
// edge of the page does. Labels every 10 mm (20, 50 or 100 when zoomed out).
void korvan_l::draw_grid_v(QPainter& p, const QRect& sheet) {
    const QSizeF mm = sheet_mm();
    const double per_mm = window_point(QPointF(1, 0)).x() - window_point(QPointF(0, 0)).x();
    if (!(per_mm > 0)) return;
    const int step = per_mm >= 4 ? 1 : per_mm >= 1.2 ? 5 : 10; // lines 4 pixels apart at least
    const QRect view = rect() & sheet;
    p.save();
    p.setClipRect(view);
    for (int pass = 0; pass < 3; ++pass) { // the strong lines last, over the others
        for (int n = 0; n <= int(mm.width()); n += step) {
            const int kind = n % 10 == 0 ? 2 : n % 5 == 0 ? 1 : 0;
            if (kind != pass) continue;
            const int x = pixel_of(window_point(QPointF(n, 0)).x());
            if (x < view.left() || x > view.right()) continue;
            p.fillRect(QRect(x, view.top(), 1, view.height()), kind == 2   ? grid_10mm
                                                               : kind == 1 ? grid_5mm
                                                                           : grid_1mm);
        }
        for (int n = 0; n <= int(mm.height()); n += step) {
            const int kind = n % 10 == 0 ? 2 : n % 5 == 0 ? 1 : 0;
            if (kind != pass) continue;
            const int y = pixel_of(window_point(QPointF(0, n)).y());
            if (y < view.top() || y > view.bottom()) continue;
            p.fillRect(QRect(view.left(), y, view.width(), 1), kind == 2   ? grid_10mm
                                                               : kind == 1 ? grid_5mm
                                                                           : grid_1mm);
        }
    }
    int every = 10;
    while (every * per_mm < 24 && every < 100)
        every = every == 10 ? 20 : every == 20 ? 50 : 100;
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(9);
    p.setFont(font);
    p.setPen(label_colour);
    // Along the sheet's top and left edges, or the window's when those are out of view.
    const int top = view.top(), left = view.left();
    for (int n = every; n <= int(mm.width()); n += every)
        p.drawText(QPointF(window_point(QPointF(n, 0)).x() + 2, top + 10), QString::number(n));
    for (int n = every; n <= int(mm.height()); n += every)
        p.drawText(QPointF(left + 2, window_point(QPointF(0, n)).y() - 2), QString::number(n));
    p.restore();
}

void korvan_l::draw_status_v(QPainter& p) {
    const QRect r = status_rect();
    p.save();
    p.setClipRect(r);
    p.fillRect(r, QColor(245, 245, 245));
    p.fillRect(QRect(r.left(), r.top(), r.width(), 1), QColor(150, 150, 150));
    // Digits of one width, and each part at a fixed place: the figures do not jump about
    // as the mouse moves.
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(13);
    p.setFont(font);
    p.setPen(Qt::black);
    const QStringList parts = status_text_s().split(QLatin1Char('\t'));
    int x = r.left() + 6;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        const QRect place(x, r.top() + 1, r.right() - x, r.height() - 1);
        p.drawText(place, Qt::AlignVCenter | Qt::AlignLeft, parts.at(i));
        const int width = p.fontMetrics().horizontalAdvance(parts.at(i));
        x = i == 0 ? qMax(x + width, r.left() + 170) + 20 : x + width + 30;
    }
    p.restore();
}

void korvan_l::zoom_about_v(QPoint pixel, float new_zoom) {
    const QPointF mm = sheet_point(pixel);
    zoom = new_zoom;
    // The point under the cursor stays where it is.
    const QPointF now = sheet_point(pixel);
    x_offset += float(now.x() - mm.x());
    y_offset += float(now.y() - mm.y());
}

void korvan_l::wheelEvent(QWheelEvent* event) {
    if (!shows_page_b()) return event->ignore();
    const QPoint angle = event->angleDelta();
    const bool vertical = qAbs(angle.y()) >= qAbs(angle.x());
    wheel_rest += vertical ? angle.y() : angle.x();
    const int notches = wheel_rest / 120; // one notch: one key press
    wheel_rest -= notches * 120;
    if (notches == 0) return;
    if (event->modifiers() & Qt::ControlModifier) {
        float z = zoom;
        for (int i = 0; i < qAbs(notches); ++i) {
            if (notches > 0)
                z += 0.1f;
            else if (z > 0.3f)
                z -= 0.1f;
        }
        zoom_about_v(event->position().toPoint(), z);
    } else {
        // Turning the wheel towards you shows more of the bottom (or the right), as
        // Down does; back, it returns as far as the page's top (or left) edge.
        const bool sideways = !vertical || (event->modifiers() & Qt::ShiftModifier);
        float& offset = sideways ? x_offset : y_offset;
        const float move = float(notches) * 10.0f / zoom;
        if (notches < 0)
            offset += move;
        else if (offset < 0)
            offset = qMin(0.0f, offset + move);
    }
    repaint_v();
}

void korvan_l::mouseMoveEvent(QMouseEvent* event) {
    cursor = event->position().toPoint();
    if (shows_page_b()) update(status_rect());
}

void korvan_l::leaveEvent(QEvent*) {
    cursor = QPoint(-1, -1);
    if (shows_page_b()) update(status_rect());
}
