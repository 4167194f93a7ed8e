#pragma once

#include "kxwcmn/core/color.h"
#include "kxwcmn/core/handle.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/image.h"
#include "kxwcmn/platform/types.h"

class KXArchive;
class KXFont;
class KXOffscreenCursor;
namespace kxw {
class SpanPainter;
}

/// A raster image in one block of memory, of 1, 8, 24 or 32 bits a pixel.
///
/// | bits | storage | meaning |
/// |---|---|---|
/// | 1 | 8 pixels a byte, the leftmost in bit 7 | 1 is black and opaque, 0 white and transparent |
/// | 8 | a byte | a density: 255 is black and opaque, 0 white and transparent |
/// | 24 | red, green, blue | |
/// | 32 | alpha, red, green, blue | |
///
/// Rows follow each other from y = 0 on, each aligned to 32 bits. Colours are QMCOLORREFs.
///
/// All pixels are in memory, and can be reached by address between `Lock` and `Unlock`. Locks nest;
/// an operation that needs one and finds none does nothing, and nor does any operation on an image
/// that was not created. Coordinates are in pixels, may have any value, and mean what lies inside
/// the image, where nothing else is said. An image belongs to one thread at a time.
class KX_EXPORT KXOffscreen {
 public:
  static constexpr BYTE cbBlack1Bit = 1, cbWhite1Bit = 0;
  static constexpr BYTE cbBlack8Bit = 255, cbWhite8Bit = 0;
  static constexpr BYTE cbNotTransmit1Bit = 1, cbTransmit1Bit = 0;
  static constexpr BYTE cbNotTransmit8Bit = 255, cbTransmit8Bit = 0;
  static constexpr QMCOLORREF ccrBlack24Bit = 0x000000, ccrWhite24Bit = 0xFFFFFF;
  static constexpr QMCOLORREF ccrNotTransmit24Bit = 0x000000, ccrTransmit24Bit = 0xFFFFFF;
  /// The qualities of a change of resolution.
  static constexpr int cnMostLowLevelRes = 0, cnLowLevelRes = 1, cnHighLevelRes = 2;
  /// The bit of a pixel by its place in the byte, and all bits but that.
  static constexpr BYTE cbBitArray[8] = {0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01};
  static constexpr BYTE cbXorBitArray[8] = {0x7F, 0xBF, 0xDF, 0xEF, 0xF7, 0xFB, 0xFD, 0xFE};
  /// White with alpha 0.
  static constexpr tagQMRGBCOLOR cqmclTransparencyColor = {0, 255, 255, 255};

  // --- Life -------------------------------------------------------------------------------------

  KXOffscreen() = default;
  /// As by assignment.
  KXOffscreen(const KXOffscreen& other);
  virtual ~KXOffscreen();
  /// Destroys this image and makes one of the size, depth and pixels of `other`, which may be
  /// locked or not. Fore colour, transparency, mode and clip stay as they are here.
  KXOffscreen& operator=(const KXOffscreen& other);

  /// Destroys what there is, and makes an image of `width` by `height` pixels, of all zero bytes
  /// or, with `fill` 1, filled with `color`. Sizes of 0 make an image without pixels. Raises
  /// 0x20010008 for another depth and for a size below 0, above 0x7FFFFF00, or whose rows' bytes
  /// have no count in 31 bits, and the platform's code (8) if there is no memory; an image has less
  /// than 4 GiB. The image is then empty.
  void Create(int width, int height, int bitCount, DWORD color, int fill);
  /// Ends all locks and frees the pixels.
  void Destroy();
  /// Destroys what there is, and takes over an image of `qmImageCreate`; this image's own does
  /// nothing. Raises 0x20010008 for a handle that is no image, before anything is done, and 8 if
  /// there is no memory; the handle is then still the caller's.
  void SetQMImage(QMHANDLE__* image);
  /// The image's block, null without one; it stays this object's.
  operator QMHANDLE__*() const;

