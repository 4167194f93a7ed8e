#include "kxwcmn/persist/archive.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>

#include "kxwcmn/core/color.h"
#include "kxwcmn/core/time.h"
#include "kxwcmn/persist/archivefile.h"
#include "kxwcmn/persist/archivemem.h"
#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "tests/support/failure.h"
#include "tests/support/images.h"
#include "tests/support/streams.h"
#include "tests/testfolder.h"

namespace {

using namespace testing_kxw;

constexpr int kReadWrite = static_cast<int>(0xC0000000);

const std::tuple kOneOfEach{BYTE{0xAB},
                            short{-2},
                            WORD{0x1234},
                            -3,
                            0x89ABCDEFu,
                            -4l,
                            0xFEDCBA98ul,
                            i64{-5},
                            u64{0x0102030405060708},
                            1.5f,
                            -2.0,
                            tagQMRGBCOLOR16{0xA0A1, 0x1011, 0x6061, 0xB0B1},
                            tagQMHSVCOLOR16{1, 2, 3, 4}};
const char* const kOneOfEachBig =
    "AB FFFE 1234 FFFFFFFD 89ABCDEF FFFFFFFC FEDCBA98 FFFFFFFFFFFFFFFB 0102030405060708"
    "3FC00000 C000000000000000 1011 6061 B0B1 A0A1 0002 0003 0004 0001";
const char* const kOneOfEachLittle =
    "AB FEFF 3412 FDFFFFFF EFCDAB89 FCFFFFFF 98BADCFE FBFFFFFFFFFFFFFF 0807060504030201"
    "0000C03F 00000000000000C0 1110 6160 B1B0 A1A0 0200 0300 0400 0100";

TEST(Archive, ValuesHaveTheirBytesInBothOrders) {
  for (UINT cache : {0u, 5u, 100u}) {
    for (UINT order : {8u, 4u}) {
      const std::string text = Hex(order == 8 ? kOneOfEachBig : kOneOfEachLittle);
      StringArchive out(1 | order, cache), in(2 | order, cache, text), copy(1 | order, cache);
      std::apply([&](auto... value) { (out << ... << value); }, kOneOfEach);
      EXPECT_EQ(out.Flushed(), text);
      auto back = kOneOfEach;
      std::apply([&](auto&... value) { ((value = {}), ...); }, back);
      std::apply([&](auto&... value) { (in >> ... >> value); }, back);
      std::apply([&](auto... value) { (copy << ... << value); }, back);
      EXPECT_EQ(copy.Flushed(), text);
      EXPECT_TRUE(std::get<3>(back) == -3 && std::get<5>(back) == -4 && std::get<10>(back) == -2);
    }
  }
  StringArchive ar(kStoreBig, 0);
  const auto put = [&](auto value) { return CodeOf([&] { ar << value; }); };
  EXPECT_EQ(put(0x80000000l), 0x20010008);
  EXPECT_EQ(put(-0x80000001l), 0x20010008);
  EXPECT_EQ(put(0x100000000ul), 0x20010008);
  EXPECT_EQ(ar.bytes, "");
}

TEST(Archive, TimesAreTheirSecondsAlone) {
  const std::string text = Hex("80000000 FFFFFFFF 38BB1380");
  StringArchive in(2 | 8, 0, text), out(1 | 8, 0);
  KXTime time;
  std::tm utc;
  for (const int year : {1901 - 1900, 0, 2000 - 1900}) {
    in >> time;
    time.GetUTCTime(utc);
    EXPECT_EQ(utc.tm_year, year);
    EXPECT_EQ(time.IsValid(), year != 0);
    out << time;
  }
  EXPECT_EQ(out.Flushed(), text);
}

TEST(Archive, ModeComesFromThreeBits) {
  const UINT table[][2] = {{2, 10}, {8, 10}, {0, 10}, {9, 9}, {5, 5}, {4, 6}, {0xFF, 0x85}};
  for (const auto& [given, mode] : table) {
    StringArchive ar(given, 0);
    for (UINT bit = 1; bit < 0x200; bit *= 2) EXPECT_EQ(ar.ModeChk(bit), (mode & bit) != 0);
  }
  StringArchive ar(kStoreBig, 10);
  EXPECT_EQ(ar.SetEndianMode(4), 8u);
  EXPECT_EQ(ar.SetEndianMode(4), 4u);
  ar << WORD{1};
  EXPECT_EQ(ar.SetEndianMode(8), 4u);
  ar << WORD{1};
  EXPECT_EQ(ar.Flushed(), Hex("0100 0001"));
}

// Writes, reads and seeks of random sizes beside a plain string, with caches smaller and larger
// than what is moved.
TEST(Archive, CacheDoesNotShow) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const int scale = random.OneIn(3) ? 1000 : 1;  // large writes go past the cache
    const UINT cache = static_cast<UINT>(random.Int(0, 40) * scale);
    std::string model;
    StringArchive out(kStoreBig, cache);
    std::size_t at = 0;
    for (int i = 0; i < 60; ++i) {
      if (random.OneIn(5)) {
        at = static_cast<std::size_t>(random.Int(0, static_cast<int>(model.size())));
        ASSERT_EQ(out.Seek(static_cast<int>(at), 0), at);
      }
      const std::string part(static_cast<std::size_t>(random.Int(0, 90) * scale),
                             static_cast<char>('a' + i % 26));
      const std::size_t before = out.bytes.size();
      out.Write(part.data(), static_cast<UINT>(part.size()));
      model.resize(std::max(model.size(), at + part.size()));
      model.replace(at, part.size(), part);
      at += part.size();
      ASSERT_EQ(out.GetPosition(), at);
      if (cache > 0 && out.bytes.size() > before) {
        // Only whole caches' worth, and never the last byte, is on the medium before a flush.
        ASSERT_TRUE(at > out.bytes.size() && at - out.bytes.size() <= cache);
      }
    }
    ASSERT_EQ(out.Flushed(), model);

