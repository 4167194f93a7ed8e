#include "kxwcmn/platform/sound.h"

#include <atomic>

namespace kxw {

namespace {

std::atomic<SoundService*> setService = nullptr;

}  // namespace

void SetSoundService(SoundService* service) { setService = service; }

SoundService& GetSoundService() {
  SoundService* const service = setService;
  return service ? *service : HostSoundService();
}

}  // namespace kxw

int qmwIsInstallQT() { return kxw::GetSoundService().IsInstalled(); }
