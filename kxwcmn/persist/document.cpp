#include "kxwcmn/persist/document.h"

#include <limits>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/filepath_internal.h"
#include "kxwcmn/persist/archivefile.h"
#include "kxwcmn/platform/file.h"
#include "kxwcmn/platform/filereplacement.h"

namespace {

constexpr UINT kCache = 512000;
constexpr int kNoDialog = 2;

}  // namespace

KXDocument::KXDocument(UINT creator, UINT type, WORD version)
    : version_(version), serializeVersion_(version), creator_(creator), fileType_(type) {}

KXDocument::KXDocument(const KXDocument& other) { KXDocument::CopyMembers(other); }

KXDocument& KXDocument::operator=(const KXDocument& other) {
  if (this != &other) CopyMembers(other);
  return *this;
}

KXDocument::~KXDocument() = default;

void KXDocument::CopyMembers(const KXDocument& other) {
  newName_ = other.newName_;
  path_ = other.path_;
  modifyCount_ = other.modifyCount_;
  creator_ = other.creator_;
  fileType_ = other.fileType_;
  version_ = other.version_;
  serializeVersion_ = other.serializeVersion_;
  isSerializeVersionSet_ = other.isSerializeVersionSet_;
  isReadOnly_ = other.isReadOnly_;
  saveMode_ = other.saveMode_;
}

// --- State ---------------------------------------------------------------------------------------

WORD KXDocument::GetSerializeVersion() const { return serializeVersion_; }

void KXDocument::SetSerializeVersion(WORD version) {
  serializeVersion_ = version;
  isSerializeVersionSet_ = 1;
}

void KXDocument::ClearSerializeVersion() {
  serializeVersion_ = version_;
  isSerializeVersionSet_ = 0;
}

WORD KXDocument::GetSaveMode() const { return saveMode_; }
void KXDocument::SetSaveMode(WORD mode) { saveMode_ = mode; }
int KXDocument::IsSaveAs() const { return (saveMode_ & (kSaveAs | kCopySave)) != 0; }
int KXDocument::IsCopySave() const { return (saveMode_ & kCopySave) != 0; }

int KXDocument::IsReadOnly() const {
  if (IsNewDocument()) return 0;
  return isReadOnly_ || path_.GetReadOnly();
}
void KXDocument::SetReadOnly(int readOnly) { isReadOnly_ = readOnly; }
int KXDocument::IsNewDocument() const { return path_.IsEmpty(); }

void KXDocument::PushBackup() {
  backupPath_ = path_;
  backupModifyCount_ = modifyCount_;
}

void KXDocument::PopBackup() {
  path_ = backupPath_;
  modifyCount_ = backupModifyCount_;
}

UINT KXDocument::GetEndianMode(int /*loading*/) const { return kxw::kArchiveLittleEndian; }

int KXDocument::IsModified() const { return modifyCount_ > 0; }
void KXDocument::InitModify() { modifyCount_ = 0; }
void KXDocument::PushModify() {
  if (modifyCount_ < std::numeric_limits<LONG>::max()) ++modifyCount_;
}
void KXDocument::PopModify() {
  if (modifyCount_ != 0) --modifyCount_;
}

int KXDocument::GetDocumentFilePath(KXFilePath& path) const {
  if (path_.IsEmpty()) return 0;
  path = path_;
  return 1;
}

int KXDocument::GetDocumentFileName(KXString& name) const {
  if (path_.IsEmpty()) return 0;
  path_.GetFileName(name);
  return 1;
}

int KXDocument::GetNewDocumentName(KXString& name) const {
  if (!IsNewDocument()) return 0;
  name = newName_;
  return 1;
}

void KXDocument::SetNewDocumentName(const char* name) {
  newName_ = name;
  path_.Empty();
}

int KXDocument::FileOpenDialog(KXFilePath& /*path*/) { return kNoDialog; }
int KXDocument::FileSaveDialog(KXFilePath& /*path*/, int /*copy*/) { return kNoDialog; }

// --- Files ---------------------------------------------------------------------------------------

void KXDocument::Serialize(KXArchive& /*archive*/) {}

void KXDocument::ReadVersionInfo(KXArchive& archive) {
  UINT type = 0;
  WORD version = 0;
  archive >> type;
  if (type != fileType_) kxThrowError(kxw::kFailureBadFormat);
  archive >> version;
  if (version >> 8 > version_ >> 8) kxThrowError(kxw::kFailureWrongVersion);
  serializeVersion_ = version;
}

void KXDocument::WriteVersionInfo(KXArchive& archive) {
  const WORD version = isSerializeVersionSet_ ? serializeVersion_ : version_;
  archive << fileType_ << version;
  serializeVersion_ = version;
}

int KXDocument::OnNewDocument() {
  InitModify();
  path_.Empty();
  return 1;
}

int KXDocument::OnOpenDocument(KXFilePath& path) {
  path_ = path;
  KXArchiveFile archive(GetEndianMode(1) | kxw::kArchiveLoad, kCache);
  archive.FileOpen(path_, static_cast<int>(kxw::kFileRead), kxw::kShareRead, kxw::kOpenExisting, 0);
  Serialize(archive);
  archive.FileClose();
  InitModify();
  return 1;
}

int KXDocument::OnSaveDocument(KXFilePath* path) {
  if (path) {
    PushBackup();
    path_ = *path;
    SetSaveMode(GetSaveMode() | kSaveAs);
  }
  try {
    WriteFile();
  } catch (...) {
    if (path) PopBackup();
    EndSave();
    throw;
  }
  if (IsCopySave()) {
    PopBackup();  // also what the application pushed itself, if no path was given: kept so
  } else {
    InitModify();
  }
  EndSave();
  return 1;
}

void KXDocument::WriteFile() {
  if (path_.IsEmpty()) kxThrowError(kxw::kFailureBadArgument);
  const KXFilePath target = path_;  // whatever Serialize does to the document
  kxw::FileReplacement save;
  kxw::RaiseIfFailed(save.Begin(target, "kxd"));
  save.KeepTemporary();
  KXArchiveFile archive(GetEndianMode(0) | kxw::kArchiveStore, kCache);
  archive.FileCreate(save.Path(), creator_, fileType_, kxw::kFileWrite, kxw::kShareWrite,
                     kxw::kCreateAlways, 0);
  Serialize(archive);
  archive.DoFlush();
  archive.FileClose();
  kxw::RaiseIfFailed(save.Commit());
}

void KXDocument::EndSave() {
  SetSaveMode(0);
  ClearSerializeVersion();
}
