#pragma once

#include <cstdarg>
#include <string>

namespace kxw {

/// Prints UTF-16 as told at `KXWideString::Format`. `%n` stores nothing; an unknown directive
/// stands for itself and takes no argument.
std::u16string FormatWide(const std::u16string& format, std::va_list arguments);

}  // namespace kxw
