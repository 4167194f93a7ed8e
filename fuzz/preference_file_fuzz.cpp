#include <set>
#include <string>

#include "fuzz/input.h"
#include "kxwcmn/core/color.h"
#include "kxwcmn/core/number.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/persist/preferencefile.h"
#include "tests/testfolder.h"

// A preference file of any bytes: every look-up ends, and a merge leaves the values that were found
// in records in front, as far as a record without a value lets it.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TestFolder folder;
  fuzz::Input input(data, size);
  const std::string wanted = input.Take(input.Byte() % 8), bytes = input.Rest();
  folder.WriteFile("f", bytes);
  const KXFilePath path = folder.Path("f").c_str();
  KXPreferenceFile file;
  file.OpenPreferenceFile(0, path);
  for (const std::string& label : {wanted, std::string("a"), wanted}) {
    short s;
    int i;
    double d;
    char buffer[8];
    _QMNUMBER n;
    tagQMRGBCOLOR16 c;
    KXString text;
    file.GetPreferenceFile(label.c_str(), s);
    file.GetPreferenceFile(label.c_str(), i);
    file.GetPreferenceFile(label.c_str(), d);
    file.GetPreferenceFile(label.c_str(), n);
    file.GetPreferenceFile(label.c_str(), c);
    file.GetPreferenceFile(label.c_str(), text);
    file.GetPreferenceFile(label.c_str(), buffer, 8);
  }
  int first = 0, merged = 0;
  const bool isFirst = file.GetPreferenceFile("first", first);
  file.ClosePreferenceFile();
  if (!fuzz::Succeeds([&] {
        file.OpenPreferenceFile(1, path);
        file.SetPreferenceFile("merged", 5);
        file.ClosePreferenceFile();
      })) {
    std::abort();
  }
  file.OpenPreferenceFile(0, path);
  fuzz::Check(file.GetPreferenceFile("merged", merged) && merged == 5);
  int again = 0;
  if (file.GetPreferenceFile("first", again)) fuzz::Check(isFirst && again == first);
  file.ClosePreferenceFile();
  return 0;
}
