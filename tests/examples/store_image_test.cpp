// Runs store_image as a user does, on images made here and on pictures of every kind.
#include <algorithm>
#include <functional>
#include <random>
#include <string_view>
#include <vector>

#include "common/png_io.h"
#include "common/stored_image.h"
#include "program_test.h"

namespace {

namespace fs = std::filesystem;
using examples::Offscreen;

constexpr int kDepths[] = {1, 2, 8, 16, 24, 32, 64};
constexpr int kWidth = 300, kHeight = 270;  // four blocks, of which one is left a hole

/// An image of random pixels, each of which its depth can hold, `step` apart.
Offscreen RandomImage(int bits, int width = kWidth, int step = 1) {
  static const bool isManaged = (kxGetVirtualMemory()->Create(16 << 20, nullptr), true);
  EXPECT_TRUE(isManaged);
  std::mt19937_64 random(static_cast<unsigned>(bits));
  Offscreen image(KXVOffscreen::CreateOffscreen(bits));
  image->Create(kxGetVirtualMemory(), width, kHeight, 300);
  for (int y = 0; y < kHeight; ++y) {
    KXVOffscreenAutoLock lock(image.get(), 0, y, 1);
    for (int x = 0; x < (y < 256 ? width : 256); x += step) {
      const u64 color = random() >> (random() % 2 ? 0 : 16);  // half of them without alpha
      image->MoveCursor(x, y);
      if (bits == 1) image->Set1BitColor(color & 1);
      if (bits == 2) image->Set2BitColor(color & 3);
      if (bits == 8) image->Set8BitColor(static_cast<BYTE>(color));
      if (bits == 16)
        image->Set16BitColor(kxw::MakeGrey(color & 255, static_cast<DWORD>(color >> 56)));
      if (bits == 24) image->Set24BitColor(color & 0xFFFFFF);
      if (bits == 32) image->Set32BitColor(kxw::NarrowColor(color));
      if (bits == 64) image->Set64BitColor(color);
    }
  }
  return image;
}

/// Writes the kind of picture that simple writers do not.
void WritePng(const std::string& path, const std::vector<BYTE>& grey, int width, int interlace) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  const int height = static_cast<int>(grey.size()) / width;
  png_init_io(png, file);
  png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
               PNG_COLOR_TYPE_GRAY, interlace, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  for (int pass = png_set_interlace_handling(png); pass > 0; --pass) {
    for (int y = 0; y < height; ++y) png_write_row(png, &grey[static_cast<std::size_t>(y * width)]);
  }
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  std::fclose(file);
}

std::vector<BYTE> Noise(int count) {
  std::vector<BYTE> bytes(static_cast<std::size_t>(count));
  std::mt19937 random(1);
  for (BYTE& byte : bytes) byte = static_cast<BYTE>(random());
  return bytes;
}

class StoreImage : public ProgramTest {
 protected:
  StoreImage() : ProgramTest(KXWCMN_STORE_IMAGE) {}

  std::string Store(const std::string& name, KXVOffscreen& image, int level = 6) {
    examples::StoredImageWriter(Path(name)).Write(image, level);
    return Path(name);
  }
  void ExpectStored(const std::string& name, KXVOffscreen& image) {
    EXPECT_NO_THROW(examples::CompareImages(*examples::ReadStoredImage(Path(name)), image));
  }
  std::string Word(const std::string& name) const { return " " + Quoted(Path(name)); }
  int CountTemporary() const {
    int count = 0;
    for (const auto& entry : fs::directory_iterator(folder_)) {
      count += entry.path().extension() == ".tmp";
    }
    return count;
  }
};

