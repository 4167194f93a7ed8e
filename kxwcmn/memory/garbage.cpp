#include "kxwcmn/memory/garbage.h"

#include <memory>
#include <new>

#include "kxwcmn/core/exception.h"

namespace {

constexpr int kRecordsInPool = 256;

void Reserve(KXTArray<KXGarbageBlock*>& array, int capacity) {
  const int count = array.GetCount();
  if (array.GetCapacity() >= capacity) return;
  array.SetCount(capacity);
  array.SetCount(count);
}

}  // namespace

// By way of the default constructor, so that a copy that fails half-way gives its records back.
KXGarbage::KXGarbage(const KXGarbage& other) : KXGarbage() { *this = other; }

KXGarbage& KXGarbage::operator=(const KXGarbage& other) {
  if (this == &other) return *this;
  Destroy();
  for (const KXGarbageBlock* gap : other.gaps_) {
    KXGarbageBlock* record = CreateBlock();
    *record = *gap;
    gaps_.Add(record);
  }
  return *this;
}

KXGarbage::~KXGarbage() { Destroy(); }

void KXGarbage::Create(unsigned int size) {
  Destroy();
  Add(0, size, size);
}

void KXGarbage::Destroy() {
  for (KXGarbageBlock* pool : pools_) delete[] pool;
  pools_.RemoveAll();
  free_.RemoveAll();
  gaps_.RemoveAll();
}

int KXGarbage::Request(u64* position, u64 size) {
  for (int i = 0; i < gaps_.GetCount(); ++i) {
    switch (gaps_[i]->Request(position, size)) {
      case KXGarbageBlock::kTooSmall:
        break;
      case KXGarbageBlock::kCut:
        return 1;
      case KXGarbageBlock::kExact:
        Release(i);
        return 1;
    }
  }
  return 0;
}

void KXGarbage::Add(u64 begin, u64 end, u64 size) {
  if (size == 0 || end < begin || end - begin != size) return;
  bool left = false, right = false;
  for (int i = 0; i < gaps_.GetCount() && !(left && right);) {
    const KXGarbageBlock& gap = *gaps_[i];
    if (!left && gap.GetEndPos() == begin) {
      begin = gap.GetBeginPos();
      size += gap.GetSize();
      Release(i);
      left = true;
    } else if (!right && gap.GetBeginPos() == end) {
      end = gap.GetEndPos();
      size += gap.GetSize();
      Release(i);
      right = true;
    } else {
      ++i;
    }
  }
  KXGarbageBlock* record = CreateBlock();  // cannot fail after a merge, which left one unused
  *record = {begin, end, size};
  gaps_.Add(record);
}

void KXGarbage::Enlarge(unsigned int size, u64 end) {
  for (KXGarbageBlock* gap : gaps_) {
    if (gap->GetEndPos() != end) continue;
    gap->Resize(size);
    return;
  }
  Add(end, end + size, size);
}

KXGarbageBlock* KXGarbage::CreateBlock() {
  if (free_.GetCount() == 0) {
    // Room for every record in both arrays, so that no later step of an operation can fail.
    const int records = (pools_.GetCount() + 1) * kRecordsInPool;
    Reserve(free_, records);
    Reserve(gaps_, records);
    std::unique_ptr<KXGarbageBlock[]> pool(new (std::nothrow) KXGarbageBlock[kRecordsInPool]);
    if (!pool) kxThrowError(kxw::kErrorNotEnoughMemory);
    pools_.Add(pool.get());
    for (int i = 1; i < kRecordsInPool; ++i) free_.Add(pool.get() + i);
    return pool.release();
  }
  KXGarbageBlock* record = free_[free_.GetCount() - 1];
  free_.SetCount(free_.GetCount() - 1);
  return record;
}

/// Drops the gap at `index`; its record is unused again.
void KXGarbage::Release(int index) {
  free_.Add(gaps_[index]);
  gaps_.RemoveAt(index);
}
