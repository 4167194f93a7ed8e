#pragma once

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "tests/classic/support.h"

namespace classic_test {

/// The smoothing after its rules, step by step, on plain arrays: run tables of whole lines, every
/// run looked at, and two scratch pictures of full size.
class ModelSmoothing {
 public:
  struct Pixel {
    int a, r, g, b;
    bool operator==(const Pixel&) const = default;
  };
  static constexpr Pixel kNone = {0, 255, 255, 255};

  explicit ModelSmoothing(const KXOffscreen& image)
      : width_(image.GetWidth()), height_(image.GetHeight()) {
    for (int y = 0; y < height_; ++y) {
      for (int x = 0; x < width_; ++x) {
        const DWORD c = Model::Get(image, 32, x, y);
        image_.push_back({static_cast<int>(c >> 24), Model::R(c), Model::G(c), Model::B(c)});
      }
    }
    scratch1_.assign(image_.size(), kNone);
    scratch2_ = scratch1_;
  }

  /// Both passes and the merge; the ends of the area are exclusive.
  void Run(int left, int top, int right, int bottom) {
    Sweep(0, left, top, right, bottom);
    Sweep(1, height_ - bottom, left, height_ - top, right);
    for (int y = top; y < bottom; ++y) {
      for (int x = left; x < right; ++x) Merge(Index(x, y));
    }
  }

  std::vector<DWORD> Image() const { return Colors(image_); }
  std::vector<DWORD> Scratch1() const { return Colors(scratch1_); }
  std::vector<DWORD> Scratch2() const { return Colors(scratch2_); }

  static bool Border(const Pixel& p, const Pixel& q, int threshold) {
    if (p == q) return false;
    const auto flat = [](const Pixel& v, int channel) {
      const double weight = v.a / 255;
      return static_cast<int>(channel * weight + (1.0 - weight) * 255.0);
    };
    const int d = std::abs(flat(p, p.r) - flat(q, q.r)) + std::abs(flat(p, p.g) - flat(q, q.g)) +
                  std::abs(flat(p, p.b) - flat(q, q.b));
    return d > threshold || std::abs(p.a - q.a) > 200;
  }

 private:
  struct Stretch {
    int s, e;
    Pixel color;
  };
  using Line = std::vector<Stretch>;

  std::size_t Index(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
           static_cast<std::size_t>(x);
  }
  std::size_t At(int line, int p) const {
    return direction_ == 0 ? Index(p, line) : Index(line, height_ - p - 1);
  }
  const Pixel& Image(int line, int p) const { return image_[At(line, p)]; }

  static std::vector<DWORD> Colors(const std::vector<Pixel>& pixels) {
    std::vector<DWORD> colors;
    for (const Pixel& p : pixels) {
      colors.push_back(static_cast<DWORD>(p.a) << 24 | static_cast<DWORD>(p.b) << 16 |
                       static_cast<DWORD>(p.g) << 8 | static_cast<DWORD>(p.r));
    }
    return colors;
  }

  Line Cut(int line) const {
    Line runs = {{start_, 0, {}}};
    const auto close = [&](int p) {
      const Pixel &a = Image(line, runs.back().s), &b = Image(line, p);
      runs.back().e = p + 1;
      runs.back().color = {(a.a + b.a) / 2, (a.r + b.r) / 2, (a.g + b.g) / 2, (a.b + b.b) / 2};
    };
    for (int p = start_ + 1; p < end_; ++p) {
      if (!Border(Image(line, p - 1), Image(line, p), 42)) continue;
      close(p - 1);
      runs.push_back({p, 0, {}});
    }
    close(end_ - 1);
    return runs;
  }

  static std::size_t Holding(const Line& runs, int p) {
    std::size_t i = 0;
    while (runs[i].e <= p) ++i;
    return i;
  }

