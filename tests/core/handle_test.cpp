#include "kxwcmn/core/handle.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/detail/faults.h"
#include "tests/support/failure.h"

namespace {

using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

/// Shows the count of locks.
struct OpenHandle : KXHandle {
  using KXHandle::KXHandle;
  int Locks() const { return lockCount_; }
};

template <class Block>
char* Bytes(const Block& block) {
  return static_cast<char*>(static_cast<void*>(block));
}

QMHANDLE__* NewHandle(const char* text) {
  const auto size = static_cast<DWORD>(std::strlen(text) + 1);
  QMHANDLE__* handle = qmAlloc(size, 0, nullptr);
  std::memcpy(qmLock(handle), text, size);
  return handle;
}

// The address checker of the sanitizing build sees what is freed twice, late or never.
template <class T>
class Blocks : public testing::Test {};
using BlockClasses = testing::Types<KXHandle, KXPointer>;
TYPED_TEST_SUITE(Blocks, BlockClasses);

TYPED_TEST(Blocks, OwnWhatTheyAllocate) {
  TypeParam empty;
  EXPECT_FALSE(empty.IsValid());
  EXPECT_EQ(empty.GetPurgeFlag(), 1);
  TypeParam block;
  block.ReAlloc(4);  // without a block an allocation
  std::memcpy(Bytes(block), "abc", 4);
  block.ReAlloc(8);
  EXPECT_EQ(std::memcmp(Bytes(block), "abc\0\0\0\0", 8), 0);
  TypeParam copy(block);
  EXPECT_NE(Bytes(copy), Bytes(block));
  EXPECT_EQ(copy.GetMemSize(), 8u);
  EXPECT_STREQ(Bytes(copy), "abc");
  block.Alloc(2);
  block = copy;
  EXPECT_STREQ(Bytes(block), "abc");
  block = empty;
  EXPECT_FALSE(block.IsValid());
  copy.SetPurgeFlag(0);
  auto* alive = copy.Detach();
  EXPECT_EQ(copy.GetPurgeFlag(), 1);
  block.Attach(alive, 8, 0);
  block.Cleanup();
  EXPECT_STREQ(reinterpret_cast<char*>(alive), "abc");
  copy.Attach(alive);
  EXPECT_EQ(copy.GetMemSize(), (std::is_same_v<TypeParam, KXPointer> ? 8u : 0u));
  copy.Attach(alive, 4);  // its own
  EXPECT_STREQ(Bytes(copy), "abc");
}

TYPED_TEST(Blocks, KeepTheOldBlockWhenGrowingFails) {
  TypeParam block;
  block.Alloc(4);
  ScopedFaults faults;
  faults.Fail(FaultPoint::kAlloc, 1, 7, 3);
  EXPECT_EQ(CodeOf([&] { block.ReAlloc(8); }), 7);
  EXPECT_EQ(block.GetMemSize(), 4u);
  EXPECT_EQ(CodeOf([&] { TypeParam copy(block); }), 7);
  EXPECT_EQ(CodeOf([&] { block.Alloc(8); }), 7);
  EXPECT_FALSE(block.IsValid());
}

TYPED_TEST(Blocks, CopyFromEveryKindOfSource) {
  TypeParam block;
  block.Alloc(8);
  block.Copy("0123456", 8);
  KXHandle handle(NewHandle("abcdef"), 7);
  block.Copy(handle, 2, 1, 3);
  EXPECT_STREQ(Bytes(block), "0de3456");
  KXPointer pointer;
  pointer.Alloc(3);
  pointer.Copy("XYZ", 3);
  block.Copy(pointer, 0, 4);
  EXPECT_STREQ(Bytes(block), "0de3XYZ");
  block.Copy(NewHandle("rs"), 2, 5);  // frees the handle
  EXPECT_STREQ(Bytes(block), "0de3Xrs");
  block.Copy(Bytes(block), 6, 1);  // four bytes and then single ones, from the front
  EXPECT_EQ(std::string(Bytes(block), 8), std::string("00de333\0", 8));
  block.Copy(Bytes(block), 4, 3, 2);  // four at once, over themselves
  EXPECT_EQ(std::string(Bytes(block), 8), std::string("00dde33\0", 8));
  block.BlockMove(6, 2, 0);
  EXPECT_EQ(std::string(Bytes(block), 8), "0000dde3");
  const KXHandle none;
  EXPECT_EQ(CodeOf([&] { block.Copy(none); }), kxw::kFailureBadArgument);
  EXPECT_EQ(CodeOf([&] { block.Copy(static_cast<QMHANDLE__*>(nullptr)); }),
            kxw::kFailureBadArgument);
  TypeParam empty;
  EXPECT_EQ(CodeOf([&] { empty.Copy(handle); }), kxw::kFailureBadArgument);
}

TEST(Handle, CountsItsLocks) {
  const OpenHandle handle(NewHandle("x"), 2);
  EXPECT_STREQ(static_cast<char*>(handle.Lock()), "x");
  handle.Lock();
  handle.Unlock();
  EXPECT_EQ(handle.Locks(), 1);
  OpenHandle other = handle;
  other.Lock();
  other.ReAlloc(3);
  EXPECT_EQ(other.Locks(), 0);
  const KXHandle none;
  EXPECT_EQ(CodeOf([&] { none.Lock(); }), kxw::kFailureBadArgument);
  EXPECT_EQ(CodeOf([&] { none.Unlock(); }), kxw::kFailureBadArgument);
}

TEST(AutoHandle, WorksByAssignmentAlone) {
  QMHANDLE__* handle = NewHandle("x");
  KXAutoHandle held(handle);
  EXPECT_EQ(static_cast<void*>(held), nullptr);
  EXPECT_STREQ(static_cast<char*>(held = handle), "x");
  EXPECT_STREQ(static_cast<char*>(held = handle), "x");  // it is held already
  {
    KXAutoHandle same;
    same = held;
    EXPECT_EQ(static_cast<void*>(same), static_cast<void*>(held));
  }
  held = NewHandle("y");  // frees the first
  EXPECT_EQ((held = static_cast<QMHANDLE__*>(nullptr)), nullptr);
}

TEST(AutoPointer, FreesAtTheEndOfItsScope) {
  KXAutoPointer held(qmAllocPtr(1, 0, nullptr), nullptr);
  held = qmAllocPtr(2, 0, nullptr);
  KXAutoPointer same;
  same = held;
  EXPECT_EQ(static_cast<void*>(same), static_cast<void*>(held));
  const KXAutoPointer none;
  held = none;  // gives the block up to the other
  EXPECT_EQ(static_cast<void*>(held), nullptr);
}

}  // namespace
