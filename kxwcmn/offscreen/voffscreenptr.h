#pragma once

#include <memory>

#include "kxwcmn/platform/export.h"

class KXVOffscreen;

/// Deletes an image by `KXVOffscreen::DeleteOffscreen`.
struct KX_EXPORT KXVOffscreenDeleter {
  void operator()(KXVOffscreen* offscreen) const;
};

/// The one owner of an image: made by `KXVOffscreen::Make`, or from a pointer that the caller of an
/// operation owns, such as `KXVOffscreenPtr copy(image->CreateAndCopyAll());`. The image's manager
/// must outlive it.
using KXVOffscreenPtr = std::unique_ptr<KXVOffscreen, KXVOffscreenDeleter>;
