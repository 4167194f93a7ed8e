#pragma once

#include "kxwcmn/core/exception.h"

/// The code of the failure that an operation raises; 0 if it raises none.
template <class Operation>
int CodeOf(Operation operation) {
  try {
    operation();
    return 0;
  } catch (const KXException& failure) {
    return failure.GetErrorCode();
  }
}
