#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXArchive;

/// The number of a frame or cel: up to three letters may follow it, with a terminator.
struct _QMNUMBER {
  LONG number;
  char suffix[4];
};

/// Store and restore a number in 8 bytes: itself as 32 bits, and the suffix as it stands. Written
/// in room persist.
KX_EXPORT KXArchive& operator<<(KXArchive& archive, const _QMNUMBER& number);
KX_EXPORT KXArchive& operator>>(KXArchive& archive, _QMNUMBER& number);
