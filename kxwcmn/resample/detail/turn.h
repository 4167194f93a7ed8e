#pragma once

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/types.h"

/// Quarter turns and mirrors of pieces that lie in one block of the source and one of the result.
namespace kxw {

enum class Turn { kLeft, kRight, kMirrorX, kMirrorY };

/// A piece of the result, and the pixel of the source that becomes its top left one. Columns and
/// rows count within the blocks.
struct TurnPiece {
  BYTE* to;
  int column, row, width, height;
  const BYTE* from;
  int fromColumn, fromRow;
};

/// Turns a piece. Pixels move as they are read and written, which at 2 bits makes 0 of an undefined
/// 1.
using TurnFunc = void (*)(const TurnPiece& piece);

/// Null for a depth that is none.
TurnFunc FindTurn(int bits, Turn turn);

}  // namespace kxw
