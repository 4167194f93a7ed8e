#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXArchive;

/// The plain form of a KXLength.
struct _QMLENGTH {
  double value;
  int unit;           ///< A kxw::LengthUnit.
  double resolution;  ///< Pixels an inch, for lengths in pixels.
};

namespace kxw {
enum LengthUnit : int {
  kLengthKeepUnit = -2,  ///< As an argument: leaves the unit that is stored.
  kLengthNoUnit = -1,
  kLengthPixels = 0,
  kLengthCentimetres = 1,
  kLengthMillimetres = 2,
  kLengthInches = 3,
  kLengthPicas = 4,
  kLengthPoints = 5,
  kLengthQuarterMillimetres = 6,
};
}  // namespace kxw

/// A distance in one of seven units. It is in the unit in which it was given, so that it is shown
/// as the user wrote it.
class KX_EXPORT KXLength : public _QMLENGTH {
 public:
  /// 0 of no unit, with no resolution.
  KXLength() : _QMLENGTH{0, kxw::kLengthNoUnit, 0} {}
  KXLength(double v, int u, double r = 0) : KXLength() { Set(v, u, r); }
  KXLength(const _QMLENGTH& other) : _QMLENGTH(other) {}

  /// A `u` of -2 leaves the unit as it is, and an `r` that is not above 0 the resolution.
  void Set(double v, int u = kxw::kLengthKeepUnit, double r = 0);

  double GetData() const { return value; }
  int GetUnit() const { return unit; }
  double GetResolution() const { return resolution; }

  /// The length in another unit; whole pixels of its own resolution for pixels. 0 where one of the
  /// units is none, and for pixels of no resolution.
  ///
  /// A pica counts as six inches beside inches and metric units, and as a twelfth of a point beside
  /// points. Documents hold lengths converted so, hence it stays.
  double GetAs(int target) const;
  /// The length in pixels of `r` an inch, whole ones rounded as `qmDouble2Int` does. 0 for no unit,
  /// for picas, and for pixels of no resolution.
  int GetAsPixel(double r) const;
  double GetAsPixelD(double r) const;

  /// Exact, in value, unit and resolution.
  bool operator==(const KXLength& other) const {
    return value == other.value && unit == other.unit && resolution == other.resolution;
  }

  /// Store and restore value, unit (4 bytes) and resolution; what is read is taken as `Set` does.
  /// What an archive without a cache does not hold any more reads as 0, as everywhere: a resolution
  /// of 0 leaves that which is there. Written in room persist.
  void ReadArchive(KXArchive& archive);
  void WriteArchive(KXArchive& archive) const;
};

KX_EXPORT KXArchive& operator<<(KXArchive& archive, const KXLength& length);
KX_EXPORT KXArchive& operator>>(KXArchive& archive, KXLength& length);
