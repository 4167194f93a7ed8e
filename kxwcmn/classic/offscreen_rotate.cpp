#include <array>
#include <cmath>
#include <new>
#include <vector>

#include "kxwcmn/classic/resize_internal.h"
#include "kxwcmn/classic/stlockoff.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/number.h"
#include "kxwcmn/platform/vectorize_internal.h"
#include "kxwcmn/resample/detail/bilinear.h"

// Turns by any angle. The result is painted tile by tile; the colours of the source that a tile
// needs are brought to one plain array first, in which depths and edges are settled, so that the
// loops over the tile's pixels know none of them.

namespace {

constexpr int kTile = 128;  // its window of the source fits the nearer caches
constexpr DWORD kWhite = 0x00FFFFFF;
constexpr DWORD kKept = 0xFF000000;  // no colour of 24 bits: what is there stays

std::size_t Index(i64 i) { return static_cast<std::size_t>(i); }

struct Turn {
  double cosine, sine;
  // The place that is turned about, in the result and in the source.
  double x = 0, y = 0, u = 0, v = 0;

  explicit Turn(int degrees) {
    const double angle = degrees * 0.017453292519943295;
    cosine = std::cos(angle);
    sine = std::sin(angle);
  }

  /// The box around a turned rectangle.
  KXRect BoxOf(double left, double top, double right, double bottom) const {
    KXRect box;
    bool isFirst = true;
    for (const double px : {left, right}) {
      for (const double py : {top, bottom}) {
        const int tx = kxw::Truncate(px * cosine + py * sine);
        const int ty = kxw::Truncate(py * cosine - px * sine);
        if (isFirst) box = KXRect(tx, ty, tx, ty);
        isFirst = false;
        box = KXRect(std::min<int>(box.left, tx), std::min<int>(box.top, ty),
                     std::max<int>(box.right, tx), std::max<int>(box.bottom, ty));
      }
    }
    return box;
  }

  // Both go one way along a row and along a column.
  double U(double atX, double atY) const { return (atX - x) * cosine - (atY - y) * sine + u; }
  double V(double atX, double atY) const { return (atY - y) * cosine + (atX - x) * sine + v; }
};

/// The pixel left of or above a place. A place on a pixel belongs to that one, but from 0 on
/// downwards to the one before, which gives the same mixture.
inline int PixelBefore(double at) { return static_cast<int>(at) - (at <= 0); }

/// Places that have one of their four pixels in the source.
bool IsInside(double at, int limit) { return at > -1 && at < limit; }

/// A tile's part of the source, as colours, in white.
class Window {
 public:
  explicit Window(const KXOffscreen& source)
      : source_(source), read_(kxw::FindClassicReadColors(source.GetBitCount())) {}

  void Load(const KXRect& rect) {
    rect_ = rect;
    colors_.assign(Index(i64{rect.Width()} * rect.Height()), kWhite);
    const KXRect inside = rect & KXRect(0, 0, source_.GetWidth(), source_.GetHeight());
    for (int y = inside.top; y < inside.bottom; ++y) {
      read_(&colors_[Index(i64{y - rect.top} * rect.Width() + inside.left - rect.left)],
            kxw::ClassicRow(source_, y), inside.left, inside.Width());
    }
  }
  const DWORD* Colors() const { return colors_.data(); }
  const KXRect& Rect() const { return rect_; }

 private:
  const KXOffscreen& source_;
  const kxw::ClassicReadColorsFunc read_;
  KXRect rect_;
  std::vector<DWORD> colors_;
};

/// Places of a row: each four pixels in the window, by the first of them, and the way from that one
/// to the right and down.
struct Places {
  std::array<int, kTile> offset;
  std::array<double, kTile> fx, fy;
};

/// The pixels of a row that are mixed of four.
struct Mixtures {
  int count = 0;
  std::array<int, kTile> at;
  std::array<DWORD, kTile> c00, c10, c01, c11, mixed;
  std::array<double, kTile> fx, fy;
};

void Turned(const Turn& turn, int x, int y, int count, double* us, double* vs) {
  for (int i = 0; i < count; ++i) {
    us[i] = turn.U(x + i, y);
    vs[i] = turn.V(x + i, y);
  }
}

void FindPlaces(Places& places, const double* us, const double* vs, int count,
                const KXRect& window) {
  const int left = window.left, top = window.top, stride = window.Width();
  for (int i = 0; i < count; ++i) {
    const int u = PixelBefore(us[i]), v = PixelBefore(vs[i]);
    const auto k = static_cast<std::size_t>(i);
    places.offset[k] = (v - top) * stride + (u - left);
    places.fx[k] = us[i] - u;
    places.fy[k] = vs[i] - v;
  }
}

void Mix(Mixtures& m) {
  const auto channel = [](DWORD color, int shift) {
    return static_cast<double>(static_cast<int>(color >> shift & 0xFF));
  };
  for (std::size_t i = 0; i < static_cast<std::size_t>(m.count); ++i) {
    int mixed = 0;
    for (int shift = 0; shift < 24; shift += 8) {
      mixed |= static_cast<int>(kxw::MixOfFour(channel(m.c00[i], shift), channel(m.c10[i], shift),
                                               channel(m.c01[i], shift), channel(m.c11[i], shift),
                                               m.fx[i], m.fy[i]))
               << shift;
    }
    m.mixed[i] = static_cast<DWORD>(mixed);
  }
}

class Painter {
 public:
  /// Place (x, y) of the turned image is pixel (x - `origin.x`, y - `origin.y`) of `image`. Where
  /// nothing of the source is, `color` is painted; with `keepsWhite` four white pixels paint
  /// nothing, and nor does the color `kKept`.
  Painter(KXOffscreen& image, const KXOffscreen& source, const Turn& turn, KXPoint origin,
          DWORD color, bool keepsWhite)
      : image_(image),
        width_(source.GetWidth()),
        height_(source.GetHeight()),
        turn_(turn),
        origin_(origin),
        color_(color),
        keepsWhite_(keepsWhite),
        window_(source),
        write_(kxw::FindClassicWriteColors(image.GetBitCount())) {}

