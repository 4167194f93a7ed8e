#include "kxwcmn/desktop/sound.h"

#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/file.h"
#include "kxwcmn/platform/bytereader_internal.h"

namespace {

enum SoundType : WORD { kNone, kWave, kAiff };

constexpr DWORD kTimeUnits = 600;  // a second

/// No file has more than some dozens; one of empty chunks alone would take minutes to walk through.
constexpr int kMostChunks = 1 << 16;

constexpr int kNoWave = 0;  // the code of a file that is none

void OpenForReading(KXFile& file, const KXFilePath& path) {
  file.Open(path, static_cast<int>(kxw::kFileRead), kxw::kShareRead, kxw::kOpenExisting, 0);
}

/// The fields of a WAVE file, in order. A file that ends within them is none.
class WaveReader {
 public:
  explicit WaveReader(const KXFilePath& path) { OpenForReading(file_, path); }

  std::string Tag() {
    const kxw::ByteReader bytes = Next(4);
    return {field_, bytes.Size()};
  }
  DWORD Size() { return Next(4).U32(0); }
  kxw::ByteReader Next(DWORD size) {
    DWORD done = 0;
    file_.Read(field_, size, &done);
    if (done != size) kxThrowError(kNoWave);
    return {field_, size};
  }
  void Skip(DWORD size) { file_.Seek(size, kxw::kFromCurrent); }
  u64 Position() const { return static_cast<u64>(file_.GetPosition()); }

 private:
  KXFile file_;
  char field_[16];
};

/// A field of the information: halved for two channels, and again for two bytes a sample.
DWORD FramesOf(DWORD bytes, DWORD channels, DWORD sampleSize) {
  if (channels == 2) bytes /= 2;
  return sampleSize == 16 ? bytes / 2 : bytes;
}

DWORD FixedRate(DWORD hertz) {
  if (hertz > 0xFFFF) kxThrowError(kxw::kFailureBadFormat);
  return hertz << 16;
}

float Duration(DWORD bytes, double bytesPerSecond) {
  return bytesPerSecond > 0 ? static_cast<float>(bytes / bytesPerSecond) : 0;
}

}  // namespace

KXSound::~KXSound() = default;

int KXSound::SetSoundFile(const KXFilePath& path) {
  path_ = path;
  if (GetSoundFileInfo()) return 1;
  path_.Empty();
  return 0;
}

int KXSound::GetSoundFileInfo() {
  info_ = {};
  if (!GetSoundFileType()) return 0;
  return type_ == kWave ? GetWAVEFileInfo() : GetAIFFFileInfo();
}

int KXSound::GetSoundFileType() {
  type_ = path_.IsExtensionFile("wav")                                    ? kWave
          : path_.IsExtensionFile("aif") || path_.IsExtensionFile("aiff") ? kAiff
                                                                          : kNone;
  return type_ != kNone;
}

// Chunks follow each other without padding to even sizes.
int KXSound::GetWAVEHeader(_WAVEHEADER* header) const {
  *header = {};
  WaveReader file(path_);
  if (file.Tag() != "RIFF") kxThrowError(kNoWave);
  file.Skip(4);
  if (file.Tag() != "WAVE") kxThrowError(kNoWave);
  bool hasFormat = false;
  for (int chunks = 0; chunks < kMostChunks; ++chunks) {
    const std::string tag = file.Tag();
    const DWORD size = file.Size();
    if (tag == "data") {
      const u64 position = file.Position();
      if (!hasFormat || position > 0xFFFFFFFF) break;
      header->dataPosition = static_cast<DWORD>(position);
      header->dataSize = size;
      return 1;
    }
    if (tag != "fmt ") {
      file.Skip(size);
      continue;
    }
    constexpr DWORD kFormatSize = 16;
    if (size < kFormatSize) break;
    const kxw::ByteReader format = file.Next(kFormatSize);
    header->formatTag = format.U16(0);
    header->channels = format.U16(2);
    header->samplesPerSecond = format.U32(4);
    header->averageBytesPerSecond = format.U32(8);
    header->blockAlign = format.U16(12);
    header->bitsPerSample = format.U16(14);
    if (header->bitsPerSample != 8 && header->bitsPerSample != 16) break;
    hasFormat = true;
    file.Skip(size - kFormatSize);
  }
  kxThrowError(kNoWave);
}

