#include "kxwcmn/persist/zlib.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <vector>

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/memory.h"
#include "tests/support/failure.h"
#include "tests/support/images.h"
#include "tests/support/streams.h"

namespace {

using namespace testing_kxw;
using Bytes = std::vector<BYTE>;

Bytes Noise(std::size_t size, int values) {
  Random random(static_cast<unsigned>(size));
  Bytes bytes(size);
  for (BYTE& byte : bytes) byte = static_cast<BYTE>(256 - random.Int(1, values));
  return bytes;
}

TEST(ZLib, StoredFormIsALengthAndAStream) {
  char abc[] = "abc";
  KXZLib zlib;
  zlib.SetCompressionLevel(0);
  StringArchive out(kStoreLittle, 0);
  DWORD stored = 0;
  zlib.Compress(out, abc, 3, &stored, nullptr, 0);
  EXPECT_EQ(out.bytes, Hex("0E000000 7801 01 0300 FCFF 616263 024D0127"));
  EXPECT_EQ(stored, out.bytes.size());

  void* block;
  zlib.Compress(&block, abc, 3, &stored, 1);
  EXPECT_EQ(std::string(static_cast<char*>(block), stored),
            Hex("0000000E 7801 01 0300 FCFF 616263 024D0127"));
  char back[5] = "....";
  zlib.Decompress(block, back, 4, 1);
  EXPECT_STREQ(back, "abc.");
  qmFreePtr(block);
}

// Every form gives zlib's own bytes, whatever the work memory, for sizes about its steps.
TEST(ZLib, EveryFormGivesOneStream) {
  BYTE* buffer = nullptr;
  DWORD bufferSize = 0;
  for (std::size_t size : {0u, 1u, 63u, 64u, 65u, 3000u, 0x40000u, 600000u}) {
    for (int values : {1, 3, 256}) {
      for (int level = -1; level < 10; ++level) {
        if (size > 3000 && (values == 3 || level != 1)) continue;  // for time
        SCOPED_TRACE(testing::Message() << size << ' ' << values << ' ' << level);
        Bytes data = Noise(size, values), work(64), plain(compressBound(size));
        const auto bytes = static_cast<DWORD>(size);
        uLongf length = plain.size();
        compress2(plain.data(), &length, data.data(), size, level);
        const std::string expected(plain.begin(), plain.begin() + static_cast<long>(length));

        KXZLib zlib;
        zlib.SetCompressionLevel(level);
        StringArchive out(kStoreBig, 0);
        zlib.Compress(out, data.data(), bytes, nullptr, work.data(), 64);
        ASSERT_EQ(out.bytes.substr(4), expected);
        const DWORD before = bufferSize;
        zlib.Compress(out, data.data(), bytes, buffer, bufferSize, nullptr, 0);
        EXPECT_EQ(bufferSize, std::max(before, static_cast<DWORD>(length) + 4));
        ASSERT_EQ(out.bytes.substr(length + 4), out.bytes.substr(0, length + 4));
        QMHANDLE__* handle;
        DWORD stored;
        zlib.CompressToHandle(handle, data.data(), bytes, &stored, 1);
        ASSERT_EQ(std::string(static_cast<char*>(qmLock(handle)), stored),
                  out.bytes.substr(0, length + 4));
        qmFree(handle);

        StringArchive in(kLoadBig, 100, out.bytes);
        Bytes back(size), again(size);
        zlib.Decompress(in, back.data(), bytes);
        zlib.Decompress(in, again.data(), bytes, buffer, bufferSize, nullptr, 0);
        EXPECT_TRUE(back == data && again == data);
      }
    }
  }
  qmFreePtr(buffer);
}

TEST(ZLib, FailuresHaveCode8AndLeaveTheCallersBlocks) {
  Bytes data = Noise(3000, 20), dest(3000);
  KXZLib zlib;
  StringArchive out(kStoreBig, 0);
  zlib.Compress(out, data.data(), 3000, nullptr, nullptr, 0);
  BYTE* buffer = nullptr;
  DWORD bufferSize = 5000;  // of no buffer: without meaning
  const auto read = [&](const std::string& bytes, DWORD destSize, UINT cache) {
    StringArchive in(kLoadBig, cache, bytes + bytes);
    return CodeOf([&] {
      zlib.Decompress(in, dest.data(), destSize, buffer, bufferSize, nullptr, 0);
      zlib.Decompress(in, dest.data(), destSize);
    });
  };
  EXPECT_EQ(read(out.bytes, 3000, 0), 0);
  EXPECT_EQ(read(out.bytes, 2999, 0), 8);
  EXPECT_EQ(read(out.bytes, 0, 0), 8);
  std::string damaged = out.bytes;
  damaged[damaged.size() - 1] ^= 1;  // of the checksum
  EXPECT_EQ(read(damaged, 3000, 0), 8);
  // Four gigabytes, of which a few come.
  damaged.replace(0, 4, "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(read(damaged, 3000, 0), 0x2001000B);
  EXPECT_EQ(read(damaged, 3000, 64), 0x20010008);
  EXPECT_EQ(read(damaged + std::string(1500000, 'x'), 3000, 0), 0x2001000B);
  EXPECT_LE(bufferSize, 8u << 20) << "memory goes with the bytes that came";
  qmFreePtr(buffer);

  buffer = static_cast<BYTE*>(qmAllocPtr(10, 0, nullptr));
  bufferSize = 10;
  const auto write = [&](int level) {
    zlib.SetCompressionLevel(level);
    return CodeOf([&] { zlib.Compress(out, data.data(), 3000, buffer, bufferSize, nullptr, 500); });
  };
  EXPECT_EQ(write(10), 8);
  for (int nth : {1, 2, 3}) {
    kxw::detail::ScopedFaults faults;
    faults.Fail(kxw::detail::FaultPoint::kAlloc, nth, kxw::kErrorNotEnoughMemory);
    EXPECT_EQ(write(6), 8);
    EXPECT_EQ(bufferSize, 10u);
    buffer[9] = 1;
  }
  qmFreePtr(buffer);
}

}  // namespace
