#include "kxwcmn/offscreen/voffscreen.h"

#include <new>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"

KXVOffscreenCursor::~KXVOffscreenCursor() = default;

KXVOffscreenBlock::~KXVOffscreenBlock() = default;

KXVOffscreen::KXVOffscreen() = default;

KXVOffscreen::~KXVOffscreen() {
  if (memory_) DestroyAllBlock();
}

KXVOffscreenPtr KXVOffscreen::Make(int bitCount, int width, int height, double resolution,
                                   KXVirtualMemory* memory) {
  KXVOffscreenPtr image(CreateOffscreen(bitCount));
  if (!image) kxThrowError(kxw::kFailureBadArgument);
  image->Create(memory ? memory : kxGetVirtualMemory(), width, height, resolution);
  return image;
}

KXVOffscreen* KXVOffscreen::CreateOffscreen(int bitCount) {
  switch (bitCount) {
    case 1:
      return new KXVOffscreen1Bit;
    case 2:
      return new KXVOffscreen2Bit;
    case 8:
      return new KXVOffscreen8Bit;
    case 16:
      return new KXVOffscreen16Bit;
    case 24:
      return new KXVOffscreen24Bit;
    case 32:
      return new KXVOffscreen32Bit;
    case 64:
      return new KXVOffscreen64Bit;
    default:
      return nullptr;
  }
}

void KXVOffscreen::DeleteOffscreen(KXVOffscreen* offscreen) { delete offscreen; }

void KXVOffscreenDeleter::operator()(KXVOffscreen* offscreen) const {
  KXVOffscreen::DeleteOffscreen(offscreen);
}

void KXVOffscreen::Initialize() { ResetFields(0, 0x00FFFFFF, 256); }

void KXVOffscreen::ResetFields(int bitCount, DWORD clearColor, int transparency) {
  memory_ = nullptr;
  width_ = 0;
  height_ = 0;
  bitCount_ = bitCount;
  resolution_ = 0;
  offset_ = KXPoint();
  blockRowBytes_ = 0;
  blockCountX_ = 0;
  blockCountY_ = 0;
  blocks_.clear();
  lockCount_ = 0;
  editMode_ = 0;
  cursor_ = KXVOffscreenCursor();
  byteClearColor_ = 0;
  clearColor_ = clearColor;
  clearColor64_ = 0x0000FFFFFFFFFFFF;
  enableClear_ = 1;
  transparency_ = transparency;
}

void KXVOffscreen::Create(KXVirtualMemory* memory, int width, int height, double resolution) {
  if (!memory || width < 0 || height < 0 || width > kMaxSize || height > kMaxSize) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  if (memory_) {
    LeaveBlock();
    DestroyAllBlock();
  }
  memory_ = memory;
  width_ = width;
  height_ = height;
  resolution_ = resolution;
  // Rows of a block are padded to 32 bytes, which changes nothing at the seven depths.
  blockRowBytes_ = (bitCount_ * kBlockSize / 8 + 31) / 32 * 32;
  blockCountX_ = (width + kBlockMask) / kBlockSize;
  blockCountY_ = (height + kBlockMask) / kBlockSize;
  try {
    InitBlock();
  } catch (...) {
    Destroy();
    throw;
  }
}

void KXVOffscreen::InitBlock() {
  const i64 count = static_cast<i64>(blockCountX_) * blockCountY_;
  if (count > 0x7FFFFFFF) kxThrowError(kxw::kErrorNotEnoughMemory);
  blocks_.clear();
  try {
    blocks_.reserve(static_cast<std::size_t>(count));
  } catch (const std::bad_alloc&) {
    kxThrowError(kxw::kErrorNotEnoughMemory);
  }
  for (int by = 0; by < blockCountY_; ++by) {
    for (int bx = 0; bx < blockCountX_; ++bx) {
      const int left = bx * kBlockSize, top = by * kBlockSize;
      blocks_.emplace_back(KXRect(left, top, left + kBlockSize, top + kBlockSize), nullptr);
    }
  }
}

void KXVOffscreen::Destroy() {
  if (!memory_) return;
  DestroyAllBlock();
  blocks_ = {};
  Initialize();
}

// --- The base class's bodies of what only a depth, or a later room, can do -----------------------

