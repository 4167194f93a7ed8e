#include <gtest/gtest.h>

#include "kxwcmn/core/gdi.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/graphics.h"
#include "tests/classic/bitsupport.h"
#include "tests/support/failure.h"

#if defined(KXWCMN_WITH_TEXT)
#include <cairo.h>

#include <cmath>
#include <cstring>
#endif

namespace {

using namespace classic_test;

#if defined(KXWCMN_WITH_TEXT)

/// A picture in memory with noise, a target of Cairo that leads to it, and a context.
struct Target {
  Target(int w, int h, cairo_format_t format, Random& random)
      : width(w), height(h), surface(cairo_image_surface_create(format, w, h)) {
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) At(x, y) = random.Bits();
    }
    cairo_surface_mark_dirty(surface);
    cairo = cairo_create(surface);
    context.Attach(kxwCreateContext(cairo), 1);
  }
  ~Target() {
    cairo_destroy(cairo);
    cairo_surface_destroy(surface);
  }
  Target(const Target&) = delete;

  DWORD& At(int x, int y) {
    return reinterpret_cast<DWORD*>(cairo_image_surface_get_data(surface) +
                                    y * cairo_image_surface_get_stride(surface))[x];
  }
  std::vector<DWORD> Pixels() {
    cairo_surface_flush(surface);
    std::vector<DWORD> pixels;
    for (int y = 0; y < height; ++y) pixels.insert(pixels.end(), &At(0, y), &At(0, y) + width);
    return pixels;
  }

  int width, height;
  cairo_surface_t* surface;
  cairo_t* cairo;
  KXGdi context;
};

constexpr int kShownDepths[] = {1, 4, 8, 16, 24, 32, 64};

/// What a pixel looks like, opaque.
DWORD Look(const KXBitImage& image, int x, int y) {
  const BYTE* const row = image.GetBaseAddress() + y * image.GetRowBytes();
  const int bits = image.GetBitCount();
  int red, green, blue;
  if (bits <= 8) {
    const int inByte = x * bits % 8;
    const int index = row[x * bits / 8] >> (8 - bits - inByte) & ((1 << bits) - 1);
    const tagRGBQUAD color = image.GetPalettes()[index];
    red = color.rgbRed, green = color.rgbGreen, blue = color.rgbBlue;
  } else if (bits == 16) {
    red = green = blue = row[2 * x + 1];
  } else if (bits == 64) {
    WORD words[3];
    std::memcpy(words, row + 8 * x, sizeof words);
    red = words[0] / 257, green = words[1] / 257, blue = words[2] / 257;
  } else {
    const BYTE* const at = row + x * bits / 8;
    red = at[2], green = at[1], blue = at[0];
  }
  return 0xFF000000 | static_cast<DWORD>(red << 16 | green << 8 | blue);
}

/// Where the centre of `at` stands in a range that begins at `start`, from 0 to 1 for what is in
/// it.
double Position(int start, int size, int at) { return (at + 0.5 - start) / size; }

/// The model goes through all pixels of the target.
void Expect(std::vector<DWORD>& pixels, int width, const tagRECT& clip, const KXBitImage& image,
            const kxw::TransferRect& dest, const kxw::TransferRect& source) {
  for (int y = clip.top; y < clip.bottom; ++y) {
    for (int x = clip.left; x < clip.right; ++x) {
      const double across = Position(dest.x, dest.width, x),
                   down = Position(dest.y, dest.height, y);
      if (!(across > 0 && across < 1 && down > 0 && down < 1)) continue;
      const double u = std::floor(source.x + across * source.width);
      const double v = std::floor(source.y + down * source.height);
      if (u < 0 || u >= image.GetWidth() || v < 0 || v >= image.GetHeight()) continue;
      pixels[static_cast<std::size_t>(y * width + x)] =
          Look(image, static_cast<int>(u), static_cast<int>(v));
    }
  }
}

