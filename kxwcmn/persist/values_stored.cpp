#include "kxwcmn/core/length.h"
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
  number = KXNumber(read);
  return archive;
}

void KXNumber::ReadArchive(KXArchive& archive) { archive >> *this; }
void KXNumber::WriteArchive(KXArchive& archive) const { archive << *this; }

KXArchive& operator<<(KXArchive& archive, const KXLength& length) {
  length.WriteArchive(archive);
  return archive;
}

KXArchive& operator>>(KXArchive& archive, KXLength& length) {
  length.ReadArchive(archive);
  return archive;
}

void KXLength::ReadArchive(KXArchive& archive) {
  double v = 0, r = 0;
  int u = 0;
  archive >> v >> u >> r;
  Set(v, u, r);
}

void KXLength::WriteArchive(KXArchive& archive) const { archive << value << unit << resolution; }