// The pixels of the picture, read by the simple interface of the PNG library, are those of the
// image; and what is made of it is the image again, holes included.
TEST_F(StoreImage, ExportsAndImportsWhatEachDepthHolds) {
  const std::string stored = "the \"old\" one's", picture = "絵 1.png";
  for (const int bits : kDepths) {
    SCOPED_TRACE(bits);
    const Offscreen image = RandomImage(bits);
    Store(stored, *image);
    ASSERT_EQ(Run("export" + Word(stored) + Word(picture)), 0) << output_;
    const std::string head = Read(Path(picture)).substr(24, 2);  // bits of a channel, and the kind
    EXPECT_EQ(head[0], bits < 8 ? bits : bits == 64 ? 16 : 8);
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&png, Path(picture).c_str()));
    png.format = PNG_FORMAT_RGBA;
    std::vector<BYTE> rgba(PNG_IMAGE_SIZE(png));
    ASSERT_TRUE(png_image_finish_read(&png, nullptr, rgba.data(), 0, nullptr));
    ASSERT_EQ(rgba.size(), std::size_t{kWidth * kHeight * 4});
    KXVOffscreenAutoLock lock(image.get(), 0);
    const bool hasAlpha = bits != 1 && bits != 8 && bits != 24;
    for (int i = 0; i < kWidth * kHeight && bits < 64; ++i) {
      image->MoveCursor(i % kWidth, i / kWidth);
      const BYTE* at = &rgba[static_cast<std::size_t>(i) * 4];
      const DWORD expected =
          hasAlpha ? image->Get32BitColor() : image->Get24BitColor() | 0xFF000000;
      ASSERT_EQ(at[3], kxw::Alpha(expected)) << i;
      if (at[3] == 0) continue;
      ASSERT_EQ(kxw::MakeColor(at[0], at[1], at[2], at[3]), expected) << i;
    }
    lock.Unlock();
    const std::string depth = " --depth " + std::to_string(bits);
    ASSERT_EQ(Run("import --quiet" + Word(picture) + Word("new") + depth), 0) << output_;
    EXPECT_EQ(output_, "");
    ExpectStored("new", *image);
  }
}

/// A PNG's pixels in one of the formats of the PNG library's simple interface.
struct Picture {
  int width = 0, height = 0;
  std::vector<BYTE> bytes;

  Picture(const std::string& path, unsigned format) {
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    EXPECT_TRUE(png_image_begin_read_from_file(&png, path.c_str())) << path;
    png.format = format;
    width = static_cast<int>(png.width);
    height = static_cast<int>(png.height);
    bytes.resize(PNG_IMAGE_SIZE(png));
    EXPECT_TRUE(png_image_finish_read(&png, nullptr, bytes.data(), 0, nullptr)) << path;
  }
  BYTE Grey(int x, int y) const { return bytes[static_cast<std::size_t>(y * width + x)]; }
};

// Each quality by the words of its rule, on noise, where they differ in nearly all pixels; and
// turns and mirrors by where a pixel comes from.
TEST_F(StoreImage, ExportsTurnedAndAtOtherSizes) {
  const std::vector<BYTE> noise = Noise(kWidth * kHeight);
  const auto at = [&](int x, int y) { return noise[static_cast<std::size_t>(y * kWidth + x)]; };
  WritePng(Path("p.png"), noise, kWidth, PNG_INTERLACE_NONE);
  ASSERT_EQ(Run("import --depth 8" + Word("p.png") + Word("a")), 0) << output_;
  const auto expectGreys = [&](const std::string& options, int width, int height, int tolerance,
                               const std::function<double(int, int)>& expected) {
    SCOPED_TRACE(options);
    ASSERT_EQ(Run(options + Word("a") + Word("o.png")), 0) << output_;
    const Picture picture(Path("o.png"), PNG_FORMAT_GRAY);
    ASSERT_EQ(picture.width, width);
    ASSERT_EQ(picture.height, height);
    for (int i = 0; i < width * height; ++i) {
      const int x = i % width, y = i / width;
      ASSERT_NEAR(picture.Grey(x, y), expected(x, y), tolerance) << x << ' ' << y;
    }
  };
  // The mean of the squares of `side` pixels, the picture's last row and column again outside.
  const auto mean = [&](int side) {
    return [&at, side](int x, int y) {
      double sum = 0;
      for (int i = 0; i < side * side; ++i) {
        sum += at(std::min(x * side + i % side, kWidth - 1),
                  std::min(y * side + i / side, kHeight - 1));
      }
      return sum / (side * side);
    };
  };
  expectGreys("export --width 100", 100, 90, 1, mean(3));
  expectGreys("export --width 150 --quality area", 150, 135, 1, mean(2));
  expectGreys("export --width 75 --quality fast", 75, 68, 255, mean(4));  // the rows by 270 / 68
  expectGreys("export --width 150 --quality fast", 150, 135, 1, mean(2));
  expectGreys("thumb --size 60", 60, 54, 1, mean(5));
  expectGreys("thumb", 256, 230, 255, mean(1));
  expectGreys("thumb --size 1000", kWidth, kHeight, 0, mean(1));
  const auto nearest = [&](int x, int y) { return at(x * 3 / 7, y * 3 / 7); };
  expectGreys("export --width 700 --quality nearest", 700, 630, 0, nearest);
  expectGreys("export --rotate 90", kHeight, kWidth, 0,
              [&](int x, int y) { return at(kWidth - 1 - y, x); });
  expectGreys("export --rotate -90 --smooth", kHeight, kWidth, 0,
              [&](int x, int y) { return at(y, kHeight - 1 - x); });
  expectGreys("export --rotate 180", kWidth, kHeight, 0,
              [&](int x, int y) { return at(kWidth - 1 - x, kHeight - 1 - y); });
  expectGreys("export --flip horizontal", kWidth, kHeight, 0,
              [&](int x, int y) { return at(kWidth - 1 - x, y); });
  // The flip comes first, the size last.
  expectGreys("export --width 90 --rotate 90 --flip vertical", 90, 100, 1,
              [&](int x, int y) { return mean(3)(99 - y, 89 - x); });
}

