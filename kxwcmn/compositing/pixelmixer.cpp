#include "kxwcmn/compositing/pixelmixer.h"

#include <cmath>
#include <new>
#include <utility>

#include "kxwcmn/compositing/mixrules_internal.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/number.h"

namespace {

// Lays a rule on the pixel under the cursor. The reads tolerate a pixel without memory, where the
// writes do nothing.

template <class Rule>
void Mix8(KXVOffscreen* offscreen, BYTE value) {
  if (!offscreen) return;
  BYTE pixel = offscreen->Get8BitColor();
  if (Rule::Mix8(pixel, value)) offscreen->Set8BitColor(pixel);
}

template <class Rule>
void Mix32(KXVOffscreen* offscreen, DWORD color, BYTE weight) {
  if (!offscreen) return;
  QMCOLORREF pixel = offscreen->Get32BitColor();
  if (Rule::Mix32(pixel, color, weight)) offscreen->Set32BitColor(pixel);
}

template <class Rule>
void Mix64(KXVOffscreen* offscreen, u64 color, WORD weight) {
  if (!offscreen) return;
  u64 pixel = offscreen->Get64BitColor();
  if (Rule::Mix64(pixel, color, weight)) offscreen->Set64BitColor(pixel);
}

template <class Rule>
void Mask8(KXVOffscreen* offscreen, DWORD color, BYTE weight) {
  if (!offscreen) return;
  DWORD mask = offscreen->Get8BitMask();
  if (Rule::Mask8(mask, color, weight)) offscreen->Set8BitMask(static_cast<BYTE>(mask));
}

template <class Rule>
void Mask16(KXVOffscreen* offscreen, u64 color, WORD weight) {
  if (!offscreen) return;
  DWORD mask = static_cast<WORD>(offscreen->Get16BitMask());
  if (Rule::Mask16(mask, color, weight)) offscreen->Set16BitMask(static_cast<WORD>(mask));
}

/// A call on its way from one node of a chain to the next: they lie in one another, so that their
/// number tells a chain that leads into itself.
class ChainStep {
 public:
  ChainStep() {
    if (depth_ == kxw::kLongestChain) kxThrowError(kxw::kFailureBadArgument);
    ++depth_;
  }
  ~ChainStep() { --depth_; }
  ChainStep(const ChainStep&) = delete;
  ChainStep& operator=(const ChainStep&) = delete;

 private:
  static thread_local int depth_;
};
thread_local int ChainStep::depth_ = 0;

}  // namespace

// --- Replacing ----------------------------------------------------------------------------------

void KXPixelMixer::Do1Bit(KXVOffscreen* offscreen, BYTE value) {
  if (offscreen) offscreen->Set1BitColor(value);
}

void KXPixelMixer::Do2Bit(KXVOffscreen* offscreen, BYTE value) {
  if (offscreen) offscreen->Set2BitColor(value);
}

void KXPixelMixer::Do8Bit(KXVOffscreen* offscreen, BYTE value) {
  if (offscreen) offscreen->Set8BitColor(value);
}

void KXPixelMixer::Do24Bit(KXVOffscreen* offscreen, DWORD color) {
  if (offscreen) offscreen->Set24BitColor(color);
}

void KXPixelMixer::Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE) {
  if (offscreen) offscreen->Set32BitColor(color);
}

void KXPixelMixer::Do48Bit(KXVOffscreen* offscreen, u64 color, WORD) {
  if (offscreen) offscreen->Set48BitColor(color);
}

void KXPixelMixer::Do64Bit(KXVOffscreen* offscreen, u64 color, WORD) {
  if (offscreen) offscreen->Set64BitColor(color);
}

void KXPixelMixer::Do1BitNext(KXVOffscreen* offscreen, BYTE value) {
  const ChainStep step;
  next_ ? next_->Do1Bit(offscreen, value) : KXPixelMixer::Do1Bit(offscreen, value);
}

void KXPixelMixer::Do2BitNext(KXVOffscreen* offscreen, BYTE value) {
  const ChainStep step;
  next_ ? next_->Do2Bit(offscreen, value) : KXPixelMixer::Do2Bit(offscreen, value);
}

void KXPixelMixer::Do8BitNext(KXVOffscreen* offscreen, BYTE value) {
  const ChainStep step;
  next_ ? next_->Do8Bit(offscreen, value) : KXPixelMixer::Do8Bit(offscreen, value);
}

void KXPixelMixer::Do24BitNext(KXVOffscreen* offscreen, DWORD color) {
  const ChainStep step;
  next_ ? next_->Do24Bit(offscreen, color) : KXPixelMixer::Do24Bit(offscreen, color);
}

