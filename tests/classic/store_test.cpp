#include <gtest/gtest.h>

#include "tests/classic/support.h"
#include "tests/support/failure.h"
#include "tests/support/streams.h"

namespace {

using namespace classic_test;
using namespace testing_kxw;

std::string Store(KXOffscreen& image, int reverse, UINT mode = kStoreBig) {
  StringArchive archive(mode, 64);
  image.Serialize(archive, reverse);
  return archive.Flushed();
}

TEST(ClassicStore, GoldenBytes) {
  KXOffscreen image;
  image.Create(9, 2, 1, 0xFFFFFF, 1);
  image.Lock();
  image.Set1BitPixel(1, 0, 0);
  image.Set1BitPixel(1, 8, 1);
  EXPECT_EQ(Store(image, 0), Hex("00000014 00000009 00000002 00000001 80000000 00800000"));
  EXPECT_EQ(Store(image, 0, kStoreLittle),
            Hex("14000000 09000000 02000000 01000000 80000000 00800000"));
  // Reversed to the end of the last byte that holds pixels, and put back in memory.
  EXPECT_EQ(Store(image, 1), Hex("00000014 00000009 00000002 00000001 7FFF0000 FF7F0000"));
  EXPECT_EQ(image.GetBaseAddress()[0], 0x80);

  image.Create(1, 2, 8, 0xFFFFFF, 1);
  EXPECT_EQ(Store(image, 1).substr(16), Hex("FFFFFFFF FFFFFFFF"));
  image.Create(1, 1, 24, 0x030201, 1);
  EXPECT_EQ(Store(image, 1), Hex("00000010 00000001 00000001 00000018 01020300"));
  image.Create(1, 1, 32, 0x04030201, 1);
  EXPECT_EQ(Store(image, 0), Hex("00000010 00000001 00000001 00000020 04010203"));
}

TEST(ClassicStore, ComesBackFromEveryStream) {
  Random random(21);
  for (int bits : kDepths) {
    for (int reverse : {0, 1}) {
      for (UINT cache : {0u, 5u, 4096u}) {
        const auto image = MakeNoise(bits, random.Int(0, 50), random.Int(0, 20), random);
        StringArchive archive(kLoadBig, cache, Store(*image, reverse) + "x");
        KXOffscreen back;
        back.Create(4, 4, 8, 0, 1);
        back.Lock();
        back.Serialize(archive, reverse);
        EXPECT_EQ(back.GetBaseAddress(), nullptr);
        back.Lock();
        EXPECT_EQ(BytesOf(back), BytesOf(*image));
        BYTE next = 0;
        archive >> next;
        EXPECT_EQ(next, 'x');
      }
    }
  }
}

TEST(ClassicStore, RefusesWhatIsNoImage) {
  const char* const wrong[] = {
      "",                                                        // nothing
      "00000014 00000009 0000",                                  // ends in the head
      "00000008 00000009 00000002 00000001 80000000",            // a section without room for it
      "00000014 00000009 00000002 00000010 80000000",            // a depth that is none
      "00000014 FFFFFFF7 00000002 00000001 80000000",            // negative
      "00000014 7FFFFFFF 00000000 00000001",                     // no image is so wide
      "0000000C 7FFFFF00 00000000 00000020",                     // nor has rows so long
      "00000014 00000009 00000002 00000001 80000000",            // ends in the pixels
      "FFFFFFFF 00008000 00007000 00000020 80000000",            // claims 3.5 GiB
      "00000010 00000009 00000002 00000001 80000000 00800000"};  // pixels behind the section
  for (const char* text : wrong) {
    for (UINT cache : {0u, 64u}) {
      KXOffscreen image;
      image.Create(4, 4, 8, 0, 1);
      StringArchive archive(kLoadBig, cache, Hex(text));
      const int code = CodeOf([&] { image.Serialize(archive, 0); });
      // A cached archive has no bytes for the first field.
      EXPECT_EQ(code, *text || cache == 0 ? 0x2001000B : 0x20010008) << text;
      EXPECT_FALSE(image.IsValid());
    }
  }
  KXOffscreen none;
  EXPECT_EQ(CodeOf([&] { Store(none, 0); }), 0x20010008);
}

TEST(ClassicStore, AnImageWithoutRowsMayBeWide) {
  KXOffscreen image;
  StringArchive archive(kLoadBig, 64, Hex("0000000C 7FFFFF00 00000000 00000008"));
  image.Serialize(archive, 0);
  image.Lock();
  image.Fill();
  EXPECT_EQ(image.GetWidth(), 0x7FFFFF00);
}

/// A medium that fails.
struct FullArchive : StringArchive {
  using StringArchive::StringArchive;
  UINT WriteSelf(const void*, UINT) override { kxThrowError(39); }
};

TEST(ClassicStore, AFailedWriteLeavesTheImageAsItWas) {
  KXOffscreen image;
  image.Create(8, 8, 8, 0x808080, 1);
  FullArchive archive(kStoreBig, 16);
  EXPECT_EQ(CodeOf([&] { image.Serialize(archive, 1); }), 39);
  EXPECT_EQ(image.GetBaseAddress(), nullptr);
  image.Lock();
  EXPECT_EQ(image.Get8BitPixel(7, 7), 127);
}

}  // namespace
