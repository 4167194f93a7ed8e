// What fails in the middle of an operation: the heap, the pool, the swap file. And what need not
// fail: a budget of a few blocks.
#include <cstdlib>
#include <functional>
#include <new>

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "tests/compositing/copymodel.h"
#include "tests/resample/processmanager.h"
#include "tests/support/failure.h"

namespace {
int allocationsLeft = -1;  // up to the one that fails; below 0 none does
}

[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (allocationsLeft >= 0 && allocationsLeft-- == 0) return nullptr;
  return std::malloc(size > 0 ? size : 1);
}
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (void* at = operator new(size, std::nothrow)) return at;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* at) noexcept { std::free(at); }
[[gnu::noinline]] void operator delete(void* at, std::size_t) noexcept { std::free(at); }

namespace {

using namespace testing_kxw;
using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

constexpr FaultPoint kHeap = FaultPoint::kCount;  // which the platform has no part in

/// An operation on an image, or one that makes it: those come from the manager of the process, and
/// leave `dst` as it is where they fail.
struct Operation {
  const char* name;
  int bits;
  std::function<void(ImagePtr& dst, KXVOffscreen& src)> run;
  bool isMaker = false;
};

const auto kArea = KXVOffscreen::kResolutionArea;

const std::vector<Operation>& Operations() {
  using Image = KXVOffscreen;
  static const std::vector<BYTE> plain(700 * 300 * 4, 77);
  static BYTE* const bytes = const_cast<BYTE*>(plain.data());
  static const std::vector<Operation> all{
      {"area", 32,
       [](ImagePtr& d, Image& s) {
         d->ChangeResolution(3, 5, 410, 270, &s, 0, 0, 600, 300, kArea, 1, 0);
       }},
      {"half", 32,
       [](ImagePtr& d, Image& s) { d->ChangeResolutionHalf(1, 2, 300, 150, &s, 1, 1, 0); }},
      {"double", 64,
       [](ImagePtr& d, Image& s) { d->ChangeResolutionDouble(1, 2, 600, 300, &s, 9, 9, 1); }},
      {"low", 16,
       [](ImagePtr& d, Image& s) {
         d->ChangeResolutionLow(3, 5, 500, 270, &s, 7, 0, 590, 300, 0, 1);
       }},
      {"low, 2 bits", 2,
       [](ImagePtr& d, Image& s) {
         d->ChangeResolutionLow(3, 5, 500, 270, &s, 7, 0, 590, 300, 1, 0);
       }},
      {"low, 64 bits", 64,
       [](ImagePtr& d, Image& s) {
         d->ChangeResolutionLow(3, 5, 500, 270, &s, 7, 0, 590, 300, 0, 1);
       }},
      {"stretch", 32,
       [](ImagePtr& d, Image& s) { d->StretchCopy(3, 5, 500, 270, &s, 7, 0, 590, 300); }},
      {"thumbnail", 24,
       [](ImagePtr& d, Image&) {
         d->CreateThumbnail(3, 5, 500, 270, bytes, 0, 0, 600, 300, 32, 2800);
       }},
      {"bitmap", 32,
       [](ImagePtr& d, Image&) {
         d->CopyBitmap(0, 0, 590, 280, bytes, 24, 2100, 2, 1, 0, 3, 0, 0, 500, 200, kArea);
       }},
      {"quarter turn", 32, [](ImagePtr& d, Image& s) { d.reset(s.CreateAndRotate90()); }, true},
      {"mirror, 2 bits", 2, [](ImagePtr& d, Image& s) { d.reset(s.CreateAndReverseHorz()); }, true},
      {"fast turn", 32, [](ImagePtr& d, Image& s) { d->CreateRotationImage(s, 30, 0); }, true},
      {"smooth turn", 64, [](ImagePtr& d, Image& s) { d->CreateRotationImage(s, 30, 1); }, true},
  };
  return all;
}

using Bytes = std::vector<BYTE>;

/// An operation on images of noise, all of them in one manager.
class Trial {
 public:
  Trial(const Operation& operation, KXVirtualMemory* manager)
      : operation_(operation), manager_(manager) {
    Random random(9);
    src_ = Own(*RandomImage(operation.bits, 620, 310, random, false));
    dst_ = RandomImage(operation.bits, 600, 290, random);
    Reset();
    before_ = operation.isMaker ? Bytes() : Pixels(*result_);
  }
  int operator()() {
    return CodeOf([this] { operation_.run(result_, *src_); });
  }
  void Reset() {
    result_.reset();
    result_ =
        operation_.isMaker ? ImagePtr(KXVOffscreen::CreateOffscreen(operation_.bits)) : Own(*dst_);
    blocks_ = ProcessManager()->GetUsedBlockCount();
  }
  Bytes Result() { return Pixels(*result_); }
  /// After a failure: each bit is the old one or the one to come, nothing is held,
  /// and no image is left that could not be finished.
  void ExpectSafe(const Bytes& expected) {
    EXPECT_EQ(src_->GetLockCount() + result_->GetLockCount(), 0u);
    if (operation_.isMaker) {
      EXPECT_EQ(result_->GetVirtualMemory(), nullptr);
      // The manager keeps the entry of a block that found no room.
      EXPECT_LE(ProcessManager()->GetUsedBlockCount(), blocks_ + 1);
      return;
    }
    const Bytes now = Result();
    ASSERT_EQ(now.size(), expected.size());
    std::size_t at = 0;
    while (at < now.size() && ((now[at] ^ before_[at]) & (now[at] ^ expected[at])) == 0) ++at;
    EXPECT_EQ(at, now.size());
  }