// Sizes are powers of two half of the time, and odd numbers of the target for each pixel otherwise,
// so that the model's centres lie on no pixel's edge.
TEST(BitShow, StretchesAllDepthsByTheNearestPixel) {
  for (int bits : kShownDepths) {
    for (unsigned seed = 0; seed < 150; ++seed) {
      Random random(seed);
      const auto format = random.OneIn(2) ? CAIRO_FORMAT_RGB24 : CAIRO_FORMAT_ARGB32;
      Target target(random.Int(1, 60), random.Int(1, 60), format, random);
      BitPicture picture(bits, random.Int(1, 40), random.Int(1, 40), random);
      for (int i = 0; i < 256; ++i) {
        const DWORD color = random.Bits();
        std::memcpy(picture.image.GetPalettes() + i, &color, sizeof color);
      }
      const int zoom = random.OneIn(3) ? 1 : random.Int(0, 3) * 2 + 1;
      const bool isReduced = random.OneIn(4);
      kxw::TransferRect source = {random.Int(-5, 20), random.Int(-5, 20), random.Int(1, 20),
                                  random.Int(1, 20)};
      kxw::TransferRect dest = {random.Int(-9, 60), random.Int(-9, 60), source.width * zoom,
                                source.height * zoom};
      if (isReduced) {
        source.width = dest.width * 3;
        source.height = dest.height * 3;
      }
      for (int* size : {&source.width, &source.height, &dest.width, &dest.height}) {
        if (random.OneIn(4)) *size = -*size;
      }
      SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
      std::vector<DWORD> expected = target.Pixels();
      tagRECT clip = {0, 0, target.width, target.height};
      if (random.OneIn(2)) {
        clip = {target.width / 4, target.height / 3, target.width - 1, target.height};
        cairo_rectangle(target.cairo, clip.left, clip.top, clip.right - clip.left,
                        clip.bottom - clip.top);
        cairo_clip(target.cairo);
      }
      Expect(expected, target.width, clip, picture.image, dest, source);
      const int shift = random.Int(-3, 3);
      cairo_translate(target.cairo, shift, -shift);
      picture.image.DrawGDI(&target.context, dest.x - shift, dest.y + shift, dest.width,
                            dest.height, source.x, source.y, source.width, source.height);
      ASSERT_EQ(target.Pixels(), expected);
    }
  }
}

TEST(BitShow, CombinesByTheRasterOperation) {
  const struct {
    int mode;
    DWORD (*combine)(DWORD, DWORD);
  } cases[] = {
      {0xCC0020, [](DWORD s, DWORD) { return s; }},
      {0xEE0086, [](DWORD s, DWORD d) { return s | d; }},
      {0x8800C6, [](DWORD s, DWORD d) { return s & d; }},
      {0x660046, [](DWORD s, DWORD d) { return s ^ d; }},
      {0x440328, [](DWORD s, DWORD d) { return s & ~d; }},
      {0x330008, [](DWORD s, DWORD) { return ~s; }},
      {0x1100A6, [](DWORD s, DWORD d) { return ~(s | d); }},
      {0xBB0226, [](DWORD s, DWORD d) { return ~s | d; }},
      {0x550009, [](DWORD, DWORD d) { return ~d; }},
      {0x000042, [](DWORD, DWORD) { return 0u; }},
      {0xFF0062, [](DWORD, DWORD) { return ~0u; }},
  };
  Random random(1);
  BitPicture picture(24, 2, 2, random);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mode);
    Target target(4, 4, CAIRO_FORMAT_RGB24, random);
    std::vector<DWORD> expected = target.Pixels();
    for (int i = 0; i < 16; ++i) {
      DWORD& pixel = expected[static_cast<std::size_t>(i)];
      pixel = 0xFF000000 | c.combine(Look(picture.image, i % 4 / 2, i / 8), pixel);
    }
    picture.image.SetBltMode(c.mode);
    picture.image.DrawGDI(target.context, 0, 0, 4, 4, 0, 0, 2, 2);
    EXPECT_EQ(target.Pixels(), expected);
  }

  Target target(4, 4, CAIRO_FORMAT_RGB24, random);
  const std::vector<DWORD> before = target.Pixels();
  const auto draw = [&](int mode) {
    picture.image.SetBltMode(mode);
    return CodeOf([&] { picture.image.DrawGDI(target.context, 0, 0, 4, 4, 0, 0, 2, 2); });
  };
  EXPECT_EQ(draw(0xF00021), 0x20010008) << "of a pattern";
  cairo_scale(target.cairo, 2, 2);
  EXPECT_EQ(draw(0x8800C6), kxw::kErrorNotSupported) << "of pixels out of reach";
  EXPECT_EQ(target.Pixels(), before);
}

