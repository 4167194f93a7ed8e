#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "kxwcmn/platform/types.h"

struct libdeflate_compressor;

// Raw streams, without zlib's head and checksum, of buffers that lie in memory whole. libdeflate
// is made for these and takes half of zlib's time; a library built without it has zlib read them,
// and writes all of them in pieces.

namespace kxw {

/// Compresses whole buffers, one after the other.
class WholeDeflater {
 public:
  /// Null where zlib stays: without libdeflate, and from level 7 on, whose files of cels come out
  /// larger from every level of libdeflate that takes as long. Raises 8 if there is no memory.
  static std::unique_ptr<WholeDeflater> Make(int level);
  ~WholeDeflater();
  WholeDeflater(const WholeDeflater&) = delete;
  WholeDeflater& operator=(const WholeDeflater&) = delete;

  /// The stream of `size` bytes at `data`, which may be null for none; valid until the next run.
  /// Raises 8 if there is no memory.
  std::span<const BYTE> Run(const BYTE* data, std::size_t size);

 private:
  explicit WholeDeflater(libdeflate_compressor* compressor) : compressor_(compressor) {}

  [[maybe_unused]] libdeflate_compressor* compressor_;
  std::vector<BYTE> stream_;
};

/// The lengths of a stream and of what it gave.
struct InflatedSizes {
  DWORD stream, contents;
};

/// Inflates the raw stream at the front of `source`. Nothing comes back for a stream that is
/// damaged, cut off, or gives more than `destSize` bytes; the room is then filled in part. Raises 8
/// if there is no memory.
std::optional<InflatedSizes> InflateWhole(const BYTE* source, DWORD sourceSize, BYTE* dest,
                                          DWORD destSize);

/// The checksum at the end of a zlib stream, of all that the stream stands for. `data` may be null
/// for nothing.
DWORD Adler32(const BYTE* data, std::size_t size);

}  // namespace kxw
