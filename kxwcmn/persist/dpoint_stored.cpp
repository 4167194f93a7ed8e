#include "kxwcmn/core/dpoint.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/filepath_internal.h"
#include "kxwcmn/persist/archivefile.h"
#include "kxwcmn/persist/streams_internal.h"
#include "kxwcmn/platform/file.h"
#include "kxwcmn/platform/filereplacement.h"

namespace {

constexpr DWORD kTag = 0x57445046;  // the mark of a file of points, and its type
constexpr UINT kCache = 512000;     // bytes

}  // namespace

void KXDPoint::Serialize(KXArchive& archive, int withTag) {
  if (archive.IsSaving()) {
    if (withTag) archive << kTag;
    archive << count_;
    for (int i = 0; i < count_; ++i) archive << points_[i].x << points_[i].y;
    archive << angle_;
    return;
  }
  if (withTag) {
    DWORD tag = 0;
    archive >> tag;
    if (tag != kTag) kxThrowError(kxw::kFailureBadFormat);
  }
  RemovePoint(kAll);
  int count = 0;
  archive >> count;
  for (int i = 0; i < count; ++i) {
    if (count_ == kCapacity) {
      BYTE surplus[sizeof(tagPOINTD)];
      kxw::ReadAll(archive, surplus, sizeof surplus);
      continue;
    }
    tagPOINTD point{};
    archive >> point.x >> point.y;
    AddPoint(point);
  }
  archive >> angle_;
}

void KXDPoint::SerializeEx(KXArchive& archive) {
  archive.BeginSection();
  if (archive.IsSaving()) {
    archive << opacity_ << color_;
  } else {
    archive >> opacity_ >> color_;
  }
  archive.EndSection();
}

void KXDPoint::Save(const KXFilePath& path, DWORD creator) {
  kxw::FileReplacement save;
  kxw::RaiseIfFailed(save.Begin(path, "kxp"));
  KXArchiveFile archive(kxw::kArchiveStore | kxw::kArchiveBigEndian, kCache);
  archive.FileCreate(save.Path(), creator, kTag, kxw::kFileWrite, kxw::kShareWrite,
                     kxw::kCreateAlways, 0);
  Serialize(archive, 1);
  SerializeEx(archive);
  archive.DoFlush();
  archive.FileClose();
  kxw::RaiseIfFailed(save.Commit());
}

void KXDPoint::Open(const KXFilePath& path) {
  KXArchiveFile archive(kxw::kArchiveLoad | kxw::kArchiveBigEndian, kCache);
  archive.FileOpen(path, static_cast<int>(kxw::kFileRead), kxw::kShareRead, kxw::kOpenExisting, 0);
  Serialize(archive, 1);
  if (archive.GetPosition() == static_cast<UINT>(archive.GetLength())) {
    opacity_ = kDefaultOpacity;
    color_ = kDefaultColor;
  } else {
    SerializeEx(archive);
  }
}
