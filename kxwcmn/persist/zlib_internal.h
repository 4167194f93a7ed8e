#pragma once

#include <zlib.h>

#include <memory>

#include "kxwcmn/persist/streams_internal.h"
#include "kxwcmn/persist/wholestream_internal.h"
#include "kxwcmn/platform/types.h"

class KXArchive;

namespace kxw {

/// Where a stored form is put together.
class Output {
 public:
  virtual ~Output() = default;
  virtual BYTE* Get() = 0;
  /// Makes room for `size` bytes; more of them come unless it is the `last` time.
  virtual void Reserve(DWORD size, bool last) = 0;
};

/// A block of which the caller may own the first one: that is left alone, for nobody knows yet
/// whether the call succeeds.
class PointerOutput : public Output {
 public:
  PointerOutput(BYTE* buffer, DWORD capacity) : given_(buffer), capacity_(capacity) {}

  BYTE* Get() override { return own_ ? own_.get() : given_; }
  void Reserve(DWORD size, bool last) override;

  DWORD GetCapacity() const { return capacity_; }
  /// The block, the caller's from here on; what it replaces is freed.
  BYTE* Take();

 private:
  BYTE* given_;
  PtrBlock own_;
  DWORD capacity_;
};

/// Makes stored forms of buffers, one after the other, with one set of tables.
class Deflater {
 public:
  /// Who makes the streams: zlib, byte for byte; or, of buffers up to `kMaxWhole`, what is fastest
  /// for the level. Their bytes depend on what the library is built with then; what they stand for
  /// does not.
  enum class Maker { kZLib, kFastest };

  /// A buffer that is compressed as a whole takes as much memory again: twice a block of 64 bits.
  static constexpr DWORD kMaxWhole = 1 << 20;

  /// Raises 8 if zlib does not know the level.
  Deflater(int level, Maker maker);
  ~Deflater();
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  /// Compresses through the work memory, of one byte at least, and returns the size of the stored
  /// form. Raises 8 if it would pass 4 GiB.
  DWORD Run(BYTE* data, DWORD size, bool bigEndian, BYTE* work, DWORD workSize, Output& output);

 private:
  /// These compress into the output, behind the heads, with room for the checksum, and return the
  /// size up to there.
  DWORD RunWhole(const BYTE* data, DWORD size, Output& output);
  DWORD RunInPieces(BYTE* data, DWORD size, BYTE* work, DWORD workSize, Output& output);

  void StartZLib();

  z_stream stream_ = {};
  int level_;
  std::unique_ptr<WholeDeflater> whole_;
  WORD header_;
};

/// Inflates the zlib stream at `source` and returns the bytes that it gave, at most `destSize`.
/// Raises 8 for a stream that is damaged, cut off, or gives more.
DWORD Inflate(const BYTE* source, DWORD sourceSize, BYTE* dest, DWORD destSize);

/// Reads the stored form of a buffer through `block` of `capacity` bytes, which is replaced if it
/// is too small, and inflates it as `Inflate` does. Raises 0x2001000B if the archive ends early.
DWORD InflateFrom(KXArchive& ar, BYTE* dest, DWORD destSize, PtrBlock& block, DWORD& capacity);

}  // namespace kxw
