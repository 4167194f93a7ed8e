#include "kxwcmn/core/abort.h"

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/host.h"

KXAbort::Callback KXAbort::s_pAbort = nullptr;

void KXAbort::SetCallback(Callback callback) { s_pAbort = callback; }

int KXAbort::InternalAbort() {
  if (s_pAbort) return s_pAbort();
  return qmAbort() != 0;
}

int KXAbort::CheckAbort() {
  int answer;
  while ((answer = InternalAbort()) == 2) {
    const auto& dispatch = kxw::GetHostProcedures().dispatchMessages;
    if (!dispatch) continue;
    dispatch(kxw::kMessagePaint);
    dispatch(kxw::kMessageEraseBackground);
  }
  if (answer != 1) return 0;
  if (raiseOnAbort_) kxThrowError(kxw::kFailureAborted);
  return 1;
}