void KXVOffscreen::ClearBlock(BYTE*) {}
void KXVOffscreen::NextCursorX() {}
void KXVOffscreen::NextCursorXFastest() {}
void KXVOffscreen::PrevCursorX() {}
void KXVOffscreen::PrevCursorXFastest() {}
DWORD KXVOffscreen::GetColor() { return 0; }
BYTE KXVOffscreen::Get1BitColorFast() { return 0; }
BYTE KXVOffscreen::Get1BitColor() { return 0; }
BYTE KXVOffscreen::Get2BitColorFast() { return 0; }
BYTE KXVOffscreen::Get2BitColor() { return 0; }
BYTE KXVOffscreen::Get8BitColorFast() { return 0; }
BYTE KXVOffscreen::Get8BitColor() { return 0; }
DWORD KXVOffscreen::Get16BitColorFast() { return 0; }
DWORD KXVOffscreen::Get16BitColor() { return 0; }
DWORD KXVOffscreen::Get24BitColorFast() { return 0; }
DWORD KXVOffscreen::Get24BitColor() { return 0; }
DWORD KXVOffscreen::Get32BitColorFast() { return 0; }
DWORD KXVOffscreen::Get32BitColor() { return 0; }
void KXVOffscreen::SetColor(DWORD) {}
void KXVOffscreen::Set1BitColor(BYTE) {}
void KXVOffscreen::Set2BitColor(BYTE) {}
void KXVOffscreen::Set8BitColor(BYTE) {}
void KXVOffscreen::Set16BitColor(DWORD) {}
void KXVOffscreen::Set24BitColor(DWORD) {}
void KXVOffscreen::Set32BitColor(BYTE, BYTE, BYTE, BYTE) {}
void KXVOffscreen::Set32BitColor(DWORD) {}
int KXVOffscreen::IsTransparentFast(int) { return 1; }
int KXVOffscreen::IsTransparent(int flag) { return cursor_.current ? IsTransparentFast(flag) : 1; }
DWORD KXVOffscreen::MakeNativeColor(DWORD) { return 0; }
u64 KXVOffscreen::Get64BitColorFast() { return 0; }
u64 KXVOffscreen::Get64BitColor() { return 0; }
u64 KXVOffscreen::Get48BitColorFast() { return 0; }
u64 KXVOffscreen::Get48BitColor() { return 0; }
void KXVOffscreen::Set48BitColor(u64) {}
void KXVOffscreen::Set64BitColor(WORD, WORD, WORD, WORD) {}
void KXVOffscreen::Set64BitColor(u64) {}
u64 KXVOffscreen::MakeNativeColor64(u64 color) { return MakeNativeColor(QMCOLORREF64to32(color)); }
BYTE KXVOffscreen::Get8BitImageFast() { return 0; }
BYTE KXVOffscreen::Get8BitImage() { return 0; }
DWORD KXVOffscreen::Get24BitImageFast() { return 0; }
DWORD KXVOffscreen::Get24BitImage() { return 0; }
BYTE KXVOffscreen::Get8BitMaskFast() { return 0; }
BYTE KXVOffscreen::Get8BitMask() { return 0; }
int KXVOffscreen::Get16BitMaskFast() { return 0; }
int KXVOffscreen::Get16BitMask() { return 0; }
void KXVOffscreen::Set8BitMask(BYTE) {}
void KXVOffscreen::Set16BitMask(int) {}
void KXVOffscreen::Copy(int, int, int, int, KXVOffscreen*, int, int, int) {}
void KXVOffscreen::RectFill(const KXRect&, int, DWORD) {}
void KXVOffscreen::DrawSimpleLine(int, int, DWORD) {}
void KXVOffscreen::DrawSimpleSegment(int, int, int, int, DWORD) {}
void KXVOffscreen::RectFill64(const KXRect& rect, int useClear, u64 color) {
  RectFill(rect, useClear, QMCOLORREF64to32(color));
}
void KXVOffscreen::RectFill64(const KXRect& rect, int useClear, u64 color, int behind) {
  RectFill(rect, useClear, QMCOLORREF64to32(color), behind);
}
void KXVOffscreen::DrawSimpleLine64(int orientation, int position, u64 color) {
  DrawSimpleLine(orientation, position, QMCOLORREF64to32(color));
}
void KXVOffscreen::DrawSimpleSegment64(int orientation, int position, int start, int length,
                                       u64 color) {
  DrawSimpleSegment(orientation, position, start, length, QMCOLORREF64to32(color));
}
void KXVOffscreen::DrawSegment64(int x1, int y1, int x2, int y2, int width, u64 color, int behind,
                                 int adjustWidth) {
  DrawSegment(x1, y1, x2, y2, width, QMCOLORREF64to32(color), behind, adjustWidth);
}
void KXVOffscreen::DrawSegment642(int x1, int y1, int x2, int y2, int width, u64 color, int behind,
                                  int adjustWidth) {
  DrawSegment2(x1, y1, x2, y2, width, QMCOLORREF64to32(color), behind, adjustWidth);
}
void KXVOffscreen::FillPolygon64(const KXPoint* points, int count, tagRECT* clip, u64 color,
                                 int closed) {
  FillPolygon(points, count, clip, QMCOLORREF64to32(color), closed);
}
void KXVOffscreen::ArcFill64(int left, int top, int right, int bottom, u64 color,
                             const tagRECT* clip) {
  ArcFill(left, top, right, bottom, QMCOLORREF64to32(color), clip);
}
void KXVOffscreen::CircleFill64(int left, int top, int diameter, const u64& color, int fillMode,
                                KXVOffscreen* clip1Bit, const tagPOINT& clipOffset,
                                const tagRECT* clip, BYTE* pattern) {
  CircleFill(left, top, diameter, QMCOLORREF64to32(color), fillMode, clip1Bit, clipOffset, clip,
             pattern);
}
void KXVOffscreen::SetCurrentCursorAddress(int, int) {}
void KXVOffscreen::Optimize() {}
void KXVOffscreen::OptimizeBlock(tagRECT) {}
void KXVOffscreen::FillLineRowForPolygon(int, int, DWORD, int, KXVOffscreen*, int, const BYTE*) {}
void KXVOffscreen::FillLineRow(int, int, int, DWORD, const tagRECT*) {}
int KXVOffscreen::SearchLineRowForPolygon(int, int) { return 0; }
void KXVOffscreen::CalcPixelValue(_KXRESOLUTIONTABLE*, _KXRESOLUTIONTABLE*, int, int, double,
                                  DWORD&) {}
void KXVOffscreen::FillLineRowForPolygon64(int x1, int x2, u64 color, int fillMode,
                                           KXVOffscreen* clip1Bit, int clipOffset,
                                           const BYTE* pattern) {
  FillLineRowForPolygon(x1, x2, QMCOLORREF64to32(color), fillMode, clip1Bit, clipOffset, pattern);
}
void KXVOffscreen::FillLineRow64(int x1, int x2, int y, u64 color, const tagRECT* clip) {
  FillLineRow(x1, x2, y, QMCOLORREF64to32(color), clip);
}
void KXVOffscreen::CalcPixelValue64(_KXRESOLUTIONTABLE*, _KXRESOLUTIONTABLE*, int, int, double,
                                    u64&) {}
