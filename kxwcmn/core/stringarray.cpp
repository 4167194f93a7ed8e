#include "kxwcmn/core/stringarray.h"

#include <algorithm>
#include <memory>

KXStringArray::KXStringArray(const KXStringArray& other) : KXStringArray() { *this = other; }

KXStringArray& KXStringArray::operator=(const KXStringArray& other) {
  if (this == &other) return *this;
  AllDelete();
  for (const KXString* string : other.strings_) {
    auto copy = std::make_unique<KXString>(*string);
    PushBack(copy.get());
    copy.release();
  }
  return *this;
}

KXStringArray::~KXStringArray() { AllDelete(); }

void KXStringArray::PushBack(KXString* string) { InsertAt(GetSize(), string); }

void KXStringArray::InsertAt(int index, KXString* string) {
  if (!string || index < 0 || index > GetSize()) kxThrowError(kxw::kFailureBadArgument);
  strings_.Add(string);
  std::rotate(strings_.begin() + index, strings_.end() - 1, strings_.end());
}

KXString* KXStringArray::GetAt(int index) const {
  return index >= 0 && index < GetSize() ? strings_[index] : nullptr;
}

void KXStringArray::RemoveAt(int index) {
  delete GetAt(index);
  strings_.RemoveAt(index);
}

void KXStringArray::AllDelete() {
  for (KXString* string : strings_) delete string;
  strings_.RemoveAll();
}
