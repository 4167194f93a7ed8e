#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/detail/fillrun.h"
#include "kxwcmn/offscreen/detail/streamrow.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/platform/vectorize_internal.h"

// The walk cuts a rectangle into runs of pixels that lie in one row of one block; a codec, chosen
// once a call, brings a run from the block into the caller's rows and back.

namespace {

using kxw::Depth8;

// --- Formats: a pixel's value, its place in memory, and the way from a depth and back ------------

struct Density8 {
  using Value = BYTE;
  static constexpr BYTE kNothing = 0;
  template <class Depth>
  static Value Of(typename Depth::Pixel p) {
    return Depth::To8(p);
  }
  template <class Depth>
  static typename Depth::Pixel Make(Value v) {
    return Depth::From8(v);
  }
};

struct Grey8 {
  using Value = BYTE;
  static constexpr BYTE kNothing = 255;
  template <class Depth>
  static Value Of(typename Depth::Pixel p) {
    return static_cast<BYTE>(255 - Depth8::From32(Depth::To32(p)));
  }
  template <class Depth>
  static typename Depth::Pixel Make(Value v) {
    return Depth::From32(kxw::MakeGrey(v, 255));
  }
};

struct Rgba8 {
  using Value = DWORD;
  static constexpr BYTE kNothing = 0;
  template <class Depth>
  static Value Of(typename Depth::Pixel p) {
    return Depth::To32(p);
  }
  template <class Depth>
  static typename Depth::Pixel Make(Value v) {
    return Depth::From32(v);
  }
};

struct Bgra8 {
  using Value = DWORD;
  static constexpr BYTE kNothing = 0;
  template <class Depth>
  static Value Of(typename Depth::Pixel p) {
    return kxw::Depth32::SwapRedBlue(Depth::To32(p));
  }
  template <class Depth>
  static typename Depth::Pixel Make(Value v) {
    return Depth::From32(kxw::Depth32::SwapRedBlue(v));
  }
};

struct Rgba16 {
  using Value = u64;
  static constexpr BYTE kNothing = 0;
  template <class Depth>
  static Value Of(typename Depth::Pixel p) {
    return Depth::To64(p);
  }
  template <class Depth>
  static typename Depth::Pixel Make(Value v) {
    return Depth::From64(v);
  }
};

struct Bgra16 {
  using Value = u64;
  static constexpr BYTE kNothing = 0;
  template <class Depth>
  static Value Of(typename Depth::Pixel p) {
    return kxw::Depth64::SwapRedBlue(Depth::To64(p));
  }
  template <class Depth>
  static typename Depth::Pixel Make(Value v) {
    return Depth::From64(kxw::Depth64::SwapRedBlue(v));
  }
};

// --- Codecs --------------------------------------------------------------------------------------

/// How runs of pixels go between a row of a block, from `column` on, and a row of the caller's,
/// from its pixel `index` on. A run stays in one block.
struct Codec {
  int bits = 0;  ///< Of a pixel in the caller's rows; 0 for no codec.
  BYTE nothing;  ///< The bytes that a pixel without memory reads as.
  BYTE hole;     ///< The bytes of a block that stand for the same.
  bool copies;   ///< Whole bytes as they stand in the block.
  void (*read)(const BYTE* row, int column, int count, BYTE* to, std::ptrdiff_t index);
  void (*write)(BYTE* row, int column, int count, const BYTE* from, std::ptrdiff_t index);
};

template <class Depth>
constexpr BYTE kHole = Depth::kBits == 24 ? 255 : 0;

/// The depth's own bytes.
template <class Depth>
struct NativeCodec {
  static constexpr int kBits = Depth::kBits;
  static constexpr BYTE kNothing = kHole<Depth>;

  static void Read(const BYTE* row, int column, int count, BYTE* to, std::ptrdiff_t index) {
    Copy(to, index, row, column, count);
  }
  static void Write(BYTE* row, int column, int count, const BYTE* from, std::ptrdiff_t index) {
    Copy(row, column, from, index, count);
  }

 private:
  static void Copy(BYTE* to, std::ptrdiff_t toIndex, const BYTE* from, std::ptrdiff_t fromIndex,
                   int count) {
    if constexpr (kBits >= 8) {
      constexpr int kBytes = kBits / 8;
      std::memcpy(to + toIndex * kBytes, from + fromIndex * kBytes,
                  static_cast<std::size_t>(count * kBytes));
    } else {
      constexpr int kPixels = 8 / kBits;
      to += toIndex / kPixels;
      from += fromIndex / kPixels;
      const int toBit = static_cast<int>(toIndex % kPixels) * kBits;
      const int fromBit = static_cast<int>(fromIndex % kPixels) * kBits, bits = count * kBits;
      if (toBit == fromBit) {
        kxw::CopyBits(to, from, toBit, toBit + bits);
      } else {
        const kxw::ShiftedRow shifted(from, (fromBit + bits + 7) / 8, fromBit, toBit, bits);
        kxw::CopyBits(to, shifted.Bytes(), toBit, toBit + bits);
      }
    }
  }
};

template <class Depth, class Format>
struct FormatCodec {
  using Value = typename Format::Value;
  static constexpr int kBits = 8 * sizeof(Value);
  static constexpr BYTE kNothing = Format::kNothing;

