#include <dlfcn.h>

#include <utility>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/posix/sound_internal.h"

namespace kxw {

namespace {

class PosixSoundService : public SoundService {
 public:
#if defined(KXWCMN_WITH_SOUND)
  bool IsInstalled() override { return HasPortAudio() && HasSoundFile(); }
  int ReadAiff(const char* path, SoundFormat* format) override {
    return ReadAiffFile(path, format);
  }
  std::unique_ptr<SoundChannel> NewChannel(
      int, int, std::function<void(const SoundCommand&)> callback) override {
    return OpenSoundChannel(std::move(callback));
  }
#else
  bool IsInstalled() override { return false; }
  int ReadAiff(const char*, SoundFormat*) override { return kErrorNotSupported; }
  std::unique_ptr<SoundChannel> NewChannel(int, int,
                                           std::function<void(const SoundCommand&)>) override {
    return nullptr;
  }
#endif
};

}  // namespace

HostLibrary::HostLibrary(const char* name) : handle_(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}

void* HostLibrary::Find(const char* name) const { return handle_ ? dlsym(handle_, name) : nullptr; }

// Never destroyed: a channel may outlive static objects.
SoundService& HostSoundService() {
  static SoundService& service = *new PosixSoundService;
  return service;
}

}  // namespace kxw
