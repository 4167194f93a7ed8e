#include <algorithm>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/platform/number.h"
#include "kxwcmn/resample/detail/areapixel.h"

namespace {

using Table = KXVOffscreen::_KXRESOLUTIONTABLE;

/// The samples of a table along one axis, in the image's coordinates and cut to it.
class Samples {
 public:
  Samples(const Table& table, int base, int limit)
      : table_(table), origin_(static_cast<i64>(base) + table.start) {
    begin = std::max<i64>(origin_, 0);
    end = std::min<i64>(origin_ + table.count + 1, limit);
  }
  double Weight(i64 at) const {
    return at == origin_                  ? table_.firstWeight
           : at == origin_ + table_.count ? table_.lastWeight
                                          : 1.0;
  }

  i64 begin, end;

 private:
  const Table& table_;
  const i64 origin_;
};

/// The definition of the area filter. Each sum is taken in this order and in doubles: results at
/// the border of two roundings depend on it. `enter(x, y)` gives the row of a block, null for none.
template <class Depth, class Enter>
auto BoxValue(const Samples& columns, const Samples& rows, double scale, Enter enter) {
  using Area = kxw::AreaPixel<Depth>;
  using Sample = typename Area::Sample;
  constexpr int kChannels = Area::kChannels;
  double sums[kChannels] = {};
  for (i64 y = rows.begin; y < rows.end; ++y) {
    double rowSums[kChannels] = {};
    for (i64 x = columns.begin, blockEnd; x < columns.end; x = blockEnd) {
      blockEnd = std::min<i64>(columns.end, (x | KXVOffscreen::kBlockMask) + 1);
      const BYTE* row = enter(static_cast<int>(x), static_cast<int>(y));
      if (!row && Area::kHole == 0) continue;  // a sum does not change by 0
      Sample samples[kChannels];
      std::fill_n(samples, kChannels, Area::kHole);
      for (i64 at = x; at < blockEnd; ++at) {
        const double weight = columns.Weight(at);
        if (row) {
          const int column = static_cast<int>(at) & KXVOffscreen::kBlockMask;
          Area::Split(
              Depth::Load(row + kxw::ByteOfColumn<Depth>(column), kxw::MaskOfColumn<Depth>(column)),
              samples);
        }
        for (int c = 0; c < kChannels; ++c) rowSums[c] += weight * samples[c];
      }
    }
    const double weight = rows.Weight(y);
    for (int c = 0; c < kChannels; ++c) sums[c] += weight * rowSums[c];
  }
  Sample result[kChannels];
  for (int c = 0; c < kChannels; ++c) {
    result[c] =
        static_cast<Sample>(std::min(qmDouble2Int(sums[c] * scale * Area::kSpread), Area::kLimit));
  }
  return Area::Join(result);
}

}  // namespace

void KXVOffscreen::SetResolutionTable(_KXRESOLUTIONTABLE* table, const double& start,
                                      const double& end) {
  if (!table) kxThrowError(kxw::kFailureBadArgument);
  table->start = kxw::Truncate(start);
  table->end = kxw::Truncate(end);
  table->lastWeight = 0.0;
  if (table->start == table->end) {
    table->firstWeight = end - start;
    table->count = 0;
    return;
  }
  table->firstWeight = 1.0 - (start - table->start);
  table->lastWeight = end - table->end;
  if (table->lastWeight == 0.0) {  // the box ends where a sample does
    table->end = kxw::IntGeometry::Sub(table->end, 1);
    if (table->end != table->start) table->lastWeight = 1.0;
  }
  table->count = kxw::IntGeometry::Sub(table->end, table->start);
}

namespace kxw {

template <class Depth>
void NarrowDepthOffscreen<Depth>::CalcPixelValue(KXVOffscreen::_KXRESOLUTIONTABLE* xTable,
                                                 KXVOffscreen::_KXRESOLUTIONTABLE* yTable,
                                                 int baseX, int baseY, double scale,
                                                 DWORD& result) {
  if (!xTable || !yTable) kxThrowError(kFailureBadArgument);
  const Samples columns(*xTable, baseX, this->width_), rows(*yTable, baseY, this->height_);
  result = BoxValue<Depth>(columns, rows, scale, [this](int x, int y) {
    return this->GetBlockExist(x, y) ? this->EnterRow(x, y) : nullptr;
  });
}

template void NarrowDepthOffscreen<Depth1>::CalcPixelValue(KXVOffscreen::_KXRESOLUTIONTABLE*,
                                                           KXVOffscreen::_KXRESOLUTIONTABLE*, int,
                                                           int, double, DWORD&);
template void NarrowDepthOffscreen<Depth2>::CalcPixelValue(KXVOffscreen::_KXRESOLUTIONTABLE*,
                                                           KXVOffscreen::_KXRESOLUTIONTABLE*, int,
                                                           int, double, DWORD&);
template void NarrowDepthOffscreen<Depth8>::CalcPixelValue(KXVOffscreen::_KXRESOLUTIONTABLE*,
                                                           KXVOffscreen::_KXRESOLUTIONTABLE*, int,
                                                           int, double, DWORD&);
template void NarrowDepthOffscreen<Depth16>::CalcPixelValue(KXVOffscreen::_KXRESOLUTIONTABLE*,
                                                            KXVOffscreen::_KXRESOLUTIONTABLE*, int,
                                                            int, double, DWORD&);
template void NarrowDepthOffscreen<Depth24>::CalcPixelValue(KXVOffscreen::_KXRESOLUTIONTABLE*,
                                                            KXVOffscreen::_KXRESOLUTIONTABLE*, int,
                                                            int, double, DWORD&);
template void NarrowDepthOffscreen<Depth32>::CalcPixelValue(KXVOffscreen::_KXRESOLUTIONTABLE*,
                                                            KXVOffscreen::_KXRESOLUTIONTABLE*, int,
                                                            int, double, DWORD&);

}  // namespace kxw

void KXVOffscreen64Bit::CalcPixelValue64(_KXRESOLUTIONTABLE* xTable, _KXRESOLUTIONTABLE* yTable,
                                         int baseX, int baseY, double scale, u64& result) {
  if (!xTable || !yTable) kxThrowError(kxw::kFailureBadArgument);
  const Samples columns(*xTable, baseX, width_), rows(*yTable, baseY, height_);
  result = BoxValue<kxw::Depth64>(columns, rows, scale, [this](int x, int y) {
    return GetBlockExist(x, y) ? EnterRow(x, y) : nullptr;
  });
}