// A transformation, a page that is looked at later, and a picture of greys: Cairo itself draws.
TEST(BitShow, ReachesWhateverCairoDrawsOn) {
  for (int bits : kShownDepths) {
    SCOPED_TRACE(bits);
    Random random(7);
    BitPicture picture(bits, 9, 7, random);
    Target target(40, 40, CAIRO_FORMAT_ARGB32, random);
    std::vector<DWORD> expected = target.Pixels();
    Expect(expected, 40, {0, 0, 40, 40}, picture.image, {2, 38, 30, -15}, {-1, 1, 10, 5});
    cairo_scale(target.cairo, 1, -1);
    cairo_move_to(target.cairo, 3, 4);
    picture.image.DrawGDI(target.context, 2, -38, 30, 15, -1, 1, 10, 5);
    EXPECT_EQ(target.Pixels(), expected);
    double x, y;
    cairo_get_current_point(target.cairo, &x, &y);
    EXPECT_EQ(x, 3) << "its path is kept";

    cairo_surface_t* const page = cairo_recording_surface_create(CAIRO_CONTENT_COLOR, nullptr);
    cairo_t* const writer = cairo_create(page);
    KXGdi context(kxwCreateContext(writer), 1);
    cairo_destroy(writer);  // its application has gone
    picture.image.DrawGDI(&context, 0, 0, 9, 7, 0, 0, 9, 7);
    std::vector<DWORD> written(9 * 7);
    Expect(written, 9, {0, 0, 9, 7}, picture.image, {0, 0, 9, 7}, {0, 0, 9, 7});
    picture.image.Clear();
    Target reader(9, 7, CAIRO_FORMAT_RGB24, random);
    cairo_set_source_surface(reader.cairo, page, 0, 0);
    cairo_paint(reader.cairo);
    std::vector<DWORD> read = reader.Pixels();
    for (DWORD& pixel : read) pixel |= 0xFF000000;
    EXPECT_EQ(read, written) << "as it was when drawn";
    cairo_surface_destroy(page);
  }
}

TEST(BitShow, BearsExtremeRectanglesAndBrokenTargets) {
  constexpr int kMin = -0x7FFFFFFF - 1, kMax = 0x7FFFFFFF;
  Random random(3);
  BitPicture picture(32, 5, 5, random);
  Target target(8, 8, CAIRO_FORMAT_RGB24, random);
  const std::vector<DWORD> before = target.Pixels();
  for (int scale : {1, 3}) {
    cairo_identity_matrix(target.cairo);
    cairo_scale(target.cairo, scale, scale);
    const auto draw = [&](kxw::TransferRect d, kxw::TransferRect s) {
      picture.image.DrawGDI(target.context, d.x, d.y, d.width, d.height, s.x, s.y, s.width,
                            s.height);
    };
    draw({0, 0, 0, 5}, {0, 0, 5, 5});
    draw({0, 0, 5, 5}, {0, 0, 5, 0});
    draw({8, 8, 5, 5}, {0, 0, 5, 5});
    draw({0, 0, 8, 8}, {5, 0, 8, 8});
    draw({0, 0, 8, 8}, {kMin, kMin, 1, 1});
    draw({kMax, kMax, kMax, kMax}, {kMin, kMin, kMin, kMin});
    draw({kMin, kMin, kMin, kMin}, {kMax, kMax, kMax, kMax});
    EXPECT_EQ(target.Pixels(), before);
  }
  cairo_identity_matrix(target.cairo);
  picture.image.DrawGDI(target.context, kMin, kMin, -1, -1, 0, 0, 5, 5);
  EXPECT_EQ(target.Pixels(), before);
  // Its middle is the whole picture.
  picture.image.DrawGDI(target.context, -0x40000000, -0x40000000, kMax, kMax, 0, 0, 5, 5);
  EXPECT_EQ(target.Pixels(), std::vector<DWORD>(64, Look(picture.image, 2, 2)));

  KXBitImage none;
  none.DrawGDI(target.context, 0, 0, 8, 8, 0, 0, 8, 8);
  cairo_restore(target.cairo);  // of nothing saved: the target is in an error state from now on
  EXPECT_EQ(CodeOf([&] { picture.image.DrawGDI(target.context, 0, 0, 8, 8, 0, 0, 5, 5); }),
            kxw::kErrorInvalidHandle);
  EXPECT_FALSE(kxwCreateContext(target.cairo));
  EXPECT_EQ(qmGetLastError(), kxw::kErrorInvalidHandle);
}

