#include "kxwcmn/drawing/floodplanes_internal.h"

#include <bit>
#include <cstring>
#include <utility>

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

Planes::Planes(const Request& request, const PlaneTests& tests, int mostTiles, int mostShortRuns)
    : request_(request),
      tests_(tests),
      height_(request.paint.GetHeight()),
      mostTiles_(static_cast<std::size_t>(mostTiles)),
      mostShortRuns_(mostShortRuns) {}

Planes::~Planes() = default;

// --- Tiles --------------------------------------------------------------------------------------

void Planes::Switch(int x, int y) {
  if (made_.size() >= mostTiles_ && tests_.readsBack) Forget();
  SwitchTo(x, y);
}

void Planes::SwitchTo(int x, int y) {
  column_ = row_ = -1;
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
  column_ = row_ = -1;
  hasForgotten_ = true;
  Flush();
  made_.clear();
  tiles_.clear();
}

/// Works out the band that holds row `y`. Raises 8 if a block cannot be brought in.
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
    CheckBlock(paint);
    memory = paint.GetBaseAddress() + (top & KXVOffscreen::kBlockMask) * rowBytes;
  }

  BandBits match = {}, skip = {}, second = {}, unasked = {}, left = {}, right = {};
  if (tests_.unfilled) {
    for (int i = 0; i < rows; ++i) {
      tests_.unfilled->Ask(memory + i * rowBytes, bit, count, left[i], right[i], bit);
    }
  } else {
    std::memset(left, 0xFF, sizeof left);
    std::memset(right, 0xFF, sizeof right);
  }
  const KXPoint at = request_.InReference(first, top);
  if (tests_.isInPlace) {
    for (int i = 0; i < rows; ++i) {
      tests_.match->Ask(memory + i * rowBytes, bit, count, match[i], skip[i], bit);
    }
  } else {
    Ask(request_.reference, *tests_.match, at, count, rows, bit, match, skip);
  }
  if (tests_.second) {
    Ask(*request_.second, *tests_.second, at, count, rows, bit, second, unasked);
  }
  u64 oddity = 0;
  for (int i = 0; i < kBandRows; ++i) {
    Row& row = tile.RowOf(top + i);
    for (int k = 0; k < kRowWords; ++k) {
      const u64 asked = tests_.second ? second[i][k] : ~u64{0};
      const u64 matches = match[i][k] & asked;
      row.open[k] = row.first[k] = matches & left[i][k];
      right[i][k] &= matches;
      skip[i][k] &= asked;
      oddity |= (right[i][k] ^ row.open[k]) | (skip[i][k] ^ row.open[k]);
    }
  }
  if (oddity) {
    hasOdd_ = true;
    tile.odd[band] = std::make_unique<OddBand>();
    std::memcpy(tile.odd[band]->right, right, sizeof right);
    std::memcpy(tile.odd[band]->skip, skip, sizeof skip);
  }
  tile.known |= DWORD{1} << band;
  if (!oddity) tile.regular |= DWORD{1} << band;
}

void Planes::Ask(KXVOffscreen& image, const RowTest& test, const KXPoint& at, int count, int rows,
                 int bit, BandBits& first, BandBits& second) {
  const int rowBytes = image.GetBlockRowBytes();
  for (int row = 0, height; row < rows; row += height) {
    const int y = IntGeometry::Add(at.y, row);
    height = CutAtSeam(y, image.GetHeight(), rows - row);
    for (int column = 0, width; column < count; column += width) {
      const int x = IntGeometry::Add(at.x, column);
      width = CutAtSeam(x, image.GetWidth(), count - column);
      image.MoveCursor(x, y);
      CheckBlock(image);
      const BYTE* memory = image.GetBaseAddress();
      if (memory) memory += (y & KXVOffscreen::kBlockMask) * rowBytes;
      for (int i = row; i < row + height; ++i) {
        test.Ask(memory, x & KXVOffscreen::kBlockMask, width, first[i], second[i], bit + column);
        if (memory) memory += rowBytes;
      }
    }
  }
}

