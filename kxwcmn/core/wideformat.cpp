#include "kxwcmn/core/wideformat_internal.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "kxwcmn/platform/number.h"
#include "kxwcmn/platform/text.h"
#include "kxwcmn/platform/types.h"

namespace kxw {

namespace {

constexpr int kWidest = 65535;

enum class Length { kNone, kChar, kShort, kLong, kLongLong, kMax, kSize, kPointer, kLongDouble };

struct Directive {
  std::string flags;
  int width = 0;
  int precision = -1;
  Length length = Length::kNone;
  char conversion = 0;

  bool IsLeft() const { return flags.find('-') != std::string::npos; }
};

std::string PrintNarrow(const char* format, ...) {
  std::va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  std::string text(static_cast<std::size_t>(std::max(PrintText(nullptr, 0, format, arguments), 0)),
                   '\0');
  PrintText(text.data(), text.size() + 1, format, again);
  va_end(again);
  va_end(arguments);
  return text;
}

class WideFormatter {
 public:
  WideFormatter(const std::u16string& format, std::va_list arguments) : format_(format) {
    va_copy(arguments_, arguments);
  }
  ~WideFormatter() { va_end(arguments_); }
  WideFormatter(const WideFormatter&) = delete;
  WideFormatter& operator=(const WideFormatter&) = delete;

  std::u16string Run() {
    while (at_ < format_.size()) {
      const std::size_t percent = std::min(format_.find(u'%', at_), format_.size());
      result_.append(format_, at_, percent - at_);
      at_ = percent;
      if (at_ == format_.size()) break;
      ++at_;
      const Directive directive = Parse();
      if (!Print(directive)) result_.append(format_, percent, at_ - percent);
    }
    return result_;
  }

 private:
  char Peek() const {
    const char16_t unit = at_ < format_.size() ? format_[at_] : u'\0';
    return unit < 0x80 ? static_cast<char>(unit) : '\0';
  }

  bool Take(const char* text) {
    const std::size_t length = std::char_traits<char>::length(text);
    if (!std::equal(text, text + length, format_.begin() + static_cast<std::ptrdiff_t>(at_),
                    format_.begin() +
                        static_cast<std::ptrdiff_t>(std::min(at_ + length, format_.size())))) {
      return false;
    }
    at_ += length;
    return true;
  }

  int ParseNumber() {
    if (Take("*")) return va_arg(arguments_, int);
    int number = 0;
    for (; Peek() >= '0' && Peek() <= '9'; ++at_) {
      number = std::min(number * 10 + (Peek() - '0'), kWidest);
    }
    return number;
  }

  Length ParseLength() {
    static constexpr struct {
      const char* text;
      Length length;
    } kLengths[] = {
        {"hh", Length::kChar},      {"h", Length::kShort},   {"ll", Length::kLongLong},
        {"I64", Length::kLongLong}, {"I32", Length::kNone},  {"I", Length::kPointer},
        {"l", Length::kLong},       {"w", Length::kLong},    {"j", Length::kMax},
        {"z", Length::kSize},       {"t", Length::kPointer}, {"L", Length::kLongDouble}};
    for (const auto& entry : kLengths) {
      if (Take(entry.text)) return entry.length;
    }
    return Length::kNone;
  }

  Directive Parse() {
    Directive directive;
    while (Peek() && std::string("-+ #0").find(Peek()) != std::string::npos) {
      directive.flags += Peek();
      ++at_;
    }
    int width = std::clamp(ParseNumber(), -kWidest, kWidest);
    if (width < 0) {
      directive.flags += '-';
      width = -width;
    }
    directive.width = width;
    if (Take(".")) directive.precision = std::clamp(ParseNumber(), -1, kWidest);
    directive.length = ParseLength();
    directive.conversion = Peek();
    if (at_ < format_.size()) ++at_;
    return directive;
  }

  /// The directive for the runtime's own print, which takes the number in its widest type.
  static std::string Narrow(const Directive& directive, const char* length) {
    std::string text = "%" + directive.flags;
    if (directive.width > 0) text += std::to_string(directive.width);
    if (directive.precision >= 0) text.append(".").append(std::to_string(directive.precision));
    return text + length + directive.conversion;
  }