// Of an image twice as large as its budget, and of one in memory.
TEST_F(StoreImage, ExportsTheSameUnderEveryBudget) {
  WritePng(Path("p.png"), Noise(1100 * 1000), 1100, PNG_INTERLACE_NONE);
  ASSERT_EQ(Run("import" + Word("p.png") + Word("a")), 0) << output_;
  for (const char* how : {"--width 700 ", "--width 550 ", "--width 700 --quality fast",
                          "--width 1500 --quality nearest", "--rotate 30", "--rotate 30 --smooth",
                          "--rotate 90 --flip vertical"}) {
    const std::string command = "export " + std::string(how) + Word("a");
    ASSERT_EQ(Run(command + Word("small.png") + " --budget 2"), 0) << output_;
    ASSERT_EQ(Run(command + Word("large.png")), 0) << output_;
    EXPECT_TRUE(Read(Path("small.png")) == Read(Path("large.png"))) << how;
  }
}

// Means of black and paper are greys; a turn by any angle leaves the middle where it is, and paper
// around what it turns.
TEST_F(StoreImage, ExportsEveryDepthInEveryQuality) {
  std::vector<BYTE> grey(400 * 400, 255);
  for (std::size_t y = 101; y < 299; ++y) std::fill_n(&grey[y * 400 + 101], 198, BYTE{0});
  WritePng(Path("p.png"), grey, 400, PNG_INTERLACE_NONE);
  for (const int bits : kDepths) {
    ASSERT_EQ(Run("import --depth " + std::to_string(bits) + Word("p.png") + Word("a")), 0);
    for (const char* how : {"--width 100", "--width 100 --quality fast", "--rotate 30 --smooth",
                            "--width 100 --quality nearest", "--rotate 30"}) {
      SCOPED_TRACE(std::to_string(bits) + how);
      ASSERT_EQ(Run("export " + std::string(how) + Word("a") + Word("o.png")), 0) << output_;
      const Picture picture(Path("o.png"), PNG_FORMAT_RGBA);
      const bool isTurn = std::string_view(how).starts_with("--rotate");
      // 400 times the sum of the sine and the cosine of 30 degrees.
      EXPECT_NEAR(picture.width, isTurn ? 546.4 : 100, 2);
      int greys = 0;
      for (int x = 0; x < picture.width; ++x) {
        const BYTE* pixel =
            &picture.bytes[static_cast<std::size_t>(picture.height / 2 * picture.width + x) * 4];
        greys += pixel[3] == 255 && pixel[1] > 20 && pixel[1] < 235;
      }
      const bool isMean = std::string_view(how).ends_with("100") ||
                          std::string_view(how).ends_with("fast") ||
                          std::string_view(how).ends_with("smooth");
      EXPECT_EQ(greys > 0, isMean) << greys;
      const BYTE* middle = &picture.bytes[static_cast<std::size_t>(
          (picture.height / 2 * picture.width + picture.width / 2) * 4)];
      EXPECT_EQ(middle[0] + middle[1] + middle[2], 0);
      EXPECT_EQ(middle[3], 255);
    }
  }
}

// Half of a row of blocks goes through memory at a time.
TEST_F(StoreImage, TakesWideImagesInParts) {
  const Offscreen image = RandomImage(64, 8300, 61);
  Store("a", *image);
  ASSERT_EQ(Run("export" + Word("a") + Word("a.png")), 0) << output_;
  ASSERT_EQ(Run("import --depth 64" + Word("a.png") + Word("b")), 0) << output_;
  ExpectStored("b", *image);
}

