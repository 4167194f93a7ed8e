#include "kxwcmn/core/length.h"

#include "kxwcmn/platform/number.h"

namespace {

constexpr int kUnits = 6;  // those with a fixed size; pixels have none

// How many of the row's unit one of the column's is, both in the order of the units: centimetres,
// millimetres, inches, picas, points, quarter millimetres.
constexpr double kFactors[kUnits][kUnits] = {
    {1, 0.1, 2.54, 15.24, 0.035277777777777776, 0.025},
    {10, 1, 25.4, 152.39999999999998, 0.35277777777777775, 0.25},
    {0.39370078740157477, 0.03937007874015748, 1, 6, 0.013888888888888888, 0.00984251968503937},
    {0.06561679790026245, 0.006561679790026247, 0.16666666666666666, 1, 12, 0.0016404199475065617},
    {28.346456692913385, 2.8346456692913384, 72, 0.08333333333333333, 1, 0.7086614173228346},
    {40, 4, 101.6, 609.5999999999999, 1.411111111111111, 1},
};

bool HasFixedSize(int unit) { return unit >= 1 && unit <= kUnits; }

double Factor(int target, int unit) { return kFactors[target - 1][unit - 1]; }

}  // namespace

void KXLength::Set(double v, int u, double r) {
  value = v;
  if (u != kxw::kLengthKeepUnit) unit = u;
  if (r > 0) resolution = r;
}

double KXLength::GetAs(int target) const {
  if (target == kxw::kLengthPixels) return GetAsPixel(resolution);
  if (!HasFixedSize(target)) return 0;
  if (HasFixedSize(unit)) return value * Factor(target, unit);
  if (unit != kxw::kLengthPixels || !(resolution > 0)) return 0;
  return value / resolution * Factor(target, kxw::kLengthInches);
}

int KXLength::GetAsPixel(double r) const { return qmDouble2Int(GetAsPixelD(r)); }

double KXLength::GetAsPixelD(double r) const {
  if (unit == kxw::kLengthPixels) return resolution > 0 ? value / resolution * r : 0;
  // Picas have no size in pixels: which of their two sizes it should be is not decided.
  if (!HasFixedSize(unit) || unit == kxw::kLengthPicas) return 0;
  return r * value * Factor(kxw::kLengthInches, unit);
}
