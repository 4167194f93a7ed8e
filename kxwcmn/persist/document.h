#pragma once

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXArchive;

/// The base of an application's saved objects: the file that a document has, its name while it is
/// new, whether it was changed, and the file type and version at the head of the file. A derived
/// class supplies `Serialize`, which first calls `ReadVersionInfo` or `WriteVersionInfo` and then
/// reads or writes what is its own.
///
/// A save goes to a temporary file beside the target, which takes the target's place when it is
/// complete: whatever fails or crashes meanwhile, the old document is there.
class KX_EXPORT KXDocument {
 public:
  KXDocument() : KXDocument(0, 0, 0x0100) {}
  /// `creator` and `type` are four-character codes; the type stands at the head of the file. Of
  /// `version`, the one that this code writes, the high byte is the major number.
  KXDocument(UINT creator, UINT type, WORD version);
  KXDocument(const KXDocument& other);
  KXDocument& operator=(const KXDocument& other);
  virtual ~KXDocument();

  WORD GetVersion() const { return version_; }
  /// The version of the stream at hand: of the file read last, or of the one to be written.
  virtual WORD GetSerializeVersion() const;
  /// Chooses the version that the next save writes, for an older format.
  virtual void SetSerializeVersion(WORD version);
  /// Goes back to the version of this code, as every save does at its end.
  virtual void ClearSerializeVersion();

  /// Bit 0 while a Save As runs; bit 1, to be set before a save, for a copy.
  virtual WORD GetSaveMode() const;
  virtual void SetSaveMode(WORD mode);
  virtual int IsSaveAs() const;
  virtual int IsCopySave() const;

  /// Whether the flag is set, or else the file may not be written to. A new document never is.
  virtual int IsReadOnly() const;
  virtual void SetReadOnly(int readOnly);

  /// Whether the document has no file yet.
  virtual int IsNewDocument() const;

  /// Keep the path and the modify count, and take back what was kept.
  virtual void PushBackup();
  virtual void PopBackup();

  /// The byte order of the file: 4 for little-endian, 8 for big-endian.
  virtual UINT GetEndianMode(int loading) const;

  /// The modify count: a change pushes, taking it back pops, and at 0 the document is as saved.
  virtual int IsModified() const;
  virtual void InitModify();
  virtual void PushModify();
  virtual void PopModify();

  /// Makes the document new and clean. Returns 1.
  virtual int OnNewDocument();
  /// Reads the document at `path`, which becomes its path, also if reading fails. Returns 1; raises
  /// what files, archives and `Serialize` raise.
  virtual int OnOpenDocument(KXFilePath& path);
  /// Saves at the document's path or, as a Save As, at `path`, which becomes the document's; a copy
  /// save leaves path and modify count as they were. Returns 1. A failure goes on to the caller
  /// with path and modify count as before; the temporary file stays, so that what is in it can be
  /// rescued, and the target is as it was. A read-only target raises 5 when the temporary file is
  /// complete; a document without any path raises 0x20010008.
  virtual int OnSaveDocument(KXFilePath* path);

  /// For derived classes with dialogs; these return 2.
  virtual int FileOpenDialog(KXFilePath& path);
  virtual int FileSaveDialog(KXFilePath& path, int copy);

  /// Reads or writes the document, by the archive's direction. Does nothing here.
  virtual void Serialize(KXArchive& archive);

  /// Reads the head: raises 0x2001000B for another file type, and 0x2001000C for a version of a
  /// newer major number. A newer minor one opens.
  virtual void ReadVersionInfo(KXArchive& archive);
  /// Writes the head, with the version that was chosen or that of this code.
  virtual void WriteVersionInfo(KXArchive& archive);

  UINT GetCreater() const { return creator_; }
  UINT GetFileType() const { return fileType_; }

  // These return 1 if there is such a text, else 0 with `path` or `name` as it was.

  int GetDocumentFilePath(KXFilePath& path) const;
  /// The last element of the path.
  int GetDocumentFileName(KXString& name) const;
  /// The name of a document while it is new.
  int GetNewDocumentName(KXString& name) const;

  void SetDocumentFilePath(const KXFilePath& path) { path_ = path; }
  /// Makes the document new, too.
  void SetNewDocumentName(const char* name);

 protected:
  /// Takes all but the backup; a derived class adds what is its own.
  virtual void CopyMembers(const KXDocument& other);

 private:
  enum SaveMode : WORD { kSaveAs = 1, kCopySave = 2 };

  void WriteFile();
  void EndSave();

  KXString newName_;
  KXFilePath path_;  // empty while the document is new
  LONG modifyCount_ = 0;
  int isReadOnly_ = 0;
  KXFilePath backupPath_;
  LONG backupModifyCount_ = 0;
  WORD version_;
  WORD serializeVersion_;
  int isSerializeVersionSet_ = 0;
  WORD saveMode_ = 0;
  UINT creator_;
  UINT fileType_;
};
