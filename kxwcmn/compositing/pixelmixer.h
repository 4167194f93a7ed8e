#pragma once

#include <memory>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXVOffscreen;
namespace kxw {
class MixRowAccess;
}

// The interface has no virtual destructor at this level: mixers live on the stack of who draws, and
// nobody deletes one through its base.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// What happens to one destination pixel when a colour is laid on it. This class is the plain
/// replacing mixer; those below override some depths and replace at all others.
///
/// Each operation works on the pixel under the cursor of `offscreen`, which is not kept and needs a
/// write lock; where that pixel has no memory nothing happens. `weight` is the strength, 255 or
/// 65535 in full. A mixer of an application's own may move the cursors of images that it reads, and
/// has to put them back.
///
/// Mixers form a chain by `SetNext`; a node does not own its successor. Of the library's own mixers
/// only KXPixelMixerGaussian passes a call on: every other one ends the chain.
class KX_EXPORT KXPixelMixer {
 public:
  KXPixelMixer() = default;
  KXPixelMixer(const KXPixelMixer&) = default;
  KXPixelMixer& operator=(const KXPixelMixer&) = default;

  KXPixelMixer* GetNext() const { return next_; }
  void SetNext(KXPixelMixer* next) { next_ = next; }

  virtual void Do1Bit(KXVOffscreen* offscreen, BYTE value);
  virtual void Do2Bit(KXVOffscreen* offscreen, BYTE value);
  virtual void Do8Bit(KXVOffscreen* offscreen, BYTE value);
  virtual void Do24Bit(KXVOffscreen* offscreen, DWORD color);
  virtual void Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight);
  virtual void Do48Bit(KXVOffscreen* offscreen, u64 color, WORD weight);
  virtual void Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight);

 protected:
  // For mixers of applications: the operation of the next node, or plain replacing at the end.
  // They raise 0x20010008 in a chain that leads into itself.
  void Do1BitNext(KXVOffscreen* offscreen, BYTE value);
  void Do2BitNext(KXVOffscreen* offscreen, BYTE value);
  void Do8BitNext(KXVOffscreen* offscreen, BYTE value);
  void Do24BitNext(KXVOffscreen* offscreen, DWORD color);
  void Do32BitNext(KXVOffscreen* offscreen, DWORD color, BYTE weight);
  void Do48BitNext(KXVOffscreen* offscreen, u64 color, WORD weight);
  void Do64BitNext(KXVOffscreen* offscreen, u64 color, WORD weight);

 private:
  KXPixelMixer* next_ = nullptr;
};

/// Lays the colour over the pixel by the colour's alpha, mixing densities; the weight is ignored.
class KX_EXPORT KXPixelMixerBlend : public KXPixelMixer {
 public:
  void Do8Bit(KXVOffscreen* offscreen, BYTE value) override;
  void Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) override;
  void Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) override;
};

/// Moves all four channels toward the colour by the weight.
class KX_EXPORT KXPixelMixerWeightCopy : public KXPixelMixer {
 public:
  void Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) override;
  void Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) override;
};

/// Replaces a pixel of lower density, or lower alpha; the weight is ignored.
class KX_EXPORT KXPixelMixerCompDark : public KXPixelMixer {
 public:
  void Do8Bit(KXVOffscreen* offscreen, BYTE value) override;
  void Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) override;
  void Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) override;
};

/// Replaces a pixel of higher density, or higher alpha; the weight is ignored.
class KX_EXPORT KXPixelMixerCompLight : public KXPixelMixer {
 public:
  void Do8Bit(KXVOffscreen* offscreen, BYTE value) override;
  void Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) override;
  void Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) override;
};

/// Adds densities up to 255.
class KX_EXPORT KXPixelMixerAdd : public KXPixelMixer {
 public:
  void Do8Bit(KXVOffscreen* offscreen, BYTE value) override;
};

/// Stores the colour's red, gated by its alpha, in the mask; the weight is ignored.
class KX_EXPORT KXPixelMixerAlphaCopy : public KXPixelMixer {
 public:
  void Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) override;
  void Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) override;
};

/// Joins the colour's red, gated by its alpha, to the mask as a union; the weight is ignored.
class KX_EXPORT KXPixelMixerAlphaBlend : public KXPixelMixer {
 public:
  void Do8Bit(KXVOffscreen* offscreen, BYTE value) override;
  void Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) override;
  void Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) override;
};

/// Moves the mask toward the colour's alpha by the weight.
class KX_EXPORT KXPixelMixerAlphaWeightCopy : public KXPixelMixer {
 public:
  void Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) override;
  void Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) override;
};

/// A radial ramp of densities around a centre, from the table's first entry at the centre to its
/// last at the radius and beyond. It only ever darkens. Without a table nothing happens.
class KX_EXPORT KXPixelMixerGradation : public KXPixelMixer {
 public:
  /// `center` and `radius` in pixels of the destination. A radius below 1 has the first entry at
  /// the centre and the last one everywhere else.
  void SetMapInfo(tagPOINT center, int radius);
  /// Takes `size` densities at `table`, which is referred to and must outlive the mixer.
  void RefColorTable(BYTE* table, int size);

  void Do8Bit(KXVOffscreen* offscreen, BYTE value) override;

 private:
  friend class kxw::MixRowAccess;

  /// The ramp's density at (x, y), scaled by `value`; there must be a table.
  BYTE GetDensity(int x, int y, BYTE value) const;

  tagPOINT center_ = {};
  int radius_ = 0;
  const BYTE* colorTable_ = nullptr;
  int colorTableSize_ = 0;
};

/// Scales the value (8 bits) or the weight (32 and 64 bits) by a Gaussian around a centre, and
/// passes on to the next node; so it goes in front of one that minds the weight. Without a next
/// node it replaces, at 8 bits by the scaled value and elsewhere by the plain colour.
class KX_EXPORT KXPixelMixerGaussian : public KXPixelMixer {
 public:
  KXPixelMixerGaussian() = default;
  /// A copy shares the table, which lives as long as the last mixer that holds it.
  KXPixelMixerGaussian(const KXPixelMixerGaussian&) = default;
  KXPixelMixerGaussian& operator=(const KXPixelMixerGaussian&) = default;

  /// Makes the table for a standard deviation of `sigma` entries, up to three of them. Nothing
  /// happens if there is a table, or for a sigma below 1. Raises 8 if there is no memory.
  void CreateGaussTbl(int sigma);
  void DestroyGaussTbl();
  /// The value of the peak that leaves a value as it is; 0 switches the scaling off.
  void SetBaseup(BYTE baseup) { baseup_ = baseup; }
  /// The box, in pixels of the destination, at whose edges the table ends; a size below 1 counts as
  /// 1. Shapes under 16 pixels across come out weaker.
  void SetMapInfo(tagPOINT center, int width, int height);

  void Do8Bit(KXVOffscreen* offscreen, BYTE value) override;
  void Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE weight) override;
  void Do64Bit(KXVOffscreen* offscreen, u64 color, WORD weight) override;

  virtual ~KXPixelMixerGaussian();

 protected:
  /// `value` as the Gaussian scales it at (x, y), never above `value`; 0 for a point outside the
  /// table, and where there is no table or box.
  DWORD GetGaussValue(int x, int y, DWORD value) const;

 private:
  friend class kxw::MixRowAccess;

  std::shared_ptr<const DWORD[]> gaussTable_;  // 12 fractional bits
  int gaussTableTop_ = 0;                      // the last index
  tagPOINT center_ = {};
  int width_ = 0;
  int height_ = 0;
  BYTE baseup_ = 0;
  float scale_ = 1.0f;
  BYTE peak_ = 127;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
