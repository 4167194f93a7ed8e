#pragma once

#include "kxwcmn/core/handle.h"
#include "kxwcmn/platform/dib.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXPoint;
class KXRect;

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
