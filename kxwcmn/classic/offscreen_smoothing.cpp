#include <new>

#include "kxwcmn/classic/smoothing_internal.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/number.h"

namespace {

namespace stairs = kxw::stairs;

void Need(bool isMet) {
  if (!isMet) kxThrowError(kxw::kFailureBadArgument);
}

QMCOLORREF ColorOf(const tagQMRGBCOLOR& c) {
  return kxw::MakeColor(static_cast<BYTE>(c.red), static_cast<BYTE>(c.green),
                        static_cast<BYTE>(c.blue), static_cast<BYTE>(c.alpha));
}

/// The area of a smoothing: `rect`, or all without one, and a pixel around it, in the image.
KXRect AreaOf(const KXOffscreen& image, const tagRECT* rect) {
  KXRect area(0, 0, image.GetWidth(), image.GetHeight());
  if (rect) {
    area.left = static_cast<LONG>(std::max<i64>(i64{rect->left} - 1, 0));
    area.top = static_cast<LONG>(std::max<i64>(i64{rect->top} - 1, 0));
    area.right = static_cast<LONG>(std::min<i64>(i64{rect->right} + 1, area.right));
    area.bottom = static_cast<LONG>(std::min<i64>(i64{rect->bottom} + 1, area.bottom));
  }
  return area;
}

/// A scratch picture, locked: the caller's or, made here, an untouched one.
class Scratch {
 public:
  Scratch(KXOffscreen* given, const KXOffscreen& image) : image_(given ? given : &made_) {
    if (!given) {
      made_.Create(image.GetWidth(), image.GetHeight(), 32, stairs::kUntouched, 1);
    }
    image_->Lock();
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() { image_->Unlock(); }

  KXOffscreen* Get() const { return image_; }

 private:
  KXOffscreen made_;
  KXOffscreen* const image_;
};

/// The runs of three lines in the tables of a pass.
class TableLines {
 public:
  TableLines(const stairs::Picture& picture, const KXOffscreen::_LData (*runs)[][3],
             const int (*positions)[][3], int firstLine)
      : picture_(picture), runs_(runs), positions_(positions), firstLine_(firstLine) {}

  /// The slot of a line; the one before the first line has one too.
  int SlotOf(int line) const { return (line - firstLine_ + 1) % 3; }
  stairs::Run Holding(int line, int p) const {
    const KXOffscreen::_LData& run = At(line, p);
    return {run.start, run.end};
  }
  QMCOLORREF ColorOf(int line, const stairs::Run& run) const {
    return ::ColorOf(At(line, run.start).color);
  }
  bool Differ(int line, int beside, int p) const {
    return stairs::IsBorder(picture_.At(line, p), picture_.At(beside, p), stairs::kBorder);
  }
  bool MayBegin(int, int, int) const { return true; }
  bool MayCap(int, int, const stairs::Run&) const { return true; }

 private:
  const KXOffscreen::_LData& At(int line, int p) const {
    const int slot = SlotOf(line);
    return (*runs_)[(*positions_)[p][slot]][slot];
  }

