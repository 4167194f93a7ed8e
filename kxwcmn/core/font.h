#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// Owner of a font of the platform, or the borrower of an application's. Without one it stands for
/// the system's font, 16 pixels high.
class KX_EXPORT KXFont {
 public:
  KXFont() = default;
  /// As by `Create`.
  KXFont(const char* family, int height, int weight = 400, int slant = 0) {
    Create(family, height, weight, slant);
  }
  /// As by `Attach`.
  explicit KXFont(HFONT font, int own = 0) { Attach(font, own); }
  KXFont(const KXFont&) = delete;
  KXFont& operator=(const KXFont&) = delete;
  virtual ~KXFont() { Destroy(); }

  /// Makes a font of `family`, `height` pixels, `weight` (400 normal, 700 bold) and, with a
  /// `slant`, italic, by the rules of `kxwCreateFont`. Raises 0x20010008 for arguments out of their
  /// range and 8 if there is no memory; this is still what it was then.
  void Create(const char* family, int height, int weight = 400, int slant = 0);
  /// Gives up what is held, and takes `font`: owned if `own` is set, otherwise it must outlive its
  /// use here. The font that is held already stays, and stays owned if it was.
  void Attach(HFONT font, int own = 0);
  /// Hands the font out, which is the caller's if it was owned here.
  HFONT Detach();
  /// Frees an owned font, and leaves this without one.
  void Destroy();

  int IsValid() const { return font_ != nullptr; }
  HFONT GetHandle() const { return font_; }
  operator HFONT() const { return font_; }

 private:
  HFONT font_ = nullptr;
  bool isOwned_ = false;
};