  static void Read(const BYTE* row, int column, int count, BYTE* to, std::ptrdiff_t index) {
    to += index * static_cast<std::ptrdiff_t>(sizeof(Value));
    const kxw::RowReader<Depth> source(row, column, count);
    for (int i = 0; i < count; ++i) {
      const Value value = Format::template Of<Depth>(source[i]);
      std::memcpy(to + i * static_cast<int>(sizeof value), &value, sizeof value);
    }
  }
  static void Write(BYTE* row, int column, int count, const BYTE* from, std::ptrdiff_t index) {
    from += index * static_cast<std::ptrdiff_t>(sizeof(Value));
    kxw::RowWriter<Depth> target(row, column, count);
    for (int i = 0; i < count; ++i) {
      Value value;
      std::memcpy(&value, from + i * static_cast<int>(sizeof value), sizeof value);
      target.Set(i, Format::template Make<Depth>(value));
    }
    target.Finish();
  }
};

// Where a depth holds its pixels in the format's form, its own bytes are copied.
template <>
struct FormatCodec<Depth8, Density8> : NativeCodec<Depth8> {};
template <>
struct FormatCodec<kxw::Depth32, Bgra8> : NativeCodec<kxw::Depth32> {};
template <>
struct FormatCodec<kxw::Depth64, Bgra16> : NativeCodec<kxw::Depth64> {};

template <class Depth, class Row>
constexpr Codec MakeCodec() {
  constexpr bool kCopies = Row::kBits >= 8 && std::is_base_of_v<NativeCodec<Depth>, Row>;
  return {Row::kBits,
          Row::kNothing,
          kHole<Depth>,
          kCopies,
          kxw::InVectors<Row::Read>,
          kxw::InVectors<Row::Write>};
}

/// The codec of a depth and a format; that of 0 bits if either is none.
Codec FindCodec(int bitCount, KXPixelFormat format) {
  return kxw::WithDepth(bitCount, [format](auto depth) -> Codec {
    using Depth = decltype(depth);
    switch (format) {
      case KXPixelFormat::kNative:
        return MakeCodec<Depth, NativeCodec<Depth>>();
      case KXPixelFormat::kDensity8:
        return MakeCodec<Depth, FormatCodec<Depth, Density8>>();
      case KXPixelFormat::kGrey8:
        return MakeCodec<Depth, FormatCodec<Depth, Grey8>>();
      case KXPixelFormat::kRgba8:
        return MakeCodec<Depth, FormatCodec<Depth, Rgba8>>();
      case KXPixelFormat::kBgra8:
        return MakeCodec<Depth, FormatCodec<Depth, Bgra8>>();
      case KXPixelFormat::kRgba16:
        return MakeCodec<Depth, FormatCodec<Depth, Rgba16>>();
      case KXPixelFormat::kBgra16:
        return MakeCodec<Depth, FormatCodec<Depth, Bgra16>>();
    }
    return {};
  });
}

Codec NeedCodec(int bitCount, KXPixelFormat format) {
  const Codec codec = FindCodec(bitCount, format);
  if (codec.bits == 0) kxThrowError(kxw::kFailureBadArgument);
  return codec;
}

// --- The caller's rows ---------------------------------------------------------------------------

/// Bytes of `width` pixels, which may be as many as 32 bits can tell apart.
i64 RowBytes(const Codec& codec, i64 width) { return (width * codec.bits + 7) / 8; }

/// The rows that stand for a rectangle that is not empty.
template <class Byte>
class Rows {
 public:
  /// Raises 0x20010008 for rows that cannot be.
  Rows(const Codec& codec, const KXRect& rect, Byte* first, std::ptrdiff_t stride)
      : first_(first), stride_(stride), left_(rect.left), top_(rect.top) {
    const i64 rowBytes = RowBytes(codec, i64{rect.right} - rect.left);
    if (stride_ == 0) stride_ = rowBytes;
    const u64 step = stride_ < 0 ? 0 - static_cast<u64>(stride_) : static_cast<u64>(stride_);
    const u64 steps = static_cast<u64>(i64{rect.bottom} - rect.top - 1);
    constexpr u64 kMost = std::numeric_limits<std::ptrdiff_t>::max();
    if (!first || step < static_cast<u64>(rowBytes) ||
        (steps > 0 && step > (kMost - static_cast<u64>(rowBytes)) / steps)) {
      kxThrowError(kxw::kFailureBadArgument);
    }
  }

  Byte* Row(int y) const { return first_ + (std::ptrdiff_t{y} - top_) * stride_; }
  /// The place of a column in a row.
  std::ptrdiff_t Index(int x) const { return std::ptrdiff_t{x} - left_; }

