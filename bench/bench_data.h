// The invoice workload shared by the benchmarks: its data and its form.
#pragma once

#include <QString>

class form_l;

// Values on a line of invoice data: 20 rows of item name and amount, then the
// numbers of an EAN-13 and of a Code 39 bar code. One line is one page.
constexpr int invoice_values = 42;

// Writes `pages` lines of invoice data in UTF-8, the same for every run. With
// `line_bytes` > 0 the item names are lengthened until a line has about that many
// bytes, and the first value starts with "page" and the page number, so that a
// reader positioned on a page can tell which one it is.
bool write_invoice_data(const QString& path, int pages, int line_bytes = 0);

// The invoice layout that ships with the benchmarks.
QString invoice_layout_path();

// Runs the set-up of a run whose context holds the arguments (mode, data file, layout
// file). When the layout reader made no items of the layout (a build without it), the
// same form is built here by hand. False when the set-up recorded an error.
bool setup_invoice_form(form_l& form);
