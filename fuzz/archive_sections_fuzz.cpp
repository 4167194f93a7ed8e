#include "fuzz/input.h"
#include "tests/support/streams.h"

// Nested sections read in an order that the input's front says from the bytes of its rest.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using testing_kxw::StringArchive;
  fuzz::Input input(data, size);
  const unsigned flags = input.Byte();
  const std::string steps = input.Take(input.Byte());
  StringArchive in(flags & 1 ? testing_kxw::kLoadLittle : testing_kxw::kLoadBig,
                   flags & 2 ? flags >> 2 : 0, input.Rest());
  StringArchive copy(testing_kxw::kStoreBig, 32);
  char bytes[16];
  for (const char step : steps) {
    const UINT argument = static_cast<BYTE>(step) >> 4;
    const bool isDone = fuzz::Succeeds([&] {
      switch (step & 7) {
        case 0:
          return in.BeginSection();
        case 1:
          return in.EndSection();
        case 2:
          return in.SeekSection();
        case 3:
          return copy.CopySection(in);
        case 4:
          return in.Read(bytes, argument);
        case 5:
          in.Seek(static_cast<int>(argument) - 8, 1);
          return;
        case 6:
          in.SetEndianMode(argument & 12);
          return;
        default:
          in.Read(bytes, in.GetRemainingSectionSize() % sizeof bytes);
      }
    });
    if (!isDone && argument & 1) break;
    fuzz::Check(in.GetPosition() <= in.bytes.size());
  }
  copy.DoFlush();
  return 0;
}
