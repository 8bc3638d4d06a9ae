// The calibration sheet: four scales, one in the middle of each edge, that an operator
// reads with the printed sheet in one hand and no ruler, and the words that say how.
//
// Each scale is a slanted line that runs off the edge at a slope of 1 in 10, beside
// numbered ticks. The line passes the point meant for "v mm beyond the edge" at 10 v mm
// along the edge, so where the paper's edge cuts the line tells how far the printer
// moved the drawing across that edge, magnified ten times: a tick every 2.5 mm is a
// quarter of a millimetre. The line and its ticks move together along the edge, so a
// shift along the edge does not change the reading. The sheet's own width and height
// are the known distances: the difference between the left and right readings over
// the width is the stretch.
#include "output/calibration.h"

#include <QDateTime>
#include <QFont>
#include <QFontMetricsF>
#include <QPaintDevice>
#include <QPainter>
#include <QTransform>
#include <cmath>

namespace {

constexpr double units_per_mm = 72.0 / 25.4;
constexpr double slope = 10;    // mm along the edge per mm of reading
constexpr double tick_in = 7;   // where the ticks start, mm inside the edge
constexpr double label_in = 13; // where the numbers stand
const QString minus = QStringLiteral("\u2212");

enum edge_e { LEFT, RIGHT, TOP, BOTTOM };

// One edge's scale in its own coordinates: `across` mm inward from the edge and
// `along` mm from the edge's middle, mapped to the sheet.
struct scale_l {
    edge_e edge;
    double width, height;
    QPointF at(double across, double along) const {
        switch (edge) {
        case LEFT:
            return {across, height / 2 + along};
        case RIGHT:
            return {width - across, height / 2 + along};
        case TOP:
            return {width / 2 + along, across};
        case BOTTOM:
            return {width / 2 + along, height - across};
        }
        return {};
    }
    // The reading v belongs to the point meant for v mm beyond the edge at the left and
    // top (the print moved right or down by v puts it on the edge), v mm inside the
    // edge at the right and bottom.
    double across_of(double v) const { return edge == LEFT || edge == TOP ? -v : v; }
    bool vertical() const { return edge == LEFT || edge == RIGHT; }
};

QFont font_n(QPainter* painter, double mm) {
    QFont font(QStringLiteral("IPAPGothic"));
    // A point is a device unit on a 72 dpi device; the painter draws in millimetres.
    font.setPointSizeF(mm * 72.0 / painter->device()->logicalDpiY());
    // The sheet is laid out at a few device units a character: advances rounded to them
    // would space the letters unevenly once printed at the printer's resolution.
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

QString reading_s(int mm) {
    return mm > 0   ? QStringLiteral("+%1").arg(mm)
           : mm < 0 ? minus + QString::number(-mm)
                    : QStringLiteral("0");
}

// The scale's range: 5 mm each way, less on paper too small to hold it.
double range_of(const scale_l& s) {
    const double length = s.vertical() ? s.height : s.width;
    const double fits = std::floor((length / 2 - 20) / slope);
    return std::max(1.0, std::min(5.0, fits));
}

void draw_scale_v(QPainter* painter, const scale_l& s) {
    const double r = range_of(s);
    painter->setPen(QPen(Qt::black, 0.2, Qt::SolidLine, Qt::FlatCap));
    painter->drawLine(s.at(s.across_of(-r - 0.5), slope * (-r - 0.5)),
                      s.at(s.across_of(r + 0.5), slope * (r + 0.5)));

    painter->setPen(QPen(Qt::black, 0.15, Qt::SolidLine, Qt::FlatCap));
    const QFont numbers = font_n(painter, 2.6);
    painter->setFont(numbers);
    const QFontMetricsF metrics(numbers, painter->device());
    const int quarters = int(std::lround(r * 4));
    for (int q = -quarters; q <= quarters; ++q) {
        const double along = slope * q / 4.0;
        const double length = q % 4 == 0 ? 4.5 : q % 2 == 0 ? 3 : 1.8;
        painter->drawLine(s.at(tick_in, along), s.at(tick_in + length, along));
        if (q % 4 != 0) continue;
        const QString text = reading_s(q / 4);
        const double w = metrics.horizontalAdvance(text);
        const double h = metrics.capHeight();
        const QPointF p = s.at(label_in, along);
        // Beside the tick, its middle level with it, on the inner side.
        switch (s.edge) {
        case LEFT:
            painter->drawText(QPointF(p.x(), p.y() + h / 2), text);
            break;
        case RIGHT:
            painter->drawText(QPointF(p.x() - w, p.y() + h / 2), text);
            break;
        case TOP:
            painter->drawText(QPointF(p.x() - w / 2, p.y() + h), text);
            break;
        case BOTTOM:
            painter->drawText(QPointF(p.x() - w / 2, p.y()), text);
            break;
        }
    }

    // The caption, two short lines before the scale's start.
    static const char* const names[] = {"LEFT edge", "RIGHT edge", "TOP edge", "BOTTOM edge"};
    const QString lines[2] = {QLatin1String(names[s.edge]), s.vertical()
                                                                ? QStringLiteral("+ = right")
                                                                : QStringLiteral("+ = down")};
    const QFont caption = font_n(painter, 3);
    painter->setFont(caption);
    const QFontMetricsF caption_metrics(caption, painter->device());
    for (int i = 0; i < 2; ++i) {
        const double w = caption_metrics.horizontalAdvance(lines[i]);
        // Left and right: above the scale; top and bottom: before it, right-aligned.
        const QPointF p = s.vertical() ? s.at(tick_in, -slope * r - 9 + 4.2 * i)
                                       : s.at(tick_in + 4.2 * i, -slope * r - 4);
        const double x = s.edge == LEFT ? p.x() : p.x() - w;
        const double y = s.edge == TOP ? p.y() + 3 : s.edge == BOTTOM ? p.y() - 4.2 : p.y();
        painter->drawText(QPointF(x, y), lines[i]);
    }
}

QStringList instructions(const QSizeF& paper, const QString& paper_name, const calibration_l& v,
                         const QString& queue, const QString& note) {
    const QString size =
        QStringLiteral("%1 x %2 mm").arg(paper.width(), 0, 'f', 1).arg(paper.height(), 0, 'f', 1);
    QStringList p;
    p << (queue.isEmpty() ? QString()
                          : QStringLiteral("Print queue: ") + queue + QStringLiteral("     ")) +
             QStringLiteral("Paper: ") + paper_name + QStringLiteral(", ") + size +
             QStringLiteral("     Printed ") +
             QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
    if (!v.identity_b())
        p << QStringLiteral("Drawn with the calibration of this queue (") + v.text_s() +
                 QStringLiteral("), as every form printed on it is: on a calibrated queue every "
                                "scale reads 0.");
    else if (!queue.isEmpty())
        p << QStringLiteral("Drawn without calibration (this queue has none): the scales read "
                            "the printer's own error.");
    else
        p << QStringLiteral("Drawn without calibration.");
    if (!note.isEmpty()) p << note;
    const QString q = queue.isEmpty() ? QStringLiteral("QUEUE") : queue;
    p << QStringLiteral("How to read this sheet")
      << QStringLiteral("1. It must be a sheet of the paper named above, cut square: its edges "
                        "are the ruler.")
      << QStringLiteral(
             "2. In the middle of each edge a slanted line runs into the edge, beside a scale "
             "with a tick for every 0.25 mm (numbers every 1 mm, longer ticks every 0.5 mm). "
             "The line makes a quarter of a millimetre 2.5 mm long. Find where the line meets "
             "the edge of the paper and read the scale level with that point, to the nearest "
             "tick.")
      << QStringLiteral(
             "3. The reading is how far the printer put the drawing from its place, in "
             "millimetres: + to the right (LEFT and RIGHT edges) or down (TOP and BOTTOM), ") +
             minus + QStringLiteral(" to the left or up.")
      << QStringLiteral("4. Enter the four readings once, in this order:")
      << QStringLiteral("      korvan-batch --calibrate ") + q +
             QStringLiteral(" --readings LEFT,RIGHT,TOP,BOTTOM")
      << QStringLiteral("korvan-batch works out the shift and the stretch that cancel them, "
                        "from the readings and the values this sheet was drawn with.")
      << QStringLiteral("5. Print this sheet again to check: every scale should now read 0.")
      << QStringLiteral(
             "A line that stops short of the edge, leaving white paper, lies where this "
             "printer cannot print: that edge cannot be read (see the user's guide). A line "
             "that does not reach the edge within its scale means the print is more than the "
             "scale off: set the shift roughly first (--shift) and print the sheet again.")
      << QStringLiteral(
             "The shift is what korvan adds to every position (+ right and down); the stretch "
             "multiplies every position, about the sheet's top-left corner (1.01 draws 100 mm "
             "101 mm long). Left and top give the shift; the difference between left and right "
             "(top and bottom) over the sheet's width (height) gives the stretch.");
    return p;
}

} // namespace

void draw_calibration_sheet_v(QPainter* painter, const QSizeF& paper, const QString& paper_name,
                              const calibration_l& values, const QString& queue,
                              const QString& note) {
    painter->save();
    // Millimetres of the sheet, through the calibration, to device units.
    painter->setWorldTransform(
        QTransform(units_per_mm * values.stretch_x, 0, 0, units_per_mm * values.stretch_y,
                   units_per_mm * values.shift_x, units_per_mm * values.shift_y));
    painter->setRenderHint(QPainter::Antialiasing);
    const double w = paper.width(), h = paper.height();
    for (edge_e e : {LEFT, RIGHT, TOP, BOTTOM})
        draw_scale_v(painter, scale_l{e, w, h});

    // The words, in the middle, at the largest size (up to 3.5 mm) that fits.
    const QRectF area(26, 26, w - 52, h - 52);
    const QStringList paragraphs = instructions(paper, paper_name, values, queue, note);
    const QString title = QStringLiteral("korvan printer calibration sheet");
    for (double size = 3.5;; size *= 0.9) {
        const QFont heading = font_n(painter, size * 1.8);
        const QFont body = font_n(painter, size);
        const QFont subheading = font_n(painter, size * 1.25);
        QList<QRectF> boxes;
        double y = area.top();
        const QFontMetricsF heading_metrics(heading, painter->device());
        y += heading_metrics.height() * 1.6;
        for (const QString& text : paragraphs) {
            const QFont& f = text.startsWith(QLatin1String("How to")) ? subheading : body;
            const QRectF box = QFontMetricsF(f, painter->device())
                                   .boundingRect(QRectF(area.left(), y, area.width(), 1e6),
                                                 Qt::TextWordWrap, text);
            boxes << QRectF(area.left(), y, area.width(), box.height());
            y += box.height() + size * 0.6;
        }
        if (y > area.bottom() && size > 1.2) continue;
        painter->setPen(Qt::black);
        painter->setFont(heading);
        painter->drawText(QPointF(area.left(), area.top() + heading_metrics.ascent()), title);
        for (int i = 0; i < paragraphs.size(); ++i) {
            painter->setFont(paragraphs[i].startsWith(QLatin1String("How to")) ? subheading : body);
            painter->drawText(boxes[i], Qt::TextWordWrap, paragraphs[i]);
        }
        break;
    }
    painter->restore();
}