  /// Makes the pixels reachable. Raises 8 if the platform refuses.
  void Lock();
  /// Takes one lock back; does nothing without a lock.
  void Unlock();
  int IsValid() const { return image_.IsValid(); }
  int IsValidBuffer() const { return IsValid(); }

  // --- Properties -------------------------------------------------------------------------------

  int GetWidth() const { return info_.width; }
  int GetHeight() const { return info_.height; }
  int GetBitCount() const { return info_.bitCount; }
  int GetRowBytes() const { return info_.rowBytes; }
  /// Bytes of a pixel; 1 at 1 bit, 0 without an image.
  int GetPixelSize() const { return info_.bitCount == 1 ? 1 : info_.bitCount / 8; }
  /// The application's mark of the image, as it was when this object got it.
  int GetLayerKind() const { return info_.layerKind; }
  /// The first row; null unless locked.
  BYTE* GetBaseAddress() const { return info_.base; }
  /// Bytes of all rows.
  i64 GetBufferSize() const { return i64{info_.rowBytes} * info_.height; }
  // Where the channels stand in a pixel; 0 below 24 bits.
  int GetOffsetByteAlpha() const { return 0; }
  int GetOffsetByteRed() const { return info_.bitCount == 32 ? 1 : 0; }
  int GetOffsetByteGreen() const { return GetOffsetByteRed() + (info_.bitCount >= 24 ? 1 : 0); }
  int GetOffsetByteBlue() const { return GetOffsetByteRed() + (info_.bitCount >= 24 ? 2 : 0); }
  /// (0, 0, width, height).
  void GetRect(tagRECT& rect) const { rect = {0, 0, info_.width, info_.height}; }
  int PointInOffscreen(int x, int y) const {
    return x >= 0 && x < info_.width && y >= 0 && y < info_.height;
  }

  QMCOLORREF GetForeColor() const { return foreColor_; }
  /// The fore colour at 1 bit: 1 where the 8-bit one is above 127.
  BYTE Get1BitForeColor() const { return foreColor1_; }
  /// The fore colour at 8 bits: 255 - (red + green + blue) / 3.
  BYTE Get8BitForeColor() const { return foreColor8_; }
  void SetForeColor(const DWORD& color);
  /// Takes the high byte of each channel.
  void SetForeColor(tagQMRGBCOLOR16 color);

  /// 0 to 255, which is opaque.
  int GetTransparency() const { return transparency_; }
  void SetTransparency(int transparency);
  /// A number of the application, which the painting of rows heeds.
  int GetMode() const { return mode_; }
  void SetMode(int mode) { mode_ = mode; }

  // --- Clip -------------------------------------------------------------------------------------

  // The clip is for the operations that paint row by row, and says so there; copies and fills of
  // rectangles do not heed it. It is a rectangle, or a mask that lies at (x, y) of this image. A
  // positive scale says that the mask has so many pixels for each pixel of this image, a negative
  // one that a pixel of the mask covers as many pixels of this image.

  /// 0 none, 1 a rectangle, 2 a mask.
  int GetClipMode() const { return clipMode_; }
  /// All zero but in clip mode 1.
  tagRECT GetClipRect() const { return clipRect_; }
  /// A rectangle of zeros ends clipping.
  void SetClipRect(const tagRECT& rect);
  /// `mask` is not owned and must outlive the clip; null ends clipping. A scale of 0 raises
  /// 0x20010008.
  void SetClipMask(KXOffscreen* mask, int x, int y, int scale);
  void ResetClip();

  // Between lengths and coordinates here and those of the clip mask. Divisions truncate toward
  // zero; what would leave 32 bits stops at their ends.
  int OffscreenToClipMask(int value) const { return Scale(value, clipScale_); }
  int OffscreenToClipMaskX(int x) const { return Scale(i64{x} - clipX_, clipScale_); }
  int OffscreenToClipMaskY(int y) const { return Scale(i64{y} - clipY_, clipScale_); }
  int ClipMaskToOffscreen(int value) const { return Scale(value, -i64{clipScale_}); }
  int ClipMaskToOffscreenX(int x) const { return Scale(x, -i64{clipScale_}, clipX_); }
  int ClipMaskToOffscreenY(int y) const { return Scale(y, -i64{clipScale_}, clipY_); }

