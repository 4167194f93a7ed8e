#include "kxwcmn/desktop/modaldialog.h"

#include "kxwcmn/platform/host.h"

namespace {

constexpr int kParameterIndex = 8;

int modalCount = 0;

const kxw::WindowProcedures& Windows() { return kxw::GetHostProcedures().windows; }

/// Calls `act` for every window that belongs to the main one, `except` excepted.
template <class Act>
void ForEachOwnedWindow(HWND except, Act act) {
  const HWND main = kxwGetMainWnd();
  if (!main || !Windows().windowsOfThread || !Windows().parent) return;
  for (const HWND window : Windows().windowsOfThread(main)) {
    if (window != except && Windows().parent(window) == main) act(window);
  }
}

/// Where a length of `size` begins that is centred on the middle of `from`..`to`, pulled back into
/// `low`..`high`. What is longer than that begins at `low`.
int Centred(int size, int from, int to, int low, int high) {
  i64 begin = (i64{from} + to) / 2 - size / 2;
  if (begin + size > high) begin = i64{high} - size;
  return static_cast<int>(begin < low ? low : begin);
}

void Centre(HWND window) {
  const kxw::WindowProcedures& windows = Windows();
  if (!windows.frame || !windows.parent || !windows.isChild || !windows.setPosition) return;
  const HWND parent = windows.parent(window);
  tagRECT around, bounds;
  if (windows.isChild(window)) {
    if (!parent || !windows.clientArea) return;
    around = windows.clientArea(parent);
    bounds = around = {0, 0, around.right - around.left, around.bottom - around.top};
  } else {
    if (!windows.workArea) return;
    const bool isOwnerOpen = parent && windows.isOpen && windows.isOpen(parent);
    bounds = windows.workArea(isOwnerOpen ? parent : kxwGetMainWnd());
    around = isOwnerOpen ? windows.frame(parent) : bounds;
  }
  const tagRECT frame = windows.frame(window);
  const int x =
      Centred(frame.right - frame.left, around.left, around.right, bounds.left, bounds.right);
  const int y =
      Centred(frame.bottom - frame.top, around.top, around.bottom, bounds.top, bounds.bottom);
  windows.setPosition(window, x, y, kxw::kKeepSize | kxw::kKeepOrder | kxw::kNotActivated);
}

}  // namespace

void kxwModalDlgInitialize(HWND window, long parameter) {
  if (modalCount == 0 && Windows().enable) {
    ForEachOwnedWindow(window, [](HWND owned) { Windows().enable(owned, false); });
  }
  ++modalCount;
  if (!window) return;
  if (parameter != 0 && Windows().setLong) Windows().setLong(window, kParameterIndex, parameter);
  Centre(window);
}

void kxwModalDlgDestroy(HWND window) {
  if (modalCount-- != 1) return;
  ForEachOwnedWindow(window, [](HWND owned) {
    if (Windows().enable) Windows().enable(owned, true);
    if (Windows().send) Windows().send(owned, kxw::kMessageFrameActivate, 1, 0);
  });
}

int kxwIsModalDlgVisible() { return modalCount > 0; }

void kxwIncrementShowDlgCount(int up) { modalCount += up ? 1 : -1; }
