#pragma once

#include <functional>
#include <memory>

#include "kxwcmn/platform/sound.h"

// The sound service of this host: PortAudio plays, libsndfile reads AIFF. Both are looked for when
// the process first asks for sound; their headers alone are used at build.

namespace kxw {

/// A library of the host that is there or not; never let go.
class HostLibrary {
 public:
  explicit HostLibrary(const char* name);

  /// Sets `*function` to the function of that name; false if there is none.
  template <class Function>
  bool Find(const char* name, Function** function) const {
    *function = reinterpret_cast<Function*>(Find(name));
    return *function != nullptr;
  }

 private:
  void* Find(const char* name) const;

  void* handle_;
};

/// Whether the library is there with all that is needed of it.
bool HasPortAudio();
bool HasSoundFile();

/// As `SoundService` has them; only where the libraries are there.
int ReadAiffFile(const char* path, SoundFormat* format);
std::unique_ptr<SoundChannel> OpenSoundChannel(std::function<void(const SoundCommand&)> callback);

}  // namespace kxw
