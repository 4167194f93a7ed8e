#include "kxwcmn/resample/detail/areasums.h"

#include <algorithm>
#include <type_traits>

#include "kxwcmn/platform/number.h"
#include "kxwcmn/platform/vectorize_internal.h"

namespace kxw {
namespace {

template <class Sample>
using Raw KX_MAY_ALIAS = Sample;

template <class Real, class Sample>
inline void SumRows(Real* sums, const BYTE* rows, std::ptrdiff_t rowBytes, const AreaSpan& span,
                    int count) {
  const auto rowAt = [=](int row) {
    return reinterpret_cast<const Raw<Sample>*>(rows + row * rowBytes);
  };
  const Real first = static_cast<Real>(span.first), last = static_cast<Real>(span.last);
  const auto* a = rowAt(0);
  const auto* z = rowAt(span.count);
  switch (span.count) {
    case 0:
      for (int i = 0; i < count; ++i) sums[i] = first * static_cast<Real>(int{a[i]});
      return;
    case 1:
      for (int i = 0; i < count; ++i) {
        sums[i] = first * static_cast<Real>(int{a[i]}) + last * static_cast<Real>(int{z[i]});
      }
      return;
    case 2: {
      const auto* b = rowAt(1);
      for (int i = 0; i < count; ++i) {
        sums[i] = first * static_cast<Real>(int{a[i]}) + static_cast<Real>(int{b[i]}) +
                  last * static_cast<Real>(int{z[i]});
      }
      return;
    }
    case 3: {
      const auto *b = rowAt(1), *c = rowAt(2);
      for (int i = 0; i < count; ++i) {
        sums[i] = first * static_cast<Real>(int{a[i]}) + static_cast<Real>(b[i] + c[i]) +
                  last * static_cast<Real>(int{z[i]});
      }
      return;
    }
    default: {
      // A part has at most 256 rows: the whole ones of them fit in twice the bits of a sample.
      using Sum = std::conditional_t<sizeof(Sample) == 1, WORD, DWORD>;
      Sum whole[kMaxSums];
      const auto *b = rowAt(1), *c = rowAt(2);
      for (int i = 0; i < count; ++i) whole[i] = static_cast<Sum>(b[i] + c[i]);
      for (int row = 3; row < span.count; ++row) {
        const auto* d = rowAt(row);
        for (int i = 0; i < count; ++i) whole[i] = static_cast<Sum>(whole[i] + d[i]);
      }
      for (int i = 0; i < count; ++i) {
        sums[i] = first * static_cast<Real>(int{a[i]}) +
                  static_cast<Real>(static_cast<int>(whole[i])) +
                  last * static_cast<Real>(int{z[i]});
      }
    }
  }
}

template <class Real, int kChannels, int kTaps>
inline void AddTaps(Real* results, const Real* sums, const AreaColumns<Real>& columns) {
  constexpr int kLanes = LanesOf(kChannels);
  const Real* weights = columns.weights.data();
  for (int i = 0; i < columns.count; ++i, results += kLanes, weights += kTaps) {
    const Real* from = sums + columns.from[static_cast<std::size_t>(i)] * kChannels;
    Real lanes[kLanes];
    for (int c = 0; c < kLanes; ++c) lanes[c] = weights[0] * from[c];
    for (int k = 1; k < kTaps; ++k) {
      for (int c = 0; c < kLanes; ++c) lanes[c] += weights[k] * from[k * kChannels + c];
    }
    for (int c = 0; c < kLanes; ++c) results[c] += lanes[c];
  }
}

template <class Real, int kChannels>
inline void AddSpans(Real* results, const Real* sums, const AreaColumns<Real>& columns) {
  constexpr int kLanes = LanesOf(kChannels);
  for (int i = 0; i < columns.count; ++i, results += kLanes) {
    const AreaSpan& span = columns.spans[static_cast<std::size_t>(i)];
    const Real* from = sums + span.from * kChannels;
    Real lanes[kLanes] = {};
    for (int k = 1; k < span.count; ++k) {
      for (int c = 0; c < kLanes; ++c) lanes[c] += from[k * kChannels + c];
    }
    const Real first = static_cast<Real>(span.first);
    for (int c = 0; c < kLanes; ++c) lanes[c] += first * from[c];
    if (span.count > 0) {
      const Real last = static_cast<Real>(span.last);
      from += span.count * kChannels;
      for (int c = 0; c < kLanes; ++c) lanes[c] += last * from[c];
    }
    for (int c = 0; c < kLanes; ++c) results[c] += lanes[c];
  }
}

template <class Real, int kChannels>
inline void AddColumns(Real* results, const Real* sums, const AreaColumns<Real>& columns) {
  switch (columns.taps) {
    case 1:
      return AddTaps<Real, kChannels, 1>(results, sums, columns);
    case 2:
      return AddTaps<Real, kChannels, 2>(results, sums, columns);
    case 3:
      return AddTaps<Real, kChannels, 3>(results, sums, columns);
    case 4:
      return AddTaps<Real, kChannels, 4>(results, sums, columns);
    case 5:
      return AddTaps<Real, kChannels, 5>(results, sums, columns);
    case 6:
      return AddTaps<Real, kChannels, 6>(results, sums, columns);
    case 7:
      return AddTaps<Real, kChannels, 7>(results, sums, columns);
    case 8:
      return AddTaps<Real, kChannels, 8>(results, sums, columns);
    default:
      return AddSpans<Real, kChannels>(results, sums, columns);
  }
}

template <class Real>
inline u64 RoundLanes(WORD* out, const Real* lanes, int count, Real scale, Real doubt, int limit) {
  u64 doubts = 0;
  const Real low = doubt, high = Real{1} - doubt;
  for (int group = 0; group * 16 < count; ++group, lanes += 16, out += 16) {
    int isNear = 0;
    for (int i = 0; i < 16; ++i) {
      const Real value = lanes[i] * scale + Real{0.5};
      const int whole = static_cast<int>(value);
      const Real rest = value - static_cast<Real>(whole);
      isNear |= (rest < low) | (rest > high);
      out[i] = static_cast<WORD>(std::min(whole, limit));
    }
    doubts |= static_cast<u64>(isNear) << group;
  }
  return doubts;
}

template <class Real>
inline void RoundExact(WORD* out, const Real* lanes, int count, double scale, double spread,
                       int limit) {
  for (int i = 0; i < count; ++i) {
    const double value = static_cast<double>(lanes[i]) * scale * spread;
    out[i] = static_cast<WORD>(std::min(RoundInside(value), limit));
  }
}

}  // namespace

template <class Real, class Sample>
void SumAreaRows(Real* sums, const BYTE* rows, std::ptrdiff_t rowBytes, const AreaSpan& span,
                 int count) {
  InVectors<SumRows<Real, Sample>>(sums, rows, rowBytes, span, count);
}
template void SumAreaRows<float, BYTE>(float*, const BYTE*, std::ptrdiff_t, const AreaSpan&, int);
template void SumAreaRows<double, BYTE>(double*, const BYTE*, std::ptrdiff_t, const AreaSpan&, int);
template void SumAreaRows<double, WORD>(double*, const BYTE*, std::ptrdiff_t, const AreaSpan&, int);

template <class Real, int kChannels>
void AddAreaColumns(Real* results, const Real* sums, const AreaColumns<Real>& columns) {
  InVectors<AddColumns<Real, kChannels>>(results, sums, columns);
}
template void AddAreaColumns<float, 1>(float*, const float*, const AreaColumns<float>&);
template void AddAreaColumns<float, 2>(float*, const float*, const AreaColumns<float>&);
template void AddAreaColumns<float, 3>(float*, const float*, const AreaColumns<float>&);
template void AddAreaColumns<float, 4>(float*, const float*, const AreaColumns<float>&);
template void AddAreaColumns<double, 1>(double*, const double*, const AreaColumns<double>&);
template void AddAreaColumns<double, 2>(double*, const double*, const AreaColumns<double>&);
template void AddAreaColumns<double, 3>(double*, const double*, const AreaColumns<double>&);
template void AddAreaColumns<double, 4>(double*, const double*, const AreaColumns<double>&);

template <class Real>
u64 RoundAreaLanes(WORD* out, const Real* lanes, int count, Real scale, Real doubt, int limit) {
  return InVectors<RoundLanes<Real>>(out, lanes, count, scale, doubt, limit);
}
template u64 RoundAreaLanes(WORD*, const float*, int, float, float, int);
template u64 RoundAreaLanes(WORD*, const double*, int, double, double, int);

template <class Real>
void RoundExactLanes(WORD* out, const Real* lanes, int count, double scale, double spread,
                     int limit) {
  InVectors<RoundExact<Real>>(out, lanes, count, scale, spread, limit);
}
template void RoundExactLanes(WORD*, const float*, int, double, double, int);
template void RoundExactLanes(WORD*, const double*, int, double, double, int);

}  // namespace kxw
