#include <algorithm>
#include <cstring>
#include <memory>

#include "kxwcmn/compositing/complexcolor.h"
#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/compositing/mixkernels_internal.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/platform/vectorize_internal.h"

namespace {

constexpr int kSize = KXVOffscreen::kBlockSize;
constexpr int kMostBytes = 8;  // of a pixel as kernels take it

/// Stores a colour as kernels take it.
void PutColor(kxw::RunForm form, const KXComplexColor& color, BYTE* at) {
  switch (form) {
    case kxw::RunForm::kValue8:
      *at = color.value8;
      break;
    case kxw::RunForm::kColor32:
      std::memcpy(at, &color.color32, sizeof color.color32);
      break;
    case kxw::RunForm::kWord32:
      kxw::Depth32::Store(at, 0, color.color32);
      break;
    case kxw::RunForm::kWord64:
      kxw::Depth64::Store(at, 0, color.color64);
      break;
  }
}

/// A row of a source below 16 bits, as a mask for one colour.
class MaskRow {
 public:
  MaskRow(int bits, kxw::RunForm form, u64 color)
      : bits_(bits), form_(form), color_(color), read_(kxw::FindCopyRow(8, bits)) {
    for (int m = 0; m < 256; ++m) PutColor(form, ColorOf(static_cast<BYTE>(m)), table_[m]);
  }

  /// Takes a stretch of a row in; `isLaid` gets 1 for each pixel that is laid, and 0 for others.
  void Read(const BYTE* row, int column, int count, BYTE* isLaid) {
    read_(densities_, 0, row, column, count);
    for (int i = 0; i < count; ++i) isLaid[i] = densities_[i] != 0;
  }
  KXComplexColor ColorAt(int i) const { return ColorOf(densities_[i]); }
  const BYTE* Colors(int count) {
    // The surplus bytes of each colour are written over by the next.
    BYTE* at = colors_;
    for (int i = 0; i < count; ++i, at += BytesOf(form_)) {
      std::memcpy(at, table_[densities_[i]], kMostBytes);
    }
    return colors_;
  }

 private:
  KXComplexColor ColorOf(BYTE density) const {
    // A product of 32 bits at most, so that the division truncates the whole of it.
    const DWORD alpha = density * static_cast<DWORD>(kxw::Alpha64(color_)) * 257 / 65535;
    return KXComplexColor(bits_, (color_ & 0x0000FFFFFFFFFFFF) | static_cast<u64>(alpha) << 48);
  }

  int bits_;
  kxw::RunForm form_;
  u64 color_;
  kxw::RowFunc read_;
  BYTE densities_[kSize];
  BYTE table_[256][kMostBytes] = {};  // the colours of all densities
  alignas(8) BYTE colors_[(kSize + 1) * kMostBytes];
};

/// Tells of words of 32 bits which ones have an alpha and are not of a colour.
void FindLaid(const BYTE* words, int count, DWORD ignored, BYTE* isLaid) {
  const kxw::RowReader<kxw::Depth32> pixels(words, 0, count);
  for (int i = 0; i < count; ++i) {
    const DWORD color = pixels[i];
    isLaid[i] = (color >> 24 != 0) & ((color & 0x00FFFFFF) != ignored);
  }
}

/// A row of any other source, whose pixels are laid themselves.
class ColorRow {
 public:
  ColorRow(int bits, kxw::RunForm form, int ignoreWhite)
      : bits_(bits),
        form_(form),
        ignored_(ignoreWhite ? 0x00FFFFFF : kNone),
        read_(kxw::FindCopyRow(32, bits)),
        widen_(kxw::FindCopyRow(64, 32)) {}

  void Read(const BYTE* row, int column, int count, BYTE* isLaid) {
    words_ = row + kxw::ByteOfColumn<kxw::Depth32>(column);
    if (bits_ != 32) {
      read_(converted_, 0, row, column, count);
      words_ = converted_;
    }
    kxw::InVectors<FindLaid>(words_, count, ignored_, isLaid);
  }
  KXComplexColor ColorAt(int i) const {
    return KXComplexColor(bits_, kxw::Depth32::Load(words_ + 4 * i, 0));
  }
  const BYTE* Colors(int count) {
    switch (form_) {
      case kxw::RunForm::kWord32:
        return words_;
      case kxw::RunForm::kWord64:
        widen_(colors_, 0, words_, 0, count);
        break;
      case kxw::RunForm::kValue8:
      case kxw::RunForm::kColor32:
        for (int i = 0; i < count; ++i) {
          PutColor(form_, ColorAt(i), colors_ + i * BytesOf(form_));
        }
        break;
    }
    return colors_;
  }

 private:
  static constexpr DWORD kNone = 0xFFFFFFFF;  // no colour without its alpha