void KXPixelMixer::Do32BitNext(KXVOffscreen* offscreen, DWORD color, BYTE weight) {
  const ChainStep step;
  next_ ? next_->Do32Bit(offscreen, color, weight)
        : KXPixelMixer::Do32Bit(offscreen, color, weight);
}

void KXPixelMixer::Do48BitNext(KXVOffscreen* offscreen, u64 color, WORD weight) {
  const ChainStep step;
  next_ ? next_->Do48Bit(offscreen, color, weight)
        : KXPixelMixer::Do48Bit(offscreen, color, weight);
}

void KXPixelMixer::Do64BitNext(KXVOffscreen* offscreen, u64 color, WORD weight) {
  const ChainStep step;
  next_ ? next_->Do64Bit(offscreen, color, weight)
        : KXPixelMixer::Do64Bit(offscreen, color, weight);
}

// --- Mixers of a single rule --------------------------------------------------------------------

void KXPixelMixerBlend::Do8Bit(KXVOffscreen* offscreen, BYTE value) {
  Mix8<kxw::BlendRule>(offscreen, value);
}

void KXPixelMixerBlend::Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) {
  Mix32<kxw::BlendRule>(offscreen, color, weight);
}

void KXPixelMixerBlend::Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) {
  Mix64<kxw::BlendRule>(offscreen, color, weight);
}

void KXPixelMixerWeightCopy::Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) {
  Mix32<kxw::WeightCopyRule>(offscreen, color, weight);
}

void KXPixelMixerWeightCopy::Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) {
  Mix64<kxw::WeightCopyRule>(offscreen, color, weight);
}

void KXPixelMixerCompDark::Do8Bit(KXVOffscreen* offscreen, BYTE value) {
  Mix8<kxw::CompDarkRule>(offscreen, value);
}

void KXPixelMixerCompDark::Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) {
  Mix32<kxw::CompDarkRule>(offscreen, color, weight);
}

void KXPixelMixerCompDark::Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) {
  Mix64<kxw::CompDarkRule>(offscreen, color, weight);
}

void KXPixelMixerCompLight::Do8Bit(KXVOffscreen* offscreen, BYTE value) {
  Mix8<kxw::CompLightRule>(offscreen, value);
}

void KXPixelMixerCompLight::Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) {
  Mix32<kxw::CompLightRule>(offscreen, color, weight);
}

void KXPixelMixerCompLight::Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) {
  Mix64<kxw::CompLightRule>(offscreen, color, weight);
}

void KXPixelMixerAdd::Do8Bit(KXVOffscreen* offscreen, BYTE value) {
  Mix8<kxw::AddRule>(offscreen, value);
}

void KXPixelMixerAlphaCopy::Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) {
  Mask8<kxw::AlphaCopyRule>(offscreen, color, weight);
}

void KXPixelMixerAlphaCopy::Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) {
  Mask16<kxw::AlphaCopyRule>(offscreen, color, weight);
}

void KXPixelMixerAlphaBlend::Do8Bit(KXVOffscreen* offscreen, BYTE value) {
  Mix8<kxw::AlphaBlendRule>(offscreen, value);
}

void KXPixelMixerAlphaBlend::Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) {
  Mask8<kxw::AlphaBlendRule>(offscreen, color, weight);
}

void KXPixelMixerAlphaBlend::Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) {
  Mask16<kxw::AlphaBlendRule>(offscreen, color, weight);
}

void KXPixelMixerAlphaWeightCopy::Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) {
  Mask8<kxw::AlphaWeightCopyRule>(offscreen, color, weight);
}

void KXPixelMixerAlphaWeightCopy::Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) {
  Mask16<kxw::AlphaWeightCopyRule>(offscreen, color, weight);
}

// --- Gradation ----------------------------------------------------------------------------------

void KXPixelMixerGradation::SetMapInfo(tagPOINT center, int radius) {
  center_ = center;
  radius_ = radius > 0 ? radius : 0;
}

void KXPixelMixerGradation::RefColorTable(BYTE* table, int size) {
  colorTable_ = table;
  colorTableSize_ = table && size > 0 ? size : 0;
}

