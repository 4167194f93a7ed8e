#include "kxwcmn/persist/archive.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/persist/streams_internal.h"
#include "kxwcmn/platform/error.h"

namespace {

constexpr UINT kMaxPosition = std::numeric_limits<UINT>::max();

/// Sections are copied in pieces, so that a false length takes no memory.
constexpr UINT kCopyPiece = 0x40000;

/// What is worth a write of its own rather than a copy.
constexpr UINT kLargeWrite = 0x4000;

}  // namespace

// --- State ---------------------------------------------------------------------------------------

KXArchive::KXArchive() { Initialize(); }

KXArchive::~KXArchive() = default;

void KXArchive::Initialize() {
  mode_ = kxw::kArchiveLoad | kxw::kArchiveBigEndian;
  position_ = 0;
  length_ = 0;
  cacheEnabled_ = 1;
  cacheSize_ = 0;
  sectionDepth_ = 0;
  sectionSizes_.RemoveAll();
  sectionStarts_.RemoveAll();
  ClearCache();
}

void KXArchive::Cleanup() {
  cache_.Free();
  Initialize();
}

void KXArchive::Init(UINT mode, UINT cacheSize) {
  mode_ = (mode & 0x01 ? kxw::kArchiveStore : kxw::kArchiveLoad) |
          (mode & 0x04 ? kxw::kArchiveLittleEndian : kxw::kArchiveBigEndian) |
          (mode & kxw::kArchiveShiftJis);
  ClearCache();
  cacheSize_ = 0;
  if (cacheEnabled_) {
    cache_.Alloc(cacheSize, 0, 1);
    cacheSize_ = cacheSize;
  } else {
    cache_.Free();
  }
}

UINT KXArchive::SetEndianMode(UINT mode) {
  if (ModeChk(mode)) return mode;
  const bool toBig = mode == kxw::kArchiveBigEndian;
  mode_ &= ~static_cast<UINT>(toBig ? kxw::kArchiveLittleEndian : kxw::kArchiveBigEndian);
  mode_ |= mode;
  return toBig ? kxw::kArchiveLittleEndian : kxw::kArchiveBigEndian;
}

int KXArchive::GetLength() const {
  const u64 length = u64{length_} + (IsLoading() ? 0 : cachePosition_);
  return static_cast<int>(std::min<u64>(length, std::numeric_limits<int>::max()));
}

// --- Bytes ---------------------------------------------------------------------------------------

void KXArchive::Write(const void* data, UINT size) {
  if (IsLoading()) kxThrowError(kxw::kFailureBadArgument);
  if (cacheEnabled_) {
    WriteCache(data, size);
    return;
  }
  if (size > kMaxPosition - position_) kxThrowError(kxw::kErrorFileTooLarge);
  WriteThrough(data, size);
}

void KXArchive::WriteThrough(const void* data, UINT size) {
  position_ += WriteSelf(data, size);
  length_ = std::max(length_, position_);
}

void KXArchive::Read(void* data, UINT size) {
  if (cacheEnabled_) {
    ReadCache(data, size);
  } else {
    position_ += ReadSelf(data, size);
  }
}

void KXArchive::WriteCache(const void* data, UINT size) {
  if (size == 0) return;
  if (cacheState_ == kCacheRead) DoFlush();
  if (cacheSize_ == 0) kxThrowError(kxw::kFailureBadArgument);
  if (size > kMaxPosition - position_ - cachePosition_) kxThrowError(kxw::kErrorFileTooLarge);
  const auto* from = static_cast<const BYTE*>(data);
  // Of a large write the part that would fill the cache goes past it: the medium has the same bytes
  // after either way.
  const u64 end = u64{cachePosition_} + size, full = (end - 1) / cacheSize_ * cacheSize_;
  if (full >= u64{cachePosition_} + kLargeWrite) {
    const UINT part = static_cast<UINT>(full - cachePosition_);
    DoFlush();
    WriteThrough(from, part);
    from += part;
    size -= part;
  }
  while (size > 0) {
    // A full cache is written only when another byte comes.
    if (cachePosition_ == cacheSize_) DoFlush();
    const UINT part = std::min(size, cacheSize_ - cachePosition_);
    std::memcpy(static_cast<BYTE*>(cache_) + cachePosition_, from, part);
    cachePosition_ += part;
    cacheFill_ += part;
    cacheState_ = kCachePending;
    from += part;
    size -= part;
  }
}

void KXArchive::ReadCache(void* data, UINT size) {
  if (cacheState_ == kCachePending) DoFlush();
  if (cacheState_ == kCacheEmpty) {
    LoadCache();
    if (cacheState_ == kCacheEmpty) kxThrowError(kxw::kFailureBadArgument);
  }
  auto* to = static_cast<BYTE*>(data);
  while (size > 0) {
    if (position_ >= length_) kxThrowError(kxw::kFailureBadArgument);
    if (cachePosition_ >= cacheFill_) {
      LoadCache();
      // The medium has become shorter than it was.
      if (cacheFill_ == 0) kxThrowError(kxw::kFailureBadArgument);
    }
    const UINT part = std::min({size, cacheFill_ - cachePosition_, length_ - position_});
    std::memcpy(to, static_cast<const BYTE*>(cache_) + cachePosition_, part);
    position_ += part;
    cachePosition_ += part;
    to += part;
    size -= part;
  }
}

