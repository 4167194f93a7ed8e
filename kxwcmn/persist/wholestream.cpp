#include "kxwcmn/persist/wholestream_internal.h"

#include <zlib.h>

#ifdef KXWCMN_WITH_DEFLATE
#include <libdeflate.h>
#endif

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/platform/error.h"

#ifdef KXWCMN_WITH_DEFLATE

namespace {

/// The level of libdeflate that stands for one of zlib's. At 6, zlib's default, it is the first
/// one whose files of cels come out no larger.
std::optional<int> WholeLevelOf(int level) {
  if (level == Z_DEFAULT_COMPRESSION || level == 6) return 8;
  if (level < 0 || level > 6) return {};
  return level;
}

}  // namespace

std::unique_ptr<kxw::WholeDeflater> kxw::WholeDeflater::Make(int level) {
  const std::optional<int> wholeLevel = WholeLevelOf(level);
  if (!wholeLevel) return nullptr;
  std::unique_ptr<WholeDeflater> deflater =
      RaiseWithoutMemory([] { return std::unique_ptr<WholeDeflater>(new WholeDeflater(nullptr)); });
  deflater->compressor_ = libdeflate_alloc_compressor(*wholeLevel);
  if (!deflater->compressor_) kxThrowError(kErrorNotEnoughMemory);
  return deflater;
}

kxw::WholeDeflater::~WholeDeflater() { libdeflate_free_compressor(compressor_); }

std::span<const BYTE> kxw::WholeDeflater::Run(const BYTE* data, std::size_t size) {
  const std::size_t bound = libdeflate_deflate_compress_bound(compressor_, size);
  if (stream_.size() < bound) RaiseWithoutMemory([&] { stream_.resize(bound); });
  const BYTE none = 0;
  const std::size_t made = libdeflate_deflate_compress(compressor_, data ? data : &none, size,
                                                       stream_.data(), stream_.size());
  return {stream_.data(), made};
}

std::optional<kxw::InflatedSizes> kxw::InflateWhole(const BYTE* source, DWORD sourceSize,
                                                    BYTE* dest, DWORD destSize) {
  // Its 11 KiB are cleared when they are made: too long for streams of flat blocks.
  thread_local std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>
      owner(nullptr, libdeflate_free_decompressor);
  if (!owner) owner.reset(libdeflate_alloc_decompressor());
  if (!owner) kxThrowError(kErrorNotEnoughMemory);
  std::size_t stream = 0, contents = 0;
  if (libdeflate_deflate_decompress_ex(owner.get(), source, sourceSize, dest, destSize, &stream,
                                       &contents) != LIBDEFLATE_SUCCESS) {
    return {};
  }
  return InflatedSizes{static_cast<DWORD>(stream), static_cast<DWORD>(contents)};
}

// zlib's own would take half of the time of reading flat colours: it goes byte by byte.
DWORD kxw::Adler32(const BYTE* data, std::size_t size) { return libdeflate_adler32(1, data, size); }

#else

std::unique_ptr<kxw::WholeDeflater> kxw::WholeDeflater::Make(int) { return nullptr; }

kxw::WholeDeflater::~WholeDeflater() = default;

std::span<const BYTE> kxw::WholeDeflater::Run(const BYTE*, std::size_t) { return {}; }

std::optional<kxw::InflatedSizes> kxw::InflateWhole(const BYTE* source, DWORD sourceSize,
                                                    BYTE* dest, DWORD destSize) {
  z_stream stream = {};
  if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) kxThrowError(kErrorNotEnoughMemory);
  stream.next_in = const_cast<BYTE*>(source);
  stream.avail_in = sourceSize;
  stream.next_out = dest;
  stream.avail_out = destSize;
  // All of the input and all of the room at once, so one call decides.
  const int result = inflate(&stream, Z_FINISH);
  const InflatedSizes sizes{static_cast<DWORD>(stream.total_in),
                            static_cast<DWORD>(stream.total_out)};
  inflateEnd(&stream);
  if (result != Z_STREAM_END) return {};
  return sizes;
}

DWORD kxw::Adler32(const BYTE* data, std::size_t size) {
  return static_cast<DWORD>(adler32_z(1, data, size));
}

#endif
