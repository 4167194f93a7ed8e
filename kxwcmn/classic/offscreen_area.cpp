#include <bit>
#include <cmath>
#include <limits>
#include <new>

#include "kxwcmn/classic/resize_internal.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/number.h"
#include "kxwcmn/resample/detail/areasums.h"

// The area filter. Its sums are defined in doubles, cell after cell. Here the rows of a box are
// summed first and their columns after that, in floats: the two differ by less than a bound, so
// that a result farther than that from the border of two roundings is the defined one, and the few
// others are summed once more as they are defined. Where both ratios have few binary places, all
// sums are exact, and nothing is in doubt.

namespace kxw {
namespace {

using Table = KXVOffscreen::_KXRESOLUTIONTABLE;

/// The cells of one axis that the box from `low` to `high` takes, and their weights.
Table CellsOf(double low, double high) {
  const double up = std::ceil(low);
  const bool isWhole = up == low;
  const double border = isWhole ? low + 1.0 : up;  // of the first cell
  Table cells{};
  cells.start = Truncate(low);
  cells.firstWeight = isWhole ? 1.0 : up - low;
  if (!(low < high)) return cells;
  if (border > high) cells.firstWeight -= border - high;
  if (border < high) {
    const double last = std::trunc(high), part = high - last;
    cells.count = Truncate(last - border + (part > 0 ? 1 : 0));
    cells.lastWeight = part > 0 ? part : 1.0;
  }
  return cells;
}

/// The cells that lie in an image of `limit` pixels, where the first one is `at` + start.
struct Cells {
  Cells(const Table& cells, int at, int limit)
      : table(cells),
        origin(i64{at} + cells.start),
        begin(std::max<i64>(origin, 0)),
        end(std::min<i64>(origin + cells.count + 1, limit)) {}

  double Weight(i64 cell) const {
    return cell == origin                 ? table.firstWeight
           : cell == origin + table.count ? table.lastWeight
                                          : 1.0;
  }
  bool IsEmpty() const { return begin >= end; }
  /// Of what is in the image, which must not be empty; counted from cell `low`.
  AreaSpan Span(int low) const {
    Table cells = table;
    cells.start = static_cast<int>(origin);
    AreaSpan span = CutSpan(cells, static_cast<int>(begin), static_cast<int>(end));
    span.from += static_cast<int>(begin) - low;
    return span;
  }

  Table table;
  i64 origin, begin, end;
};

BYTE ByteOf(double sum, double area) {
  if (area != 0) sum *= 1.0 / area;
  if (sum > 255) sum = 255;
  return static_cast<BYTE>(std::max<short>(qmDouble2Short(sum), 0));
}

/// The definition: the order of the arithmetic counts.
template <class Depth>
DWORD BoxColor(const KXOffscreen& image, const Cells& columns, const Cells& rows, double area) {
  double red = 0, green = 0, blue = 0;
  for (i64 y = rows.begin; y < rows.end; ++y) {
    const BYTE* const row = ClassicRow(image, static_cast<int>(y));
    const double rowWeight = rows.Weight(y);
    for (i64 x = columns.begin; x < columns.end; ++x) {
      const DWORD color = Depth::To24(LoadPixel<Depth>(row, static_cast<int>(x)));
      const double weight = columns.Weight(x) * rowWeight;
      red += weight * Red(color);
      green += weight * Green(color);
      blue += weight * Blue(color);
    }
  }
  return MakeColor(ByteOf(red, area), ByteOf(green, area), ByteOf(blue, area), 0);
}

/// What `count` additions of `step` to 0 come to, each of which is rounded. Between two powers of
/// two all sums lie equally far apart, and so each addition but the first, in which a half may be
/// rounded to either side, makes the same difference.
double SumOfSteps(double step, i64 count) {
  double sum = 0;
  while (count > 0) {
    const double first = sum + step, second = first + step, end = std::exp2(std::ilogb(first) + 1);
    const double difference = (second + step) - second;
    const i64 skipped =
        second + difference < end ? static_cast<i64>((end - second) / difference) - 1 : 0;
    if (count > 1 && skipped > 0) {
      const i64 taken = std::min(count - 2, skipped);
      sum = second + static_cast<double>(taken) * difference;
      count -= 2 + taken;
    } else {
      sum = first;
      --count;
    }
  }
  return sum;
}

/// The boxes along one axis, whose ends are summed up step by step.
class Boxes {
 public:
  Boxes(const ResizeAxis& axis, int first)
      : axis_(axis), ratio_(axis.Ratio()), low_(SumOfSteps(ratio_, first)), high_(low_ + ratio_) {}
  void Next() {
    low_ = high_;
    high_ += ratio_;
  }
  Cells Get() const { return {CellsOf(low_, high_), axis_.from, axis_.fromLimit}; }
  double Length() const { return high_ - low_; }

