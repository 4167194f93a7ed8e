#include "view_image/text.h"

namespace viewimage {

// The texts of bit images have no font of their own; those of tiled images do. So the rectangle
// goes through a tiled image.
void DrawText(KXBitImage& image, const KXRect& rect, const std::string& text, int height,
              QMCOLORREF color, Align align) {
  const KXRect part = rect & KXRect(0, 0, image.GetWidth(), image.GetHeight());
  if (part.IsRectEmpty()) return;
  const KXRect all(0, 0, part.Width(), part.Height());
  KXFont font("sans", height);
  const KXVOffscreenPtr tiled = KXVOffscreen::Make(32, all.right, all.bottom);
  BYTE* const rows =
      image.GetBaseAddress() + static_cast<i64>(part.top) * image.GetRowBytes() + 4 * part.left;
  tiled->WritePixels(all, KXPixelFormat::kNative, rows, image.GetRowBytes());
  {
    KXVOffscreenAutoLock lock(tiled.get(), 1);
    constexpr int kMiddle = 2;
    tiled->DrawString(text.c_str(), all, font, color, static_cast<int>(align), kMiddle);
  }
  tiled->ReadPixels(all, KXPixelFormat::kNative, rows, image.GetRowBytes());
}

}  // namespace viewimage
