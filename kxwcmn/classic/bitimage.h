#pragma once

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/core/handle.h"
#include "kxwcmn/platform/dib.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXGdi;

/// A block of pixels that a device can show as it stands: the last step of a picture to the screen.
///
/// | bits | storage |
/// |---|---|
/// | 1 | 8 pixels a byte, the leftmost in bit 7; a set bit is white through the palette |
/// | 8 | a grey, 0 black, 255 white, through a palette of greys |
/// | 16 | alpha, grey |
/// | 24 | blue, green, red |
/// | 32 | blue, green, red, alpha |
/// | 64 | red, green, blue, alpha in words; only a source of copies |
///
/// Depths of 4 bits can be made and shown, but nothing else. Rows follow each other from the top
/// on, each aligned to 32 bits. The pixels are the object's own or, as a reference, somebody
/// else's, and can always be reached. Coordinates are in pixels and may have any value; what lies
/// outside the image is left out, where nothing else is said. An object belongs to one thread at a
/// time.
class KX_EXPORT KXBitImage {
 public:
  // --- Life -------------------------------------------------------------------------------------

  KXBitImage();
  /// As by `Copy`.
  KXBitImage(const KXBitImage& other);
  virtual ~KXBitImage();
  KXBitImage& operator=(const KXBitImage& other);

  /// Destroys what there is, and makes an image whose pixels have any value, with the palette of
  /// `SetMonochromePalettes`. Raises 0x20010008 for another depth than those above and for a size
  /// below 0 or whose rows' bytes have no count in 31 bits, and 8 if there is no memory; an image
  /// has less than 4 GiB. The image is then empty.
  void Create(int width, int height, int bitCount);
  /// The same around pixels that stand somewhere else, laid out as those of an image; they must
  /// outlive their use here and stay the caller's. Raises also for null.
  void SetReference(BYTE* bytes, int width, int height, int bitCount);
  /// Gives own pixels back, and leaves the image empty.
  void Destroy();
  /// Makes this an image of its own with the size, depth, pixels and palette of `other`. After a
  /// failure (8) this is still what it was.
  void Copy(const KXBitImage& other);
  /// Makes all bytes 0.
  void Clear();

  int IsValid() const { return bits_ != nullptr; }

  // --- Properties -------------------------------------------------------------------------------

  int GetWidth() const { return width_; }
  int GetHeight() const { return height_; }
  int GetBitCount() const { return bitCount_; }
  int GetRowBytes() const { return rowBytes_; }
  /// The first row; null without an image.
  BYTE* GetBaseAddress() const { return bits_; }
  /// The head for a device, with the palette behind it. Its height is negative, for the rows stand
  /// from the top down.
  const BITMAPINFOHEADER* GetBitmapInfoHeader() const { return &info_.header; }
  /// 256 colours, of which depths of 1, 4 and 8 bits use 2, 16 and 256.
  tagRGBQUAD* GetPalettes() { return info_.palette; }
  const tagRGBQUAD* GetPalettes() const { return info_.palette; }
  /// At 1 bit makes colour 0 black and 1 white, at 8 bits all colours greys.
  void SetMonochromePalettes();
  /// The raster operation with which the image is shown; 0xCC0020, which copies, at first.
  void SetBltMode(int mode) { bltMode_ = mode; }
  int GetBltMode() const { return bltMode_; }

  // --- Copies of other sizes --------------------------------------------------------------------

  /// Brings a rectangle of this image to one of `dest`, of which what lies outside `dest` is left
  /// out at the same scale, by the nearest pixels, converted between the depths (see bitkernels.h).
  ///
  /// Returns 1, also where nothing is done for a pair of depths without a kernel and for a
  /// rectangle that is enlarged on one axis and reduced on the other. Returns 0, with nothing done,
  /// if nothing of the rectangle is left, which is also so where less than a pixel of this image
  /// would be seen, and if pixels outside this image would be read. Images whose pixels share
  /// memory are copied as if they did not; raises 8 if there is no memory for that.
  int StretchCopy(KXBitImage* dest, int destX, int destY, int destW, int destH, int srcX, int srcY,
                  int srcW, int srcH) const;
  /// Brings a rectangle of this image to a smaller one of `dest`, each pixel the average of a box
  /// of pixels: between images of 24 and 32 bits, others are left alone. What lies outside `dest`
  /// is left out.
  ///
  /// At 32 bits wholly transparent pixels have no part in the colours, and a box of such pixels
  /// makes white of alpha 0. The boxes come from steps of 1/4096 pixel that are cut short, so the
  /// last ones may leave out a pixel; and they end at column `srcW` and row `srcH` of the image,
  /// also if the rectangle starts further on: boxes behind count as transparent at 32 bits, and
  /// leave what is there at 24. That is kept so.
  ///
  /// Where `dest`'s rectangle is not smaller on both axes, `StretchCopy` comes first, at any
  /// depths, and the boxes are laid over that; many are empty then. No boxes are if pixels outside
  /// this image would be read. Raises 8 if there is no memory.
  void AntiAliasCopy32(KXBitImage* dest, int destX, int destY, int destW, int destH, int srcX,
                       int srcY, int srcW, int srcH) const;

