#include <algorithm>
#include <array>
#include <cstring>
#include <typeinfo>

#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/compositing/mixkernels_internal.h"
#include "kxwcmn/compositing/mixrow_internal.h"
#include "kxwcmn/compositing/mixrules_internal.h"
#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/blockgetter.h"
#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/offscreen/detail/fillrun.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/vectorize_internal.h"

namespace kxw {
namespace {

constexpr int kBlock = KXVOffscreen::kBlockSize;
constexpr int kMask = KXVOffscreen::kBlockMask;

/// A buffer of one run, in any form.
struct alignas(8) RunBuffer {
  std::array<BYTE, kBlock * 8> bytes;
};

/// Where the incoming colours come from: the mixer's own colour, or its source.
class Incoming {
 public:
  Incoming(RunForm form, const KXVOffPixelMixer& mixer)
      : form_(form), source_(mixer.GetSrcOffscreen()) {
    if (!source_) {
      mixer.GetColor(color_);
      return;
    }
    color_ = KXComplexColor::cErase;  // what a source without memory stands for
    const int bits = source_->GetBitCount();
    // Pixels that are in the right form already are used where they stand.
    isDirect_ = (form == RunForm::kWord32 && bits == 32) ||
                (form == RunForm::kWord64 && bits == 64) || (form == RunForm::kValue8 && bits == 8);
    // The others' colours count in their 64-bit form, which is that of 32 bits widened.
    read_ = FindCopyRow(form == RunForm::kWord64 ? 64 : 32, bits);
  }

  KXVOffscreen* Source() const { return source_; }

  /// Enters the part of the source from (x, y): of up to `width` by `height` pixels, those that are
  /// of one kind, in one block or outside the image. Both become what is left.
  void Enter(i64 x, i64 y, int& width, int& height) {
    base_ = nullptr;
    if (!source_) return;
    const bool isInsideX = CutAtEdge(x, source_->GetWidth(), width);
    const bool isInsideY = CutAtEdge(y, source_->GetHeight(), height);
    if (!isInsideX || !isInsideY) return;
    source_->MoveCursor(static_cast<int>(x), static_cast<int>(y));
    CheckBroughtIn(*source_);
    base_ = source_->GetBaseAddress();
    column_ = static_cast<int>(x) & kMask;
    row_ = static_cast<int>(y) & kMask;
  }

  /// Whether the rows of the part stand in memory as they are handed out, one behind the other.
  bool HasWholeRows() const { return base_ && isDirect_ && column_ == 0; }

  /// The colours of `count` pixels of row `row` of the part.
  const BYTE* Row(int row, int count) {
    if (!base_) return Constant(count);
    const BYTE* at = base_ + (row_ + row) * source_->GetBlockRowBytes();
    if (isDirect_) return at + column_ * BytesOf(form_);
    read_(converted_.bytes.data(), 0, at, column_, count);
    if (form_ == RunForm::kValue8 || form_ == RunForm::kColor32) FromWords(count);
    return converted_.bytes.data();
  }

 private:
  /// Makes the forms of narrower destinations of converted words: 8 bits are given the alpha.
  void FromWords(int count) {
    DWORD words[kBlock];
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof words[0];
    std::memcpy(words, converted_.bytes.data(), bytes);
    if (form_ == RunForm::kValue8) {
      BYTE* const values = converted_.bytes.data();
      for (int i = 0; i < count; ++i) values[i] = static_cast<BYTE>(words[i] >> 24);
      return;
    }
    for (int i = 0; i < count; ++i) words[i] = Depth32::SwapRedBlue(words[i]);
    std::memcpy(converted_.bytes.data(), words, bytes);
  }

  /// Cuts a length at the next seam or edge of the source; false outside the source.
  static bool CutAtEdge(i64 position, int size, int& length) {
    if (position >= size) return false;
    if (position < 0) {
      length = static_cast<int>(std::min<i64>(length, -position));
      return false;
    }
    const int at = static_cast<int>(position);
    length = std::min({length, kBlock - (at & kMask), size - at});
    return true;
  }

