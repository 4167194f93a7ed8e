#include <new>
#include <utility>

#include "kxwcmn/platform/blit_internal.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/graphics.h"

#if defined(KXWCMN_WITH_TEXT)
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "kxwcmn/platform/posix/cairo_internal.h"
#endif

struct HDC__ {
  _cairo* cairo;  // without Cairo what was given, which is never looked at
#if defined(KXWCMN_WITH_TEXT)
  kxw::SurfaceOwner picture;
#endif
};

namespace {

HDC Fail(int code) {
  qmSetLastError(code);
  return nullptr;
}

}  // namespace

#if defined(KXWCMN_WITH_TEXT)

namespace kxw {

namespace {

constexpr int kCopy = 0xCC0020;
constexpr int kMaxSurfaceSize = 32767;  // of Cairo's pictures in memory
constexpr int kMaxCopySize = 8192;      // of a block's copy, so that it has at most 256 MiB

using PathOwner = std::unique_ptr<cairo_path_t, Freer<cairo_path_destroy>>;
using ClipOwner = std::unique_ptr<cairo_rectangle_list_t, Freer<cairo_rectangle_list_destroy>>;

int CodeOf(cairo_status_t status) {
  if (status == CAIRO_STATUS_SUCCESS) return kErrorNone;
  return status == CAIRO_STATUS_NO_MEMORY ? kErrorNotEnoughMemory : kErrorInvalidHandle;
}

/// The state of a context and of what it draws on. That of a surface that was finished, whose
/// memory may be gone, turns bad no earlier than something asks for its size, as the clip does.
int CodeOfContext(cairo_t* cairo) {
  if (const int code = CodeOf(cairo_status(cairo))) return code;
  double left, top, right, bottom;
  cairo_clip_extents(cairo, &left, &top, &right, &bottom);
  return CodeOf(cairo_surface_status(cairo_get_group_target(cairo)));
}

bool ToInt(double value, int* result) {
  if (!(std::fabs(value) <= std::numeric_limits<int>::max())) return false;
  *result = static_cast<int>(value);
  return *result == value;
}

/// The rows of a picture in memory, where a context leads to one by a shift of whole pixels.
struct ReachableRows {
  cairo_surface_t* surface;
  ScreenRows rows;
  int width, height;
  int shiftX, shiftY;  // from the context's coordinates to the picture's
  ClipOwner clip;      // in the context's coordinates; whole numbers
};

/// A clip counts for a target alone; nothing is drawn on a source.
bool ReachRows(cairo_t* cairo, bool isTarget, ReachableRows* result) {
  cairo_surface_t* const surface = cairo_get_group_target(cairo);
  if (cairo_surface_get_type(surface) != CAIRO_SURFACE_TYPE_IMAGE) return false;
  const cairo_format_t format = cairo_image_surface_get_format(surface);
  if (format != CAIRO_FORMAT_ARGB32 && format != CAIRO_FORMAT_RGB24) return false;

  cairo_matrix_t matrix;
  cairo_get_matrix(cairo, &matrix);
  double scaleX, scaleY, offsetX, offsetY;
  cairo_surface_get_device_scale(surface, &scaleX, &scaleY);
  cairo_surface_get_device_offset(surface, &offsetX, &offsetY);
  const bool isShift = matrix.xx == 1 && matrix.yy == 1 && matrix.xy == 0 && matrix.yx == 0 &&
                       scaleX == 1 && scaleY == 1 && ToInt(matrix.x0 + offsetX, &result->shiftX) &&
                       ToInt(matrix.y0 + offsetY, &result->shiftY);
  if (!isShift) return false;

  if (isTarget) {
    result->clip.reset(cairo_copy_clip_rectangle_list(cairo));
    if (result->clip->status != CAIRO_STATUS_SUCCESS) return false;
  }
  for (int i = 0; isTarget && i < result->clip->num_rectangles; ++i) {
    const cairo_rectangle_t& part = result->clip->rectangles[i];
    int ignored;
    const bool isWhole = ToInt(part.x, &ignored) && ToInt(part.y, &ignored) &&
                         ToInt(part.x + part.width, &ignored) &&
                         ToInt(part.y + part.height, &ignored);
    if (!isWhole) return false;
  }

  cairo_surface_flush(surface);
  result->surface = surface;
  result->rows = {cairo_image_surface_get_data(surface), cairo_image_surface_get_stride(surface)};
  result->width = cairo_image_surface_get_width(surface);
  result->height = cairo_image_surface_get_height(surface);
  return result->rows.top != nullptr;
}

/// Brings the pixels straight to the target's memory.
void TransferToRows(const PixelBlock& block, const TransferRect& dest, const TransferRect& source,
                    int rasterOperation, const ReachableRows& target,
                    const DWORD* transparent = nullptr) {
  for (int i = 0; i < target.clip->num_rectangles; ++i) {
    // In the picture's coordinates, of which those of its pixels alone are gone through.
    const cairo_rectangle_t& part = target.clip->rectangles[i];
    const auto columnAt = [&](double x) {
      return static_cast<int>(std::clamp<double>(x + target.shiftX, 0, target.width));
    };
    const auto rowAt = [&](double y) {
      return static_cast<int>(std::clamp<double>(y + target.shiftY, 0, target.height));
    };
    const NearestMap columns(i64{dest.x} + target.shiftX, dest.width, source.x, source.width,
                             block.width, columnAt(part.x), columnAt(part.x + part.width));
    const NearestMap rows(i64{dest.y} + target.shiftY, dest.height, source.y, source.height,
                          block.height, rowAt(part.y), rowAt(part.y + part.height));
    if (columns.Count() == 0 || rows.Count() == 0) continue;
    Transfer(block, columns, rows, rasterOperation, target.rows, transparent);
    cairo_surface_mark_dirty_rectangle(target.surface, columns.First(), rows.First(),
                                       columns.Count(), rows.Count());
  }
}

/// The stretch of a side that lies both in a source rectangle and in the block.
struct Stretch {
  Stretch(int start, int size, int limit) {
    const i64 low = size < 0 ? i64{start} + size : start;
    const i64 high = size < 0 ? start : i64{start} + size;
    first = static_cast<int>(std::clamp<i64>(low, 0, limit));
    count = static_cast<int>(std::clamp<i64>(high, 0, limit)) - first;
  }
  int first, count;
};

/// A picture with `columns` by `rows` of a block: its own pixels where they are laid out as Cairo
/// has them, otherwise a copy, which is smaller if the block is a very large one. Words of
/// `*transparent` become transparent, if it is not null.
SurfaceOwner SurfaceOf(const PixelBlock& block, const Stretch& columns, const Stretch& rows,
                       const DWORD* transparent) {
  if (!transparent && block.bitCount == 32 && columns.count <= kMaxSurfaceSize &&
      rows.count <= kMaxSurfaceSize && block.rowBytes > 0 &&
      block.rowBytes <= std::numeric_limits<int>::max()) {
    const BYTE* const first =
        block.top + block.rowBytes * rows.first + std::ptrdiff_t{4} * columns.first;
    // Cairo only reads it, as a source.
    return SurfaceOwner(cairo_image_surface_create_for_data(
        const_cast<BYTE*>(first), CAIRO_FORMAT_RGB24, columns.count, rows.count,
        static_cast<int>(block.rowBytes)));
  }
  const int width = std::min(columns.count, kMaxCopySize);
  const int height = std::min(rows.count, kMaxCopySize);
  SurfaceOwner surface(cairo_image_surface_create(
      transparent ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24, width, height));
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return surface;
  Transfer(
      block, NearestMap(0, width, columns.first, columns.count, block.width, 0, width),
      NearestMap(0, height, rows.first, rows.count, block.height, 0, height), kCopy,
      {cairo_image_surface_get_data(surface.get()), cairo_image_surface_get_stride(surface.get())},
      transparent);
  cairo_surface_mark_dirty(surface.get());
  return surface;
}

/// Has Cairo paint the pixels, through whatever transformation and onto whatever target.
int Paint(cairo_t* cairo, const PixelBlock& block, const TransferRect& dest,
          const TransferRect& source, const DWORD* transparent = nullptr) {
  const Stretch columns(source.x, source.width, block.width);
  const Stretch rows(source.y, source.height, block.height);
  if (columns.count == 0 || rows.count == 0 || dest.width == 0 || dest.height == 0) return 0;
  const SurfaceOwner surface = SurfaceOf(block, columns, rows, transparent);
  if (const int code = CodeOf(cairo_surface_status(surface.get()))) return code;
  const PathOwner path(cairo_copy_path(cairo));
  cairo_save(cairo);
  // From the source's pixels to the target: both corners move to the ends that stand at each other.
  cairo_translate(cairo, dest.x, dest.y);
  cairo_scale(cairo, static_cast<double>(dest.width) / source.width,
              static_cast<double>(dest.height) / source.height);
  cairo_translate(cairo, static_cast<double>(columns.first) - source.x,
                  static_cast<double>(rows.first) - source.y);
  cairo_new_path(cairo);
  cairo_rectangle(cairo, 0, 0, columns.count, rows.count);
  // A smaller copy stands for all of the stretch.
  cairo_scale(cairo,
              static_cast<double>(columns.count) / cairo_image_surface_get_width(surface.get()),
              static_cast<double>(rows.count) / cairo_image_surface_get_height(surface.get()));
  cairo_set_source_surface(cairo, surface.get(), 0, 0);
  cairo_pattern_set_filter(cairo_get_source(cairo), CAIRO_FILTER_NEAREST);
  cairo_pattern_set_extend(cairo_get_source(cairo), CAIRO_EXTEND_PAD);
  cairo_set_operator(cairo, CAIRO_OPERATOR_OVER);  // of what is opaque
  cairo_set_antialias(cairo, CAIRO_ANTIALIAS_NONE);
  cairo_fill(cairo);
  cairo_restore(cairo);
  cairo_new_path(cairo);
  cairo_append_path(cairo, path.get());
  // A target that keeps what was drawn, as a page does, takes the pixels now.
  cairo_surface_finish(surface.get());
  return CodeOf(cairo_status(cairo));
}

/// Brings what is not `transparent` from one context to another. `from` is within the source's
/// pixels once its shift is added.
int TransferVisible(cairo_t* dest, const TransferRect& to, cairo_t* source, TransferRect from,
                    DWORD transparent) {
  for (cairo_t* const cairo : {dest, source}) {
    if (const int code = CodeOfContext(cairo)) return code;
  }
  ReachableRows pixels, target;
  if (!ReachRows(source, false, &pixels)) return kErrorNotSupported;
  const i64 x = i64{from.x} + pixels.shiftX, y = i64{from.y} + pixels.shiftY;
  from.x = static_cast<int>(x);
  from.y = static_cast<int>(y);
  if (from.x != x || from.y != y) return kErrorNone;  // far outside
  PixelBlock block = {pixels.rows.top, pixels.rows.rowBytes, pixels.width, pixels.height, 32, {}};
  const bool isReachable = ReachRows(dest, true, &target);
  std::vector<DWORD> copy;
  if (isReachable && pixels.surface == target.surface) {
    const auto width = static_cast<std::size_t>(block.width);
    copy.resize(width * static_cast<std::size_t>(block.height));
    for (std::size_t row = 0; row * width < copy.size(); ++row) {
      std::memcpy(&copy[row * width], block.top + block.rowBytes * static_cast<std::ptrdiff_t>(row),
                  width * sizeof copy[0]);
    }
    block.top = reinterpret_cast<const BYTE*>(copy.data());
    block.rowBytes = static_cast<std::ptrdiff_t>(width * sizeof copy[0]);
  }
  if (!isReachable) return Paint(dest, block, to, from, &transparent);
  TransferToRows(block, to, from, kCopy, target, &transparent);
  return kErrorNone;
}

}  // namespace

bool HasGraphics() { return true; }

cairo_surface_t* PictureOf(HDC context) { return context ? context->picture.get() : nullptr; }

}  // namespace kxw

