// OCCURS copies and OFFSET pairs.
#include "layout/form.h"

void form_l::apply_occurs_v() {}

void form_l::finish_layout_v() {
    apply_occurs_v();
    if (offsets.isEmpty()) offsets = {0.0f, 0.0f};
    values_per_form *= int(offsets.size() / 2);
}
