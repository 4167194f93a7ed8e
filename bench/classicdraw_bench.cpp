// Polygons of the classic images beside those of OpenCV and Cairo, and what extracts masks and
// extents beside a plain scan of the same bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/pictures.h"
#include "bench/polygons.h"
#include "bench/table.h"
#include "kxwcmn/classic/offscreen.h"

namespace {

using benchmark::State;
using namespace kxw::bench;

void MakeLocked(KXOffscreen& image, int bits, int side) {
  image.Create(side, side, bits, 0xFFFFFFFF, 1);
  image.Lock();
}

// --- Polygons ------------------------------------------------------------------------------------

void FillStar(State& state) {
  KXOffscreen image;
  MakeLocked(image, 8, kStarSide);
  const std::vector<KXPoint> corners = Star();
  std::vector<tagPOINT> star(corners.begin(), corners.end());
  for (auto _ : state) {
    image.FillPolygon(star.data(), 1000);
    benchmark::ClobberMemory();
  }
  if (image.Get8BitPixel(2000, 2000) != 255) state.SkipWithError("the middle was not filled");
}

void FillTriangles(State& state, int bits) {
  KXOffscreen image;
  MakeLocked(image, bits, kTriangleSide);
  const std::vector<KXPoint> corners = Triangles();
  std::vector<tagPOINT> points(corners.begin(), corners.end());
  for (auto _ : state) {
    for (int i = 0; i < kTriangles; ++i) {
      image.SetForeColor(static_cast<DWORD>(i));
      image.FillPolygonConvex(&points[static_cast<std::size_t>(i) * 3], 3);
    }
    benchmark::ClobberMemory();
  }
  const tagPOINT* last = &points[(kTriangles - 1) * 3];
  const int x = (last[0].x + last[1].x + last[2].x) / 3,
            y = (last[0].y + last[1].y + last[2].y) / 3;
  if (bits == 32 && image.Get24BitPixel(x, y) != kTriangles - 1) {
    state.SkipWithError("the last triangle was not filled");
  }
  state.SetItemsProcessed(state.iterations() * kTriangles);
}

// --- Extraction ----------------------------------------------------------------------------------

constexpr int kSide = 4096;

/// A page with a frame in the middle and a mark in it, of which most is white.
void MakeDrawing(KXOffscreen& image, int bits) {
  MakeLocked(image, bits, kSide);
  image.SetForeColor(DWORD{0xFF000080});  // black at 1 bit
  image.RectFrame({1500, 1400, 2600, 2500}, 9);
  image.Line(1500, 1400, 2600, 2500, 5);
}

void ExtentRect(State& state, int bits) {
  KXOffscreen image;
  MakeDrawing(image, bits);
  image.Lock();
  tagRECT box = {};
  for (auto _ : state) {
    image.GetExtentRect(box);
    benchmark::DoNotOptimize(box);
  }
  if (box.left != 1496 || box.bottom != 2504) state.SkipWithError("the rectangle is wrong");
}

template <class Make>
void MaskOf(State& state, int bits, Make make) {
  KXOffscreen image;
  MakeDrawing(image, bits);
  std::unique_ptr<KXOffscreen> mask;
  for (auto _ : state) {
    mask.reset(make(image));
    benchmark::DoNotOptimize(mask.get());
  }
  mask->Lock();
  if (mask->Get1BitPixel(1500, 1400) != 1) state.SkipWithError("the mask is wrong");
}

void ExtractionColorMask(State& state, int bits) {
  MaskOf(state, bits, [](KXOffscreen& image) {
    const DWORD color = image.Get32BitPixel(1500, 1400);
    tagQMRGBCOLOR16 wide = {
        static_cast<WORD>(color >> 24 << 8), static_cast<WORD>((color & 255) << 8),
        static_cast<WORD>(color & 0xFF00), static_cast<WORD>(color >> 8 & 0xFF00)};
    return image.ExtractionColorMask(&wide);
  });
}

void CreateMask(State& state, int bits) {
  MaskOf(state, bits, [](KXOffscreen& image) { return image.CreateMask(); });
}

void Scan(State& state, int bits) {
  KXOffscreen image;
  MakeDrawing(image, bits);
  for (auto _ : state) {
    u64 seen = 0;
    for (i64 i = 0; i < image.GetBufferSize(); i += 8) {
      u64 word;
      std::memcpy(&word, image.GetBaseAddress() + i, 8);
      seen += word;
    }
    benchmark::DoNotOptimize(seen);
  }
}

const bool kAdded = [] {
  const std::string star = "classic FillPolygon, star of 1000 points, 8 bits";
  AddOurs(star, 1.5, FillStar);
  AddStarPeers<8>(star);
  const std::string triangles = "classic FillPolygonConvex, 10,000 triangles, 32 bits";
  AddOurs(triangles, 1.5, [](State& state) { FillTriangles(state, 32); });
  AddTrianglePeers(triangles);
  for (int bits : {1, 8, 24, 32}) {
    const auto add = [bits](const std::string& name, auto ours) {
      Add(
          "classic " + name + " 4096², " + std::to_string(bits) + (bits == 1 ? " bit" : " bits"),
          0.8, [=](State& state) { ours(state, bits); }, "plain scan",
          [=](State& state) { Scan(state, bits); });
    };
    add("GetExtentRect", ExtentRect);
    add("CreateMask", CreateMask);
    add("ExtractionColorMask", ExtractionColorMask);
  }
  return true;
}();

}  // namespace
