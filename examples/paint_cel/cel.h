#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "common/image.h"
#include "common/png_io.h"
#include "kxwcmn/kxwcmn.h"

namespace paintcel {

using examples::Offscreen;

/// A drawing on its way to a painted cel: the ink as 8-bit densities and the 32-bit paint under it,
/// two images of one size. Neither is ever whole in memory.
///
/// A fill paints in the terms of the depth that it is judged by: an 8-bit reference alone would
/// give greys. Beside a 24-bit one colours stay colours, so the fills are judged by white paper,
/// which has no pixels and takes no memory, and by the ink as the second reference.
struct Cel {
  /// Makes the images empty, their longer side `size` pixels.
  Cel(KXVirtualMemory* memory, const examples::Drawing& drawing, int size);

  int Width() const { return ink->GetWidth(); }
  int Height() const { return ink->GetHeight(); }

  double scale;  ///< Pixels of the images for a pixel of the drawing.
  Offscreen ink;
  Offscreen paint;
  Offscreen paper;
};

/// Scales `drawing` into the ink of `cel`. Blocks of bare paper take no memory.
void ScaleInk(const examples::Drawing& drawing, Cel& cel);

/// A region's colour, and a point inside it in pixels of the drawing.
struct Seed {
  int x;
  int y;
  QMCOLORREF color;
};

/// Reads lines of the form "x y #RRGGBB" for a drawing of that size; empty lines and those that
/// begin with "# " are passed over. Black becomes the nearest other colour, for a fill takes pure
/// black for a pixel without paint. Raises examples::UserError.
std::vector<Seed> ReadSeeds(const std::string& path, const examples::Drawing& drawing);

/// Colours, in turn, for regions that nobody chose one for. None is black or white.
QMCOLORREF PaletteColor(std::size_t region);

/// What a fill has done.
struct PaintCount {
  int regions = 0;
  int seedsOnInk = 0;  ///< Seeds that lie on a line, where nothing was painted.
  long long pixels = 0;
};

/// Fills the region around each seed. Paint stops at ink denser than `margin`.
PaintCount PaintSeeds(const std::vector<Seed>& seeds, int margin, Cel& cel);

/// Finds the regions of bare paper, and paints one after the other with the colours of a palette.
PaintCount PaintAllRegions(int margin, Cel& cel);

/// Makes ink solid that is denser than `margin`, where paint stopped, so that nothing shows between
/// the two.
void HardenInk(int margin, KXVOffscreen& ink);

/// Lays the hardened ink over the paint, which is the picture then. Shows its progress.
void LayInkOverPaint(int margin, Cel& cel);

/// Pixels of a picture's side for `size` pixels of the images', `reduction` of them to one.
inline int ReducedSize(int size, int reduction) { return (size - 1) / reduction + 1; }

/// Writes the paint under the ink, with each square of `reduction` pixels averaged to one; the
/// picture of `writer` has the reduced size. Where paint stopped for denser ink than `margin` the
/// ink counts as solid, so that no paper shows between the two. Raises examples::FileError.
void WriteCel(Cel& cel, int margin, int reduction, examples::PngWriter& writer);

}  // namespace paintcel
