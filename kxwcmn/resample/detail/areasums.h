#pragma once

#include <algorithm>
#include <array>

#include "kxwcmn/offscreen/voffscreen.h"

/// The loops of the area filter over one part of a source block: its rows are summed first, which
/// is plain work on neighbouring memory, and then the columns of what is left of them.
///
/// They work in `Real`, float or double, and in an order of their own. Results may so miss the
/// defined ones by a bounded error, and the caller settles those that lie within it of a border.
namespace kxw {

/// The samples `from` to `from` + `count` of a part, the ends weighed and those between in full;
/// with a `count` of 0 the first weight holds.
struct AreaSpan {
  int from;
  int count;
  double first;
  double last;
};

/// What a table takes of the samples `low` up to `high`, relative to `low`.
inline AreaSpan CutSpan(const KXVOffscreen::_KXRESOLUTIONTABLE& table, int low, int high) {
  const int end = table.start + table.count;
  const int first = table.start > low ? table.start : low, last = end < high ? end : high - 1;
  AreaSpan span{first - low, last - first, 1.0, 1.0};
  if (last == end && table.count > 0) (span.count > 0 ? span.last : span.first) = table.lastWeight;
  if (first == table.start) span.first = table.firstWeight;
  return span;
}

/// Lanes that a pixel of `channels` takes in sums: three take the room of four.
constexpr int LanesOf(int channels) { return channels == 3 ? 4 : channels; }

/// A row of sums, with zeros behind it that loops over whole groups of columns may read.
inline constexpr int kMaxTaps = 8;
inline constexpr int kMaxSums = (KXVOffscreen::kBlockSize + kMaxTaps) * 4 + 4;

/// Sums `count` samples of the rows of `span`, which are `rowBytes` apart.
template <class Real, class Sample>
void SumAreaRows(Real* sums, const BYTE* rows, std::ptrdiff_t rowBytes, const AreaSpan& span,
                 int count);

/// The columns of a part: for each result a place in the row of sums and, for boxes of up to
/// `kMaxTaps` samples, as many weights as the widest one has. Wider ones keep their spans.
template <class Real>
struct AreaColumns {
  int count;
  int taps;  // 0 for spans
  std::array<int, KXVOffscreen::kBlockSize> from;
  std::array<Real, KXVOffscreen::kBlockSize * kMaxTaps> weights;
  std::array<AreaSpan, KXVOffscreen::kBlockSize> spans;

  /// Sets what the columns have beside their spans and number.
  void SetWeights() {
    taps = 0;
    for (int i = 0; i < count; ++i) taps = std::max(taps, SpanOf(i).count + 1);
    if (taps > kMaxTaps) {
      taps = 0;
      return;
    }
    Real* weight = weights.data();
    for (int i = 0; i < count; ++i, weight += taps) {
      const AreaSpan& span = SpanOf(i);
      from[static_cast<std::size_t>(i)] = span.from;
      std::fill_n(weight, taps, Real{0});
      std::fill_n(weight, span.count, Real{1});
      weight[span.count] = static_cast<Real>(span.last);
      weight[0] = static_cast<Real>(span.first);
    }
  }
  AreaSpan& SpanOf(int i) { return spans[static_cast<std::size_t>(i)]; }
};

/// Adds the columns' sums to the results' lanes.
template <class Real, int kChannels>
void AddAreaColumns(Real* results, const Real* sums, const AreaColumns<Real>& columns);

/// Rounds `count` (a multiple of 16, at most 1024) lanes times `scale`, cut to `limit`. Returns a
/// bit for each 16 lanes of which one lies nearer than `doubt` to the border of two roundings.
template <class Real>
u64 RoundAreaLanes(WORD* out, const Real* lanes, int count, Real scale, Real doubt, int limit);

/// The same for sums without any error: the result is the defined one.
template <class Real>
void RoundExactLanes(WORD* out, const Real* lanes, int count, double scale, double spread,
                     int limit);

}  // namespace kxw
