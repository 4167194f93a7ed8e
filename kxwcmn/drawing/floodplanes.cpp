#include "kxwcmn/drawing/floodplanes_internal.h"

#include <bit>
#include <cstring>
#include <utility>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/error.h"

namespace kxw::flood {

namespace {

/// How many of `n` coordinates from `at` on lie in one piece: in one block, or on one side outside
/// an image of that size.
int CutAtSeam(int at, int size, int n) {
  constexpr i64 kEnd = i64{1} << 31;
  i64 rest = kEnd - at;
  if (at < 0) {
    rest = -static_cast<i64>(at);
  } else if (at < size) {
    rest = std::min(KXVOffscreen::kBlockSize - (at & KXVOffscreen::kBlockMask), size - at);
  }
  return static_cast<int>(std::min<i64>(n, rest));
}

}  // namespace

Planes::Planes(const Request& request, const PlaneTests& tests, int mostTiles)
    : request_(request),
      tests_(tests),
      paintedMatches_(tests.paintedMatches ? ~u64{0} : 0),
      height_(request.paint.GetHeight()),
      mostTiles_(static_cast<std::size_t>(mostTiles)) {}

Planes::~Planes() = default;

// --- Tiles --------------------------------------------------------------------------------------

void Planes::Switch(int x, int y) {
  column_ = row_ = -1;
  if (made_.size() >= mostTiles_ && tests_.readsBack) Forget();
  const auto column = static_cast<std::size_t>(x >> KXVOffscreen::kBlockShift);
  const auto row = static_cast<std::size_t>(y >> KXVOffscreen::kBlockShift);
  if (tiles_.size() <= row) tiles_.resize(row + 1);
  if (tiles_[row].size() <= column) tiles_[row].resize(column + 1);
  if (!tiles_[row][column]) {
    std::unique_ptr<Tile> tile(new Tile);  // its rows are for Load to set
    tile->left = x & ~KXVOffscreen::kBlockMask;
    tile->top = y & ~KXVOffscreen::kBlockMask;
    made_.push_back(tile.get());
    tiles_[row][column] = std::move(tile);
  }
  tile_ = tiles_[row][column].get();
  column_ = static_cast<int>(column);
  row_ = static_cast<int>(row);
  const int top = std::max(tile_->top, request_.top);
  const int end = std::min({tile_->top + KXVOffscreen::kBlockSize, height_, request_.bottom + 1});
  innerTop_ = top + 1;
  innerRows_ = static_cast<DWORD>(std::max(end - top - 2, 0));
}

void Planes::Forget() {
  Flush();
  made_.clear();
  tiles_.clear();
}

/// Works out the band that holds row `y`.
void Planes::Load(Tile& tile, int y) {
  const int top = y & ~(kBandRows - 1);
  const int rows = std::min(kBandRows, height_ - top);
  const int first = std::max(tile.left, request_.left);
  const int last = std::min(tile.left + KXVOffscreen::kBlockMask, request_.right);
  const int count = last - first + 1;
  const int bit = first - tile.left;
  const int band = BandOf(y);

  KXVOffscreen& paint = request_.paint;
  const BYTE* memory = tests_.clearRow;
  int rowBytes = 0;
  // A block that was never written stays so until it is painted, if what it would hold is known.
  if (paint.GetBlockExist(first, top) || !paint.IsEnableClear()) {
    paint.MoveCursor(first, top);
    rowBytes = paint.GetBlockRowBytes();
    memory = paint.GetBaseAddress();
    tile.hasMemory = memory != nullptr;
    if (memory) memory += (top & KXVOffscreen::kBlockMask) * rowBytes;
  }
  const auto ask = [&](const RowTest* test, BandBits& bits) {
    for (int i = 0; i < rows; ++i) test->Ask(memory + i * rowBytes, bit, count, bits[i], bit);
  };
  const auto askReference = [&](const RowTest* test, BandBits& bits) {
    if (tests_.isInPlace) {
      ask(test, bits);
    } else {
      AskReference(request_.reference, *test, request_.InReference(first, top), count, rows, bit,
                   bits);
    }
  };

  BandBits match = {}, skip = {}, second = {}, left = {}, right = {};
  if (memory) {
    if (tests_.unfilledLeft) ask(tests_.unfilledLeft, left);
    if (tests_.unfilledRight) ask(tests_.unfilledRight, right);
    askReference(tests_.match, match);
    if (tests_.skip) askReference(tests_.skip, skip);
    if (tests_.second) {
      AskReference(*request_.second, *tests_.second, request_.InReference(first, top), count, rows,
                   bit, second);
    }
  }
  u64 oddity = 0;
  for (int i = 0; i < kBandRows; ++i) {
    Row& row = RowOf(tile, top + i);
    for (int k = 0; k < 4; ++k) {
      const u64 asked = tests_.second ? second[i][k] : ~u64{0};
      const u64 matches = match[i][k] & asked;
      row.open[k] = tests_.unfilledLeft ? matches & left[i][k] : matches;
      row.painted[k] = 0;
      right[i][k] = tests_.unfilledRight ? matches & right[i][k] : row.open[k];
      skip[i][k] = tests_.skip ? skip[i][k] & asked : matches;
      oddity |= (right[i][k] ^ row.open[k]) | (skip[i][k] ^ row.open[k]);
    }
  }
  if (oddity) {
    tile.odd[band] = std::make_unique<OddBand>();
    std::memcpy(tile.odd[band]->right, right, sizeof right);
    std::memcpy(tile.odd[band]->skip, skip, sizeof skip);
  }
  tile.known |= DWORD{1} << band;
  if (!oddity) tile.regular |= DWORD{1} << band;
}

void Planes::AskReference(KXVOffscreen& image, const RowTest& test, const KXPoint& at, int count,
                          int rows, int bit, BandBits& bits) {
  const int rowBytes = image.GetBlockRowBytes();
  for (int row = 0, height; row < rows; row += height) {
    const int y = IntGeometry::Add(at.y, row);
    height = CutAtSeam(y, image.GetHeight(), rows - row);
    for (int column = 0, width; column < count; column += width) {
      const int x = IntGeometry::Add(at.x, column);
      width = CutAtSeam(x, image.GetWidth(), count - column);
      image.MoveCursor(x, y);
      const BYTE* memory = image.GetBaseAddress();
      if (memory) memory += (y & KXVOffscreen::kBlockMask) * rowBytes;
      for (int i = 0; i < height; ++i) {
        test.Ask(memory ? memory + i * rowBytes : nullptr, x & KXVOffscreen::kBlockMask, width,
                 bits[row + i], bit + column);
      }
    }
  }
}

void Planes::Flush() {
  KXVOffscreen& paint = request_.paint;
  const int rowBytes = paint.GetBlockRowBytes();
  for (Tile* tile : made_) {
    BYTE* memory = nullptr;
    const int rows = std::min(KXVOffscreen::kBlockSize, height_ - tile->top);
    for (int i = 0; i < rows; ++i) {
      const u64* const bits = tile->rows[i].painted;
      if (!(tile->known >> BandOf(i) & 1) || !(bits[0] | bits[1] | bits[2] | bits[3])) continue;
      if (!memory) {
        paint.MoveCursor(tile->left, tile->top);
        memory = paint.GetBaseAddress();
        if (!memory) kxThrowError(kErrorNotEnoughMemory);
      }
      tests_.painter->Paint(memory + i * rowBytes, bits);
    }
  }
}

// --- Runs ---------------------------------------------------------------------------------------

inline void Planes::Paint(Tile& tile, int y, int word, u64 bits) {
  Row& row = RowOf(tile, y);
  row.open[word] &= ~bits;
  row.painted[word] |= bits;
  if (OddBand* odd = tile.odd[BandOf(y)].get()) {
    const int i = y & (kBandRows - 1);
    odd->right[i][word] &= ~bits;
    // In place the pixel is now judged as what was painted.
    if (tests_.isInPlace) {
      odd->skip[i][word] = (odd->skip[i][word] & ~bits) | (bits & paintedMatches_);
    }
  }
}

void Planes::PaintAround(int x, int y, int& start, int& end) {
  start = PaintLeft(x, y) + 1;
  end = start <= x ? PaintRight(x + 1, y) : start = x;
}

int Planes::PaintLeft(int x, int y) {
  while (x >= request_.left) {
    Tile& tile = Find(x, y);
    for (int word = x >> 6 & 3; word >= 0; --word) {
      const int at = 63 - (x & 63);
      const u64 closed = ~RowOf(tile, y).open[word] >> at << at;
      if (closed) {
        const int end = std::countr_zero(closed);
        Paint(tile, y, word, (u64{1} << end) - (u64{1} << at));
        return x - (end - at);
      }
      Paint(tile, y, word, ~u64{0} << at);
      x = (x & ~63) - 1;
    }
  }
  return x;
}

int Planes::PaintRight(int x, int y) {
  while (x <= request_.right) {
    Tile& tile = Find(x, y);
    const OddBand* const odd = tile.odd[BandOf(y)].get();
    const u64* const open = odd ? odd->right[y & (kBandRows - 1)] : RowOf(tile, y).open;
    for (int word = x >> 6 & 3; word < 4; ++word) {
      const int skipped = x & 63;
      const u64 closed = ~open[word] << skipped >> skipped;
      if (closed) {
        const int end = std::countl_zero(closed);
        if (end > skipped) Paint(tile, y, word, BitsOf(skipped, end - skipped));
        return x + (end - skipped);
      }
      Paint(tile, y, word, ~u64{0} >> skipped);
      x = (x | 63) + 1;
    }
  }
  return x;
}

int Planes::Skip(int x, int last, int y) {
  while (x <= last) {
    Tile& tile = Find(x, y);
    const Row& row = RowOf(tile, y);
    const OddBand* const odd = tile.odd[BandOf(y)].get();
    for (int word = x >> 6 & 3; word < 4 && x <= last; ++word) {
      const u64 matches = odd ? odd->skip[y & (kBandRows - 1)][word]
                              : row.open[word] | (row.painted[word] & paintedMatches_);
      const int skipped = x & 63;
      if (const u64 found = matches << skipped) return x + std::countl_zero(found);
      x = (x | 63) + 1;
    }
  }
  return x;
}

bool Planes::Reaches(int y, int left, int right) {
  if (!IsRow(y)) return false;
  Tile& tile = Find(left, y);
  // Not worth a look: a run over several words has most likely something beside it.
  if (tile.odd[BandOf(y)] || (left ^ right) >> 6) return true;
  const u64 first = kFirstBit >> (left & 63);
  const u64 others = (first - 1) & ~u64{0} << (~right & 63);
  return (MatchesOf(RowOf(tile, y), left >> 6 & 3) & (first | others)) != 0;
}

bool FillPlanes(const Request& request, Planes& planes, Outcome& outcome) {
  return Fill<Planes>(request, planes).Run(outcome);
}

}  // namespace kxw::flood
