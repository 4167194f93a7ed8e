#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// Rounds to the nearest integer, halves away from zero; saturates at the ends; NaN gives 0. The
/// library's one rounding.
KX_EXPORT int qmDouble2Int(double value);
KX_EXPORT short qmDouble2Short(double value);

namespace kxw {
/// The conversion toward zero that the library calls truncation; saturates at the ends, NaN gives 0.
KX_EXPORT int Truncate(double value);
}  // namespace kxw