  /// Paints what of `box` lies in the image.
  void Paint(const KXRect& box) {
    const auto cut = [](int at, int origin, int limit) {
      return static_cast<int>(std::clamp<i64>(i64{at} - origin, 0, limit));
    };
    const KXRect area(cut(box.left, origin_.x, image_.GetWidth()),
                      cut(box.top, origin_.y, image_.GetHeight()),
                      cut(box.right, origin_.x, image_.GetWidth()),
                      cut(box.bottom, origin_.y, image_.GetHeight()));
    for (i64 y = area.top; y < area.bottom; y += kTile) {
      for (i64 x = area.left; x < area.right; x += kTile) {
        PaintTile(KXRect(static_cast<int>(x), static_cast<int>(y),
                         static_cast<int>(std::min<i64>(x + kTile, area.right)),
                         static_cast<int>(std::min<i64>(y + kTile, area.bottom))));
      }
    }
  }

 private:
  void PaintTile(const KXRect& tile) {
    const double left = tile.left + origin_.x, right = tile.right - 1 + origin_.x;
    const double top = tile.top + origin_.y, bottom = tile.bottom - 1 + origin_.y;
    const double us[] = {turn_.U(left, top), turn_.U(right, top), turn_.U(left, bottom),
                         turn_.U(right, bottom)};
    const double vs[] = {turn_.V(left, top), turn_.V(right, top), turn_.V(left, bottom),
                         turn_.V(right, bottom)};
    KXRect window;
    const bool isOutside = !SetSpan(us, width_, window.left, window.right) ||
                           !SetSpan(vs, height_, window.top, window.bottom);
    if (isOutside) {
      if (color_ == kKept) return;
      std::fill_n(colors_.begin(), tile.Width(), color_);
    } else {
      window_.Load(window);
    }
    for (int y = tile.top; y < tile.bottom; ++y) {
      if (!isOutside) TurnRow(tile.left + origin_.x, y + origin_.y, tile.Width());
      BYTE* const row = kxw::ClassicRow(image_, y);
      for (int at = 0, end; at < tile.Width(); at = end + 1) {
        end = tile.Width();
        if (keepsWhite_) {
          end = static_cast<int>(std::find(colors_.data() + at, colors_.data() + end, kKept) -
                                 colors_.data());
        }
        if (at < end) write_(row, tile.left + at, colors_.data() + at, end - at);
      }
    }
  }

  /// The pixels of the source that are around places between those of a tile's corners; false if
  /// none of these places is inside.
  static bool SetSpan(const double (&corners)[4], int limit, LONG& low, LONG& high) {
    const double least = *std::min_element(corners, corners + 4);
    const double most = *std::max_element(corners, corners + 4);
    if (most <= -1 || least >= limit) return false;
    low = PixelBefore(std::max(least, -0.5));
    high = PixelBefore(std::min(most, limit - 0.5)) + 2;
    return true;
  }

