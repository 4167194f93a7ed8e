#include <algorithm>

#include "kxwcmn/offscreen/voffscreen_depths.h"

namespace {

/// The `orientation` of a straight line that makes it vertical; any other makes it horizontal.
constexpr int kVertical = 1;

/// The pixels of a straight line that lie in the image, as a rectangle of width or height 1.
KXRect PixelsOfLine(const KXVOffscreen& image, int orientation, int position, i64 start,
                    i64 length) {
  const bool vertical = orientation == kVertical;
  const int across = vertical ? image.GetWidth() : image.GetHeight();
  const int along = vertical ? image.GetHeight() : image.GetWidth();
  const int first = static_cast<int>(std::clamp<i64>(start, 0, along));
  const int end = static_cast<int>(std::clamp<i64>(start + length, 0, along));
  if (position < 0 || position >= across || first >= end) return KXRect();
  return vertical ? KXRect(position, first, position + 1, end)
                  : KXRect(first, position, end, position + 1);
}

KXRect PixelsOfWholeLine(const KXVOffscreen& image, int orientation, int position) {
  return PixelsOfLine(image, orientation, position, 0, KXVOffscreen::kMaxSize);
}

}  // namespace

namespace kxw {

template <class Depth>
void DepthOffscreen<Depth>::DrawSimpleLine(int orientation, int position, DWORD color) {
  RectFill(PixelsOfWholeLine(*this, orientation, position), 0, color);
}

template <class Depth>
void DepthOffscreen<Depth>::DrawSimpleSegment(int orientation, int position, int start, int length,
                                              DWORD color) {
  RectFill(PixelsOfLine(*this, orientation, position, start, length), 0, color);
}

template void DepthOffscreen<Depth1>::DrawSimpleLine(int, int, DWORD);
template void DepthOffscreen<Depth2>::DrawSimpleLine(int, int, DWORD);
template void DepthOffscreen<Depth8>::DrawSimpleLine(int, int, DWORD);
template void DepthOffscreen<Depth16>::DrawSimpleLine(int, int, DWORD);
template void DepthOffscreen<Depth24>::DrawSimpleLine(int, int, DWORD);
template void DepthOffscreen<Depth32>::DrawSimpleLine(int, int, DWORD);
template void DepthOffscreen<Depth64>::DrawSimpleLine(int, int, DWORD);
template void DepthOffscreen<Depth1>::DrawSimpleSegment(int, int, int, int, DWORD);
template void DepthOffscreen<Depth2>::DrawSimpleSegment(int, int, int, int, DWORD);
template void DepthOffscreen<Depth8>::DrawSimpleSegment(int, int, int, int, DWORD);
template void DepthOffscreen<Depth16>::DrawSimpleSegment(int, int, int, int, DWORD);
template void DepthOffscreen<Depth24>::DrawSimpleSegment(int, int, int, int, DWORD);
template void DepthOffscreen<Depth32>::DrawSimpleSegment(int, int, int, int, DWORD);
template void DepthOffscreen<Depth64>::DrawSimpleSegment(int, int, int, int, DWORD);

}  // namespace kxw

void KXVOffscreen64Bit::DrawSimpleLine64(int orientation, int position, u64 color) {
  RectFill64(PixelsOfWholeLine(*this, orientation, position), 0, color);
}

void KXVOffscreen64Bit::DrawSimpleSegment64(int orientation, int position, int start, int length,
                                            u64 color) {
  RectFill64(PixelsOfLine(*this, orientation, position, start, length), 0, color);
}
