#include <algorithm>
#include <array>
#include <cstring>
#include <typeinfo>

#include "kxwcmn/compositing/mixkernels_internal.h"
#include "kxwcmn/compositing/mixrow_internal.h"
#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/offscreen/detail/depths.h"

namespace kxw {
namespace {

constexpr int kBlock = KXVOffscreen::kBlockSize;
constexpr int kMask = KXVOffscreen::kBlockMask;

/// The incoming form of a destination of `bits`.
constexpr RunForm FormOf(int bits) {
  return bits <= 8    ? RunForm::kValue8
         : bits <= 24 ? RunForm::kColor32
         : bits == 32 ? RunForm::kWord32
                      : RunForm::kWord64;
}

/// Stores a colour as one incoming pixel.
template <RunForm kForm>
void PutColor(BYTE* at, u64 color64, QMCOLORREF color32, BYTE value8) {
  if constexpr (kForm == RunForm::kValue8) {
    *at = value8;
  } else if constexpr (kForm == RunForm::kWord64) {
    Depth64::Store(at, 0, color64);
  } else if constexpr (kForm == RunForm::kWord32) {
    Depth32::Store(at, 0, color32);
  } else {
    std::memcpy(at, &color32, sizeof color32);
  }
}

/// Reads `count` pixels of a source row as incoming colours: all go through the 64-bit form, whose
/// alpha is what 8-bit destinations are given.
template <class Depth, RunForm kForm>
void ReadRun(const BYTE* row, int column, int count, BYTE* out) {
  for (int i = 0; i < count; ++i, out += BytesOf(kForm)) {
    const auto pixel =
        Depth::Load(row + ByteOfColumn<Depth>(column + i), MaskOfColumn<Depth>(column + i));
    const u64 wide = Depth::To64(pixel);
    PutColor<kForm>(out, wide, NarrowColor(wide), static_cast<BYTE>(wide >> 56));
  }
}

using ReadFunc = void (*)(const BYTE* row, int column, int count, BYTE* out);

template <RunForm kForm>
ReadFunc FindReader(int bits) {
  return WithDepth(bits, [](auto depth) -> ReadFunc { return ReadRun<decltype(depth), kForm>; });
}

/// A buffer of one run, in any form.
struct alignas(8) RunBuffer {
  std::array<BYTE, kBlock * 8> bytes;
};

/// Fills a run with one colour.
void FillRun(RunForm form, const KXComplexColor& color, int count, RunBuffer& out) {
  BYTE* at = out.bytes.data();
  for (int i = 0; i < count; ++i, at += BytesOf(form)) {
    switch (form) {
      case RunForm::kValue8:
        PutColor<RunForm::kValue8>(at, 0, 0, color.value8);
        break;
      case RunForm::kColor32:
        PutColor<RunForm::kColor32>(at, 0, color.color32, 0);
        break;
      case RunForm::kWord32:
        PutColor<RunForm::kWord32>(at, 0, color.color32, 0);
        break;
      case RunForm::kWord64:
        PutColor<RunForm::kWord64>(at, color.color64, 0, 0);
        break;
    }
  }
}

/// Where a row's incoming colours come from: the mixer's own colour, or its source.
class Incoming {
 public:
  Incoming(RunForm form, const KXVOffPixelMixer& mixer, i64 longest) : form_(form) {
    KXComplexColor color = KXComplexColor::cErase;
    source_ = mixer.GetSrcOffscreen();
    if (source_) {
      source_->GetCursorPos(x_, y_);
      const int bits = source_->GetBitCount();
      // Pixels that are in the right form already are used where they stand.
      isDirect_ = (form == RunForm::kWord32 && bits == 32) ||
                  (form == RunForm::kWord64 && bits == 64) ||
                  (form == RunForm::kValue8 && bits == 8);
      read_ = form == RunForm::kValue8    ? FindReader<RunForm::kValue8>(bits)
              : form == RunForm::kColor32 ? FindReader<RunForm::kColor32>(bits)
              : form == RunForm::kWord32  ? FindReader<RunForm::kWord32>(bits)
                                          : FindReader<RunForm::kWord64>(bits);
    } else {
      mixer.GetColor(color);
    }
    FillRun(form, color, static_cast<int>(std::min<i64>(longest, kBlock)), constant_);
  }