  // --- On devices -------------------------------------------------------------------------------

  /// Brings a rectangle of this image to one of a context, by the nearest pixels and with the
  /// raster operation of `SetBltMode`. Sizes below 0 mirror, and alpha is not looked at, as
  /// `kxw::StretchToDevice` tells; 24 and 32 bits in their own size go straight to a picture in
  /// memory.
  ///
  /// Raises 0x20010008 for a context of null and an operation that needs a pattern, 50 for an
  /// operation that the target does not allow, and in a library without Cairo, 6 for a target in an
  /// error state, and 8 if there is no memory.
  void DrawGDI(HDC context, int destX, int destY, int destW, int destH, int srcX, int srcY,
               int srcW, int srcH) const;
  void DrawGDI(KXGdi* gdi, int destX, int destY, int destW, int destH, int srcX, int srcY, int srcW,
               int srcH) const;

  // --- Drawing ----------------------------------------------------------------------------------

  // At 8, 24 and 32 bits; images of other depths are left alone. At 8 bits a colour becomes the
  // grey (red + 4 * green + 2 * blue) / 7, at 24 bits its alpha is dropped. At 32 bits it replaces
  // the pixel, alpha and all, or with `mode` 1 is laid over it by both alphas, as ink on white
  // paper.

  /// Right and bottom are exclusive.
  void RectFill(KXRect rect, QMCOLORREF color, int mode);
  /// Paints a square of `width` pixels at each pixel of a line, both ends included, which is its
  /// top left corner. In mode 1 pixels where squares overlap are laid over as often.
  void DrawSegment(int x1, int y1, int x2, int y2, int width, QMCOLORREF color, int mode);
  void DrawSimpleSegment(int x1, int y1, int x2, int y2, QMCOLORREF color, int mode);
  /// The segments between the four corners, clockwise from the top left.
  void DrawRect(int left, int top, int right, int bottom, int width, QMCOLORREF color, int mode);
  /// Draws a line of text in the system's font, with its top left corner at (`x`, `y`), or with
  /// `centre` 1 its middle. `align` would move it within its own size, and so does nothing. Texts
  /// are as in `KXVOffscreen::DrawString`. Raises 0x20010008 for null and a text that is too long
  /// to be drawn, 50 in a library without Pango, 8 if there is no memory, and 6 if the host cannot
  /// draw the text.
  void DrawString(const char* text, int x, int y, QMCOLORREF color, int centre, int align,
                  int mode);
  /// Fills by the even-odd rule, with the pixels at both ends of a row, and paints horizontal edges
  /// on their own after that. A point with a Y of 0x7FFFFFFF ends an outline: there is no edge to
  /// or from it. The scan ends at the first row below its begin that meets no edge, so that
  /// outlines further down are not filled. The points are only read. Raises 8 if there is no
  /// memory.
  void FillPolygon(const KXPoint* points, int count, QMCOLORREF color, int mode);
  /// Fills each row from the first pixel to the last one that edges meet, and paints horizontal
  /// edges on their own after that. Breaks and failures as in `FillPolygon`.
  void FillPolygonConvex(const KXPoint* points, int count, QMCOLORREF color, int mode);

  // --- Selections -------------------------------------------------------------------------------

  /// Draws the set pixels that a mask of 1 bit has in a rectangle of its own, with the rectangle's
  /// corner at (`x`, `y`) of this image of 32 bits, in dashes of four black and four white pixels
  /// that wander with `phase`. Images of other depths are left alone.
  void DrawSelectArea(KXBitImage* mask, tagRECT rect, int x, int y, int phase);
  /// Leaves of the set pixels of a 1-bit image those that have a clear one above, below or beside
  /// them, from column and row 1 on up to the rectangle's width and height, which are inclusive;
  /// all else becomes clear. Beside the image is clear. Raises 8, with nothing changed, if there is
  /// no memory.
  void DigSelectArea(tagRECT rect);

 private:
  void SetInfo(int width, int height, int bitCount);
  bool SharesMemory(const KXBitImage& other) const;

  KXHandle pixels_;  // empty for a reference
  BYTE* bits_ = nullptr;
  int width_ = 0;
  int height_ = 0;
  int bitCount_ = 0;
  int rowBytes_ = 0;
  struct {
    BITMAPINFOHEADER header;
    tagRGBQUAD palette[256];
  } info_ = {};
  int bltMode_ = 0xCC0020;
};