BYTE KXPixelMixerGradation::GetDensity(int x, int y, BYTE value) const {
  using G = kxw::IntGeometry;
  const LONG dx = G::Sub(x, center_.x), dy = G::Sub(y, center_.y);
  // The sum keeps 32 bits. One that has wrapped below zero has no root: it is far outside.
  const LONG squares = G::Add(G::Times(dx, dx), G::Times(dy, dy));
  double t = 1.0;
  if (squares == 0) {
    t = 0.0;  // also with a radius of 0
  } else if (squares > 0) {
    t = std::fmin(std::trunc(std::sqrt(static_cast<double>(squares))) / radius_, 1.0);
  }
  int index = qmDouble2Int(colorTableSize_ * t);
  if (index >= colorTableSize_) index = colorTableSize_ - 1;
  return static_cast<BYTE>(kxw::Div255(DWORD{colorTable_[index]} * value));
}

void KXPixelMixerGradation::Do8Bit(KXVOffscreen* offscreen, BYTE value) {
  if (!offscreen || colorTableSize_ == 0) return;
  const BYTE density = GetDensity(offscreen->GetCursorPosX(), offscreen->GetCursorPosY(), value);
  Mix8<kxw::CompDarkRule>(offscreen, density);
}

// --- Gaussian -----------------------------------------------------------------------------------

namespace {
// Keeps the products of a table index and a distance within 64 bits.
constexpr int kMaxSigma = 1 << 28;
}  // namespace

KXPixelMixerGaussian::~KXPixelMixerGaussian() = default;

void KXPixelMixerGaussian::CreateGaussTbl(int sigma) {
  if (gaussTable_ || sigma < 1) return;
  if (sigma > kMaxSigma) kxThrowError(kxw::kErrorNotEnoughMemory);
  const int top = 3 * sigma;
  try {
    std::shared_ptr<DWORD[]> table(new DWORD[static_cast<std::size_t>(top) + 1]);
    const long double divisor = -2.0L * sigma * sigma;
    for (int i = 0; i <= top; ++i) {
      const long double exponent = static_cast<long double>(i) * i / divisor;
      table[i] = static_cast<DWORD>(std::exp(exponent) * 4096.0L);
    }
    gaussTable_ = std::move(table);
  } catch (const std::bad_alloc&) {
    kxThrowError(kxw::kErrorNotEnoughMemory);
  }
  gaussTableTop_ = top;
}

void KXPixelMixerGaussian::DestroyGaussTbl() {
  gaussTable_.reset();
  gaussTableTop_ = 0;
}

void KXPixelMixerGaussian::SetMapInfo(tagPOINT center, int width, int height) {
  center_ = center;
  width_ = width > 1 ? width : 1;
  height_ = height > 1 ? height : 1;
  scale_ = static_cast<float>((width_ > height_ ? width_ : height_) * 0.0625);
  if (scale_ > 1.0f) scale_ = 1.0f;
}

DWORD KXPixelMixerGaussian::GetGaussValue(int x, int y, DWORD value) const {
  if (baseup_ == 0) return value;
  if (!gaussTable_ || width_ == 0) return 0;
  // Twice the distance, less one: the pixels left and right of the centre count as nearest to it.
  const auto indexOf = [this](i64 distance, int size) {
    const i64 twice = 2 * (distance < 0 ? -distance : distance);
    return gaussTableTop_ * (twice > 0 ? twice - 1 : 0) / size;
  };
  const i64 ix = indexOf(static_cast<i64>(x) - center_.x, width_);
  const i64 iy = indexOf(static_cast<i64>(y) - center_.y, height_);
  if (ix > gaussTableTop_ || iy > gaussTableTop_) return 0;
  const DWORD g = (gaussTable_[iy] * gaussTable_[ix] >> 12) * peak_;
  const DWORD h = static_cast<DWORD>(static_cast<float>(g) * scale_) >> 12;
  const DWORD scaled = h * value / baseup_;
  return scaled < value ? scaled : value;
}

void KXPixelMixerGaussian::Do8Bit(KXVOffscreen* offscreen, BYTE value) {
  if (!offscreen) return;
  const DWORD scaled = GetGaussValue(offscreen->GetCursorPosX(), offscreen->GetCursorPosY(), value);
  Do8BitNext(offscreen, static_cast<BYTE>(scaled));
}

void KXPixelMixerGaussian::Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) {
  if (!offscreen) return;
  const DWORD scaled =
      GetGaussValue(offscreen->GetCursorPosX(), offscreen->GetCursorPosY(), weight);
  Do32BitNext(offscreen, color, static_cast<BYTE>(scaled));
}

void KXPixelMixerGaussian::Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) {
  if (!offscreen) return;
  const DWORD scaled =
      GetGaussValue(offscreen->GetCursorPosX(), offscreen->GetCursorPosY(), weight);
  Do64BitNext(offscreen, color, static_cast<WORD>(scaled));
}
