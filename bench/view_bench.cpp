// A frame of the viewer of examples/view_image: what is seen of a picture, from its blocks to the
// pixels of the screen, over a checkerboard. Beside it eight copies of the frame, which is what a
// user does not notice. The picture is a painted cel, transparent for a half.

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/pictures.h"
#include "bench/table.h"
#include "view_image/frame.h"
#ifdef KXWCMN_WITH_TEXT
#include "view_image/canvas.h"
#endif

namespace {

using benchmark::State;

constexpr int kSide = 16384, kWidth = 1920, kHeight = 1080;
constexpr std::size_t kFrameBytes = std::size_t{4} * kWidth * kHeight;

/// A picture in a manager of its own, with all of its reduced copies.
struct Scene {
  explicit Scene(unsigned budget) {
    memory.Create(budget);
    picture = KXVOffscreen::Make(32, kSide, kSide, 72, &memory);
    const kxw::bench::Bytes cel = kxw::bench::LineArt(32, 2048, 2048);
    for (int y = 0; y < kSide; y += 2048) {
      for (int x = 0; x < kSide; x += 2048) {
        picture->WritePixels(KXRect(x, y, x + 2048, y + 2048), KXPixelFormat::kNative, cel.data());
      }
    }
    pyramid = std::make_unique<viewimage::Pyramid>(*picture);
    while (pyramid->MakeOne()) continue;
  }

  KXVirtualMemory memory;
  KXVOffscreenPtr picture;
  std::unique_ptr<viewimage::Pyramid> pyramid;
};

/// The way of a frame to the screen, which stands here for rows of pixels in memory.
class Screen {
 public:
  Screen() { frame_.Create(kWidth, kHeight, 32); }

  void Show(Scene& scene, const viewimage::View& view) {
    DrawFrame(*scene.pyramid, view, {}, frame_);
#ifdef KXWCMN_WITH_TEXT
    canvas_.Show(frame_);
#endif
    benchmark::ClobberMemory();
  }
  /// Whether anything but paper was drawn.
  bool IsPainted() const {
    const BYTE* const bytes = frame_.GetBaseAddress();
    return std::memcmp(bytes, bytes + 4, kFrameBytes - 4) != 0;
  }

 private:
  KXBitImage frame_;
#ifdef KXWCMN_WITH_TEXT
  std::vector<BYTE> pixels_ = std::vector<BYTE>(kFrameBytes);
  viewimage::Canvas canvas_{pixels_.data(), KXSize(kWidth, kHeight), 4 * kWidth};
#endif
};

viewimage::View ViewOf(KXPoint middle, double scale) {
  viewimage::View view(KXSize(kSide, kSide), KXSize(kWidth, kHeight));
  view.Show(middle, scale);
  return view;
}

void Resident(State& state, double scale) {
  static Scene scene(1600u << 20);
  Screen screen;
  const viewimage::View view = ViewOf(KXPoint(kSide / 2 + 77, kSide / 2 + 33), scale);
  for (auto _ : state) screen.Show(scene, view);
  if (!screen.IsPainted()) state.SkipWithError("nothing was drawn");
}

/// Each frame shows another part, as far as the picture goes.
void Swapped(State& state, double scale) {
  static Scene scene(64u << 20);
  Screen screen;
  const int stepX = static_cast<int>(kWidth / scale), stepY = static_cast<int>(kHeight / scale);
  int x = stepX / 2, y = stepY / 2;
  for (auto _ : state) {
    screen.Show(scene, ViewOf(KXPoint(x, y), scale));
    x += stepX;
    if (x < kSide) continue;
    x = stepX / 2;
    y = y + stepY < kSide ? y + stepY : stepY / 2;
  }
  if (!screen.IsPainted()) state.SkipWithError("nothing was drawn");
}

void EightCopies(State& state) {
  const std::vector<BYTE> from(kFrameBytes, 1);
  std::vector<BYTE> to(kFrameBytes);
  for (auto _ : state) {
    for (int i = 0; i < 8; ++i) {
      std::memcpy(to.data(), from.data(), kFrameBytes);
      benchmark::ClobberMemory();
    }
  }
}

const bool kAdded = [] {
  const struct {
    const char* name;
    double scale;
  } kZooms[] = {{"1/8", 1.0 / 8}, {"1/3", 1.0 / 3}, {"1", 1}, {"5", 5}};
  for (const auto& zoom : kZooms) {
    const double scale = zoom.scale;
    kxw::bench::Add(
        std::string("view frame 1920x1080, zoom ") + zoom.name, 1,
        [scale](State& state) { Resident(state, scale); }, "8 memcpy of the frame", EightCopies);
  }
  for (const auto& zoom : kZooms) {
    const double scale = zoom.scale;
    kxw::bench::AddReal(
        std::string("view frame, zoom ") + zoom.name + ", from the swap file", 0,
        [scale](State& state) { Swapped(state, scale); }, "8 memcpy of the frame", EightCopies);
  }
  return true;
}();

}  // namespace