    StringArchive in(kLoadBig, cache, model);
    const int size = static_cast<int>(model.size());
    for (int i = 0, pos = 0; i < 100; ++i) {
      if (random.OneIn(3)) {
        const int target = random.Int(0, size + 9);
        random.OneIn(2) ? in.Seek(target, 0) : in.Seek(target - pos, 1);
        pos = std::min(target, size);
      }
      const int count = random.Int(0, 60), left = std::min(count, size - pos);
      std::string part(static_cast<std::size_t>(count), '?');
      const int code = CodeOf([&] { in.Read(part.data(), static_cast<UINT>(count)); });
      ASSERT_EQ(part.substr(0, static_cast<std::size_t>(left)),
                model.substr(static_cast<std::size_t>(pos), static_cast<std::size_t>(left)));
      if (count > left) {
        ASSERT_EQ(code, cache ? 0x20010008 : 0);
      }
      pos += left;
      ASSERT_EQ(in.GetPosition(), static_cast<UINT>(pos));
    }
  }
}

TEST(Archive, EndsAreToldByCachesAlone) {
  StringArchive cached(kLoadBig, 8, "ab"), plain(kLoadBig, 0, "ab");
  char byte = 'x';
  cached.Seek(2, 0);
  EXPECT_EQ(CodeOf([&] { cached.Read(&byte, 0); }), 0x20010008);
  UINT value;
  plain >> value;
  EXPECT_EQ(value, 0x61620000u);
  plain.Read(&byte, 1);
  EXPECT_EQ(byte, 'x');
  EXPECT_EQ(CodeOf([&] { plain.Write("x", 1); }), 0x20010008);

  StringArchive out(kStoreBig, 0, "0123456789");
  EXPECT_EQ(out.Seek(4, 0), 4u);
  EXPECT_EQ(out.Seek(7, 2), 0u);
  EXPECT_EQ(CodeOf([&] { out.Seek(-1, 1); }), 0x20010008);
  for (int i = 0; i < 2; ++i) out.Seek(std::numeric_limits<int>::max(), 1);
  EXPECT_EQ(out.GetPosition(), 0xFFFFFFFE);
  EXPECT_EQ(out.GetLength(), std::numeric_limits<int>::max());
  EXPECT_EQ(CodeOf([&] { out.Write("xx", 2); }), kxw::kErrorFileTooLarge);
  EXPECT_EQ(CodeOf([&] { out.BeginSection(); }), kxw::kErrorFileTooLarge);

  // What is pending counts, in the length and at the end of all positions.
  StringArchive pending(kStoreBig, 100, "0123");
  char read[4];
  pending.Read(read, 4);
  pending.Write("ab", 2);  // behind what was read, which is not written again
  EXPECT_EQ(pending.GetLength(), 6);
  EXPECT_EQ(pending.Flushed(), "0123ab");
  for (const UINT origin : {0u, 1u}) pending.Seek(std::numeric_limits<int>::max(), origin);
  pending.Seek(-14, 1);
  pending.Write("0123456789", 10);
  const UINT room = 0xFFFFFFFF - pending.GetPosition();
  EXPECT_LT(room, 10u);
  EXPECT_EQ(CodeOf([&] { pending.Write("0123456789", room + 1); }), kxw::kErrorFileTooLarge);
}

