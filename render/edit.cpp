// Field editing by edit code.
#include "layout/form.h"

QString form_l::edit_s(qx_z_l*, const QString& value, const QString&, int, bool) {
    return value;
}
QString qx_z_l::comma_s(const QString& text) const {
    return text;
}