// The memory of a finished picture is its application's again, who may have let it go.
TEST(BitShow, LeavesFinishedPicturesAlone) {
  Random random(4);
  BitPicture picture(32, 4, 4, random);
  Target other(4, 4, CAIRO_FORMAT_RGB24, random);
  for (int i = 0; i < 3; ++i) {
    std::vector<DWORD> memory(16, 0x123456);
    cairo_surface_t* const surface = cairo_image_surface_create_for_data(
        reinterpret_cast<BYTE*>(memory.data()), CAIRO_FORMAT_RGB24, 4, 4, 16);
    cairo_t* const cairo = cairo_create(surface);
    KXGdi finished(kxwCreateContext(cairo), 1);
    finished.Attach(finished, 0);  // leaked if it were not owned any more
    cairo_surface_finish(surface);
    if (i == 0) {
      EXPECT_EQ(CodeOf([&] { picture.image.DrawGDI(finished, 0, 0, 4, 4, 0, 0, 4, 4); }), 6);
    } else {
      HDC const to = i == 1 ? finished : other.context, from = i == 1 ? other.context : finished;
      EXPECT_FALSE(kxwTransparentBlt(to, 0, 0, 4, 4, from, 0, 0, 4, 4, 0));
      EXPECT_EQ(qmGetLastError(), 6);
    }
    EXPECT_EQ(memory, std::vector<DWORD>(16, 0x123456));
    cairo_destroy(cairo);
    cairo_surface_destroy(surface);
  }
}

#else

TEST(BitShow, SaysThatThereIsNoCairo) {
  KXBitImage image;
  image.Create(1, 1, 24);
  int application = 0;
  KXGdi context(kxwCreateContext(reinterpret_cast<_cairo*>(&application)), 1);
  ASSERT_TRUE(context.IsValid());
  EXPECT_FALSE(kxw::HasGraphics());
  EXPECT_EQ(CodeOf([&] { image.DrawGDI(context, 0, 0, 1, 1, 0, 0, 1, 1); }),
            kxw::kErrorNotSupported);
}

#endif

TEST(BitShow, RefusesNoContext) {
  KXBitImage image;
  image.Create(1, 1, 24);
  KXGdi none;
  EXPECT_EQ(CodeOf([&] { image.DrawGDI(HDC{}, 0, 0, 1, 1, 0, 0, 1, 1); }), 0x20010008);
  EXPECT_EQ(CodeOf([&] { image.DrawGDI(&none, 0, 0, 1, 1, 0, 0, 1, 1); }), 0x20010008);
  EXPECT_EQ(CodeOf([&] { image.DrawGDI(static_cast<KXGdi*>(nullptr), 0, 0, 1, 1, 0, 0, 1, 1); }),
            0x20010008);
  EXPECT_FALSE(kxwCreateContext(nullptr));
  EXPECT_EQ(qmGetLastError(), kxw::kErrorInvalidParameter);
  kxwFreeContext(nullptr);
}

}  // namespace
