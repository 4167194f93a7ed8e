#pragma once

#include <cstddef>
#include <cstdint>

/// The platform's names for plain types, with the widths that stored forms and pixel arithmetic
/// rely on, whatever the host.
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using i64 = long long;
using u64 = unsigned long long;

/// A 32-bit colour: red in bits 0..7, green 8..15, blue 16..23, alpha 24..31.
using QMCOLORREF = DWORD;

/// Opaque things of the desktop. The library passes them on and never looks inside.
using HWND = struct HWND__*;
using HDC = struct HDC__*;
using HINSTANCE = struct HINSTANCE__*;
using HFONT = struct HFONT__*;
using HBITMAP = struct HBITMAP__*;
using HDROP = struct HDROP__*;
/// Anything that a drawing context can take up: a font or a bitmap.
using HGDIOBJ = void*;

// A rectangle hands out its corners as points in place, so a store through a point structure must
// not be taken as unable to change a rectangle.
#if defined(__GNUC__)
#define KX_MAY_ALIAS __attribute__((may_alias))
#else
#define KX_MAY_ALIAS
#endif

/// A point in pixels.
struct KX_MAY_ALIAS tagPOINT {
  LONG x, y;
};

/// A size in pixels.
struct tagSIZE {
  LONG cx, cy;
};

/// A half-open rectangle in pixels: left and top are inside, right and bottom outside.
struct tagRECT {
  LONG left, top, right, bottom;
};
