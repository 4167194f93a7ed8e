#include <cstring>
#include <new>

#include "kxwcmn/classic/resize_internal.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/vectorize_internal.h"
#include "kxwcmn/resample/detail/boxes.h"

// Averages of boxes of whole pixels. A box of n columns and m rows adds up its rows, the first of
// them twice, and then the first pixel once more: n (m + 1) + 1 pixels. So the columns of the rows
// are summed first, the first row twice, and then those of each box. Where the rows are not
// averaged m is 0, and where the columns are not, a box is the first of them, without more.

namespace kxw {
namespace {

/// Columns of the result whose boxes have more than one pixel: they are the first ones of a strip,
/// and each has `shortest` columns of the source or one more.
struct BoxedColumns {
  int count = 0;
  int shortest = 1;
};

void AddRow(WORD* sums, const BYTE* row, int count) {
  for (int i = 0; i < count; ++i) sums[i] = static_cast<WORD>(sums[i] + row[i]);
}

template <class Depth>
class BoxFilter {
  using Value = ClassicValue<Depth>;
  static constexpr int kChannels = kClassicChannels<Depth>;
  static constexpr int kLanes = kChannels == 3 ? 4 : kChannels;
  static constexpr int kMostInWords = 257;  // pixels whose sums fit words

 public:
  explicit BoxFilter(const Resizing& job)
      : job_(job), write_(FindWriteValues<Depth>(job.image.GetBitCount())) {}

  void Run() {
    const Stretch columns = job_.columns.Shown();
    for (int left = columns.begin; left < columns.end;) {
      left_ = left;
      left = SetStrip(left, columns.end);
      PaintStrip();
    }
  }

 private:
  using Sums = std::vector<WORD>;

  /// Whether the pixels from number `i` on are averaged along an axis.
  static bool IsBoxed(const ResizeAxis& axis, i64 i) {
    const i64 end = axis.from + axis.Begin(i + 1);
    return axis.fromSize > axis.size && end <= std::min(axis.fromSize, axis.fromLimit);
  }

  int SetStrip(int left, int end) {
    const ResizeAxis& axis = job_.columns;
    const i64 low = axis.from + axis.Begin(left);
    low_ = static_cast<int>(low);
    begins_.clear();
    longs_.clear();
    boxed_ = {0, std::max(1, axis.fromSize / axis.size)};
    i64 high = low;
    for (int i = left; i < end && begins_.size() < std::size_t{kStrip}; ++i) {
      const i64 begin = axis.from + axis.Begin(i);
      const bool isBoxed = IsBoxed(axis, i);
      const i64 columnEnd = isBoxed ? axis.from + axis.Begin(i64{i} + 1) : begin + 1;
      if (i > left && columnEnd - low > kStrip) break;
      high = std::max(high, columnEnd);
      begins_.push_back(static_cast<int>(begin - low));
      longs_.push_back(columnEnd - begin > boxed_.shortest ? ~0ull : 0);
      if (isBoxed) ++boxed_.count;
    }
    high_ = static_cast<int>(high);
    factors_.assign(begins_.size() * kLanes, 0.0f);
    factorRows_ = -1;
    return left + Count();
  }

  int Count() const { return static_cast<int>(begins_.size()); }
  int Begin(int i) const { return begins_[static_cast<std::size_t>(i)]; }
  int Length(int i) const {
    return i < boxed_.count ? boxed_.shortest + (longs_[static_cast<std::size_t>(i)] ? 1 : 0) : 1;
  }
  /// Pixels that are summed for a column, of `rows` rows.
  i64 Pixels(int i, i64 rows) const {
    return i64{Length(i)} * (rows + 1) + (i < boxed_.count ? 1 : 0);
  }

  void PaintStrip() {
    const Stretch shown = job_.rows.Shown();
    ChannelRows<Depth> source(job_.source, low_, high_);
    std::vector<Value> values(begins_.size());
    for (int y = shown.begin; y < shown.end; ++y) {
      const int top = static_cast<int>(job_.rows.from + job_.rows.Begin(y));
      const i64 bottom = job_.rows.from + job_.rows.Begin(i64{y} + 1);
      const i64 rows = IsBoxed(job_.rows, y) ? bottom - top : 0;
      if (rows >= kMostInWords || high_ - low_ > kStrip) {
        AveragePlainly(top, rows, values.data());
      } else {
        Average(source, top, static_cast<int>(rows), values.data());
      }
      write_(ClassicRow(job_.image, job_.rows.at + y), job_.columns.at + left_, values.data(),
             Count());
    }
  }

  void Average(ChannelRows<Depth>& source, int top, int rows, Value* values) {
    // Loops look at the pixel behind a strip, and at a fourth channel.
    sums_.resize(static_cast<std::size_t>(source.Count() + 2 * kLanes));
    const int taken = std::max(rows, 1);
    const BYTE* const first = source.Take(top, taken);
    SumRows(first, source.Stride(), taken, source.Count(), sums_.data());
    if (rows > 0) kxw::InVectors<AddRow>(sums_.data(), first, source.Count());
    if ((i64{boxed_.shortest} + 1) * (i64{rows} + 1) < kMostInWords) {
      boxes_.resize(begins_.size() * kLanes);
      quotients_.resize(boxes_.size());
      SumBoxes(first);
      SetFactors(rows);
      DivideSums(boxes_.data(), factors_.data(), static_cast<int>(boxes_.size()),
                 quotients_.data());
      const BYTE* quotient = quotients_.data();
      for (int i = 0; i < Count(); ++i, quotient += kLanes) {
        values[i] = JoinChannels<Depth>(quotient);
      }
    } else {
      for (int i = 0; i < Count(); ++i) values[i] = LargeMean(first, i, rows);
    }
  }

