#pragma once

#include "kxwcmn/core/array.h"
#include "kxwcmn/core/criticalsection.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/module.h"
#include "kxwcmn/platform/types.h"

/// Tables of the user interface's texts by number, 0 to 65534, loaded from texts of this form:
///
///     // a comment
///     12   "Open the file \\\"%s\\\"?\n"
///
/// A line holds a number, blanks, and a text between the first and the last double quote. In it
/// `\\`, `\n`, `\r` and `\t` stand for a backslash, a line feed, a carriage return and a tab; any
/// other backslash stands for itself. Other lines are passed over. Of texts with one number the
/// first counts: the first in a table, and the first of the tables.
class KX_EXPORT KXStringResource {
 public:
  KXStringResource();
  KXStringResource(const KXStringResource&) = delete;
  KXStringResource& operator=(const KXStringResource&) = delete;
  virtual ~KXStringResource();

  /// Add a table, behind those that are there. Return 1, or 0 if the resource or the file does not
  /// exist; a file that cannot be read raises KXException. The resource is not kept.
  int AddResource(HINSTANCE module, HRSRC resource);
  int AddTextFile(const KXFilePath& path);

  /// Finds a text. Returns 1, or 0 if there is none; `out` is emptied then if `id` is in range. The
  /// form with a buffer fills it with zeros and copies at most `size` bytes of the text, of which a
  /// longer one comes without a terminator.
  int LoadStringA(KXString& out, int id);
  int LoadStringA(char* out, int size, int id);

  /// Shows an alert at once; as `KXAlert`'s operations of these names. Written in room desktop.
  int doAlert(HWND owner, UINT alertId, int code = 0, const char* s1 = "", const char* s2 = "",
              const char* s3 = "", const char* s4 = "", const char* s5 = "");

 protected:
  /// Reads a whole file. Returns 0 if it does not exist.
  int LoadTextFile(const KXFilePath& path, KXString& text);
  /// Makes a table of a text of `size` bytes, which ends earlier at a zero.
  void CreateTextResource(const char* text, int size);
  /// Frees a table with its texts. Null does nothing.
  void FreeTextResource(char** table);

 private:
  const char* FindText(int id) const;

  KXTArray<char**> tables_;  // each of kTableSize pointers
  KXCriticalSection section_;
};

/// The one of the process.
KX_EXPORT KXStringResource& kxGetStringResource();
