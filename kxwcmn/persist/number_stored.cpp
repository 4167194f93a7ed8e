#include "kxwcmn/core/number.h"
#include "kxwcmn/persist/archive.h"

KXArchive& operator<<(KXArchive& archive, const _QMNUMBER& number) {
  archive << number.number;
  archive.Write(number.suffix, sizeof number.suffix);
  return archive;
}

KXArchive& operator>>(KXArchive& archive, _QMNUMBER& number) {
  _QMNUMBER read{};
  archive >> read.number;
  archive.Read(read.suffix, sizeof read.suffix);
  number = read;
  return archive;
}
