#pragma once

#include "kxwcmn/platform/dib.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

// Drawing contexts and fonts. On this host a context stands for a drawing target of Cairo, which an
// application gets from its window, a page or a picture, so what is drawn reaches all of them.
//
// A library that was built without Cairo and Pango makes contexts and fonts as well, so that an
// application needs no second way of its own; what draws with them then fails with code 50, after
// its arguments were checked.

struct _cairo;  // what Cairo calls cairo_t

/// Makes a context that draws through `cairo`, which it keeps a reference of: the application may
/// let its own go. Returns null, with the last error set, for null (87), for a target in an error
/// state (6), and if there is no memory (8).
///
/// What is drawn goes by the target's transformation and clip at the time of the drawing, and
/// leaves all of its settings and its current path alone. A context belongs to one thread at a
/// time, as its target does.
KX_EXPORT HDC kxwCreateContext(_cairo* cairo);
/// Lets a context and its reference go. Null is left alone.
KX_EXPORT void kxwFreeContext(HDC context);
/// The target that a context draws through, which stays the context's; null for null, and in a
/// library without Cairo.
KX_EXPORT _cairo* kxwGetCairo(HDC context);

/// Makes a font: the description of one, by which the host looks for the nearest that it has, so
/// that a missing font falls back and says nothing.
///
/// `family` is a name in the process's code page, or several with commas between; the system's
/// family if null or empty. `height` is the em square's in pixels, 1 to 4096. `weight` is 1 to
/// 1000, where 400 is normal and 700 bold; 0 is normal too. `slant` not 0 makes it italic. Returns
/// null, with the last error set, for other numbers and a family of more than 1000 bytes (87), and
/// if there is no memory (8).
KX_EXPORT HFONT kxwCreateFont(const char* family, int height, int weight, int slant);
/// Null is left alone.
KX_EXPORT void kxwFreeFont(HFONT font);

/// Brings a rectangle of the context `source` to one of `dest`, the nearest pixels of it, except
/// for those of the colour `transparent`, where `dest` stays; its top byte is not looked at. Sizes,
/// clips and what is left out are as `kxw::StretchToDevice` tells, and the source is read before
/// anything is drawn.
///
/// `source` must be the context of a bitmap or of another picture in memory whose transformation is
/// a shift by whole pixels. Returns 1, or 0 with the last error set: 6 for null and for a context
/// in an error state; 50 for another source, and without Cairo; 8 if there is no memory.
KX_EXPORT int kxwTransparentBlt(HDC dest, int x, int y, int width, int height, HDC source,
                                int sourceX, int sourceY, int sourceWidth, int sourceHeight,
                                QMCOLORREF transparent);

namespace kxw {

/// Whether the library was built with what draws texts and on contexts.
KX_EXPORT bool HasGraphics();

/// A rectangle of a transfer. One with a negative size runs to the left or upwards from its corner,
/// which it does not contain itself then, and is mirrored.
struct TransferRect {
  int x, y, width, height;
};

/// Brings the rectangle `source` of a block of pixels to the rectangle `dest` of a context: each
/// pixel of the target becomes the nearest one of the block. What lies outside the block, outside
/// the target and outside its clip is left alone; an empty rectangle does nothing.
///
/// `header` describes the block, with a palette behind it up to 8 bits, and `bits` is its first row
/// in memory: the top one if the header's height is negative, the bottom one otherwise. Depths are
/// 1, 4, 8, 16 (alpha, grey), 24, 32 (blue, green, red, alpha) and 64 bits (words of red, green,
/// blue, alpha). Alpha is not looked at: the target's pixels become opaque.
///
/// `rasterOperation` says in bits 16 to 23 what becomes of the target's pixel: 0xCC0020 copies. Any
/// combination of source and target by bits (those whose two hexadecimal digits are equal) is done
/// where the target's pixels can be reached: in pictures in memory of 24 or 32 bits whose
/// transformation is a shift by whole pixels; everywhere else only copies are.
///
/// Returns 0 or a code: 0x20010008 for null, another depth, and an operation that needs a pattern;
/// 50 for an operation that the target does not allow, and without Cairo; 6 for a target in an
/// error state; 8 if there is no memory.
KX_EXPORT int StretchToDevice(HDC context, const TransferRect& dest, const TransferRect& source,
                              const BYTE* bits, const BITMAPINFOHEADER* header,
                              int rasterOperation);

}  // namespace kxw