  void Sweep(int direction, int start, int firstLine, int end, int lastLine) {
    direction_ = direction, start_ = start, end_ = end;
    Line previous, current = Cut(firstLine), next;
    for (int line = firstLine; line < lastLine; ++line) {
      next = line < lastLine - 1 ? Cut(line + 1) : Line();
      for (const Stretch& run : current) Smooth(line, run, previous, next);
      previous = current;
      current = next;
    }
  }

  struct Matches {
    const Stretch *start = nullptr, *end = nullptr;
  };

  Matches Match(const Stretch& run, const Line& beside) const {
    Matches matches;
    if (beside.empty()) return matches;
    std::size_t i = run.s == start_ ? 0 : Holding(beside, run.s - 1);
    for (; i < beside.size() && beside[i].s <= run.e; ++i) {
      const bool isSame = !Border(beside[i].color, run.color, 64);
      if (beside[i].s > run.s && isSame) matches.start = &beside[i];
      if (beside[i].e >= run.s && beside[i].e < run.e && isSame) matches.end = &beside[i];
      if (matches.start && matches.end) break;
    }
    return matches;
  }

  void Smooth(int line, const Stretch& run, const Line& previous, const Line& next) {
    const Matches above = Match(run, previous), below = Match(run, next);
    const int s = run.s, e = run.e;
    if (above.start) Step(line, -1, s, 1, s == start_ ? s : s - 1, above.start->s - s);
    if (below.start) Step(line, 1, s, 1, s == start_ ? s : s - 1, below.start->s - s);
    if (above.end) Step(line, -1, e - 1, -1, e == end_ ? e - 1 : e, e - above.end->e);
    if (below.end) Step(line, 1, e - 1, -1, e == end_ ? e - 1 : e, e - below.end->e);
    if (e - s >= 2) Whole(line, run, previous, above, next, below);
  }

  static Pixel Calc(const Pixel& a, const Pixel& b, double t, double total) {
    const auto mix = [=](int x, int y) { return static_cast<int>(x * (total - t) + y * t); };
    Pixel c = {mix(a.a, b.a), mix(a.r, b.r), mix(a.g, b.g), mix(a.b, b.b)};
    if (c.a == 0) c.a = 1;
    return c;
  }
  static Pixel Ruled(const Pixel& c, bool clear, const Pixel& P, const Pixel& A) {
    if (!clear) return {0, c.r, c.g, c.b};
    const Pixel& from = P.a != 0 ? P : A;
    return {c.a, from.r, from.g, from.b};
  }

  void Step(int line, int to, int first, int by, int outer, int L) {
    if (direction_ == 1 && L == 1) return;
    const int half = L / 2 + L % 2;
    const Pixel A = Image(line, outer);
    Pixel before = A;
    for (int i = 0; i < half; ++i) {
      const Pixel P = Image(line, first + i * by), Q = Image(line + to, first + i * by);
      if (!Border(P, Q, 42) || Border(Q, before, 64)) return;
      before = Q;
    }
    const double d = 1.0 / L, h = d * 0.5;
    double w = h + 0.5;
    bool clear = A.a == 0;
    for (int i = 0; i < half; ++i) {
      const int p = first + i * by;
      const Pixel P = Image(line, p);
      Pixel &T1 = scratch1_[At(line, p)], &T2 = scratch2_[At(line, p)];
      if (P.a == 0) clear = true;
      if (L >= 2 && i == 0) {
        Pixel C1 = Calc(A, P, h * 0.25, 0.25);
        const Pixel C2 = Calc(A, P, d * 0.25 + h * 0.25, 0.25);
        if (direction_ == 0) {
          T1 = Ruled(C1, clear, P, A);
          T2 = Ruled(C2, clear, P, A);
        } else {
          if (T2 == kNone) {
            C1 = Calc(A, P, w, 1.0);
          } else {
            const auto sum = [](int c1, int t1, int c2, int s, int t2) {
              return std::min(255, c2 + (c1 + t1) / 2 + s / 4 + t2);
            };
            C1 = {sum(C1.a, T1.a, C2.a, P.a, T2.a), sum(C1.r, T1.r, C2.r, P.r, T2.r),
                  sum(C1.g, T1.g, C2.g, P.g, T2.g), sum(C1.b, T1.b, C2.b, P.b, T2.b)};
          }
          T1 = Ruled(C1, clear, P, A);
          T2 = kNone;
        }
      } else if (to != 1 || L != 1) {
        if (i == half - 1 && L % 2 == 1) w = 1 - h * 0.25;
        T1 = Ruled(Calc(A, P, w, 1.0), clear, P, A);
      } else if (T2 == kNone) {
        T1 = Ruled(Calc(A, P, 1 - h * 0.25, 1.0), clear, P, A);
      }
      w += d;
    }
  }

