#include <limits>

#include "kxwcmn/classic/offscreen.h"
#include "kxwcmn/classic/stlockoff.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/persist/archive.h"
#include "kxwcmn/persist/streams_internal.h"

// The stored form is a section: width, height and bit count, 4 bytes each, and the rows as they
// stand in memory, with what aligns them.

namespace {

constexpr i64 kHeaderBytes = 12;

/// Raises unless section and stream go on for `size` bytes, so that a false size takes no memory.
void Need(const KXArchive& archive, i64 size) {
  constexpr int kLongest = std::numeric_limits<int>::max();  // or longer
  const i64 length = archive.GetLength();
  if (size > archive.GetRemainingSectionSize() ||
      (length != kLongest && size > length - archive.GetPosition())) {
    kxThrowError(kxw::kFailureBadFormat);
  }
}

/// Bytes of the rows of an image; raises for sizes that no image has.
i64 SizeOf(int width, int height, int bitCount) {
  const bool isDepth = bitCount == 1 || bitCount == 8 || bitCount == 24 || bitCount == 32;
  if (!isDepth || width < 0 || height < 0 || width > kxw::kMaxImageSize ||
      height > kxw::kMaxImageSize) {
    kxThrowError(kxw::kFailureBadFormat);
  }
  const i64 rowBytes = (i64{width} * bitCount + 31) / 32 * 4;
  if (rowBytes > std::numeric_limits<int>::max()) kxThrowError(kxw::kFailureBadFormat);
  return rowBytes * height;
}

/// Complements an image's pixels for a scope.
class ScopedReverse {
 public:
  ScopedReverse(KXOffscreen& image, bool isWanted) : image_(image), isWanted_(isWanted) {
    if (isWanted_) image_.Reverse();
  }
  ~ScopedReverse() {
    if (isWanted_) image_.Reverse();
  }
  ScopedReverse(const ScopedReverse&) = delete;
  ScopedReverse& operator=(const ScopedReverse&) = delete;

 private:
  KXOffscreen& image_;
  bool isWanted_;
};

}  // namespace

void KXOffscreen::Serialize(KXArchive& archive, int reverse) {
  if (archive.IsLoading()) {
    Read(archive, reverse);
  } else {
    Write(archive, reverse);
  }
}

void KXOffscreen::Write(KXArchive& archive, int reverse) {
  if (!IsValid()) kxThrowError(kxw::kFailureBadArgument);
  const KXStLockOff lock(this);
  const ScopedReverse reversed(*this, reverse != 0);
  archive.BeginSection();
  archive << GetWidth() << GetHeight() << GetBitCount();
  archive.Write(GetBaseAddress(), static_cast<UINT>(GetBufferSize()));
  archive.EndSection();
}

void KXOffscreen::Read(KXArchive& archive, int reverse) {
  Destroy();
  try {
    archive.BeginSection();
    Need(archive, kHeaderBytes);
    int width, height, bitCount;
    archive >> width >> height >> bitCount;
    const i64 size = SizeOf(width, height, bitCount);
    Need(archive, size);
    Create(width, height, bitCount, 0xFFFFFFFF, 0);
    const KXStLockOff lock(this);
    if (size > 0) kxw::ReadAll(archive, GetBaseAddress(), static_cast<UINT>(size));
    if (reverse) Reverse();
    archive.EndSection();
  } catch (...) {
    Destroy();
    throw;
  }
}
