#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "kxwcmn/core/array.h"
#include "kxwcmn/core/color.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/block.h"
#include "kxwcmn/offscreen/cursor.h"
#include "kxwcmn/offscreen/pixelformat.h"
#include "kxwcmn/offscreen/voffscreenptr.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXArchive;
class KXFont;
class KXVirtualMemory;
class KXSwapBlock;
class KXVOffscreenCache;
class KXVOffscreenBackup;
class KXVOffPixelMixer;
class KXVOffPixelMask;

/// What a cell of the grid holds.
enum AREA_TYPE : int {
  kAreaNone = 0,      ///< Outside the image, or no memory was ever taken.
  kAreaEmpty = 1,     ///< The cell's block has lost its contents, or never had any.
  kAreaContents = 2,  ///< The block has contents, on memory or in the swap file.
};

/// The edge of the grid that `DeallocateBlock` removes.
enum DEALLOCATE_BLOCK_TYPE : int {
  kDeallocateLeft = 0,
  kDeallocateTop = 1,
  kDeallocateRight = 2,
  kDeallocateBottom = 3,
};

/// A raster image of 256 by 256 pixel blocks, paged by a `KXVirtualMemory`.
///
/// The seven depths of 1, 2, 8, 16, 24, 32 and 64 bits are made by `CreateOffscreen`. A block that
/// was never written has no memory; it reads as the depth's default and comes into being, filled
/// with the clear colour, when a write lock reaches it.
///
/// All pixel access goes through the one cursor, between `Lock` and `Unlock`. Only the block under
/// the cursor is held in memory: an address is good while the cursor stays in that block. Reads
/// without `Fast` in the name give a default where there is no memory; writes there do nothing.
///
/// Applications bring pixels in and out by `ReadPixels` and `WritePixels`, a rectangle at a time.
///
/// An image belongs to one thread at a time, as does its manager. Coordinates are in pixels.
class KX_EXPORT KXVOffscreen {
 public:
  /// Pixels of a block's side; the shift and the mask that take a coordinate apart.
  static constexpr int kBlockSize = 256;
  static constexpr int kBlockShift = 8;
  static constexpr int kBlockMask = 255;
  /// The largest width and height: the last block must end inside 32 bits.
  static constexpr int kMaxSize = 0x7FFFFF00;

  /// How a change of resolution takes its samples.
  enum CHANGE_RESOLUTION_MODE : int { kResolutionFast = 0, kResolutionArea = 1 };

  /// The weights of one destination column or row: samples `start` to `end` of the source, the
  /// first and the last weighted, those between counting in full.
  struct _KXRESOLUTIONTABLE {
    int start;
    int end;
    int count;  ///< end - start
    double firstWeight;
    double lastWeight;
  };

  /// Makes an image of `bitCount` bits a pixel and gives it a size, a resolution in pixels a unit
  /// and a manager, by default that of the process. Raises 0x20010008 for a bit count that is none
  /// of the seven, and what `Create` raises.
  static KXVOffscreenPtr Make(int bitCount, int width, int height, double resolution = 72,
                              KXVirtualMemory* memory = nullptr);

  /// Makes an empty image of `bitCount` bits a pixel, owned by the caller; null for a bit count
  /// that is none of the seven.
  static KXVOffscreen* CreateOffscreen(int bitCount);
  /// Destroys an image made by `CreateOffscreen`. Null does nothing.
  static void DeleteOffscreen(KXVOffscreen* offscreen);
  /// Make a companion map with an image that is not yet created; the cache's may be broken. Null
  /// for a bit count that is none of the seven, and when there is no memory.
  static KXVOffscreenCache* CreateOffscreenCache(int bitCount);
  static KXVOffscreenBackup* CreateOffscreenBackup(int bitCount);
  /// Destroy a companion map with its image. Null does nothing.
  static void DeleteOffscreenCache(KXVOffscreenCache* cache);
  static void DeleteOffscreenBackup(KXVOffscreenBackup* backup);

  // --- The virtual table. Its order is part of the interface. -----------------------------------

  virtual ~KXVOffscreen();
  virtual void Initialize();
  /// Gives the image a manager (not owned; it must outlive the image's blocks), a size and a
  /// resolution in pixels a unit. No memory is taken but that of the grid. Blocks of an earlier
  /// `Create` are given back. Raises 0x20010008 for a null manager, a negative size or one above
  /// `kMaxSize`, and 8 if the grid finds no memory; the image is then empty.
  virtual void Create(KXVirtualMemory* memory, int width, int height, double resolution);
  /// Frees all blocks and returns to the state before `Create`. The break permission, the protect
  /// area and the specialty flag stay.
  virtual void Destroy();
  /// Grows the image so that `rect`, in its present coordinates, lies inside: to the left and on
  /// top by whole blocks, to the right and below by pixels. `out`, if not null, gets the shift of
  /// old coordinates as its left and top; its right and bottom are that shift plus the new size.
  /// Returns 1; 0 if the image is locked or would pass `kMaxSize` (it is unchanged), or if memory
  /// ran out: the image is then destroyed.
  virtual int AllocateRect(const KXRect& rect, KXRect* out);
  /// Removes one edge of the grid with its blocks. Returns 1; 0 if it is the last column or row, or
  /// the image is locked. Raises 8, with nothing changed, if the new grid finds no memory.
  virtual int DeallocateBlock(DEALLOCATE_BLOCK_TYPE type);
  /// Removes the block columns and rows that lie wholly outside `rect`; `shift` gets what is to be
  /// taken from old coordinates. Returns 0 if a removal failed, with what was removed gone.
  virtual int DeallocateRect(KXRect rect, KXPoint& shift);
  /// Resamples the `sw` by `sh` pixels at (`sx`, `sy`) of `src` into the `w` by `h` at (`x`, `y`).
  ///
  /// Each rectangle is cut to its own image, by which the ratio may change; nothing is done if
  /// nothing is left of one. Equal sizes are copied, as by `Copy` with a `clearMode` of 1.
  /// Otherwise `kResolutionFast` is `ChangeResolutionLow`, the only one that `skipTransparent` is
  /// for, and `kResolutionArea` gives each pixel the average of the box of the source that it
  /// covers, by the weights of `SetResolutionTable` and the sums of `CalcPixelValue`; exact halves
  /// and quarters are left to the operations below. Any other mode does nothing.
  ///
  /// The area filter writes what `CalcPixelValue` gives with `Set32BitColor`, at 8 bits and below
  /// its low byte with `Set8BitColor`; from 64 bits to fewer it does nothing. A non-zero `behind`
  /// lays the result under what the image holds, as `CommonCopy` does; at 8 bits and below a result
  /// that is not 0 replaces.
  ///
  /// The 64-bit depth takes a source of 64 bits alone. Its area filter stores what it laid behind
  /// with the channels moved together to 8 bits each, in the low half of the pixel; this is meant.
  ///
  /// `src` is read-locked for the call and not kept; null does nothing, and this image itself
  /// raises 0x20010008. Polls `KXAbort`. Raises 8 if a block finds no room or cannot be brought in;
  /// what was written before stays.
  virtual void ChangeResolution(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy,
                                int sw, int sh, CHANGE_RESOLUTION_MODE mode, int behind,
                                int skipTransparent);
  /// Creates this image, through the manager of the process, and paints `src` into it, turned by
  /// `degrees`, any number of them, anticlockwise as the screen shows it. Its size follows from the
  /// turn, its resolution is that of `src`. Pixels of another depth are converted.
  ///
  /// With `smooth` 0 each pixel is the nearest one of `src`, by an angle of 12 fractional bits.
  /// Otherwise it is mixed of four, and the result is a pixel smaller than the corners of `src`
  /// span, so that no turn at all drops a column and a row. Pixels beyond the edge of `src` count
  /// as transparent white; four of them leave the result as it is. On the left and on top the
  /// filter goes on outwards for a pixel, and what passes the range of a channel there wraps. At 64
  /// bits the smooth result is opaque, and white where `src` ends.
  ///
  /// Blocks of `src` without memory read as 0, and their pixels are painted as such. Polls
  /// `KXAbort`. Raises 0x20010008 if `src` is this image or the turned one passes `kMaxSize`, and 8
  /// if a block finds no room or cannot be brought in. After a failure this image is not created.
  virtual void CreateRotationImage(KXVOffscreen& src, int degrees, int smooth);
  /// Fills a whole block with the clear colour; null stands for the block under the cursor.
  virtual void ClearBlock(BYTE* address);

