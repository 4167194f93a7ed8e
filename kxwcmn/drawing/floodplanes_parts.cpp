#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>

#include "kxwcmn/drawing/floodplanes_internal.h"

// The fill by parts: no part waits that was reached, and none is reached twice.
namespace kxw::flood {

namespace {

constexpr i64 BlocksOf(int first, int last) {
  return (last >> KXVOffscreen::kBlockShift) - (first >> KXVOffscreen::kBlockShift) + 1;
}

/// Whether a row has bits in the columns of a stretch.
bool HasBits(const u64* row, const Parts::Stretch& stretch) {
  const int first = stretch.first >> 6, last = stretch.last >> 6;
  u64 bits = 0;
  for (int k = first; k <= last; ++k) {
    u64 word = row[k];
    if (k == first) word &= ~u64{0} >> (stretch.first & 63);
    if (k == last) word &= ~u64{0} << (~stretch.last & 63);
    bits |= word;
  }
  return bits != 0;
}

}  // namespace

/// Whether the fill can begin again by parts. It is asked once.
bool Planes::IsForParts() {
  mostShortRuns_ = std::numeric_limits<i64>::max();
  if (hasForgotten_ || hasOdd_) return false;
  // Under a seed in the clip's last row, or from one outside it, single runs are painted.
  const int y = request_.seed.y;
  if (!request_.IsRowInClip(y)) return false;
  if (!request_.IsRowInClip(y + 1) && (IsRow(y + 1) || !request_.IsRowInClip(y - 1))) return false;
  // A fill that may have to begin again forgets nothing.
  const i64 tiles = BlocksOf(request_.left, request_.right) *
                    BlocksOf(std::max(request_.top, 0), std::min(request_.bottom, height_ - 1));
  return !tests_.mayBeOdd || tiles < static_cast<i64>(mostTiles_);
}

bool Planes::FillByParts(Outcome& outcome) {
  KXAbort abort(1);
  const KXPoint seed = request_.seed;
  StartAgain();
  box_ = KXRect(seed.x, seed.y, seed.x, seed.y);
  borders_.push_back({seed.x, seed.y, 1, false});
  // Where the seed itself does not match, the pixel below it may.
  if (IsRow(seed.y + 1)) borders_.push_back({seed.x, seed.y + 1, 1, false});
  while (!borders_.empty()) {
    if (request_.abortable) abort.CheckAbort();
    const Border border = borders_.back();
    borders_.pop_back();
    if (!Reach(border)) {
      StartAgain();
      return false;
    }
  }
  SettleAll();
  outcome = {KXRect(box_.left, box_.top, box_.right + 1, box_.bottom + 1), count_};
  return true;
}

/// Reaches what is connected to a border. Returns false if a band is odd.
bool Planes::Reach(Border border) {
  for (;;) {
    // Nothing has been reached of what waits, so that it is still there after all was forgotten.
    Tile& tile = Find(border.x, border.y);
    const int band = BandOf(border.y);
    if (!(tile.regular >> band & 1)) return false;
    if (!tile.isWhole && !tile.parts[band] && !(tile.settled >> band & 1)) MakeParts(tile, band);
    const Piece piece = PieceOf(tile, band);
    const int end = piece.top + piece.rows;
    const int count = border.isColumn ? std::min(border.count, end - border.y) : border.count;
    if (Parts* const parts = tile.parts[BandOf(piece.top)].get()) {
      const int column = border.x & KXVOffscreen::kBlockMask, row = border.y - piece.top;
      const auto leave = [&](const Parts::Stretch& at) { PushBeyond(tile, piece, at); };
      if (border.isColumn) {
        parts->ReachColumn(column, row, count, leave);
      } else {
        parts->ReachRow(column, row, count, leave);
      }
      if (parts->AreAllReached()) {
        Settle(tile, piece);
        for (int y = piece.top; y < end; y += kBandRows) {
          if (!(tile.written >> BandOf(y) & 1)) Write(tile, BandOf(y));
        }
        tile.written |= BandsOf(piece);
      }
    }
    // A column may go on beside more than one piece.
    if (!border.isColumn || count == border.count) return true;
    border.y += count;
    border.count -= count;
  }
}

Planes::Piece Planes::WholeOf(const Tile& tile) const {
  const int rows = std::min<int>(KXVOffscreen::kBlockSize, height_ - tile.top);
  return {tile.top, (rows + kBandRows - 1) & ~(kBandRows - 1)};
}

Planes::Piece Planes::PieceOf(const Tile& tile, int band) const {
  return tile.isWhole ? WholeOf(tile) : Piece{tile.top + band * kBandRows, kBandRows};
}

DWORD Planes::BandsOf(const Piece& piece) {
  return ((DWORD{1} << piece.rows / kBandRows) - 1) << BandOf(piece.top);
}

/// Looks for the parts of a band that has none yet: alone or, where it has many runs and the fill
/// is new to the tile, with those of the tile's other bands. A fill comes into a tile of narrow
/// ways again and again, and has the less to do there the longer the pieces of the ways are.
void Planes::MakeParts(Tile& tile, int band) {
  const auto make = [&](const Piece& piece) {
    RowBits open[KXVOffscreen::kBlockSize];
    for (int i = 0; i < piece.rows; ++i) {
      const int y = piece.top + i;
      const bool isInClip = request_.IsRowInClip(y);
      for (int k = 0; k < kRowWords; ++k) open[i][k] = isInClip ? tile.RowOf(y).open[k] : 0;
    }
    tile.parts[BandOf(piece.top)] = std::make_unique<Parts>(open, piece.rows);
  };
  const bool isNew =
      !tile.settled && !std::any_of(std::begin(tile.parts), std::end(tile.parts),
                                    [](const auto& parts) { return parts != nullptr; });
  make(PieceOf(tile, band));
  if (!isNew || tile.parts[band]->Runs() < kManyRuns) return;
  const Piece whole = WholeOf(tile);
  for (int y = whole.top; y < whole.top + whole.rows; y += kBandRows) {
    if (!(tile.known >> BandOf(y) & 1)) Load(tile, y);
  }
  if (tile.regular != BandsOf(whole)) return;
  tile.isWhole = true;
  tile.parts[band].reset();
  make(whole);
}

/// Notes the pixels beyond a stretch of a piece, if they may be painted.
void Planes::PushBeyond(Tile& tile, const Piece& piece, const Parts::Stretch& stretch) {
  const int count = stretch.last - stretch.first + 1;
  if (stretch.side == Parts::Side::kAbove || stretch.side == Parts::Side::kBelow) {
    const int x = tile.left + stretch.first;
    const int y = stretch.side == Parts::Side::kAbove ? piece.top - 1 : piece.top + piece.rows;
    if (!IsRow(y) || !request_.IsRowInClip(y)) return;
    const bool isInTile = y >> KXVOffscreen::kBlockShift == row_;
    if (isInTile && tile.regular >> BandOf(y) & 1 && !HasBits(tile.RowOf(y).open, stretch)) return;
    borders_.push_back({x, y, count, false});
  } else {
    const bool isLeft = stretch.side == Parts::Side::kLeft;
    const int x = isLeft ? tile.left - 1 : tile.left + KXVOffscreen::kBlockSize;
    if (x < request_.left || x > request_.right) return;
    borders_.push_back({x, piece.top + stretch.first, count, true});
  }
}

/// Notes what was reached of a piece as painted.
void Planes::Settle(Tile& tile, const Piece& piece) {
  std::unique_ptr<Parts>& parts = tile.parts[BandOf(piece.top)];
  u64 columns[kRowWords] = {};
  for (int i = 0; i < piece.rows; ++i) {
    u64 bits[kRowWords], any = 0;
    parts->GetReached(i, bits);
    u64* const open = tile.RowOf(piece.top + i).open;
    for (int k = 0; k < kRowWords; ++k) {
      open[k] &= ~bits[k];
      columns[k] |= bits[k];
      any |= bits[k];
      count_ += std::popcount(bits[k]);
    }
    if (!any) continue;
    box_.top = std::min<int>(box_.top, piece.top + i);
    box_.bottom = std::max<int>(box_.bottom, piece.top + i);
  }
  for (int k = 0; k < kRowWords; ++k) {
    if (!columns[k]) continue;
    const int left = tile.left + k * kWordBits;
    box_.left = std::min<int>(box_.left, left + std::countl_zero(columns[k]));
    box_.right = std::max<int>(box_.right, left + 63 - std::countr_zero(columns[k]));
  }
  parts.reset();
  tile.settled |= BandsOf(piece);
}

void Planes::SettleAll() {
  for (Tile* tile : made_) {
    for (int band = 0; band < kBands; ++band) {
      if (tile->parts[band]) Settle(*tile, PieceOf(*tile, band));
    }
  }
}

/// Takes all back but what is in the image already: a fill by runs paints that, too.
void Planes::StartAgain() {
  borders_.clear();
  for (Tile* tile : made_) {
    for (int band = 0; band < kBands; ++band) {
      tile->parts[band].reset();
      if (!(tile->regular >> band & 1)) continue;
      for (int i = 0; i < kBandRows; ++i) {
        Row& row = tile->rows[band * kBandRows + i];
        std::memcpy(row.open, row.first, sizeof row.open);
      }
    }
    tile->isWhole = false;
    tile->settled = 0;
  }
}

}  // namespace kxw::flood
