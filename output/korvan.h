// The program's one window: the page preview, its keys and the error screen, and the
// print dialog. Everything else of a run is the engine's (form_l).
#pragma once

#include "layout/form.h"

#include <QWidget>

class QPrinter;

class korvan_l : public QWidget, public form_l {
    Q_OBJECT
public:
    explicit korvan_l(qx_z_l* context, QWidget* parent = nullptr);
    ~korvan_l() override;

    void repaint_v() override;
    void close_v() override;
    void set_title_v(const QString& title) override;
    bool display_b() override;
    bool printer_b() override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
};