  // --- Sizes ------------------------------------------------------------------------------------

  /// Round up to a multiple of 32 or 64. A negative value v that is none becomes v + n - |v % n|,
  /// n being 32 or 64, which is mostly no multiple; it is kept so. Raise 0x20010008 where the
  /// result does not fit.
  static int Align32Bit(int value);
  static int Align64Bit(int value);
  /// Bytes of a row and of all rows. Raise 0x20010008 for a depth other than 1, 8, 24 and 32, and
  /// for a row whose bytes do not fit.
  static int CalcRowLineBufferSize(int width, int bitCount);
  static i64 CalcBufferSize(int width, int height, int bitCount);
  /// At 1 bit takes `left` down to a multiple of 8. The right is left alone.
  static void CalcAlign8BitRect(tagRECT& rect, int bitCount);
  /// Cuts a block of `width` by `height` to `count` rectangles, each in coordinates of its own, in
  /// which the block's corner lies at the origin of the same number. All origins move alike.
  /// Returns 1; 0 with a width and height of 0 if nothing is left. Null raises 0x20010008.
  static int CalcSafetyArea(const tagRECT* rects, tagPOINT* origins, int count, int& width,
                            int& height);

  // --- Single pixels ----------------------------------------------------------------------------

  // As those of a cursor at (x, y), which check nothing: the image must be locked and the pixel
  // inside it.
  BYTE Get1BitPixel(int x, int y);
  BYTE Get8BitPixel(int x, int y);
  DWORD Get24BitPixel(int x, int y);
  DWORD Get32BitPixel(int x, int y);
  void Set1BitPixel(const BYTE& value, int x, int y);
  void Set8BitPixel(const BYTE& value, int x, int y);
  void Set24BitPixel(const DWORD& color, int x, int y);
  void Set32BitPixel(const DWORD& color, int x, int y);

  // --- Copies -----------------------------------------------------------------------------------

  // `this` receives the pixels and `source` is read; both must be locked. The source may be this
  // image: but for CopyEx and CopyAlign8Bit the pixels are then read as they were before the call,
  // for which 8 is raised if there is no memory.

  /// Copies what lies inside both images; another depth is converted as the reads and writes of
  /// this image's depth do. With `mode` 1 each channel of the result is the smaller one of source
  /// and destination: the darker at 24 and 32 bits, but the lighter at 1 and 8.
  void Copy(int x, int y, int width, int height, KXOffscreen* source, int sourceX, int sourceY,
            int mode);
  /// Moves a block between images of one depth, pixel after pixel (at 1 bit byte after byte, from
  /// byte x / 8 on): rightwards and downwards or, where `forwardX` or `forwardY` is 0, leftwards or
  /// upwards. So the caller chooses what an overlap gives. Raises 0x20010008, with nothing moved,
  /// for a block that is not inside both images.
  void CopyEx(int x, int y, int width, int height, KXOffscreen* source, int sourceX, int sourceY,
              int forwardX, int forwardY);
  /// Copies the pixels where `mask`, read at 1 bit and cut like the source, has 1. A 32-bit image
  /// gets them with alpha 255.
  void CopyMask(int x, int y, int width, int height, KXOffscreen* source, int sourceX, int sourceY,
                KXOffscreen* mask, int maskX, int maskY);
  /// Copy the pixels that are equal to `key`, or not equal. Pixels are read as the source's depth
  /// has them; at 1 and 8 bits the key's low byte counts, else the whole key, so that one with an
  /// alpha equals no pixel of 24 bits.
  void CopyMaskColor(int x, int y, int width, int height, KXOffscreen* source, int sourceX,
                     int sourceY, DWORD key);
  void CopyMaskColorEx(int x, int y, int width, int height, KXOffscreen* source, int sourceX,
                       int sourceY, DWORD key);
  /// Copies to the same position between images of one depth and length of rows, in whole groups of
  /// 32 pixels at 1 bit and of 4 at 8: more than was asked for. Columns are cut to both images; of
  /// rows, `height` are copied from `y`, or 0 if that is negative, and 0x20010008 is raised, with
  /// nothing copied, where an image has not so many.
  void CopyScamp(int x, int y, int width, int height, KXOffscreen* source);
  /// Copies between images of one depth, at 1 bit in whole bytes from x / 8 on. Raises as CopyEx.
  void CopyAlign8Bit(int x, int y, int width, int height, KXOffscreen* source, int sourceX,
                     int sourceY);
  /// Complements all pixels at 1 and 8 bits, and what fills up rows: at 1 bit to the end of the
  /// last byte that holds pixels, at 8 bits all of it.
  void Reverse();

