#pragma once

#include <string>

#include "kxwcmn/kxwcmn.h"

namespace composeframe {

/// Writes a contact sheet of `image` made small in each quality, and turned in each, with a detail
/// of each enlarged below it. Raises FileError, and what the library raises.
void ShowQualities(KXVOffscreen& image, const std::string& path);

}  // namespace composeframe
