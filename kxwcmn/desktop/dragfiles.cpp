#include "kxwcmn/desktop/dragfiles.h"

#include <cstring>
#include <limits>

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/bytereader_internal.h"
#include "kxwcmn/platform/host.h"
#include "kxwcmn/platform/memory.h"

namespace {

enum HeadOffset : DWORD { kPaths = 0, kPointX = 4, kPointY = 8, kIsOutside = 12, kIsWide = 16 };
constexpr DWORD kHeadSize = 20;

void Put(BYTE* at, DWORD value) {
  for (int i = 0; i < 4; ++i) at[i] = static_cast<BYTE>(value >> 8 * i);
}

/// The place of the zero that ends the paths; 0 for a block that is no list of multi-byte paths.
DWORD EndOfPaths(const BYTE* list, DWORD size) {
  const kxw::ByteReader head(list, size);
  if (size <= kHeadSize || head.U32(kPaths) < kHeadSize || head.U32(kIsWide) != 0) return 0;
  DWORD at = head.U32(kPaths);
  while (at < size && list[at] != 0) {
    const void* zero = std::memchr(list + at, 0, size - at);
    if (!zero) return 0;
    at = static_cast<DWORD>(static_cast<const BYTE*>(zero) - list) + 1;
  }
  return at < size ? at : 0;
}

}  // namespace

HDROP kxwDragCreateFiles(HWND window, tagPOINT point) {
  // The application is asked first: what it raises leaves no block behind.
  BYTE list[kHeadSize + 1] = {};
  Put(list + kPaths, kHeadSize);
  const kxw::WindowProcedures& windows = kxw::GetHostProcedures().windows;
  if (window && windows.clientArea) {
    const tagRECT area = windows.clientArea(window);
    Put(list + kPointX, static_cast<DWORD>(kxw::IntGeometry::Sub(point.x, area.left)));
    Put(list + kPointY, static_cast<DWORD>(kxw::IntGeometry::Sub(point.y, area.top)));
  }
  if (window && windows.send) {
    const DWORD place = static_cast<WORD>(point.x) | DWORD{static_cast<WORD>(point.y)} << 16;
    const std::intptr_t hit = windows.send(window, kxw::kMessageHitTest, 0, LONG(place));
    Put(list + kIsOutside, hit != kxw::kHitClient);
  }
  QMHANDLE__* const block = qmAlloc(sizeof list, kxw::kAllocUninitialized, nullptr);
  if (!block) return nullptr;
  std::memcpy(qmLock(block), list, sizeof list);
  qmUnlock(block);
  return reinterpret_cast<HDROP>(block);
}

int kxwDragAppendFile(HDROP* files, const char* path) {
  if (!files || !*files || !path || !*path) return 0;
  auto* const block = reinterpret_cast<QMHANDLE__*>(*files);
  const DWORD end = EndOfPaths(static_cast<const BYTE*>(qmLock(block)), qmGetHandleSize(block));
  qmUnlock(block);
  const std::size_t length = std::strlen(path);
  if (end == 0 || u64{end} + length + 2 > std::numeric_limits<DWORD>::max()) return 0;

  const auto size = static_cast<DWORD>(end + length + 2);
  QMHANDLE__* const grown = qmReAlloc(block, size, kxw::kAllocZeroed, nullptr);
  if (!grown) return 0;
  *files = reinterpret_cast<HDROP>(grown);
  auto* const list = static_cast<BYTE*>(qmLock(grown));
  std::memcpy(list + end, path, length + 1);
  list[size - 1] = 0;
  qmUnlock(grown);
  return 1;
}