  const stairs::Picture& picture_;
  const KXOffscreen::_LData (*runs_)[][3];
  const int (*positions_)[][3];
  int firstLine_;
};

}  // namespace

bool KXOffscreen::IsScratch(const KXOffscreen* image) const {
  return image && image != this && image->GetBitCount() == 32 && image->GetWidth() == GetWidth() &&
         image->GetHeight() == GetHeight();
}

void KXOffscreen::DoSmoothing(tagRECT* rect, KXOffscreen* scratch1, KXOffscreen* scratch2,
                              _LData (*)[][3], int (*)[][3]) {
  if (!IsValid()) return;
  Need(GetBitCount() == 32);
  Need(!scratch1 || (IsScratch(scratch1) && scratch1 != scratch2));
  Need(!scratch2 || IsScratch(scratch2));
  if (lockCount_ == 0) Lock();
  struct Unlocking {
    // The count alone tells: a caller's only lock is taken as well. This is kept so.
    ~Unlocking() {
      if (image.lockCount_ == 1) image.Unlock();
    }
    KXOffscreen& image;
  } unlocking{*this};
  const KXRect area = AreaOf(*this, rect);
  if (area.IsRectEmpty()) return;
  BYTE* const base = kxw::ClassicRow(*this, area.top) + area.left * GetPixelSize();
  const int width = area.Width(), height = area.Height();
  try {
    if (scratch1 || scratch2) {
      const Scratch first(scratch1, *this), second(scratch2, *this);
      stairs::ImageScratch scratch(*first.Get(), *second.Get(), area.left, area.top);
      stairs::SmoothBothWays(base, GetRowBytes(), width, height, scratch);
      FinishSmoothing(first.Get(), second.Get(), area.left, area.top, area.right, area.bottom);
    } else {
      stairs::SparseScratch scratch(width, height);
      stairs::SmoothBothWays(base, GetRowBytes(), width, height, scratch);
      scratch.ForEach([&](int x, int y, QMCOLORREF first, QMCOLORREF second) {
        BYTE* const at = base + std::ptrdiff_t{y} * GetRowBytes() + std::ptrdiff_t{x} * 4;
        const QMCOLORREF pixel = kxw::Classic32::Load(at, 0);
        kxw::Classic32::Store(at, 0, stairs::Merged(pixel, first, second));
      });
    }
  } catch (const std::bad_alloc&) {
    kxThrowError(kxw::kErrorNotEnoughMemory);
  }
}

void KXOffscreen::ExeSmoothing(KXOffscreen* scratch1, KXOffscreen* scratch2, _LData (*runs)[][3],
                               int (*positions)[][3], int direction, int start, int firstLine,
                               int end, int lastLine) {
  Need(runs && positions && IsScratch(scratch1) && IsScratch(scratch2) && scratch1 != scratch2);
  Need(IsLocked() && scratch1->IsLocked() && scratch2->IsLocked());
  Need(GetBitCount() == 32 && (direction == 0 || direction == 1));
  Need(0 <= start && start < end && end <= (direction == 0 ? GetWidth() : GetHeight()));
  Need(0 <= firstLine && lastLine <= (direction == 0 ? GetHeight() : GetWidth()));
  const stairs::Picture picture(GetBaseAddress(), GetRowBytes(), GetHeight(), direction == 1);
  const TableLines lines(picture, runs, positions, firstLine);
  stairs::ImageScratch scratch(*scratch1, *scratch2, 0, 0);
  stairs::Pass<TableLines, stairs::ImageScratch> pass(picture, {start, firstLine, end, lastLine},
                                                      lines, scratch);
  const auto ready = [&](int line) {
    if (line >= lastLine) return;
    ReadyLineData(runs, positions, direction, line, lines.SlotOf(line), start, end);
  };
  ready(firstLine);
  for (int line = firstLine; line < lastLine; ++line) {
    ready(line + 1);
    for (stairs::Run run = {start, start}; run.end != end;) {
      run = lines.Holding(line, run.end);
      pass.SmoothRun(line, run);
    }
  }
}

void KXOffscreen::ReadyLineData(_LData (*runs)[][3], int (*positions)[][3], int direction, int line,
                                int slot, int start, int end) {
  Need(runs && positions && IsLocked() && GetBitCount() == 32);
  Need((direction == 0 || direction == 1) && 0 <= slot && slot < 3);
  Need(0 <= line && line < (direction == 0 ? GetHeight() : GetWidth()));
  Need(0 <= start && start < end && end <= (direction == 0 ? GetWidth() : GetHeight()));
  const stairs::Picture picture(GetBaseAddress(), GetRowBytes(), GetHeight(), direction == 1);
  int count = 0, first = start;
  for (int p = start; p < end; ++p) {
    (*positions)[p][slot] = count;
    const QMCOLORREF here = picture.At(line, p);
    if (p + 1 < end && !stairs::IsBorder(here, picture.At(line, p + 1), stairs::kBorder)) continue;
    const QMCOLORREF mean = stairs::Mean(picture.At(line, first), here);
    (*runs)[count++][slot] = {first, p + 1, stairs::ChannelsOf(mean)};
    first = p + 1;
  }
}

int KXOffscreen::FindBorder(tagQMRGBCOLOR* a, tagQMRGBCOLOR* b, int threshold) {
  Need(a && b);
  return stairs::IsBorder(ColorOf(*a), ColorOf(*b), threshold);
}

tagQMRGBCOLOR KXOffscreen::CalcRGBValue(const tagQMRGBCOLOR& a, const tagQMRGBCOLOR& b, double t,
                                        double total) {
  const auto mix = [=](LONG from, LONG to) -> LONG {
    return kxw::Truncate(stairs::Ramp(from, to, t, total));
  };
  return {stairs::RampAlpha(mix(a.alpha, b.alpha)), mix(a.red, b.red), mix(a.green, b.green),
          mix(a.blue, b.blue)};
}

tagQMRGBCOLOR KXOffscreen::AveragePixel(const tagQMRGBCOLOR& a, const tagQMRGBCOLOR& b) {
  const auto mean = [](LONG x, LONG y) { return static_cast<LONG>((i64{x} + y) / 2); };
  return {mean(a.alpha, b.alpha), mean(a.red, b.red), mean(a.green, b.green), mean(a.blue, b.blue)};
}

void KXOffscreen::FinishSmoothing(KXOffscreen* scratch1, KXOffscreen* scratch2, int left, int top,
                                  int right, int bottom) {
  Need(IsScratch(scratch1) && IsScratch(scratch2) && GetBitCount() >= 24);
  KXRect area(0, 0, GetWidth(), GetHeight());
  if (!IsLocked() || !scratch1->IsLocked() || !scratch2->IsLocked()) return;
  if (!area.IntersectRect(KXRect(left, top, right, bottom))) return;
  const stairs::ImageScratch scratch(*scratch1, *scratch2, 0, 0);
  kxw::WithClassicDepth(GetBitCount(), [&](auto depth) {
    using Depth = decltype(depth);
    if constexpr (Depth::kBits >= 24) {
      for (int y = area.top; y < area.bottom; ++y) {
        BYTE* const row = kxw::ClassicRow(*this, y);
        for (int x = area.left; x < area.right; ++x) {
          const QMCOLORREF first = scratch.First(x, y), second = scratch.Second(x, y);
          if (first == stairs::kUntouched && second == stairs::kUntouched) continue;
          const QMCOLORREF pixel = Depth::To32(kxw::LoadPixel<Depth>(row, x));
          const QMCOLORREF merged = stairs::Merged(pixel, first, second);
          kxw::StorePixel<Depth>(row, x, Depth::From32(merged));
        }
      }
    }
  });
}
