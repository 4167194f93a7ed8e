#include "kxwcmn/resample/detail/areafilter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/abort.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/detail/fillrun.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/resample/detail/areapixel.h"
#include "kxwcmn/resample/detail/areastore.h"
#include "kxwcmn/resample/detail/areasums.h"

// The area filter goes through the destination a block at a time, and for each through the parts of
// the source's blocks that it covers. Each part adds what it has to the sums of the block's pixels,
// so that every block is brought in once and is plain memory while it is read.
//
// The defined sums run along the rows of a box, in doubles and in a fixed order. Those here run in
// another order, and for samples of 8 bits in floats. The two differ by less than a bound, so that
// a result farther than that from the border of two roundings is the defined one, and the few
// others are summed once more as they are defined. Where all weights are multiples of a power of
// two, as in many whole ratios, both sums are exact and nothing is in doubt.

namespace kxw {
namespace {

using Table = KXVOffscreen::_KXRESOLUTIONTABLE;

constexpr int kBlock = KXVOffscreen::kBlockSize, kMask = KXVOffscreen::kBlockMask;

/// The tables of up to a block's columns or rows. Positions are summed up step by step along the
/// whole axis, as they are defined.
struct Tables {
  std::array<Table, kBlock> table;
  int count = 0;

  void Make(int newCount, double ratio, double& at) {
    count = newCount;
    for (int i = 0; i < count; ++i) {
      const double end = at + ratio;
      KXVOffscreen::SetResolutionTable(&table[static_cast<std::size_t>(i)], at, end);
      at = end;
    }
  }
  const Table& operator[](int i) const { return table[static_cast<std::size_t>(i)]; }
  Table& operator[](int i) { return table[static_cast<std::size_t>(i)]; }
  /// Those that take samples of [low, high), as the first and the one behind the last.
  void Find(int low, int high, int& first, int& end) const {
    first = 0;
    while (first < count && (*this)[first].start + (*this)[first].count < low) ++first;
    end = first;
    while (end < count && (*this)[end].start < high) ++end;
  }
};

/// The binary places that the weights take, more than any sum has if they do not end soon.
int PlacesOf(const Tables& tables) {
  constexpr int kMost = 12, kEndless = 1000;
  int places = 0;
  for (int i = 0; i < tables.count; ++i) {
    for (const double weight : {tables[i].firstWeight, tables[i].lastWeight}) {
      while (places <= kMost &&
             std::ldexp(weight, places) != std::floor(std::ldexp(weight, places))) {
        ++places;
      }
    }
    if (places > kMost) return kEndless;
  }
  return places;
}

/// How many samples a box can have along one axis, and how many blocks they can lie in.
double SamplesOf(double ratio) { return std::ceil(ratio) + 1; }
double PartsOf(double ratio) { return std::floor(SamplesOf(ratio) / kBlock) + 2; }

/// The roundings that lie one on the other in a result: of weights and products, sums along a part
/// and sums of parts.
double RoundingsOf(double ratioX, double ratioY) {
  constexpr double kFixed = 14;
  return kFixed + std::min<double>(SamplesOf(ratioX), kBlock) + PartsOf(ratioX) * PartsOf(ratioY);
}

template <class From, class Real>
class AreaFilter {
  using Area = AreaPixel<From>;
  using Value = typename Area::Value;
  using Sample = typename Area::Sample;
  static constexpr int kChannels = Area::kChannels, kLanes = LanesOf(kChannels);