TEST_F(StoreImage, ReadsInterlacedPictures) {
  for (int size = 1; size < 100; ++size) {
    const int width = size % 10 + 1, height = size / 10 + 1;
    const std::vector<BYTE> grey = Noise(width * height);
    WritePng(Path("i.png"), grey, width, PNG_INTERLACE_ADAM7);
    examples::PngReader reader(Path("i.png"), false);
    std::vector<BYTE> found(grey.size()), row(40);
    for (const auto& pass : reader.Passes()) {
      for (int y = pass.y; y < height; y += pass.stepY) {
        reader.ReadRow(row.data());
        for (int i = 0; i < pass.columns; ++i) {
          const int at = y * width + pass.x + i * pass.stepX;
          found[static_cast<std::size_t>(at)] = row[static_cast<std::size_t>(4 * i)];
        }
      }
    }
    ASSERT_EQ(found, grey) << width << ' ' << height;
  }
  const std::vector<BYTE> grey = Noise(kWidth * kHeight);
  WritePng(Path("i.png"), grey, kWidth, PNG_INTERLACE_ADAM7);
  WritePng(Path("p.png"), grey, kWidth, PNG_INTERLACE_NONE);
  ASSERT_EQ(Run("import" + Word("i.png") + Word("i")), 0) << output_;
  ASSERT_EQ(Run("import" + Word("p.png") + Word("p")), 0) << output_;
  EXPECT_TRUE(Read(Path("i")) == Read(Path("p")));
}

// Paper of any kind takes no block, whatever the picture's own idea of it.
TEST_F(StoreImage, ImportsPaperAsHoles) {
  std::vector<BYTE> grey(600 * 600, 255);
  grey[300 * 600 + 300] = 0;
  WritePng(Path("dot.png"), grey, 600, PNG_INTERLACE_NONE);
  for (const int bits : {1, 8, 24}) {
    ASSERT_EQ(Run("import" + Word("dot.png") + Word("dot") + " --depth " + std::to_string(bits)),
              0);
    EXPECT_NE(output_.find(" 1 of 9 have memory"), std::string::npos) << output_;
  }
}

TEST_F(StoreImage, TellsAndChangesTheForm) {
  const Offscreen image = RandomImage(8);
  Store("a", *image, 0);
  const std::string raw = Read(Path("a"));
  ASSERT_EQ(raw.size(), 4u + 31 + 21 + 4 + 3 * (5 + 65536) + 1);
  ASSERT_EQ(Run("recompress --level 9" + Word("a")), 0) << output_;
  const auto small = std::to_string(fs::file_size(Path("a")));
  EXPECT_EQ(output_, Path("a") + ": 196684 bytes, now " + small + "\n");
  ExpectStored("a", *image);
  ASSERT_EQ(Run("info" + Word("a")), 0);
  EXPECT_EQ(output_.rfind(Path("a") + "\n  image       300 x 270 pixels, depth 8, resolution 300\n"
                                      "  blocks      3 of 4 have memory, 192.0 KiB\n"
                                      "  extent      (0, 0) to (300, 270)\n"
                                      "  pixels      compressed, ",
                          0),
            0u)
      << output_;
  EXPECT_NE(output_.find("\n  file        " + small + " bytes, version 1.0, pixel order 0\n"),
            std::string::npos);
  // A link stays one, and the file its rights.
  fs::permissions(Path("a"), fs::perms(0642));
  fs::create_symlink(Path("a"), Path("link"));
  ASSERT_EQ(Run("recompress --raw --quiet" + Word("link")), 0) << output_;
  EXPECT_TRUE(Read(Path("a")) == raw && fs::is_symlink(Path("link")));
  EXPECT_EQ(fs::status(Path("a")).permissions(), fs::perms(0642));
  image->Lock(299, 0, 1);
  image->Set8BitColor(static_cast<BYTE>(~image->Get8BitColor()));
  image->Unlock();
  EXPECT_THROW(examples::CompareImages(*examples::ReadStoredImage(Path("a")), *image),
               std::runtime_error);
}

