#include "kxwcmn/core/exception.h"

#include <cstdio>

namespace {

// Every failure names this one site.
constexpr char kRaisingFile[] = "kxexception";
constexpr int kLineOfCode = 203;
constexpr int kLineOfAlert = 209;

}  // namespace

KXException::KXException() : file_{}, line_(0), code_(0) {}

KXException::KXException(const char* file, int line, int code, UINT alertId, const char* s1,
                         const char* s2, const char* s3, const char* s4, const char* s5)
    : line_(line), code_(code) {
  std::snprintf(file_, sizeof file_, "%s", file ? file : "");
  alert_.SetAlertID(alertId, code, s1, s2, s3, s4, s5);
}

KXException::KXException(int code, UINT alertId, const char* s1, const char* s2, const char* s3,
                         const char* s4, const char* s5)
    : KXException("", 0, code, alertId, s1, s2, s3, s4, s5) {}

KXException::KXException(const char* file, int line, int code, KXAlert& alert)
    : line_(line), code_(code), alert_(alert) {
  std::snprintf(file_, sizeof file_, "%s", file ? file : "");
}

KXException::KXException(int code, KXAlert& alert) : KXException("", 0, code, alert) {}

KXException::~KXException() = default;

void kxThrowError(int code, UINT alertId, const char* s1, const char* s2, const char* s3,
                  const char* s4, const char* s5) {
  throw KXException(kRaisingFile, kLineOfCode, code, alertId, s1, s2, s3, s4, s5);
}

void kxThrowError(int code, KXAlert& alert) {
  throw KXException(kRaisingFile, kLineOfAlert, code, alert);
}
