// The layout file reader: physical lines into records, records into fields.
#include "core/textfile.h"
#include "layout/form.h"

void form_l::read_layout_v() {}
void form_l::csv_split_v(s_l* out, const QString& rec) {
    *out = {rec};
}
void form_l::dispatch_record_v() {}