TEST_F(StoreImage, ComplainsInOneLineAndTouchesNothing) {
  // A block too many for a file of 1 MiB, though the swap file stays below that.
  WritePng(Path("p.png"), Noise(1024 * 1024), 1024, PNG_INTERLACE_NONE);
  const std::string kMiB = "ulimit -f 2048; ", p = Word("p.png"), a = Word("a");
  ASSERT_EQ(Run("import --depth 8" + p + a) + Run("import --depth 8 --raw" + p + Word("raw")), 0);
  const std::string packed = Read(Path("a")), whole = Read(Path("raw"));
  ExpectComplaint("import --raw --depth 8 --budget 1" + p + a, "a: File too large", kMiB);
  ExpectComplaint("recompress --raw --budget 1" + a, "a: File too large", kMiB);
  ExpectComplaint("export --budget 1" + a + p, "p.png: File too large", kMiB);
  ExpectComplaint("info" + a + " >/dev/full", "standard output: No space left");
  std::string damaged = packed;
  damaged[100000] = static_cast<char>(~damaged[100000]);
  Write("damaged", damaged);
  ExpectComplaint("export" + Word("damaged") + p, "damaged: damaged");
  damaged[4 + 4 + 2 + 4 + 4 + 3] = 7;  // bits a pixel
  Write("odd", damaged);
  ExpectComplaint("info" + Word("odd"), "odd: not a stored image");
  for (const std::string* text : {&whole, &packed}) {
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{3}, std::size_t{30}, text->size() - 1}) {
      Write("cut", text->substr(0, size));
      for (const char* command : {"info", "recompress"}) {
        ExpectComplaint(command + Word("cut"), "cut: not a stored image, or not a whole one");
      }
      EXPECT_EQ(fs::file_size(Path("cut")), size);
    }
  }
  ExpectComplaint("import" + Word("none.png") + a, "none.png: No such file");
  ExpectComplaint("import" + a + Word("b"), "a: not a readable PNG");
  ExpectComplaint("import" + Word("cut.png") + a, "cut.png: not a readable PNG",
                  "head -c -12" + p + " >" + Word("cut.png") + "; ");
  ExpectComplaint("import" + p + Word("nowhere/a"), "No such file");
  ExpectComplaint("import" + p + p, "would take the place");
  ExpectComplaint("import" + p + " /dev/full", "not a file");
  ExpectComplaint("export" + Word("none") + p, "none: No such file");
  ExpectComplaint("info" + Word(""), "not a file");
  fs::permissions(Path("a"), fs::perms(0444));
  ExpectComplaint("recompress --raw" + a, "a: read-only");
  ExpectComplaint("import" + p + a, "a: read-only");
  ExpectComplaint("import --depth 12" + p + a, "--depth takes one of");
  ExpectComplaint("import" + p, "import takes");
  ExpectComplaint("export --rotate 45x" + a + p, "--rotate takes a number from -360 to 360");
  ExpectComplaint("export --flip up" + a + p, "--flip takes horizontal or vertical");
  ExpectComplaint("export --quality best" + a + p, "--quality takes area, fast or nearest");
  ExpectComplaint("thumb --width 5" + a + p, "thumb does not take --width");
  ExpectComplaint("export --size 5" + a + p, "export does not take --size");
  const Offscreen tall = RandomImage(8, 1);
  Store("tall", *tall);
  ExpectComplaint("export --width 2000000000" + Word("tall") + p, "too many rows");
  ExpectComplaint("eat" + p, "unknown command eat");
  EXPECT_TRUE(Read(Path("a")) == packed);
  EXPECT_FALSE(fs::exists(Path("b")));
  EXPECT_EQ(CountTemporary(), 0);
}

TEST_F(StoreImage, StopsCleanlyOnInterruptAndIsKilledWithoutLoss) {
  WritePng(Path("p.png"), std::vector<BYTE>(10000 * 10000), 10000, PNG_INTERLACE_NONE);
  Write("a", "old");
  Write("a.part", "the user's own");
  // It is at work when its new file is there.
  const auto signalled = [this](const std::string& signal) {
    return Shell(program_ + " import" + Word("p.png") + Word("a") + " & while ! ls " + Word("") +
                 " | grep -q tmp; do sleep 0.01; done; kill -" + signal + " $!; wait $!");
  };
  EXPECT_EQ(signalled("INT"), 130);
  EXPECT_EQ(output_, "store_image: stopped\n");
  EXPECT_EQ(CountTemporary(), 0);
  EXPECT_EQ(signalled("KILL"), 128 + 9);
  EXPECT_EQ(CountTemporary(), 1);  // a file that nobody has taken the name of
  EXPECT_EQ(Read(Path("a")) + Read(Path("a.part")), "oldthe user's own");
}

// Each of two runs at once leaves a whole file or fails; neither mixes with the other.
TEST_F(StoreImage, TwoRunsAtOnceGiveTheFileOfOne) {
  for (const int size : {100, 101}) {
    WritePng(Path(std::to_string(size) + ".png"), Noise(size * 3000), size, PNG_INTERLACE_NONE);
    ASSERT_EQ(Run("import" + Word(std::to_string(size) + ".png") + Word(std::to_string(size))), 0);
  }
  for (int i = 0; i < 5; ++i) {
    const std::string import = program_ + " import --quiet";
    ASSERT_EQ(Shell(import + Word("100.png") + Word("a") + " & " + import + Word("101.png") +
                    Word("a") + " && wait $!"),
              0)
        << output_;
    const std::string stored = Read(Path("a"));
    EXPECT_TRUE(stored == Read(Path("100")) || stored == Read(Path("101")));
  }
  EXPECT_EQ(CountTemporary(), 0);
}

}  // namespace