void Planes::Flush() {
  SettleAll();
  for (Tile* tile : made_) {
    for (DWORD bands = tile->known & ~tile->written; bands; bands &= bands - 1) {
      Write(*tile, std::countr_zero(bands));
    }
  }
}

void Planes::PaintedBits(const Tile& tile, int y, u64* bits) const {
  const OddBand* const odd = tile.odd[BandOf(y)].get();
  const Row& row = tile.RowOf(y);
  for (int k = 0; k < kRowWords; ++k) {
    bits[k] = odd ? odd->painted[y & (kBandRows - 1)][k] : row.first[k] & ~row.open[k];
  }
}

/// Writes what was painted in a band into the image. Raises 8 if the block cannot be brought in.
void Planes::Write(Tile& tile, int band) {
  KXVOffscreen& paint = request_.paint;
  const int top = tile.top + band * kBandRows;
  const int end = std::min(top + kBandRows, height_);
  BYTE* memory = nullptr;
  for (int y = top; y < end; ++y) {
    u64 bits[kRowWords];
    PaintedBits(tile, y, bits);
    if (!(bits[0] | bits[1] | bits[2] | bits[3])) continue;
    if (!memory) {
      paint.MoveCursor(tile.left, top);
      CheckBlock(paint);
      memory = paint.GetBaseAddress();
    }
    const int row = y & KXVOffscreen::kBlockMask;
    tests_.painter->Paint(memory + row * paint.GetBlockRowBytes(), bits);
  }
}

void Planes::WriteIfFull(Tile& tile, int y) {
  const int band = BandOf(y);
  if (!(tile.regular & ~tile.written) >> band & 1) return;
  const Row* const rows = &tile.RowOf(y & ~(kBandRows - 1));
  for (int i = 0; i < kBandRows; ++i) {
    const u64* const open = rows[i].open;
    if (open[0] | open[1] | open[2] | open[3]) return;
  }
  Write(tile, band);
  tile.written |= DWORD{1} << band;
}

// --- Runs ---------------------------------------------------------------------------------------

inline void Planes::Paint(Tile& tile, int y, int word, u64 bits) {
  tile.RowOf(y).open[word] &= ~bits;
  if (OddBand* odd = tile.odd[BandOf(y)].get()) {
    const int i = y & (kBandRows - 1);
    odd->right[i][word] &= ~bits;
    odd->painted[i][word] |= bits;
    // In place the pixel is now judged as what was painted.
    if (tests_.isInPlace) {
      odd->skip[i][word] = (odd->skip[i][word] & ~bits) | (tests_.paintedMatches ? bits : 0);
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
      const u64 closed = ~tile.RowOf(y).open[word] >> at << at;
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
    const u64* const open = odd ? odd->right[y & (kBandRows - 1)] : tile.RowOf(y).open;
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
    // The first or the last row of a band, whichever way the fill goes.
    if (((y + 1) & (kBandRows - 1)) <= 1) WriteIfFull(tile, y);
  }
  return x;
}

int Planes::Skip(int x, int last, int y) {
  while (x <= last) {
    Tile& tile = Find(x, y);
    const OddBand* const odd = tile.odd[BandOf(y)].get();
    const u64* const matches = odd ? odd->skip[y & (kBandRows - 1)] : MatchesOf(tile.RowOf(y));
    for (int word = x >> 6 & 3; word < 4 && x <= last; ++word) {
      const int skipped = x & 63;
      if (const u64 found = matches[word] << skipped) return x + std::countl_zero(found);
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
  return (MatchesOf(tile.RowOf(y))[left >> 6 & 3] & (first | others)) != 0;
}

bool FillPlanes(const Request& request, Planes& planes, Outcome& outcome) {
  if (Fill<Planes>(request, planes).Run(outcome) || planes.FillByParts(outcome)) return true;
  return Fill<Planes>(request, planes).Run(outcome);
}

}  // namespace kxw::flood
