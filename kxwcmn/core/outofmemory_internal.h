#pragma once

#include <new>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/error.h"

namespace kxw {

/// Runs an operation of the library that has memory of its own, as vectors: where that runs out,
/// the operation raises 8, as it does where a block finds no room.
template <class Operation>
decltype(auto) RaiseWithoutMemory(Operation operation) {
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    kxThrowError(kErrorNotEnoughMemory);
  }
}

}  // namespace kxw
