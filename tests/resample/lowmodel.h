#pragma once

#include "tests/compositing/copymodel.h"

// The fast change of size pixel by pixel through the public cursor, as its rules tell it.
namespace testing_kxw {

struct SizeCase {
  int x, y, w, h, sx, sy, sw, sh, behind, skip;
};

inline std::ostream& operator<<(std::ostream& out, const SizeCase& c) {
  return out << c.x << ',' << c.y << ' ' << c.w << 'x' << c.h << " of " << c.sx << ',' << c.sy
             << ' ' << c.sw << 'x' << c.sh << " behind " << c.behind << " skip " << c.skip;
}

/// A transparent pixel is replaced, and behind others the source is laid.
inline u64 ModelLay(u64 d, u64 s, int channelBits) {
  const u64 full = (1ull << channelBits) - 1;
  return (d >> (3 * channelBits) & full) == 0 ? s : ModelBehind(d, s, channelBits);
}

/// One box of the general rule, laid on the pixel under the destination's cursor.
inline void ModelBox(KXVOffscreen& dst, KXVOffscreen& src, const KXRect& box, const SizeCase& c) {
  const int same = dst.GetBitCount() == src.GetBitCount() ? dst.GetBitCount() : 0;
  u64 sums[4] = {}, all = 0, drawn = 0, values[4] = {};
  for (int y = box.top; y < box.bottom; ++y) {
    for (int x = box.left; x < box.right; ++x, ++all) {
      src.MoveCursor(x, y);
      if (same == 1) ++values[src.Get1BitColor()];
      if (same == 2) ++values[src.Get2BitColor()];
      if (same == 8) sums[0] += src.Get8BitColor();
      const DWORD color = src.Get32BitColor();
      if (same == 8 || (c.skip && color >> 24 == 0)) continue;
      ++drawn;
      for (int i = 0; i < 4; ++i) sums[i] += color >> (8 * i) & 255;
    }
  }
  if (same == 1) {
    const bool set = all - values[1] < values[1];
    if (!c.behind) dst.Set1BitColor(set);
    if (c.behind && set && dst.Get1BitColor() == 0) dst.Set1BitColor(1);
  } else if (same == 2) {
    const u64 others = all - values[2] - values[3];
    const bool isNothing = others >= values[3] && others >= values[2];
    const BYTE value = isNothing ? 0 : values[3] > values[2] ? 3 : 2;
    if (!c.behind || (!isNothing && dst.Get2BitColor() == 0)) dst.Set2BitColor(value);
  } else if (same == 8) {
    const i64 sum = static_cast<i64>(sums[0]), b = dst.Get8BitColor();
    if (!c.behind) {
      dst.Set8BitColor(static_cast<BYTE>(sum));
    } else if (sum != 0) {
      dst.Set8BitColor(static_cast<BYTE>(255 - ((255 - b) * (255 - sum) >> 8)));
    }
  } else {
    DWORD color = 0;
    for (int i = 0; i < 4 && drawn > 0; ++i) {
      color |= static_cast<DWORD>(sums[i] / (i == 3 ? all : drawn)) << (8 * i);
    }
    if (!c.behind) {
      dst.Set32BitColor(color);
    } else if (color >> 24) {
      dst.Set32BitColor(static_cast<DWORD>(ModelLay(dst.Get32BitColor(), color, 8)));
    }
  }
}

inline void ModelLow(KXVOffscreen& dst, KXVOffscreen& src, const SizeCase& c) {
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  KXTArray<tagRECT, 0> targets, parts;
  dst.GetBlockArea(KXRect(c.x, c.y, c.x + c.w, c.y + c.h), targets, 1);
  for (int t = 0; t < targets.GetCount(); ++t) {
    const tagRECT d = targets[t];
    const KXRect area((d.left - c.x) * c.sw / c.w + c.sx, (d.top - c.y) * c.sh / c.h + c.sy,
                      (d.right - c.x) * c.sw / c.w + c.sx, (d.bottom - c.y) * c.sh / c.h + c.sy);
    src.GetBlockArea(area, parts, 1);
    for (int p = 0; p < parts.GetCount(); ++p) {
      const tagRECT s = parts[p];
      if (!src.GetBlockExist(s.left, s.top)) continue;
      const int left = std::max((s.left - c.sx) * c.w / c.sw + c.x, int{d.left});
      const int top = std::max((s.top - c.sy) * c.h / c.sh + c.y, int{d.top});
      const int right = s.right == area.right ? int{d.right} : (s.right - c.sx) * c.w / c.sw + c.x;
      const int bottom =
          s.bottom == area.bottom ? int{d.bottom} : (s.bottom - c.sy) * c.h / c.sh + c.y;
      const int bw = s.right - s.left, bh = s.bottom - s.top, dw = right - left, dh = bottom - top;
      int row = s.top;
      for (int y = top; y < bottom; ++y) {
        const int nextRow = (y - top + 1) * bh / dh + s.top;
        int column = s.left;
        for (int x = left; x < right; ++x) {
          const int nextColumn = (x - left + 1) * bw / dw + s.left;
          dst.MoveCursor(x, y);
          ModelBox(
              dst, src,
              KXRect(column, row, std::max(nextColumn, column + 1), std::max(nextRow, row + 1)), c);
          column = nextColumn;
        }
        row = nextRow;
      }
    }
  }
}

inline void ModelLow64(KXVOffscreen& dst, KXVOffscreen& src, const SizeCase& c) {
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  const KXRect rect = KXRect(c.x, c.y, c.x + c.w, c.y + c.h) & dst.GetRect();
  for (int y = rect.top; y < rect.bottom; ++y) {
    for (int x = rect.left; x < rect.right; ++x) {
      const int u = (x - c.x) * c.sw / c.w + c.sx, v = (y - c.y) * c.sh / c.h + c.sy;
      u64 sums[4] = {}, count = 0;
      const auto add = [&](int column, int row) {
        src.MoveCursor(column, row);
        const u64 color = src.Get64BitColor();
        if (c.skip && color >> 48 == 0) return;
        ++count;
        for (int i = 0; i < 4; ++i) sums[i] += color >> (16 * i) & 0xFFFF;
      };
      add(u, v);
      const int n = (x - c.x + 1) * c.sw / c.w - u + c.sx;
      if (c.w < c.sw && u + n <= c.sw) {
        for (int i = 1; i < n; ++i) add(u + i, v);
      }
      const int m = (y - c.y + 1) * c.sh / c.h - v + c.sy;
      if (c.h < c.sh && v + m <= c.sh) {
        for (int j = 1; j < m; ++j) {
          if (u + n > c.sw) add(u, v + j);
          for (int i = 0; i < n && u + n <= c.sw; ++i) add(u + i, v + j);
        }
      }
      u64 color = 0;
      for (int i = 0; i < 4 && count > 0; ++i) color |= sums[i] / count << (16 * i);
      dst.MoveCursor(x, y);
      if (!c.behind) {
        dst.Set64BitColor(color);
      } else if (color >> 48) {
        dst.Set64BitColor(ModelLay(dst.Get64BitColor(), color, 16));
      }
    }
  }
}

}  // namespace testing_kxw
