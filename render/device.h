// Device coordinates: page millimetres already multiplied by the device factor, kept
// finite and within a range any painter can take.
#pragma once

#include <cmath>

// Truncates towards zero (arc angles, the corner of a picture). Values that no page could
// hold (and NaN) are pinned to a large finite bound instead of overflowing an int.
inline int device_unit(double v) {
    constexpr double limit = 1.0e9;
    if (std::isnan(v)) return 0;
    if (v > limit) return int(limit);
    if (v < -limit) return -int(limit);
    return int(v);
}

// A device coordinate at full precision. Values that no page could hold (and NaN) are
// pinned like those of device_unit.
inline double device_coordinate(double v) {
    constexpr double limit = 1.0e9;
    if (std::isnan(v)) return 0;
    if (v > limit) return limit;
    if (v < -limit) return -limit;
    return v;
}