  // --- Filled rectangles ------------------------------------------------------------------------

  // With the fore colour: at 1 bit black only if its red, green and blue are 0; at 32 bits with its
  // alpha. Transparency and clip take no part.

  /// All pixels.
  void Fill();
  void RectFill(const tagRECT& rect);
  /// The same in whole groups of 32 pixels at 1 bit and of 4 at 8: more than was asked for.
  void RectFillScamp(const tagRECT& rect);

  /// A row of `length` pixels from the place of `cursor`, a cursor of this image, or from `left` to
  /// `right`, both included.
  void FillLineRow(int length, const KXOffscreenCursor& cursor);
  void FillLineRow(int left, int right, int y);

  // --- Polygons and circles --------------------------------------------------------------------

  // Painted with the fore colour, inside the clip, as transparency and mode say; with F the fore
  // colour's value at the image's depth and `opacity` the transparency over 255:
  //
  // | transparency | mode | a pixel becomes |
  // |---|---|---|
  // | 255 | 1 | the darker one of pixel and F, channel by channel |
  // | 255 | other | F |
  // | less | any | at 1 bit F, else pixel * (1 - opacity) + F * opacity, truncated |
  //
  // A 32-bit pixel comes out with alpha 255. Where it is looked at, its alpha, red and green stand
  // for its red, green and blue; this is kept so. Under a clip mask each row of pixels is painted
  // where the mask's row has 1. A mask coarser than the image is read once for each span of a row,
  // at its first pixel in the row of the mask that lies under it; this is kept so, too.

  /// Fills a polygon by the even-odd rule. An edge crosses a row at its upper end or a slope
  /// further for each row, and not at its lower end; a span reaches from one crossing to the next,
  /// both rounded (a half more, truncated) and included. Horizontal edges are painted after that,
  /// once more each. Nothing is painted with transparency 0 or, at 1 bit, below 127. Without points
  /// nothing happens; raises 8 if there is no memory.
  void FillPolygon(tagPOINT* const points, int count);
  /// The same for a convex polygon in integer steps: a row reaches from the least to the greatest
  /// column in which Bresenham's walk along an edge, lower end included, comes to it. Of another
  /// polygon that is more than its inside.
  void FillPolygonConvex(tagPOINT* const points, int count);
  /// Fills the circle around the middle of the rectangle (whole numbers, truncated), with half of
  /// its width as radius, cut to its rows, of which that at `bottom` is one. It is painted whatever
  /// the transparency, unlike polygons. Nothing is painted unless the whole rectangle lies in the
  /// image, and of a reversed one.
  void TrueArcFill(int left, int top, int right, int bottom);

  // --- Lines and shapes ------------------------------------------------------------------------

