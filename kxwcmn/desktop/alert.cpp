#include "kxwcmn/core/alert.h"

#include "kxwcmn/core/string.h"
#include "kxwcmn/core/stringresource.h"
#include "kxwcmn/desktop/modaldialog.h"
#include "kxwcmn/platform/host.h"

namespace {

/// The style of the box, as the alert id packs it.
UINT StyleOf(UINT id) {
  static constexpr UINT kIcons[] = {kxw::kIconStop, kxw::kIconExclamation, kxw::kIconInformation,
                                    kxw::kIconQuestion};
  static constexpr UINT kButtons[] = {
      kxw::kButtonsOk,          kxw::kButtonsOkCancel, kxw::kButtonsYesNo, kxw::kButtonsYesNoCancel,
      kxw::kButtonsYesNoCancel, kxw::kButtonsOk,       kxw::kButtonsOk,    kxw::kButtonsOk};
  return kIcons[id >> 30] | kButtons[(id >> 27) & 7];
}

/// The application's windows are disabled while it lives.
struct ModalScope {
  ModalScope() { kxwModalDlgInitialize(nullptr, 0); }
  ~ModalScope() {
    try {
      kxwModalDlgDestroy(nullptr);
    } catch (...) {  // nothing leaves a destructor
    }
  }
  ModalScope(const ModalScope&) = delete;
  ModalScope& operator=(const ModalScope&) = delete;
};

}  // namespace

int KXAlert::doAlert(HWND owner) {
  if (id_ == 0) return -1;
  KXString title, text;
  GetTitleText(title);
  GetAlertMessage(text);
  const UINT style = isErrorCode_ ? UINT{kxw::kIconExclamation} : StyleOf(id_);
  int button = 0;
  {
    const ModalScope modal;
    button = kxw::ShowMessage(owner ? owner : kxwGetMainWnd(), text, title, style);
  }
  InitializeAlertID();
  return button;
}

int KXStringResource::doAlert(HWND owner, UINT alertId, int code, const char* s1, const char* s2,
                              const char* s3, const char* s4, const char* s5) {
  KXAlert alert;
  alert.SetAlertID(alertId, code, s1, s2, s3, s4, s5);
  return alert.doAlert(owner);
}
