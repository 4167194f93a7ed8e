#pragma once

#include "kxwcmn/compositing/complexcolor.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXPixelMixer;
class KXVOffscreen;

/// A chain of mixers bound to one destination, one colour and, if wanted, a source image. The depth
/// of the operation is chosen once, with the destination, so that a loop makes one call a pixel.
///
/// Nothing that it points to is owned or locked here: the mixers and the images must outlive it,
/// and their locks are the caller's. A copy points to the same things. Without a destination of a
/// known depth, or without a node, nothing is drawn.
class KX_EXPORT KXVOffPixelMixer {
 public:
  KXVOffPixelMixer() = default;
  KXVOffPixelMixer(const KXVOffPixelMixer&) = default;
  KXVOffPixelMixer& operator=(const KXVOffPixelMixer&) = default;
  ~KXVOffPixelMixer() = default;

  /// Selects the mixers' operation by `depth`, which need not be the image's own: Do8Bit for 1, 2
  /// and 8, Do24Bit for 16 and 24, and the one of its own for 32, 48 and 64.
  void SetDstOffscreen(int depth, KXVOffscreen* offscreen);
  void SetDstOffscreen(KXVOffscreen* offscreen);
  KXVOffscreen* GetDstOffscreen() const { return dst_; }
  /// The depth that selects the mixers' operation; 0 for one that selects none.
  int GetDepth() const { return doFunc_ ? depth_ : 0; }

  /// Takes the pixels of `offscreen` in place of the colour; null takes the colour again. `origin`
  /// is the source's point that matches the origin of the operation.
  void SetSrcOffscreen(KXVOffscreen* offscreen, tagPOINT origin);
  KXVOffscreen* GetSrcOffscreen() const { return src_; }

  /// The colour that is laid down, whose alpha is also the weight, even of other colours.
  void SetColor(const KXComplexColor& color) { color_ = color; }
  void GetColor(KXComplexColor& color) const { color = color_; }
  BYTE GetAlpha() const { return color_.channels8[0]; }
  WORD GetAlpha64() const { return color_.channels16[0]; }

  /// Replaces the head of the chain; returns the former head.
  KXPixelMixer* SetNode(KXPixelMixer* mixer);
  /// Appends to the chain; returns the former tail, null if the chain was empty. Raises 0x20010008
  /// for a mixer that is in the chain already, and for a chain that leads into itself.
  KXPixelMixer* PushNode(KXPixelMixer* mixer);
  KXPixelMixer* GetNode() const { return node_; }

  /// Mixes the own colour, or another with the strength of the own one, into the pixel under the
  /// destination's cursor.
  void Do() { Do(color_); }
  void Do(const KXComplexColor& color) {
    if (doFunc_) doFunc_(*this, color);
  }
  /// Mixes the pixel under the source's cursor, read through its 64-bit form; one without memory
  /// counts as KXComplexColor::cErase. Without a source nothing happens. Raises 8 in a block that
  /// exists and cannot be brought in.
  void DoSrc();

  // The source's cursor, relative to the origin. Without a source nothing happens.
  void RelativeSrcCursor(int x, int y);
  void RelativeSrcCursorX(int x);
  void RelativeSrcCursorY(int y);
  void NextSrcCursorX();
  void NextSrcCursorY();

 protected:
  // Do1Bit and Do2Bit are selected by no depth.
  static void Do1Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color);
  static void Do2Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color);
  static void Do8Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color);
  static void Do24Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color);
  static void Do32Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color);
  static void Do48Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color);
  static void Do64Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color);

 private:
  using DoFunc = void (*)(KXVOffPixelMixer&, const KXComplexColor&);

  DoFunc doFunc_ = nullptr;
  int depth_ = 0;
  KXPixelMixer* node_ = nullptr;
  KXVOffscreen* dst_ = nullptr;
  KXComplexColor color_;
  KXVOffscreen* src_ = nullptr;
  tagPOINT srcOrigin_ = {};
};