  // Checked steps leave the image at its edge and come back in by themselves. `Fastest` steps know
  // no edges and no seams: the caller stays inside a block that has memory.
  virtual void NextCursorX();
  virtual void NextCursorXFastest();
  virtual void PrevCursorX();
  virtual void PrevCursorXFastest();

  // Reads of the pixel under the cursor, in the terms of every depth.
  virtual DWORD GetColor();
  virtual BYTE Get1BitColorFast();
  virtual BYTE Get1BitColor();
  virtual BYTE Get2BitColorFast();
  virtual BYTE Get2BitColor();
  virtual BYTE Get8BitColorFast();
  virtual BYTE Get8BitColor();
  virtual DWORD Get16BitColorFast();
  virtual DWORD Get16BitColor();
  virtual DWORD Get24BitColorFast();
  virtual DWORD Get24BitColor();
  virtual DWORD Get32BitColorFast();
  virtual DWORD Get32BitColor();

  // Writes of the pixel under the cursor; they need a write lock.
  virtual void SetColor(DWORD color);
  virtual void Set1BitColor(BYTE value);
  virtual void Set2BitColor(BYTE value);
  virtual void Set8BitColor(BYTE value);
  virtual void Set16BitColor(DWORD color);
  virtual void Set24BitColor(DWORD color);
  virtual void Set32BitColor(BYTE a, BYTE r, BYTE g, BYTE b);
  virtual void Set32BitColor(DWORD color);

  /// Whether the pixel counts as empty; a non-zero `flag` makes white count as empty too.
  virtual int IsTransparentFast(int flag);
  virtual int IsTransparent(int flag);
  /// The value that this depth's `SetColor` stores for a colour.
  virtual DWORD MakeNativeColor(DWORD color);

  virtual u64 Get64BitColorFast();
  virtual u64 Get64BitColor();
  virtual u64 Get48BitColorFast();
  virtual u64 Get48BitColor();
  virtual void Set48BitColor(u64 color);
  virtual void Set64BitColor(WORD a, WORD r, WORD g, WORD b);
  virtual void Set64BitColor(u64 color);
  virtual u64 MakeNativeColor64(u64 color);

  // The image without its alpha, and the alpha as a mask.
  virtual BYTE Get8BitImageFast();
  virtual BYTE Get8BitImage();
  virtual DWORD Get24BitImageFast();
  virtual DWORD Get24BitImage();
  virtual BYTE Get8BitMaskFast();
  virtual BYTE Get8BitMask();
  virtual int Get16BitMaskFast();
  virtual int Get16BitMask();
  virtual void Set8BitMask(BYTE value);
  virtual void Set16BitMask(int value);

