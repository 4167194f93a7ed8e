#pragma once

#include <string>

#include "kxwcmn/kxwcmn.h"

namespace viewimage {

/// How a text stands in its rectangle, as in `KXVOffscreen::DrawString`.
enum class Align : int { kLeft = 0, kRight = 1, kMiddle = 2 };

/// Writes a line of text of the system's plain font, `height` pixels high, into `rect` of an image
/// of 32 bits, in the middle of its height; nothing where it does not fit. Raises what the library
/// raises.
void DrawText(KXBitImage& image, const KXRect& rect, const std::string& text, int height,
              QMCOLORREF color, Align align);

}  // namespace viewimage
