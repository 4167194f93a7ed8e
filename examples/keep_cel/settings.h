#pragma once

#include "kxwcmn/kxwcmn.h"

namespace keepcel {

/// What the program keeps from one run to the next: what it was doing, in a preference file, and
/// how its window is laid out, in a key, of which each part of a program can have its own. What
/// another program keeps in either stays there.
struct Settings {
  int runs = 0;
  KXString lastCel;  ///< Path of the document saved last.
  KXNumber nextCel{_QMNUMBER{12, "A"}};
  KXRect window{100, 80, 1380, 880};
  KXLength grid{5, kxw::kLengthMillimetres};

  /// Where they lie in a folder.
  static KXFilePath FileIn(const KXFilePath& folder);
  static constexpr char kKey[] = "keys\\keep_cel:window";

  /// Takes those that are there; the others stay as they are. Raises KXException where what is
  /// there cannot be read.
  void Load(const KXFilePath& folder);
  /// Raises KXException; what was kept before is whole then.
  void Save(const KXFilePath& folder) const;
};

}  // namespace keepcel