  struct Open {
    bool capped = false, left = false, right = false;
  };

  Open Look(int line, int to, const Stretch& run, const Line& beside,
            const Matches& matches) const {
    Open open;
    if (beside.empty() || run.s == start_) return open;
    const Pixel &Lc = Image(line, run.s - 1), &Rc = Image(line, std::min(run.e, end_ - 1));
    Pixel before = Lc;
    open.capped = true;
    for (int p = run.s; p < run.e && open.capped; ++p) {
      const Pixel P = Image(line, p), Q = Image(line + to, p);
      if (!Border(P, Q, 64) || Border(Q, before, 42)) open.capped = false;
      before = Q;
    }
    if (open.capped && Border(before, Rc, 42)) open.capped = false;
    if (open.capped) return open;
    const Stretch& held = beside[Holding(beside, run.s)];
    if (held.s <= run.s && held.e >= run.e) {
      open.left = held.s < run.s;
      open.right = held.e > run.e;
    } else {
      open.right = matches.start && matches.start->e > run.e;
      open.left = matches.end && matches.end->s < run.s;
    }
    return open;
  }

  void Whole(int line, const Stretch& run, const Line& previous, const Matches& ofPrevious,
             const Line& next, const Matches& ofNext) {
    const Open above = Look(line, -1, run, previous, ofPrevious);
    const Open below = Look(line, 1, run, next, ofNext);
    if (!(above.capped && (below.left || below.right)) &&
        !(below.capped && (above.left || above.right))) {
      return;
    }
    const int s = run.s, e = run.e, half = (e - s) / 2;
    const auto ramp = [&](int first, int by, const Pixel& outer) {
      const double d = 0.5 / half, h = d * 0.25;
      double w = h + 0.5;
      bool clear = outer.a == 0;
      for (int i = 0; i < half; ++i, w += d) {
        const int p = first + i * by;
        const Pixel P = Image(line, p);
        if (P.a == 0) clear = true;
        scratch1_[At(line, p)] = Ruled(Calc(outer, P, w, 1.0), clear, P, outer);
        scratch2_[At(line, p)] = kNone;
      }
    };
    if (above.left || below.left) ramp(s, 1, Image(line, s - 1));
    if ((above.right || below.right) && e < end_ - 1) ramp(e - 1, -1, Image(line, e));
  }

  void Merge(std::size_t i) {
    const Pixel &T1 = scratch1_[i], &T2 = scratch2_[i];
    Pixel& S = image_[i];
    const bool is1 = !(T1 == kNone), is2 = !(T2 == kNone);
    if (!is1 && !is2) return;
    if (T1.a != 0 || T2.a != 0) {
      S = {T2.a != 0 ? (S.a / 2 + T2.a + T1.a) & 255 : T1.a, T1.r, T1.g, T1.b};
    } else if (is1 && is2) {
      S = {255, (S.r / 2 + T2.r + T1.r) & 255, (S.g / 2 + T2.g + T1.g) & 255,
           (S.b / 2 + T2.b + T1.b) & 255};
    } else {
      S = {255, T1.r, T1.g, T1.b};
    }
  }

  int width_, height_;
  std::vector<Pixel> image_, scratch1_, scratch2_;
  int direction_ = 0, start_ = 0, end_ = 0;
};

}  // namespace classic_test