HDC kxwCreateContext(_cairo* cairo) {
  if (!cairo) return Fail(kxw::kErrorInvalidParameter);
  if (const int code = kxw::CodeOfContext(cairo)) return Fail(code);
  kxw::SurfaceOwner picture(cairo_surface_reference(cairo_get_target(cairo)));
  HDC const context = new (std::nothrow) HDC__{cairo, std::move(picture)};
  if (!context) return Fail(kxw::kErrorNotEnoughMemory);
  cairo_reference(cairo);
  qmSetLastError(kxw::kErrorNone);
  return context;
}

void kxwFreeContext(HDC context) {
  if (context) cairo_destroy(context->cairo);
  delete context;
}

_cairo* kxwGetCairo(HDC context) { return context ? context->cairo : nullptr; }

#else

namespace kxw {
bool HasGraphics() { return false; }
}  // namespace kxw

HDC kxwCreateContext(_cairo* cairo) {
  if (!cairo) return Fail(kxw::kErrorInvalidParameter);
  HDC const context = new (std::nothrow) HDC__{cairo};
  return context ? context : Fail(kxw::kErrorNotEnoughMemory);
}

void kxwFreeContext(HDC context) { delete context; }

_cairo* kxwGetCairo(HDC) { return nullptr; }

#endif

