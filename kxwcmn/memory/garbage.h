#pragma once

#include "kxwcmn/core/array.h"
#include "kxwcmn/memory/swapblock.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// The free gaps of the swap file. Gaps never touch one another. They are kept in no order of
/// position: a new or merged gap goes to the end, and the first one that fits serves.
class KX_EXPORT KXGarbage {
 public:
  KXGarbage() = default;
  /// A copy has the same gaps in the same order, in records of its own.
  KXGarbage(const KXGarbage& other);
  KXGarbage& operator=(const KXGarbage& other);
  virtual ~KXGarbage();

  /// Starts with one gap from 0 to `size`; none for 0. What was there before is forgotten.
  void Create(unsigned int size);
  void Destroy();

  /// Takes `size` bytes from the first gap that has them; `*position` becomes their begin. Returns
  /// 0 if no gap fits.
  int Request(u64* position, u64 size);

  /// Gives the bytes from `begin` to `end` back, merging them with the gaps that they touch. Does
  /// nothing unless end = begin + size and size is above 0. Raises KXException with code 8, the
  /// gaps unchanged, if there is no memory.
  void Add(u64 begin, u64 end, u64 size);

  /// The file grew by `size` bytes from its old length `end`. Raises as Add does.
  void Enlarge(unsigned int size, u64 end);

  int GetGapCount() const { return gaps_.GetCount(); }
  const KXGarbageBlock& GetGap(int index) const { return *gaps_[index]; }

 protected:
  /// An unused record. Raises KXException with code 8 if there is no memory.
  KXGarbageBlock* CreateBlock();

 private:
  void Release(int index);

  KXTArray<KXGarbageBlock*> pools_;  // each an array of records
  KXTArray<KXGarbageBlock*> free_;   // a stack
  KXTArray<KXGarbageBlock*> gaps_;
};
