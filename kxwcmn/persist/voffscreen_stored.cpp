#include <algorithm>
#include <limits>
#include <memory>
#include <optional>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/blockgetter.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/persist/archive.h"
#include "kxwcmn/persist/streams_internal.h"
#include "kxwcmn/persist/zlib_internal.h"
#include "kxwcmn/platform/error.h"

// The stored form is a section that holds three: the header, the extent, and the blocks. The latter
// two are left out where no block has data. A reader skips what follows the fields that it knows.

namespace {

constexpr WORD kVersion = 0x0100;
constexpr int kMaxMajorVersion = 1;

struct Header {
  WORD version;
  int width, height;
  int bitCount;
  double resolution;
  int blockCount;
  BYTE pixelOrder;
};

struct Extent {
  tagRECT rect;
  BYTE isCompressed;
};

BYTE PixelOrderOf(int bitCount) {
  switch (bitCount) {
    case 32:
    case 64:
      return 3;
    case 24:
      return 4;
    default:
      return 0;
  }
}

DWORD BlockBytes(const KXVOffscreen& image) {
  return static_cast<DWORD>(image.GetBlockRowBytes()) * KXVOffscreen::kBlockSize;
}

/// The memory of the current block after a move to `part`; raises 8 if it cannot be brought in,
/// whatever the reason: what is stored never has a hole in its place.
BYTE* EnterBlock(KXVOffscreen& image, const KXRect& part) {
  image.MoveCursor(part.left, part.top);
  BYTE* block = image.GetBaseAddress();
  if (!block) kxThrowError(kxw::kErrorNotEnoughMemory);
  return block;
}

// --- Writing -------------------------------------------------------------------------------------

void WriteHeader(KXArchive& ar, const Header& header) {
  ar.BeginSection();
  ar << header.version << header.width << header.height << header.bitCount << header.resolution
     << header.blockCount << header.pixelOrder;
  ar.EndSection();
}

void WriteExtent(KXArchive& ar, const Extent& extent) {
  ar.BeginSection();
  ar << extent.rect.left << extent.rect.top << extent.rect.right << extent.rect.bottom
     << extent.isCompressed;
  ar.EndSection();
}

/// What compression carries from block to block.
class BlockPacker {
 public:
  BlockPacker(int level, DWORD bytes)
      : deflater_(level, kxw::Deflater::Maker::kFastest),
        bytes_(bytes),
        work_(kxw::AllocateBlock(bytes, kxw::kAllocUninitialized)) {
    output_.Reserve(bytes, false);
  }

  void Write(KXArchive& ar, BYTE* block) {
    const DWORD stored =
        deflater_.Run(block, bytes_, ar.ModeChk(8) != 0, work_.get(), bytes_, output_);
    ar.Write(output_.Get(), stored);
  }

 private:
  kxw::Deflater deflater_;
  DWORD bytes_;
  kxw::PtrBlock work_;
  kxw::PointerOutput output_{nullptr, 0};
};

void WriteBlocks(KXArchive& ar, KXVOffscreen& image, const KXRect& extent, int level) {
  const DWORD bytes = BlockBytes(image);
  KXVOffscreenAutoLock lock(&image, 0);
  std::optional<BlockPacker> packer;
  if (level != 0) packer.emplace(level, bytes);

  ar.BeginSection();
  KXBlockGetter cells(&image, extent, 0);
  for (KXRect part; cells.GetNextBlock(part);) {
    // Asked before the move, which would make a block where an outer lock allows writing.
    const bool isPresent = image.GetBlockExist(part.left, part.top) != 0;
    ar << static_cast<BYTE>(isPresent);
    if (!isPresent) continue;
    BYTE* block = EnterBlock(image, part);
    ar << bytes;
    if (packer) {
      packer->Write(ar, block);
    } else {
      ar.Write(block, bytes);
    }
  }
  ar.EndSection();
}

// --- Reading -------------------------------------------------------------------------------------

/// An open section of a stream that is not to be trusted: a read beyond the section, or beyond the
/// end of an archive that reads short, raises 0x2001000B.
class Section {
 public:
  /// Opens the section that begins here, inside `outer` if that is not null.
  Section(KXArchive& ar, const Section* outer) : ar_(ar) {
    UINT room = std::numeric_limits<UINT>::max();
    if (outer) {
      outer->Need(sizeof(UINT));
      room = ar.GetRemainingSectionSize() - UINT{sizeof(UINT)};
    }
    const UINT before = ar.GetPosition();
    ar.BeginSection();
    if (ar.GetPosition() - before != sizeof(UINT) || ar.GetSectionSize() > room) {
      kxThrowError(kxw::kFailureBadFormat);
    }
  }
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;

