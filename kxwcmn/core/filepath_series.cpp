#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/findfile.h"
#include "kxwcmn/platform/text.h"

namespace {

constexpr int kMostDigits = 200;  // a file name has room for no more

/// The first run of digits in a name, at most the largest 32-bit number. False if there is none.
bool FirstNumber(const char* name, i64* number) {
  constexpr i64 kMost = 0x7FFFFFFF;
  const char* digit = name + std::strcspn(name, "0123456789");
  if (!*digit) return false;
  for (*number = 0; *digit >= '0' && *digit <= '9'; ++digit) {
    *number = std::min(*number * 10 + (*digit - '0'), kMost);
  }
  return true;
}

bool BeginsWithNoCase(const std::string& name, const std::string& prefix) {
  return kxw::CompareNoCase(name.substr(0, prefix.size()).c_str(), prefix.c_str()) == 0;
}

/// The numbers of the names that belong to a series, in ascending order.
std::vector<i64> NumbersOfSeries(const KXFilePath& folder, const std::string& extension,
                                 const std::string& prefix) {
  std::vector<i64> numbers;
  KXFindFile find;
  for (int found = find.First(folder); found; found = find.Next()) {
    if (find.IsHidden() || find.IsParentFolder()) continue;
    KXFilePath path;
    find.GetFilePath(path);
    if (!extension.empty() && (find.IsFolder() || !path.IsExtensionFile(extension.c_str()))) {
      continue;
    }
    i64 number = 0;
    if (BeginsWithNoCase(find.GetName(), prefix) && FirstNumber(find.GetName(), &number)) {
      numbers.push_back(number);
    }
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

/// The first number missing above the smallest.
i64 NextNumber(const std::vector<i64>& numbers) {
  if (numbers.empty()) return 1;
  const auto gap =
      std::adjacent_find(numbers.begin(), numbers.end(), [](i64 a, i64 b) { return b > a + 1; });
  return (gap == numbers.end() ? numbers.back() : *gap) + 1;
}

}  // namespace

void KXFilePath::GetSequencialFilePath(const KXFilePath& folder, int digits, const char* extension,
                                       const char* prefix) {
  const std::string suffix = extension ? extension : "";
  std::string name = prefix ? prefix : "";
  const std::string number = std::to_string(NextNumber(NumbersOfSeries(folder, suffix, name)));
  const auto width = static_cast<std::size_t>(std::clamp(digits, 0, kMostDigits));
  if (number.size() < width) name.append(width - number.size(), '0');
  name += number;
  if (!suffix.empty()) name.append(".").append(suffix);
  KXFilePath path = folder;
  path += name.c_str();
  path_ = path.path_;
}
