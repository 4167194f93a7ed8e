#include "kxwcmn/core/alert.h"

#include <algorithm>
#include <cstring>

#include "kxwcmn/core/exception.h"

namespace {
constexpr UINT kTakeCode = 0xFFFFFFFFu;
}

KXAlert::KXAlert() = default;

KXAlert::~KXAlert() = default;

const char* KXAlert::GetInsert(int index) const {
  return index >= 0 && index < 5 ? inserts_[index] : "";
}

void KXAlert::SetAlertID(UINT alertId, int code, const char* s1, const char* s2, const char* s3,
                         const char* s4, const char* s5) {
  if (code == kxw::kFailureAborted) {
    InitializeAlertID();
    return;
  }
  isErrorCode_ = alertId == kTakeCode;
  id_ = isErrorCode_ ? static_cast<UINT>(code) : alertId;
  const char* texts[5] = {s1, s2, s3, s4, s5};
  for (int i = 0; i < 5; ++i) {
    const char* text = texts[i] ? texts[i] : "";
    const std::size_t length = std::min(std::strlen(text), sizeof inserts_[i] - 1);
    std::memmove(inserts_[i], text, length);  // an insert of this very alert may be its own text
    inserts_[i][length] = 0;
  }
}

void KXAlert::InitializeAlertID() {
  id_ = 0;
  isErrorCode_ = 0;
  std::memset(inserts_, 0, sizeof inserts_);
}
