#pragma once

#include <bit>
#include <cstddef>
#include <memory>
#include <vector>

#include "kxwcmn/drawing/detail/floodrows.h"
#include "kxwcmn/drawing/floodfill_internal.h"
#include "kxwcmn/drawing/floodparts_internal.h"

/// The fast form of the fill: by bits.
///
/// What can be painted, and what was, is kept as two bits for each pixel, in tiles that stand for
/// the blocks of the painted image. The rows of a tile are worked out in bands as the fill reaches
/// them: the only time that pixels are read. What goes on then is a matter of words of bits,
/// whatever the depths are, and at the end each block is painted in one go. A band that has nothing
/// left to be painted is written at once, while its pixels are near.
///
/// A fill begins by runs, in the order that is told for it. Where a pixel is judged alike from all
/// sides, the order has no part in what is painted: a fill that has met many short runs, as in a
/// maze, and no odd band, begins again from the bits that are there and goes by parts. Those pixels
/// of a band, or of a tile, that are connected in there are joined once, and are reached, one with
/// all others, from any neighbour. Should a band turn out to be odd, it all goes by runs.
///
/// The memory of a tile is a quarter of a block of 8 bits, three eighths more if all of its bands
/// are odd, and seldom more than such a block where it has narrow ways: 200 KiB if every second
/// pixel is a part of its own. A fill of more than `kMostTiles` blocks paints what it has and
/// forgets all tiles: painted pixels hold the fill value, so that a tile that is reached again is
/// worked out with the same answers. Where they do not read back, none is forgotten.
namespace kxw::flood {

/// How the pixels of the images become bits. The tests are not owned.
struct PlaneTests {
  bool isInPlace = false;             // the reference is the painted image, at no offset
  const RowTest* match = nullptr;     // while painting; while the next run is looked for
  const RowTest* second = nullptr;    // null: no second reference
  const RowTest* unfilled = nullptr;  // going left; going right. Null: every pixel that matches
  const RowPainter* painter = nullptr;
  /// A row of a block that was never written.
  const BYTE* clearRow = nullptr;
  /// Whether the fill sees its paint as filled without being told.
  bool readsBack = false;
  /// Whether a painted pixel matches while the next run is looked for.
  bool paintedMatches = false;
  /// Whether bands may be odd: pixels judged by direction, or matching ones that are not painted.
  bool mayBeOdd = true;
};

class Planes {
 public:
  static constexpr int kMostTiles = 1024;  // 17 to 41 MiB, by parts 80 or so in noise, 240 at worst

  /// So many of them tell a fill of narrow ways; what they took is lost, which is little beside it.
  static constexpr int kMostShortRuns = 32768;

  /// The images are locked by the caller, and the seed lies in the columns of the clip.
  Planes(const Request& request, const PlaneTests& tests, int mostTiles = kMostTiles,
         int mostShortRuns = kMostShortRuns);
  ~Planes();
  Planes(const Planes&) = delete;
  Planes& operator=(const Planes&) = delete;

  // The operations of a `Fill`. Whether the seed is filled is asked before.
  bool IsSeedFilled() const { return false; }
  bool GoesOn() { return shortRuns_ < mostShortRuns_ || !IsForParts(); }
  bool Enter(int x, int y, int dy);
  Look PaintShort(const Span& parent, int x, ShortRun& run);
  void PaintAround(int x, int y, int& start, int& end);
  int PaintRight(int x, int y);
  int Skip(int x, int last, int y);
  bool Reaches(int y, int left, int right);

  /// Writes what was painted into the image. Raises 8 if a block cannot be brought in.
  void Flush();

  /// Runs a fill that did not go on by runs. Returns false at an odd band: then nothing counts as
  /// painted any more, and the fill is to be run by runs, to its end.
  bool FillByParts(Outcome& outcome);

 private:
  static constexpr int kBands = KXVOffscreen::kBlockSize / kBandRows;
  /// The runs of a band from which on its tile is taken for one of narrow ways.
  static constexpr int kManyRuns = 96;

  /// Of a row, in a line of the cache.
  struct alignas(64) Row {
    u64 open[kRowWords];   // can be painted; in an odd band, going left
    u64 first[kRowWords];  // the same at first: what is closed now, in a regular band, is painted
  };
  /// Of a band in which the answers differ by direction, or pixels match that cannot be painted.
  struct OddBand {
    BandBits right;  // can be painted, going right
    BandBits skip;   // matches while the next run is looked for
    BandBits painted;
  };
  struct Tile {
    Row& RowOf(int y) { return rows[y & KXVOffscreen::kBlockMask]; }
    const Row& RowOf(int y) const { return rows[y & KXVOffscreen::kBlockMask]; }

    Row rows[KXVOffscreen::kBlockSize];
    std::unique_ptr<OddBand> odd[kBands];
    std::unique_ptr<Parts> parts[kBands];  // at the first band that they are of
    int left, top;
    DWORD known = 0;       // a bit for each band
    DWORD regular = 0;     // the same: known and not odd
    DWORD written = 0;     // the same: nothing is left to be painted, and all is in the image
    DWORD settled = 0;     // the same, in a fill by parts: what was reached is noted as painted
    bool isWhole = false;  // in such a fill: the parts are those of all rows
  };
  using TileRow = std::vector<std::unique_ptr<Tile>>;

