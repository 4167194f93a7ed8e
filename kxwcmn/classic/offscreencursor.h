#pragma once

#include <cassert>
#include <cstdint>

#include "kxwcmn/classic/offscreen.h"
#include "kxwcmn/core/geometry.h"

/// A place in a classic image, moved pixel by pixel, and the reads and writes of the pixel there.
///
/// For speed a cursor checks nothing. It may stand anywhere, but a pixel may be read or written,
/// and a channel be referred to, only while the image is locked (since before the cursor was
/// placed) and the cursor stands inside it. Builds with assertions assert that it stands inside and
/// that its place in memory is one of the image's, as it is no more where `OffsetCursor` has led it
/// away from the coordinates over an end of the image, or the lock has ended. It is for the
/// `...InOffscreen` tests to find out.
class KX_EXPORT KXOffscreenCursor {
 public:
  /// `image`, which must outlive the cursor, should be locked.
  KXOffscreenCursor(KXOffscreen* image, int x, int y) : image_(image) { MoveCursor(x, y); }
  KXOffscreenCursor(const KXOffscreenCursor&) = default;
  KXOffscreenCursor& operator=(const KXOffscreenCursor&) = default;
  virtual ~KXOffscreenCursor();

  int CursorInOffscreen() const { return image_->PointInOffscreen(x_, y_); }
  int CursorXInOffscreen() const { return x_ >= 0 && x_ < image_->GetWidth(); }
  int CursorYInOffscreen() const { return y_ >= 0 && y_ < image_->GetHeight(); }
  int GetX() const { return x_; }
  int GetY() const { return y_; }

  // --- Movement ---------------------------------------------------------------------------------

  void MoveCursor(int x, int y) {
    MoveCursorRow(y);
    MoveCursorX(x);
  }
  void MoveCursorX(int x) {
    x_ = x;
    bit_ = IsBits() ? x & 7 : 0;
    address_ = Moved(row_, IsBits() ? x >> 3 : std::ptrdiff_t{x} * image_->GetPixelSize());
  }
  void MoveCursorY(int y) {
    MoveCursorRow(y);
    MoveCursorX(x_);
  }
  /// To (0, 0).
  void ResetCursor() { MoveCursor(0, 0); }
  /// To the top of the column.
  void ResetCursorY() { MoveCursorY(0); }

  void NextCursorX() {
    x_ = Sum(x_, 1);
    if (IsBits() && ++bit_ <= 7) return;
    bit_ = 0;
    address_ = Moved(address_, image_->GetPixelSize());
  }
  void PrevCursorX() {
    x_ = Sum(x_, -1);
    if (IsBits() && --bit_ >= 0) return;
    bit_ = IsBits() ? 7 : 0;
    address_ = Moved(address_, -image_->GetPixelSize());
  }
  void NextCursorY() { MoveRows(1); }
  void PrevCursorY() { MoveRows(-1); }

  void OffsetCursorX(int dx) { MoveColumns(dx, 8); }
  void OffsetCursorY(int dy) { MoveRows(dy); }
  /// Moves both ways. At 1 bit, where the place in the byte and `dx` & 7 together pass 7, the pixel
  /// that is reached is one to the right of the one that OffsetCursorX reaches, while `GetX` tells
  /// the same, until the next MoveCursor: this is kept so.
  void OffsetCursor(int dx, int dy) {
    MoveColumns(dx, 7);
    MoveRows(dy);
  }

  // --- Pixels -----------------------------------------------------------------------------------

  // In the terms of every depth. Reads of colours by density and writes of densities as colours,
  // and the thresholds of both, do not always agree; they define existing pictures and are kept.
  // So a colour is written at 1 bit as black where its packed value is below 382, and pure red is
  // black.

  BYTE Get1BitPixel() const;
  BYTE Get8BitPixel() const;
  /// The top byte is 0.
  DWORD Get24BitPixel() const;
  DWORD Get32BitPixel() const;
  void Set1BitPixel(const BYTE& value);
  void Set8BitPixel(const BYTE& value);
  /// At 32 bits with alpha 255.
  void Set24BitPixel(const DWORD& color);
  void Set32BitPixel(const DWORD& color);

  // The channels in place, at 24 and 32 bits; at 24 bits alpha is red.
  BYTE& GetRReference() { return At(image_->GetOffsetByteRed()); }
  BYTE& GetGReference() { return At(image_->GetOffsetByteGreen()); }
  BYTE& GetBReference() { return At(image_->GetOffsetByteBlue()); }
  BYTE& GetAReference() { return At(image_->GetOffsetByteAlpha()); }
  const BYTE& GetRReference() const { return At(image_->GetOffsetByteRed()); }
  const BYTE& GetGReference() const { return At(image_->GetOffsetByteGreen()); }
  const BYTE& GetBReference() const { return At(image_->GetOffsetByteBlue()); }
  const BYTE& GetAReference() const { return At(image_->GetOffsetByteAlpha()); }
  /// Points `r`, `g` and `b` at the channels, and `a` at 32 bits only; at 1 and 8 bits leaves all
  /// four as they are.
  void GetRGBAReference(BYTE*& r, BYTE*& g, BYTE*& b, BYTE*& a);

 private:
  // A cursor may be led beyond the image and back, so its addresses are computed as numbers, and
  // its coordinates wrap.
  static BYTE* Moved(BYTE* address, std::ptrdiff_t by) {
    return reinterpret_cast<BYTE*>(reinterpret_cast<std::uintptr_t>(address) +
                                   static_cast<std::uintptr_t>(by));
  }
  static int Sum(int a, int b) { return kxw::IntGeometry::Add(a, b); }

  bool IsBits() const { return image_->GetBitCount() == 1; }
  void MoveCursorRow(int y) {
    y_ = y;
    row_ = Moved(image_->GetBaseAddress(), std::ptrdiff_t{y} * image_->GetRowBytes());
  }
  void MoveRows(int dy) {
    const std::ptrdiff_t by = std::ptrdiff_t{dy} * image_->GetRowBytes();
    y_ = Sum(y_, dy);
    row_ = Moved(row_, by);
    address_ = Moved(address_, by);
  }
  /// `passing` is what a place in the byte is reduced by where it passes the byte's end.
  void MoveColumns(int dx, int passing) {
    x_ = Sum(x_, dx);
    if (!IsBits()) {
      address_ = Moved(address_, std::ptrdiff_t{dx} * image_->GetPixelSize());
      return;
    }
    address_ = Moved(address_, dx >> 3);
    bit_ += dx & 7;
    if (bit_ <= 7) return;
    bit_ -= passing;
    address_ = Moved(address_, 1);
  }
  BYTE& At(int offset) const {
    assert(CursorInOffscreen() && IsInMemory());
    return address_[offset];
  }
  /// Whether the pixel's bytes are some of the image's, locked.
  [[maybe_unused]] bool IsInMemory() const {
    const auto base = reinterpret_cast<std::uintptr_t>(image_->GetBaseAddress());
    const auto at = reinterpret_cast<std::uintptr_t>(address_);
    const auto end = base + static_cast<std::uintptr_t>(image_->GetBufferSize());
    return base && at >= base && at < end &&
           end - at >= static_cast<std::uintptr_t>(image_->GetPixelSize());
  }
  BYTE Mask() const { return KXOffscreen::cbBitArray[bit_]; }

  KXOffscreen* image_;  // not owned
  int x_ = 0;
  int y_ = 0;
  int bit_ = 0;  // at 1 bit the pixel's place in its byte, 0 at the left
  BYTE* address_ = nullptr;
  BYTE* row_ = nullptr;
};
