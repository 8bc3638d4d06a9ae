#include "output/korvan.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPalette>

korvan_l::korvan_l(qx_z_l* context, QWidget* parent) : QWidget(parent), form_l(context) {
    setAttribute(Qt::WA_DeleteOnClose, false);
    resize(screen_size, screen_size);
    QPalette pal = palette();
    pal.setBrush(QPalette::All, QPalette::Window, QBrush(QColor(210, 210, 210), Qt::SolidPattern));
    setPalette(pal);
    setAutoFillBackground(true);
    show();
    setup_v();
}

korvan_l::~korvan_l() = default;

void korvan_l::repaint_v() {
    repaint();
}
void korvan_l::close_v() {
    close();
}
void korvan_l::set_title_v(const QString& title) {
    setWindowTitle(title);
}
bool korvan_l::display_b() {
    return display_print_b(x_offset, y_offset, zoom);
}
bool korvan_l::printer_b() {
    return false;
}

void korvan_l::paintEvent(QPaintEvent*) {
    if (ready == 0 || printing_flag == 1) return;
    QPainter p(this);
    painter = &p;
    display_b();
    painter = nullptr;
}

void korvan_l::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) close_v();
}