  /// The mean of a box whose sums do not fit words.
  Value LargeMean(const BYTE* first, int i, int rows) const {
    const WORD* at = sums_.data() + Begin(i) * kChannels;
    DWORD means[kChannels] = {};
    for (int k = 0; k < Length(i); ++k, at += kChannels) {
      for (int c = 0; c < kChannels; ++c) means[c] += at[c];
    }
    for (int c = 0; c < kChannels; ++c) {
      if (i < boxed_.count) means[c] += first[Begin(i) * kChannels + c];
      means[c] /= static_cast<DWORD>(Pixels(i, rows));
    }
    return JoinChannels<Depth>(means);
  }

  /// `first` is the first row, whose pixel at the corner of a box counts once more.
  void SumBoxes(const BYTE* first) {
    WORD* to = boxes_.data();
    for (int i = 0; i < boxed_.count; ++i, to += kLanes) {
      const WORD* at = sums_.data() + Begin(i) * kChannels;
      const u64 mask = longs_[static_cast<std::size_t>(i)];
      const BYTE* const corner = first + Begin(i) * kChannels;
      if constexpr (kLanes == 4) {
        // No sum of 16 bits reaches the next one's; what the fourth of three has is of no meaning.
        u64 sum = LanesAt(at + kChannels * boxed_.shortest) & mask;
        for (int k = 0; k < boxed_.shortest; ++k) sum += LanesAt(at + kChannels * k);
        for (int c = 0; c < kChannels; ++c) sum += u64{corner[c]} << 16 * c;
        std::memcpy(to, &sum, sizeof sum);
      } else {
        DWORD sum = corner[0] + (at[boxed_.shortest] & static_cast<DWORD>(mask));
        for (int k = 0; k < boxed_.shortest; ++k) sum += at[k];
        *to = static_cast<WORD>(sum);
      }
    }
    for (int i = boxed_.count; i < Count(); ++i, to += kLanes) {
      std::copy_n(sums_.data() + Begin(i) * kChannels, kLanes, to);
    }
  }

  static u64 LanesAt(const WORD* at) {
    u64 lanes;
    std::memcpy(&lanes, at, sizeof lanes);
    return lanes;
  }

  void SetFactors(int rows) {
    if (factorRows_ == rows) return;
    factorRows_ = rows;
    for (int i = 0; i < Count(); ++i) {
      std::fill_n(&factors_[static_cast<std::size_t>(i * kLanes)], kLanes,
                  1.0f / static_cast<float>(Pixels(i, rows)));
    }
  }

  /// The same for boxes of any size.
  void AveragePlainly(int top, i64 rows, Value* values) const {
    for (int i = 0; i < Count(); ++i) {
      const int left = low_ + Begin(i), right = left + Length(i);
      u64 sums[3] = {};
      const auto add = [&](int y, int end) {
        const BYTE* const row = ClassicRow(job_.source, y);
        for (int x = left; x < end; ++x) {
          const DWORD color = Depth::To24(LoadPixel<Depth>(row, x));
          sums[0] += Red(color);
          sums[1] += Green(color);
          sums[2] += Blue(color);
        }
      };
      if (i < boxed_.count) add(top, left + 1);
      add(top, right);
      for (i64 y = top; y < top + rows; ++y) add(static_cast<int>(y), right);
      for (u64& sum : sums) sum /= static_cast<u64>(Pixels(i, rows));
      // All channels of a grey are alike.
      values[i] =
          static_cast<Value>(MakeColor(static_cast<DWORD>(sums[0]), static_cast<DWORD>(sums[1]),
                                       static_cast<DWORD>(sums[2]), 0));
    }
  }

  const Resizing& job_;
  const decltype(FindWriteValues<Depth>(0)) write_;
  // Of the strip: its first column, the columns of the source that it takes, where in them the
  // boxes begin, and a mask of all bits for those that are one column longer.
  int left_ = 0, low_ = 0, high_ = 0;
  BoxedColumns boxed_;
  std::vector<int> begins_;
  std::vector<u64> longs_;
  Sums sums_, boxes_;
  std::vector<BYTE> quotients_;
  std::vector<float> factors_;
  int factorRows_ = -1;
};

}  // namespace
}  // namespace kxw

void KXOffscreen::ChangeResolutionLow(int destX, int destY, int destW, int destH,
                                      KXOffscreen* source, int srcX, int srcY, int srcW, int srcH) {
  if (!IsLocked() || !source || !source->IsLocked()) return;
  if (destW < 1 || destH < 1 || srcW < 1 || srcH < 1) return;
  const kxw::ReadApart from(*source, *this);
  try {
    kxw::WithClassicDepth(source->GetBitCount(), [&](auto depth) {
      const kxw::Resizing job(*this, destX, destY, destW, destH, from.Image(), srcX, srcY, srcW,
                              srcH);
      kxw::BoxFilter<decltype(depth)>(job).Run();
    });
  } catch (const std::bad_alloc&) {
    kxThrowError(kxw::kErrorNotEnoughMemory);
  }
}
