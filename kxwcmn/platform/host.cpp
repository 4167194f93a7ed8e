#include "kxwcmn/platform/host.h"

#include <cstdio>

#include "kxwcmn/platform/text.h"

namespace kxw {

namespace {

// Never destroyed: destructors of static objects may still ask.
HostProcedures& Procedures() {
  static HostProcedures& procedures = *new HostProcedures;
  return procedures;
}

HWND mainWindow = nullptr;
HWND clientWindow = nullptr;

/// The text for standard error, which is UTF-8.
std::string Printable(const char* text) {
  std::string result = text;
  ToUtf8(result, &result);
  return result;
}

}  // namespace

void SetHostProcedures(const HostProcedures& procedures) { Procedures() = procedures; }

const HostProcedures& GetHostProcedures() { return Procedures(); }

int ShowMessage(HWND owner, const char* text, const char* title, UINT style) {
  if (const auto& box = GetHostProcedures().messageBox) return box(owner, text, title, style);
  std::fprintf(stderr, "%s: %s\n", Printable(title).c_str(), Printable(text).c_str());
  const UINT buttons = style & 15;
  return buttons == kButtonsYesNo || buttons == kButtonsYesNoCancel ? kButtonYes : kButtonOk;
}

}  // namespace kxw

int qmAbort() {
  const auto& abort = kxw::GetHostProcedures().abort;
  return abort ? abort() : 0;
}

void kxwSetMainWnd(HWND main, HWND client) {
  kxw::mainWindow = main;
  kxw::clientWindow = client;
}

HWND kxwGetMainWnd() { return kxw::mainWindow; }

HWND kxwGetClientWnd() { return kxw::clientWindow; }

int kxwIsMDIChildWnd(HWND window) {
  const auto& parent = kxw::GetHostProcedures().windows.parent;
  return kxw::clientWindow && parent && parent(window) == kxw::clientWindow;
}