 public:
  AreaFilter(KXVOffscreen& dst, const KXRect& to, KXVOffscreen& src, const KXRect& from,
             bool behind)
      : dst_(dst), src_(src), to_(to), from_(from), behind_(behind) {
    ratioX_ = static_cast<double>(from.Width()) / to.Width();
    ratioY_ = static_cast<double>(from.Height()) / to.Height();
    scale_ = 1.0 / (ratioY_ * ratioX_);
    // The defined sums round as well, once for each sample of a row and of a column.
    constexpr double kUlp = std::numeric_limits<Real>::epsilon(), kDefined = 0x1p-52;
    bound_ = (Area::kLimit + 1) * (RoundingsOf(ratioX_, ratioY_) * kUlp +
                                   (SamplesOf(ratioX_) + SamplesOf(ratioY_) + 8) * kDefined);
    clear_ = {};
    dst.GetClearColor(&clear_.byte);
    dst.GetClearColor(&clear_.color);
    if constexpr (From::kBits == 64) {
      clear_.color64 = static_cast<KXVOffscreen64Bit&>(dst).GetClearQMCOLORREF64();
    }
    const auto pixels = static_cast<std::size_t>(std::min(to.Width(), kBlock)) *
                        static_cast<std::size_t>(std::min(to.Height(), kBlock));
    lanes_.resize(pixels * kLanes + kGroup);
    values_.resize(pixels);
    if constexpr (From::kBits < 8) split_.resize(std::size_t{kBlock} * kBlock * kChannels);
  }

  template <class To>
  void Run() {
    KXVOffscreenAutoLock dstLock(&dst_, 1), srcLock(&src_, 0);
    double rowAt = 0.0;
    for (int top = to_.top, bottom; top < to_.bottom; top = bottom) {
      bottom = std::min<int>(to_.bottom, (top | kMask) + 1);
      rows_.Make(bottom - top, ratioY_, rowAt);
      double columnAt = 0.0;
      for (int left = to_.left, right; left < to_.right; left = right) {
        right = std::min<int>(to_.right, (left | kMask) + 1);
        columns_.Make(right - left, ratioX_, columnAt);
        Filter();
        Store<To>(KXRect(left, top, right, bottom));
      }
    }
  }

 private:
  static constexpr int kGroup = 16;  // lanes that are rounded together

  /// The values of the pixels of the present tables.
  void Filter() {
    std::fill_n(lanes_.begin(), rows_.count * columns_.count * kLanes, Real{0});
    hasMemory_ = false;
    const Table &right = columns_[columns_.count - 1], &bottom = rows_[rows_.count - 1];
    const KXRect area = KXRect(from_.left + columns_[0].start, from_.top + rows_[0].start,
                               EndOf(from_.left, right), EndOf(from_.top, bottom)) &
                        src_.GetRect();
    ForEachSource(
        src_, area,
        [this](const KXRect& part, const BYTE* base) {
          hasMemory_ = true;
          AddPart(part, base);
        },
        [this](const KXRect& part) {
          if (Area::kHole != 0) AddHole(part);
        },
        [this] { abort_.CheckAbort(); });
    if (hasMemory_ || Area::kHole != 0) {
      Round();
    } else {
      std::fill_n(values_.begin(), rows_.count * columns_.count, Value{0});
    }
  }

  /// The position behind a table's last sample, as far as positions go.
  static int EndOf(int base, const Table& table) {
    return static_cast<int>(std::min<i64>(static_cast<i64>(base) + table.start + table.count + 1,
                                          std::numeric_limits<int>::max()));
  }

  void AddPart(const KXRect& part, const BYTE* base) {
    if constexpr (From::kBits >= 8) {
      const int rowBytes = kRowBytes<From>;
      AddRows(part, RowOf(base, part.top, rowBytes) + ByteOfColumn<From>(part.left & kMask),
              rowBytes);
    } else {
      BYTE* to = split_.data();
      for (int y = part.top; y < part.bottom; ++y) {
        const RowReader<From> row(RowOf(base, y, kRowBytes<From>), part.left & kMask, part.Width());
        for (int i = 0; i < part.Width(); ++i, to += kChannels) Area::Split(row[i], to);
      }
      AddRows(part, split_.data(), part.Width() * kChannels);
    }
  }

  void AddHole(const KXRect& part) {
    Sample row[kBlock * kChannels];
    std::fill_n(row, part.Width() * kChannels, Area::kHole);
    AddRows(part, reinterpret_cast<const BYTE*>(row), 0);
  }

