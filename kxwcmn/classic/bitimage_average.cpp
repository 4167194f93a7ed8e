#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "kxwcmn/classic/bitimage.h"
#include "kxwcmn/classic/detail/bitdepths.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/vectorize_internal.h"
#include "kxwcmn/resample/detail/boxes.h"
#include "kxwcmn/resample/detail/smallboxes.h"

// Reductions by averages of boxes. A box whose sums fit small numbers is summed with its
// neighbours, rows first; the others, which are few or large, pixel by pixel.

namespace {

using kxw::Bit24;
using kxw::Bit32;

/// What a box without any ink becomes.
constexpr DWORD kBlank = 0x00FFFFFF;

/// The boxes of an axis, of which those from `begin` up to `end` are seen.
struct BoxAxis {
  BoxAxis(int destStart, int destSize, int destLimit, int srcStart, int srcSize)
      : step(static_cast<i64>(static_cast<double>(srcSize) / destSize * 4096.0)),
        limit(std::max<i64>(i64{srcSize} - srcStart, 0)),
        src(srcStart),
        dest(destStart),
        begin(static_cast<int>(std::clamp<i64>(-i64{destStart}, 0, destSize))),
        end(static_cast<int>(std::min<i64>(destSize, i64{destLimit} - destStart))) {}

  /// Where box `i` begins and the one before ends, in pixels from `src` on.
  i64 Edge(i64 i) const { return std::min(i * step >> 12, limit); }
  i64 Length(i64 i) const { return Edge(i + 1) - Edge(i); }
  /// Whether the boxes lie in a source of so many pixels.
  bool IsInside(int size) const {
    const i64 first = Edge(begin), last = Edge(end);
    return first == last || (src + first >= 0 && src + last <= size);
  }
  int DestOf(int i) const { return static_cast<int>(i64{dest} + i); }
  std::ptrdiff_t SrcOf(i64 i) const { return static_cast<std::ptrdiff_t>(src + Edge(i)); }

  i64 step;  // pixels of the source to one of the destination, in 1/4096
  i64 limit;
  int src, dest;
  int begin, end;
};

/// Whether one of the pixels of `rows` rows is wholly transparent.
bool HasTransparent(const BYTE* row, int rowBytes, int rows, int count) {
  DWORD found = 0;
  for (int k = 0; k < rows && !found; ++k, row += rowBytes) {
    for (int i = 0; i < count; ++i) found |= kxw::Bit32::Load(row, i) < 0x01000000;
  }
  return found != 0;
}

/// A sum over the pixels of a box, and what they come to.
struct BoxSum {
  u64 channels[4] = {};  // in memory's order, alpha last
  u64 drawn = 0;         // pixels that are not wholly transparent

  void Add(DWORD pixel) {
    if (pixel < 0x01000000) return;
    for (int c = 0; c < 4; ++c) channels[c] += static_cast<BYTE>(pixel >> 8 * c);
    ++drawn;
  }
  DWORD Average(u64 area) const {
    if (drawn == 0) return kBlank;
    DWORD pixel = static_cast<DWORD>(channels[3] / area) << 24;
    for (int c = 0; c < 3; ++c) pixel |= static_cast<DWORD>(channels[c] / drawn) << 8 * c;
    return pixel;
  }
};

/// Boxes next to each other that are summed together.
struct Group {
  /// Columns of a group's boxes, and rows of one whose sums fit words.
  static constexpr int kMostColumns = 1024, kMostRows = 257;

  Group(int firstBox, const int* edges, int count, int shortest)
      : first(firstBox), columns(edges, count, shortest), average(columns), small(columns) {}

  int first;
  kxw::BoxColumns columns;
  kxw::BoxAverage average;
  kxw::SmallBoxAverage small;
};

/// The averages of one pair of rectangles.
template <class To, class From>
class Averages {
 public:
  Averages(const BoxAxis& x, const BoxAxis& y, const KXBitImage& source)
      : x_(x), y_(y), source_(source) {
    // What is left of the last boxes at the limit may be shorter.
    const i64 shortest = x.step >> 12;
    const int most =
        static_cast<int>(std::min<i64>(kxw::kMostColumns, Group::kMostColumns / (shortest + 1)));
    int i = x.begin;
    while (shortest > 0 && most > 0 && i < x.end) {
      int edges[kxw::kMostColumns + 1] = {}, count = 0;
      while (count < most && i + count < x.end && (i64{i} + count + 1) * x.step >> 12 <= x.limit) {
        ++count;
        edges[count] = static_cast<int>(x.Edge(i + count) - x.Edge(i));
      }
      if (count == 0) break;
      groups_.push_back(std::make_unique<Group>(i, edges, count, static_cast<int>(shortest)));
      i += count;
    }
    firstSingle_ = i;
  }

  void Store(int row, BYTE* to) {
    const i64 rows = y_.Length(row);
    int i = x_.begin;
    if (rows > 0 && rows <= Group::kMostRows) {
      for (const auto& group : groups_) StoreGroup(*group, row, static_cast<int>(rows), to);
      i = firstSingle_;
    }
    for (; i < x_.end; ++i) StoreSingle(i, row, to);
  }

 private:
  const BYTE* Row(std::ptrdiff_t y) const {
    return source_.GetBaseAddress() + y * source_.GetRowBytes();
  }
  void Put(BYTE* to, int i, DWORD pixel) const {
    To::Store(to, x_.DestOf(i), To::From(kxw::FromBits<32>{}, pixel));
  }