int kxw::StretchToDevice(HDC context, const TransferRect& dest, const TransferRect& source,
                         const BYTE* bits, const BITMAPINFOHEADER* header, int rasterOperation) {
  constexpr int kBadArgument = 0x20010008;
  PixelBlock block;
  const bool isValid =
      context && DescribeBlock(bits, header, &block) && IsBinaryOperation(rasterOperation);
  if (!isValid) return kBadArgument;
#if defined(KXWCMN_WITH_TEXT)
  cairo_t* const cairo = context->cairo;
  if (const int code = CodeOfContext(cairo)) return code;
  try {
    ReachableRows target;
    if (ReachRows(cairo, true, &target)) {
      TransferToRows(block, dest, source, rasterOperation, target);
      return kErrorNone;
    }
    if (!IsCopy(rasterOperation)) return kErrorNotSupported;
    return Paint(cairo, block, dest, source);
  } catch (const std::bad_alloc&) {
    return kErrorNotEnoughMemory;
  }
#else
  static_cast<void>(dest);
  static_cast<void>(source);
  return kErrorNotSupported;
#endif
}

int kxwTransparentBlt(HDC dest, int x, int y, int width, int height, HDC source, int sourceX,
                      int sourceY, int sourceWidth, int sourceHeight, QMCOLORREF transparent) {
  const kxw::TransferRect to = {x, y, width, height};
  const kxw::TransferRect from = {sourceX, sourceY, sourceWidth, sourceHeight};
  int code = dest && source ? kxw::kErrorNotSupported : kxw::kErrorInvalidHandle;
#if defined(KXWCMN_WITH_TEXT)
  try {
    if (dest && source) {
      const DWORD word = kxw::WordOf(transparent);
      code = kxw::TransferVisible(dest->cairo, to, source->cairo, from, word);
    }
  } catch (const std::bad_alloc&) {
    code = kxw::kErrorNotEnoughMemory;
  }
#else
  static_cast<void>(to);
  static_cast<void>(from);
  static_cast<void>(transparent);
#endif
  qmSetLastError(code);
  return code == kxw::kErrorNone;
}
