#pragma once

#include <atomic>

#include "kxwcmn/platform/bitmap.h"
#include "kxwcmn/platform/blit_internal.h"

/// A bitmap, kept by whoever made it and by the contexts that draw on it.
struct HBITMAP__ {
  std::atomic<int> references = 1;
  std::atomic<bool> hasContext = false;
  bool isSection;
  BYTE* bits;  // of `qmAllocPtr`, with some bytes behind the last row
  struct {
    BITMAPINFOHEADER header;
    tagRGBQUAD palette[256];
  } info;
};

namespace kxw {

void KeepBitmap(HBITMAP bitmap);

/// The pixels of a bitmap, to be read.
PixelBlock BlockOf(HBITMAP bitmap);

/// The map of all columns to themselves.
NearestMap ColumnsOf(const PixelBlock& block);

/// Reads row `y` from the top as words of 0xFFRRGGBB. `columns` are those of the block.
void LoadRow(const PixelBlock& block, const NearestMap& columns, int y, DWORD* words);

/// Writes those pixels of row `y` from the top that differ between `before`, which is what the row
/// holds, and `after`: up to 8 bits the nearest colour of the palette, the first of several. Others
/// stay as they are, and so does the fourth byte of 32 bits.
void StoreChanges(const PixelBlock& block, int y, const DWORD* before, const DWORD* after);

/// Makes all pixels of colour `to` those of colour `from`; the top bytes of both are not looked at.
/// False if there is no memory, with some rows done or none.
bool ReplaceColor(HBITMAP bitmap, QMCOLORREF from, QMCOLORREF to);

/// Makes a context that draws on a bitmap and keeps it, which `kxwFreeContext` frees; null on
/// failure, with the last error set: 50 without Cairo, 5 while another context draws on the bitmap,
/// 8 where there is no memory or a side is longer than 32767. What is drawn is sure to be in the
/// bitmap after `FlushMemoryContext`.
HDC CreateMemoryContext(HBITMAP bitmap);
void FlushMemoryContext(HDC context);

}  // namespace kxw