 private:
  const ResizeAxis& axis_;
  double ratio_, low_, high_;
};

/// How many cells a box can have along one axis.
double MostCells(double ratio) { return std::ceil(ratio) + 1; }

/// The binary places of a ratio, and so of all ends and weights; more than any sum has if they do
/// not end soon.
int PlacesOf(double ratio) {
  constexpr int kMost = 12, kEndless = 1000;
  for (int places = 0; places <= kMost; ++places) {
    const double whole = std::ldexp(ratio, places);
    if (whole == std::floor(whole)) return places;
  }
  return kEndless;
}

/// Of sums in floats one behind the other; the weights and products, and the sums of rows, take a
/// few of their own.
double RoundingsOf(double ratio) { return 14 + MostCells(ratio); }

template <class Depth, class Real>
class AreaFilter {
  using Value = ClassicValue<Depth>;
  static constexpr int kChannels = kClassicChannels<Depth>, kLanes = LanesOf(kChannels);
  static constexpr int kChunk = KXVOffscreen::kBlockSize, kGroup = 16;
  static constexpr int kPiece = 4 * kChunk;  // samples whose rows are summed at a time

 public:
  explicit AreaFilter(const Resizing& job)
      : job_(job),
        ratioX_(job.columns.Ratio()),
        ratioY_(job.rows.Ratio()),
        scale_(1.0 / (ratioX_ * ratioY_)),
        write_(FindWriteValues<Depth>(job.image.GetBitCount())) {
    const double cells = MostCells(ratioX_) * MostCells(ratioY_);
    // The defined sums round once for each cell. Their area is that of the boxes, whose ends are
    // rounded: next to the ratios, by the more the farther they are.
    constexpr double kUlp = std::numeric_limits<Real>::epsilon(), kDefined = 0x1p-52;
    bound_ = 256 * (RoundingsOf(ratioX_) * kUlp +
                    (cells + job.columns.size + job.rows.size + 8.0) * kDefined);
    isExact_ = std::ldexp(255 * cells, PlacesOf(ratioX_) + PlacesOf(ratioY_)) <=
               std::ldexp(1.0, std::numeric_limits<Real>::digits);
  }

  void Run() {
    const Stretch columns = job_.columns.Visible();
    Boxes boxes(job_.columns, columns.begin);
    const Boxes firstRow(job_.rows, job_.rows.Visible().begin);
    for (int left = columns.begin; left < columns.end;) {
      left_ = left;
      left = SetStrip(boxes, left, columns.end);
      PaintStrip(firstRow);
    }
  }

 private:
  struct Column {
    Cells cells;
    double length;
  };

  /// Takes columns from `left` on, and returns where they end.
  int SetStrip(Boxes& boxes, int left, int end) {
    columns_.clear();
    low_ = high_ = 0;
    for (int i = left; i < end && columns_.size() < std::size_t{kStrip}; ++i, boxes.Next()) {
      const Cells cells = boxes.Get();
      if (!cells.IsEmpty()) {
        const int first = low_ == high_ ? static_cast<int>(cells.begin) : low_;
        if (low_ < high_ && cells.end - first > kStrip) break;
        low_ = first;
        high_ = static_cast<int>(cells.end);
      }
      columns_.push_back({cells, boxes.Length()});
    }
    SetChunks();
    sums_.assign(static_cast<std::size_t>((high_ - low_) * kChannels + kMaxTaps * kLanes + kLanes),
                 Real{0});
    return left + static_cast<int>(columns_.size());
  }

  void SetChunks() {
    const int count = static_cast<int>(columns_.size());
    chunks_.resize(static_cast<std::size_t>((count + kChunk - 1) / kChunk));
    for (int i = 0; i < count; ++i) {
      AreaColumns<Real>& chunk = chunks_[static_cast<std::size_t>(i / kChunk)];
      const Cells& cells = columns_[static_cast<std::size_t>(i)].cells;
      chunk.count = i % kChunk + 1;
      chunk.SpanOf(i % kChunk) = cells.IsEmpty() ? AreaSpan{0, 0, 0.0, 0.0} : cells.Span(low_);
    }
    for (AreaColumns<Real>& chunk : chunks_) chunk.SetWeights();
  }

  void PaintStrip(Boxes boxes) {
    const Stretch rows = job_.rows.Visible();
    ChannelRows<Depth> source(job_.source, low_, high_);
    std::vector<Value> values(columns_.size());
    for (int y = rows.begin; y < rows.end; ++y, boxes.Next()) {
      const Column row{boxes.Get(), boxes.Length()};
      if (row.cells.IsEmpty()) {
        std::fill(values.begin(), values.end(), Value{0});  // black
      } else {
        SumRows(source, row.cells);
        for (std::size_t i = 0; i < chunks_.size(); ++i) {
          Round(static_cast<int>(i) * kChunk, chunks_[i], row,
                &values[i * static_cast<std::size_t>(kChunk)]);
        }
      }
      write_(ClassicRow(job_.image, job_.rows.at + y), job_.columns.at + left_, values.data(),
             static_cast<int>(values.size()));
    }
  }

  void SumRows(ChannelRows<Depth>& source, const Cells& cells) {
    const AreaSpan span = cells.Span(static_cast<int>(cells.begin));
    const BYTE* const rows = source.Take(static_cast<int>(cells.begin), span.count + 1);
    for (int at = 0; at < source.Count(); at += kPiece) {
      SumAreaRows<Real, BYTE>(&sums_[static_cast<std::size_t>(at)], rows + at, source.Stride(),
                              span, std::min(kPiece, source.Count() - at));
    }
  }