  void End() { ar_.EndSection(); }

  /// Raises unless the section, where it is the innermost, has `size` bytes left.
  void Need(UINT size) const {
    if (ar_.GetRemainingSectionSize() < size) kxThrowError(kxw::kFailureBadFormat);
  }

  template <class Value>
  Value Get() {
    Need(sizeof(Value));
    const UINT before = ar_.GetPosition();
    Value value;
    ar_ >> value;
    if (ar_.GetPosition() - before != sizeof(Value)) kxThrowError(kxw::kFailureBadFormat);
    return value;
  }

 private:
  KXArchive& ar_;
};

Header ReadHeader(KXArchive& ar, Section& outer) {
  Section section(ar, &outer);
  Header header;
  header.version = section.Get<WORD>();
  if (header.version >> 8 > kMaxMajorVersion) kxThrowError(kxw::kFailureWrongVersion);
  header.width = section.Get<int>();
  header.height = section.Get<int>();
  header.bitCount = section.Get<int>();
  header.resolution = section.Get<double>();
  header.blockCount = section.Get<int>();
  header.pixelOrder = section.Get<BYTE>();
  section.End();

  constexpr int kSize = KXVOffscreen::kBlockSize, kMax = KXVOffscreen::kMaxSize;
  if (header.width < 0 || header.height < 0 || header.width > kMax || header.height > kMax) {
    kxThrowError(kxw::kFailureBadFormat);
  }
  const i64 cells =
      (i64{header.width} + kSize - 1) / kSize * ((i64{header.height} + kSize - 1) / kSize);
  if (cells > KXVOffscreen::kMaxStoredBlocks) kxThrowError(kxw::kFailureBadFormat);
  return header;
}

Extent ReadExtent(KXArchive& ar, Section& outer) {
  Section section(ar, &outer);
  Extent extent;
  extent.rect.left = section.Get<int>();
  extent.rect.top = section.Get<int>();
  extent.rect.right = section.Get<int>();
  extent.rect.bottom = section.Get<int>();
  extent.isCompressed = section.Get<BYTE>();
  section.End();
  return extent;
}

/// Reverses the `kBytes` bytes that begin at each pixel of a block's front part, a pixel every
/// `kStep` bytes. Of bytes that would leave the block those that stay inside change places among
/// each other, as if what lies outside were alike on both sides.
template <int kBytes, int kStep>
void ReversePixels(BYTE* block, int rowBytes, const KXRect& part) {
  const BYTE* const end = block + rowBytes * KXVOffscreen::kBlockSize;
  for (int y = 0; y < part.Height(); ++y) {
    BYTE* at = block + y * rowBytes;
    for (int x = 0; x < part.Width(); ++x, at += kStep) {
      const int outside = std::max(kBytes - static_cast<int>(end - at), 0);
      std::reverse(at + outside, at + kBytes - outside);
    }
  }
}

/// What turns a stored block into one of ours; null where there is nothing to do.
using Conversion = void (*)(BYTE* block, int rowBytes, const KXRect& part);
Conversion ConversionOf(int bitCount, BYTE pixelOrder) {
  if (bitCount == 32 && pixelOrder == 1) return ReversePixels<4, 4>;
  if (bitCount == 64 && pixelOrder == 1) return ReversePixels<8, 8>;
  // Four bytes at steps of three: the first byte of a row travels along it. This is kept so.
  if (bitCount == 24 && pixelOrder == 2) return ReversePixels<4, 3>;
  return nullptr;
}

/// Room for the streams of most cels' blocks. Room for any stream would lie in a huge page, and to
/// clear that takes the host as long as to inflate a flat block.
constexpr DWORD kStreamRoom = 0x10000;

void ReadBlocks(KXArchive& ar, Section& outer, KXVOffscreen& image, const Header& header) {
  const Extent extent = ReadExtent(ar, outer);
  int firstColumn, lastColumn, firstRow, lastRow;
  if (image.GetBlockAreaIndex(extent.rect, firstColumn, lastColumn, firstRow, lastRow) <
      header.blockCount) {
    kxThrowError(kxw::kFailureBadFormat);
  }
  const DWORD bytes = BlockBytes(image);
  const Conversion convert = ConversionOf(header.bitCount, header.pixelOrder);
  kxw::PtrBlock buffer;
  DWORD bufferSize = 0;
  if (extent.isCompressed) {
    bufferSize = std::min(bytes, kStreamRoom);
    buffer = kxw::AllocateBlock(bufferSize, kxw::kAllocUninitialized);
  }

  Section section(ar, &outer);
  KXVOffscreenAutoLock lock(&image, 1);
  KXBlockGetter cells(&image, extent.rect, 0);
  KXRect part;
  // There may be fewer entries than cells: the last cells are empty then.
  for (int left = header.blockCount; left > 0 && cells.GetNextBlock(part); --left) {
    if (!section.Get<BYTE>()) continue;
    if (section.Get<DWORD>() != bytes) kxThrowError(kxw::kFailureBadFormat);
    if (extent.isCompressed) {
      const DWORD stored = section.Get<DWORD>();
      section.Need(stored);
      if (kxw::ReadGrowing(ar, stored, buffer, bufferSize) != stored)
        kxThrowError(kxw::kFailureBadFormat);
      BYTE* block = EnterBlock(image, part);
      if (kxw::Inflate(buffer.get(), stored, block, bytes) != bytes)
        kxThrowError(kxw::kFailureBadFormat);
    } else {
      section.Need(bytes);
      kxw::ReadAll(ar, EnterBlock(image, part), bytes);
    }
    if (convert) convert(image.GetBaseAddress(), image.GetBlockRowBytes(), part);
  }
  section.End();
}

}  // namespace

