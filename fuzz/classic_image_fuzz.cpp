#include "fuzz/input.h"
#include "kxwcmn/classic/offscreen.h"
#include "tests/support/streams.h"

// A stored classic image, read big-endian or little-endian, with a cache or without, complemented
// or not. One that is accepted must come back the same when it is stored anew.

namespace {

using testing_kxw::StringArchive;

std::string Store(KXOffscreen& image) {
  StringArchive ar(testing_kxw::kStoreBig, 4096);
  image.Serialize(ar, 0);
  return ar.Flushed();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned flags = input.Byte();
  KXOffscreen image;
  const bool isRead = fuzz::Succeeds([&] {
    StringArchive ar(flags & 1 ? testing_kxw::kLoadLittle : testing_kxw::kLoadBig,
                     flags & 2 ? 512 : 0, input.Rest());
    image.Serialize(ar, (flags & 4) != 0);
  });
  fuzz::Check(isRead == (image.IsValid() != 0));
  if (!isRead) return 0;
  const std::string text = Store(image);
  StringArchive again(testing_kxw::kLoadBig, 0, text);
  image.Serialize(again, 0);
  fuzz::Check(Store(image) == text);
  return 0;
}