int KXSound::GetWAVEFileInfo() {
  _WAVEHEADER header;
  GetWAVEHeader(&header);
  const DWORD rate = FixedRate(header.samplesPerSecond);
  info_.channels = header.channels;
  info_.sampleRate = rate;
  info_.sampleSize = header.bitsPerSample;
  info_.dataSize = header.dataSize;
  info_.dataPosition = header.dataPosition;
  info_.frameCount = FramesOf(header.dataSize, header.channels, header.bitsPerSample);
  info_.duration = Duration(header.dataSize, header.averageBytesPerSecond);
  info_.plainSamples = header.formatTag == 1;
  return 1;
}

int KXSound::GetAIFFFileInfo() {
  if (!qmwIsInstallQT()) return 0;
  kxw::SoundFormat format;
  if (const int code = kxw::GetSoundService().ReadAiff(path_, &format)) kxThrowError(code);
  const DWORD rate = FixedRate(format.sampleRate);
  const DWORD factor = (format.channels == 2 ? 2u : 1u) * (format.sampleSize == 16 ? 2u : 1u);
  info_.channels = static_cast<WORD>(format.channels);
  info_.sampleRate = rate;
  info_.sampleSize = static_cast<WORD>(format.sampleSize);
  info_.dataSize = format.frames * factor;
  info_.dataPosition = format.dataPosition;
  info_.frameCount = format.frames;
  info_.duration = Duration(info_.dataSize, static_cast<double>(format.sampleRate) * factor);
  info_.plainSamples = 1;
  return 1;
}

DWORD KXSound::FrameSize() const { return DWORD{info_.channels} * info_.sampleSize / 8; }

/// The byte of the samples at a time, the first one of a frame. There is a frame size.
u64 KXSound::OffsetAt(UINT time) const {
  const DWORD frameSize = FrameSize();
  const auto bytesPerSecond = static_cast<u64>(frameSize * (info_.sampleRate / 65536.0));
  const u64 offset = time * bytesPerSecond / kTimeUnits;
  return offset - offset % frameSize;
}

int KXSound::GetSampleData(UINT time, short* left, short* right) const {
  if (!qmwIsInstallQT() || path_.IsEmpty() || FrameSize() == 0) return 0;
  const u64 position = OffsetAt(time) + info_.dataPosition;
  KXFile file;
  OpenForReading(file, path_);
  if (static_cast<u64>(file.GetLength()) < position) return 0;
  file.Seek(static_cast<i64>(position), kxw::kFromBegin);
  BYTE bytes[4];
  const DWORD sampleBytes = info_.sampleSize / 8u;
  const DWORD size = info_.channels >= 2 ? 2 * sampleBytes : sampleBytes;
  DWORD done = 0;
  file.Read(bytes, size, &done);
  if (done != size) return 0;
  if (left) *left = SampleOf(bytes);
  if (right) *right = info_.channels >= 2 ? SampleOf(bytes + sampleBytes) : short{128};
  return 1;
}

short KXSound::SampleOf(const BYTE* bytes) const {
  if (info_.sampleSize == 8) {
    if (type_ == kWave) return bytes[0];
    // The lowest value comes out as 1, as -127 does.
    return static_cast<short>(bytes[0] > 127 ? bytes[0] - 255 + 128 : bytes[0] + 128);
  }
  const WORD low = kxw::ByteReader(bytes, 2).U16(0);
  return Change16BitTo8BitSample(static_cast<short>(type_ == kWave ? low : ReverseWord(low)));
}

short KXSound::Change16BitTo8BitSample(short sample) {
  return static_cast<short>(sample >= 0 ? (sample >> 8) + 128 : 128 - (-sample >> 8));
}

WORD KXSound::ReverseWord(WORD word) { return static_cast<WORD>(word << 8 | word >> 8); }
