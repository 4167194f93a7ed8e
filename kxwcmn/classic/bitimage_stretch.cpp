#include "kxwcmn/classic/bitimage.h"
#include "kxwcmn/classic/bitkernels_internal.h"

namespace {

/// One axis of a copy of another size.
struct Axis {
  int dest, destSize, src, srcSize;
  int error = destSize;  // at the first pixel of an enlargement

  /// Cuts the destination to [0, `limit`) at the same scale. Returns false if nothing is left. All
  /// divisions truncate, so a source that is cut at its end may lose the part of a pixel that an
  /// enlargement still shows, and a cut between two source pixels starts with the one behind it,
  /// where an uncut walk would show the one before for a pixel more. Both are kept so.
  bool Clip(int limit) {
    if (destSize <= 0 || srcSize <= 0 || i64{dest} + destSize < 1) return false;
    if (dest < 0) {
      const i64 skipped = -i64{dest} * srcSize;  // in destination's sizes
      error = destSize - static_cast<int>(skipped % destSize);
      const i64 start = src + skipped / destSize;
      if (start != static_cast<int>(start)) return false;
      src = static_cast<int>(start);
      srcSize -= static_cast<int>(skipped / destSize);
      destSize += dest;
      dest = 0;
    }
    if (i64{dest} + destSize > limit) {
      const int rest = dest < limit ? limit - dest : 0;
      srcSize = static_cast<int>(i64{rest} * srcSize / destSize);
      destSize = rest;
    }
    return destSize > 0 && srcSize > 0;
  }

  /// Whether all pixels that a walk takes lie in the source.
  bool IsInside(const kxw::BitSteps& steps, int limit) const {
    return src >= 0 && src + steps.After(destSize - 1) < limit;
  }
};

}  // namespace

int KXBitImage::StretchCopy(KXBitImage* dest, int destX, int destY, int destW, int destH, int srcX,
                            int srcY, int srcW, int srcH) const {
  if (!dest || !dest->IsValid() || !IsValid()) return 0;
  Axis x{destX, destW, srcX, srcW}, y{destY, destH, srcY, srcH};
  if (!x.Clip(dest->width_) || !y.Clip(dest->height_)) return 0;

  const kxw::BitKernels kernels = kxw::FindBitKernels(dest->bitCount_, bitCount_);
  const bool isEqual = x.destSize == x.srcSize && y.destSize == y.srcSize;
  const bool isSmaller = x.destSize <= x.srcSize && y.destSize <= y.srcSize;
  const bool isGreater = x.destSize >= x.srcSize && y.destSize >= y.srcSize;
  const bool hasKernel = isEqual     ? kernels.copy != nullptr
                         : isSmaller ? kernels.minimize != nullptr
                                     : isGreater && kernels.maximize;
  if (!hasKernel) return 1;

  // Copies of equal size take each pixel, as reductions to the same size would.
  const auto steps = [&](const Axis& axis, int fullSrc, int fullDest) {
    return isSmaller ? kxw::BitSteps::Reduce(axis.srcSize, axis.destSize)
                     : kxw::BitSteps::Enlarge(fullSrc, fullDest, axis.error);
  };
  kxw::BitSteps stepsX = steps(x, srcW, destW), stepsY = steps(y, srcH, destH);
  if (!isSmaller) stepsY = kxw::EnlargeBitRows(dest->bitCount_, srcH, destH, y.error);
  if (!x.IsInside(stepsX, width_) || !y.IsInside(stepsY, height_)) return 0;

  if (SharesMemory(*dest)) {
    return KXBitImage(*this).StretchCopy(dest, destX, destY, destW, destH, srcX, srcY, srcW, srcH);
  }
  if (isEqual) {
    kernels.copy(dest->bits_, x.dest, y.dest, x.destSize, y.destSize, dest->rowBytes_, bits_, x.src,
                 y.src, rowBytes_);
  } else if (isSmaller) {
    kernels.minimize(dest->bits_, x.dest, y.dest, x.destSize, y.destSize, dest->rowBytes_, bits_,
                     x.src, y.src, x.srcSize, y.srcSize, rowBytes_);
  } else {
    kernels.maximize(dest->bits_, x.dest, y.dest, x.destSize, y.destSize, dest->rowBytes_, bits_,
                     x.src, y.src, srcW, srcH, rowBytes_, destW, destH, x.error, y.error);
  }
  return 1;
}

bool KXBitImage::SharesMemory(const KXBitImage& other) const {
  const auto begin = [](const KXBitImage& image) {
    return reinterpret_cast<std::uintptr_t>(image.bits_);
  };
  const auto end = [&](const KXBitImage& image) {
    return begin(image) + static_cast<u64>(image.rowBytes_) * static_cast<u64>(image.height_);
  };
  return begin(*this) < end(other) && begin(other) < end(*this);
}
