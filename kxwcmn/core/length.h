#pragma once

#include "kxwcmn/platform/types.h"

/// A distance: a value in a unit (0 pixels, 1 centimetres, 2 millimetres, 3 inches, 4 picas, 5
/// points, 6 quarter millimetres, -1 none), and the pixels an inch that unit 0 goes by.
struct _QMLENGTH {
  double value;
  LONG unit;
  double resolution;
};
