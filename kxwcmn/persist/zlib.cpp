#include "kxwcmn/persist/zlib.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <span>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/persist/archive.h"
#include "kxwcmn/persist/streams_internal.h"
#include "kxwcmn/persist/zlib_internal.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/memory.h"

namespace {

using kxw::PtrBlock;

constexpr DWORD kDefaultWork = 0x40000;
constexpr DWORD kLengthBytes = 4;
constexpr DWORD kHeaderBytes = 2;
constexpr DWORD kChecksumBytes = 4;
constexpr DWORD kHandleSpare = 0x100;  // what a handle has to have free beside its contents

[[noreturn]] void RaiseZlib() { kxThrowError(kxw::kErrorNotEnoughMemory); }

void Put(BYTE* at, DWORD value, bool bigEndian) {
  for (int i = 0; i < 4; ++i) {
    at[i] = static_cast<BYTE>(value >> (bigEndian ? 24 - 8 * i : 8 * i));
  }
}

DWORD Get(const BYTE* at, bool bigEndian) {
  DWORD value = 0;
  for (int i = 0; i < 4; ++i) value |= DWORD{at[i]} << (bigEndian ? 24 - 8 * i : 8 * i);
  return value;
}

class HandleOutput : public kxw::Output {
 public:
  HandleOutput() { Resize(kDefaultWork); }
  ~HandleOutput() override { qmFree(handle_); }
  HandleOutput(const HandleOutput&) = delete;
  HandleOutput& operator=(const HandleOutput&) = delete;

  BYTE* Get() override { return static_cast<BYTE*>(qmLock(handle_)); }
  void Reserve(DWORD size, bool last) override {
    if (u64{size} + kHandleSpare <= capacity_) return;
    u64 capacity = capacity_;
    while (capacity < u64{size} + kHandleSpare) capacity *= 2;
    Resize(last ? size
                : static_cast<DWORD>(std::min<u64>(capacity, std::numeric_limits<DWORD>::max())));
  }

  QMHANDLE__* Take() {
    QMHANDLE__* handle = handle_;
    handle_ = nullptr;
    qmUnlock(handle);
    return handle;
  }

 private:
  void Resize(DWORD size) {
    int error = 0;
    QMHANDLE__* handle = qmReAlloc(handle_, size, kxw::kAllocUninitialized, &error);
    if (!handle) kxThrowError(error);
    handle_ = handle;
    capacity_ = size;
  }

  QMHANDLE__* handle_ = nullptr;
  DWORD capacity_ = 0;
};

/// The head of a zlib stream: its window of 32 KiB, and how hard the level tries.
WORD HeaderOf(int level) {
  const int effort = level == Z_DEFAULT_COMPRESSION || level == 6 ? 2
                     : level < 2                                  ? 0
                     : level < 6                                  ? 1
                                                                  : 3;
  const int header = 0x7800 | effort << 6;
  return static_cast<WORD>(header + 31 - header % 31);
}

/// Lends a caller's block to one who may replace it.
class Borrowed {
 public:
  explicit Borrowed(BYTE*& buffer) : buffer_(buffer), block_(buffer) {}
  ~Borrowed() { buffer_ = block_.release(); }
  Borrowed(const Borrowed&) = delete;
  Borrowed& operator=(const Borrowed&) = delete;

  PtrBlock& Get() { return block_; }

 private:
  BYTE*& buffer_;
  PtrBlock block_;
};

}  // namespace

kxw::Deflater::Deflater(int level, Maker maker) : level_(level), header_(HeaderOf(level)) {
  if (maker == Maker::kFastest) whole_ = WholeDeflater::Make(level);
  if (!whole_) StartZLib();
}

