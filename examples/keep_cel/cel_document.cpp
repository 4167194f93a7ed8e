#include "keep_cel/cel_document.h"

#include <utility>

namespace keepcel {
namespace {

constexpr UINT kTypeInOtherOrder = 0x204C4543;
constexpr int kStoreLevel = 6;  // of the image's compression

/// Lets an archive go on in the byte order of its file, which the type at its front shows.
void TakeOrderOfFile(KXArchive& archive) {
  UINT type = 0;
  archive >> type;
  if (type == kTypeInOtherOrder) {
    const bool isBig = archive.GetEndianMode() == kxw::kArchiveBigEndian;
    archive.SetEndianMode(isBig ? kxw::kArchiveLittleEndian : kxw::kArchiveBigEndian);
  }
  archive.Seek(0, 0);
}

void WriteMatrix(KXArchive& archive, const KXMatrix2D& matrix) {
  for (int i = 0; i < 9; ++i) archive << matrix.At(i / 3, i % 3);
}

KXMatrix2D ReadMatrix(KXArchive& archive) {
  double m[9];
  for (double& element : m) archive >> element;
  return {m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8]};
}

}  // namespace

void CelDocument::Serialize(KXArchive& archive) {
  if (archive.IsLoading()) {
    Read(archive);
  } else {
    Write(archive);
  }
}

void CelDocument::Read(KXArchive& archive) {
  TakeOrderOfFile(archive);
  ReadVersionInfo(archive);
  Cel read;
  archive >> read.number >> read.frame;
  read.image.reset(KXVOffscreen::Read(archive));
  if (GetSerializeVersion() >= kVersionOfPegs) {
    read.pegs.Serialize(archive, 0);
    read.pegs.SerializeEx(archive);
    archive >> read.width;
  }
  if (GetSerializeVersion() >= kVersionOfPlacement) read.placement = ReadMatrix(archive);
  cel = std::move(read);
  order_ = archive.GetEndianMode();
}

void CelDocument::Write(KXArchive& archive) {
  WriteVersionInfo(archive);
  archive << cel.number << cel.frame;
  KXVOffscreen::Write(archive, cel.image.get(), kStoreLevel);
  if (GetSerializeVersion() >= kVersionOfPegs) {
    cel.pegs.Serialize(archive, 0);
    cel.pegs.SerializeEx(archive);
    archive << cel.width;
  }
  if (GetSerializeVersion() >= kVersionOfPlacement) WriteMatrix(archive, cel.placement);
}

void LaterCelDocument::Serialize(KXArchive& archive) {
  CelDocument::Serialize(archive);
  if (archive.IsSaving()) {
    archive << remark;
  } else if (GetSerializeVersion() >= GetVersion()) {
    archive >> remark;
  }
}

}  // namespace keepcel
