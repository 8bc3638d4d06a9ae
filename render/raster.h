// Drawing a page of a run into an image, for tests, benchmarks and image output.
#pragma once

#include <QImage>
#include <QSizeF>

class form_l;

// The sheet size in millimetres for the layout's PAPER record: A4 when it names no
// paper or one without a fixed size; landscape ("2") swaps the sides.
QSizeF paper_size_mm(form_l& form);

// Draws the current page of `form` (every OFFSET copy, or the error screen when an
// error has been recorded) the way the page drivers do, into a white image of the
// sheet at `dpi` dots per inch. Form units are 1/72 inch, so the painter is scaled by
// dpi / 72. `ok` receives false when the page could not be drawn: a bar code or image
// failed, or (with a null image as the result) the resolution is not in (0, 1200] or
// the image could not be allocated. The data stream moves on exactly as in a preview
// or print of the page.
QImage render_page_image(form_l& form, double dpi, bool* ok = nullptr);