  /// The values of a chunk's columns in a row, the first of which is number `first` of the strip.
  void Round(int first, const AreaColumns<Real>& chunk, const Column& row, Value* values) {
    const int count = chunk.count * kLanes, rounded = (count + kGroup - 1) / kGroup * kGroup;
    alignas(32) Real lanes[kChunk * kLanes];
    std::fill_n(lanes, rounded, Real{0});
    AddAreaColumns<Real, kChannels>(lanes, sums_.data(), chunk);
    WORD results[kChunk * kLanes];
    u64 groups = 0;
    if (isExact_) {
      RoundExactLanes<Real>(results, lanes, rounded, scale_, 1.0, 255);
    } else {
      groups = RoundAreaLanes<Real>(results, lanes, rounded, static_cast<Real>(scale_),
                                    static_cast<Real>(bound_), 255);
    }
    for (int i = 0; i < chunk.count; ++i) values[i] = JoinChannels<Depth>(results + i * kLanes);
    for (; groups; groups &= groups - 1) {
      const int begin = std::countr_zero(groups) * kGroup / kLanes;
      const int end = std::min(begin + kGroup / kLanes, chunk.count);
      for (int i = begin; i < end; ++i) {
        if (!IsInDoubt(lanes + i * kLanes)) continue;
        const Column& column = columns_[static_cast<std::size_t>(first + i)];
        // All channels of a grey are alike.
        values[i] = static_cast<Value>(
            BoxColor<Depth>(job_.source, column.cells, row.cells, column.length * row.length));
      }
    }
  }

  bool IsInDoubt(const Real* lanes) const {
    const Real scale = static_cast<Real>(scale_), bound = static_cast<Real>(bound_);
    bool isNear = false;
    for (int c = kChannels == 4 ? 1 : 0; c < kChannels; ++c) {  // alpha has no part in the colour
      const Real value = lanes[c] * scale + Real{0.5};
      const Real rest = value - std::floor(value);
      isNear |= rest < bound || rest > 1 - bound;
    }
    return isNear;
  }

  const Resizing& job_;
  const double ratioX_, ratioY_, scale_;
  const decltype(FindWriteValues<Depth>(0)) write_;
  double bound_;  // of the error of a result
  bool isExact_;
  // Of the strip: its first column, the cells that it takes, and its columns.
  int left_ = 0, low_ = 0, high_ = 0;
  std::vector<Column> columns_;
  std::vector<AreaColumns<Real>> chunks_;
  std::vector<Real> sums_;
};

/// The same for boxes of any size.
template <class Depth>
void FilterPlainly(const Resizing& job) {
  const Stretch columns = job.columns.Visible(), rows = job.rows.Visible();
  const Boxes firstColumn(job.columns, columns.begin);
  Boxes row(job.rows, rows.begin);
  for (int y = rows.begin; y < rows.end; ++y, row.Next()) {
    BYTE* const to = ClassicRow(job.image, job.rows.at + y);
    Boxes column = firstColumn;
    for (int x = columns.begin; x < columns.end; ++x, column.Next()) {
      const DWORD color =
          BoxColor<Depth>(job.source, column.Get(), row.Get(), column.Length() * row.Length());
      FindClassicWriteColors(job.image.GetBitCount())(to, job.columns.at + x, &color, 1);
    }
  }
}

}  // namespace

void ResizeByArea(const Resizing& job) {
  // The whole rows of a box must have sums that fit words, and its columns fit a strip; with more
  // roundings than this the error of floats would leave too much in doubt.
  constexpr double kMostRows = 256, kMostColumns = kStrip / 4, kMostRoundings = 100;
  const double ratioX = job.columns.Ratio(), ratioY = job.rows.Ratio();
  if (job.columns.Visible().IsEmpty() || job.rows.Visible().IsEmpty()) return;
  try {
    WithClassicDepth(job.source.GetBitCount(), [&](auto depth) {
      using Depth = decltype(depth);
      if (MostCells(ratioX) > kMostColumns || MostCells(ratioY) > kMostRows) {
        FilterPlainly<Depth>(job);
      } else if (RoundingsOf(ratioX) > kMostRoundings) {
        AreaFilter<Depth, double>(job).Run();
      } else {
        AreaFilter<Depth, float>(job).Run();
      }
    });
  } catch (const std::bad_alloc&) {
    kxThrowError(kErrorNotEnoughMemory);
  }
}

}  // namespace kxw

void KXOffscreen::CalcPixelValue(int srcX, int srcY, double x0, double x1, double y0, double y1,
                                 DWORD& out) {
  if (!IsLocked()) return;
  const kxw::Cells columns(kxw::CellsOf(x0, x1), srcX, GetWidth());
  const kxw::Cells rows(kxw::CellsOf(y0, y1), srcY, GetHeight());
  kxw::WithClassicDepth(GetBitCount(), [&](auto depth) {
    out = kxw::BoxColor<decltype(depth)>(*this, columns, rows, (x1 - x0) * (y1 - y0));
  });
}
