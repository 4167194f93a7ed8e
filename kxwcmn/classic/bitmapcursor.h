#pragma once

#include <cassert>
#include <cstdint>

#include "kxwcmn/classic/bitmap.h"
#include "kxwcmn/core/geometry.h"

/// A place in a bitmap, moved pixel by pixel, and the reads and writes of the pixel there.
///
/// Row 0 is the last one in memory, the top of a section that was made bottom-up. In one that was
/// made with a negative height it is so too, and is the bottom there: this is kept so.
///
/// For speed a cursor checks nothing. It may stand anywhere, but a pixel may be read or written,
/// and a channel be referred to, only while the bitmap is locked (since before the cursor was
/// placed) and the cursor stands inside it; builds with assertions assert that. Pixels are blue,
/// green and red bytes, as at 24 and 32 bits; at 8 bits and below a read takes the bytes of the
/// pixels behind along.
class KX_EXPORT KXBitmapCursor {
 public:
  KXBitmapCursor() = default;
  /// `bitmap`, which must outlive the cursor, should be locked; with null the cursor has
  /// coordinates alone.
  KXBitmapCursor(KXBitmap* bitmap, int x, int y) : bitmap_(bitmap) { MoveCursor(x, y); }
  KXBitmapCursor(const KXBitmapCursor&) = default;
  KXBitmapCursor& operator=(const KXBitmapCursor&) = default;
  virtual ~KXBitmapCursor() = default;

  int CursorInBitmap() const { return CursorXInBitmap() && CursorYInBitmap(); }
  int CursorXInBitmap() const { return bitmap_ && x_ >= 0 && x_ < bitmap_->GetWidth(); }
  int CursorYInBitmap() const { return bitmap_ && y_ >= 0 && y_ < bitmap_->GetHeight(); }

  // --- Movement ---------------------------------------------------------------------------------

  void MoveCursor(int x, int y) {
    x_ = x;
    y_ = y;
    if (!bitmap_) return;
    const int rowBytes = bitmap_->GetRowBytes();
    row_ =
        Moved(bitmap_->GetBaseAddress(), (std::ptrdiff_t{bitmap_->GetHeight()} - y - 1) * rowBytes);
    address_ = Moved(row_, std::ptrdiff_t{x} * bitmap_->GetPixelSize());
  }
  void MoveCursorX(int x) {
    x_ = x;
    address_ = Moved(row_, std::ptrdiff_t{x} * PixelSize());
  }
  void MoveCursorY(int y) { MoveCursor(x_, y); }
  /// To (0, 0), the left or the top.
  void ResetCursor() { MoveCursor(0, 0); }
  void ResetCursorX() { MoveCursorX(0); }
  void ResetCursorY() { MoveCursorY(0); }

  void NextCursorX() { OffsetCursorX(1); }
  void NextCursorY() { OffsetCursorY(1); }
  void PrevCursorX() { OffsetCursorX(-1); }
  void PrevCursorY() { OffsetCursorY(-1); }
  void OffsetCursor(int dx, int dy) {
    OffsetCursorX(dx);
    OffsetCursorY(dy);
  }
  void OffsetCursorX(int dx) {
    x_ = kxw::IntGeometry::Add(x_, dx);
    address_ = Moved(address_, std::ptrdiff_t{dx} * PixelSize());
  }
  void OffsetCursorY(int dy) {
    const std::ptrdiff_t by = bitmap_ ? -std::ptrdiff_t{dy} * bitmap_->GetRowBytes() : 0;
    y_ = kxw::IntGeometry::Add(y_, dy);
    row_ = Moved(row_, by);
    address_ = Moved(address_, by);
  }

  // --- Pixels -----------------------------------------------------------------------------------

  /// As a QMCOLORREF with an alpha of 0.
  DWORD GetBitPixel() const { return DWORD{At(0)} << 16 | static_cast<DWORD>(At(1) << 8) | At(2); }
  /// Alpha is not stored.
  void SetBitPixel(const DWORD& color) {
    At(2) = static_cast<BYTE>(color);
    At(1) = static_cast<BYTE>(color >> 8);
    At(0) = static_cast<BYTE>(color >> 16);
  }
  /// The channels in place: the byte, the one behind it and the one behind that, in every depth.
  BYTE& GetBReference() { return At(0); }
  BYTE& GetGReference() { return At(1); }
  BYTE& GetRReference() { return At(2); }
  const BYTE& GetBReference() const { return At(0); }
  const BYTE& GetGReference() const { return At(1); }
  const BYTE& GetRReference() const { return At(2); }
  void GetRGBReference(BYTE*& r, BYTE*& g, BYTE*& b) {
    r = &At(2);
    g = &At(1);
    b = &At(0);
  }

 private:
  // A cursor may be led beyond the bitmap and back, so its addresses are computed as numbers, and
  // its coordinates wrap.
  static BYTE* Moved(BYTE* address, std::ptrdiff_t by) {
    return reinterpret_cast<BYTE*>(reinterpret_cast<std::uintptr_t>(address) +
                                   static_cast<std::uintptr_t>(by));
  }
  int PixelSize() const { return bitmap_ ? bitmap_->GetPixelSize() : 0; }
  BYTE& At(int offset) const {
    assert(CursorInBitmap() && bitmap_->GetBaseAddress());
    return address_[offset];
  }

  KXBitmap* bitmap_ = nullptr;  // not owned
  int x_ = 0;
  int y_ = 0;
  BYTE* address_ = nullptr;
  BYTE* row_ = nullptr;
};
