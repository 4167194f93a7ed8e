#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/persist/archivefile.h"
#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "tests/support/failure.h"
#include "tests/support/images.h"
#include "tests/support/streams.h"
#include "tests/testfolder.h"

namespace {

using namespace testing_kxw;
using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

// --- The layout, written down once more ----------------------------------------------------------

std::string BigEndian(i64 value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(value >> (8 * i));
  return text;
}

std::string Section(const std::string& body) {
  return BigEndian(static_cast<i64>(body.size()), 4) + body;
}

/// A stream, part by part, each of which a test may falsify.
struct Stream {
  int version = 0x0100, width = 0, height = 0, bits = 8, count = 0;
  double resolution = 72;
  int order = 0;
  KXRect extent;
  int compressed = 0;
  std::string blocks;
  std::string headerRest, extentRest, blocksRest, outerRest;  // of a later writer

  std::string Text() const {
    i64 resolutionBits;
    std::memcpy(&resolutionBits, &resolution, 8);
    std::string body = Section(BigEndian(version, 2) + BigEndian(width, 4) + BigEndian(height, 4) +
                               BigEndian(bits, 4) + BigEndian(resolutionBits, 8) +
                               BigEndian(count, 4) + BigEndian(order, 1) + headerRest);
    if (count > 0) {
      body += Section(BigEndian(extent.left, 4) + BigEndian(extent.top, 4) +
                      BigEndian(extent.right, 4) + BigEndian(extent.bottom, 4) +
                      BigEndian(compressed, 1) + extentRest);
      body += Section(blocks + blocksRest);
    }
    return Section(body + outerRest);
  }
};

/// The bytes of the cell at (x, y), empty where there is no block.
std::string BlockAt(KXVOffscreen& image, int x, int y) {
  KXVOffscreenAutoLock lock(&image, x, y, 0);
  const BYTE* base = image.GetBaseAddress();
  if (!base) return "";
  return {reinterpret_cast<const char*>(base),
          static_cast<std::size_t>(image.GetBlockRowBytes()) * 256};
}

std::string AllBlocks(KXVOffscreen& image) {
  std::string all;
  for (int y = 0; y < image.GetHeight(); y += 256) {
    for (int x = 0; x < image.GetWidth(); x += 256) all.append("|").append(BlockAt(image, x, y));
  }
  return all;
}

/// The stream that an image's raw form should be.
Stream RawStreamOf(KXVOffscreen& image) {
  const int bits = image.GetBitCount();
  Stream s;
  s.width = image.GetWidth();
  s.height = image.GetHeight();
  s.bits = bits;
  s.resolution = image.GetResolution();
  s.order = bits == 24 ? 4 : bits >= 32 ? 3 : 0;
  for (int y = 0; y < s.height; y += 256) {
    for (int x = 0; x < s.width; x += 256) {
      if (!BlockAt(image, x, y).empty()) s.extent |= KXRect(x, y, x + 256, y + 256);
    }
  }
  s.extent &= image.GetRect();
  for (int y = s.extent.top; y < s.extent.bottom; y += 256) {
    for (int x = s.extent.left; x < s.extent.right; x += 256, ++s.count) {
      const std::string block = BlockAt(image, x, y);
      s.blocks += static_cast<char>(!block.empty());
      if (!block.empty()) s.blocks += BigEndian(bits * 8192, 4) + block;
    }
  }
  return s;
}

// --- Images --------------------------------------------------------------------------------------

/// The manager that images are read into.
void NeedProcessMemory() {
  _CREATEVMPARAM param{0, nullptr, 1, 1};
  kxCreateVirtualMemory(&param);
}

/// Random pixels in some of the blocks, of few values so that they can be compressed.
ImagePtr RandomImage(int bits, int width, int height, Random& random) {
  ImagePtr image = MakeImage(bits, width, height, random.Int(1, 300) / 4.0);
  KXVOffscreenAutoLock lock(image.get(), 1);
  for (int n = random.Int(1, 3); n > 0; --n) {
    image->MoveCursor(random.Edge(0, width - 1), random.Edge(0, height - 1));
    const int size = image->GetBlockRowBytes() * 256;
    for (int i = 0; i < size; ++i) {
      image->GetBaseAddress()[i] = static_cast<BYTE>(i % 61 + random.Int(0, 3));
    }
  }
  return image;
}

std::string Store(KXVOffscreen& image, int level, UINT mode = kStoreBig) {
  StringArchive out(mode, 1000);
  KXVOffscreen::Write(out, &image, level);
  return out.Flushed();
}

/// Reads `text` and gives the image, or null and the code. With and without a cache the outcome is
/// the same, but for the code of an early end.
ImagePtr Load(const std::string& text, int* code = nullptr, UINT mode = kLoadBig) {
  NeedProcessMemory();
  ImagePtr images[2];
  int codes[2];
  for (UINT cache : {0u, 1000u}) {
    codes[cache > 0] = CodeOf([&] {
      StringArchive in(mode, cache, text);
      images[cache > 0].reset(KXVOffscreen::Read(in));
      EXPECT_EQ(in.GetPosition(), text.size());
    });
  }
  EXPECT_EQ(codes[0] == 0, codes[1] == 0) << codes[0] << ' ' << codes[1];
  if (code) *code = codes[0];
  return std::move(images[1]);
}

// --- Tests ---------------------------------------------------------------------------------------

TEST(StoredImage, HasItsLayoutAndComesBack) {
  for (int bits : kAllDepths) {
    for (unsigned seed = 0; seed < 3; ++seed) {
      SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
      Random random(seed);
      ImagePtr image = RandomImage(bits, random.Edge(1, 900), random.Edge(1, 600), random);
      image->SetOffset(KXPoint(3, 4));
      const std::string blocks = AllBlocks(*image);
      const std::string raw = Store(*image, 0);
      ASSERT_TRUE(raw == RawStreamOf(*image).Text());
      for (const auto& [store, load] :
           {std::pair{kStoreBig, kLoadBig}, {kStoreLittle, kLoadLittle}}) {
        for (int level : {0, 1, -1}) {
          const std::string text = Store(*image, level, store);
          EXPECT_EQ(text.size() < raw.size(), level != 0);
          ImagePtr back = Load(text, nullptr, load);
          ASSERT_TRUE(back);
          ASSERT_TRUE(Store(*back, 0) == raw && AllBlocks(*back) == blocks);
          EXPECT_TRUE(back->IsEnableClear() && back->GetLockCount() == 0);
          EXPECT_EQ(back->GetOffset(), KXPoint());

          StringArchive in(load, 1000, text);
          back = KXVOffscreen::Read(in, image->GetVirtualMemory());
          EXPECT_EQ(back->GetVirtualMemory(), SmallManager());
          ASSERT_TRUE(AllBlocks(*back) == blocks);
        }
      }
    }
  }
}

TEST(StoredImage, NeedsAManager) {
  StringArchive in(kLoadBig, 0, Store(*MakeImage(8, 9, 9), 0));
  EXPECT_EQ(CodeOf([&] { KXVOffscreen::Read(in, nullptr); }), 0x20010008);
  EXPECT_EQ(in.GetPosition(), 0u);
}

TEST(StoredImage, HolesAndEmptyImagesCostAByteOrNothing) {
  ImagePtr image = MakeImage(8, 700, 600);
  EXPECT_TRUE(Store(*image, 0) == RawStreamOf(*image).Text());
  ImagePtr back = Load(Store(*image, 6));
  EXPECT_EQ(back->GetRect(), image->GetRect());
  EXPECT_EQ(back->GetUsedMemory(0), 0u);
  EXPECT_TRUE(back->IsEnableClear());
  KXVOffscreenAutoLock(image.get(), 699, 599, 1);
  EXPECT_TRUE(Store(*image, 0) == RawStreamOf(*image).Text());
  KXVOffscreenAutoLock lock(image.get(), 0, 0, 1);
  // A lock that allows writing does not make the holes blocks.
  Store(*image, 1);
  EXPECT_EQ(image->GetUsedMemory(0), 2u * 65536);
  EXPECT_EQ(CodeOf([&] { Store(*image, 10); }), 8);
  ImagePtr huge = MakeImage(1, 256 * 1024, 256 * 1024);
  back = Load(Store(*huge, 0));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->GetRect(), huge->GetRect());
  huge = MakeImage(1, 256 * 1024, 256 * 1024 + 1);
  EXPECT_EQ(CodeOf([&] { Store(*huge, 0); }), 0x20010008);
}