  /// The colours of up to `count` pixels from the one `offset` behind the row's first; `count`
  /// becomes how many there are in one piece.
  const BYTE* Get(i64 offset, int& count) {
    if (!source_) return constant_.bytes.data();
    const i64 x = x_ + offset;
    if (y_ < 0 || y_ >= source_->GetHeight() || x >= source_->GetWidth()) {
      return constant_.bytes.data();
    }
    if (x < 0) {
      count = static_cast<int>(std::min<i64>(count, -x));
      return constant_.bytes.data();
    }
    const int column = static_cast<int>(x) & kMask;
    count = std::min({count, kBlock - column, source_->GetWidth() - static_cast<int>(x)});
    source_->MoveCursor(static_cast<int>(x), y_);
    const BYTE* at = source_->GetCurrentAddress();
    if (!at) return constant_.bytes.data();
    if (isDirect_) return at;
    const BYTE* row = source_->GetBaseAddress() + (y_ & kMask) * source_->GetBlockRowBytes();
    read_(row, column, count, read32_.bytes.data());
    return read32_.bytes.data();
  }

  /// Leaves the source's cursor `offset` behind the row's first pixel.
  void Finish(i64 offset) {
    if (source_) source_->MoveCursorX(static_cast<int>(static_cast<u64>(x_ + offset)));
  }

 private:
  RunForm form_;
  KXVOffscreen* source_ = nullptr;
  int x_ = 0, y_ = 0;
  bool isDirect_ = false;
  ReadFunc read_ = nullptr;
  RunBuffer constant_;  // the mixer's colour, or what stands for a source without memory
  RunBuffer read32_;
};

/// Which pixels of a run are left alone: a byte a pixel, non-zero to skip.
using Skips = std::array<BYTE, kBlock>;

/// Adds what one mask holds back of `count` pixels from `x`.
void AddHeld(const KXVOffPixelMask& mask, const KXVOffPixelMask::MaskInfo& info,
             const KXVOffscreen& dst, int x, int count, Skips& skips) {
  KXVOffscreen& image = *info.offscreen;
  const ReadFunc read = FindReader<RunForm::kColor32>(image.GetBitCount());
  const int y = image.GetCursorPosY();
  const auto positionOf = [&](int at) {
    return dst.ConvertPointX(&image, IntGeometry::Sub(at, info.offset.x));
  };
  const auto isHeld = [&](DWORD pixel) -> BYTE {
    return mask.IsMaskCompare(info.mode, info.color, pixel, info.whiteEqual) != 0;
  };
  const i64 first = positionOf(x);
  // At equal resolutions neighbours are neighbours on the mask; otherwise each finds its own place.
  const bool isRun = positionOf(x + count - 1) - first == count - 1;
  std::array<DWORD, kBlock> colors;
  for (int i = 0; i < count;) {
    const i64 mx = isRun ? first + i : positionOf(x + i);
    if (mx < 0 || mx >= image.GetWidth() || y < 0 || y >= image.GetHeight()) {
      skips[static_cast<std::size_t>(i++)] |= isHeld(0);
      continue;
    }
    const int column = static_cast<int>(mx) & kMask;
    const int n =
        isRun ? std::min({count - i, kBlock - column, image.GetWidth() - static_cast<int>(mx)}) : 1;
    image.MoveCursor(static_cast<int>(mx), y);
    const BYTE* base = image.GetBaseAddress();
    if (base && read) {
      read(base + (y & kMask) * image.GetBlockRowBytes(), column, n,
           reinterpret_cast<BYTE*>(colors.data()));
    } else {
      std::fill_n(colors.begin(), n, 0u);  // what a mask without memory reads as
    }
    for (int k = 0; k < n; ++k, ++i) {
      skips[static_cast<std::size_t>(i)] |= isHeld(colors[static_cast<std::size_t>(k)]);
    }
  }
}
}  // namespace

/// Reads the positions that mixers mind; a friend of the two that do.
class MixRowAccess {
 public:
  static BYTE Density(const KXPixelMixerGradation& mixer, int x, int y, BYTE value) {
    return mixer.GetDensity(x, y, value);
  }
  static bool HasTable(const KXPixelMixerGradation& mixer) { return mixer.colorTableSize_ > 0; }
  static DWORD Gauss(const KXPixelMixerGaussian& mixer, int x, int y, DWORD value) {
    return mixer.GetGaussValue(x, y, value);
  }
};

namespace {

/// A chain of the library's mixers as it is laid on a run.
class Chain {
 public:
  /// Finds the kernel behind the Gaussians at the head; false if the chain is not served.
  bool Find(const KXPixelMixer* head, int bits) {
    bits_ = bits;
    head_ = head;
    const KXPixelMixer* node = head;
    // A chain that leads into itself has no end to find.
    for (int length = 0; node && typeid(*node) == typeid(KXPixelMixerGaussian); ++length) {
      if (length == kLongest) return false;
      node = node->GetNext();
    }
    last_ = node;
    isGaussian_ = node != head;
    isGradation_ = node && bits <= 8 && typeid(*node) == typeid(KXPixelMixerGradation);
    if (isGradation_) {
      kernel_ = FindDarkKernel(bits);
      isIdle_ = !MixRowAccess::HasTable(static_cast<const KXPixelMixerGradation&>(*node));
    } else if (node && typeid(*node) == typeid(KXPixelMixerGradation)) {
      kernel_ = FindMixKernel(nullptr, bits);  // beyond 8 bits a gradation replaces
    } else {
      kernel_ = FindMixKernel(node, bits);
    }
    return kernel_ != nullptr;
  }