  const BYTE* Constant(int count) {
    BYTE* const at = constant_.bytes.data();
    if (filled_ >= count) return at;
    filled_ = count;
    switch (form_) {
      case RunForm::kValue8:
        FillRun<Depth8>(at, 0, count, color_.value8);
        break;
      case RunForm::kColor32:  // as it stands, without the swap of the depth
        FillRun<Depth32>(at, 0, count, Depth32::SwapRedBlue(color_.color32));
        break;
      case RunForm::kWord32:
        FillRun<Depth32>(at, 0, count, color_.color32);
        break;
      case RunForm::kWord64:
        FillRun<Depth64>(at, 0, count, color_.color64);
        break;
    }
    return at;
  }

  RunForm form_;
  KXVOffscreen* source_;
  KXComplexColor color_;
  bool isDirect_ = false;
  RowFunc read_ = nullptr;
  const BYTE* base_ = nullptr;
  int column_ = 0, row_ = 0;
  int filled_ = 0;  // pixels of `constant_` that hold the colour
  RunBuffer constant_, converted_;
};

/// Which pixels of a run are left alone: a byte a pixel, 1 to skip and 0 to draw.
using Skips = std::array<BYTE, kBlock>;

/// Adds the pixels that a mask of these words, as 32 bits have them in memory, holds back:
/// KXVOffPixelMask::IsMaskCompare for a run.
void AddCompared(const KXVOffPixelMask::MaskInfo& info, const DWORD* colors, int count,
                 BYTE* skips) {
  const DWORD color = Depth32::SwapRedBlue(info.color), alpha = color >> 24;
  const bool isClear = alpha == 0;
  const bool isWhite = info.whiteEqual && (color & 0x00FFFFFF) == 0x00FFFFFF;
  const auto isSame = [=](DWORD c) {
    const bool same =
        (c == color) | (isClear & (c >> 24 == 0)) | (isWhite & ((c & 0x00FFFFFF) == 0x00FFFFFF));
    return BYTE{same};
  };
  switch (info.mode) {
    case 0:
      for (int i = 0; i < count; ++i) skips[i] |= isSame(colors[i]);
      break;
    case 1:
      for (int i = 0; i < count; ++i) skips[i] |= BYTE{isSame(colors[i]) == 0};
      break;
    case 2:
      for (int i = 0; i < count; ++i) skips[i] |= colors[i] >> 24 == alpha;
      break;
    case 3:
      for (int i = 0; i < count; ++i) skips[i] |= colors[i] >> 24 != alpha;
      break;
    default:
      break;
  }
}

/// Adds what one mask holds back of `count` pixels from `x`, by row `y` of the mask.
void AddHeld(const KXVOffPixelMask::MaskInfo& info, const KXVOffscreen& dst, int x, int count,
             int y, Skips& skips) {
  KXVOffscreen& image = *info.offscreen;
  const RowFunc read = FindCopyRow(32, image.GetBitCount());
  const auto positionOf = [&](int at) {
    return dst.ConvertPointX(&image, IntGeometry::Sub(at, info.offset.x));
  };
  const i64 first = positionOf(x);
  // At equal resolutions neighbours are neighbours on the mask; otherwise each finds its own place.
  const bool isRun = positionOf(x + count - 1) - first == count - 1;
  std::array<DWORD, kBlock> colors;
  for (int i = 0, n; i < count; i += n) {
    const i64 mx = isRun ? first + i : positionOf(x + i);
    n = isRun ? count - i : 1;
    const BYTE* base = nullptr;
    if (mx < 0) {
      n = static_cast<int>(std::min<i64>(n, -mx));
    } else if (mx < image.GetWidth() && y >= 0 && y < image.GetHeight()) {
      const int at = static_cast<int>(mx);
      n = std::min({n, kBlock - (at & kMask), image.GetWidth() - at});
      image.MoveCursor(at, y);
      CheckBroughtIn(image);
      base = image.GetBaseAddress();
    }
    if (base && read) {
      read(reinterpret_cast<BYTE*>(colors.data()), 0, base + (y & kMask) * image.GetBlockRowBytes(),
           static_cast<int>(mx) & kMask, n);
    } else {
      std::fill_n(colors.begin(), n, 0u);  // what a mask without memory reads as
    }
    AddCompared(info, colors.data(), n, skips.data() + i);
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
    head_ = last_ = head;
    kernel_ = FindMixKernel(head, bits);
    if (kernel_) return true;
    const KXPixelMixer* node = head;
    for (int length = 0; node && typeid(*node) == typeid(KXPixelMixerGaussian); ++length) {
      if (length == kLongestChain) kxThrowError(kFailureBadArgument);
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

  /// Whether every pixel is laid alike, wherever it is.
  bool MindsNoPlace() const { return !isGaussian_ && !isGradation_; }

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

/// Puts the pixels that are not skipped from `mixed` into the row.
template <class Word>
void MergeWords(BYTE* row, const BYTE* mixed, int column, int count, const Skips& skips) {
  using Aliased KX_MAY_ALIAS = Word;
  auto* __restrict to = reinterpret_cast<Aliased*>(row) + column;
  const auto* __restrict from = reinterpret_cast<const Aliased*>(mixed) + column;
  for (int i = 0; i < count; ++i) {
    const Word keep = static_cast<Word>(-static_cast<Word>(skips[static_cast<std::size_t>(i)]));
    to[i] = static_cast<Word>((to[i] & keep) | (from[i] & ~keep));
  }
}

void Merge(BYTE* row, int bits, int column, const BYTE* mixed, int count, const Skips& skips) {
  switch (bits) {
    case 8:
      return MergeWords<BYTE>(row, mixed, column, count, skips);
    case 16:
      return MergeWords<WORD>(row, mixed, column, count, skips);
    case 32:
      return MergeWords<DWORD>(row, mixed, column, count, skips);
    case 64:
      return MergeWords<u64>(row, mixed, column, count, skips);
    default:
      break;
  }
  for (int i = 0; i < count; ++i) {
    if (skips[static_cast<std::size_t>(i)]) continue;
    const int at = (column + i) * bits / 8;
    if (bits == 24) {
      std::memcpy(row + at, mixed + at, 3);
      continue;
    }
    const int left = (column + i) * bits % 8;  // bits from the high end of the byte
    const int mask = ((0xFF00 >> bits) & 0xFF) >> left;
    row[at] = static_cast<BYTE>((row[at] & ~mask) | (mixed[at] & mask));
  }
}

/// The masks that count for one operation.
class Masks {
 public:
  Masks(KXVOffPixelMask* mask, bool isRow) : mask_(mask), isRow_(isRow) {
    for (; mask && count_ < kMost && mask->GetMaskInfo(count_)->offscreen; ++count_) {
      infos_[count_] = mask->GetMaskInfo(count_);
      if (isRow) rows_[count_] = infos_[count_]->offscreen->GetCursorPosY();
    }
  }

  bool IsAny() const { return count_ > 0; }
  /// Whether an image stands in any entry: those that do not count move with the row, too.
  bool Has(const KXVOffscreen* image) const {
    for (int i = 0; mask_ && i < kMost; ++i) {
      if (mask_->GetMaskInfo(i)->offscreen == image) return true;
    }
    return false;
  }

  void AddTo(Skips& skips, const KXVOffscreen& dst, int x, int y, int count) const {
    for (int i = 0; i < count_; ++i) {
      AddHeld(*infos_[i], dst, x, count, isRow_ ? rows_[i] : RowOf(i, dst, y), skips);
    }
  }

 private:
  static constexpr int kMost = 4;

  /// The row of a mask that lies under row `y`. An image that stands in several entries has one
  /// cursor, which the last of them has set.
  int RowOf(int index, const KXVOffscreen& dst, int y) const {
    const KXVOffPixelMask::MaskInfo* last = infos_[index];
    for (int i = index + 1; i < kMost; ++i) {
      const KXVOffPixelMask::MaskInfo* info = mask_->GetMaskInfo(i);
      if (info->offscreen == last->offscreen) last = info;
    }
    return dst.ConvertPointY(last->offscreen, IntGeometry::Sub(y, last->offset.y));
  }

  KXVOffPixelMask* mask_;
  const KXVOffPixelMask::MaskInfo* infos_[kMost] = {};
  int rows_[kMost] = {};
  int count_ = 0;
  bool isRow_;
};

/// Lays a chain on areas of the destination, block by block.
class AreaMixer {
 public:
  AreaMixer(KXVOffscreen& dst, const Chain& chain, Incoming& incoming, const Masks& masks,
            const MixArea& area, WORD weight)
      : dst_(dst),
        chain_(chain),
        incoming_(incoming),
        masks_(masks),
        area_(area),
        weight_(weight) {}

  /// Lays `part`, which lies in one block, piece by piece of the source.
  void LayPart(const KXRect& part) {
    for (int y = part.top, height = 0; y < part.bottom; y += height) {
      for (int x = part.left, width = 0; x < part.right; x += width) {
        width = part.right - x;
        height = part.bottom - y;
        incoming_.Enter(area_.sourceX + (x - area_.left), area_.sourceY + (y - area_.top), width,
                        height);
        LayPiece(x, y, width, height);
      }
    }
  }

 private:
  void LayPiece(int x, int y, int width, int height) {
    dst_.MoveCursor(x, y);
    CheckBroughtIn(dst_);
    BYTE* row = dst_.GetBaseAddress();
    if (!row) return;
    row += (y & kMask) * dst_.GetBlockRowBytes();
    // Whole rows of both blocks follow one another in memory: they are one run.
    if (width == kBlock && !area_.pattern && !masks_.IsAny() && chain_.MindsNoPlace() &&
        incoming_.HasWholeRows()) {
      chain_.Lay(row, x, y, incoming_.Row(0, width), width * height, weight_);
      return;
    }
    for (int i = 0; i < height; ++i, row += dst_.GetBlockRowBytes()) {
      LayRow(row, x, y + i, incoming_.Row(i, width), width);
    }
  }

  void LayRow(BYTE* row, int x, int y, const BYTE* colors, int count) {
    if (!area_.pattern && !masks_.IsAny()) {
      // The row below comes next, also where an operation goes row by row.
      const int bits = dst_.GetBitCount();
      const BYTE* below = row + dst_.GetBlockRowBytes() + (x & kMask) * bits / 8;
      for (int at = 0; at < count * bits / 8; at += 64) KXW_PREFETCH(below + at);
      chain_.Lay(row, x, y, colors, count, weight_);
      return;
    }
    Skips skips;
    skips.fill(0);
    if (area_.pattern) {
      const BYTE* pattern = area_.pattern + (area_.isRow ? 0 : (y & 3) * 4);
      BYTE four[4];
      for (int i = 0; i < 4; ++i) four[i] = pattern[(x + i) & 3] == 0;
      for (int i = 0; i < count; i += 4) std::memcpy(skips.data() + i, four, sizeof four);
    }
    masks_.AddTo(skips, dst_, x, y, count);
    // Most rows of a cel are held back whole, or not at all.
    const auto skipped = std::count(skips.begin(), skips.begin() + count, BYTE{1});
    if (skipped == count) return;
    if (skipped == 0) {
      chain_.Lay(row, x, y, colors, count, weight_);
      return;
    }
    // The whole run is mixed aside, and the pixels that may be drawn are taken from there.
    const int bits = dst_.GetBitCount(), column = x & kMask;
    const int first = column * bits / 8, last = ((column + count) * bits + 7) / 8;
    std::memcpy(aside_.bytes.data() + first, row + first, static_cast<std::size_t>(last - first));
    chain_.Lay(aside_.bytes.data(), x, y, colors, count, weight_);
    Merge(row, bits, column, aside_.bytes.data(), count, skips);
  }

  KXVOffscreen& dst_;
  const Chain& chain_;
  Incoming& incoming_;
  const Masks& masks_;
  const MixArea& area_;
  WORD weight_;
  RunBuffer aside_;
};

}  // namespace

void CheckBroughtIn(const KXVOffscreen& image) {
  if (!image.GetCurrentAddress() && image.GetLockCount() > 0 &&
      image.GetBlockExist(image.GetCursorPosX(), image.GetCursorPosY())) {
    kxThrowError(kErrorNotEnoughMemory);
  }
}

bool MixByKernel(KXVOffscreen& dst, KXVOffPixelMixer& mixer, KXVOffPixelMask* mask,
                 const MixArea& area) {
  const int bits = dst.GetBitCount(), depth = mixer.GetDepth();
  KXVOffscreen* const source = mixer.GetSrcOffscreen();
  if (mixer.GetDstOffscreen() != &dst || source == &dst || !mixer.GetNode() || depth == 0) {
    return false;
  }
  const bool isBound = depth <= 8    ? bits <= 8
                       : depth <= 24 ? bits == 16 || bits == 24
                                     : depth == bits;
  if (!isBound || area.left >= area.right || area.top >= area.bottom) return false;
  const Masks masks(mask, area.isRow);
  if (masks.Has(&dst) || (source && masks.Has(source))) return false;
  Chain chain;
  if (!chain.Find(mixer.GetNode(), bits)) return false;

  // Outside the image there is nothing to draw on.
  Incoming incoming(FormOf(bits), mixer);
  AreaMixer areaMixer(dst, chain, incoming, masks, area,
                      bits == 64 ? mixer.GetAlpha64() : mixer.GetAlpha());
  const auto within = [](i64 value, int size) {
    return static_cast<int>(std::clamp<i64>(value, 0, size));
  };
  const KXRect inside(within(area.left, dst.GetWidth()), within(area.top, dst.GetHeight()),
                      within(area.right, dst.GetWidth()), within(area.bottom, dst.GetHeight()));
  KXBlockGetter blocks(&dst, inside, 1);
  for (KXRect part; blocks.GetNextBlock(part);) areaMixer.LayPart(part);

  const auto wrap = [](i64 value) { return static_cast<int>(static_cast<DWORD>(value)); };
  if (source) {
    source->MoveCursor(wrap(area.sourceX + (area.right - area.left)),
                       wrap(area.sourceY + (area.bottom - 1 - area.top)));
  }
  // With nothing inside, the cursor keeps its row: a move there might make a block.
  if (!inside.IsRectEmpty()) dst.MoveCursorY(wrap(area.bottom - 1));
  dst.MoveCursorBehindRow(wrap(area.right - 1));
  return true;
}

bool MixRowByKernel(KXVOffscreen& dst, int x1, int x2, KXVOffPixelMixer& mixer,
                    KXVOffPixelMask* mask, const BYTE* pattern) {
  const int y = dst.GetCursorPosY();
  tagPOINT from = {};
  if (KXVOffscreen* source = mixer.GetSrcOffscreen()) {
    from = {source->GetCursorPosX(), source->GetCursorPosY()};
  }
  return MixByKernel(dst, mixer, mask,
                     {x1, y, i64{x2} + 1, i64{y} + 1, from.x, from.y, pattern, true});
}

void MixRowPlain(KXVOffscreen& dst, int x1, int x2, KXVOffPixelMixer& mixer, KXVOffPixelMask* mask,
                 const BYTE* pattern) {
  if (x1 > x2) {
    dst.MoveCursorX(x1);
    return;
  }
  KXVOffscreen* const source = mixer.GetSrcOffscreen();
  // The one cursor of an image that is its own source is stepped twice a pixel.
  const i64 stride = source == &dst ? 2 : 1;
  const auto passInSource = [&](i64 count) {
    if (source && stride == 1) source->OffsetCursorX(static_cast<int>(static_cast<DWORD>(count)));
  };
  // Pixel i of the row, of which those that lie outside the image are passed at once.
  const i64 count = i64{x2} - x1 + 1;
  const auto reach = [&](i64 x) {
    return std::clamp<i64>((x - x1 + stride - 1) / stride, 0, count);
  };
  const int y = dst.GetCursorPosY();
  const i64 first = y >= 0 && y < dst.GetHeight() ? reach(0) : count;
  const i64 end = std::max(first, reach(dst.GetWidth()));
  passInSource(first);
  if (first < end) dst.MoveCursorX(static_cast<int>(x1 + first * stride));
  for (i64 i = first; i < end; ++i) {
    const bool isDrawn = (!pattern || pattern[(x1 + i) & 3]) &&
                         (!mask || mask->IsMaskFreeX(&dst, dst.GetCursorPosX()));
    if (isDrawn) {
      CheckBroughtIn(dst);
      if (source) {
        mixer.DoSrc();
      } else {
        mixer.Do();
      }
    }
    // Skipped pixels are stepped over too: a pattern never shifts the image.
    if (i + 1 < end) {
      dst.NextCursorX();
      mixer.NextSrcCursorX();
    }
  }
  dst.MoveCursorBehindRow(x2);
  if (first < end || stride == 2) mixer.NextSrcCursorX();
  passInSource(count - end);
}

}  // namespace kxw