void KXVOffscreen::Write(KXArchive& ar, KXVOffscreen* image, int compressionLevel) {
  if (!image || image->GetBlockCount(nullptr, nullptr) > kMaxStoredBlocks) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  KXRect extent;
  int count = 0, firstColumn, lastColumn, firstRow, lastRow;
  if (image->GetExtentBlock(extent)) {
    count = image->GetBlockAreaIndex(extent, firstColumn, lastColumn, firstRow, lastRow);
  }
  const int bitCount = image->GetBitCount();
  ar.BeginSection();
  WriteHeader(ar, {.version = kVersion,
                   .width = image->GetWidth(),
                   .height = image->GetHeight(),
                   .bitCount = bitCount,
                   .resolution = image->GetResolution(),
                   .blockCount = count,
                   .pixelOrder = PixelOrderOf(bitCount)});
  if (count > 0) {
    WriteExtent(ar, {.rect = extent, .isCompressed = compressionLevel != 0});
    WriteBlocks(ar, *image, extent, compressionLevel);
  }
  ar.EndSection();
}

KXVOffscreen* KXVOffscreen::Read(KXArchive& ar) { return Read(ar, kxGetVirtualMemory()).release(); }

KXVOffscreenPtr KXVOffscreen::Read(KXArchive& ar, KXVirtualMemory* memory) {
  if (!memory) kxThrowError(kxw::kFailureBadArgument);
  Section section(ar, nullptr);
  const Header header = ReadHeader(ar, section);
  KXVOffscreenPtr image(CreateOffscreen(header.bitCount));
  if (!image) kxThrowError(kxw::kFailureBadFormat);
  image->Create(memory, header.width, header.height, header.resolution);
  if (header.blockCount > 0) {
    // Every block that comes into being is filled from the stream.
    image->EnableClear(0);
    ReadBlocks(ar, section, *image, header);
    image->EnableClear(1);
  }
  section.End();
  return image;
}