  /// Adds a part whose samples stand in rows `rowBytes` apart.
  void AddRows(const KXRect& part, const BYTE* samples, std::ptrdiff_t rowBytes) {
    const KXRect area = part - KXPoint(from_.left, from_.top);
    int firstColumn, endColumn, firstRow, endRow;
    columns_.Find(area.left, area.right, firstColumn, endColumn);
    rows_.Find(area.top, area.bottom, firstRow, endRow);
    SetColumns(area, firstColumn, endColumn);
    const int count = part.Width() * kChannels;
    alignas(32) Real sums[kMaxSums];
    std::fill(sums + count, sums + std::min(kMaxSums, count + kMaxTaps * kChannels + 4), Real{0});
    for (int i = firstRow; i < endRow; ++i) {
      const AreaSpan span = CutSpan(rows_[i], area.top, area.bottom);
      SumAreaRows<Real, Sample>(sums, samples + span.from * rowBytes, rowBytes, span, count);
      AddAreaColumns<Real, kChannels>(LanesAt(i, firstColumn), sums, cut_);
    }
  }

  void SetColumns(const KXRect& area, int first, int end) {
    cut_.count = end - first;
    for (int i = first; i < end; ++i) {
      cut_.SpanOf(i - first) = CutSpan(columns_[i], area.left, area.right);
    }
    cut_.SetWeights();
  }

  Real* LanesAt(int row, int column) {
    return lanes_.data() + (static_cast<std::ptrdiff_t>(row) * columns_.count + column) * kLanes;
  }

  /// Whether the sums of the present tables are exact in `Real`.
  bool IsExact() const {
    const double most = Area::kLimit * SamplesOf(ratioX_) * SamplesOf(ratioY_);
    return std::ldexp(most, PlacesOf(columns_) + PlacesOf(rows_)) <=
           std::ldexp(1.0, std::numeric_limits<Real>::digits);
  }

  void Round() {
    const bool isExact = IsExact();
    const int count = columns_.count * kLanes, rounded = (count + kGroup - 1) / kGroup * kGroup;
    const Real scale = static_cast<Real>(scale_ * Area::kSpread), bound = static_cast<Real>(bound_);
    doubts_.clear();
    WORD results[kBlock * 4];
    for (int row = 0; row < rows_.count; ++row) {
      Value* values = values_.data() + static_cast<std::ptrdiff_t>(row) * columns_.count;
      const Real* lanes = LanesAt(row, 0);
      u64 groups = 0;
      if (isExact) {
        RoundExactLanes<Real>(results, lanes, rounded, scale_, Area::kSpread, Area::kLimit);
      } else {
        groups = RoundAreaLanes<Real>(results, lanes, rounded, scale, bound, Area::kLimit);
      }
      for (int i = 0; i < columns_.count; ++i) values[i] = Join(results + i * kLanes);
      for (; groups; groups &= groups - 1) {
        const int first = std::countr_zero(groups) * kGroup / kLanes;
        AddDoubts(row, first, std::min(first + kGroup / kLanes, columns_.count), lanes);
      }
    }
    if (!doubts_.empty()) Settle();
  }

  static Value Join(const WORD* results) {
    Sample samples[kChannels];
    for (int c = 0; c < kChannels; ++c) samples[c] = static_cast<Sample>(results[c]);
    return Area::Join(samples);
  }

  /// A pixel in doubt, and the source's block in which its box begins.
  struct Doubt {
    int block, row, column;
  };

  void AddDoubts(int row, int first, int end, const Real* lanes) {
    const Real scale = static_cast<Real>(scale_ * Area::kSpread), bound = static_cast<Real>(bound_);
    for (int i = first; i < end; ++i) {
      bool isNear = false;
      for (int c = 0; c < kChannels; ++c) {
        const Real value = lanes[i * kLanes + c] * scale + Real{0.5};
        const Real rest = value - std::floor(value);
        isNear |= rest < bound || rest > 1 - bound;
      }
      if (!isNear) continue;
      const int block =
          src_.GetBlockIndexFast(from_.left + columns_[i].start, from_.top + rows_[row].start);
      doubts_.push_back({block, row, i});
    }
  }

