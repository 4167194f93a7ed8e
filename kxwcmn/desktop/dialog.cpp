#include "kxwcmn/desktop/dialog.h"

#include <algorithm>
#include <vector>

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/desktop/hidpi.h"
#include "kxwcmn/platform/bytereader_internal.h"
#include "kxwcmn/platform/module.h"
#include "kxwcmn/platform/text.h"

namespace {

HFONT (*queryFont)() = nullptr;

/// Where the title begins, in bytes, in each form of a template; and the second word of one.
constexpr std::size_t kTitleAt = 22;
constexpr std::size_t kExtendedTitleAt = 30;
constexpr WORD kExtended = 0xFFFF;
constexpr int kLongestTitle = 256;

void UnscaleFont(std::vector<BYTE>& bytes) {
  const kxw::ByteReader words(bytes.data(), bytes.size());
  std::size_t at = words.U16(2) == kExtended ? kExtendedTitleAt : kTitleAt;
  for (int i = 0; i < kLongestTitle && at + 4 <= bytes.size(); ++i, at += 2) {
    if (words.U16(at) != 0) continue;
    const WORD points = kxwGetHiDpiHelper().ConvDialogFontPoint(words.U16(at + 2));
    bytes[at + 2] = static_cast<BYTE>(points);
    bytes[at + 3] = static_cast<BYTE>(points >> 8);
    return;
  }
}

/// Has `show` show the dialog of a request; false if there is no template for it.
template <class Show>
bool ShowDialog(kxw::DialogRequest request, Show show) {
  if (!kxwIsHDIgnoreUI()) {
    show(request);
    return true;
  }
  const auto& find = kxw::GetHostProcedures().dialogs.findTemplate;
  const HRSRC found = find ? find(request.module, request.name) : nullptr;
  if (!found || !found->data) return false;
  std::vector<BYTE> bytes = kxw::RaiseWithoutMemory([found] {
    const auto* first = static_cast<const BYTE*>(found->data);
    return std::vector<BYTE>(first, first + found->size);
  });
  UnscaleFont(bytes);
  request.bytes = bytes.data();
  request.size = bytes.size();
  show(request);
  return true;
}

bool HasMark(HWND window) {
  constexpr DWORD kCheckBox = 2, kAutoCheckBox = 3, kRadioButton = 4, kAutoRadioButton = 9;
  const kxw::WindowProcedures& windows = kxw::GetHostProcedures().windows;
  if (!windows.className || !windows.style) return false;
  if (kxw::CompareNoCase(windows.className(window).c_str(), "BUTTON") != 0) return false;
  const DWORD kind = windows.style(window) & 15;
  return kind == kCheckBox || kind == kAutoCheckBox || kind == kRadioButton ||
         kind == kAutoRadioButton;
}

void MakeRoomForMark(HWND button) {
  constexpr int kMark = 13;
  const kxw::WindowProcedures& windows = kxw::GetHostProcedures().windows;
  if (!windows.frame || !windows.parent || !windows.clientArea || !windows.setPlace) return;
  const HWND parent = windows.parent(button);
  if (!parent) return;
  const tagRECT area = windows.clientArea(parent);
  KXRect place(windows.frame(button));
  place.OffsetRect(kxw::IntGeometry::Sub(0, area.left), kxw::IntGeometry::Sub(0, area.top));
  place.right = kxw::IntGeometry::Add(place.right, kxwGetHiDpiHelper().ScaleXAround(kMark) - kMark);
  const int height = kxwGetHiDpiHelper().ScaleYAround(kMark);
  if (place.Height() >= 0 && place.Height() < height) {
    place.top = kxw::IntGeometry::Sub(place.top, (height - place.Height()) / 2);
    place.bottom = kxw::IntGeometry::Add(place.top, height);
  }
  windows.setPlace(button, place);
}

}  // namespace

std::intptr_t kxwDoModalDialog(HINSTANCE module, const char* name, HWND parent,
                               kxw::DialogProcedure procedure, long parameter) {
  std::intptr_t result = -1;
  const auto& run = kxw::GetHostProcedures().dialogs.runModal;
  if (!run) return result;
  ShowDialog({module, name, nullptr, 0, parent, procedure, parameter},
             [&](const kxw::DialogRequest& request) { result = run(request); });
  return result;
}

HWND kxwCreateModelessDialog(HINSTANCE module, const char* name, HWND parent,
                             kxw::DialogProcedure procedure, long parameter) {
  auto window = reinterpret_cast<HWND>(std::intptr_t{-1});
  const auto& create = kxw::GetHostProcedures().dialogs.createModeless;
  if (!create) return window;
  ShowDialog({module, name, nullptr, 0, parent, procedure, parameter},
             [&](const kxw::DialogRequest& request) { window = create(request); });
  return window;
}

void kxwSetQueryHDDialogUIFontProc(HFONT (*procedure)()) { queryFont = procedure; }

HFONT kxwQueryHDDialogUIFont() { return queryFont ? queryFont() : nullptr; }

void kxwDlgInitialize(HWND dialog) {
  const kxw::WindowProcedures& windows = kxw::GetHostProcedures().windows;
  if (!kxwIsHDIgnoreUI() || !windows.childrenOf) return;
  for (const HWND child : windows.childrenOf(dialog)) {
    const HFONT font = kxwQueryHDDialogUIFont();
    if (!font) continue;
    if (windows.send) {
      windows.send(child, kxw::kMessageSetFont, reinterpret_cast<std::uintptr_t>(font), 0);
    }
    if (HasMark(child)) MakeRoomForMark(child);
  }
}
