#include "kxwcmn/core/array.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "kxwcmn/platform/detail/faults.h"

namespace {

TEST(Array, EqualsAVectorAndGrowsInStepsOf256) {
  std::mt19937 random(3);
  KXTArray<i64> array;
  std::vector<i64> model;
  int capacity = 0;
  for (int step = 0; step < 4000; ++step) {
    const int count = static_cast<int>(random() % 3000);
    const int index = static_cast<int>(random() % (model.size() + 20)) - 10;
    switch (random() % 8) {
      case 0:
        array.SetCount(count);
        model.resize(static_cast<std::size_t>(count));
        break;
      case 1:
        array.RemoveAll();
        model.clear();
        break;
      case 2:
      case 3:
        array.RemoveAt(index);
        if (index >= 0 && index < static_cast<int>(model.size()))
          model.erase(model.begin() + index);
        break;
      default:
        model.push_back(model.empty() || step % 2 ? step : model[0]);
        array.Add(model.size() == 1 || step % 2 ? step : array[0]);
    }
    const int size = static_cast<int>(model.size());
    if (size > capacity) capacity += (size - capacity + 255) / 256 * 256;
    ASSERT_EQ(array.GetCapacity(), capacity);
    ASSERT_EQ(std::vector<i64>(array.begin(), array.end()), model);
  }
  const KXTArray<i64> copy(array);
  array.SetCount(-1);
  EXPECT_EQ(array.GetCount(), 0);
  EXPECT_EQ(std::vector<i64>(copy.begin(), copy.end()), model);
}

/// Fails when it is copied.
struct Untouchable {
  int value;
  Untouchable(const Untouchable&) { ADD_FAILURE(); }
  explicit Untouchable(int v) : value(v) {}
  Untouchable& operator=(const Untouchable&) = delete;
};

TEST(Array, TakesElementsAsPlainBytes) {
  const Untouchable element(5);
  KXTArray<Untouchable> array;
  array.Add(element);
  array.Add(array[0]);
  EXPECT_EQ(array[1].value, 5);
}

TEST(Array, FailureLeavesItAsItWas) {
  KXTArray<int> array;
  for (int i = 0; i < 256; ++i) array.Add(i);
  kxw::detail::ScopedFaults faults;
  faults.Fail(kxw::detail::FaultPoint::kAlloc, 1, kxw::kErrorNotEnoughMemory, 2);
  for (const int count : {257, 600, 0x7FFFFFFF}) {
    try {
      array.SetCount(count);
      ADD_FAILURE() << count;
    } catch (const KXException& failure) {
      EXPECT_EQ(failure.GetErrorCode(), kxw::kErrorNotEnoughMemory);
    }
    EXPECT_EQ(array.GetCount(), 256);
    EXPECT_EQ(array[255], 255);
  }
}

}  // namespace
