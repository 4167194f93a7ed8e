#pragma once

#include <bit>
#include <cstddef>
#include <memory>
#include <vector>

#include "kxwcmn/drawing/detail/floodrows.h"
#include "kxwcmn/drawing/floodfill_internal.h"

/// The fast form of the fill: by bits.
///
/// What can be painted, and what was, is kept as two bits for each pixel, in tiles that stand for
/// the blocks of the painted image. The rows of a tile are worked out in bands as the fill reaches
/// them: the only time that pixels are read. Runs are then found, painted and passed over in words
/// of bits, whatever the depths are, and at the end each block is painted in one go.
///
/// The memory of a tile is a quarter of a block of 8 bits. A fill of more than `kMostTiles` blocks
/// paints what it has and forgets all tiles: painted pixels hold the fill value, so that a tile
/// that is reached again is worked out with the same answers. Where they do not read back, none is
/// forgotten.
namespace kxw::flood {

/// How the pixels of the images become bits. The tests are not owned.
struct PlaneTests {
  bool isInPlace = false;  // the reference is the painted image, at no offset
  const RowTest* match = nullptr;
  const RowTest* skip = nullptr;           // null: the same as `match`
  const RowTest* second = nullptr;         // null: no second reference
  const RowTest* unfilledLeft = nullptr;   // null: every pixel that matches
  const RowTest* unfilledRight = nullptr;  // null: the same as to the left
  const RowPainter* painter = nullptr;
  /// A row of a block that was never written.
  const BYTE* clearRow = nullptr;
  /// Whether the fill sees its paint as filled without being told.
  bool readsBack = false;
  /// Whether a painted pixel matches while the next run is looked for.
  bool paintedMatches = false;
};

/// The rows of a tile that are worked out at a time.
inline constexpr int kBandRows = 16;
using BandBits = u64[kBandRows][4];

class Planes {
 public:
  static constexpr int kMostTiles = 4096;

  /// The images are locked by the caller, and the seed lies in the columns of the clip.
  Planes(const Request& request, const PlaneTests& tests, int mostTiles = kMostTiles);
  ~Planes();
  Planes(const Planes&) = delete;
  Planes& operator=(const Planes&) = delete;

  // The operations of a `Fill`. Whether the seed is filled is asked before.
  bool IsSeedFilled() const { return false; }
  bool Enter(int x, int y, int dy);
  bool PaintShort(int left, int right, ShortRun& run);
  void PaintAround(int x, int y, int& start, int& end);
  int PaintRight(int x, int y);
  int Skip(int x, int last, int y);
  bool Reaches(int y, int left, int right);

  /// Writes what was painted into the image. Raises 8 if a block cannot be brought in.
  void Flush();

 private:
  struct Row {
    u64 open[4];  // can be painted, going left; without an odd band also going right
    u64 painted[4];
  };
  /// Of a band in which the answers differ by direction, or pixels match that cannot be painted.
  struct OddBand {
    BandBits right;  // can be painted, going right
    BandBits skip;   // matches while the next run is looked for
  };
  struct Tile {
    Row rows[KXVOffscreen::kBlockSize];
    std::unique_ptr<OddBand> odd[KXVOffscreen::kBlockSize / kBandRows];
    int left, top;
    DWORD known = 0;    // a bit for each band
    DWORD regular = 0;  // the same: known and not odd
    bool hasMemory = true;
  };
  using TileRow = std::vector<std::unique_ptr<Tile>>;

  bool IsRow(int y) const { return static_cast<DWORD>(y) < static_cast<DWORD>(height_); }
  static int BandOf(int y) { return (y & KXVOffscreen::kBlockMask) / kBandRows; }
  static Row& RowOf(Tile& tile, int y) { return tile.rows[y & KXVOffscreen::kBlockMask]; }

  /// The tile of a pixel of the image, its row worked out.
  Tile& Find(int x, int y) {
    if (x >> KXVOffscreen::kBlockShift != column_ || y >> KXVOffscreen::kBlockShift != row_) {
      Switch(x, y);
    }
    if (!(tile_->known >> BandOf(y) & 1)) Load(*tile_, y);
    return *tile_;
  }
  void Switch(int x, int y);
  void Load(Tile& tile, int y);
  void AskReference(KXVOffscreen& image, const RowTest& test, const KXPoint& at, int count,
                    int rows, int bit, BandBits& bits);
  void Forget();

  /// The pixels of a word of a regular row that match.
  u64 MatchesOf(const Row& row, int word) const {
    return row.open[word] | (row.painted[word] & paintedMatches_);
  }

  /// Notes as painted those pixels of a word whose bits are set.
  void Paint(Tile& tile, int y, int word, u64 bits);
  int PaintLeft(int x, int y);

  const Request& request_;
  const PlaneTests& tests_;
  const u64 paintedMatches_;  // all bits or none
  const int height_;
  const std::size_t mostTiles_;
  std::vector<TileRow> tiles_;  // by block row and column
  std::vector<Tile*> made_;     // in the order in which they were
  Tile* tile_ = nullptr;        // the one of block column `column_` and row `row_`
  int column_ = -1, row_ = -1;
  // The rows of `tile_` whose neighbours are there too, and in the clip.
  int innerTop_ = 0;
  DWORD innerRows_ = 0;
  // The row that was entered, if it is one of those and regular as its neighbours are; else null.
  Row* here_ = nullptr;
  std::ptrdiff_t ahead_ = 0;  // leads to the next row
};

inline bool Planes::Enter(int x, int y, int dy) {
  if (x >> KXVOffscreen::kBlockShift == column_ && static_cast<DWORD>(y - innerTop_) < innerRows_) {
    const DWORD regular = tile_->regular;
    if (regular >> BandOf(y - 1) & regular >> BandOf(y + 1) & 1) {
      here_ = &RowOf(*tile_, y);
      ahead_ = dy;
      return true;
    }
  }
  here_ = nullptr;
  return IsRow(y) && Find(x, y).hasMemory;
}

// A pixel's bit in its word is number 63 - (x & 63), so that "left" is "higher".

inline bool Planes::PaintShort(int left, int right, ShortRun& run) {
  if (!here_) return false;
  const int word = left >> 6 & 3, at = ~left & 63;
  const u64 open = here_->open[word];
  const u64 before = ~open >> at << at;
  const u64 after = ~open & ((u64{1} << at) - 1);
  // The run has to begin and end within the word.
  if (!before || !after || !(open >> at & 1)) return false;
  const int first = std::countr_zero(before), last = 63 - std::countl_zero(after);
  const u64 bits = (u64{1} << first) - (u64{2} << last);
  here_->open[word] ^= bits;
  here_->painted[word] |= bits;
  run.start = left + at + 1 - first;
  run.end = left + at - last;
  const u64 ahead = MatchesOf(here_[ahead_], word), behind = MatchesOf(here_[-ahead_], word);
  // The pixels of the word behind the parent's end.
  u64 beyond = (u64{1} << (~right & 63)) - 1;
  if ((right ^ left) >> 6) beyond = right < left ? ~u64{0} : 0;
  run.goesAhead = (ahead & bits) != 0;
  run.leaksLeft = (behind & bits & ~u64{1} << at) != 0;
  run.leaksRight = (behind & bits & beyond) != 0;
  const u64 rest = MatchesOf(*here_, word) & ((u64{1} << last) - 1) & ~beyond;
  run.isMoreToRight = (rest != 0) | (left >> 6 < right >> 6);
  return true;
}

/// Runs the fill.
bool FillPlanes(const Request& request, Planes& planes, Outcome& outcome);

}  // namespace kxw::flood
