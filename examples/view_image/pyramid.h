#pragma once

#include <vector>

#include "kxwcmn/kxwcmn.h"

namespace viewimage {

/// A picture and its reduced copies, each half as large as the one before, down to one block. A
/// copy is made block by block, when somebody asks for work to be done, so that nobody ever waits
/// for all of it; blocks of it that would hold nothing take no memory.
///
/// The copies are images of 32 bits that the picture's own manager pages. The picture may have any
/// depth; it is not owned, outlives the pyramid, and is not changed meanwhile.
class Pyramid {
 public:
  explicit Pyramid(KXVOffscreen& picture);

  /// How many copies there are; level 0 is the picture.
  int Levels() const { return static_cast<int>(copies_.size()); }
  KXVOffscreen& Level(int level) { return level == 0 ? picture_ : *copies_[At(level - 1)].image; }

  /// Whether a block can be shown. All of the picture's can.
  bool IsMade(int level, int column, int row);

  /// Makes one missing block that is needed for those of `level` that lie in `cells`, columns and
  /// rows. Returns false if none is missing. Raises what the library raises.
  bool MakeOne(int level, const KXRect& cells);
  /// Makes one missing block of any; false when all are made.
  bool MakeOne();

 private:
  struct Copy {
    KXVOffscreenPtr image;
    int columns, rows;
    std::vector<bool> made;
    std::size_t next = 0;  // all before it are made
  };

  static std::size_t At(int i) { return static_cast<std::size_t>(i); }
  std::vector<bool>::reference Made(int level, int column, int row);
  void MakeWithParts(int level, int column, int row);
  void Make(int level, int column, int row);

  KXVOffscreen& picture_;
  std::vector<Copy> copies_;
  KXVOffscreenPtr finer_;      // the four blocks that one is made of
  std::vector<DWORD> pixels_;  // of them
};

}  // namespace viewimage
