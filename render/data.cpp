// The data stream: TAB-separated values, positioned at the start page.
#include "core/textfile.h"
#include "layout/form.h"

int form_l::read_b() {
    return 0;
}
int form_l::read_data_b(int start) {
    current_page = start;
    return 1;
}
