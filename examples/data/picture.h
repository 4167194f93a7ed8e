#pragma once

#include "ink.h"

/// The picture's parts, each drawn over what is there already. All are laid out for a sheet of
/// `kSize` x `kSize` pixels.
namespace picture {

inline constexpr int kSize = 2048;

/// The colours, by family; shades of them come from `ink::Shade`.
namespace palette {
inline constexpr ink::Colour kPaper = 0xFBF3E2;
inline constexpr ink::Colour kCream = 0xFFF1D6, kWhite = 0xFFFBF2;
inline constexpr ink::Colour kFox = 0xEE8C3C, kFoxDark = 0xD46F2B, kFoxDeep = 0x6B3A2A;
inline constexpr ink::Colour kBrick = 0xB8483A, kTerracotta = 0xD06B45, kMustard = 0xE9B04A;
inline constexpr ink::Colour kPlum = 0x7C3F58, kRose = 0xE39A8C, kWine = 0x5A2B42;
inline constexpr ink::Colour kTeal = 0x2E8C8A, kTealLight = 0x7CC4B8, kTealDark = 0x1E5F66;
inline constexpr ink::Colour kLeather = 0x8E5A34, kLeatherDark = 0x643D26, kTan = 0xC58E57;
inline constexpr ink::Colour kSteel = 0xA9BAC6, kSteelDark = 0x71879A, kBrass = 0xD9A441;
inline constexpr ink::Colour kMoss = 0x7E9F52, kLeaf = 0x5C8A4E, kPine = 0x3C6B55;
inline constexpr ink::Colour kSky = 0xBFE3E0, kSun = 0xFFE08A, kStone = 0xB9AFA6, kWood = 0xA87B54;
}  // namespace palette

/// The whole picture.
void Draw(ink::Sheet& sheet);

/// The disc of landscape in its map border.
void DrawLandscape(ink::Sheet& sheet);
/// The fence, and the ground that the figure stands on.
void DrawGround(ink::Sheet& sheet);
/// Stones, mushrooms and leaves in front of the figure.
void DrawForeground(ink::Sheet& sheet);
/// The fox with all that he wears and carries.
void DrawExplorer(ink::Sheet& sheet);
/// The fox's head under its hat; part of `DrawExplorer`.
void DrawHead(ink::Sheet& sheet);
/// The clockwork bird on his glove.
void DrawBird(ink::Sheet& sheet);

/// A toothed wheel of `teeth` teeth, as a closed curve.
ink::Curve Gear(ink::Point centre, double radius, int teeth, double depth);
/// A star or a flower's outline: the radius changes between `inner` and `outer` `points` times.
ink::Curve Star(ink::Point centre, double outer, double inner, int points, double degrees = -90);
/// Covers `cloth` with `rows` x `columns` patches, many of them patterned, and sews them together.
void Patchwork(ink::Sheet& sheet, const ink::Cloth& cloth, int rows, int columns,
               ink::Random random);
/// Cross bands between `from` and `to` along a ribbon-like cloth (v runs along), in turn of the
/// given colours.
void Bands(ink::Sheet& sheet, const ink::Cloth& cloth, int count,
           const std::vector<ink::Colour>& colours, ink::Pen pen);
/// The cloth of a band around `spine`: u across from left to right, v along.
ink::Cloth ClothAlong(const ink::Curve& spine, double fromHalfWidth, double toHalfWidth);

}  // namespace picture
