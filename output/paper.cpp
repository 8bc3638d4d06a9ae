// Paper names of the PAPER keyword.
#include "layout/form.h"

QPageSize form_l::media_size_n(const QString&) {
    found = 1;
    return QPageSize(QPageSize::Custom);
}