  void StoreSingle(int i, int row, BYTE* to) const {
    const i64 area = x_.Length(i) * y_.Length(row);
    if (From::kBits == 24 && area == 0) return;  // nothing stands for it
    BoxSum sum;
    for (std::ptrdiff_t y = y_.SrcOf(row); y < y_.SrcOf(i64{row} + 1); ++y) {
      for (std::ptrdiff_t x = x_.SrcOf(i); x < x_.SrcOf(i64{i} + 1); ++x) {
        sum.Add(Bit32::From(kxw::FromBits<From::kBits>{}, From::Load(Row(y), x)));
      }
    }
    Put(to, i, sum.Average(static_cast<u64>(area)));
  }

  void StoreGroup(Group& group, int row, int rows, BYTE* to) {
    const int count = group.columns.Count();
    const int width = group.columns.Begin(count - 1) + group.columns.Length(count - 1);
    const BYTE* const from = Row(y_.SrcOf(row)) + x_.SrcOf(group.first) * (From::kBits / 8);
    const int rowBytes = source_.GetRowBytes();
    if (kxw::SmallBoxAverage::CanTake(group.columns, rows)) {
      StoreSmall(group, from, rows, width, to);
      return;
    }
    if constexpr (From::kBits == 24) {
      CopyRows(from, rows, width);
      kxw::SumRows(words_.data(), 4 * width, rows, 4 * width, sums_);
      group.average.Take(sums_, rows, pixels_);
    } else if (!kxw::InVectors<HasTransparent>(from, rowBytes, rows, width)) {
      kxw::SumRows(from, rowBytes, rows, 4 * width, sums_);
      group.average.Take(sums_, rows, pixels_);
    } else {
      CopyRows(from, rows, width);
      std::fill_n(counts_, width, WORD{0});
      for (int k = 0; k < rows; ++k) kxw::DropTransparent(&words_[Index(k, width)], width, counts_);
      kxw::SumRows(words_.data(), 4 * width, rows, 4 * width, sums_);
      kxw::AverageDrawn(sums_, counts_, group.columns, rows, kBlank, pixels_);
    }
    PutAll(to, group.first, count);
  }

  void StoreSmall(const Group& group, const BYTE* from, int rows, int width, BYTE* to) {
    std::ptrdiff_t toNext = rows > 1 ? source_.GetRowBytes() : 0;
    if constexpr (From::kBits == 24) {
      CopyRows(from, rows, width);
      from = words_.data();
      toNext = toNext ? 4 * width : 0;
    }
    if constexpr (To::kBits == 32) {
      group.small.Take(from, from + toNext, kBlank,
                       to + std::ptrdiff_t{4} * x_.DestOf(group.first));
    } else {
      group.small.Take(from, from + toNext, kBlank, pixels_);
      PutAll(to, group.first, group.columns.Count());
    }
  }

  void PutAll(BYTE* to, int first, int count) const {
    for (int i = 0; i < count; ++i) Put(to, first + i, Bit32::Load(pixels_, i));
  }

  /// Where row `k` of `width` words begins.
  static std::size_t Index(int k, int width) {
    return static_cast<std::size_t>(k) * static_cast<std::size_t>(4 * width);
  }
  /// Brings rows of the source to 32 bits.
  void CopyRows(const BYTE* from, int rows, int width) {
    words_.resize(Index(rows, width));
    for (int k = 0; k < rows; ++k, from += source_.GetRowBytes()) {
      BYTE* const words = &words_[Index(k, width)];
      for (int i = 0; i < width; ++i) {
        Bit32::Store(words, i, Bit32::From(kxw::FromBits<From::kBits>{}, From::Load(from, i)));
      }
    }
  }

  const BoxAxis &x_, &y_;
  const KXBitImage& source_;
  std::vector<std::unique_ptr<Group>> groups_;
  int firstSingle_;
  std::vector<BYTE> words_;                        // rows of a group in 32 bits
  WORD sums_[4 * (Group::kMostColumns + 1)] = {};  // with the column behind the last one
  WORD counts_[Group::kMostColumns];
  BYTE pixels_[4 * kxw::kMostColumns];
};

}  // namespace

void KXBitImage::AntiAliasCopy32(KXBitImage* dest, int destX, int destY, int destW, int destH,
                                 int srcX, int srcY, int srcW, int srcH) const {
  if (!dest || !dest->IsValid() || !IsValid()) return;
  if (destW < 1 || destH < 1 || srcW < 1 || srcH < 1) return;
  if (SharesMemory(*dest)) {
    KXBitImage(*this).AntiAliasCopy32(dest, destX, destY, destW, destH, srcX, srcY, srcW, srcH);
    return;
  }
  if (destW >= srcW || destH >= srcH) {
    StretchCopy(dest, destX, destY, destW, destH, srcX, srcY, srcW, srcH);
  }
  const BoxAxis x(destX, destW, dest->width_, srcX, srcW),
      y(destY, destH, dest->height_, srcY, srcH);
  if (x.begin >= x.end || y.begin >= y.end || !x.IsInside(width_) || !y.IsInside(height_)) return;
  const auto run = [&]<class To, class From>(To, From) {
    const auto averages = std::make_unique<Averages<To, From>>(x, y, *this);
    for (int row = y.begin; row < y.end; ++row) {
      averages->Store(row, dest->bits_ + std::ptrdiff_t{y.DestOf(row)} * dest->rowBytes_);
    }
  };
  const int to = dest->bitCount_, from = bitCount_;
  try {
    if (to == 32 && from == 32) run(Bit32{}, Bit32{});
    if (to == 32 && from == 24) run(Bit32{}, Bit24{});
    if (to == 24 && from == 32) run(Bit24{}, Bit32{});
    if (to == 24 && from == 24) run(Bit24{}, Bit24{});
  } catch (const std::bad_alloc&) {
    kxThrowError(kxw::kErrorNotEnoughMemory);
  }
}
