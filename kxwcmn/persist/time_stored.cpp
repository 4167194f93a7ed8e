#include "kxwcmn/core/time.h"
#include "kxwcmn/persist/archive.h"

KXArchive& operator<<(KXArchive& archive, const KXTime& time) {
  return archive << static_cast<int>(static_cast<long>(time));
}

KXArchive& operator>>(KXArchive& archive, KXTime& time) {
  int seconds = 0;
  archive >> seconds;
  if (seconds == KXTime::kInvalid) {
    time.Clear();
    return archive;
  }
  // Whatever can be stored can be read: an expansion that the host cannot make stays as it was.
  time.seconds_ = seconds;
  time.GetUTCTime2();
  time.GetLocalTime();
  return archive;
}