void KXArchive::ClearCache() {
  cachePosition_ = 0;
  cacheState_ = kCacheEmpty;
  cacheFill_ = 0;
}

void KXArchive::LoadCache() {
  ClearCache();
  if (position_ >= length_) return;
  const UINT size = std::min(length_ - position_, cacheSize_);
  if (size == 0) return;
  SeekSelf(static_cast<int>(position_), 0);
  cacheFill_ = std::min(ReadSelf(static_cast<BYTE*>(cache_), size), size);
  cacheState_ = kCacheRead;
}

void KXArchive::DoFlush() {
  if (!cacheEnabled_) return;
  if (cacheState_ == kCachePending && cacheFill_ != 0) {
    WriteThrough(cache_, cacheFill_);
  }
  ClearCache();
}

UINT KXArchive::Seek(int offset, UINT origin) {
  if (IsSaving()) DoFlush();
  const i64 from = origin == 1 ? i64{position_} : 0;
  const i64 target = origin <= 1 ? from + offset : 0;
  if (target < 0) kxThrowError(kxw::kFailureBadArgument);
  if (target > kMaxPosition) {
    if (!IsLoading()) kxThrowError(kxw::kFailureBadArgument);
    return SeekTo(kMaxPosition);
  }
  return SeekTo(static_cast<UINT>(target));
}

UINT KXArchive::SeekTo(UINT target) {
  if (IsSaving()) DoFlush();
  if (IsLoading()) target = std::min(target, length_);
  const UINT before = position_;
  position_ = SeekSelf(static_cast<int>(target), 0);
  length_ = std::max(length_, position_);
  if (IsLoading()) {
    const i64 inCache = i64{position_} - before + cachePosition_;
    if (inCache >= 0 && inCache < cacheFill_) {
      cachePosition_ = static_cast<UINT>(inCache);
    } else {
      DoFlush();
    }
  }
  return GetPosition();
}

// --- Sections ------------------------------------------------------------------------------------

void KXArchive::BeginSection() {
  if (IsLoading()) {
    UINT size;
    *this >> size;
    sectionSizes_.Add(size);
  } else {
    // Over the place of the length, which is known at the end.
    DoFlush();
    if (position_ > kMaxPosition - sizeof(UINT)) kxThrowError(kxw::kErrorFileTooLarge);
    SeekTo(position_ + UINT{sizeof(UINT)});
  }
  sectionStarts_.Add(GetPosition());
  ++sectionDepth_;
}

void KXArchive::EndSection() {
  if (sectionDepth_ == 0) return;
  --sectionDepth_;
  const int top = sectionStarts_.GetCount() - 1;
  const UINT start = sectionStarts_[top];
  sectionStarts_.RemoveAt(top);
  if (IsLoading()) {
    const int sizes = sectionSizes_.GetCount();
    if (sizes == 0) return;  // opened before the direction was turned
    const UINT size = sectionSizes_[sizes - 1];
    sectionSizes_.RemoveAt(sizes - 1);
    const UINT consumed = position_ - start;
    if (size > consumed) {
      SeekTo(static_cast<UINT>(std::min<u64>(u64{start} + size, kMaxPosition)));
    }
  } else {
    const UINT end = GetPosition();
    SeekTo(start - UINT{sizeof(UINT)});
    *this << end - start;
    if (end != start) SeekTo(end);
  }
}

void KXArchive::SeekSection() {
  UINT size;
  *this >> size;
  SeekTo(static_cast<UINT>(std::min<u64>(u64{GetPosition()} + size, kMaxPosition)));
}

void KXArchive::CopySection(KXArchive& source) {
  UINT size;
  source >> size;
  *this << size;
  if (size == 0) return;
  const UINT piece = std::min(size, kCopyPiece);
  const kxw::PtrBlock block = kxw::AllocateBlock(piece);
  for (UINT left = size; left > 0;) {
    const UINT part = std::min(left, piece);
    kxw::ReadAll(source, block.get(), part);
    Write(block.get(), part);
    left -= part;
  }
}

UINT KXArchive::GetSectionSize() const {
  const int count = sectionSizes_.GetCount();
  return count > 0 ? sectionSizes_[count - 1] : 0;
}

UINT KXArchive::GetRemainingSectionSize() const {
  const int count = sectionStarts_.GetCount();
  if (count == 0) return 0;
  const i64 left = i64{sectionStarts_[count - 1]} + GetSectionSize() - GetPosition();
  return static_cast<UINT>(std::clamp<i64>(left, 0, kMaxPosition));
}