  int bits_;
  kxw::RunForm form_;
  DWORD ignored_;
  kxw::RowFunc read_, widen_;
  const BYTE* words_ = nullptr;  // as a 32-bit image has them
  alignas(8) BYTE converted_[kSize * 4];
  alignas(8) BYTE colors_[kSize * kMostBytes];
};

/// A source on its way through a mixer. Each pixel goes to the mixer itself, unless its rule has a
/// kernel: then runs of pixels go there.
///
/// A mixer of the application's may move the source's cursor to look around, and with it the block
/// that was read goes out of reach: before it, each pixel is taken anew.
template <class Row>
class Laying {
 public:
  Laying(KXVOffscreen& dst, const kxw::CopyArea& area, KXVOffPixelMixer& mixer, Row& row)
      : dst_(dst), area_(area), mixer_(mixer), row_(row) {
    const int bits = dst.GetBitCount();
    if (mixer.GetNode() && mixer.GetDepth() == bits) {
      kernel_ = kxw::FindMixKernel(mixer.GetNode(), bits);
    }
    weight_.all = bits == 64 ? mixer.GetAlpha64() : mixer.GetAlpha();
  }

  void Run(KXVOffscreen& src, int clearMode) {
    DWORD clearColor;
    dst_.GetClearColor(&clearColor);
    KXVOffscreenAutoLock dstLock(&dst_, 1), srcLock(&src, 0);
    const auto clear = [&](const KXRect& part) {
      if (clearMode != 1) return;
      // An empty part clears what lies at its own coordinates here, not at those that the copy
      // leads to; this is meant.
      kxw::FillArea(dst_, part & dst_.GetRect(), KXVOffscreen::QMCOLORREF32to64(clearColor));
    };
    kxw::ForEachSource(
        src, area_.source,
        [&](const KXRect& part, const BYTE* base) {
          if (kernel_) {
            LayPart(part, base, src.GetBlockRowBytes());
          } else {
            DoPart(part, src);
          }
        },
        clear);
  }

 private:
  void DoPart(const KXRect& part, KXVOffscreen& src) {
    const int rowBytes = src.GetBlockRowBytes();
    for (int y = part.top; y < part.bottom; ++y) {
      for (int x = part.left; x < part.right; ++x) {
        const BYTE* const base = kxw::EnterForRead(src, x, y);
        BYTE isLaid = 0;
        if (base) {
          row_.Read(kxw::RowOf(base, y, rowBytes), x & KXVOffscreen::kBlockMask, 1, &isLaid);
        }
        // Only where something is laid is a block made.
        if (!isLaid) continue;
        const KXComplexColor color = row_.ColorAt(0);
        dst_.MoveCursor(x + area_.dx, y + area_.dy);
        mixer_.Do(color);
      }
    }
  }

  void LayPart(const KXRect& part, const BYTE* base, int rowBytes) {
    // Cut where the destination's blocks are.
    const int seam = part.left + kSize - ((part.left + area_.dx) & KXVOffscreen::kBlockMask);
    const int middle = std::min<int>(part.right, seam);
    for (int y = part.top; y < part.bottom; ++y) {
      const BYTE* from = kxw::RowOf(base, y, rowBytes);
      LayRow(from, part.left, y, middle - part.left);
      if (middle < part.right) LayRow(from, middle, y, part.right - middle);
    }
  }

  void LayRow(const BYTE* from, int x, int y, int count) {
    BYTE isLaid[kSize];
    row_.Read(from, x & KXVOffscreen::kBlockMask, count, isLaid);
    const BYTE* colors = nullptr;
    for (int i = 0, end; i < count; i = end) {
      const void* other =
          std::memchr(isLaid + i, 1 - isLaid[i], static_cast<std::size_t>(count - i));
      end = other ? static_cast<int>(static_cast<const BYTE*>(other) - isLaid) : count;
      if (!isLaid[i]) continue;
      if (!colors) colors = row_.Colors(count);
      BYTE* base = kxw::EnterForWrite(dst_, x + area_.dx, y + area_.dy);
      kernel_(kxw::RowOf(base, y + area_.dy, dst_.GetBlockRowBytes()),
              (x + i + area_.dx) & KXVOffscreen::kBlockMask,
              colors + i * BytesOf(kxw::FormOf(dst_.GetBitCount())), end - i, weight_);
    }
  }

  KXVOffscreen& dst_;
  const kxw::CopyArea& area_;
  KXVOffPixelMixer& mixer_;
  Row& row_;
  kxw::MixKernel kernel_ = nullptr;
  kxw::RunWeight weight_{};
};

}  // namespace

void KXVOffscreen::CommonCopy3(int dstX, int dstY, int width, int height, KXVOffscreen* src,
                               int srcX, int srcY, KXVOffPixelMixer* mixer, u64 color,
                               int clearMode, int ignoreWhite) {
  if (!src) return;
  if (!mixer || mixer->GetDstOffscreen() != this) kxThrowError(kxw::kFailureBadArgument);
  kxw::CopyArea area;
  if (!kxw::NarrowCopyArea(*this, dstX, dstY, width, height, *src, srcX, srcY, area)) return;
  std::unique_ptr<KXVOffscreen> snapshot;
  if (src == this) snapshot = kxw::MakeSnapshot(*this, area.source);
  KXVOffscreen& from = snapshot ? *snapshot : *src;
  const kxw::RunForm form = kxw::FormOf(bitCount_);
  if (from.bitCount_ <= 8) {
    MaskRow row(from.bitCount_, form, color);
    Laying(*this, area, *mixer, row).Run(from, clearMode);
  } else {
    ColorRow row(from.bitCount_, form, ignoreWhite);
    Laying(*this, area, *mixer, row).Run(from, clearMode);
  }
}
