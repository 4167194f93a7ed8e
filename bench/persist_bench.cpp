// Archives beside the host's files, and stored images beside zlib and beside plain files.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#ifdef KXWCMN_WITH_DEFLATE
#include <libdeflate.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/pictures.h"
#include "bench/table.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/persist/archivefile.h"
#include "kxwcmn/platform/file.h"

namespace {

using benchmark::DoNotOptimize;
using benchmark::State;
using kxw::bench::Bytes;

/// A file of the temporary folder that goes with its owner.
class ScratchFile {
 public:
  ScratchFile() {
    std::string name = (std::filesystem::temp_directory_path() / "kxwcmn-bench-XXXXXX").string();
    close(mkstemp(name.data()));
    name_ = name;
  }
  ~ScratchFile() { unlink(name_.c_str()); }
  const char* Name() const { return name_.c_str(); }

  void OpenForWriting(KXArchiveFile& ar) const {
    ar.FileCreate(Name(), 0, 0, static_cast<int>(kxw::kFileRead | kxw::kFileWrite), kxw::kShareNone,
                  kxw::kCreateAlways, 0);
  }
  void OpenForReading(KXArchiveFile& ar) const {
    ar.FileOpen(Name(), static_cast<int>(kxw::kFileRead), kxw::kShareRead, kxw::kOpenExisting, 0);
  }

 private:
  std::string name_;
};

// --- Small operators -----------------------------------------------------------------------------

constexpr int kFields = 10'000'000;

void WriteFields(State& state) {
  const ScratchFile file;
  for (auto _ : state) {
    KXArchiveFile ar(1, 512000);
    file.OpenForWriting(ar);
    for (int i = 0; i < kFields / 4; ++i) {
      ar << static_cast<BYTE>(i) << static_cast<short>(i) << i << static_cast<double>(i);
    }
    ar.DoFlush();
    if (ar.GetLength() != kFields / 4 * 15) state.SkipWithError("cut short");
  }
  state.SetItemsProcessed(state.iterations() * kFields);
}

template <class T>
void Put(std::FILE* file, T value) {
  std::fwrite(&value, sizeof value, 1, file);
}

void FwriteFields(State& state) {
  const ScratchFile scratch;
  for (auto _ : state) {
    std::FILE* file = std::fopen(scratch.Name(), "wb");
    std::setvbuf(file, nullptr, _IOFBF, 512000);
    for (int i = 0; i < kFields / 4; ++i) {
      Put(file, static_cast<BYTE>(i));
      Put(file, static_cast<short>(i));
      Put(file, i);
      Put(file, static_cast<double>(i));
    }
    std::fclose(file);
  }
  state.SetItemsProcessed(state.iterations() * kFields);
}

void ReadFields(State& state) {
  const ScratchFile scratch;
  {
    KXArchiveFile out(1, 512000);
    scratch.OpenForWriting(out);
    for (int i = 0; i < kFields / 4; ++i) {
      out << static_cast<BYTE>(i) << static_cast<short>(i) << i << static_cast<double>(i);
    }
    out.DoFlush();
  }
  for (auto _ : state) {
    KXArchiveFile ar;
    scratch.OpenForReading(ar);
    BYTE a;
    short b;
    int c = 0;
    double d;
    for (int i = 0; i < kFields / 4; ++i) {
      ar >> a >> b >> c >> d;
      DoNotOptimize(d);
    }
    if (c != kFields / 4 - 1) state.SkipWithError("read wrong");
  }
  state.SetItemsProcessed(state.iterations() * kFields);
}

template <class T>
void Get(std::FILE* file, T& value) {
  if (std::fread(&value, sizeof value, 1, file) != 1) std::abort();
}

void FreadFields(State& state) {
  const ScratchFile scratch;
  {
    std::FILE* file = std::fopen(scratch.Name(), "wb");
    const std::vector<char> bytes(kFields / 4 * 15);
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
  }
  for (auto _ : state) {
    std::FILE* file = std::fopen(scratch.Name(), "rb");
    std::setvbuf(file, nullptr, _IOFBF, 512000);
    BYTE a;
    short b;
    int c = 0;
    double d;
    for (int i = 0; i < kFields / 4; ++i) {
      Get(file, a);
      Get(file, b);
      Get(file, c);
      Get(file, d);
      DoNotOptimize(d);
    }
    std::fclose(file);
  }
  state.SetItemsProcessed(state.iterations() * kFields);
}

// --- A cel of 4096 x 4096 pixels, 32 bits --------------------------------------------------------

constexpr int kSide = 4096;
constexpr std::size_t kBlockBytes = 262144;

enum Kind { kFlat, kNoise, kLineArt, kPhotograph };

struct Cel {
  explicit Cel(Kind kind) {
    image = kxw::bench::MakeImage(32, kSide, kSide);
    if (kind != kFlat) {
      kxw::bench::Write(*image, kind == kNoise ? kxw::bench::Noise(std::size_t{kSide} * kSide * 4)
                                : kind == kLineArt ? kxw::bench::LineArt(32, kSide, kSide)
                                                   : kxw::bench::Photograph(32, kSide, kSide));
      return;
    }
    // One figure in the middle of the page.
    const KXRect figure(1280, 1024, 2816, 3072);
    const Bytes rows =
        kxw::bench::MakePicture(32, figure.Width(), figure.Height(), [&](int x, int y) {
          const int px = x + figure.left, py = y + figure.top;
          return (px / 61 + py / 97) % 5 == 0 || px % 61 < 3
                     ? 0xFF000000
                     : 0xFF80C0FF + 0x1010 * static_cast<DWORD>(px / 400);
        });
    image->WritePixels(figure, KXPixelFormat::kNative, rows.data());
  }