  /// Paints a square of `width` by `width` pixels around each point of a Bresenham walk from the
  /// first point to the second, with the fore colour as a write at 24 bits. A square whose left
  /// column is outside the image is left out as a whole, which is kept so.
  void Line(int x1, int y1, int x2, int y2, int width);
  /// Four lines through the outermost pixels inside the rectangle: above a width of 1 they reach
  /// over it, as `Line` does around its points.
  void RectFrame(const tagRECT& rect, int width);
  /// Fills the ellipse in a rectangle as RectFill does; a rectangle of less than two pixels in both
  /// directions holds none.
  void ArcFill(int left, int top, int right, int bottom);
  /// Lays the fore colour by its alpha over a row of a 32-bit image, both columns included. With
  /// `mode` 0 the result is opaque; else alphas add up, and the less opaque a pixel is the more of
  /// the fore colour it takes.
  void TransrateFillLineRow(int left, int right, int y, int mode);
  /// The same of one pixel with mode 0.
  void TransparentPlot(int x, int y);

  // --- Texts ------------------------------------------------------------------------------------

  /// Draws a line of text with the fore colour, at 32 bits with an alpha of 255, from `rect`'s top
  /// on: with `mode` 1 up to its right, with 2 in the middle, otherwise from its left on. What lies
  /// outside of `rect` is cut off, unlike in `KXVOffscreen::DrawString`, whose texts and failures
  /// are the same. Does nothing without a lock.
  void DrawString(const char* text, tagRECT rect, KXFont& font, int mode);

  // --- Extraction ------------------------------------------------------------------------------

  /// Finds the rectangle around all pixels that do not read as white at 24 bits. Returns 0, with
  /// `rect` as it was, if there are none. Locks the image for that if it is not, and releases the
  /// lock if it is the only one: also the one that a caller holds, which is kept so.
  int GetExtentRect(tagRECT& rect);

  // The results are new, unlocked, and the caller's to delete; null without a lock. A colour is
  // narrowed to the high bytes of its channels and compared with pixels as they read at 32 bits;
  // null raises 0x20010008. Raise 8 if there is no memory.

  /// A white image of the same size and depth, with `to` where this one has `from`.
  KXOffscreen* ExtractionColor(tagQMRGBCOLOR16* const from, tagQMRGBCOLOR16* const to) const;
  /// A 1-bit image with 1 where this one has the colour, or has another.
  KXOffscreen* ExtractionColorMask(tagQMRGBCOLOR16* const color) const;
  KXOffscreen* ExtractionColorMaskEx(tagQMRGBCOLOR16* const color) const;
  /// A 1-bit image with 1 where alpha is not 0 at 32 bits, and where a pixel does not read as white
  /// at 24 bits else.
  KXOffscreen* CreateMask() const;

  // --- Seed-scan fill ---------------------------------------------------------------------------

  // The region of a seed: the pixels that hang together with it by their sides and have exactly its
  // colour, of which an alpha is no part. Clip and transparency take no part. The image is locked
  // for the call; `bounds`, which may be null, gets the rectangle of what was reached. After each
  // run of pixels the user is asked whether to stop (`qmAbort`): what was painted stays, and the
  // bounds tell of it. Raise 8 if there is no memory, and leave what was painted.

  /// Paints the region with the fore colour, at 32 bits with alpha 255. Does nothing, and leaves
  /// `bounds`, if the seed has that colour already or lies outside. A fore colour with an alpha
  /// is never the seed's at 24 and 32 bits: the region is painted once more then, and the fill ends
  /// when all of it is.
  void SeedScanFill(const tagPOINT& seed, tagRECT* bounds);
  /// Leaves the image, and sets the region in `mask`, of 1 bit and the same size, to that one's
  /// 1-bit fore colour; a pixel that has it already is the region's end. A mask of another depth
  /// does nothing, one of another size raises 0x20010008. With a seed outside, as all are of an
  /// image that was not created, nothing is set, but both images stay locked once more than before:
  /// it is for the caller to end these locks.
  void SeedScanFill1BitMask(KXOffscreen& mask, const tagPOINT& seed, tagRECT* bounds);

  // --- Smoothing --------------------------------------------------------------------------------

  /// A run of like pixels of a line: from `start` up to `end`, with the mean of its two end pixels.
  struct _LData {
    LONG start, end;
    tagQMRGBCOLOR color;
  };

