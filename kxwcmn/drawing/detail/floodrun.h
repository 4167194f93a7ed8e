#pragma once

#include <memory>
#include <new>
#include <type_traits>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/drawing/detail/floodplain.h"
#include "kxwcmn/drawing/detail/floodrows.h"
#include "kxwcmn/drawing/detail/floodtests.h"
#include "kxwcmn/drawing/floodplanes_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/platform/error.h"

/// From a variant and its images to the form that runs. Each returns false, with `outcome` left
/// alone, if the seed holds the fill value already.
namespace kxw::flood {

/// The fill by pixels.
template <class Variant>
bool RunPlain(const Request& request, typename Variant::Value fill, Outcome& outcome) {
  PlainAccess<Variant> access(request, fill);
  return Fill<PlainAccess<Variant>>(request, access).Run(outcome);
}

constexpr bool IsDepth(int bits) {
  return WithDepth(bits, [](auto) { return true; });
}

/// Whether the fill can go by bits: the reference and the second one are images of their own, or
/// the reference alone is the painted one at no offset. What else is judged while it is being
/// painted goes by pixels, and so does a seed outside the columns of the clip.
inline bool IsForPlanes(const Request& request) {
  if (request.seed.x < request.left || request.seed.x > request.right) return false;
  if (!IsDepth(request.paint.GetBitCount()) || !IsDepth(request.reference.GetBitCount())) {
    return false;
  }
  if (&request.reference == &request.paint) {
    return !request.second && request.origin == KXPoint(0, 0);
  }
  if (!request.second) return true;
  return request.second != &request.paint && IsDepth(request.second->GetBitCount());
}

/// The tests of a fill by bits, with what they rest on.
struct PlaneSetup {
  PlaneTests tests;
  std::unique_ptr<RowTest> match, second, unfilled;
  std::unique_ptr<RowPainter> painter;
  BYTE clearRow[kRowBytes<Depth64>];
};

template <class Depth, class Tests>
const RowTest* Keep(std::unique_ptr<RowTest>& owner, const Tests& tests) {
  owner = std::make_unique<DepthRowTest<Depth, Tests>>(tests);
  return owner.get();
}

inline ClearColors ClearColorsOf(const KXVOffscreen& image) {
  ClearColors clear{};
  image.GetClearColor(&clear.byte);
  image.GetClearColor(&clear.color);
  if (image.GetBitCount() == Depth64::kBits) {
    clear.color64 = static_cast<const KXVOffscreen64Bit&>(image).GetClearQMCOLORREF64();
  }
  return clear;
}

/// What the painted image adds, its cursor on the seed.
template <class Variant, class Depth>
void SetUpPaint(PlaneSetup& setup, const Request& request, typename Variant::Value fill,
                typename Variant::Ref::Value base) {
  using Left = typename Variant::ReadLeft;
  using Right = typename Variant::ReadRight;
  PlaneTests& tests = setup.tests;
  const ClearColors clear = ClearColorsOf(request.paint);
  BYTE pattern[8];
  const int length = Depth::ClearPattern(clear, pattern);
  FillPattern(setup.clearRow, kRowBytes<Depth>, pattern, length);
  tests.clearRow = setup.clearRow;

  const auto pixel = Variant::Write::template From<Depth>(fill, clear);
  setup.painter = std::make_unique<DepthRowPainter<Depth>>(pixel);
  tests.painter = setup.painter.get();
  tests.readsBack =
      Left::template To<Depth>(pixel) == fill && Right::template To<Depth>(pixel) == fill;
  // In place a pixel that is filled already is mostly one that does not match.
  bool isWholePossible = true, isWeighedPossible = true;
  if (tests.isInPlace) {
    tests.paintedMatches =
        Variant::MatchSkip(base, Variant::Ref::template To<Depth>(pixel), request.margin);
    isWholePossible =
        !std::is_same_v<Left, typename Variant::Ref> || Variant::Match(base, fill, request.margin);
  }
  const UnfilledTests<Left, Right, Depth> unfilled(fill, isWholePossible, isWeighedPossible);
  if (unfilled.IsPossible()) tests.unfilled = Keep<Depth>(setup.unfilled, unfilled);
}

/// The fill by bits. After `mostTiles` of them it starts with new ones; from so many short runs on
/// it goes by parts.
template <class Variant>
bool RunPlanes(const Request& request, typename Variant::Value fill, Outcome& outcome,
               int mostTiles = Planes::kMostTiles, int mostShortRuns = Planes::kMostShortRuns) {
  KXVOffscreen& paint = request.paint;
  KXVOffscreen& reference = request.reference;
  PlaneSetup setup;
  PlaneTests& tests = setup.tests;
  tests.isInPlace = &reference == &paint;
  KXVOffscreenAutoLock paintLock(&paint, 1), referenceLock, secondLock;
  if (!tests.isInPlace) referenceLock.Lock(&reference, 0);
  if (request.second && request.second != &reference) secondLock.Lock(request.second, 0);

  const KXPoint at = request.InReference(request.seed.x, request.seed.y);
  paint.MoveCursor(request.seed.x, request.seed.y);
  CheckBlock(paint);
  if (Variant::ReadLeft::Get(paint) == fill) return false;
  reference.MoveCursor(at.x, at.y);
  CheckBlock(reference);
  const auto base = Variant::Ref::Get(reference);

  WithDepth(reference.GetBitCount(), [&](auto depth) {
    using Depth = decltype(depth);
    tests.match = Keep<Depth>(setup.match, MatchTests<Variant, Depth>(base, request.margin));
  });
  tests.paintedMatches = true;  // the reference stays as it is, unless it is the painted image
  WithDepth(paint.GetBitCount(),
            [&](auto depth) { SetUpPaint<Variant, decltype(depth)>(setup, request, fill, base); });
  if constexpr (Variant::kHasSecond) {
    if (request.second) {
      request.second->MoveCursor(at.x, at.y);
      CheckBlock(*request.second);
      const BYTE second = Variant::Second::Get(*request.second);
      WithDepth(request.second->GetBitCount(), [&](auto depth) {
        using Depth = decltype(depth);
        tests.second =
            Keep<Depth>(setup.second, SecondTests<Variant, Depth>(second, request.margin));
      });
    }
  }

  tests.mayBeOdd = tests.unfilled || !Variant::kSkipsAsItPaints;

  Planes planes(request, tests, mostTiles, mostShortRuns);
  try {
    FillPlanes(request, planes, outcome);
  } catch (...) {
    // What was painted before an abort or a failure stays painted.
    planes.Flush();
    throw;
  }
  planes.Flush();
  return true;
}

/// The fill in the fastest form for it.
template <class Variant>
bool Run(const Request& request, typename Variant::Value fill, Outcome& outcome) {
  try {
    return IsForPlanes(request) ? RunPlanes<Variant>(request, fill, outcome)
                                : RunPlain<Variant>(request, fill, outcome);
  } catch (const std::bad_alloc&) {
    kxThrowError(kErrorNotEnoughMemory);
  }
}

}  // namespace kxw::flood