  /// The blocks that have memory, one after the other.
  std::vector<BYTE> Blocks() const {
    std::vector<BYTE> bytes;
    KXVOffscreenAutoLock lock(image.get(), 0);
    for (int y = 0; y < kSide; y += 256) {
      for (int x = 0; x < kSide; x += 256) {
        image->MoveCursor(x, y);
        const BYTE* block = image->GetBaseAddress();
        if (block) bytes.insert(bytes.end(), block, block + kBlockBytes);
      }
    }
    return bytes;
  }

  KXVOffscreenPtr image;
};

void Store(const Cel& cel, const ScratchFile& file, int level) {
  KXArchiveFile ar(1, 512000);
  file.OpenForWriting(ar);
  KXVOffscreen::Write(ar, cel.image.get(), level);
  ar.DoFlush();
  ar.FileClose();
}

bool IsEqual(KXVOffscreen& image, KXVOffscreen& expected) {
  return image.GetUsedMemory(0) == expected.GetUsedMemory(0) &&
         kxw::bench::Read(image) == kxw::bench::Read(expected);
}

template <Kind kKind, int kLevel>
void WriteCel(State& state) {
  const Cel cel(kKind);
  const ScratchFile file;
  for (auto _ : state) Store(cel, file, kLevel);
  KXArchiveFile ar;
  file.OpenForReading(ar);
  const KXVOffscreenPtr image(KXVOffscreen::Read(ar));
  if (!IsEqual(*image, *cel.image)) state.SkipWithError("stored wrong");
}

template <Kind kKind, int kLevel>
void ReadCel(State& state) {
  const Cel cel(kKind);
  const ScratchFile file;
  Store(cel, file, kLevel);
  bool isChecked = false, isRight = true;
  for (auto _ : state) {
    KXArchiveFile ar;
    file.OpenForReading(ar);
    KXVOffscreenPtr image(KXVOffscreen::Read(ar));
    state.PauseTiming();
    if (!isChecked) isRight = IsEqual(*image, *cel.image);
    isChecked = true;
    image.reset();
    state.ResumeTiming();
  }
  if (!isRight) state.SkipWithError("read wrong");
}

/// The same blocks through zlib, each its own stream, into memory.
template <Kind kKind, int kLevel>
void Deflate(State& state) {
  const std::vector<BYTE> bytes = Cel(kKind).Blocks();
  std::vector<BYTE> packed(compressBound(kBlockBytes));
  for (auto _ : state) {
    for (std::size_t at = 0; at < bytes.size(); at += kBlockBytes) {
      uLongf size = packed.size();
      compress2(packed.data(), &size, bytes.data() + at, kBlockBytes, kLevel);
      DoNotOptimize(packed.data());
    }
  }
}

template <Kind kKind, int kLevel>
void Inflate(State& state) {
  const std::vector<BYTE> bytes = Cel(kKind).Blocks();
  std::vector<std::vector<BYTE>> packed;
  for (std::size_t at = 0; at < bytes.size(); at += kBlockBytes) {
    std::vector<BYTE> block(compressBound(kBlockBytes));
    uLongf size = block.size();
    compress2(block.data(), &size, bytes.data() + at, kBlockBytes, kLevel);
    block.resize(size);
    packed.push_back(std::move(block));
  }
  for (auto _ : state) {
    // Memory of the process's own, as the image needs it too.
    std::unique_ptr<BYTE[]> pixels(new BYTE[bytes.size()]);
    for (std::size_t i = 0; i < packed.size(); ++i) {
      uLongf size = kBlockBytes;
      uncompress(pixels.get() + i * kBlockBytes, &size, packed[i].data(), packed[i].size());
    }
    DoNotOptimize(pixels.get());
    state.PauseTiming();
    pixels.reset();
    state.ResumeTiming();
  }
}

#ifdef KXWCMN_WITH_DEFLATE

/// The same through libdeflate.
template <Kind kKind, int kLevel>
void WholeDeflate(State& state) {
  const std::vector<BYTE> bytes = Cel(kKind).Blocks();
  libdeflate_compressor* compressor = libdeflate_alloc_compressor(kLevel);
  std::vector<BYTE> packed(libdeflate_zlib_compress_bound(compressor, kBlockBytes));
  for (auto _ : state) {
    for (std::size_t at = 0; at < bytes.size(); at += kBlockBytes) {
      libdeflate_zlib_compress(compressor, bytes.data() + at, kBlockBytes, packed.data(),
                               packed.size());
      DoNotOptimize(packed.data());
    }
  }
  libdeflate_free_compressor(compressor);
}

template <Kind kKind, int kLevel>
void WholeInflate(State& state) {
  const std::vector<BYTE> bytes = Cel(kKind).Blocks();
  libdeflate_compressor* compressor = libdeflate_alloc_compressor(kLevel);
  std::vector<std::vector<BYTE>> packed;
  for (std::size_t at = 0; at < bytes.size(); at += kBlockBytes) {
    std::vector<BYTE> block(libdeflate_zlib_compress_bound(compressor, kBlockBytes));
    block.resize(libdeflate_zlib_compress(compressor, bytes.data() + at, kBlockBytes, block.data(),
                                          block.size()));
    packed.push_back(std::move(block));
  }
  libdeflate_free_compressor(compressor);
  libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
  for (auto _ : state) {
    std::unique_ptr<BYTE[]> pixels(new BYTE[bytes.size()]);
    for (std::size_t i = 0; i < packed.size(); ++i) {
      if (libdeflate_zlib_decompress(decompressor, packed[i].data(), packed[i].size(),
                                     pixels.get() + i * kBlockBytes, kBlockBytes,
                                     nullptr) != LIBDEFLATE_SUCCESS) {
        state.SkipWithError("damaged");
      }
    }
    DoNotOptimize(pixels.get());
    state.PauseTiming();
    pixels.reset();
    state.ResumeTiming();
  }
  libdeflate_free_decompressor(decompressor);
}

#endif

template <Kind kKind>
void WriteBytes(State& state) {
  const std::vector<BYTE> bytes = Cel(kKind).Blocks();
  const ScratchFile scratch;
  for (auto _ : state) {
    const int file = open(scratch.Name(), O_WRONLY | O_TRUNC);
    for (std::size_t at = 0; at < bytes.size(); at += kBlockBytes) {
      if (write(file, bytes.data() + at, kBlockBytes) != kBlockBytes)
        state.SkipWithError("no room");
    }
    close(file);
  }
}

template <Kind kKind>
void ReadBytes(State& state) {
  const std::vector<BYTE> bytes = Cel(kKind).Blocks();
  const ScratchFile scratch;
  const int out = open(scratch.Name(), O_WRONLY);
  if (write(out, bytes.data(), bytes.size()) < 0) state.SkipWithError("no room");
  close(out);
  for (auto _ : state) {
    std::unique_ptr<BYTE[]> pixels(new BYTE[bytes.size()]);
    const int file = open(scratch.Name(), O_RDONLY);
    for (std::size_t at = 0; at < bytes.size(); at += kBlockBytes) {
      if (read(file, pixels.get() + at, kBlockBytes) != kBlockBytes)
        state.SkipWithError("cut short");
    }
    close(file);
    DoNotOptimize(pixels.get());
    state.PauseTiming();
    pixels.reset();
    state.ResumeTiming();
  }
}

using kxw::bench::Add;

/// The lines of a kind of cel at a level, beside zlib and beside libdeflate, at the level whose
/// files are as large as ours.
template <Kind kKind, int kLevel, int kWholeLevel>
void AddCel(const std::string& name) {
  const std::string level = ", level " + std::to_string(kLevel);
  const std::string store = "store " + name + level, read = "read " + name + level;
  Add(store, 0.95, WriteCel<kKind, kLevel>, "zlib", Deflate<kKind, kLevel>);
  Add(read, 0.95, ReadCel<kKind, kLevel>, "zlib", Inflate<kKind, kLevel>);
#ifdef KXWCMN_WITH_DEFLATE
  kxw::bench::AddSide(store, "libdeflate", WholeDeflate<kKind, kWholeLevel>);
  kxw::bench::AddSide(read, "libdeflate", WholeInflate<kKind, kWholeLevel>);
#endif
}

const bool kAdded = [] {
  Add("10,000,000 values into a file", 1, WriteFields, "fwrite", FwriteFields);
  Add("10,000,000 values from a file", 1, ReadFields, "fread", FreadFields);
  AddCel<kFlat, 1, 1>("flat cel");
  AddCel<kFlat, 6, 8>("flat cel");
  AddCel<kLineArt, 6, 8>("line art");
  AddCel<kPhotograph, 6, 8>("photograph");
  AddCel<kNoise, 1, 1>("noise");
  AddCel<kNoise, 6, 8>("noise");
  Add("store noise, raw", 0.8, WriteCel<kNoise, 0>, "write", WriteBytes<kNoise>);
  Add("read noise, raw", 0.8, ReadCel<kNoise, 0>, "read", ReadBytes<kNoise>);
  return true;
}();

}  // namespace
