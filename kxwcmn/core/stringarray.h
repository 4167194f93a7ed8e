#pragma once

#include "kxwcmn/core/array.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/platform/export.h"

/// A list that owns its strings: they come from `new`, and are deleted when they leave the list.
class KX_EXPORT KXStringArray {
 public:
  KXStringArray() = default;
  /// A copy has strings of its own.
  KXStringArray(const KXStringArray& other);
  KXStringArray& operator=(const KXStringArray& other);
  virtual ~KXStringArray();

  /// Takes `string` over, at the end or in front of the one at `index`, which is at most the size.
  /// A null string or another index raises 0x20010008; whatever is raised, the string stays the
  /// caller's.
  void PushBack(KXString* string);
  void InsertAt(int index, KXString* string);

  /// The string at `index`, which stays the list's; null outside the list.
  KXString* GetAt(int index) const;
  /// Deletes the string at `index`; outside the list this does nothing.
  void RemoveAt(int index);

  int GetSize() const { return strings_.GetCount(); }
  /// Both delete all strings.
  void Clear() { AllDelete(); }
  void AllDelete();

  /// The list itself, whose strings are this object's.
  KXTArray<KXString*, 0>* GetArrayPointer() { return &strings_; }

 private:
  KXTArray<KXString*, 0> strings_;
};
