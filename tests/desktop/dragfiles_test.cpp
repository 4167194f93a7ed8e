#include "kxwcmn/desktop/dragfiles.h"

#include <gtest/gtest.h>

#include <string>

#include "kxwcmn/platform/host.h"
#include "kxwcmn/platform/memory.h"

namespace {

using namespace std::string_literals;

QMHANDLE__* BlockOf(HDROP files) { return reinterpret_cast<QMHANDLE__*>(files); }

std::string BytesOf(HDROP files) {
  return {static_cast<const char*>(qmLock(BlockOf(files))), qmGetHandleSize(BlockOf(files))};
}

TEST(DragFiles, AreTheBytesThatOthersTake) {
  HDROP files = kxwDragCreateFiles(nullptr, {5, 6});
  const std::string head = "\x14\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"s;
  EXPECT_EQ(BytesOf(files), head + "\0"s);
  EXPECT_EQ(kxwDragAppendFile(&files, "C:\\a.png"), 1);
  EXPECT_EQ(kxwDragAppendFile(&files, ""), 0);
  EXPECT_EQ(kxwDragAppendFile(&files, nullptr), 0);
  EXPECT_EQ(kxwDragAppendFile(&files, "b"), 1);
  EXPECT_EQ(BytesOf(files), head + "C:\\a.png\0b\0\0"s);
  qmFree(BlockOf(files));

  HDROP none = nullptr;
  EXPECT_EQ(kxwDragAppendFile(&none, "b"), 0);
  EXPECT_EQ(kxwDragAppendFile(nullptr, "b"), 0);
}

TEST(DragFiles, TellWhereTheyAreDropped) {
  kxw::HostProcedures procedures;
  procedures.windows.clientArea = [](HWND) { return tagRECT{10, 300, 900, 900}; };
  std::intptr_t place = 0, answer = 1;
  procedures.windows.send = [&](HWND, UINT message, std::uintptr_t, std::intptr_t second) {
    place = second;
    return message == 132 ? answer : 0;
  };
  kxw::SetHostProcedures(procedures);
  HDROP inside = kxwDragCreateFiles(reinterpret_cast<HWND>(std::intptr_t{1}), {600, 44});
  EXPECT_EQ(BytesOf(inside), "\x14\0\0\0\x4E\x02\0\0\0\xFF\xFF\xFF\0\0\0\0\0\0\0\0\0"s);
  EXPECT_EQ(place, 44 << 16 | 600);
  answer = 2;
  HDROP frame = kxwDragCreateFiles(reinterpret_cast<HWND>(std::intptr_t{1}), {-1, -2});
  EXPECT_EQ(BytesOf(frame).substr(12, 4), "\1\0\0\0"s);
  EXPECT_EQ(place, -0x10001);
  kxw::SetHostProcedures({});
  qmFree(BlockOf(inside));
  qmFree(BlockOf(frame));
}

TEST(DragFiles, OfAnotherFormAreLeftAlone) {
  const std::string good = "\x14\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0a\0\0"s;
  const auto changed = [&good](std::size_t at, char value) {
    std::string list = good;
    list[at] = value;
    return list;
  };
  // Cut short, no end, an offset in the head or behind the list, wide paths.
  for (const std::string& list : {""s, good.substr(0, 20), good.substr(0, 21), good.substr(0, 22),
                                  changed(0, 4), changed(0, 23), changed(3, -1), changed(16, 1)}) {
    QMHANDLE__* const block = qmAlloc(static_cast<DWORD>(list.size()), 0, nullptr);
    list.copy(static_cast<char*>(qmLock(block)), list.size());
    auto files = reinterpret_cast<HDROP>(block);
    EXPECT_EQ(kxwDragAppendFile(&files, "b"), 0);
    EXPECT_EQ(BytesOf(files), list);
    qmFree(BlockOf(files));
  }
}

}  // namespace
