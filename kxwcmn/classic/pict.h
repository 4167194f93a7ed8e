#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// Holds a picture of a module, with its size: one of its own, which it frees, or one of somebody
/// else's, which must outlive its use here.
class KX_EXPORT KXPict {
 public:
  KXPict() = default;
  /// Attaches a picture of somebody else's, as do the copies.
  KXPict(HBITMAP picture) { Attach(picture, 0); }
  KXPict(const KXPict& other) { Attach(other.picture_, 0); }
  virtual ~KXPict() { Destroy(); }
  KXPict& operator=(const KXPict& other);
  KXPict& operator=(HBITMAP picture);
  operator HBITMAP() const { return picture_; }

  /// Frees what is owned, and takes picture `id` of a module, of the application's instance if
  /// null. Returns 1, or 0 if there is none.
  int Load(int id, HINSTANCE module);
  /// Frees what is owned, and takes `picture`: as its own if `own` is not 0. The picture that is
  /// held already stays, now owned as told. Returns 1, or 0 for null.
  int Attach(HBITMAP picture, int own);
  /// Hands the picture out, which is the caller's if it was owned here.
  HBITMAP Detach();
  /// Frees what is owned, and holds nothing.
  void Destroy();
  /// Holds nothing, and frees nothing.
  void Clear();

  /// In pixels; 0 without a picture.
  int GetWidth() const { return width_; }
  int GetHeight() const { return height_; }
  int IsValid() const { return picture_ != nullptr; }

  /// Makes all pixels of colour `to` those of colour `from`: the second argument is what is looked
  /// for. The top bytes of both are not looked at. With a palette, `from` is the nearest colour of
  /// it. Raises 8 if there is no memory; without a picture does nothing.
  void ReplaceColor(QMCOLORREF from, QMCOLORREF to);

 private:
  HBITMAP picture_ = nullptr;
  bool isOwned_ = false;
  int width_ = 0;
  int height_ = 0;
};
