#include "kxwcmn/desktop/theme.h"

#include <cstdlib>

#include "kxwcmn/platform/host.h"

namespace {

constexpr int kNotImplemented = -0x7FFFBFFF;  // 0x80004001

const kxw::ThemeProcedures& Theme() { return kxw::GetHostProcedures().theme; }

/// What a procedure returns; that it is missing, if it is.
template <class Procedure, class... Arguments>
int Forward(const Procedure& procedure, Arguments... arguments) {
  return procedure ? procedure(arguments...) : kNotImplemented;
}

}  // namespace

int kxwIsEnableAeroGlass() { return Theme().isComposed && Theme().isComposed(); }

int kxwDisableAeroGlass(HWND window) {
  return Theme().drawFramePlain && Theme().drawFramePlain(window);
}

int kxwIsEnableThemeAPI() {
  return Theme().open && Theme().close && Theme().drawBackground && Theme().color;
}

HTHEME kxwOpenThemeData(HWND window, const unsigned short* classes) {
  return Theme().open ? Theme().open(window, classes) : nullptr;
}

int kxwCloseThemeData(HTHEME theme) { return Forward(Theme().close, theme); }

int kxwDrawThemeBackground(HTHEME theme, HDC context, int part, int state, const tagRECT* rect,
                           const tagRECT* clip) {
  return Forward(Theme().drawBackground, theme, context, part, state, rect, clip);
}

int kxwGetThemeColor(HTHEME theme, int part, int state, int property, QMCOLORREF* color) {
  return Forward(Theme().color, theme, part, state, property, color);
}

int kxwIsUseCommCtlVersion60() {
  const auto& version = Theme().controlsVersion;
  return version && std::atoi(version().c_str()) >= 6;
}