 private:
  Byte* first_;
  std::ptrdiff_t stride_;
  int left_, top_;
};

/// Makes `count` pixels from `index` on those of a place without memory.
void PutNothing(const Codec& codec, BYTE* to, std::ptrdiff_t index, int count) {
  if (codec.bits >= 8) {
    const std::ptrdiff_t bytes = codec.bits / 8;
    std::memset(to + index * bytes, codec.nothing, static_cast<std::size_t>(count * bytes));
  } else {
    const std::ptrdiff_t bit = index * codec.bits;
    kxw::FillRun<kxw::Depth1>(to + bit / 8, static_cast<int>(bit % 8), count * codec.bits,
                              codec.nothing);
  }
}

bool AreAll(const BYTE* bytes, std::size_t count, BYTE value) {
  return bytes[0] == value && std::memcmp(bytes, bytes + 1, count - 1) == 0;
}

/// Whether writing `part`, which lies in one block, would give nothing but what no memory stands
/// for.
bool IsNothing(const Codec& codec, const KXRect& part, const Rows<const BYTE>& rows,
               int blockRowBytes) {
  BYTE row[kxw::kRowBytes<kxw::Depth64>];
  const int bits = blockRowBytes * 8 / KXVOffscreen::kBlockSize;
  const auto bytes = static_cast<std::size_t>((part.Width() * bits + 7) / 8);
  std::memset(row, codec.hole, bytes);
  for (int y = part.top; y < part.bottom; ++y) {
    codec.write(row, 0, part.Width(), rows.Row(y), rows.Index(part.left));
    if (!AreAll(row, bytes, codec.hole)) return false;
  }
  return true;
}

/// Whether rows of `bits` a pixel go past the caches: those of a large picture, of whole bytes.
bool IsStreamed(const KXRect& rect, int bits) {
  if (rect.IsRectEmpty()) return false;
  const i64 width = i64{rect.right} - rect.left, height = i64{rect.bottom} - rect.top;
  return bits >= 8 && width * bits / 8 >= kxw::kStreamedBytes / height;
}

/// Short rows of the caller's are asked for so many rows ahead; the machine foresees long ones.
constexpr int kRowsAhead = 4, kShortRow = 1024;

/// A row on its way past the caches.
using RowBuffer = BYTE[KXVOffscreen::kBlockSize * sizeof(u64)];

}  // namespace

std::size_t KXVOffscreen::GetPixelRowBytes(KXPixelFormat format, int width) const {
  const Codec codec = NeedCodec(bitCount_, format);
  if (width < 0) kxThrowError(kxw::kFailureBadArgument);
  return static_cast<std::size_t>(RowBytes(codec, width));
}

void KXVOffscreen::ReadPixels(const KXRect& rect, KXPixelFormat format, void* rows,
                              std::ptrdiff_t stride) {
  const Codec codec = NeedCodec(bitCount_, format);
  if (rect.IsRectEmpty()) return;
  const Rows<BYTE> to(codec, rect, static_cast<BYTE*>(rows), stride);
  const bool streams = IsStreamed(rect, codec.bits);
  const int bytes = codec.bits / 8;
  const auto streamRow = [&](const BYTE* row, const KXRect& part, BYTE* at) {
    RowBuffer buffer;
    const int column = part.left & kBlockMask;
    if (!codec.copies) codec.read(row, column, part.Width(), buffer, 0);
    kxw::StreamRow(at, codec.copies ? row + column * bytes : buffer,
                   static_cast<std::size_t>(part.Width() * bytes));
  };
  KXVOffscreenAutoLock lock(this, 0);
  kxw::ForEachSource(
      *this, rect,
      [&](const KXRect& part, const BYTE* base) {
        for (int y = part.top; y < part.bottom; ++y) {
          const BYTE* const row = kxw::RowOf(base, y, blockRowBytes_);
          if (streams) {
            streamRow(row, part, to.Row(y) + to.Index(part.left) * bytes);
          } else {
            codec.read(row, part.left & kBlockMask, part.Width(), to.Row(y), to.Index(part.left));
          }
        }
      },
      [&](const KXRect& part) {
        for (int y = part.top; y < part.bottom; ++y) {
          PutNothing(codec, to.Row(y), to.Index(part.left), part.Width());
        }
      });
  if (streams) kxw::EndStream();
}

void KXVOffscreen::WritePixels(const KXRect& rect, KXPixelFormat format, const void* rows,
                               std::ptrdiff_t stride) {
  const Codec codec = NeedCodec(bitCount_, format);
  if (rect.IsRectEmpty()) return;
  const Rows<const BYTE> from(codec, rect, static_cast<const BYTE*>(rows), stride);
  KXVOffscreenAutoLock lock(this, 1);
  KXBlockGetter blocks(this, rect, 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    if (!GetBlockExist(part.left, part.top) && IsNothing(codec, part, from, blockRowBytes_)) {
      continue;
    }
    kxw::ForEachRow(*this, part, true, [&](BYTE* row, int column, int count, int y) {
      const std::ptrdiff_t index = from.Index(part.left), bytes = count * codec.bits / 8;
      if (y + kRowsAhead < part.bottom && bytes <= kShortRow) {
        kxw::PrefetchRow(from.Row(y + kRowsAhead) + index * codec.bits / 8, bytes);
      }
      codec.write(row, column, count, from.Row(y), index);
    });
  }
}