// The reader's conversions beside reversals of a copy of the whole block.
TEST(StoredImage, PixelsOfOtherOrdersAreTurned) {
  const struct {
    int bits, order, bytes, step;
  } table[] = {{32, 1, 4, 4}, {64, 1, 8, 8}, {24, 2, 4, 3}, {32, 2, 1, 1},
               {24, 1, 1, 1}, {64, 4, 1, 1}, {16, 1, 1, 1}, {8, 2, 1, 1}};
  for (const auto& [bits, order, bytes, step] : table) {
    for (int width : {256, 100}) {
      SCOPED_TRACE(testing::Message() << bits << ' ' << order << ' ' << width);
      Random random(1);
      ImagePtr image = RandomImage(bits, width, 256, random);
      Stream s = RawStreamOf(*image);
      s.order = order;
      ImagePtr back = Load(s.Text());
      std::string block = BlockAt(*image, 0, 0);
      if (bytes > 1) {
        for (int y = 0; y < 256; ++y) {
          for (int x = 0; x < width; ++x) {
            const std::size_t at = static_cast<std::size_t>(y * bits * 32 + x * step);
            if (at + static_cast<std::size_t>(bytes) <= block.size()) {
              std::reverse(&block[at], &block[at] + bytes);
            } else {
              std::swap(block[at + 1], block[at + 2]);  // behind the byte that was carried there
            }
          }
        }
      }
      EXPECT_TRUE(BlockAt(*back, 0, 0) == block);
    }
  }
}

