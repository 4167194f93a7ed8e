#pragma once

#include <string>

#include "kxwcmn/kxwcmn.h"

namespace smoothcel {

/// The pixels of a cel of 32 bits, as a device shows them.
void ToBitImage(KXOffscreen& cel, KXBitImage& image);

/// Writes an image of 32 bits as a PNG. Raises FileError.
void WriteBitImage(const KXBitImage& image, const std::string& path);

/// Pictures of cels at the zooms at which an artist looks at them, a row for each cel. From left to
/// right: the whole cel, by single pixels and by averages; pixel for pixel; and seven times
/// enlarged.
class Views {
 public:
  explicit Views(int cels);

  /// Adds a row for a cel of 32 bits. The two last pictures show what is around `middle`.
  void Add(const KXBitImage& cel, const KXPoint& middle);
  const KXBitImage& Image() const { return sheet_; }

 private:
  void AddPart(const KXBitImage& cel, const KXPoint& middle, int zoom, int column);

  KXBitImage sheet_;
  int row_ = 0;
};

}  // namespace smoothcel
