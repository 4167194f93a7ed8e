#include <iconv.h>

#include <bit>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "kxwcmn/platform/text.h"

namespace kxw {

namespace {

constexpr const char* kWide = std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";

std::string NameOfCodePage() {
  return GetCodePage() == kCodePageUtf8 ? "UTF-8" : "CP" + std::to_string(GetCodePage());
}

std::string_view BytesOf(const std::u16string& text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

/// Converts all of `text` with the host's converter. Where it is malformed, `replacement` takes the
/// place of one byte; false if there is none, or no such converter.
bool Convert(const std::string& to, const std::string& from, std::string_view text,
             std::string_view replacement, std::string* result) {
  const iconv_t converter = iconv_open(to.c_str(), from.c_str());
  if (converter == reinterpret_cast<iconv_t>(-1)) return false;
  std::string input(text);
  std::string output;
  char* in = input.data();
  std::size_t inLeft = input.size();
  bool succeeds = true;
  while (inLeft > 0 && succeeds) {
    char chunk[1024];
    char* out = chunk;
    std::size_t outLeft = sizeof chunk;
    const std::size_t done = iconv(converter, &in, &inLeft, &out, &outLeft);
    const bool isFull = done == static_cast<std::size_t>(-1) && errno == E2BIG;
    output.append(chunk, out);
    if (done == 0 || isFull) continue;
    // Malformed or cut off; a positive result counts characters replaced by something like them.
    succeeds = done == static_cast<std::size_t>(-1) && !replacement.empty();
    if (!succeeds) break;
    output += replacement;
    ++in;
    --inLeft;
  }
  iconv_close(converter);
  if (succeeds) *result = std::move(output);
  return succeeds;
}

/// Converts into the code page. The host takes some characters for others that are like them, the
/// yen sign for the backslash among them: only what converts back is exact.
bool ConvertExactly(const std::string& from, std::string_view text, std::string* result) {
  std::string converted, back;
  if (!Convert(NameOfCodePage(), from, text, {}, &converted)) return false;
  if (!Convert(from, NameOfCodePage(), converted, {}, &back) || back != text) return false;
  *result = std::move(converted);
  return true;
}

}  // namespace

bool ToUtf8(const std::string& text, std::string* result) {
  if (GetCodePage() != kCodePageUtf8) return Convert("UTF-8", NameOfCodePage(), text, {}, result);
  *result = text;
  return true;
}

std::string ToUtf8Lossy(const std::string& text) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  std::string result;
  // By way of UTF-16, for from UTF-8 to itself the host lets through what is no character: five and
  // six bytes, and four above U+10FFFF.
  std::u16string wide;
  if (ToWide(text, &wide) && Convert("UTF-8", kWide, BytesOf(wide), {}, &result)) return result;
  for (char byte : text) {
    const bool isAscii = static_cast<unsigned char>(byte) < 0x80;
    result += isAscii ? std::string_view(&byte, 1) : kReplacement;
  }
  return result;
}

bool FromUtf8(const std::string& text, std::string* result) {
  if (GetCodePage() != kCodePageUtf8) return ConvertExactly("UTF-8", text, result);
  *result = text;
  return true;
}

bool ToWide(const std::string& text, std::u16string* result) {
  const char16_t replacement = 0xFFFD;
  char bytes[sizeof replacement];
  std::memcpy(bytes, &replacement, sizeof bytes);
  std::string units;
  if (!Convert(kWide, NameOfCodePage(), text, {bytes, sizeof bytes}, &units)) return false;
  result->resize(units.size() / sizeof(char16_t));
  std::memcpy(result->data(), units.data(), result->size() * sizeof(char16_t));
  return true;
}

bool FromWide(const std::u16string& text, std::string* result) {
  return ConvertExactly(kWide, BytesOf(text), result);
}

}  // namespace kxw