// A compressed stream that is kept here: what one version stores, every other reads.
TEST(StoredImage, IsReadByEveryVersion) {
  ImagePtr image = MakeImage(1, 300, 260, 300);
  for (int corner : {0, 259}) {  // two blocks of four
    KXVOffscreenAutoLock lock(image.get(), corner, corner, 1);
    for (int i = 0; i < 8192; ++i) {
      image->GetBaseAddress()[i] = static_cast<BYTE>(i % 7 * 37 + i / 4096 + corner);
    }
  }
  ImagePtr back = Load(
      Hex("000000B70000001B01000000012C00000104000000014072C00000000000000000040000000011000000"
          "00000000000000012C00000104010000007F010000200000000035789CEDC541110010000030C2108630"
          "84210C61A8A287DB3E0BA9B4B14E902449922449FF966B9FFB464992244992F4710FA18FF00B00000100"
          "00200000000036789CEDC5411100100000B00761084318C210863024D1C36D9F8554DA58274892244992"
          "A47FCBB5CF7DA32449922449FAB8072B9E501A"));
  ASSERT_TRUE(back);
  EXPECT_TRUE(Store(*back, 0) == Store(*image, 0));
}

TEST(StoredImage, LaterVersionsMayAddToEverySection) {
  Random random(2);
  ImagePtr image = RandomImage(8, 300, 300, random);
  Stream s = RawStreamOf(*image);
  s.version = 0x01FF;
  s.headerRest = "abc";
  s.extentRest = "d";
  s.blocksRest = "efghijkl";
  s.outerRest = Section("m") + "n";
  ImagePtr back = Load(s.Text());
  ASSERT_TRUE(back);
  EXPECT_TRUE(AllBlocks(*back) == AllBlocks(*image));
  int code;
  s.version = 0x0200;
  EXPECT_FALSE(Load(s.Text(), &code));
  EXPECT_EQ(code, 0x2001000C);
}

TEST(StoredImage, ContradictionsAreRefused) {
  ImagePtr image = MakeImage(8, 300, 300);
  KXVOffscreenAutoLock(image.get(), 0, 0, 1);
  std::string little(200, 0);  // what 100 bytes are compressed to, too few for a block
  uLongf length = little.size();
  const Bytef hundred[100] = {};
  compress(reinterpret_cast<Bytef*>(little.data()), &length, hundred, 100);
  const auto packed = [&](i64 told) {
    return BigEndian(1, 1) + BigEndian(65536, 4) + BigEndian(told, 4) + little;
  };
  const std::function<void(Stream&)> cases[] = {
      [](Stream& s) { s.bits = 7; },
      [](Stream& s) { s.bits = 16; },  // the block size is that of 8
      [](Stream& s) { s.height = -1; },
      [](Stream& s) { s.width = s.height = 256 * 1024, ++s.height; },
      [](Stream& s) { s.count = 2; },
      [](Stream& s) { s.count = 1000000000; },
      [](Stream& s) {
        s.width = s.height = s.extent.right = s.extent.bottom = 256000, s.count = 1000000;
      },
      [](Stream& s) { s.blocks.resize(1000); },
      [&](Stream& s) { s.compressed = 1, s.blocks = packed(static_cast<i64>(length)); },
      [&](Stream& s) { s.compressed = 1, s.blocks = packed(0xFFFFFFFF); }};
  for (const auto& falsify : cases) {
    SCOPED_TRACE(&falsify - cases);
    Stream s = RawStreamOf(*image);
    falsify(s);
    int code = 0;
    EXPECT_FALSE(Load(s.Text(), &code));
    EXPECT_EQ(code, 0x2001000B);
  }
  Stream s = RawStreamOf(*image);
  s.extent.right = 300;  // a cell without an entry is an empty one
  ImagePtr back = Load(s.Text());
  ASSERT_TRUE(back);
  EXPECT_TRUE(AllBlocks(*back) == AllBlocks(*image));
}

