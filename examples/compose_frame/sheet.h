#pragma once

#include <string>
#include <vector>

#include "kxwcmn/kxwcmn.h"

namespace composeframe {

/// A contact sheet: pictures of one size side by side, row by row.
class Sheet {
 public:
  /// Pictures of `size` by `size` pixels, each square of `reduction` pixels averaged to one.
  Sheet(std::string path, int columns, int rows, int size, int reduction);

  /// Adds a 32-bit image, on white where it is transparent, and writes it beside the sheet as
  /// PATH_N_label.png. Raises FileError.
  void Add(const std::string& label, KXVOffscreen& image);
  /// The same with a part of the image, pixel for pixel, from `corner` on.
  void AddDetail(const std::string& label, KXVOffscreen& image, const KXPoint& corner);
  /// Writes the sheet. Raises FileError.
  void Finish();

 private:
  void AddPanel(const std::string& label, const std::vector<BYTE>& panel);

  std::string path_;
  int columns_, rows_, panel_, reduction_;
  int count_ = 0;
  std::vector<BYTE> pixels_;  // of the sheet, three bytes each
};

}  // namespace composeframe