  bool IsRow(int y) const { return static_cast<DWORD>(y) < static_cast<DWORD>(height_); }
  static int BandOf(int y) { return (y & KXVOffscreen::kBlockMask) / kBandRows; }

  /// The tile of a pixel of the image, its row worked out.
  Tile& Find(int x, int y) {
    if (x >> KXVOffscreen::kBlockShift != column_ || y >> KXVOffscreen::kBlockShift != row_) {
      Switch(x, y);
    }
    if (!(tile_->known >> BandOf(y) & 1)) Load(*tile_, y);
    return *tile_;
  }
  void Switch(int x, int y);
  void SwitchTo(int x, int y);
  void Load(Tile& tile, int y);
  /// Puts two questions to the pixels of an image that stand for those of a band from `bit` on.
  static void Ask(KXVOffscreen& image, const RowTest& test, const KXPoint& at, int count, int rows,
                  int bit, BandBits& first, BandBits& second);
  void Forget();

  /// The words of a regular row that tell which pixels match.
  const u64* MatchesOf(const Row& row) const {
    return tests_.paintedMatches ? row.first : row.open;
  }

  /// The bits of a word that stand for the pixels behind one of the same row, from -1 on.
  static u64 Behind(int at) { return at < kWordBits - 1 ? ~u64{0} >> (at + 1) : 0; }

  /// Notes as painted those pixels of a word whose bits are set.
  void Paint(Tile& tile, int y, int word, u64 bits);
  void PaintedBits(const Tile& tile, int y, u64* bits) const;
  void Write(Tile& tile, int band);
  void WriteIfFull(Tile& tile, int y);
  int PaintLeft(int x, int y);

  /// Pixels side by side, from (x, y) to the right or downward, whose parts are to be reached.
  struct Border {
    int x, y, count;
    bool isColumn;
  };
  bool IsForParts();
  bool Reach(Border border);
  /// The rows whose parts are looked for together: of a band, or of a tile.
  struct Piece {
    int top, rows;
  };
  Piece WholeOf(const Tile& tile) const;
  Piece PieceOf(const Tile& tile, int band) const;
  static DWORD BandsOf(const Piece& piece);  // one for each band
  void MakeParts(Tile& tile, int band);
  void PushBeyond(Tile& tile, const Piece& piece, const Parts::Stretch& stretch);
  void Settle(Tile& tile, const Piece& piece);
  void SettleAll();
  void StartAgain();

  const Request& request_;
  const PlaneTests& tests_;
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
  i64 shortRuns_ = 0, mostShortRuns_;
  bool hasForgotten_ = false, hasOdd_ = false;
  // Of a fill by parts: where it goes on, and what it has painted in the bands that are settled.
  std::vector<Border> borders_;
  KXRect box_;  // inclusive at its right and bottom
  i64 count_ = 0;
};

inline bool Planes::Enter(int x, int y, int dy) {
  if (x >> KXVOffscreen::kBlockShift == column_ && static_cast<DWORD>(y - innerTop_) < innerRows_) {
    const DWORD regular = tile_->regular;
    if (regular >> BandOf(y - 1) & regular >> BandOf(y + 1) & 1) {
      here_ = &tile_->RowOf(y);
      ahead_ = dy;
      return true;
    }
  }
  here_ = nullptr;
  return IsRow(y);
}

// A pixel's bit in its word is number 63 - (x & 63), so that "left" is "higher".

inline Look Planes::PaintShort(const Span& parent, int x, ShortRun& run) {
  if (!here_ || x >> KXVOffscreen::kBlockShift != column_) return kFar;
  const int word = x >> 6 & 3, at = x & 63;
  const int last = parent.right - x + at;  // of the parent, counted from the word's begin
  const u64 beyond = Behind(last);
  const u64 open = here_->open[word];
  // The first pixel is looked at in an empty parent too.
  const u64 from = ~u64{0} >> at;
  const u64 found = MatchesOf(*here_)[word] & ((from & ~beyond) | kFirstBit >> at);
  if (!found) return last < kWordBits ? kNothing : kFar;
  const int first = std::countl_zero(found);
  const u64 after = ~open & ~u64{0} >> first;
  const int end = std::countl_zero(after);
  int start = first;
  // To the left goes a run that begins at the parent's left end alone.
  u64 before = 1;
  if (first == at && x == parent.left) {
    before = ~open & ~from;
    start = kWordBits - std::countr_zero(before);
  }
  // The run has to begin and end in the word.
  if (!after || !before || end == first) return kFar;
  const u64 bits = (~u64{0} >> start) & ~(~u64{0} >> end);
  here_->open[word] = open ^ bits;
  ++shortRuns_;
  run.start = x - at + start;
  run.end = x - at + end;
  run.isMoreToRight = end < last && ((found << end) != 0 || last >= kWordBits);
  const u64 behind = MatchesOf(here_[-ahead_])[word] & bits;
  run.goesAhead = (MatchesOf(here_[ahead_])[word] & bits) != 0;
  run.leaksLeft = (behind & ~from) != 0;
  run.leaksRight = (behind & beyond) != 0;
  return kPainted;
}

/// Runs the fill.
bool FillPlanes(const Request& request, Planes& planes, Outcome& outcome);

}  // namespace kxw::flood
