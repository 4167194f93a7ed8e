#pragma once

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/bitmap.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXGdi;

/// Holds a bitmap of the platform (see platform/bitmap.h): one of its own, which it frees, or one
/// of somebody else's, which is "attached" and must outlive its use here.
///
/// The pixels of a section can be reached while they are locked, and drawn on through a context at
/// other times. Sizes are asked of the bitmap each time, for it may be somebody else's. An object
/// belongs to one thread at a time.
class KX_EXPORT KXBitmap {
 public:
  // --- Life -------------------------------------------------------------------------------------

  KXBitmap() = default;
  /// Attaches `bitmap`.
  KXBitmap(HBITMAP bitmap) { Attach(bitmap, 0); }
  /// Attaches the bitmap of `other`.
  KXBitmap(const KXBitmap& other) { Attach(other.bitmap_, 0); }
  virtual ~KXBitmap() { Cleanup(); }
  KXBitmap& operator=(const KXBitmap& other);
  KXBitmap& operator=(HBITMAP bitmap);
  operator HBITMAP() const { return bitmap_; }

  /// Gives up what is held, and makes a bitmap of 1, 4, 8, 24 or 32 bits: with `dib` not 0 a
  /// section, whose rows are reached from the bottom up, or from the top down with a negative
  /// height. Otherwise it is a bitmap of the window's device, of `planes` x `bitCount` bits, with
  /// the height's amount. Raises 8 if there is none, be it for the memory or for the size or depth.
  ///
  /// Pixels are 0 at first. The palette of a section is black and white at 1 bit, with 0 for black;
  /// falls from white to black at 8 bits, so that 255 is black, as the densities of `KXOffscreen`
  /// are; and is all black at 4 bits.
  void Create(HWND window, int width, int height, int bitCount, int dib, int planes);
  /// Gives up what is held, and takes picture `id` of a module, of the program if null. Returns
  /// whether there is one.
  int LoadImageA(int id, HINSTANCE module);
  /// Gives up what is held, and takes `bitmap`: as its own, to free it, if `own` is not 0. The
  /// bitmap that is held already stays, now owned as told.
  void Attach(HBITMAP bitmap, int own);
  /// Hands the bitmap out, which is the caller's if it was owned here.
  HBITMAP Detach();
  /// Frees the bitmap if it is owned, and holds nothing.
  void Destroy() { Cleanup(); }
  void Cleanup();
  static void DeleteOffscreen(HBITMAP bitmap) { kxwFreeBitmap(bitmap); }

  int IsValid() const { return bitmap_ != nullptr; }

  // --- Properties: 0 without a bitmap -----------------------------------------------------------

  /// From (0, 0) on.
  void GetSize(KXRect& rect) const;
  int GetWidth() const { return Record().bmWidth; }
  int GetHeight() const { return Record().bmHeight; }
  int GetBitCount() const { return Record().bmBitsPixel; }
  int GetRowBytes() const;
  /// Whole bytes a pixel: 0 below 8 bits.
  int GetPixelSize() const { return GetBitCount() >> 3; }
  int GetOffsetByteRed() const { return 2; }
  int GetOffsetByteGreen() const { return 1; }
  int GetOffsetByteBlue() const { return 0; }
  /// The head, with the palette behind it, of a section that was made here; null otherwise.
  const BITMAPINFO* GetBitmapInfo() const { return info_; }

  // --- Pixels -----------------------------------------------------------------------------------

  /// Makes the pixels reachable; not while there is a context.
  void Lock();
  void Unlock() { isLocked_ = false; }
  /// The first row in memory while the pixels are locked: the bottom one, except in a section that
  /// was made with a negative height. Null for a device's bitmap.
  BYTE* GetBaseAddress() const { return isLocked_ ? Record().bmBits : nullptr; }

  /// A context that draws on the bitmap, on one of 32 bits at once, on others by `ReleaseGDI`, to
  /// which it must come in the end. Pixels must not be locked until then. Null without a bitmap,
  /// while there is a context already, and if none can be made: for a side above 32767, without
  /// memory, and in a library without Cairo.
  KXGdi* GetGDI(HWND window);
  /// Ends the context's use, and deletes it; also one that outlived its bitmap's stay here, which
  /// leaves the present one in use. Raises 8, with some of what was drawn left out, if there is no
  /// memory.
  void ReleaseGDI(KXGdi* gdi);

 private:
  tagBITMAP Record() const;
  void CreateSection(int width, int height, int bitCount);
  void FreeInfo();

  HBITMAP bitmap_ = nullptr;
  bool isOwned_ = false;
  bool isLocked_ = false;
  const KXGdi* gdi_ = nullptr;  // the context in use
  BITMAPINFO* info_ = nullptr;
};
