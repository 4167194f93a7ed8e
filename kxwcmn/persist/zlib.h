#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXArchive;
struct QMHANDLE__;

/// Compresses one buffer to, and from, its stored form: the length of the stream in 4 bytes, and
/// one zlib stream with its header and checksum.
///
/// With an archive the length has the archive's byte order; elsewhere `bigEndian` says it. Every
/// failure of zlib raises KXException with code 8, also a stream that gives more than the room it
/// is given; one that gives less fills the front of it. A failed allocation raises the allocator's
/// code; an archive that ends early raises its own or 0x2001000B. The blocks that a call owns are
/// freed then, and the caller's stay valid. Distinct threads may use one object that none changes.
///
/// `work` is memory of `workSize` bytes, for callers that compress block after block: null lets the
/// call allocate it, and a size of 0 stands for 262,144.
class KX_EXPORT KXZLib {
 public:
  KXZLib() = default;
  KXZLib(const KXZLib&) = default;
  KXZLib& operator=(const KXZLib&) = default;
  virtual ~KXZLib();

  /// The level of zlib: 0 to 9, or -1, its default and ours. Others fail when it is used.
  void SetCompressionLevel(int level) { level_ = level; }

  /// Writes `size` bytes of `data` compressed. `*storedSize` (may be null) becomes the bytes
  /// written.
  void Compress(KXArchive& ar, void* data, DWORD size, DWORD* storedSize, BYTE* work,
                DWORD workSize);
  /// The same through `buffer`, a block of `qmAllocPtr` of `bufferSize` bytes that the caller owns;
  /// null is one of 0 bytes. It is replaced by one of exactly the size needed if it is smaller.
  void Compress(KXArchive& ar, void* data, DWORD size, BYTE*& buffer, DWORD& bufferSize, BYTE* work,
                DWORD workSize);
  /// Makes `*result` a block for `qmFreePtr`, with `*resultSize` bytes of stored form.
  void Compress(void** result, void* data, DWORD size, DWORD* resultSize, int bigEndian);
  /// The same with a handle for `qmFree`, which may be larger than its contents.
  void CompressToHandle(QMHANDLE__*& result, void* data, DWORD size, DWORD* resultSize,
                        int bigEndian);

  /// Reads what `Compress` wrote into the `destSize` bytes at `dest`.
  void Decompress(KXArchive& ar, void* dest, DWORD destSize);
  /// The same through `buffer`, as for `Compress`; the work memory is not needed.
  void Decompress(KXArchive& ar, void* dest, DWORD destSize, BYTE*& buffer, DWORD& bufferSize,
                  BYTE* work, DWORD workSize);
  /// `source` has to hold the stream in full.
  void Decompress(void* source, void* dest, DWORD destSize, int bigEndian);

 protected:
  /// Compresses into a block (`asPointer`) or a handle that is returned unlocked and is the
  /// caller's. `buffer`, if not null, is used for the result, with the capacity `*bufferSize`
  /// (null: 0), and returned, or freed and replaced; after a failure it is as it was. `*bufferSize`
  /// becomes the capacity.
  void* InternalCompress(void* data, DWORD size, DWORD* resultSize, int asPointer, int bigEndian,
                         BYTE* buffer, DWORD* bufferSize, BYTE* work, DWORD workSize);
  void InternalDecompress(void* source, void* dest, DWORD sourceSize, DWORD destSize, BYTE* work,
                          DWORD workSize);

 private:
  int level_ = -1;
};
