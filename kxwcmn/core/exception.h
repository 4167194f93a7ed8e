#pragma once

#include "kxwcmn/core/alert.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// The one failure of the library, thrown by value.
///
/// The file name and line are those of the library's one raising site: they say nothing about the
/// operation that failed.
class KX_EXPORT KXException {
 public:
  KXException();
  KXException(const char* file, int line, int code, UINT alertId, const char* s1, const char* s2,
              const char* s3, const char* s4, const char* s5);
  KXException(int code, UINT alertId, const char* s1, const char* s2, const char* s3,
              const char* s4, const char* s5);
  KXException(const char* file, int line, int code, KXAlert& alert);
  KXException(int code, KXAlert& alert);
  KXException(const KXException&) = default;
  KXException& operator=(const KXException&) = default;
  virtual ~KXException();

  const char* GetFile() const { return file_; }
  int GetLine() const { return line_; }
  int GetErrorCode() const { return code_; }
  operator int() const { return code_; }

  KXAlert& GetAlert() { return alert_; }

  /// As the alert's.
  void GetAlertMessage(KXString& message) const { alert_.GetAlertMessage(message); }
  int doAlert(HWND owner) { return alert_.doAlert(owner); }

 private:
  char file_[260];
  int line_;
  int code_;
  KXAlert alert_;
};

/// Raises a KXException. An `alertId` of -1 makes the alert carry the code itself.
[[noreturn]] KX_EXPORT void kxThrowError(int code, UINT alertId = 0xFFFFFFFFu, const char* s1 = "",
                                         const char* s2 = "", const char* s3 = "",
                                         const char* s4 = "", const char* s5 = "");
[[noreturn]] KX_EXPORT void kxThrowError(int code, KXAlert& alert);

/// The library's own failure codes that it raises itself.
namespace kxw {
enum FailureCode : int {
  kFailureAborted = 0x20010004,
  kFailureBadArgument = 0x20010008,
  kFailureNoTime = 0x20010009,
  kFailureExists = 0x2001000A,
  kFailureBadFormat = 0x2001000B,
  kFailureWrongVersion = 0x2001000C,
  kFailureNoSwapSpace = 0x200132C8,
  kFailureNoSwapName = 0x200132C9,
};
}  // namespace kxw
