#if defined(KXWCMN_WITH_SOUND)

#include <sndfile.h>

#include <cstring>
#include <memory>
#include <mutex>
#include <utility>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/file.h"
#include "kxwcmn/platform/posix/sound_internal.h"

namespace kxw {

namespace {

/// The library's codes whose words fit.
constexpr int kWrongFormat = 0x2001000B;
constexpr int kFormatNotSupported = 0x6001138A;

/// libsndfile refuses files with more.
constexpr int kMostChannels = 1024;

struct SoundFileLibrary {
  SoundFileLibrary() {
    const HostLibrary library("libsndfile.so.1");
    isThere = library.Find("sf_open_virtual", &open) && library.Find("sf_close", &close) &&
              library.Find("sf_error", &error) && library.Find("sf_read_raw", &readRaw);
  }
  bool isThere;
  decltype(sf_open_virtual)* open = nullptr;
  decltype(sf_close)* close = nullptr;
  decltype(sf_error)* error = nullptr;
  decltype(sf_read_raw)* readRaw = nullptr;
};

const SoundFileLibrary& Library() {
  static const SoundFileLibrary library;
  return library;
}

/// The file as libsndfile reads it, through the operations of this room.
class ReadFile {
 public:
  explicit ReadFile(const char* path) {
    error_ = qmOpenFile(path, 0, 0, kFileRead, kShareRead, kOpenExisting, 0, &file_);
    if (error_) return;
    length_ = qmGetFileSize(file_);
    if (length_ < 0) error_ = qmGetLastError();
  }
  ReadFile(const ReadFile&) = delete;
  ReadFile& operator=(const ReadFile&) = delete;
  ~ReadFile() {
    if (file_ != kNoFile) qmCloseFile(file_);
  }

  /// The first failure of the host.
  int Error() const { return error_; }
  i64 Length() const { return length_; }

  i64 Read(void* to, i64 size) {
    if (positionOfNextRead_) *std::exchange(positionOfNextRead_, nullptr) = Tell();
    DWORD done = 0;
    Note(qmReadFile(file_, to, static_cast<DWORD>(size), &done));
    return done;
  }
  i64 Seek(i64 offset, int origin) {
    Note(qmSeekFile(file_, offset, static_cast<DWORD>(origin)));
    return Tell();
  }
  i64 Tell() const { return qmGetFilePointer(file_); }

  /// Stores where the next read begins.
  void WatchNextRead(i64* position) { positionOfNextRead_ = position; }

 private:
  void Note(int error) {
    if (!error_) error_ = error;
  }

  FileHandle file_ = kNoFile;
  i64 length_ = 0;
  int error_ = 0;
  i64* positionOfNextRead_ = nullptr;
};

ReadFile& Of(void* file) { return *static_cast<ReadFile*>(file); }

SF_VIRTUAL_IO kReadFile = {
    [](void* file) -> sf_count_t { return Of(file).Length(); },
    [](sf_count_t offset, int origin, void* file) -> sf_count_t {
      return Of(file).Seek(offset, origin);  // SEEK_SET and so on are the platform's origins
    },
    [](void* to, sf_count_t size, void* file) -> sf_count_t { return Of(file).Read(to, size); },
    [](const void*, sf_count_t, void*) -> sf_count_t { return 0; },
    [](void* file) -> sf_count_t { return Of(file).Tell(); },
};

/// Opens the file, or sets the code of the failure. libsndfile keeps the failure of an open for the
/// whole process, and guards it not.
SNDFILE* Open(ReadFile& file, SF_INFO* info, int* code) {
  static std::mutex opening;
  const std::lock_guard lock(opening);
  SNDFILE* const sound = Library().open(&kReadFile, SFM_READ, info, &file);
  if (sound) return sound;
  const bool isUnsupported = Library().error(nullptr) == SF_ERR_UNSUPPORTED_ENCODING;
  *code = file.Error() ? file.Error() : isUnsupported ? kFormatNotSupported : kWrongFormat;
  return nullptr;
}

/// The kinds are told apart by their first bytes: libsndfile would read others, too.
int CheckKind(ReadFile& file) {
  char head[12] = {};
  file.Read(head, sizeof head);
  if (file.Error()) return file.Error();
  if (std::memcmp(head, "FORM", 4) != 0) return kWrongFormat;
  if (std::memcmp(head + 8, "AIFC", 4) == 0) return kFormatNotSupported;
  if (std::memcmp(head + 8, "AIFF", 4) != 0) return kWrongFormat;
  file.Seek(0, kFromBegin);
  return file.Error();
}

}  // namespace

bool HasSoundFile() { return Library().isThere; }

int ReadAiffFile(const char* path, SoundFormat* format) {
  ReadFile file(path);
  if (file.Error()) return file.Error();
  if (const int error = CheckKind(file)) return error;

  SF_INFO info = {};
  const auto close = [](SNDFILE* sound) { Library().close(sound); };
  int code = 0;
  const std::unique_ptr<SNDFILE, decltype(close)> sound(Open(file, &info, &code), close);
  if (!sound) return code;
  const int coding = info.format & SF_FORMAT_SUBMASK;
  if (coding != SF_FORMAT_PCM_S8 && coding != SF_FORMAT_PCM_16) return kFormatNotSupported;

  // libsndfile does not tell where the samples begin, but it begins to read there.
  i64 dataPosition = file.Length();
  BYTE frame[2 * kMostChannels];
  const int frameSize = info.channels * (coding == SF_FORMAT_PCM_16 ? 2 : 1);
  if (info.frames > 0 && frameSize <= static_cast<int>(sizeof frame)) {
    file.WatchNextRead(&dataPosition);
    Library().readRaw(sound.get(), frame, frameSize);
    file.WatchNextRead(nullptr);
  }
  if (file.Error()) return file.Error();
  if (info.channels <= 0 || info.samplerate < 0 || info.frames < 0 ||
      info.frames > i64{0xFFFFFFFF} / frameSize || dataPosition > i64{0xFFFFFFFF}) {
    return kWrongFormat;
  }
  format->channels = static_cast<DWORD>(info.channels);
  format->sampleRate = static_cast<DWORD>(info.samplerate);
  format->sampleSize = coding == SF_FORMAT_PCM_16 ? 16 : 8;
  format->frames = static_cast<DWORD>(info.frames);
  format->dataPosition = static_cast<DWORD>(dataPosition);
  return kErrorNone;
}

}  // namespace kxw

#endif
