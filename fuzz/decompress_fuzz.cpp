#include <vector>

#include "fuzz/input.h"
#include "kxwcmn/persist/zlib.h"
#include "kxwcmn/platform/memory.h"
#include "tests/support/streams.h"

// A compressed buffer through the forms that read one; or, where the first bit says so, any bytes
// there and back.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using testing_kxw::StringArchive;
  fuzz::Input input(data, size);
  const unsigned flags = input.Byte(), room = input.Word();
  std::string text = input.Rest();
  std::vector<BYTE> dest(room);
  KXZLib zlib;
  zlib.SetCompressionLevel(static_cast<int>(flags >> 4) - 1);
  BYTE* buffer = static_cast<BYTE*>(qmAllocPtr(flags >> 2 & 3, 0, nullptr));
  DWORD bufferSize = flags >> 2 & 3;
  if (flags & 1) {
    StringArchive out(testing_kxw::kStoreBig, 100);
    const bool isStored = fuzz::Succeeds([&] {
      zlib.Compress(out, text.data(), static_cast<DWORD>(text.size()), buffer, bufferSize, nullptr,
                    room);
    });
    fuzz::Check(isStored == (flags >> 4 <= 10));
    if (isStored) {
      StringArchive in(testing_kxw::kLoadBig, 100, out.Flushed());
      std::string back(text.size(), '\0');
      zlib.Decompress(in, back.data(), static_cast<DWORD>(back.size()));
      fuzz::Check(back == text);
    }
  } else {
    StringArchive in(testing_kxw::kLoadBig, flags & 2 ? 16 : 0, text);
    while (fuzz::Succeeds(
        [&] { zlib.Decompress(in, dest.data(), room, buffer, bufferSize, nullptr, 0); })) {
    }
  }
  qmFreePtr(buffer);
  return 0;
}