// --- Sections ------------------------------------------------------------------------------------

TEST(ArchiveSections, NestAcrossFlushesAndAreSkipped) {
  const std::string stream =
      Hex("0000001A 07 0000000A 30313233343536373839 00000000 00000002 0001 08 FF");
  for (UINT cache : {0u, 3u, 8u, 100u}) {
    SCOPED_TRACE(cache);
    StringArchive out(kStoreBig, cache);
    out.EndSection();
    out.BeginSection();
    out << BYTE{7};
    out.BeginSection();
    out.Write("0123456789", 10);
    out.EndSection();
    out.BeginSection();
    out.EndSection();
    out.BeginSection();
    out << WORD{1};
    out.EndSection();
    out << BYTE{8};
    out.EndSection();
    out << BYTE{0xFF};
    EXPECT_EQ(out.Flushed(), stream);

    StringArchive in(kLoadBig, cache, stream), copy(kStoreLittle, cache);
    BYTE byte;
    in.BeginSection();
    EXPECT_EQ(in.GetSectionSize(), 26u);
    in >> byte;
    EXPECT_EQ(in.GetRemainingSectionSize(), 25u);
    in.BeginSection();
    in >> byte;
    in.EndSection();  // nine bytes were not read
    in.SeekSection();
    copy.CopySection(in);
    EXPECT_EQ(copy.Flushed(), Hex("02000000 0001"));
    in >> byte;
    EXPECT_EQ(byte, 8);
    in >> byte;  // overruns the section
    EXPECT_EQ(in.GetRemainingSectionSize(), 0u);
    in.EndSection();
    EXPECT_EQ(in.GetPosition(), stream.size());
  }
  // A false length is neither believed nor passed over in silence.
  StringArchive cached(kLoadBig, 8, Hex("FFFFFFFF 00")), plain(kLoadBig, 0, cached.bytes);
  StringArchive copy(kStoreBig, 0);
  EXPECT_EQ(CodeOf([&] { copy.CopySection(cached); }), 0x20010008);
  EXPECT_EQ(CodeOf([&] { copy.CopySection(plain); }), 0x2001000B);
}

// --- The two media -------------------------------------------------------------------------------

