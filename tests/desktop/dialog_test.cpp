#include "kxwcmn/desktop/dialog.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "kxwcmn/desktop/hidpi.h"
#include "kxwcmn/desktop/theme.h"
#include "kxwcmn/platform/host.h"
#include "kxwcmn/platform/module.h"

namespace {

using Bytes = std::vector<BYTE>;

HWND Window(std::intptr_t number) { return reinterpret_cast<HWND>(number); }
std::intptr_t Number(const void* handle) { return reinterpret_cast<std::intptr_t>(handle); }
std::intptr_t Ignore(HWND, UINT, std::uintptr_t, std::intptr_t) { return 0; }

/// Dialogs on a screen of some density, whose template is `bytes`; it notes what is shown.
class Dialogs {
 public:
  explicit Dialogs(LONG dotsPerInch) {
    procedures.display.dotsPerInch = [=] { return tagSIZE{dotsPerInch, dotsPerInch}; };
    procedures.dialogs.findTemplate = [this](HINSTANCE, const char* name) {
      resource = {bytes.data(), static_cast<DWORD>(bytes.size())};
      return std::strcmp(name, "known") == 0 ? &resource : nullptr;
    };
    procedures.dialogs.runModal = [this](const kxw::DialogRequest& request) {
      const auto* first = static_cast<const BYTE*>(request.bytes);
      shown.assign(first, first + request.size);
      log << request.name << Number(request.parent) << (request.procedure == Ignore)
          << request.parameter << (request.bytes ? "copy" : "");
      return std::intptr_t{7};
    };
    procedures.dialogs.createModeless = [this](const kxw::DialogRequest& request) {
      return Window(procedures.dialogs.runModal(request) + 1);
    };
    Apply();
    kxwGetHiDpiHelper() = CHiDpiHelper();
  }
  ~Dialogs() {
    kxw::SetHostProcedures({});
    kxwGetHiDpiHelper() = CHiDpiHelper();
    kxwSetQueryHDDialogUIFontProc(nullptr);
  }
  void Apply() { kxw::SetHostProcedures(procedures); }

  std::intptr_t Run(const char* name) {
    return kxwDoModalDialog(nullptr, name, Window(3), Ignore, 5);
  }
  std::string Log() { return std::exchange(log, std::ostringstream()).str(); }