  /// Copies the `width` by `height` pixels at (`srcX`, `srcY`) of `src` to (`dstX`, `dstY`) here.
  ///
  /// What lies outside either image is left out; another depth is converted pixel by pixel. `src`
  /// is read-locked for the call, never written and not kept; null does nothing. It may be this
  /// image: then the pixels are read as they were before the call.
  ///
  /// `clearMode` 1 clears the pixels that stand for a source block without memory, any other value
  /// leaves them. At 1, 2, 8 and 32 bits a whole block of that kind is given back here under every
  /// value, where the grids agree: a hole is copied as a hole.
  ///
  /// A copy of all to all, of one size and depth, is `CopyAll`, whatever `clearMode` says. Raises
  /// KXException with code 8 if a new block finds no room, or one of either image cannot be brought
  /// in; what was copied before stays.
  virtual void Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX,
                    int srcY, int clearMode);
  /// Brings the `sw` by `sh` pixels at (`sx`, `sy`) of `src` to the `w` by `h` pixels at (`x`, `y`)
  /// here, one source pixel for each: the one at column i times `sw` / `w`, cut to a whole number,
  /// and so in rows. What lies outside this image is left out.
  ///
  /// Pixels pass in the native form of `src`, whatever depth this image has; from 64 bits they are
  /// converted, and 64 bits take nothing from another depth. Blocks of `src` without memory, and
  /// what lies outside it, are copied as the read where no memory is: 0, and white at 24 bits.
  ///
  /// Null, a `src` that is not created and sizes below 1 do nothing. Polls `KXAbort`. Raises
  /// 0x20010008 if `src` is this image, and 8 if a block finds no room or cannot be brought in;
  /// what was copied before stays.
  virtual void StretchCopy(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy, int sw,
                           int sh);

  /// Fills `rect`, cut to the image, with `color` or, with a non-zero `useClear`, with the clear
  /// colour.
  virtual void RectFill(const KXRect& rect, int useClear, DWORD color);
  /// Draws a line right across the image: the column `position` with `orientation` 1, else the row.
  virtual void DrawSimpleLine(int orientation, int position, DWORD color);
  /// Draws `length` pixels of the column or row `position` from `start` on; none if it is below 1.
  virtual void DrawSimpleSegment(int orientation, int position, int start, int length, DWORD color);
  /// Draws a segment with a square brush of `width` pixels, whose top left goes from (x1, y1) to
  /// (x2, y2). With `adjustWidth` 1 a slanted segment has a smaller brush, so that it looks as wide
  /// as others; `DrawSegment` keeps that brush in the middle of the width where it stamps it.
  /// `behind` 1 lays each stamp under what is there; 0 paints the whole outline at once.
  virtual void DrawSegment(int x1, int y1, int x2, int y2, int width, DWORD color, int behind,
                           int adjustWidth);
  virtual void DrawSegment2(int x1, int y1, int x2, int y2, int width, DWORD color, int behind,
                            int adjustWidth);

  virtual void RectFill64(const KXRect& rect, int useClear, u64 color);
  virtual void RectFill64(const KXRect& rect, int useClear, u64 color, int behind);
  virtual void DrawSimpleLine64(int orientation, int position, u64 color);
  virtual void DrawSimpleSegment64(int orientation, int position, int start, int length, u64 color);
  virtual void DrawSegment64(int x1, int y1, int x2, int y2, int width, u64 color, int behind,
                             int adjustWidth);
  virtual void DrawSegment642(int x1, int y1, int x2, int y2, int width, u64 color, int behind,
                              int adjustWidth);
  virtual void FillPolygon64(const KXPoint* points, int count, tagRECT* clip, u64 color,
                             int closed);
  virtual void ArcFill64(int left, int top, int right, int bottom, u64 color, const tagRECT* clip);
  virtual void CircleFill64(int left, int top, int diameter, const u64& color, int fillMode,
                            KXVOffscreen* clip1Bit, const tagPOINT& clipOffset, const tagRECT* clip,
                            BYTE* pattern);

  /// A new image of this depth, size, resolution and contents, from the manager of the process. The
  /// caller owns it; raises what `Create` and `CopyAll` raise, and leaves nothing behind then.
  virtual KXVOffscreen* CreateAndCopyAll();
  // New images of this depth and resolution, from the manager of the process, with this one's
  // pixels turned or mirrored. Blocks without memory stay without, and clear colours and offset are
  // those of any new image. The caller owns the result. They poll `KXAbort`, raise what `Create`
  // raises, and 8 if a block finds no room or cannot be brought in; the new image is gone then.

  /// A quarter turn anticlockwise: the pixel (x, y) goes to (y, width - 1 - x).
  virtual KXVOffscreen* CreateAndRotate90();
  /// A quarter turn clockwise: the pixel (x, y) goes to (height - 1 - y, x).
  virtual KXVOffscreen* CreateAndRotate90R();
  /// `CreateAndCopyAll` without the contents.
  virtual KXVOffscreen* CreateSameSizeOffscr();
  /// Left becomes right.
  virtual KXVOffscreen* CreateAndReverseHorz();
  /// Top becomes bottom.
  virtual KXVOffscreen* CreateAndReverseVert();

  /// Points the current address at (x, y), which must lie in the current block.
  virtual void SetCurrentCursorAddress(int x, int y);

  /// Frees the blocks in which no pixel is in use. Does nothing while the image is locked. At 24
  /// bits black is not in use and reads as white afterwards; at 16, 32 and 64 alpha 0 is not.
  virtual void Optimize();
  /// The same for the one block that holds `rect`, also inside a lock; the cursor stays where the
  /// test left it. A rectangle that leaves its block does nothing, nor one where there is no block.
  virtual void OptimizeBlock(tagRECT rect);

  // The row painters. The caller holds a write lock; the columns are inclusive, what lies outside
  // the image is left out, and no columns at all paint nothing. The cursor ends behind `x2`.

  /// Paints columns of the cursor's row, by `fillMode` and through `clip1Bit` and `pattern` as in
  /// the `RectFill` that takes them; `pattern` is the stipple's one row. An alpha covers black: the
  /// result is darkened and opaque, and at 8 bits the alpha itself. The base class, and the 64-bit
  /// depth in the 32-bit form, do nothing.
  virtual void FillLineRowForPolygon(int x1, int x2, DWORD color, int fillMode,
                                     KXVOffscreen* clip1Bit, int clipOffset, const BYTE* pattern);
  /// Writes columns of row `y`, cut to `clip` (null: the image). The colour counts as a value of
  /// the depth's own, save at 1 bit, where any top bit of its bytes draws, and at 8 bits, where its
  /// low byte is taken as grey.
  virtual void FillLineRow(int x1, int x2, int y, DWORD color, const tagRECT* clip);
  /// The strongest pixel of columns of the cursor's row, under a lock of any kind: by density at 8
  /// bits, by red at 24 and by alpha, at 64 bits of 16, in the other depths; below 8 bits 255 for
  /// the first one drawn, on which the cursor then stays.
  virtual int SearchLineRowForPolygon(int x1, int x2);

  /// Brings the `sw` by `sh` pixels at (`sx`, `sy`) of `src` to the `w` by `h` pixels at (`x`, `y`)
  /// here, each of them the plain average of a box of whole source pixels, in 32 bits: the fast
  /// change of size. What lies outside this image is left out, but does not change the ratio.
  ///
  /// The boxes are cut at the blocks of both images, so that one may lie a pixel beside where the
  /// ratio alone would put it; in an enlargement of more than a block a pixel, blocks here that no
  /// whole source pixel starts in are left alone. Source blocks without memory leave what is here.
  /// Between two images of 8 bits the box's sum is stored without a division and wraps; between two
  /// of 1 or 2 bits the most frequent value counts, and the lighter one of equals.
  ///
  /// A non-zero `behind` lays the average under what this image holds. With a non-zero
  /// `skipTransparent` the colours, and at 64 bits the alpha too, are those of the pixels that are
  /// not wholly transparent.
  ///
  /// At 64 bits the average is taken in 64 bits, of boxes that know no blocks; source pixels
  /// without memory or outside `src` count as 0. A box is cut to its first pixel in a direction in
  /// which it would end behind coordinate `sw` or `sh` of the source.
  ///
  /// Null, a `src` that is not created and sizes below 1 do nothing. Polls `KXAbort`. Raises
  /// 0x20010008 if `src` is this image, and 8 if a block finds no room or cannot be brought in;
  /// what was written before stays.
  virtual void ChangeResolutionLow(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy,
                                   int sw, int sh, int behind, int skipTransparent);
  // The integer ratios. `src` is read from (`sx`, `sy`) on; it and failures are treated as in
  // `ChangeResolution`. Source blocks without memory leave their place here as it is.

  /// Half and quarter average squares of 2 by 2 and 4 by 4 pixels, without rounding. A square that
  /// two blocks share goes with the right or lower one. With a non-zero `behind` results of nothing
  /// are left out, a transparent pixel is replaced and others have the result laid under them.
  ///
  /// Two images of 8 bits work on densities, all others on 32 bits, and the 64-bit depth on its
  /// own.
  virtual void ChangeResolutionHalf(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy,
                                    int behind);
  virtual void ChangeResolutionQuarter(int x, int y, int w, int h, KXVOffscreen* src, int sx,
                                       int sy, int behind);
  /// Double and fourfold repeat each pixel in a square, cut only to the image: with an odd `w` the
  /// last pair of columns may pass the rectangle by one. Fourfold takes `w` * 4 by `h` * 4 pixels
  /// of the source, sixteen times the rectangle and not a sixteenth, and so writes up to the
  /// image's edge; this is meant.
  virtual void ChangeResolutionDouble(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy,
                                      int behind);
  virtual void ChangeResolutionFourfold(int x, int y, int w, int h, KXVOffscreen* src, int sx,
                                        int sy, int behind);
  /// The same for the whole source, from (0, 0) to (0, 0), replacing.
  virtual void ChangeResolutionHalfAll(KXVOffscreen* src);
  virtual void ChangeResolutionQuarterAll(KXVOffscreen* src);
  virtual void ChangeResolutionDoubleAll(KXVOffscreen* src);
  virtual void ChangeResolutionFourfoldAll(KXVOffscreen* src);

  /// The area filter's value of one pixel: the sum of this image's samples in the box of the two
  /// tables, which count from (`baseX`, `baseY`), each row's sum weighed as a whole, times `scale`,
  /// rounded and cut to 255. Samples outside the image are left out, which lowers the result; those
  /// without memory count as what the depth's own read gives there.
  ///
  /// One channel (1 and 8 bits) comes in bytes 0 to 2; at 2 and 16 bits the colour there, at 2 bits
  /// 255 for black, and the alpha in byte 3; at 24 and 32 bits every channel in its place. 1 and 2
  /// bits count as 0 or 1, times 255 at the end. At 64 bits `result` is left alone, and
  /// `CalcPixelValue64` is the same in channels of 65535; in the other depths that does nothing.
  ///
  /// The caller holds a lock; the cursor moves. Raises 0x20010008 for a table that is null, 8 for a
  /// block that cannot be brought in.
  virtual void CalcPixelValue(_KXRESOLUTIONTABLE* xTable, _KXRESOLUTIONTABLE* yTable, int baseX,
                              int baseY, double scale, DWORD& result);
  virtual void FillLineRowForPolygon64(int x1, int x2, u64 color, int fillMode,
                                       KXVOffscreen* clip1Bit, int clipOffset, const BYTE* pattern);
  virtual void FillLineRow64(int x1, int x2, int y, u64 color, const tagRECT* clip);
  virtual void CalcPixelValue64(_KXRESOLUTIONTABLE* xTable, _KXRESOLUTIONTABLE* yTable, int baseX,
                                int baseY, double scale, u64& result);
  /// `FloodFill` with a 64-bit colour; every depth but 64 narrows it.
  virtual int FloodFill64(KXRect& result, const KXPoint& seed, u64 color, KXVOffscreen* reference,
                          KXVOffscreen* second, const KXPoint& origin, const KXRect& clip,
                          int margin, int* count, int abortable);

  // --- Geometry and marks -----------------------------------------------------------------------

  KXVOffscreen(const KXVOffscreen&) = delete;
  KXVOffscreen& operator=(const KXVOffscreen&) = delete;

  int GetWidth() const { return width_; }
  int GetHeight() const { return height_; }
  int GetBitCount() const { return bitCount_; }
  /// Bytes from one row of a block to the next.
  int GetBlockRowBytes() const { return blockRowBytes_; }
  KXRect GetRect() const { return KXRect(0, 0, width_, height_); }
  void GetRect(KXRect& rect) const { rect = GetRect(); }
  /// The position of the image's own (0, 0) in the document.
  KXPoint GetOffset() const { return offset_; }
  void SetOffset(const KXPoint& offset) { offset_ = offset; }
  /// Pixels a unit.
  double GetResolution() const { return resolution_; }
  void SetResolution(double resolution) { resolution_ = resolution; }
  /// The manager, not owned; null before `Create`.
  KXVirtualMemory* GetVirtualMemory() const { return memory_; }

  /// Maps a point of `source` into this image by resolution and offset. The three forms differ in
  /// the signs of the offsets and in their rounding; mask alignment is defined by them as they are.
  void ConvertPoint(KXPoint& out, const KXVOffscreen* source, const KXPoint& point) const;
  int ConvertPointX(const KXVOffscreen* source, int x) const;
  int ConvertPointY(const KXVOffscreen* source, int y) const;

  /// Whether new blocks are filled with the clear colour; otherwise their memory stays as it comes.
  int IsEnableClear() const { return enableClear_ == 1; }
  void EnableClear(int enable) { enableClear_ = enable; }
  /// The clear value of the 1-bit and 8-bit depths. Null is left alone.
  void GetClearColor(BYTE* value) const {
    if (value) *value = byteClearColor_;
  }
  void SetClearColor(BYTE value) { byteClearColor_ = value; }
  /// The clear value of the 16-, 24- and 32-bit depths. Null is left alone.
  void GetClearColor(DWORD* color) const {
    if (color) *color = clearColor_;
  }
  void SetClearColor(DWORD color) { clearColor_ = color; }
  /// Stored only: 256 is opaque, 65536 in the 64-bit depth.
  int GetTransparency() const { return transparency_; }
  void SetTransparency(int transparency) { transparency_ = transparency; }
  /// The application's own mark; the library never reads it.
  int GetSpecialtyOffscr() const { return specialty_; }
  void SetSpecialtyOffscr(int flag) { specialty_ = flag; }
  /// Non-zero makes new blocks temporary: they may be dropped under memory pressure, and only those
  /// in the protect area are held fast.
  void AllowBreak(int allow) { allowBreak_ = allow; }

  // --- The grid ---------------------------------------------------------------------------------

  /// Returns the number of cells, and the columns and rows through pointers that are not null.
  int GetBlockCount(int* x, int* y) const;
  /// The cell of a pixel, -1 outside the image.
  int GetBlockIndex(int x, int y) const {
    if (x < 0 || y < 0 || x >= width_ || y >= height_) return -1;
    return GetBlockIndexFast(x, y);
  }
  int GetBlockIndexFast(int x, int y) const {
    return static_cast<int>(static_cast<i64>(y >> kBlockShift) * blockCountX_ + (x >> kBlockShift));
  }
  /// The pixels that a cell stands for; empty for an index outside the grid.
  KXRect GetBlockByIndex(int index) const;
  /// Non-zero if the cell has a block; the number is the block's address.
  std::intptr_t GetBlockExist(int x, int y) const { return GetBlockExist(GetBlockIndex(x, y)); }
  std::intptr_t GetBlockExist(int index) const;
  /// The same by column and row, 0 outside the grid.
  int IsCreatedBlockByIndex(int bx, int by) const;
  /// True also where there is nothing to wait for: outside the image, and where no block is.
  int IsBlockOnMemory(int x, int y) const { return IsBlockOnMemory(GetBlockIndex(x, y)); }
  int IsBlockOnMemory(int index) const;
  int IsBlockAbsoluteProtect(int x, int y) const {
    return IsBlockAbsoluteProtect(GetBlockIndex(x, y));
  }
  int IsBlockAbsoluteProtect(int index) const;
  int CheckBlockLock(int index) const;
  /// The block under the cursor and its memory, which may be null. Returns 0 off the image.
  int GetCurrentBlock(KXRect& rect, BYTE*& address) const;
  /// Frees a cell's block, which reads as unwritten from then on; a cursor in it stands off the
  /// image until it is moved. Returns 1 if there was one.
  int DestroyBlock(int index);
  int DestroyBlock(int x, int y) { return DestroyBlock(GetBlockIndex(x, y)); }
  int DestroyBlockByIndex(int bx, int by);
  void DestroyAllBlock();
  /// Moves every block out of memory, changed ones into the swap file; a locked block stays.
  void UnloadAllBlock();

  // --- Locking ----------------------------------------------------------------------------------

  /// Begins work on the image with the cursor at (x, y), which may lie outside. Locks nest; a lock
  /// with a non-zero `edit` inside a read lock makes blocks writable that are reached from then on.
  /// Raises what a new block raises: 8 if it finds no room.
  void Lock(int x, int y, int edit);
  void Unlock();
  unsigned int GetLockCount() const { return lockCount_; }

  // --- Areas (block iteration) ------------------------------------------------------------------

  /// The block columns and rows that `rect` touches inside the image, last ones included. Returns
  /// their number of blocks; 0, with the outputs left alone, if there is none.
  int GetBlockAreaIndex(const KXRect& rect, int& firstColumn, int& lastColumn, int& firstRow,
                        int& lastRow) const;
  /// The blocks that `rect` touches, in row order, cut to `rect` or, with `clip` 0, only to the
  /// image. Returns their number.
  int GetBlockArea(const KXRect& rect, KXTArray<tagRECT, 0>& out, int clip) const;
  /// The same for one cell, which stays whole unless `clip` is 1. Returns 0, with `out` (may be
  /// null) left alone, if `rect` does not touch it.
  int GetBlockArea(const KXRect& rect, int index, tagRECT* out, int clip) const;
  AREA_TYPE CheckAreaType(int x, int y) const { return CheckAreaType(GetBlockIndex(x, y)); }
  AREA_TYPE CheckAreaType(int index) const;
  /// Holds the existing blocks of `rect` fast and makes all others temporary.
  void SetProtectArea(const KXRect& rect);
  /// Adds the block under the top left corner of `rect` to the protected ones.
  void SetProtectBlockArea(const KXRect& rect);
  void ClearProtectArea();

  // --- The cursor -------------------------------------------------------------------------------

  // Checked: anywhere, with the block under the cursor changed as needed.
  void MoveCursor(int x, int y);
  void MoveCursorX(int x) { MoveCursor(x, cursor_.y); }
  void MoveCursorY(int y) { MoveCursor(cursor_.x, y); }
  void OffsetCursor(int dx, int dy);
  void OffsetCursorX(int dx) { OffsetCursor(dx, 0); }
  void OffsetCursorY(int dy) { OffsetCursor(0, dy); }
  void NextCursorY();
  void PrevCursorY();
  /// Moves to the pixel behind a row's last one, as a step from there would, but makes no block:
  /// where none is the cursor stands off the grid, and any checked move brings it back.
  void MoveCursorBehindRow(int lastX);
  // Fast: the point lies in the image.
  void MoveCursorFast(int x, int y);
  void MoveCursorXFast(int x) { MoveCursorFast(x, cursor_.y); }
  void MoveCursorYFast(int y) { MoveCursorFast(cursor_.x, y); }
  void OffsetCursorFast(int dx, int dy) {
    MoveCursorFast(kxw::IntGeometry::Add(cursor_.x, dx), kxw::IntGeometry::Add(cursor_.y, dy));
  }
  void OffsetCursorXFast(int dx) { OffsetCursorFast(dx, 0); }
  void OffsetCursorYFast(int dy) { OffsetCursorFast(0, dy); }
  // Fastest: the point lies in the current block, which for the steps has memory.
  void MoveCursorFastest(int x, int y) {
    SetCurrentCursorAddress(x, y);
    cursor_.x = x;
    cursor_.y = y;
  }
  void MoveCursorXFastest(int x) { MoveCursorFastest(x, cursor_.y); }
  void MoveCursorYFastest(int y) { MoveCursorFastest(cursor_.x, y); }
  void OffsetCursorFastest(int dx, int dy) {
    MoveCursorFastest(kxw::IntGeometry::Add(cursor_.x, dx), kxw::IntGeometry::Add(cursor_.y, dy));
  }
  void OffsetCursorXFastest(int dx) { OffsetCursorFastest(dx, 0); }
  void OffsetCursorYFastest(int dy) { OffsetCursorFastest(0, dy); }
  void NextCursorYFastest() {
    ++cursor_.y;
    cursor_.current += blockRowBytes_;
  }
  void PrevCursorYFastest() {
    --cursor_.y;
    cursor_.current -= blockRowBytes_;
  }

  /// For 32-bit images: the address of (x, y), with no virtual call and, inside the current block,
  /// without moving the cursor. Another block is moved into. The point lies in the image. Null for
  /// a block without memory, and at every other depth.
  BYTE* MoveCursorFake32(int x, int y);
  /// The same within the current block, whatever the cursor's position in it.
  BYTE* SetCurrentCursorAddressFake32(int x, int y) const;

  /// Leaves the current block, if any, and enters the one under the stored position.
  void SetCurrentBlock();
  void GetCursorPos(int& x, int& y) const {
    x = cursor_.x;
    y = cursor_.y;
  }
  int GetCursorPosX() const { return cursor_.x; }
  int GetCursorPosY() const { return cursor_.y; }
  BYTE* GetCurrentAddress() const { return cursor_.current; }
  BYTE* GetBaseAddress() const { return cursor_.base; }

  // --- Colours ----------------------------------------------------------------------------------

  // For 8-bit images: four neighbouring pixels of one block as a word, the leftmost in its low
  // byte. Where fewer are left in the block's memory the read gives 0 and the write does nothing.
  DWORD Get8BitColorOnlyQuad() const;
  void Set8BitColorOnlyQuad(DWORD pixels);

  static BYTE QMCOLORREFtoBYTE1(DWORD color) { return (color & 0x80808080) != 0; }
  static BYTE QMCOLORREFtoBYTE2(DWORD color) {
    if (color >> 24 < 129) return 0;
    return (color & 0x808080) != 0 ? 2 : 3;
  }
  static BYTE QMCOLORREFtoBYTE8(DWORD color) { return static_cast<BYTE>(255 - (color & 255)); }
  static DWORD BYTE1toQMCOLORREF(BYTE value) { return value ? 0 : 0x00FFFFFF; }
  static DWORD BYTE8toQMCOLORREF(BYTE value) { return (255u - value) * 0x010101u; }
  /// Takes the high byte of each channel, without rounding.
  static DWORD QMCOLORREF64to32(u64 color) { return kxw::NarrowColor(color); }
  /// Widens each byte b to b * 257.
  static u64 QMCOLORREF32to64(DWORD color) { return kxw::WidenColor(color); }

  // Comparison with a tolerance, inclusive: b - margin <= a <= b + margin, channel by channel.
  static bool IsEqualB(BYTE a, BYTE b, int margin);
  static bool IsEqual2B(WORD a, WORD b, int margin);
  static bool IsEqualRGB(DWORD a, DWORD b, int margin);
  /// All four channels; two transparent colours are equal whatever they hold.
  static bool IsEqualRGBA(DWORD a, DWORD b, int margin);
  static bool IsEqualRGB64(u64 a, u64 b, int margin);
  static bool IsEqualQMCOLORREF64(u64 a, u64 b, int margin);

  /// Composites one 64-bit pixel in place; both point at four words: blue, green, red, alpha.
  /// Colours darken as ink on paper does, and alpha only grows.
  static void RenderPixelColor64Alpha(WORD* destination, WORD* source);

  // The values that stand for nothing, black and white in each depth.
  static constexpr BYTE cbTransmit = 0, cbNotTransmit = 0xFF, cbBlack = 0, cbWhite = 0xFF;
  static constexpr BYTE cbTransmit1Bit = 0, cbNotTransmit1Bit = 1;
  static constexpr BYTE cbTransmit1BitFill = 0, cbNotTransmit1BitFill = 0xFF;
  static constexpr BYTE cbNotDefine2Bit = 1, cbTransmit2Bit = 0, cbNotTransmit2Bit = 2;
  static constexpr BYTE cbBlack2Bit = 3, cbWhite2Bit = 2;
  static constexpr BYTE cbBlack2BitFill = 0xFF, cbWhite2BitFill = 0xAA;
  static constexpr BYTE cbTransmit2BitFill = 0, cbNotTransmit2BitFill = 0xFF;
  static constexpr BYTE cbTransmit8Bit = 0, cbNotTransmit8Bit = 0xFF;
  static constexpr WORD cu16Transmit = 0, cu16NotTransmit = 0xFFFF;
  static constexpr WORD cu16Black = 0, cu16White = 0xFFFF;
  static constexpr DWORD ccrTransmit16Bit = 0, ccrNotTransmit16Bit = 0xFF000000;
  static constexpr DWORD ccrBlack16Bit = 0xFF000000, ccrWhite16Bit = 0xFFFFFFFF;
  static constexpr DWORD ccrBlack24Bit = 0, ccrWhite24Bit = 0x00FFFFFF;
  static constexpr DWORD ccrTransmit32Bit = 0, ccrNotTransmit32Bit = 0xFF000000;
  static constexpr DWORD ccrBlack32Bit = 0xFF000000, ccrWhite32Bit = 0xFFFFFFFF;
  static constexpr DWORD ccrSelect32Bit = 0xFF000000, ccrNotSelect32Bit = 0;
  static constexpr u64 ccrBlack48Bit = 0, ccrWhite48Bit = 0x0000FFFFFFFFFFFF;
  static constexpr u64 ccrTransmit64Bit = 0, ccrNotTransmit64Bit = 0xFFFF000000000000;
  static constexpr u64 ccrBlack64Bit = 0xFFFF000000000000, ccrWhite64Bit = 0xFFFFFFFFFFFFFFFF;
  static constexpr u64 ccrSelect64Bit = 0xFFFF000000000000, ccrNotSelect64Bit = 0;
  /// The inverted bits of a pixel in its byte, and how far they are from the low end, leftmost
  /// first.
  static constexpr BYTE cb1BitMask[8] = {0x7F, 0xBF, 0xDF, 0xEF, 0xF7, 0xFB, 0xFD, 0xFE};
  static constexpr BYTE cb1BitShift[8] = {7, 6, 5, 4, 3, 2, 1, 0};
  static constexpr BYTE cb2BitMask[4] = {0x3F, 0xCF, 0xF3, 0xFC};
  static constexpr BYTE cb2BitShift[4] = {6, 4, 2, 0};

  // --- Extents (optimise) -----------------------------------------------------------------------

  /// The tight box of the pixels in use. Returns 0, with an all-zero box, if there is none.
  int GetExtentRect(tagRECT& out);
  /// The box of the blocks that have memory, cut to the image. Returns 0, with `out` left alone, if
  /// there is none.
  int GetExtentBlock(tagRECT& out);
  /// Bytes of the image's blocks: of all, or of those on memory only.
  u64 GetUsedMemory(int onMemoryOnly) const;

  // --- Pixels in bulk (compositing) -------------------------------------------------------------

  // A rectangle of pixels between the image and rows of the caller's, in a format of theirs: at the
  // speed of memory, whatever blocks it lies in. Each pixel is converted as the cursor's read or
  // write that the format names would do it.
  //
  // `rows` is where the rectangle's top row begins, with the pixel at its left. `stride` is the
  // number of bytes from a row to the one below it: negative where rows stand bottom-up, and 0 for
  // rows that follow each other without a gap. What lies outside the image is left out, on both
  // sides: pixels of the rows keep their places, and keep what they held; so do the bits behind
  // the last pixel of a row of a depth below 8 bits.
  //
  // An empty rectangle does nothing. Both raise 0x20010008 for a format that is none, for null
  // rows, and for a stride that is shorter than a row or leads out of the address space; they raise
  // 8 for a block that cannot be brought in or finds no room. What was done before stays. Both lock
  // the image for the call, and leave a lock of the caller's as it was.

  /// Reads the pixels of `rect` into `rows`. A block without memory reads as the cursor does there:
  /// as nothing, which is 0 in every channel, 255 in `kGrey8` and, at 24 bits, in `kNative`.
  void ReadPixels(const KXRect& rect, KXPixelFormat format, void* rows, std::ptrdiff_t stride = 0);

  /// Writes the pixels of `rect` from `rows`. A block without memory stays without where all that
  /// would be written to it is what nothing reads as in `kNative`: bytes of 0, and white at 24
  /// bits. Transparent pixels that have a colour take memory, which `Optimize` can give back. A
  /// block that has memory keeps it.
  void WritePixels(const KXRect& rect, KXPixelFormat format, const void* rows,
                   std::ptrdiff_t stride = 0);

  /// Bytes of a row of `width` pixels of this image in a format, without a gap behind it: the least
  /// stride. Raises 0x20010008 for a format that is none and for a negative width.
  std::size_t GetPixelRowBytes(KXPixelFormat format, int width) const;

  // --- Mixing rows (compositing) ----------------------------------------------------------------

  /// Passes the image's pixels from `x1` to `x2`, inclusive, of the cursor's row to `mixer`, which
  /// usually has it as its destination. Skipped are those that `mask`, if not null, holds back, and
  /// those whose byte in `pattern`, if not null, is 0: four bytes, picked by the low two bits of x.
  ///
  /// The caller has set the row: this cursor's y under a write lock, the mask's by `MoveCursorY`,
  /// and the source's cursor, if there is one, at the pixel that goes to `x1`. The cursors end one
  /// pixel behind `x2`. Raises 0x20010008 for a null `mixer`.
  void FillLineRowForPolygon(int x1, int x2, KXVOffPixelMixer* mixer, KXVOffPixelMask* mask,
                             const BYTE* pattern);

  // --- Ordered dither (compositing) -------------------------------------------------------------

  /// 17 levels of a pattern of 4 by 4 cells: in level n the first n cells of the fill order are 1.
  using DitherLevels = std::array<std::array<std::array<BYTE, 4>, 4>, 17>;
  static const DitherLevels cbDitherTable;   ///< All other cells are 0.
  static const DitherLevels cbDitherTable2;  ///< The next cell is 0 and all others are 2.
  /// Thresholds of 16 by 16 cells, row by row.
  static const std::array<BYTE, 256> cbDitherTable256;

  // Whether the pixel under the cursor is set, 1 or 0, in an area of a given density. Densities
  // beyond the range count as its ends.
  int GetDitherValue(int value) const;     ///< 0 to 256, over 16 by 16 pixels.
  int GetDitherValue16(int value) const;   ///< 0 to 16, over 4 by 4 pixels.
  int GetDitherValue255(int value) const;  ///< 0 to 255, over 16 by 16 pixels.
  /// The threshold of a pixel.
  static BYTE GetDitherOrgValue255(int x, int y);

  // --- Copies (compositing) ---------------------------------------------------------------------

  /// Makes this image equal to `src`, which has its size and depth: afterwards it has memory in
  /// exactly the blocks where `src` has, pixels beyond the edge included. Does nothing for null and
  /// for an image of another size or depth. Raises 8 as `Copy` does.
  void CopyAll(KXVOffscreen* src);

  /// The copy between any two depths: `Copy` with these differences.
  ///
  /// No block is given back. Other depths are converted through 32 bits, except that densities of 8
  /// bits become greys at 24. Cleared pixels get the 32-bit clear colour as `Set32BitColor` stores
  /// it.
  ///
  /// A non-zero `behind` lays the source under what this image holds, where both have one depth;
  /// between unequal depths pixels are replaced all the same. Then a source block without memory is
  /// skipped under `clearMode` 0; under every other value, 1 too, its pixels are read as what reads
  /// of no memory give, which is nothing to lay behind, but replaces pixels of another depth.
  void CommonCopy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX, int srcY,
                  int clearMode, int behind);

  /// The copy behind for a `src` that stands exactly over this image, at 8, 32 and 64 bits; at 16
  /// and 24 nothing happens. With `behind` 0, unequal positions or a source below 8 bits it is
  /// `CommonCopy`.
  ///
  /// It differs from that in four ways, all meant. A negative position narrows the area and does
  /// not move the source's. At 8 bits a source of 0 is not skipped: a density of 10 becomes 11. An
  /// opaque pixel behind a transparent one replaces it, colour and all. Source blocks without
  /// memory are skipped under every `clearMode`. Raises 0x20010008 for images of two depths.
  void CommonCopy2(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX, int srcY,
                   int clearMode, int behind);

  /// Lays a source through `mixer`, which has to be bound to this image; it gives the way of
  /// mixing, and the colours come from here.
  ///
  /// A source of 1, 2 or 8 bits is a mask for `color`: its density weighs the alpha. The pixels of
  /// any other source are laid themselves, but for transparent ones and, with a non-zero
  /// `ignoreWhite`, white ones. A negative position narrows the area and does not move the
  /// source's. `clearMode` 1 clears, for source pixels without memory, the pixels of this image at
  /// the same coordinates, not at those that the copy leads to; this is meant. Null for `src` does
  /// nothing. Raises 0x20010008 for a `mixer` that is null or bound to another image.
  void CommonCopy3(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX, int srcY,
                   KXVOffPixelMixer* mixer, u64 color, int clearMode, int ignoreWhite);

  // --- Colour transforms (compositing) ----------------------------------------------------------

  /// Reduces the `width` by `height` pixels at (`srcX`, `srcY`) of `src` to black, white and
  /// nothing at (`dstX`, `dstY`) here, dithered by `cbDitherTable` at the source's pixels.
  ///
  /// With `useMask` 0 a source of 16 or 32 bits has its alpha and its density sorted into nothing,
  /// dither and full; otherwise, and from every other depth of 8 bits and up, both are dithered by
  /// themselves. Depths of 1 and 2 bits pass as they are. A non-zero `invert` exchanges black with
  /// all else. Source blocks without memory are left out, and so is all of a null `src`.
  void Monochromic(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX, int srcY,
                   int invert, int useMask);

  /// Stores the density of the source's colours, 0 for white, or with a non-zero `invert` their
  /// luminance, as `Set8BitColor` does. At 16 bits it is `Copy` with a `clearMode` of 1 instead.
  /// Source blocks without memory are left out otherwise.
  void Grayish(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX, int srcY,
               int invert);

  /// Paints under the image, at 2, 16 and 32 bits, what `mask` says at the same coordinates:
  /// nothing for 0, black for odd densities and white for even ones.
  void ReverseImage(KXVOffscreen* mask, int x, int y, int width, int height);

  /// At 32 bits, makes white pixels of `rect` transparent. Blocks without memory stay without.
  void ChangeWhiteToTrans(const KXRect& rect);

  /// At 16, 32 and 64 bits, lays a checkerboard of 8 by 8 pixels under `rect`, which becomes
  /// opaque: of `colorA` and of a light tint of `colorB`, or plain if they are equal. Blocks
  /// without contents are left out unless `includeEmpty` is not 0.
  void RenderBackground(const KXRect& rect, DWORD colorA, DWORD colorB, int includeEmpty);

  // --- Resolution (resample) --------------------------------------------------------------------

  /// `ChangeResolution` that takes the integer ratios, twice and four times too, for rectangles
  /// that miss them by up to 2 pixels at two, and 4 at four; each then starts at its own corner.
  void ChangeResolution2(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy, int sw,
                         int sh, CHANGE_RESOLUTION_MODE mode, int behind);
  /// The weights of the samples that cover the positions `start` to `end`, in samples; the first
  /// and the last have the part of them that is covered. A null `table` raises 0x20010008.
  static void SetResolutionTable(_KXRESOLUTIONTABLE* table, const double& start, const double& end);

  /// Brings a plain array of pixels in: of `srcWidth` by `srcHeight` at (`srcX`, `srcY`), a
  /// negative height for rows stored from the bottom up, whose last one comes first. `rowBytes`
  /// leads to the next row; the offsets are the channels' bytes within a pixel of 24 or 32 bits. At
  /// `bitCount` 1 the leftmost pixel is the highest bit, and 1 is drawn; at 8 a pixel is a density.
  /// Null for `bits`, sizes that are not positive and other bit counts write nothing.
  ///
  /// With equal sizes the rows go to this image from (0, 0) on, whatever `dstX` and `dstY` say.
  /// Otherwise they go to an image of the destination's size, from which `ChangeResolution` in
  /// `mode` brings the source's size to the destination. `dstHeight` rows are taken; of more than
  /// `srcHeight` only the one that is seen, behind the last, so that enlarging needs that row in
  /// the array, too.
  ///
  /// Each row but the first lands one line above its number, where the second takes the place of
  /// the first, and the last line stays as it was; this is meant.
  ///
  /// Raises 0x20010008 for a start before the array, an offset outside a pixel, and sizes that
  /// differ with a bit count that is no depth; the last error if the process has no manager of
  /// memory; and 8 as `ChangeResolution` does.
  void CopyBitmap(int dstX, int dstY, int dstWidth, int dstHeight, BYTE* bits, int bitCount,
                  int rowBytes, int offsetR, int offsetG, int offsetB, int offsetA, int srcX,
                  int srcY, int srcWidth, int srcHeight, CHANGE_RESOLUTION_MODE mode);

  /// Fills the `w` by `h` pixels at (`x`, `y`) with averages of boxes of the `sw` by `sh` pixels at
  /// (`sx`, `sy`) of a picture in memory, which has `depth` bits a pixel and `rowBytes` bytes from
  /// one row to the next. The boxes end at column `sw` and row `sh` of the picture, wherever they
  /// start; one of no pixels gives 0.
  ///
  /// A picture of 8 bits is a matte, the alpha of black; 24, 32 and 64 bits have red first, then
  /// green, blue and, but for 24, alpha; any other depth gives 0. The average is stored as
  /// `Set32BitColor` stores it, but at 32 bits its bytes keep the order that they have in the
  /// picture, so that one with blue first gives the colours that it has.
  ///
  /// Sizes below 1 do nothing. Polls `KXAbort`. Raises 0x20010008 for null, for a negative position
  /// in the picture, and at 32 bits for an area that leaves the first block; and 8 if a block finds
  /// no room or cannot be brought in, with what was written before left.
  void CreateThumbnail(int x, int y, int w, int h, BYTE* bits, int sx, int sy, int sw, int sh,
                       int depth, int rowBytes);

  // --- Flood fill (drawing) ---------------------------------------------------------------------

  /// Paints the connected region around `seed` with `color`.
  ///
  /// Connectedness is judged on `reference`, whose pixel lies at this image's coordinates minus
  /// `origin`, and on `second` where the depth of the reference provides for one. A null reference
  /// gives its place to `second`. Only `clip` is painted, save that the seed's row and the one
  /// below it count as inside; a seed left of `clip` paints nothing, one right of it from the seed
  /// on to the left. `margin` is the tolerance of the comparison, 0 for exact. `result` gets the
  /// box of what was painted, which a row with neither neighbour in `clip` does not widen; `count`
  /// (may be null) gets the number of pixels. With `abortable` 1 the fill polls `KXAbort` and
  /// raises 0x20010004 when the user asks for it. It raises 8 where a block finds no room or, of
  /// any of the images, cannot be brought in. After either, what was painted stays, and `result`
  /// and `count` are left alone.
  ///
  /// Returns 1, or 0 with `result` and `count` left alone if there is nothing to do: no reference,
  /// a seed outside this image, or one that holds the fill value already.
  int FloodFill(KXRect& result, const KXPoint& seed, DWORD color, KXVOffscreen* reference,
                KXVOffscreen* second, const KXPoint& origin, const KXRect& clip, int margin,
                int* count, int abortable);

  // The common case: connectedness is judged on this image, all of which may be painted. Nothing
  // else differs: `margin` is the tolerance, and `result` and `count` (may be null) are written
  // where 1 is returned. At 64 bits both judge and paint in 64 bits.

  int FloodFill(const KXPoint& seed, DWORD color, int margin = 0, KXRect* result = nullptr,
                int* count = nullptr);
  int FloodFill64(const KXPoint& seed, u64 color, int margin = 0, KXRect* result = nullptr,
                  int* count = nullptr);

  // One variant of the fill each, by the terms in which it reads and writes; `FloodFill` chooses
  // among them by the reference's depth and the margin. They take images of any depth and do
  // nothing, returning 0, for a null `paint` or `reference`.

  static int FloodFillFrom1Bit(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                               DWORD color, KXVOffscreen* reference, KXVOffscreen* second,
                               const KXPoint& origin, const KXRect& clip, int* count,
                               int abortable);
  static int FloodFillFrom2Bit(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                               DWORD color, KXVOffscreen* reference, const KXPoint& origin,
                               const KXRect& clip, int* count, int abortable);
  static int FloodFillFrom8Bit(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                               DWORD color, KXVOffscreen* reference, const KXPoint& origin,
                               const KXRect& clip, int margin, int* count, int abortable);
  static int FloodFillFrom16Bit(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                DWORD color, KXVOffscreen* reference, const KXPoint& origin,
                                const KXRect& clip, int margin, int* count, int abortable);
  static int FloodFillFrom32Bit(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                DWORD color, KXVOffscreen* reference, const KXPoint& origin,
                                const KXRect& clip, int margin, int* count, int abortable);
  static int FloodFillFrom64Bit(KXVOffscreen* paint, KXRect& result, const KXPoint& seed, u64 color,
                                KXVOffscreen* reference, const KXPoint& origin, const KXRect& clip,
                                int margin, int* count, int abortable);
  static int FloodFillFrom8BitNoMargin(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                       DWORD color, KXVOffscreen* reference, const KXPoint& origin,
                                       const KXRect& clip, int* count, int abortable);
  static int FloodFillFrom16BitNoMargin(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                        DWORD color, KXVOffscreen* reference, const KXPoint& origin,
                                        const KXRect& clip, int* count, int abortable);
  static int FloodFillFrom32BitNoMargin(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                        DWORD color, KXVOffscreen* reference, const KXPoint& origin,
                                        const KXRect& clip, int* count, int abortable);
  static int FloodFillFrom64BitNoMargin(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                        u64 color, KXVOffscreen* reference, const KXPoint& origin,
                                        const KXRect& clip, int* count, int abortable);
  /// Knows no clip: the whole of `paint` may be painted.
  static int FloodFillFromGeneric(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                  DWORD color, KXVOffscreen* reference, KXVOffscreen* second,
                                  const KXPoint& origin, int margin, int* count, int abortable);

  // --- Polygons (drawing) -----------------------------------------------------------------------

  // What draws raises KXException with code 8 where a block finds no room or cannot be brought in;
  // what was drawn before stays. That holds for the shapes below and for the row painters, too.

  /// Fills the polygon of `count` points, even-odd, and closed from the last point to the first. A
  /// point with Y 0x7FFFFFFF is a break, to and from which no edge leads, so that one array can
  /// hold several outlines; each has to bring its own closing edge. Fewer than one point, or null,
  /// paint nothing.
  ///
  /// A row takes the edges at its own Y, the upper end of an edge counted in and the lower left
  /// out. With `closed` 0 the right and bottom edges are left out, so that neighbours cover a
  /// common edge once; otherwise they are painted, horizontal edges too.
  ///
  /// `clip` (null: the whole image) limits columns, and rows only for horizontal edges. Without
  /// memory for the edges nothing is painted.
  void FillPolygon(const KXPoint* points, int count, tagRECT* clip, DWORD color, int closed);
  /// The strongest pixel in a polygon or on its edges, by the measure of
  /// `SearchLineRowForPolygon`; 255 for anything at or above. 0 at once where no block is. There
  /// are no breaks. Raises 8 like `FillPolygon`.
  int SearchPolygon(const KXPoint* points, int count);

  // --- Shapes (drawing) -------------------------------------------------------------------------

  /// With `behind` 0 the virtual `RectFill`. Otherwise lays `color` under what `rect` holds, as ink
  /// under a sheet, without a look at `useClear`.
  void RectFill(const KXRect& rect, int useClear, DWORD color, int behind);
  /// Paints `rect` with the row painter, cut to `clip` (null: the image). Its last column is
  /// `right` - 1 but its last row is `bottom`, which lies below the rectangle and may lie below the
  /// clip. An empty rectangle that is a point (right = left and bottom = top) paints that pixel if
  /// it lies in the clip.
  ///
  /// `fillMode` is 0 to paint, 1 to paint where the colour is stronger, 2 to mix and, at 8 bits, 3
  /// to erase. `clip1Bit` (null: none) lets a pixel through that reads as 1; the row read is that
  /// of its cursor, under the caller's lock. `pattern` (null: solid) is a stipple of 4 by 4 bytes:
  /// byte x & 3 of row y & 3 lets a pixel through unless it is 0.
  void RectFill(const KXRect& rect, DWORD color, int fillMode, KXVOffscreen* clip1Bit,
                const tagRECT* clip, BYTE* pattern);
  /// Lays `mixer` on `rect`, half-open on both axes, cut to `clip` (null: the image); a point as in
  /// the form with a colour. `mask` and `pattern` (null: none) hold pixels back. The source's
  /// origin matches the rectangle's top left. A null mixer raises 0x20010008.
  void RectFill(const KXRect& rect, KXVOffPixelMixer* mixer, KXVOffPixelMask* mask,
                const tagRECT* clip, BYTE* pattern);
  /// Clears `rect`: blocks that lie in it whole are given back, the others' parts are filled with
  /// the clear colour. Blocks without memory stay without.
  void ClrRect(const tagRECT& rect);

  // Circles given by the square around them. The forms with a mixer take mask, stipple, clip and
  // null as `RectFill` does.

  /// Paints a circle with the row painter. `clipOffset` is added to a pixel's place before it is
  /// looked up in `clip1Bit`. A diameter below 1 counts as 1.
  void CircleFill(int left, int top, int diameter, const DWORD& color, int fillMode,
                  KXVOffscreen* clip1Bit, const tagPOINT& clipOffset, const tagRECT* clip,
                  BYTE* pattern);
  /// The source's origin matches the square's top left. A circle of diameter 4 has another shape
  /// here than in the form with a colour.
  void CircleFill(int left, int top, int diameter, KXVOffPixelMixer* mixer, KXVOffPixelMask* mask,
                  const tagRECT* clip, BYTE* pattern);
  /// Lays the mixer's colour on a circle, its alpha weighed by how much of a pixel is covered. The
  /// mixer has its own colour again afterwards. A radius that is not above 0 draws nothing, nor
  /// does a circle that does not lie in 32 bits.
  void CircleFillAA(double cx, double cy, double radius, KXVOffPixelMixer* mixer,
                    KXVOffPixelMask* mask, const tagRECT* clip);
  /// Lays the mixer's colour on the outline of a circle, on points of the axes and the diagonal
  /// more than once. The fourth argument and the stipple have no effect; a negative radius draws
  /// nothing.
  void Circle(int cx, int cy, int radius, int unused, KXVOffPixelMixer* mixer,
              KXVOffPixelMask* mask, const tagRECT* clip, BYTE* pattern);
  /// Fills the ellipse in a rectangle with `FillLineRow`. A rectangle that does not meet the image,
  /// or is below 2 in both directions, draws nothing.
  void ArcFill(int left, int top, int right, int bottom, DWORD color, const tagRECT* clip);

  // --- Texts (drawing) --------------------------------------------------------------------------

  /// Paints a line of text, in the process's code page, with what this depth stores for `color`:
  /// each pixel of a glyph as a whole, for glyphs are drawn without anti-aliasing. Line breaks and
  /// tabs do not end or divide the line, and '&' is itself.
  ///
  /// `hAlign` 1 ends the text at `rect`'s right, 2 centres it, any other starts it at the left.
  /// `vAlign` 3 starts it at the top, 2 centres it, any other ends it at the bottom. A text that is
  /// wider or higher than `rect`, even if part of it would be seen, draws nothing, nor does a
  /// rectangle that is empty. What lies outside the image is left out. Of ink below the text's
  /// height the first row is drawn, which is kept so.
  ///
  /// Raises 0x20010008 for a null text, and for one that fits but is longer than 64 KiB or 2^20
  /// pixels, or for a font of more than 16 pixels 2^20 bytes by its height; 50 in a library without
  /// Pango; 8 if a block finds no room or cannot be brought in, or there is no memory.
  void DrawString(const char* text, tagRECT rect, KXFont& font, DWORD color, int hAlign,
                  int vAlign);
  /// The same with a limit for the area that the text is placed in, at 3 bytes a pixel, which is
  /// 0x3200000 there; 0 and below is none. A rectangle that reaches it keeps as many rows as the
  /// limit has, if those are at least 100: at the top, at the bottom, or for `vAlign` 2 around half
  /// the rectangle's height, counted from row 0 of the image, which is kept so.
  void DrawString2(const char* text, tagRECT rect, KXFont& font, DWORD color, int hAlign,
                   int vAlign, int byteLimit);

  // --- Stored form (persist) --------------------------------------------------------------------

  /// The most cells of an image that can be stored.
  static constexpr int kMaxStoredBlocks = 1 << 20;

  /// Writes `image` with its size, depth, resolution and blocks; offset, clear colour and marks are
  /// not stored. `compressionLevel` 0 writes the blocks as they stand in memory, any other is the
  /// level of zlib, -1 its default. The image is read-locked for the call.
  ///
  /// Raises 0x20010008 for a null image and one of more than `kMaxStoredBlocks` cells, 8 if a block
  /// cannot be brought in or zlib refuses the level, and what the archive raises. The stream is of
  /// no use then, and its sections stay open.
  static void Write(KXArchive& ar, KXVOffscreen* image, int compressionLevel);

  /// Reads what `Write` wrote into a new image of the process's manager, which the caller owns.
  /// Its clearing of new blocks is on, and what is not stored is as in any new image.
  ///
  /// Raises 0x2001000C for a version that is too new, 0x2001000B for a stream that contradicts
  /// itself or ends early, 8 if a compressed block is damaged or memory runs out, and what the
  /// archive raises. Memory is taken for the grid and for blocks that the stream really holds.
  static KXVOffscreen* Read(KXArchive& ar);
  /// The same into a manager of the caller's choice; raises 0x20010008 for null.
  static KXVOffscreenPtr Read(KXArchive& ar, KXVirtualMemory* memory);

 protected:
  KXVOffscreen();

  /// Sets what `Initialize` sets in every depth.
  void ResetFields(int bitCount, DWORD clearColor, int transparency);

  /// Brings a cell's block in and returns its memory. A block comes into being in edit mode only;
  /// null otherwise, and where a block cannot be brought in.
  void* LockBlock(int index);
  void UnlockBlock(int index);
  /// Fills the array of cells anew, all without memory. Blocks are not freed. Raises 8 if the array
  /// finds no memory.
  void InitBlock();
  /// Whether a new block of that index would be held fast.
  int IsProtected(int index) const;

  // For loops over plain memory.

  /// The row in memory of the block of (x, y), a point of the image: the cursor moves into the
  /// block, while its position waits for the move after the loop. Null where there is no block;
  /// raises 8 for one that cannot be brought in.
  BYTE* EnterRow(int x, int y) {
    if (GetBlockIndexFast(x, y) != cursor_.blockIndex) MoveCursorFast(x, y);
    if (cursor_.base) return cursor_.base + (y & kBlockMask) * blockRowBytes_;
    CheckNoBlock();
    return nullptr;
  }
  /// Raises 8 if the current block exists after all: it could not be brought in.
  void CheckNoBlock() const;
  template <class Depth, class Fill>
  void FillPolygonWith(const KXPoint* points, int count, const tagRECT* clip, Fill fill,
                       int closed);

  /// Leaves the current block, if any, and takes the cursor off the image.
  void LeaveBlock();
  /// Leaves the current block and enters `index`, or none for -1, at the stored position.
  void EnterBlock(int index);

  KXVirtualMemory* memory_ = nullptr;
  int width_ = 0;
  int height_ = 0;
  int bitCount_ = 0;
  double resolution_ = 0;
  KXPoint offset_;
  int blockRowBytes_ = 0;
  int blockCountX_ = 0;
  int blockCountY_ = 0;
  std::vector<KXVOffscreenBlock> blocks_;  // row by row
  unsigned int lockCount_ = 0;
  int editMode_ = 0;
  int allowBreak_ = 0;
  KXRect protectArea_;
  KXVOffscreenCursor cursor_;
  BYTE byteClearColor_ = 0;
  DWORD clearColor_ = 0;
  u64 clearColor64_ = 0;  // shown by the 64-bit depth alone; here so that all depths clear alike
  int enableClear_ = 1;
  int transparency_ = 0;
  int specialty_ = 0;

 private:
  friend class KXVOffscreenAutoLock;

  int GridIndex(int bx, int by) const;
  bool HasQuad() const;  // whether four bytes from the current address on lie in the block
  KXSwapBlock* SwapBlockAt(int index) const;
  /// Gives the grid `countX` by `countY` cells and moves each block by (`dx`, `dy`) cells; blocks
  /// that fall outside are freed. Raises 8 with the grid as it was.
  void RebuildGrid(int countX, int countY, int dx, int dy);
};
