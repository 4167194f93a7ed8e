#include "fuzz/input.h"
#include "kxwcmn/core/dpoint.h"
#include "kxwcmn/core/filepath.h"
#include "tests/testfolder.h"

// A file of points of any bytes: what opens has no more than ten points, and comes back from a file
// of its own, which is read to the end. What does not open keeps a list that can be worked on.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TestFolder folder;
  const std::string bytes = fuzz::Input(data, size).Rest();
  folder.WriteFile("f", bytes);
  const KXFilePath path = folder.Path("f").c_str(), saved = folder.Path("saved").c_str();
  KXDPoint list;
  const bool isOpened = fuzz::Succeeds([&] { list.Open(path); });
  fuzz::Check(list.GetCount() >= 0 && list.GetCount() <= KXDPoint::kCapacity);
  if (isOpened) {
    KXDPoint again;
    list.Save(saved, 0);
    again.Open(saved);
    fuzz::Check(again.GetCount() == list.GetCount() && again.GetAngle() == list.GetAngle() &&
                again.GetOpacity() == list.GetOpacity() && again.GetColor() == list.GetColor());
    again.Save(saved, 0);
    // The tag, the count, two words and angle, opacity and colour, behind a list of points.
    const auto head = static_cast<std::size_t>(8 + 16 * list.GetCount());
    const std::string stored = folder.ReadFile("saved");
    fuzz::Check(stored.size() == head + 16);
    if (bytes.size() > head) fuzz::Check(bytes.substr(8, head - 8) == stored.substr(8, head - 8));
  }
  list.Offset(tagPOINTD{1, 1}, -1);
  list.RemovePoint(0);
  list.AddPoint(tagPOINTD{0.5, 0.5});
  return 0;
}
