#include <memory>

#include "fuzz/input.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "tests/support/streams.h"

// A stored image, read big-endian or little-endian, with a cache or without. One that is accepted
// must come back the same when it is stored anew.

namespace {

using testing_kxw::StringArchive;

struct DeleteImage {
  void operator()(KXVOffscreen* image) const { KXVOffscreen::DeleteOffscreen(image); }
};
using ImagePtr = std::unique_ptr<KXVOffscreen, DeleteImage>;

std::string Store(KXVOffscreen& image, int level) {
  StringArchive ar(testing_kxw::kStoreBig, 4096);
  KXVOffscreen::Write(ar, &image, level);
  return ar.Flushed();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::NeedProcessMemory();
  fuzz::Input input(data, size);
  const unsigned flags = input.Byte();
  ImagePtr image;
  const bool isRead = fuzz::Succeeds([&] {
    StringArchive ar(flags & 1 ? testing_kxw::kLoadLittle : testing_kxw::kLoadBig,
                     flags & 2 ? 512 : 0, input.Rest());
    image.reset(KXVOffscreen::Read(ar));
  });
  fuzz::Check(isRead == (image != nullptr));
  if (!isRead || image->GetUsedMemory(0) > 0x100000) return 0;
  const std::string text = Store(*image, 0);
  StringArchive packed(testing_kxw::kLoadBig, 0, Store(*image, 1));
  const ImagePtr back(KXVOffscreen::Read(packed));
  fuzz::Check(Store(*back, 0) == text);
  return 0;
}