 private:
  ImagePtr Own(KXVOffscreen& image) {
    ImagePtr copy =
        MakeImage(image.GetBitCount(), image.GetWidth(), image.GetHeight(), 72, manager_);
    copy->CopyAll(&image);
    return copy;
  }

  const Operation& operation_;
  KXVirtualMemory* const manager_;
  ImagePtr src_, dst_, result_;
  Bytes before_;
  unsigned blocks_ = 0;
};

/// Runs it with the `nth` of its allocations, reads of the swap file or blocks of the pool failing,
/// the last with all behind it. Says whether it came to that.
bool RunWithFault(Trial& trial, FaultPoint point, int nth, int& code) {
  ScopedFaults faults;
  if (point == FaultPoint::kRead) faults.Fail(point, nth, kxw::kErrorReadFault);
  if (point == FaultPoint::kAlloc) faults.Fail(point, nth, kxw::kErrorNotEnoughMemory, 1000);
  if (point == kHeap) allocationsLeft = nth - 1;
  code = trial();
  const bool hasHeapFailed = allocationsLeft < 0;
  allocationsLeft = -1;
  return point == kHeap ? hasHeapFailed : faults.Count(point) >= nth;
}

TEST(ResamplingFaults, HoldNothingAndLoseNothing) {
  for (const Operation& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    Trial roomy(operation, RoomyManager()), tight(operation, ProcessManager());
    ASSERT_EQ(roomy(), 0);
    const Bytes expected = roomy.Result();
    for (const FaultPoint point : {kHeap, FaultPoint::kRead, FaultPoint::kAlloc}) {
      int code = 0;
      for (int nth = 1;; ++nth) {
        SCOPED_TRACE(testing::Message() << "point " << static_cast<int>(point) << ", " << nth);
        tight.Reset();
        if (!RunWithFault(tight, point, nth, code)) break;
        if (code == 0) continue;  // as where the pool makes room for a block
        EXPECT_EQ(code, kxw::kErrorNotEnoughMemory);
        ASSERT_NO_FATAL_FAILURE(tight.ExpectSafe(expected));
      }
      ASSERT_EQ(code, 0);
      EXPECT_TRUE(tight.Result() == expected);
    }
  }
}

}  // namespace
