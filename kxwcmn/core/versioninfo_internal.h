#pragma once

#include <string>

#include "kxwcmn/core/filepath.h"

namespace kxw {

class ByteReader;

/// Reads text `key` of the version information of a program file (the portable executable format).
/// False, with an empty text, for anything else and where there is none. Raises nothing.
bool ReadVersionText(const KXFilePath& path, const char* key, std::u16string* text);

/// The same from the bytes of a version resource.
bool FindVersionText(const ByteReader& resource, const char* key, std::u16string* text);

}  // namespace kxw
