#include "view_image/pyramid.h"

#include <algorithm>

#include "view_image/pixels.h"

namespace viewimage {
namespace {

constexpr int kBlock = KXVOffscreen::kBlockSize;

int Half(int size) { return size / 2 + size % 2; }

/// Weighs colours by their alpha, so that plain averages of them are right.
void Weigh(DWORD* pixels, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const DWORD p = pixels[i], alpha = p >> 24;
    if (alpha == 255) continue;
    DWORD weighed = alpha << 24;
    for (int shift = 0; shift < 24; shift += 8) {
      weighed |= ((p >> shift & 255) * alpha + 127) / 255 << shift;
    }
    pixels[i] = weighed;
  }
}

/// The inverse.
void Unweigh(DWORD* pixels, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const DWORD p = pixels[i], alpha = p >> 24;
    if (alpha == 255 || p == 0) continue;
    DWORD plain = alpha << 24;
    for (int shift = 0; alpha && shift < 24; shift += 8) {
      plain |= std::min<DWORD>(255, ((p >> shift & 255) * 255 + alpha / 2) / alpha) << shift;
    }
    pixels[i] = plain;
  }
}

}  // namespace

Pyramid::Pyramid(KXVOffscreen& picture)
    : picture_(picture),
      finer_(KXVOffscreen::Make(32, 2 * kBlock, 2 * kBlock, 72, picture.GetVirtualMemory())),
      pixels_(std::size_t{4} * kBlock * kBlock) {
  int width = picture.GetWidth(), height = picture.GetHeight();
  // Down to one pixel, for windows of one.
  while (std::max(width, height) > 1) {
    width = Half(width);
    height = Half(height);
    Copy copy;
    copy.image = KXVOffscreen::Make(32, width, height, 72, picture.GetVirtualMemory());
    copy.made.resize(At(copy.image->GetBlockCount(&copy.columns, &copy.rows)));
    copies_.push_back(std::move(copy));
  }
}

bool Pyramid::IsMade(int level, int column, int row) {
  return level == 0 || Made(level, column, row);
}

bool Pyramid::MakeOne(int level, const KXRect& cells) {
  if (level == 0) return false;
  const Copy& copy = copies_[At(level - 1)];
  for (int row = std::max(cells.top, 0); row < std::min(cells.bottom, copy.rows); ++row) {
    for (int column = std::max(cells.left, 0); column < std::min(cells.right, copy.columns);
         ++column) {
      if (Made(level, column, row)) continue;
      MakeWithParts(level, column, row);
      return true;
    }
  }
  return false;
}

bool Pyramid::MakeOne() {
  for (int level = 1; level <= Levels(); ++level) {
    Copy& copy = copies_[At(level - 1)];
    while (copy.next < copy.made.size() && copy.made[copy.next]) ++copy.next;
    if (copy.next == copy.made.size()) continue;
    const int index = static_cast<int>(copy.next);
    MakeWithParts(level, index % copy.columns, index / copy.columns);
    return true;
  }
  return false;
}

std::vector<bool>::reference Pyramid::Made(int level, int column, int row) {
  Copy& copy = copies_[At(level - 1)];
  return copy.made[At(row) * At(copy.columns) + At(column)];
}

/// Makes the block or, if it lacks a part, the first one below it that lacks none.
void Pyramid::MakeWithParts(int level, int column, int row) {
  if (level > 1) {
    const Copy& finer = copies_[At(level - 2)];
    for (int y = 2 * row; y < std::min(2 * row + 2, finer.rows); ++y) {
      for (int x = 2 * column; x < std::min(2 * column + 2, finer.columns); ++x) {
        if (!Made(level - 1, x, y)) return MakeWithParts(level - 1, x, y);
      }
    }
  }
  Make(level, column, row);
}

void Pyramid::Make(int level, int column, int row) {
  KXVOffscreen &from = Level(level - 1), &to = Level(level);
  bool isAnything = from.GetBitCount() == 24;  // where there is no block it is white
  for (int i = 0; i < 4; ++i) {
    isAnything |= from.IsCreatedBlockByIndex(2 * column + i % 2, 2 * row + i / 2) != 0;
  }
  if (isAnything) {
    const int left = 2 * column * kBlock, top = 2 * row * kBlock;
    const int width = std::min(2 * kBlock, from.GetWidth() - left);
    const int height = std::min(2 * kBlock, from.GetHeight() - top);
    // Squares at the edge that lack pixels take the last ones again.
    const int evenWidth = 2 * Half(width), evenHeight = 2 * Half(height);
    DWORD* const pixels = pixels_.data();
    ReadAsShown(from, KXRect(left, top, left + width, top + height), pixels, evenWidth);
    if (evenWidth != width) {
      for (int y = 0; y < height; ++y) {
        pixels[y * evenWidth + width] = pixels[y * evenWidth + width - 1];
      }
    }
    if (evenHeight != height) {
      std::copy_n(pixels + (height - 1) * evenWidth, evenWidth, pixels + height * evenWidth);
    }
    const std::size_t count = At(evenWidth) * At(evenHeight);
    const bool isOpaque = IsOpaque(pixels, count);
    if (!isOpaque) Weigh(pixels, count);
    finer_->WritePixels(KXRect(0, 0, evenWidth, evenHeight), KXPixelFormat::kBgra8, pixels);
    const KXRect part(column * kBlock, row * kBlock, column * kBlock + evenWidth / 2,
                      row * kBlock + evenHeight / 2);
    to.ChangeResolutionHalf(part.left, part.top, part.Width(), part.Height(), finer_.get(), 0, 0,
                            0);
    if (!isOpaque) {
      to.ReadPixels(part, KXPixelFormat::kBgra8, pixels);
      Unweigh(pixels, count / 4);
      to.WritePixels(part, KXPixelFormat::kBgra8, pixels);
      to.OptimizeBlock(part);
    }
  }
  Made(level, column, row) = true;
}

}  // namespace viewimage
