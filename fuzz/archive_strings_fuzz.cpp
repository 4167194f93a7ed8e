#include <string_view>

#include "fuzz/input.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/platform/text.h"
#include "tests/support/streams.h"

// Strings of both stored forms. What was read must come back the same when it is stored anew, save
// for two line ends at the end: the last one is one character behind a CR, which is lost.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using testing_kxw::StringArchive;
  fuzz::Input input(data, size);
  const unsigned flags = input.Byte();
  kxw::SetCodePage(flags & 1 ? kxw::kCodePageJapanese : kxw::kCodePageUtf8);
  StringArchive in(flags & 2 ? testing_kxw::kLoadLittle : testing_kxw::kLoadBig, flags & 4 ? 16 : 0,
                   input.Rest());
  while (in.GetPosition() < in.bytes.size()) {
    KXString text, back;
    const bool isRead = fuzz::Succeeds([&] {
      if (flags & 8) {
        in.ReadMKString(text);
      } else {
        in >> text;
      }
    });
    if (!isRead) break;
    if (flags & 8 || text.GetLength() > 0xFFFF) continue;
    StringArchive out(testing_kxw::kStoreBig, 0);
    out << text;
    StringArchive again(testing_kxw::kLoadBig, 0, out.bytes);
    again >> back;
    const std::string_view read = text.GetStr();
    fuzz::Check(back == text || read.ends_with("\r\n\r\n"));
  }
  return 0;
}
