#include <iconv.h>

#include <cerrno>

#include "kxwcmn/platform/text.h"

namespace kxw {

namespace {

/// Converts all of `text` with the host's converter.
bool Convert(const char* to, const char* from, const std::string& text, std::string* result) {
  const iconv_t converter = iconv_open(to, from);
  if (converter == reinterpret_cast<iconv_t>(-1)) return false;
  std::string input = text;
  std::string output(text.size() * 4 + 4, '\0');
  char* in = input.data();
  char* out = output.data();
  std::size_t inLeft = input.size();
  std::size_t outLeft = output.size();
  // A positive result counts characters that were replaced by something like them.
  const bool exact = iconv(converter, &in, &inLeft, &out, &outLeft) == 0 && inLeft == 0;
  iconv_close(converter);
  if (!exact) return false;
  output.resize(output.size() - outLeft);
  *result = std::move(output);
  return true;
}

std::string NameOfCodePage() { return "CP" + std::to_string(GetCodePage()); }

}  // namespace

bool ToUtf8(const std::string& text, std::string* result) {
  if (GetCodePage() != kCodePageUtf8) {
    return Convert("UTF-8", NameOfCodePage().c_str(), text, result);
  }
  *result = text;
  return true;
}

bool FromUtf8(const std::string& text, std::string* result) {
  if (GetCodePage() != kCodePageUtf8) {
    return Convert(NameOfCodePage().c_str(), "UTF-8", text, result);
  }
  *result = text;
  return true;
}

}  // namespace kxw
