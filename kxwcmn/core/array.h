#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/memory.h"

/// The library's growable array. Elements are plain bytes: no constructor, destructor or copy of
/// `T` ever runs, and new elements are zero. The second parameter distinguishes families of
/// instantiations in the interface and has no effect.
///
/// Capacity only grows, in steps of 256 elements. An operation that needs memory raises KXException
/// with code 8 if there is none, and leaves the array as it was.
template <class T, int Family = 0>
class KXTArray {
 public:
  KXTArray() = default;
  KXTArray(const KXTArray& other) { *this = other; }
  virtual ~KXTArray() { qmFree(memory_); }

  KXTArray& operator=(const KXTArray& other) {
    if (this == &other) return *this;
    SetCount(other.count_);
    if (count_ > 0) std::memcpy(static_cast<void*>(Data()), other.Data(), Bytes(count_));
    return *this;
  }

  int GetCount() const { return count_; }
  int GetCapacity() const { return capacity_; }

  /// Sets the number of elements; memory is kept when it falls. A negative count is taken as 0.
  void SetCount(int count) {
    if (count < 0) count = 0;
    if (count > capacity_) Grow(count);
    if (count > count_) std::memset(static_cast<void*>(Data() + count_), 0, Bytes(count - count_));
    count_ = count;
  }

  void Add(const T& value) {
    BYTE copy[sizeof(T)];  // `value` may lie in the memory that growth gives up
    std::memcpy(copy, static_cast<const void*>(&value), sizeof copy);
    if (count_ == capacity_) Grow(count_ + 1);
    std::memcpy(static_cast<void*>(Data() + count_++), copy, sizeof copy);
  }

  /// Removes the element at `index`, closing the gap. An index out of range does nothing.
  void RemoveAt(int index) {
    if (index < 0 || index >= count_) return;
    std::memmove(static_cast<void*>(Data() + index), Data() + index + 1, Bytes(count_ - index - 1));
    --count_;
  }

  void RemoveAll() { count_ = 0; }

  /// Unchecked, like all indexing of hot loops.
  T& operator[](int index) { return Data()[index]; }
  const T& operator[](int index) const { return Data()[index]; }

  T* Data() { return reinterpret_cast<T*>(memory_); }
  const T* Data() const { return reinterpret_cast<const T*>(memory_); }
  T* begin() { return Data(); }
  T* end() { return Data() + count_; }
  const T* begin() const { return Data(); }
  const T* end() const { return Data() + count_; }

 private:
  static constexpr int kStep = 256;  // elements

  static std::size_t Bytes(int count) { return sizeof(T) * static_cast<std::size_t>(count); }

  void Grow(int count) {
    const i64 steps = (static_cast<i64>(count) - capacity_ + kStep - 1) / kStep;
    const i64 capacity = capacity_ + steps * kStep;
    const u64 bytes = static_cast<u64>(capacity) * sizeof(T);
    if (capacity > std::numeric_limits<int>::max() || bytes > std::numeric_limits<DWORD>::max()) {
      kxThrowError(kxw::kErrorNotEnoughMemory);
    }
    const auto size = static_cast<DWORD>(bytes);
    QMHANDLE__* memory = memory_ ? qmReAlloc(memory_, size, 0, nullptr) : qmAlloc(size, 0, nullptr);
    if (!memory) kxThrowError(kxw::kErrorNotEnoughMemory);
    memory_ = memory;
    capacity_ = static_cast<int>(capacity);
  }

  QMHANDLE__* memory_ = nullptr;
  int capacity_ = 0;
  int count_ = 0;
};