  kxw::HostProcedures procedures;
  Bytes bytes, shown;
  HRSRC__ resource = {};
  std::ostringstream log;
};

TEST(Dialog, GoesByNameOnAPlainScreen) {
  Dialogs plain(96);
  EXPECT_EQ(plain.Run("any"), 7);
  EXPECT_EQ(Number(kxwCreateModelessDialog(nullptr, "any", Window(3), Ignore, 6)), 8);
  EXPECT_EQ(plain.Log(), "any315any316");
  kxw::SetHostProcedures({});
  EXPECT_EQ(plain.Run("any"), -1);
}

TEST(Dialog, UnscalesTheFontOfATemplateOnADenseScreen) {
  Dialogs dense(192);
  EXPECT_EQ(dense.Run("unknown"), -1);
  EXPECT_EQ(Number(kxwCreateModelessDialog(nullptr, "unknown", nullptr, Ignore, 0)), -1);
  EXPECT_EQ(dense.Log(), "");
  // 300 points become 150.5, and 151. The title is of `title` letters, from byte 22 or 30 on; words
  // of 0 before it do not count, nor do bytes of 0 that are not a whole word.
  for (const bool extended : {false, true}) {
    const std::size_t begin = extended ? 30 : 22;
    for (const std::size_t title : {0u, 1u, 255u, 256u}) {
      dense.bytes.assign(begin + 2 * title + 5, 0);
      if (extended) dense.bytes[2] = dense.bytes[3] = 0xFF;
      for (std::size_t i = 0; i < title; ++i) dense.bytes[begin + 2 * i + i % 2] = 'T';
      dense.bytes[begin + 2 * title + 2] = 300 & 255;
      dense.bytes[begin + 2 * title + 3] = 300 >> 8;
      Bytes expected = dense.bytes;
      if (title < 256) {
        expected[begin + 2 * title + 2] = 151;
        expected[begin + 2 * title + 3] = 0;
      }
      EXPECT_EQ(dense.Run("known"), 7);
      EXPECT_EQ(dense.shown, expected) << title;
      EXPECT_EQ(dense.Log(), "known315copy");
    }
  }
  // A template that ends before its font's points stays; the sanitizer watches its end.
  for (const std::size_t begin : {22u, 30u}) {
    for (std::size_t size = 1; size < begin + 4; ++size) {
      Bytes whole(begin + 4, 0x55);
      whole[2] = whole[3] = begin == 30 ? 0xFF : 0;
      whole[begin] = whole[begin + 1] = 0;
      dense.bytes = Bytes(whole.data(), whole.data() + size);
      dense.Run("known");
      EXPECT_EQ(dense.shown, dense.bytes) << size;
    }
  }
}

TEST(Dialog, GivesItsChildrenTheFontAndRoomForMarks) {
  Dialogs dense(144);
  auto& windows = dense.procedures.windows;
  windows.childrenOf = [](HWND) {
    return std::vector{Window(10), Window(11), Window(12), Window(13)};
  };
  windows.className = [](HWND window) { return window == Window(13) ? "EDIT" : "Button"; };
  windows.style = [](HWND window) { return window == Window(11) ? 0x50010001u : 0x50010009u; };
  windows.parent = [](HWND) { return Window(1); };
  windows.clientArea = [](HWND) { return tagRECT{100, 200, 900, 900}; };
  windows.frame = [](HWND window) {
    return window == Window(10) ? tagRECT{110, 210, 150, 225} : tagRECT{110, 210, 150, 240};
  };
  windows.send = [&](HWND window, UINT message, std::uintptr_t font, std::intptr_t) {
    dense.log << Number(window) << "!" << message << ":" << font << " ";
    return 0;
  };
  windows.setPlace = [&](HWND, const tagRECT& r) {
    dense.log << r.left << "," << r.top << "," << r.right << "," << r.bottom << " ";
  };
  dense.Apply();
  kxwDlgInitialize(Window(1));
  EXPECT_EQ(dense.Log(), "");
  kxwSetQueryHDDialogUIFontProc([] { return reinterpret_cast<HFONT>(std::intptr_t{77}); });
  kxwDlgInitialize(Window(1));
  // The mark of 13 pixels is drawn with 20.
  EXPECT_EQ(dense.Log(), "10!48:77 10,8,57,28 11!48:77 12!48:77 10,10,57,40 13!48:77 ");
  dense.procedures.display.dotsPerInch = nullptr;
  dense.Apply();
  kxwGetHiDpiHelper() = CHiDpiHelper();
  kxwDlgInitialize(Window(1));
  EXPECT_EQ(dense.Log(), "");
}

TEST(Theme, NeedsTheSixthControls) {
  QMCOLORREF color = 0;
  EXPECT_FALSE(kxwIsEnableThemeAPI() || kxwIsUseCommCtlVersion60());
  EXPECT_EQ(static_cast<DWORD>(kxwGetThemeColor(nullptr, 1, 2, 3, &color)), 0x80004001);
  for (const auto& [version, isLater] :
       {std::pair("5.82", false), {"6", true}, {"6.10", true}, {"10.0", true}}) {
    kxw::HostProcedures procedures;
    procedures.theme.controlsVersion = [controls = version] { return controls; };
    kxw::SetHostProcedures(procedures);
    EXPECT_EQ(kxwIsUseCommCtlVersion60() != 0, isLater) << version;
  }
  kxw::SetHostProcedures({});
}

}  // namespace
