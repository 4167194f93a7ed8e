#pragma once

#include "kxwcmn/offscreen/voffscreen.h"

namespace kxw {

class RowGate;
struct Depth1;
struct Depth2;
struct Depth8;
struct Depth16;
struct Depth24;
struct Depth32;
struct Depth64;

/// What the seven depth classes share: every operation of a depth, written once over the struct
/// that describes it.
template <class Depth>
class KX_EXPORT DepthOffscreen : public KXVOffscreen {
 public:
  DepthOffscreen();
  ~DepthOffscreen() override;

  void Initialize() override;
  void ClearBlock(BYTE* address) override;

  void NextCursorX() override;
  void NextCursorXFastest() override;
  void PrevCursorX() override;
  void PrevCursorXFastest() override;
  void SetCurrentCursorAddress(int x, int y) override;

  BYTE Get1BitColorFast() override;
  BYTE Get1BitColor() override;
  BYTE Get2BitColorFast() override;
  BYTE Get2BitColor() override;
  BYTE Get8BitColorFast() override;
  BYTE Get8BitColor() override;
  DWORD Get16BitColorFast() override;
  DWORD Get16BitColor() override;
  DWORD Get24BitColorFast() override;
  DWORD Get24BitColor() override;
  DWORD Get32BitColorFast() override;
  DWORD Get32BitColor() override;
  u64 Get48BitColorFast() override;
  u64 Get48BitColor() override;
  u64 Get64BitColorFast() override;
  u64 Get64BitColor() override;
  BYTE Get8BitImageFast() override;
  BYTE Get8BitImage() override;
  DWORD Get24BitImageFast() override;
  DWORD Get24BitImage() override;
  BYTE Get8BitMaskFast() override;
  BYTE Get8BitMask() override;
  int Get16BitMaskFast() override;
  int Get16BitMask() override;

  void Set1BitColor(BYTE value) override;
  void Set2BitColor(BYTE value) override;
  void Set8BitColor(BYTE value) override;
  void Set16BitColor(DWORD color) override;
  void Set24BitColor(DWORD color) override;
  void Set32BitColor(BYTE a, BYTE r, BYTE g, BYTE b) override;
  void Set32BitColor(DWORD color) override;
  void Set48BitColor(u64 color) override;
  void Set64BitColor(u64 color) override;
  using KXVOffscreen::Set64BitColor;
  void Set8BitMask(BYTE value) override;
  void Set16BitMask(int value) override;

  int IsTransparentFast(int flag) override;
  int IsTransparent(int flag) override;
  DWORD MakeNativeColor(DWORD color) override;
  u64 MakeNativeColor64(u64 color) override;

  void Optimize() override;
  void OptimizeBlock(tagRECT rect) override;

  void RectFill(const KXRect& rect, int useClear, DWORD color) override;
  using KXVOffscreen::RectFill;
  void DrawSimpleLine(int orientation, int position, DWORD color) override;
  void DrawSimpleSegment(int orientation, int position, int start, int length,
                         DWORD color) override;
  void FillLineRow(int x1, int x2, int y, DWORD color, const tagRECT* clip) override;
  int SearchLineRowForPolygon(int x1, int x2) override;

 protected:
  // The loops of the row painters.
  template <class Op>
  void PaintRow(int x1, int x2, const RowGate& gate, Op op);
  template <class Color>
  void PaintRowInMode(int x1, int x2, Color color, int fillMode, KXVOffscreen* clip1Bit,
                      int clipOffset, const BYTE* pattern);
  template <class Fill>
  void FillClippedRow(int x1, int x2, int y, Fill fill, const tagRECT* clip);
  void EndRow(int x1, int x2);
};

/// The six depths whose native values fit 32 bits. The 64-bit depth has no such value: its
/// `GetColor` reads 0 and its `SetColor` does nothing.
template <class Depth>
class KX_EXPORT NarrowDepthOffscreen : public DepthOffscreen<Depth> {
 public:
  DWORD GetColor() override;
  void SetColor(DWORD color) override;
  void FillLineRowForPolygon(int x1, int x2, DWORD color, int fillMode, KXVOffscreen* clip1Bit,
                             int clipOffset, const BYTE* pattern) override;
  using KXVOffscreen::FillLineRowForPolygon;
  void CalcPixelValue(KXVOffscreen::_KXRESOLUTIONTABLE* xTable,
                      KXVOffscreen::_KXRESOLUTIONTABLE* yTable, int baseX, int baseY, double scale,
                      DWORD& result) override;
};

}  // namespace kxw

class KX_EXPORT KXVOffscreen1Bit : public kxw::NarrowDepthOffscreen<kxw::Depth1> {
 public:
  ~KXVOffscreen1Bit() override;

  void Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX, int srcY,
            int clearMode) override;
};

class KX_EXPORT KXVOffscreen2Bit : public kxw::NarrowDepthOffscreen<kxw::Depth2> {
 public:
  ~KXVOffscreen2Bit() override;

