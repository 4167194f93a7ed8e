#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

// The copy kernels of the bit images: a function for each pair of depths and way of scaling, which
// brings a rectangle of pixels from one block of memory to another. `Copy8x32` makes pixels of 32
// bits of pixels of 8. What becomes of a pixel depends on the pair only:
//
// | to | from | a pixel becomes |
// |---|---|---|
// | the same, but 64 | | the same pixel |
// | 8 | 1 | 255 where the bit is set, else 0 |
// | 16 | 1 | opaque black where the bit is set, else transparent white |
// | 16 | 8 | white with the byte as alpha, but 0 where the byte is 0 |
// | 24 | 1 | white where the bit is set, else black |
// | 24 | 8, 16 | the grey |
// | 24 | 32 | the colour |
// | 24 | 64 | the colour, each channel / 257 |
// | 32 | 1, 8, 24 | the same as at 24 bits, opaque |
// | 32 | 16 | the grey and the alpha |
// | 32 | 64 | the colour and the alpha, each channel / 257 |
//
// For speed the kernels check nothing: all pixels that they are told to read and write must exist,
// in rows of `rowBytes` bytes from `dest` and `source` on, at columns and rows that are not
// negative, and the two must not overlap. Builds with assertions assert what can be known of it.
// `KXBitImage::StretchCopy` is the checked way to them. A width or height of 0 writes nothing.

/// Writes the `width` x `height` pixels at (`x`, `y`) from those at (`sourceX`, `sourceY`).
using KXBitCopy = void(BYTE* dest, int x, int y, int width, int height, int rowBytes,
                       const BYTE* source, int sourceX, int sourceY, int sourceRowBytes);

/// Writes `width` x `height` pixels from `sourceWidth` x `sourceHeight` ones, of which it takes the
/// nearest: `MinimizeCopy` to no more pixels on either axis, `MaximizeCopy` to no fewer.
///
/// An error counts down with each pixel, and the source goes on by one pixel when it falls below 0.
/// It starts at the destination's size. So an enlarged source pixel on an even border counts for
/// the pixel behind it too: of two pixels enlarged to four, the first has three.
using KXBitStretch = void(BYTE* dest, int x, int y, int width, int height, int rowBytes,
                          const BYTE* source, int sourceX, int sourceY, int sourceWidth,
                          int sourceHeight, int sourceRowBytes);

/// A part of such a reduction, which starts within it: with the errors (from 0 up to the whole
/// destination's sizes, `fullWidth` and `fullHeight`) that are left where it starts, and with the
/// quotients (`step...`) and rests of the source's sizes over them.
using KXBitMinimizeDDA = void(BYTE* dest, int x, int y, int width, int height, int rowBytes,
                              const BYTE* source, int sourceX, int sourceY, int sourceRowBytes,
                              int fullWidth, int fullHeight, int errorX, int errorY, int stepX,
                              int restX, int stepY, int restY);

/// A part of such an enlargement, of a whole source of `sourceWidth` x `sourceHeight` pixels to a
/// whole destination of `fullWidth` x `fullHeight`, from which (`sourceX`, `sourceY`) is the first
/// pixel of the part. `MaximizeCopyDDA1x1` goes on to the next row when the error falls below 1,
/// unlike the others; this is kept so.
using KXBitMaximizeDDA = void(BYTE* dest, int x, int y, int width, int height, int rowBytes,
                              const BYTE* source, int sourceX, int sourceY, int sourceWidth,
                              int sourceHeight, int sourceRowBytes, int fullWidth, int fullHeight,
                              int errorX, int errorY);

/// As `KXBitCopy`, but that where a second source, of 32 bits, has an alpha of 255, its colour is
/// taken.
using KXBitOverlay = void(BYTE* dest, int x, int y, int width, int height, int rowBytes,
                          const BYTE* source, int sourceX, int sourceY, int sourceRowBytes,
                          const BYTE* overlay, int overlayX, int overlayY, int overlayRowBytes);

KX_EXPORT KXBitCopy Copy1x1, Copy1x8, Copy1x16, Copy1x24, Copy1x32, Copy8x8, Copy8x16, Copy8x24,
    Copy8x32, Copy16x16, Copy16x24, Copy16x32, Copy24x24, Copy24x32, Copy32x24, Copy32x32,
    Copy64x24, Copy64x32;
KX_EXPORT KXBitStretch MinimizeCopy1x1, MinimizeCopy1x8, MinimizeCopy1x16, MinimizeCopy1x24,
    MinimizeCopy1x32, MinimizeCopy8x8, MinimizeCopy8x16, MinimizeCopy8x24, MinimizeCopy8x32,
    MinimizeCopy16x16, MinimizeCopy16x24, MinimizeCopy16x32, MinimizeCopy24x24, MinimizeCopy24x32,
    MinimizeCopy32x24, MinimizeCopy32x32;
KX_EXPORT KXBitMinimizeDDA MinimizeCopyDDA1x32, MinimizeCopyDDA16x24, MinimizeCopyDDA32x24;
KX_EXPORT KXBitStretch MaximizeCopy1x1, MaximizeCopy1x8, MaximizeCopy1x24, MaximizeCopy1x32,
    MaximizeCopy8x8, MaximizeCopy8x24, MaximizeCopy8x32, MaximizeCopy16x16, MaximizeCopy16x24,
    MaximizeCopy16x32, MaximizeCopy24x24, MaximizeCopy24x32, MaximizeCopy32x24, MaximizeCopy32x32;
KX_EXPORT KXBitMaximizeDDA MaximizeCopyDDA1x1, MaximizeCopyDDA1x8, MaximizeCopyDDA1x16,
    MaximizeCopyDDA1x24, MaximizeCopyDDA1x32, MaximizeCopyDDA8x8, MaximizeCopyDDA8x16,
    MaximizeCopyDDA8x24, MaximizeCopyDDA8x32, MaximizeCopyDDA16x16, MaximizeCopyDDA16x24,
    MaximizeCopyDDA16x32, MaximizeCopyDDA24x24, MaximizeCopyDDA24x32, MaximizeCopyDDA32x24,
    MaximizeCopyDDA32x32;
KX_EXPORT KXBitOverlay Copy16x24_2, Copy32x24_2;
