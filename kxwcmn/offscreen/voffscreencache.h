#pragma once

#include "kxwcmn/core/array.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXVirtualMemory;
class KXVOffscreen;

/// An image that is a redraw cache, with a word of flags for each of its blocks. Taking away the
/// flag `kCached` gives the block's memory back at once.
///
/// Made and deleted through KXVOffscreen. Blocks are told by their index in the image's order or by
/// a pixel. Without an image there are no blocks.
class KX_EXPORT KXVOffscreenCache {
 public:
  static constexpr unsigned int kCached = 1;  ///< The block holds a valid result.
  static constexpr unsigned int kDrawn = 2;
  /// What `ClearAllFlag` takes away; the bits above `kDrawn` are the application's.
  static constexpr unsigned int kAllFlags = 0x73;

  KXVOffscreenCache() = default;
  KXVOffscreenCache(const KXVOffscreenCache&) = delete;
  KXVOffscreenCache& operator=(const KXVOffscreenCache&) = delete;
  virtual ~KXVOffscreenCache();

  /// Creates the image and a word for each of its blocks; words of an earlier `Create` keep what
  /// they hold. On a failure the image is deleted, and the exception passes on. Raises 0x20010008
  /// if there is no image.
  virtual void Create(KXVirtualMemory* memory, int width, int height, double resolution);
  /// Drops the words, and all that the image holds.
  virtual void Destroy();

  /// The image, owned.
  KXVOffscreen* GetThisOffscreen() const { return offscreen_; }
  /// Replaces the image, which is now owned; the old one is the caller's.
  void SetThisOffscreen(KXVOffscreen* offscreen) { offscreen_ = offscreen; }

  /// Whether a block has all of `flags`; 0 for one that is not there.
  int IsFlag(int index, unsigned int flags) const;
  int IsFlag(int x, int y, unsigned int flags) const;
  /// Sets or, with `on` 0, takes away flags of one block, of the blocks that `rect` touches (all
  /// for null), or of those under the top left corners of `rects`. Taking away `kCached`, in
  /// `flags` without bit 31, frees the block.
  void SetFlag(int index, unsigned int flags, int on);
  void SetFlag(const KXRect* rect, unsigned int flags, int on);
  void SetFlag(const KXTArray<tagRECT, 0>& rects, unsigned int flags, int on);

  int IsCached(int x, int y) const { return IsFlag(x, y, kCached); }
  void SetCached(int index, int on) { SetFlag(index, kCached, on); }
  void SetCached(const KXRect* rect, int on) { SetFlag(rect, kCached, on); }
  void SetCached(const KXTArray<tagRECT, 0>& rects, int on) { SetFlag(rects, kCached, on); }
  int IsDrawn(int x, int y) const { return IsFlag(x, y, kDrawn); }
  int IsDrawn(int index) const { return IsFlag(index, kDrawn); }
  void SetDrawn(const KXRect* rect, int on) { SetFlag(rect, kDrawn, on); }
  void SetDrawn(const KXTArray<tagRECT, 0>& rects, int on) { SetFlag(rects, kDrawn, on); }
  /// Takes `kAllFlags` away, and so frees every block it touches.
  void ClearAllFlag(const KXRect* rect) { SetFlag(rect, kAllFlags, 0); }
  void ClearAllFlag(const KXTArray<tagRECT, 0>& rects) { SetFlag(rects, kAllFlags, 0); }

  /// Copies the image, if both have one size and depth, and the words. Null does nothing.
  void CopyAll(KXVOffscreenCache* other);
  /// KXVOffscreen::RenderBackground of the image.
  void RenderBackground(const KXRect& rect, DWORD colorA, DWORD colorB, int includeEmpty);

 private:
  KXTArray<DWORD> flags_;
  KXVOffscreen* offscreen_ = nullptr;
};