  void Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX, int srcY,
            int clearMode) override;
  /// `FillLineRowForPolygon`, but a light colour paints only where nothing is drawn.
  virtual void FillLineRowForPolygonClipBlack(int x1, int x2, DWORD color, int fillMode,
                                              KXVOffscreen* clip1Bit, int clipOffset,
                                              const BYTE* pattern);
};

class KX_EXPORT KXVOffscreen8Bit : public kxw::NarrowDepthOffscreen<kxw::Depth8> {
 public:
  ~KXVOffscreen8Bit() override;

  void Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX, int srcY,
            int clearMode) override;
};

class KX_EXPORT KXVOffscreen16Bit : public kxw::NarrowDepthOffscreen<kxw::Depth16> {
 public:
  ~KXVOffscreen16Bit() override;

  void Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX, int srcY,
            int clearMode) override;
};

class KX_EXPORT KXVOffscreen24Bit : public kxw::NarrowDepthOffscreen<kxw::Depth24> {
 public:
  ~KXVOffscreen24Bit() override;

  void Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX, int srcY,
            int clearMode) override;
};

class KX_EXPORT KXVOffscreen32Bit : public kxw::NarrowDepthOffscreen<kxw::Depth32> {
 public:
  ~KXVOffscreen32Bit() override;

  void Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX, int srcY,
            int clearMode) override;
};

class KX_EXPORT KXVOffscreen64Bit : public kxw::DepthOffscreen<kxw::Depth64> {
 public:
  ~KXVOffscreen64Bit() override;

  void ChangeResolutionLow(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy, int sw,
                           int sh, int behind, int skipTransparent) override;
  void CreateRotationImage(KXVOffscreen& src, int degrees, int smooth) override;

  void Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX, int srcY,
            int clearMode) override;
  /// `CommonCopy` with pixels of 64 bits, and with this depth's own clear colour.
  virtual void Copy64(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX,
                      int srcY, int clearMode, int behind);

  /// The clear value of this depth.
  u64 GetClearQMCOLORREF64() const { return clearColor64_; }
  void SetClearQMCOLORREF64(u64 color) { clearColor64_ = color; }

  void Set32BitColor(BYTE a, BYTE r, BYTE g, BYTE b) override;
  using kxw::DepthOffscreen<kxw::Depth64>::Set32BitColor;
  void Set64BitColor(WORD a, WORD r, WORD g, WORD b) override;
  using kxw::DepthOffscreen<kxw::Depth64>::Set64BitColor;

  void RectFill64(const KXRect& rect, int useClear, u64 color) override;
  void RectFill64(const KXRect& rect, int useClear, u64 color, int behind) override;
  void FillLineRowForPolygon64(int x1, int x2, u64 color, int fillMode, KXVOffscreen* clip1Bit,
                               int clipOffset, const BYTE* pattern) override;
  void FillLineRow64(int x1, int x2, int y, u64 color, const tagRECT* clip) override;
  void FillPolygon64(const KXPoint* points, int count, tagRECT* clip, u64 color,
                     int closed) override;
  void DrawSimpleLine64(int orientation, int position, u64 color) override;
  void DrawSimpleSegment64(int orientation, int position, int start, int length,
                           u64 color) override;
  void DrawSegment64(int x1, int y1, int x2, int y2, int width, u64 color, int behind,
                     int adjustWidth) override;
  void DrawSegment642(int x1, int y1, int x2, int y2, int width, u64 color, int behind,
                      int adjustWidth) override;
  void ArcFill64(int left, int top, int right, int bottom, u64 color, const tagRECT* clip) override;
  void CircleFill64(int left, int top, int diameter, const u64& color, int fillMode,
                    KXVOffscreen* clip1Bit, const tagPOINT& clipOffset, const tagRECT* clip,
                    BYTE* pattern) override;

  void ChangeResolution(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy, int sw,
                        int sh, CHANGE_RESOLUTION_MODE mode, int behind,
                        int skipTransparent) override;
  void ChangeResolutionHalf(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy,
                            int behind) override;
  void ChangeResolutionQuarter(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy,
                               int behind) override;
  void ChangeResolutionDouble(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy,
                              int behind) override;
  void ChangeResolutionFourfold(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy,
                                int behind) override;
  void ChangeResolutionHalfAll(KXVOffscreen* src) override;
  void ChangeResolutionQuarterAll(KXVOffscreen* src) override;
  void ChangeResolutionDoubleAll(KXVOffscreen* src) override;
  void ChangeResolutionFourfoldAll(KXVOffscreen* src) override;
  void CalcPixelValue64(_KXRESOLUTIONTABLE* xTable, _KXRESOLUTIONTABLE* yTable, int baseX,
                        int baseY, double scale, u64& result) override;

  /// A fill of 64 bits keeps the colour whole where the reference has 64 bits.
  using KXVOffscreen::FloodFill64;
  int FloodFill64(KXRect& result, const KXPoint& seed, u64 color, KXVOffscreen* reference,
                  KXVOffscreen* second, const KXPoint& origin, const KXRect& clip, int margin,
                  int* count, int abortable) override;
};
