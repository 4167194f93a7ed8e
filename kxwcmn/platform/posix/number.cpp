#include "kxwcmn/platform/number.h"

#include <locale.h>

#include <cstdio>
#include <cstdlib>

namespace {

/// Gives the calling thread the locale of plain C while it lives.
class PlainLocale {
 public:
  PlainLocale() : before_(uselocale(Plain())) {}
  ~PlainLocale() { uselocale(before_); }
  PlainLocale(const PlainLocale&) = delete;
  PlainLocale& operator=(const PlainLocale&) = delete;

 private:
  static locale_t Plain() {
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    return plain;
  }

  locale_t before_;
};

}  // namespace

namespace kxw {

int PrintText(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
  const PlainLocale plain;
  return std::vsnprintf(buffer, size, format, arguments);
}

double ParseNumber(const char* text) {
  const PlainLocale plain;
  return std::strtod(text, nullptr);
}

}  // namespace kxw
