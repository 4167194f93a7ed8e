#include <string>

#include "fuzz/input.h"
#include "kxwcmn/persist/archive.h"
#include "kxwcmn/persist/document.h"
#include "tests/testfolder.h"

// The head of a document of any bytes: it opens if the head is whole, of the type and of no newer
// major version, and then the head comes back when it is saved.

namespace {

struct HeadOnly : KXDocument {
  explicit HeadOnly(UINT order) : KXDocument(0, 0x31323334, 0x0205), endian(order) {}
  UINT GetEndianMode(int) const override { return endian; }
  void Serialize(KXArchive& archive) override {
    if (archive.IsLoading()) {
      ReadVersionInfo(archive);
    } else {
      WriteVersionInfo(archive);
    }
  }
  UINT endian;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TestFolder folder;
  fuzz::Input input(data, size);
  const bool isBig = input.Byte() & 1;
  const std::string bytes = input.Rest();
  folder.WriteFile("f", bytes);
  HeadOnly document(isBig ? 8 : 4);
  KXFilePath path = folder.Path("f").c_str();
  const bool isOpened = fuzz::Succeeds([&] { document.OnOpenDocument(path); });
  const char* type = isBig ? "1234" : "4321";
  const bool isKnown = bytes.size() >= 6 && bytes.substr(0, 4) == type &&
                       static_cast<std::uint8_t>(bytes[isBig ? 4 : 5]) <= 2;
  fuzz::Check(isOpened == isKnown);
  if (!isOpened) return 0;
  document.SetSerializeVersion(document.GetSerializeVersion());
  fuzz::Check(document.OnSaveDocument(nullptr) == 1);
  fuzz::Check(folder.ReadFile("f") == bytes.substr(0, 6));
  return 0;
}
