#include "kxwcmn/classic/seedfill_internal.h"

#include <algorithm>
#include <limits>

namespace kxw {

OpenPixels::OpenPixels(int width, int height)
    : rowWords_(static_cast<std::size_t>(width) / 64 + 1),
      height_(height),
      rows_(static_cast<std::size_t>(height) + 2) {}

OpenPixels::~OpenPixels() = default;

u64* OpenPixels::MakeRow(int y) {
  constexpr std::size_t kMostWords = 8192;
  // Each row has a word of zeros before it.
  const std::size_t words = rowWords_ + 1;
  if (left_ == 0) {
    left_ = std::max<std::size_t>(pieceWords_ / words, 1);
    memory_.push_back(std::make_unique<u64[]>(left_ * words));
    pieceWords_ = std::min(2 * pieceWords_, kMostWords);
  }
  u64* const row = memory_.back().get() + --left_ * words + 1;
  if (y >= 0 && y < height_) Read(y, row);
  return rows_[static_cast<std::size_t>(y + 1)] = row;
}

void SeedStack::Grow() {
  constexpr int kMost = std::numeric_limits<int>::max();
  const std::ptrdiff_t count = top_ - begin_;
  const int capacity = static_cast<int>(end_ - begin_);
  more_.SetCount(capacity > kMost / 2 ? kMost : capacity * 2);
  if (begin_ == first_) std::copy(begin_, top_, more_.begin());
  begin_ = more_.begin();
  top_ = begin_ + count;
  end_ = more_.end();
}

}  // namespace kxw