  /// Softens the stairs between areas of flat colour, without a filter: where the edge of an area
  /// steps from one row or column to the next, the pixels along the step get a ramp between both
  /// colours. For 32-bit images; another depth raises 0x20010008. Not opaque means white here.
  ///
  /// `rect`, null for the whole image, is widened by a pixel on all sides; nothing outside is read.
  /// The ramps go to two scratch pictures, which are merged into the image at last. Those of a
  /// caller are 32-bit images of this size, both filled with 0x00FFFFFF, and hold the ramps after
  /// the call; others raise 0x20010008. Without them only what has ramps takes memory. The tables
  /// of runs are not used: the runs of a line take no memory.
  ///
  /// Raises 8 if there is no memory; the image is then as it was. An image that is locked once on
  /// return, by the caller even, is unlocked.
  void DoSmoothing(tagRECT* rect, KXOffscreen* scratch1, KXOffscreen* scratch2, _LData (*runs)[][3],
                   int (*positions)[][3]);

  // --- Other sizes ------------------------------------------------------------------------------

  // Pixels are read and written as colours of 24 bits, so that a 32-bit image gets them opaque. An
  // image that is its own source is read as it was before. Raise 8 if there is no memory for that.

  /// Paints the rectangle (`destX`, `destY`, `destW`, `destH`) with what the source's rectangle
  /// shows. Sizes below 1 do nothing. Equal sizes are a plain `Copy`; others go by `level`:
  ///
  /// - `cnMostLowLevelRes`: the nearest pixel, as x * srcW / destW in whole numbers. One that is
  ///   beyond the source leaves the pixel here as it was.
  /// - `cnLowLevelRes`: the average of a box of whole pixels, in which the first pixel counts once
  ///   more and, where the height is reduced too, the first row as well. Boxes that pass `srcW` or
  ///   `srcH`, counted from the source's own edge, or the source's other edge, shrink to their
  ///   first column or row; so a `srcX` or `srcY` above 0 makes a difference, which is kept so. One
  ///   that begins beyond the source leaves the pixel here as it was. Enlarged, the nearest pixel.
  /// - any other: the average of the exact area. What of an area lies beyond the source counts as
  ///   black.
  ///
  /// Exactly half the width and height, at the last kind of level, is a path of its own for whole
  /// images: for x from 0 and y from `destY`, below `destW` and `destH`, pixel (`destY` + x, y)
  /// becomes the mean, cut to whole numbers, of the source's four pixels from (2 x, 2 y) to
  /// (2 x + 1, 2 y + 1). One of which the source has not all four stays as it was. `destX`, `srcX`
  /// and `srcY` take no part; all this is kept so.
  void ChangeResolution(int destX, int destY, int destW, int destH, KXOffscreen* source, int srcX,
                        int srcY, int srcW, int srcH, int level);

  // --- Turns and mirrors ------------------------------------------------------------------------

  // Angles are in degrees. With c and s, the cosine and sine, a turn takes (u, v) of this image to
  // (u c + v s, v c - u s), and shows at each whole place (x, y) the four pixels of this image
  // around (x c - y s, y c + x s), mixed by their distances, or as they are if they are equal.
  // Pixels up to one outside of the image are white. An image that is turned into itself is read as
  // it was before. Pixels are read and written as colours of 24 bits. Raise 8 if there is no
  // memory.

