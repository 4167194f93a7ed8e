#pragma once

#include "kxwcmn/kxwcmn.h"

namespace viewimage {

constexpr double kMostScale = 32;

/// How large a picture is shown.
///
/// A block of its reduced copy `level`, each pixel of which stands for 2^level by 2^level pixels of
/// the picture, takes `side` by `side` pixels of the screen: a whole number, so that all blocks are
/// drawn alike, meet without a seam, and stay as they are while the picture is moved. Copies are
/// shown at their size down to half of it, the picture itself up to 32 times its size.
struct Zoom {
  int level = 0;
  int side = KXVOffscreen::kBlockSize;

  /// The nearest one to pixels of the screen for a pixel of the picture; up to `kMostScale`.
  static Zoom Of(double scale);
  /// The largest at which an image of that size fits into a window, but not above 1.
  static Zoom Fitting(KXSize picture, KXSize window);

  double Scale() const;
  /// Pixels of the screen that `size` pixels of the picture take.
  i64 Shown(int size) const;
  /// The pixel of the picture, its first one where there are more, that `shown` is drawn from.
  int PixelAt(i64 shown) const;
  /// The first pixel of the screen that is drawn from `pixel`.
  i64 FirstShown(i64 pixel) const;

  bool operator==(const Zoom&) const = default;
};

/// Which part of a picture a window shows. Points of the window count from its top left.
class View {
 public:
  View(KXSize picture, KXSize window) : picture_(picture), window_(window) { Fit(); }

  KXSize Picture() const { return picture_; }
  KXSize Window() const { return window_; }
  const viewimage::Zoom& Zoom() const { return zoom_; }
  bool IsFlippedHorz() const { return horz_.isFlipped; }
  bool IsFlippedVert() const { return vert_.isFlipped; }

  /// Where the top left of the whole picture lies in the window, once flips are undone.
  i64 Left() const { return horz_.Unflipped(zoom_.Shown(picture_.cx), window_.cx); }
  i64 Top() const { return vert_.Unflipped(zoom_.Shown(picture_.cy), window_.cy); }

  /// The pixel of the picture under a point of the window; false beside the picture.
  bool PixelAt(KXPoint point, KXPoint& pixel) const;

  /// Gives the window another size, with the picture's pixel in its middle kept there; a picture
  /// that was shown whole stays so.
  void Resize(KXSize window);
  /// Shows the whole picture, in its middle.
  void Fit();
  /// Brings a pixel of the picture to the middle of the window.
  void Show(KXPoint pixel, double scale);
  /// Zooms so that the pixel under a point of the window stays there, as far as the picture's edges
  /// let it: they may not leave the window's middle.
  void ZoomTo(double scale, KXPoint about);
  /// Goes by steps, of which four double the scale, from the whole picture to `kMostScale`.
  void Step(int steps, KXPoint about);
  /// Moves the picture by pixels of the window.
  void Move(int dx, int dy);
  void FlipHorz();
  void FlipVert();

 private:
  /// One direction of the window.
  struct Axis {
    i64 first = 0;  ///< The window's first pixel, counted in those of the shown picture.
    bool isFlipped = false;

    i64 Unflipped(i64 shown, int window) const {
      return isFlipped ? window - shown + first : -first;
    }
    /// Whether `at` of the window is in the picture, and which pixel of the unflipped one.
    bool Find(int at, i64 shown, i64& found) const;
    void ZoomTo(const viewimage::Zoom& from, const viewimage::Zoom& to, int about, int picture);
    void Confine(i64 shown, int window);
  };

  void Confine();
  KXPoint Middle() const { return KXPoint(window_.cx / 2, window_.cy / 2); }
  /// The zoom that shows the whole picture with a little room around it.
  viewimage::Zoom Fitting() const;

  KXSize picture_, window_;
  viewimage::Zoom zoom_;
  Axis horz_, vert_;
  bool isFitted_ = true;
};

}  // namespace viewimage