TEST(ArchiveFile, KeepsWhatWasFlushed) {
  const TestFolder folder;
  {
    KXArchiveFile out(kStoreBig, 8);
    out.FileCreate(folder.Path("f").c_str(), 0, 0, kReadWrite, 0, kxw::kCreateAlways, 0);
    for (UINT i = 0; i < 5; ++i) out << i;
    kxw::detail::ScopedFaults faults;
    faults.Fail(kxw::detail::FaultPoint::kWrite, 1, kxw::kErrorDiskFull, 1, 2);
    EXPECT_EQ(CodeOf([&] { out.DoFlush(); }), kxw::kErrorDiskFull);
    out.DoFlush();  // there is room now
    out << 9;       // lost
  }
  EXPECT_EQ(folder.ReadFile("f"), Hex("00000000 00000001 00000002 00000003 00000004"));
  KXArchiveFile in;
  in.FileOpen(folder.Path("f").c_str(), kReadWrite, 0, kxw::kOpenExisting, 0);
  u64 value;
  in >> value;
  // The same archive on a second file goes on where it was.
  folder.WriteFile("g", "0123456789abcdef");
  in.FileOpen(folder.Path("g").c_str(), kReadWrite, 0, kxw::kOpenExisting, 0);
  BYTE byte;
  in >> byte;
  EXPECT_EQ(byte, '8');
  EXPECT_EQ(in.Seek(100, 0), 16u);
  EXPECT_EQ(CodeOf([&] { in >> byte; }), 0x20010008);
  in.FileClose();
  EXPECT_FALSE(in.IsValid());
  KXArchiveFile plain(kLoadBig, 0);
  plain.FileOpen(folder.Path("g").c_str(), kReadWrite, 0, kxw::kOpenExisting, 0);
  plain.Seek(16, 0);
  plain >> byte;  // without a cache the end stands on the last byte
  EXPECT_EQ(byte, 'f');
}

TEST(ArchiveMem, GrowsByItsStepsAndTurnsRound) {
  KXArchiveMem ar(kStoreBig, 0);
  ar << UINT{0x01020304};
  const std::string large(0x10000, 'x');
  ar.Write(large.data(), 0x10000);
  QMHANDLE__* block = ar.Dettach();
  EXPECT_EQ(qmGetHandleSize(block), 0x10000u + 0x10000 + 1024);
  EXPECT_FALSE(ar.IsValid());
  EXPECT_EQ(ar.GetLength(), 0);

  EXPECT_EQ(CodeOf([&] { ar.Attach(block, qmGetHandleSize(block) + 1); }), 0x20010008);
  ar.Attach(block, 6);
  EXPECT_EQ(CodeOf([&] { ar.Attach(block, 6); }), 0x20010008);
  u64 value;
  ar >> value;
  EXPECT_EQ(value, 0x0102030478780000u);
  EXPECT_EQ(ar.Seek(9, 0), 6u);

  ar.SetMode(kStoreBig);  // the position in memory goes back, the logical one stays
  EXPECT_EQ(ar.GetPosition(), 6u);
  ar << WORD{0xFFFF};
  EXPECT_EQ(static_cast<BYTE*>(ar.Lock())[1], 0xFF);
  {
    kxw::detail::ScopedFaults faults;
    faults.Fail(kxw::detail::FaultPoint::kAlloc, 1, 8);
    EXPECT_EQ(CodeOf([&] { ar.SeekSelf(0x400000, 0); }), 8);
    EXPECT_EQ(ar.SeekSelf(0, 1), 2u);
  }
  ar.SeekSelf(0x400000, 0);  // more than one step behind the block
  ar << BYTE{1};
  ar.MemFree();
  ar >> value;
  EXPECT_EQ(value, 0u);

  KXArchiveMem turned(kStoreBig, 0);
  turned << WORD{7};
  turned.SetMode(kLoadBig);
  turned.Seek(0, 0);
  turned >> value;
  EXPECT_EQ(turned.GetPosition(), 2u) << "the block is longer, but not what was written";
}

}  // namespace