  /// The colours of `count` places from (x, y) on.
  void TurnRow(int x, int y, int count) {
    std::array<double, kTile> us, vs;
    kxw::InVectors<Turned>(turn_, x, y, count, us.data(), vs.data());
    int begin = 0, end = count;
    const auto isInside = [&](int i) {
      return IsInside(us[Index(i)], width_) && IsInside(vs[Index(i)], height_);
    };
    while (begin < end && !isInside(begin)) ++begin;
    while (begin < end && !isInside(end - 1)) --end;
    std::fill_n(colors_.begin(), begin, color_);
    std::fill(colors_.begin() + end, colors_.begin() + count, color_);

    kxw::InVectors<FindPlaces>(places_, us.data() + begin, vs.data() + begin, end - begin,
                               window_.Rect());
    const int stride = window_.Rect().Width();
    Mixtures& m = mixtures_;
    m.count = 0;
    for (int i = begin; i < end; ++i) {
      const std::size_t place = Index(i - begin);
      const DWORD* const at = window_.Colors() + places_.offset[place];
      const DWORD c00 = at[0], c10 = at[1], c01 = at[stride], c11 = at[stride + 1];
      if (((c00 ^ c10) | (c00 ^ c01) | (c00 ^ c11)) == 0) {
        colors_[Index(i)] = keepsWhite_ && c00 == kWhite ? kKept : c00;
        continue;
      }
      const std::size_t k = Index(m.count++);
      m.at[k] = i;
      m.c00[k] = c00, m.c10[k] = c10, m.c01[k] = c01, m.c11[k] = c11;
      m.fx[k] = places_.fx[place];
      m.fy[k] = places_.fy[place];
    }
    if (m.count == 0) return;
    kxw::InVectors<Mix>(m);
    for (std::size_t k = 0; k < Index(m.count); ++k) colors_[Index(m.at[k])] = m.mixed[k];
  }

  KXOffscreen& image_;
  const int width_, height_;  // of the source
  const Turn& turn_;
  const KXPoint origin_;
  const DWORD color_;
  const bool keepsWhite_;
  Window window_;
  const kxw::ClassicWriteColorsFunc write_;
  std::array<DWORD, kTile> colors_;
  Places places_;
  Mixtures mixtures_;
};

/// The corner of the box around the whole turned image, or 0 where that is above 0.
KXPoint OriginOf(const KXRect& box) {
  return KXPoint(std::min<int>(box.left, 0), std::min<int>(box.top, 0));
}

void Paint(KXOffscreen& image, const KXOffscreen& source, const Turn& turn, KXPoint origin,
           const KXRect& box, DWORD color, bool keepsWhite) {
  try {
    const kxw::ReadApart from(source, image);
    Painter(image, from.Image(), turn, origin, color, keepsWhite).Paint(box);
  } catch (const std::bad_alloc&) {
    kxThrowError(kxw::kErrorNotEnoughMemory);
  }
}

}  // namespace

void KXOffscreen::RotationImage(KXOffscreen& dest, int angle, int x, int y, int width, int height,
                                DWORD color) {
  if (!IsLocked() || !dest.IsLocked() || width < 1 || height < 1) return;
  const Turn turn(angle);
  const KXPoint origin = OriginOf(turn.BoxOf(0, 0, GetWidth(), GetHeight()));
  const KXRect box =
      turn.BoxOf(x, y, static_cast<double>(x) + width, static_cast<double>(y) + height);
  Paint(dest, *this, turn, origin, box, color & kWhite, false);
}

void KXOffscreen::CreateRotationImage(KXOffscreen& dest, int angle, int mode) {
  if (!IsLocked()) return;
  Turn turn(angle);
  const bool isNew = !dest.IsValid();
  if (!isNew && !dest.IsLocked()) return;
  KXPoint origin;
  KXRect box = turn.BoxOf(0, 0, GetWidth(), GetHeight());
  if (mode == 0) {
    origin = OriginOf(box);
  } else {
    const double w = GetWidth() * 0.5, h = GetHeight() * 0.5;
    const double x = std::max(std::abs(w * turn.cosine + h * turn.sine),
                              std::abs(w * turn.cosine - h * turn.sine));
    const double y = std::max(std::abs(h * turn.cosine - w * turn.sine),
                              std::abs(h * turn.cosine + w * turn.sine));
    box = isNew ? KXRect(0, 0, kxw::Truncate(2 * x), kxw::Truncate(2 * y))
                : KXRect(0, 0, dest.GetWidth(), dest.GetHeight());
    turn.x = box.right * 0.5;
    turn.y = box.bottom * 0.5;
    turn.u = w;
    turn.v = h;
  }
  if (isNew) {
    const i64 width = i64{box.right} - box.left, height = i64{box.bottom} - box.top;
    if (width > kxw::kMaxImageSize || height > kxw::kMaxImageSize) {
      kxThrowError(kxw::kFailureBadArgument);
    }
    dest.Create(static_cast<int>(width), static_cast<int>(height), GetBitCount(), 0xFFFFFFFF, 1);
  }
  try {
    const KXStLockOff lock(&dest);
    Paint(dest, *this, turn, origin, box, isNew ? kKept : kWhite, true);
  } catch (...) {
    if (isNew) dest.Destroy();
    throw;
  }
}