  void Lay(BYTE* row, int x, int y, const BYTE* incoming, int count, WORD weight) const {
    if (isIdle_) return;
    RunWeight weights{weight, nullptr};
    RunBuffer values;
    std::array<WORD, kBlock> each;
    if (bits_ <= 8 && (isGaussian_ || isGradation_)) {
      for (int i = 0; i < count; ++i) values.bytes[At(i)] = ValueAt(x + i, y, incoming[i]);
      incoming = values.bytes.data();
    } else if (isGaussian_ && bits_ >= 32) {
      for (int i = 0; i < count; ++i) each[At(i)] = WeightAt(x + i, y, weight);
      weights.each = each.data();
    }
    kernel_(row, x & kMask, incoming, count, weights);
  }

 private:
  static constexpr int kLongest = 256;
  static std::size_t At(int i) { return static_cast<std::size_t>(i); }

  BYTE ValueAt(int x, int y, BYTE value) const {
    for (const KXPixelMixer* node = head_; node != last_; node = node->GetNext()) {
      value = static_cast<BYTE>(
          MixRowAccess::Gauss(static_cast<const KXPixelMixerGaussian&>(*node), x, y, value));
    }
    if (!isGradation_) return value;
    return MixRowAccess::Density(static_cast<const KXPixelMixerGradation&>(*last_), x, y, value);
  }

  WORD WeightAt(int x, int y, WORD weight) const {
    for (const KXPixelMixer* node = head_; node != last_; node = node->GetNext()) {
      const DWORD scaled =
          MixRowAccess::Gauss(static_cast<const KXPixelMixerGaussian&>(*node), x, y, weight);
      weight = bits_ == 32 ? static_cast<BYTE>(scaled) : static_cast<WORD>(scaled);
    }
    return weight;
  }