void kxw::Deflater::StartZLib() {
  // Without zlib's head and checksum, which are ours to write.
  constexpr int kPlainWindow = -MAX_WBITS, kMemory = 8;
  if (deflateInit2(&stream_, level_, Z_DEFLATED, kPlainWindow, kMemory, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    RaiseZlib();
  }
}

kxw::Deflater::~Deflater() { deflateEnd(&stream_); }

DWORD kxw::Deflater::Run(BYTE* data, DWORD size, bool bigEndian, BYTE* work, DWORD workSize,
                         Output& output) {
  DWORD stored = whole_ && size <= kMaxWhole ? RunWhole(data, size, output)
                                             : RunInPieces(data, size, work, workSize, output);
  BYTE* const form = output.Get();
  Put(form + stored, Adler32(data, size), true);
  stored += kChecksumBytes;
  Put(form, stored - kLengthBytes, bigEndian);
  form[kLengthBytes] = static_cast<BYTE>(header_ >> 8);
  form[kLengthBytes + 1] = static_cast<BYTE>(header_);
  return stored;
}

DWORD kxw::Deflater::RunWhole(const BYTE* data, DWORD size, Output& output) {
  const std::span<const BYTE> stream = whole_->Run(data, size);
  const DWORD heads = kLengthBytes + kHeaderBytes;
  const DWORD stored = heads + static_cast<DWORD>(stream.size());
  output.Reserve(stored + kChecksumBytes, true);
  std::memcpy(output.Get() + heads, stream.data(), stream.size());
  return stored;
}

DWORD kxw::Deflater::RunInPieces(BYTE* data, DWORD size, BYTE* work, DWORD workSize,
                                 Output& output) {
  if (!stream_.state) StartZLib();
  if (stream_.total_out != 0 && deflateReset(&stream_) != Z_OK) RaiseZlib();
  stream_.next_in = data;
  stream_.avail_in = 0;
  DWORD consumed = 0, stored = kLengthBytes + kHeaderBytes;
  int flush = Z_NO_FLUSH;
  for (bool isEnd = false; !isEnd;) {
    stream_.next_out = work;
    stream_.avail_out = workSize;
    while (!isEnd && stream_.avail_out != 0) {
      if (stream_.avail_in == 0 && flush != Z_FINISH) {
        const bool isLast = u64{consumed} + workSize > size;
        stream_.avail_in = isLast ? size - consumed : workSize;
        consumed += stream_.avail_in;
        if (isLast) flush = Z_FINISH;
      }
      const int result = deflate(&stream_, flush);
      isEnd = result == Z_STREAM_END;
      if (!isEnd && result != Z_OK) RaiseZlib();
    }
    const DWORD made = workSize - stream_.avail_out;
    const DWORD rest = isEnd ? kChecksumBytes : 0;
    if (made > std::numeric_limits<DWORD>::max() - kChecksumBytes - stored) RaiseZlib();
    output.Reserve(stored + made + rest, isEnd);
    std::memcpy(output.Get() + stored, work, made);
    stored += made;
  }
  return stored;
}

DWORD kxw::Inflate(const BYTE* source, DWORD sourceSize, BYTE* dest, DWORD destSize) {
  // Method and window, 31 times something, and no dictionary.
  if (!source || sourceSize < kHeaderBytes + kChecksumBytes || (source[0] & 0x0F) != Z_DEFLATED ||
      source[0] >> 4 > MAX_WBITS - 8 || (source[0] << 8 | source[1]) % 31 != 0 ||
      source[1] & 0x20) {
    RaiseZlib();
  }
  BYTE none = 0;  // both libraries want an address, also where there is no room
  const std::optional<InflatedSizes> sizes =
      InflateWhole(source + kHeaderBytes, sourceSize - kHeaderBytes - kChecksumBytes,
                   dest ? dest : &none, dest ? destSize : 0);
  if (!sizes || Get(source + kHeaderBytes + sizes->stream, true) != Adler32(dest, sizes->contents))
    RaiseZlib();
  return sizes->contents;
}

void kxw::PointerOutput::Reserve(DWORD size, bool) {
  if (size <= capacity_ && Get()) return;
  const bool isFirst = !own_;
  ResizeBlock(own_, size, kAllocUninitialized);
  if (isFirst && given_) std::memcpy(own_.get(), given_, std::min(capacity_, size));
  capacity_ = size;
}

BYTE* kxw::PointerOutput::Take() {
  if (!own_) return given_;
  qmFreePtr(given_);
  return own_.release();
}

DWORD kxw::InflateFrom(KXArchive& ar, BYTE* dest, DWORD destSize, PtrBlock& block,
                       DWORD& capacity) {
  DWORD size;
  ar >> size;
  if (ReadGrowing(ar, size, block, capacity) != size) kxThrowError(kFailureBadFormat);
  return Inflate(block.get(), size, dest, destSize);
}

KXZLib::~KXZLib() = default;

void* KXZLib::InternalCompress(void* data, DWORD size, DWORD* resultSize, int asPointer,
                               int bigEndian, BYTE* buffer, DWORD* bufferSize, BYTE* work,
                               DWORD workSize) {
  if (!data && size > 0) kxThrowError(kxw::kFailureBadArgument);
  if (workSize == 0) workSize = kDefaultWork;
  kxw::Deflater deflater(level_, kxw::Deflater::Maker::kZLib);
  PtrBlock ownWork;
  if (!work) {
    ownWork = kxw::AllocateBlock(workSize, kxw::kAllocUninitialized);
    work = ownWork.get();
  }
  const auto run = [&](kxw::Output& output) {
    const DWORD stored =
        deflater.Run(static_cast<BYTE*>(data), size, bigEndian != 0, work, workSize, output);
    if (resultSize) *resultSize = stored;
  };
  if (asPointer || buffer) {
    kxw::PointerOutput output(buffer, buffer && bufferSize ? *bufferSize : 0);
    run(output);
    if (bufferSize) *bufferSize = output.GetCapacity();
    return output.Take();
  }
  HandleOutput output;
  run(output);
  return output.Take();
}

void KXZLib::InternalDecompress(void* source, void* dest, DWORD sourceSize, DWORD destSize, BYTE*,
                                DWORD) {
  kxw::Inflate(static_cast<const BYTE*>(source), sourceSize, static_cast<BYTE*>(dest), destSize);
}

void KXZLib::Compress(KXArchive& ar, void* data, DWORD size, DWORD* storedSize, BYTE* work,
                      DWORD workSize) {
  DWORD stored = 0;
  const PtrBlock block(static_cast<BYTE*>(
      InternalCompress(data, size, &stored, 1, ar.ModeChk(8), nullptr, nullptr, work, workSize)));
  ar.Write(block.get(), stored);
  if (storedSize) *storedSize = stored;
}

void KXZLib::Compress(KXArchive& ar, void* data, DWORD size, BYTE*& buffer, DWORD& bufferSize,
                      BYTE* work, DWORD workSize) {
  DWORD stored = 0;
  buffer = static_cast<BYTE*>(
      InternalCompress(data, size, &stored, 1, ar.ModeChk(8), buffer, &bufferSize, work, workSize));
  ar.Write(buffer, stored);
}

void KXZLib::Compress(void** result, void* data, DWORD size, DWORD* resultSize, int bigEndian) {
  if (!result) kxThrowError(kxw::kFailureBadArgument);
  *result = InternalCompress(data, size, resultSize, 1, bigEndian, nullptr, nullptr, nullptr, 0);
}

void KXZLib::CompressToHandle(QMHANDLE__*& result, void* data, DWORD size, DWORD* resultSize,
                              int bigEndian) {
  result = static_cast<QMHANDLE__*>(
      InternalCompress(data, size, resultSize, 0, bigEndian, nullptr, nullptr, nullptr, 0));
}

void KXZLib::Decompress(KXArchive& ar, void* dest, DWORD destSize) {
  PtrBlock block;
  DWORD capacity = 0;
  kxw::InflateFrom(ar, static_cast<BYTE*>(dest), destSize, block, capacity);
}

void KXZLib::Decompress(KXArchive& ar, void* dest, DWORD destSize, BYTE*& buffer, DWORD& bufferSize,
                        BYTE*, DWORD) {
  if (!buffer) bufferSize = 0;
  kxw::InflateFrom(ar, static_cast<BYTE*>(dest), destSize, Borrowed(buffer).Get(), bufferSize);
}

void KXZLib::Decompress(void* source, void* dest, DWORD destSize, int bigEndian) {
  if (!source) kxThrowError(kxw::kFailureBadArgument);
  auto* from = static_cast<BYTE*>(source);
  InternalDecompress(from + kLengthBytes, dest, Get(from, bigEndian != 0), destSize, nullptr, 0);
}