  /// Turns a rectangle of this image about its corner (0, 0) into the locked `dest`, whose corner
  /// is that of the box around the whole turned image, or 0 where that is above 0. The box around
  /// the turned rectangle is painted, with `color` where nothing of the image is. Corners of boxes
  /// are cut to whole numbers, and their right and bottom sides are open. Sizes below 1 do nothing.
  void RotationImage(KXOffscreen& dest, int angle, int x, int y, int width, int height,
                     DWORD color);
  /// Turns the whole image. A `dest` without pixels becomes a white image of this one's depth that
  /// holds the turned one, and is left unlocked; it has no pixels after a failure. Another one has
  /// to be locked, and is painted as far as it goes. With `mode` 0 the image is turned as by
  /// `RotationImage`, and otherwise about its centre, which becomes the centre of `dest`: a new one
  /// is as wide as twice the larger |w c + h s| and |w c - h s|, of half the width and height, and
  /// as high as the larger |h c - w s| and |h c + w s|, cut to whole numbers. White is painted
  /// where nothing of the image is, but not where four equal pixels are white. Raises 0x20010008 if
  /// a new one would be larger than an image can be.
  void CreateRotationImage(KXOffscreen& dest, int angle, int mode);

  /// Mirrors the image, top to bottom with a non-zero `vertical`, else left to right. Top to bottom
  /// the bytes of rows change places, at 1 bit with what fills up the last one; left to right that
  /// stays, and pixels alone do.
  void CreateFlipImage(int vertical);
  /// Copies a rectangle of the source to its mirrored place here, if this image has 24 or 32 bits;
  /// a source of another depth is converted as by `Copy`. Its row `y` comes to stand above the row
  /// height / 2 * 2 - `y` of this image, and the others above that, or its column `x` left of the
  /// column width / 2 * 2 - `x`. So with odd sizes it stands one pixel off its exact mirror; this
  /// is kept so. An image that is its own source is read as it was before. Raises 8 if there is no
  /// memory for that.
  void FlipImage(KXOffscreen& source, int vertical, int x, int y, int width, int height);

  // --- Store ------------------------------------------------------------------------------------

  /// Reads or writes the stored form, by the archive's direction. With a non-zero `reverse` the
  /// pixels are stored complemented at 1 and 8 bits. Writing raises 0x20010008 without an image;
  /// reading raises 0x2001000B for what is no stored image, or 0x20010008 where an archive with a
  /// cache ends before or in the first field, and leaves no image then.
  void Serialize(KXArchive& archive, int reverse);

 protected:
  void Read(KXArchive& archive, int reverse);
  void Write(KXArchive& archive, int reverse);

  // What ChangeResolution does by its level, for sizes above 0.
  void ChangeResolutionLow(int destX, int destY, int destW, int destH, KXOffscreen* source,
                           int srcX, int srcY, int srcW, int srcH);
  void ChangeResolutionMostLow(int destX, int destY, int destW, int destH, KXOffscreen* source,
                               int srcX, int srcY, int srcW, int srcH);
  /// The average colour of the box of pixels from (`x0`, `y0`) to (`x1`, `y1`), counted from
  /// (`srcX`, `srcY`) of this image, weighed by area; pixels beyond the image count as black.
  void CalcPixelValue(int srcX, int srcY, double x0, double x1, double y0, double y1, DWORD& out);
  /// The means of the channels of (x, y), (x + 1, y), (x, y + 1) and (x + 1, y + 1), cut to whole
  /// numbers. Raises 0x20010008 if they are not in the image.
  void CalcPixValueHalf(int x, int y, DWORD& out);

  bool IsLocked() const { return lockCount_ > 0; }
  /// Makes the row buffer a row of the fore colour, if it is not one already and the image locked.
  void FillRowLineBuffer();
  /// The part of the image that the clip rectangle leaves, or over which the clip mask lies, in
  /// whole pixels of the mask; the image without a clip. Returns 0, and leaves `area`, if that is
  /// nothing.
  int GetPaintArea(tagRECT& area) const;
  /// Paints the columns from `left` to `right`, both included, of the row of `cursor` as polygons
  /// do, as far as they lie in `imageArea` (null: the image). Under a clip mask it is the row of
  /// `maskCursor` that is read, and nothing is painted where that leaves `maskArea` (null: the
  /// mask). Both cursors, of this image and of the mask, come to the column of `left`.
  void FillLineRowForPolygon(const int& left, const int& right, KXOffscreenCursor& cursor,
                             KXOffscreenCursor& maskCursor, tagRECT* imageArea, tagRECT* maskArea);

