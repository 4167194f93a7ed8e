#pragma once

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXVOffscreen;

/// The gate in front of a mixer: up to four mask images, each with a comparison, decide for each
/// pixel whether drawing may touch it. It is a yes or no and scales nothing.
///
/// The tests move the cursors of the mask images, which are not owned and whose locks are the
/// caller's. A pixel of a mask without memory is compared by what `Get32BitColor` gives there; a
/// block of a mask that exists and cannot be brought in raises 8.
class KX_EXPORT KXVOffPixelMask {
 public:
  struct MaskInfo {
    /// What holds a pixel back: 0 a colour equal to `color`, 1 an unequal one, 2 an equal alpha, 3
    /// an unequal alpha; any other value nothing.
    int mode = 0;
    /// The mask image; null ends the list.
    KXVOffscreen* offscreen = nullptr;
    QMCOLORREF color = 0;
    /// Where the mask lies, in destination coordinates.
    KXPoint offset;
    /// Not zero: in modes 0 and 1 any two whites are equal, whatever their alpha.
    int whiteEqual = 0;
  };

  KXVOffPixelMask() { Initialize(); }
  KXVOffPixelMask(const KXVOffPixelMask&) = default;
  KXVOffPixelMask& operator=(const KXVOffPixelMask&) = default;
  ~KXVOffPixelMask() = default;

  /// Empties the list. The first entry's mode becomes 96, which holds nothing back.
  void Initialize();
  /// Entry 0 to 3; null for any other index.
  MaskInfo* GetMaskInfo(int index);
  /// Copies all fields. Raises 0x20010008 for an index other than 0 to 3.
  void SetMaskInfo(int index, const MaskInfo& info);

  /// Whether there is any mask.
  bool IsMaskEnable() const { return masks_[0].offscreen != nullptr; }
  /// Whether a pixel of a mask holds drawing back: 1 or 0. Two colours of alpha 0 are equal.
  int IsMaskCompare(int mode, DWORD maskColor, DWORD pixelColor, int whiteEqual) const;

  /// Whether pixel (x, y) of `dst` may be drawn on: 1 or 0. Entries behind the first one without an
  /// image do not count.
  int IsMaskFree(KXVOffscreen* dst, int x, int y);
  /// The same on the row that `MoveCursorY` has set.
  int IsMaskFreeX(KXVOffscreen* dst, int x);
  /// Moves every mask, also behind an entry without an image, to row `y` of `dst`.
  void MoveCursorY(KXVOffscreen* dst, int y);

 private:
  static constexpr int kCount = 4;

  /// Whether a mask holds back what lies under its cursor.
  bool HoldsBack(const MaskInfo& info) const;

  MaskInfo masks_[kCount];
};
