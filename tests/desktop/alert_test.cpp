#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/stringresource.h"
#include "kxwcmn/desktop/modaldialog.h"
#include "kxwcmn/platform/host.h"

namespace {

HWND Window(std::intptr_t number) { return reinterpret_cast<HWND>(number); }

/// A desktop of the windows 1 to 4, of which 1 is the main one and 2 and 3 belong to it; it notes
/// what happens to them.
class Desktop {
 public:
  Desktop() {
    kxw::HostProcedures procedures;
    procedures.messageBox = [this](HWND over, const char* text, const char* title, UINT style) {
      log << "box" << Number(over) << " " << text << "/" << title << " " << style << "\n";
      return 7;
    };
    auto& windows = procedures.windows;
    windows.windowsOfThread = [](HWND) {
      return std::vector{Window(1), Window(2), Window(3), Window(4)};
    };
    windows.parent = [this](HWND window) {
      return window == Window(1) ? nullptr : window == Window(4) ? owner : Window(1);
    };
    windows.enable = [this](HWND window, bool on) { log << (on ? "+" : "-") << Number(window); };
    windows.send = [this](HWND, UINT message, std::uintptr_t first, std::intptr_t) {
      log << "!" << message << ":" << first;
      return 0;
    };
    windows.isChild = [this](HWND) { return isChild; };
    windows.isOpen = [this](HWND) { return isOpen; };
    windows.frame = [this](HWND window) { return window == Window(4) ? frame : ownerFrame; };
    windows.clientArea = [](HWND) { return tagRECT{50, 60, 150, 161}; };
    windows.workArea = [](HWND) { return tagRECT{0, 20, 1000, 800}; };
    windows.setPosition = [this](HWND, int x, int y, UINT flags) {
      log << x << "," << y << "," << flags;
    };
    windows.setLong = [this](HWND, int index, std::intptr_t value) {
      log << index << "=" << value << " ";
    };
    kxw::SetHostProcedures(procedures);
    kxwSetMainWnd(Window(1), nullptr);
  }
  ~Desktop() {
    kxw::SetHostProcedures({});
    kxwSetMainWnd(nullptr, nullptr);
  }

  static std::intptr_t Number(HWND window) { return reinterpret_cast<std::intptr_t>(window); }

  std::string Log() { return std::exchange(log, std::ostringstream()).str(); }

  std::ostringstream log;
  HWND owner = nullptr;
  bool isChild = false, isOpen = true;
  tagRECT frame{0, 0, 101, 50}, ownerFrame{};
};

TEST(ShownAlert, AsksTheApplicationsBoxOnce) {
  Desktop desktop;
  KXAlert::SetTitleText("T");
  KXAlert alert;
  alert.SetAlertID(3u << 30 | 4u << 27 | 1u << 25 | 1u << 22 | 102, 0, "Cut", "", "", "", "");
  EXPECT_EQ(alert.doAlert(Window(9)), 7);
  EXPECT_EQ(desktop.Log(), "-2-3box9 Cut is read-only./T 35\n+2!134:1+3!134:1");
  EXPECT_EQ(alert.doAlert(Window(9)), -1);
  kxGetStringResource().doAlert(nullptr, 0xFFFFFFFFu, 0x20010008);
  EXPECT_EQ(desktop.Log(), "-2-3box1 Incorrect parameter!/T 48\n+2!134:1+3!134:1");
  KXException aborted(kxw::kFailureAborted, 0xFFFFFFFFu, "", "", "", "", "");
  EXPECT_EQ(aborted.doAlert(nullptr), -1);
  EXPECT_EQ(desktop.Log(), "");
  KXAlert::SetTitleText("");
}

TEST(ShownAlert, WithoutABoxTheFirstButtonIsTheAnswer) {
  for (const auto& [buttons, answer] : {std::pair{0u, 1}, {1u, 1}, {2u, 6}, {3u, 6}, {5u, 1}}) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(kxGetStringResource().doAlert(nullptr, buttons << 27 | 1u << 22 | 6), answer);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "desktop_tests: Incorrect parameter!\n");
  }
}

TEST(ModalDialog, OnlyTheFirstAndTheLastTouchOtherWindows) {
  Desktop desktop;
  kxwModalDlgInitialize(nullptr, 0);
  kxwModalDlgInitialize(nullptr, 0);
  EXPECT_EQ(desktop.Log(), "-2-3");
  EXPECT_FALSE(kxwIsMDIChildWnd(Window(1)));
  kxwSetMainWnd(Window(1), Window(1));
  EXPECT_TRUE(kxwIsMDIChildWnd(Window(2)) && !kxwIsMDIChildWnd(Window(1)));
  kxwModalDlgDestroy(nullptr);
  EXPECT_TRUE(kxwIsModalDlgVisible());
  EXPECT_EQ(desktop.Log(), "");
  kxwModalDlgDestroy(Window(3));
  EXPECT_EQ(desktop.Log(), "+2!134:1");
  kxwIncrementShowDlgCount(5);
  EXPECT_TRUE(kxwIsModalDlgVisible());
  kxwIncrementShowDlgCount(0);
  EXPECT_FALSE(kxwIsModalDlgVisible());
}

TEST(ModalDialog, CentresAndStaysInside) {
  Desktop desktop;
  kxwIncrementShowDlgCount(1);
  const auto placed = [&](long parameter = 0) {
    kxwModalDlgInitialize(Window(4), parameter);
    kxwModalDlgDestroy(Window(4));
    return desktop.Log();
  };
  EXPECT_EQ(placed(5), "8=5 450,385,21");  // in the work area
  desktop.owner = Window(1);
  desktop.ownerFrame = {101, 101, 202, 202};
  EXPECT_EQ(placed(), "101,126,21");
  desktop.ownerFrame = {900, 0, 1100, 40};
  EXPECT_EQ(placed(), "899,20,21");
  desktop.isOpen = false;
  EXPECT_EQ(placed(), "450,385,21");
  desktop.frame = {0, 0, 2000, 50};
  EXPECT_EQ(placed(), "0,385,21");
  desktop.isChild = true;
  desktop.frame = {0, 0, 20, 20};
  EXPECT_EQ(placed(), "40,40,21");
  kxwIncrementShowDlgCount(0);
}

}  // namespace
