#pragma once

#include <string>

#include "common/image.h"
#include "kxwcmn/kxwcmn.h"

namespace keepcel {

/// A painted cel and what is needed to show it.
struct Cel {
  KXNumber number;  ///< Of the cel, as 12A.
  KXNumber frame;   ///< From which it is shown.
  examples::Offscreen image;
  KXDPoint pegs;  ///< The holes that hold it in place, in inches from its top left corner.
  KXLength width;
  KXMatrix2D placement;  ///< From inches of the cel to those of the stage.
};

/// A cel as a document. Its file has, in one of the two byte orders:
///
///     from version 1.0   the head that documents have, with the type "CEL "
///                        the numbers of the cel and the frame, 8 bytes each; the stored image
///     from version 1.1   the pegs, as points and the section of their looks; the width, 20 bytes
///     from version 1.2   the placement: 9 doubles, row by row
///
/// What a newer minor version adds lies behind that and is passed over. What an older one lacks
/// is as in a new cel.
class CelDocument : public KXDocument {
 public:
  static constexpr UINT kType = 0x43454C20;
  static constexpr WORD kVersion = 0x0102, kVersionOfPegs = 0x0101, kVersionOfPlacement = 0x0102;

  explicit CelDocument(WORD version = kVersion) : KXDocument(kType, kType, version) {}

  /// The order in which the document is saved, 4 little-endian or 8 big-endian. A document that is
  /// opened takes that of its file.
  void SetEndianMode(UINT order) { order_ = order; }
  UINT GetEndianMode(int /*loading*/) const override { return order_; }

  /// Raises what the parts of the cel raise; what is read replaces the cel when all of it is there.
  void Serialize(KXArchive& archive) override;

  Cel cel;

 private:
  void Read(KXArchive& archive);
  void Write(KXArchive& archive);

  UINT order_ = kxw::kArchiveBigEndian;
};

/// The same in a later program, which keeps a remark too.
class LaterCelDocument : public CelDocument {
 public:
  LaterCelDocument() : CelDocument(0x0103) {}
  void Serialize(KXArchive& archive) override;

  KXString remark;
};

}  // namespace keepcel
