#include "kxwcmn/platform/vectorize_internal.h"

#include <gtest/gtest.h>

#include <vector>

// What loops compute in each form, their own tests compare. Here: which form it is that runs.

namespace {

using kxw::InVectors, kxw::UseVectors, kxw::Vectors;

std::vector<const void*> callers;

/// A function of its own notes where it was called: each form has a place of its own.
[[gnu::noinline]] int Note(int value) {
  callers.push_back(__builtin_return_address(0));
  return value + 1;
}

[[gnu::always_inline]] inline int Loop(int value) { return Note(value) * 2; }

TEST(Vectors, AreThoseAskedForAndNeverWiderThanTheProcessors) {
  const Vectors first = UseVectors(Vectors::kBase);
  EXPECT_EQ(InVectors<Loop>(1), 4);
  EXPECT_EQ(UseVectors(Vectors::kAvx2), Vectors::kBase);
  EXPECT_EQ(InVectors<Loop>(2), 6);
  const Vectors widest = UseVectors(first);
  EXPECT_EQ(widest, kxw::WidestVectors());
  ASSERT_EQ(callers.size(), 2u);
  EXPECT_EQ(callers[0] != callers[1], widest == Vectors::kAvx2);
}

}  // namespace
