#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/filesystem.h"

/// One entry of a folder.
struct tagFindInfo {
  KXFilePath folder;
  std::string name;
  kxw::FileInfo file;
};

/// A walk over the entries of a folder, as they were when it began: in the byte order of their
/// names, "." and ".." among them. What has gone meanwhile is passed over. A copy walks on by
/// itself.
///
///     KXFindFile find;
///     for (int found = find.First(folder); found; found = find.Next()) Use(find.GetName());
class KX_EXPORT KXFindFile {
 public:
  KXFindFile();
  KXFindFile(const KXFindFile&) = default;
  KXFindFile& operator=(const KXFindFile&) = default;
  virtual ~KXFindFile();

  /// Steps to the first or the next entry. Returns 1, or 0 with the last error set: 18 behind the
  /// last entry.
  int First(const KXFilePath& folder);
  int Next();
  void Close();

  // Of the current entry; empty or 0 when there is none.
  const char* GetName() const { return info_.name.c_str(); }
  int IsFolder() const { return Has(kxw::kAttributeFolder); }
  int IsHidden() const { return Has(kxw::kAttributeHidden); }
  int IsReadOnly() const { return Has(kxw::kAttributeReadOnly); }
  /// Whether the entry is "." or "..".
  int IsParentFolder() const;
  void GetFilePath(KXFilePath& path) const;
  /// The folder that is walked.
  void GetParentFolderPath(KXFilePath& folder) const { folder = info_.folder; }

  static void SetupFileInfo(tagFindInfo& info) { info = tagFindInfo(); }
  /// Looks `path` up; returns 0, with `info` cleared, if there is nothing.
  static int GetFileInfo(const KXFilePath& path, tagFindInfo& info);
  static void SetFindInfos(tagFindInfo& info, const KXFilePath& folder, const char* name,
                           const kxw::FileInfo& file);

 private:
  int Has(DWORD attribute) const { return (info_.file.attributes & attribute) != 0; }

  tagFindInfo info_;
  std::vector<std::string> names_;
  std::size_t next_ = 0;
};