  int bits_ = 0;
  const KXPixelMixer* head_ = nullptr;
  const KXPixelMixer* last_ = nullptr;  // the first node that is no Gaussian; null at the end
  bool isGaussian_ = false;
  bool isGradation_ = false;
  bool isIdle_ = false;
  MixKernel kernel_ = nullptr;
};

/// Puts the pixels of `bits` that are not skipped from `mixed` into the row.
void Merge(BYTE* row, int bits, int column, const BYTE* mixed, int count, const Skips& skips) {
  if (bits < 8) {
    for (int i = 0; i < count; ++i) {
      if (skips[static_cast<std::size_t>(i)]) continue;
      const int at = (column + i) * bits / 8;
      const int left = (column + i) * bits % 8;  // bits from the high end
      const int mask = ((0xFF00 >> bits) & 0xFF) >> left;
      row[at] = static_cast<BYTE>((row[at] & ~mask) | (mixed[at] & mask));
    }
    return;
  }
  const int size = bits / 8;
  for (int i = 0, n; i < count; i += n) {
    n = 1;
    const bool isSkipped = skips[static_cast<std::size_t>(i)] != 0;
    while (i + n < count && (skips[static_cast<std::size_t>(i + n)] != 0) == isSkipped) ++n;
    if (isSkipped) continue;
    const int at = (column + i) * size;
    std::memcpy(row + at, mixed + at, static_cast<std::size_t>(n * size));
  }
}

}  // namespace

bool MixRowByKernel(KXVOffscreen& dst, int x1, int x2, KXVOffPixelMixer& mixer,
                    KXVOffPixelMask* mask, const BYTE* pattern) {
  const int bits = dst.GetBitCount();
  KXVOffscreen* const source = mixer.GetSrcOffscreen();
  if (mixer.GetDstOffscreen() != &dst || source == &dst || !mixer.GetNode() || x1 > x2)
    return false;
  const int depth = mixer.GetDepth();
  const bool isBound = depth <= 8    ? bits <= 8
                       : depth <= 24 ? bits == 16 || bits == 24
                                     : depth == bits;
  if (depth == 0 || !isBound) return false;
  const KXVOffPixelMask::MaskInfo* masks[4];
  int maskCount = 0;
  for (int i = 0; mask && i < 4 && mask->GetMaskInfo(i)->offscreen; ++i) {
    const KXVOffPixelMask::MaskInfo* info = mask->GetMaskInfo(i);
    if (info->offscreen == &dst || info->offscreen == source) return false;
    masks[maskCount++] = info;
  }
  Chain chain;
  if (!chain.Find(mixer.GetNode(), bits)) return false;

  const int y = dst.GetCursorPosY();
  const WORD weight = bits == 64 ? mixer.GetAlpha64() : mixer.GetAlpha();
  const i64 length = static_cast<i64>(x2) - x1 + 1;
  Incoming incoming(FormOf(bits), mixer, length);
  dst.MoveCursorX(x1);
  // Outside the image there is nothing to draw on; inside, run by run, a run being the part of the
  // row in one block of the destination and in one of the source.
  const bool isInside = y >= 0 && y < dst.GetHeight();
  const int end = isInside ? static_cast<int>(std::min<i64>(i64{x2} + 1, dst.GetWidth())) : 0;
  for (int x = std::max(x1, 0), n = 0; x < end; x += n) {
    n = std::min(end - x, kBlock - (x & kMask));
    const BYTE* colors = incoming.Get(static_cast<i64>(x) - x1, n);
    dst.MoveCursor(x, y);
    if (!dst.GetBaseAddress()) continue;
    BYTE* row = dst.GetBaseAddress() + (y & kMask) * dst.GetBlockRowBytes();
    if (!pattern && maskCount == 0) {
      chain.Lay(row, x, y, colors, n, weight);
      continue;
    }
    Skips skips;
    for (int i = 0; i < n; ++i) {
      skips[static_cast<std::size_t>(i)] = pattern && !pattern[(x + i) & 3];
    }
    for (int i = 0; i < maskCount; ++i) AddHeld(*mask, *masks[i], dst, x, n, skips);
    // The whole run is mixed aside, and the pixels that may be drawn are taken from there.
    RunBuffer aside;
    const int first = (x & kMask) * bits / 8, last = (((x & kMask) + n) * bits + 7) / 8;
    std::memcpy(aside.bytes.data() + first, row + first, static_cast<std::size_t>(last - first));
    chain.Lay(aside.bytes.data(), x, y, colors, n, weight);
    Merge(row, bits, x & kMask, aside.bytes.data(), n, skips);
  }
  incoming.Finish(length);
  dst.MoveCursorBehindRow(x2);
  return true;
}

void MixRowPlain(KXVOffscreen& dst, int x1, int x2, KXVOffPixelMixer& mixer, KXVOffPixelMask* mask,
                 const BYTE* pattern) {
  dst.MoveCursorX(x1);
  for (i64 x = x1; x <= x2; ++x) {
    const bool isDrawn =
        (!pattern || pattern[x & 3]) && (!mask || mask->IsMaskFreeX(&dst, dst.GetCursorPosX()));
    if (isDrawn) {
      if (mixer.GetSrcOffscreen()) {
        mixer.DoSrc();
      } else {
        mixer.Do();
      }
    }
    // Skipped pixels are stepped over too: a pattern never shifts the image.
    if (x < x2) {
      dst.NextCursorX();
    } else {
      dst.MoveCursorBehindRow(x2);
    }
    mixer.NextSrcCursorX();
  }
}

}  // namespace kxw
