#include "kxwcmn/desktop/sound.h"

#include <algorithm>
#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/desktop/sound_internal.h"
#include "kxwcmn/platform/bytereader_internal.h"

namespace {

using kxw::kSoundAiff;
using kxw::kSoundNone;
using kxw::kSoundWave;
using kxw::OpenForReading;

constexpr DWORD kTimeUnits = 600;  // a second

/// No file has more than some dozens; one of empty chunks alone would take minutes to walk through.
constexpr int kMostChunks = 1 << 16;

constexpr int kNoWave = 0;  // the code of a file that is none

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

/// A field of the information. A rate of 65536 and more has no place in it and wraps, as it is
/// meant to: such files are read and played by their true rate.
DWORD FixedRate(DWORD hertz) { return hertz << 16; }

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
  samplesPerSecond_ = 0;
  if (!GetSoundFileType()) return 0;
  return type_ == kSoundWave ? GetWAVEFileInfo() : GetAIFFFileInfo();
}

int KXSound::GetSoundFileType() {
  type_ = path_.IsExtensionFile("wav")                                    ? kSoundWave
          : path_.IsExtensionFile("aif") || path_.IsExtensionFile("aiff") ? kSoundAiff
                                                                          : kSoundNone;
  return type_ != kSoundNone;
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
  samplesPerSecond_ = header.samplesPerSecond;
  info_.channels = header.channels;
  info_.sampleRate = FixedRate(header.samplesPerSecond);
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
  const DWORD factor = (format.channels == 2 ? 2u : 1u) * (format.sampleSize == 16 ? 2u : 1u);
  if ((format.sampleSize != 8 && format.sampleSize != 16) || format.channels < 1 ||
      format.channels > 0xFFFF || format.frames > 0xFFFFFFFF / factor) {
    kxThrowError(kxw::kFailureBadFormat);
  }
  samplesPerSecond_ = format.sampleRate;
  info_.channels = static_cast<WORD>(format.channels);
  info_.sampleRate = FixedRate(format.sampleRate);
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
  // More bytes a second than a file can say it has are none of a real format; within that no step
  // wraps in 64 bits, and nothing comes out negative.
  const u64 frameSize = FrameSize();
  const u64 bytesPerSecond = std::min<u64>(frameSize * samplesPerSecond_, 0xFFFFFFFF);
  const u64 offset =
      time / kTimeUnits * bytesPerSecond + time % kTimeUnits * bytesPerSecond / kTimeUnits;
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
    if (type_ == kSoundWave) return bytes[0];
    // The lowest value comes out as 1, as -127 does.
    return static_cast<short>(bytes[0] > 127 ? bytes[0] - 255 + 128 : bytes[0] + 128);
  }
  const WORD low = kxw::ByteReader(bytes, 2).U16(0);
  return Change16BitTo8BitSample(static_cast<short>(type_ == kSoundWave ? low : ReverseWord(low)));
}

short KXSound::Change16BitTo8BitSample(short sample) {
  return static_cast<short>(sample >= 0 ? (sample >> 8) + 128 : 128 - (-sample >> 8));
}

WORD KXSound::ReverseWord(WORD word) { return static_cast<WORD>(word << 8 | word >> 8); }