  i64 TakeSigned(Length length) {
    switch (length) {
      case Length::kChar:
        return static_cast<signed char>(va_arg(arguments_, int));
      case Length::kShort:
        return static_cast<short>(va_arg(arguments_, int));
      case Length::kLong:
        return va_arg(arguments_, long);
      case Length::kLongLong:
        return va_arg(arguments_, long long);
      case Length::kMax:
        return va_arg(arguments_, std::intmax_t);
      case Length::kSize:
      case Length::kPointer:
        return va_arg(arguments_, std::ptrdiff_t);
      default:
        return va_arg(arguments_, int);
    }
  }

  u64 TakeUnsigned(Length length) {
    const auto value = static_cast<u64>(TakeSigned(length));
    switch (length) {
      case Length::kChar:
        return value & 0xFF;
      case Length::kShort:
        return value & 0xFFFF;
      case Length::kNone:
        return value & 0xFFFFFFFF;
      default:
        return value;
    }
  }

  void AppendNarrow(const std::string& text) { result_.append(text.begin(), text.end()); }

  void AppendPadded(const Directive& directive, std::u16string text) {
    if (directive.precision >= 0 && directive.conversion != 'c' && directive.conversion != 'C') {
      text.resize(std::min(text.size(), static_cast<std::size_t>(directive.precision)));
    }
    const auto width = static_cast<std::size_t>(directive.width);
    const std::u16string padding(width > text.size() ? width - text.size() : 0, u' ');
    result_ += directive.IsLeft() ? text + padding : padding + text;
  }

  /// Whether a text or character argument is a narrow one.
  static bool IsNarrow(const Directive& directive) {
    if (directive.length == Length::kShort) return true;
    if (directive.length == Length::kLong) return false;
    return directive.conversion == 'S' || directive.conversion == 'C';
  }

  static std::u16string Widen(const char* text) {
    std::u16string wide;
    ToWide(text ? text : "(null)", &wide);
    return wide;
  }

  std::u16string TakeText(bool isNarrow) {
    if (isNarrow) return Widen(va_arg(arguments_, const char*));
    const auto* units = va_arg(arguments_, const unsigned short*);
    return units ? std::u16string(reinterpret_cast<const char16_t*>(units)) : u"(null)";
  }

  std::u16string TakeCharacter(bool isNarrow) {
    const int value = va_arg(arguments_, int);
    if (!isNarrow) return std::u16string(1, static_cast<char16_t>(value));
    const char text[] = {static_cast<char>(value), 0};
    return Widen(text);
  }

  /// False for an unknown directive.
  bool Print(const Directive& directive) {
    switch (directive.conversion) {
      case '%':
        result_ += u'%';
        return true;
      case 'd':
      case 'i':
        AppendNarrow(PrintNarrow(Narrow(directive, "ll").c_str(), TakeSigned(directive.length)));
        return true;
      case 'u':
      case 'o':
      case 'x':
      case 'X':
        AppendNarrow(PrintNarrow(Narrow(directive, "ll").c_str(), TakeUnsigned(directive.length)));
        return true;
      case 'a':
      case 'A':
      case 'e':
      case 'E':
      case 'f':
      case 'F':
      case 'g':
      case 'G':
        if (directive.length == Length::kLongDouble) {
          AppendNarrow(
              PrintNarrow(Narrow(directive, "L").c_str(), va_arg(arguments_, long double)));
        } else {
          AppendNarrow(PrintNarrow(Narrow(directive, "").c_str(), va_arg(arguments_, double)));
        }
        return true;
      case 'p':
        AppendNarrow(PrintNarrow(Narrow(directive, "").c_str(), va_arg(arguments_, void*)));
        return true;
      case 's':
      case 'S':
        AppendPadded(directive, TakeText(IsNarrow(directive)));
        return true;
      case 'c':
      case 'C':
        AppendPadded(directive, TakeCharacter(IsNarrow(directive)));
        return true;
      case 'n':
        va_arg(arguments_, void*);
        return true;
      default:
        return false;
    }
  }

  const std::u16string& format_;
  std::size_t at_ = 0;
  std::va_list arguments_;
  std::u16string result_;
};

}  // namespace

std::u16string FormatWide(const std::u16string& format, std::va_list arguments) {
  return WideFormatter(format, arguments).Run();
}

}  // namespace kxw
