// Conversion of page millimetres (already multiplied by the device factor) to whole
// device units.
#pragma once

#include <cmath>

// Truncates towards zero, as every position of a form is. Values that no page could
// hold (and NaN) are pinned to a large finite bound instead of overflowing an int.
inline int device_unit(double v) {
    constexpr double limit = 1.0e9;
    if (std::isnan(v)) return 0;
    if (v > limit) return int(limit);
    if (v < -limit) return -int(limit);
    return int(v);
}
