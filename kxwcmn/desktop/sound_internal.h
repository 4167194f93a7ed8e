#pragma once

#include "kxwcmn/core/file.h"

namespace kxw {

/// What `KXSound::GetSoundType` tells.
enum SoundType : WORD { kSoundNone, kSoundWave, kSoundAiff };

inline void OpenForReading(KXFile& file, const KXFilePath& path) {
  file.Open(path, static_cast<int>(kFileRead), kShareRead, kOpenExisting, 0);
}

}  // namespace kxw