  /// Takes the defined values of the pixels in doubt, one block of the source after another.
  void Settle() {
    std::stable_sort(doubts_.begin(), doubts_.end(),
                     [](const Doubt& a, const Doubt& b) { return a.block < b.block; });
    for (const Doubt& doubt : doubts_) {
      Value& value = values_[static_cast<std::size_t>(doubt.row * columns_.count + doubt.column)];
      if constexpr (From::kBits == 64) {
        src_.CalcPixelValue64(&columns_[doubt.column], &rows_[doubt.row], from_.left, from_.top,
                              scale_, value);
      } else {
        src_.CalcPixelValue(&columns_[doubt.column], &rows_[doubt.row], from_.left, from_.top,
                            scale_, value);
      }
    }
  }

  template <class To>
  void Store(const KXRect& target) {
    if (LeavesHole<To>(target)) return;
    ForEachTarget(dst_, target, !behind_, [this](const KXRect& piece, BYTE* base) {
      for (int row = 0; row < rows_.count; ++row) {
        StoreAreaRow<To>(RowOf(base, piece.top + row, kRowBytes<To>), piece.left & kMask,
                         RowOfValues(row), columns_.count, behind_, clear_);
      }
    });
  }

  const Value* RowOfValues(int row) const {
    return values_.data() + static_cast<std::ptrdiff_t>(row) * columns_.count;
  }

  /// Whether there is no block, and storing would make one that holds nothing but the clear value.
  template <class To>
  bool LeavesHole(const KXRect& target) const {
    if (hasMemory_ && !behind_) return false;
    const Value* const end = RowOfValues(rows_.count);
    if (behind_) return std::none_of(values_.data(), end, [](Value v) { return IsLaid<To>(v); });
    if (!dst_.IsEnableClear() || dst_.GetBlockExist(target.left, target.top)) return false;
    BYTE pattern[8], cleared[kRowBytes<To>], stored[kRowBytes<To>];
    FillPattern(cleared, sizeof cleared, pattern, To::ClearPattern(clear_, pattern));
    std::memcpy(stored, cleared, sizeof cleared);
    for (int row = 0; row < rows_.count; ++row) {
      StoreAreaRow<To>(stored, target.left & kMask, RowOfValues(row), columns_.count, false,
                       clear_);
      if (std::memcmp(stored, cleared, sizeof cleared) != 0) return false;
    }
    return true;
  }

  KXAbort abort_;
  KXVOffscreen& dst_;
  KXVOffscreen& src_;
  const KXRect to_, from_;
  const bool behind_;
  double ratioX_, ratioY_, scale_;
  double bound_;  // of the error of a result
  ClearColors clear_;
  Tables columns_, rows_;
  AreaColumns<Real> cut_;
  bool hasMemory_ = false;
  std::vector<Real> lanes_;
  std::vector<Value> values_;
  std::vector<BYTE> split_;
  std::vector<Doubt> doubts_;
};

template <class From, class Real>
void Run(KXVOffscreen& dst, const KXRect& to, KXVOffscreen& src, const KXRect& from, bool behind) {
  AreaFilter<From, Real> filter(dst, to, src, from, behind);
  WithDepth(dst.GetBitCount(), [&](auto depth) {
    using To = decltype(depth);
    if constexpr ((To::kBits == 64) == (From::kBits == 64)) filter.template Run<To>();
  });
}

}  // namespace

void ApplyAreaFilter(KXVOffscreen& dst, const KXRect& to, KXVOffscreen& src, const KXRect& from,
                     bool behind) {
  // Beyond this the error of floats would leave too much in doubt.
  constexpr double kMostRoundings = 100;
  const bool isWide =
      RoundingsOf(static_cast<double>(from.Width()) / to.Width(),
                  static_cast<double>(from.Height()) / to.Height()) > kMostRoundings;
  RaiseWithoutMemory([&] {
    WithDepth(src.GetBitCount(), [&](auto depth) {
      using From = decltype(depth);
      if constexpr (From::kBits == 64) {
        Run<From, double>(dst, to, src, from, behind);
      } else if (isWide) {
        Run<From, double>(dst, to, src, from, behind);
      } else {
        Run<From, float>(dst, to, src, from, behind);
      }
    });
  });
}

}  // namespace kxw
