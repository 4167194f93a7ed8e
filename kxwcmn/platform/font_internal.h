#pragma once

#include <string>

/// A font's description.
struct HFONT__ {
  std::string family;  // in the process's code page; empty for the system's
  int height;          // pixels
  int weight;          // 1 to 1000
  bool isItalic;

  bool operator==(const HFONT__&) const = default;
};

namespace kxw {
/// Stands for a font where there is none.
inline constexpr int kSystemFontHeight = 16;
}  // namespace kxw