  // The smoothing, pass by pass, in its plain form, which DoSmoothing agrees with. In direction 0 a
  // line is a row and a position a column; in direction 1 a line is a column, whose positions count
  // from the bottom row. Images must be locked, with the sizes and depths that DoSmoothing takes,
  // and lines and positions lie in them; else 0x20010008 is raised.

  /// Smooths the positions from `start` up to `end` of the lines from `firstLine` up to `lastLine`
  /// into the scratch pictures. The tables have three slots, for lines next to each other, for each
  /// run, and for each position the number of its run; both must hold `end` entries.
  void ExeSmoothing(KXOffscreen* scratch1, KXOffscreen* scratch2, _LData (*runs)[][3],
                    int (*positions)[][3], int direction, int start, int firstLine, int end,
                    int lastLine);
  /// Cuts a line into runs, in one slot of the tables.
  void ReadyLineData(_LData (*runs)[][3], int (*positions)[][3], int direction, int line, int slot,
                     int start, int end);
  /// Whether red, green and blue together differ by more than `threshold`, or alpha by more than
  /// 200. What is not wholly opaque counts as white. Channels are 0 to 255.
  int FindBorder(tagQMRGBCOLOR* a, tagQMRGBCOLOR* b, int threshold);
  /// a * (total - t) + b * t, each channel truncated; an alpha of 0 becomes 1.
  tagQMRGBCOLOR CalcRGBValue(const tagQMRGBCOLOR& a, const tagQMRGBCOLOR& b, double t,
                             double total);
  /// The mean of each channel, truncated toward zero.
  tagQMRGBCOLOR AveragePixel(const tagQMRGBCOLOR& a, const tagQMRGBCOLOR& b);
  /// Merges the ramps of a part into the image, which may have 24 bits here. Sums wrap at a byte.
  void FinishSmoothing(KXOffscreen* scratch1, KXOffscreen* scratch2, int left, int top, int right,
                       int bottom);

 private:
  friend class kxw::SpanPainter;  // applies the clip
  /// Paints a part of the image, or columns of a row that may lie outside it, with the row buffer.
  void FillArea(const tagRECT& area);
  void FillRow(i64 left, i64 end, int y);
  /// Whether an image can be a scratch picture of a smoothing.
  bool IsScratch(const KXOffscreen* image) const;
  /// Takes what the image says of itself. Raises 8 if it cannot be locked.
  void SetKXImageInfo(QMHANDLE__* image);
  /// Moves the row buffer to the rows of a part of the image; its columns begin and end with bytes.
  void FillRows(const tagRECT& area);
  void CopyByColor(int x, int y, int width, int height, KXOffscreen* source, int sourceX,
                   int sourceY, DWORD key, bool copiesEqual);

  /// `value` x `scale`, or for a negative scale `value` / -`scale`; with `offset` on top.
  static int Scale(i64 value, i64 scale, int offset = 0) {
    const i64 scaled = (scale > 0 ? value * scale : value / -scale) + offset;
    return static_cast<int>(scaled < -0x80000000ll ? -0x80000000ll
                            : scaled > 0x7FFFFFFF  ? 0x7FFFFFFF
                                                   : scaled);
  }

  KXHandle image_;
  KXHandle rowBuffer_;
  QMIMAGELOCK info_ = {};
  BYTE* rowBufferBytes_ = nullptr;
  LONG lockCount_ = 0;
  QMCOLORREF foreColor_ = 0;
  BYTE foreColor1_ = 1;
  BYTE foreColor8_ = 255;
  bool isRowBufferDirty_ = true;
  int transparency_ = 255;
  double opacityRatio_ = 1.0;
  double transmissionRatio_ = 0.0;
  int mode_ = 0;
  int clipMode_ = 0;
  tagRECT clipRect_ = {};
  KXOffscreen* clipMask_ = nullptr;  // not owned
  int clipX_ = 0;
  int clipY_ = 0;
  int clipScale_ = 1;
};