TEST(StoredImage, NothingRunsOutOfItsSection) {
  Random random(5);
  ImagePtr image = RandomImage(1, 100, 100, random);
  constexpr std::size_t kHeader = 4, kExtent = kHeader + 4 + 27, kBlocks = kExtent + 4 + 17;
  for (int level : {0, 1}) {
    const std::string text = Store(*image, level);
    const i64 outer = static_cast<i64>(text.size()) - 4, blocks = outer - kBlocks;
    const std::pair<std::size_t, std::vector<i64>> table[] = {
        {0, {3, 34, 55, outer - 1}},
        {kHeader, {26, -1}},
        {kExtent, {16, -1}},
        {kBlocks, {0, 4, blocks - 1, blocks + 1, -1}}};
    for (const auto& [at, lengths] : table) {
      for (const i64 length : lengths) {
        SCOPED_TRACE(testing::Message() << level << ' ' << at << ' ' << length);
        std::string changed = text;
        int code = 0;
        EXPECT_FALSE(Load(changed.replace(at, 4, BigEndian(length, 4)), &code));
        EXPECT_EQ(code, 0x2001000B);
      }
    }
  }
}

// Every truncation is told. A changed byte of the head is told, or what it says is what comes: the
// block is never wrong.
TEST(StoredImage, DamageIsToldOrHarmless) {
  NeedProcessMemory();
  Random random(3);
  ImagePtr image = RandomImage(1, 200, 100, random);
  const std::string block = BlockAt(*image, 0, 0);
  const auto read = [](const std::string& text, UINT cache) {
    StringArchive in(kLoadBig, cache, text);
    return ImagePtr(KXVOffscreen::Read(in));
  };
  for (int level : {0, 9}) {
    const std::string text = Store(*image, level);
    for (UINT size = 0; size < text.size(); ++size) {
      ASSERT_NE(CodeOf([&] { read(text.substr(0, size), size % 2 * 1000); }), 0) << size;
    }
    constexpr std::size_t kHead = 4 + 4 + 27 + 4 + 17 + 4 + 1 + 4;
    for (std::size_t at = 0; at < kHead; ++at) {
      for (int change : {1, 2, 4, 8, 16, 32, 64, 128, 0x7F, 0xFF}) {
        std::string changed = text;
        changed[at] = static_cast<char>(changed[at] ^ change);
        CodeOf([&] {
          ImagePtr back = read(changed, 1000);
          if (back->GetUsedMemory(0)) {
            ASSERT_TRUE(BlockAt(*back, 0, 0) == block) << at << ' ' << change;
          }
        });
      }
    }
  }
}

TEST(StoredImage, NoFailureStoresAHoleOrKeepsALock) {
  NeedProcessMemory();
  const TestFolder folder;
  Random random(4);
  ImagePtr image = RandomImage(32, 300, 300, random);
  const std::string text = Store(*image, 1);
  const auto store = [&] {
    KXArchiveFile out(kStoreBig, 5000);
    out.FileCreate(folder.Path("image").c_str(), 0, 0, static_cast<int>(0xC0000000), 0,
                   kxw::kCreateAlways, 0);
    KXVOffscreen::Write(out, image.get(), 1);
    out.DoFlush();
  };
  const auto load = [&] {
    StringArchive in(kLoadBig, 0, text);
    ImagePtr back(KXVOffscreen::Read(in));
  };
  const auto failEach = [&](FaultPoint point, int told, auto operation) {
    for (int nth = 1, code = told; code != 0; ++nth) {
      ScopedFaults faults;
      faults.Fail(point, nth, told);
      code = CodeOf(operation);
      ASSERT_TRUE(code == 0 || code == told) << code;
      ASSERT_EQ(image->GetLockCount(), 0u);
    }
  };
  failEach(FaultPoint::kWrite, kxw::kErrorDiskFull, store);
  failEach(FaultPoint::kAlloc, 8, store);
  EXPECT_TRUE(folder.ReadFile("image") == text);
  failEach(FaultPoint::kAlloc, 8, load);
  image->UnloadAllBlock();
  ScopedFaults faults;
  faults.Fail(FaultPoint::kRead, 1, kxw::kErrorReadFault, 100);
  EXPECT_EQ(CodeOf(store), 8);
}

}  // namespace
