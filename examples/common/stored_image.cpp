#include "common/stored_image.h"

#include <functional>

namespace examples {
namespace {

constexpr UINT kCache = 1 << 18;

/// An archive file that asks for the user's wish to stop, and shows how far the work is, whenever
/// its cache goes to the disk or comes from there.
class WatchedFile : public KXArchiveFile {
 public:
  explicit WatchedFile(UINT mode) : KXArchiveFile(mode, kCache) {}

  /// From here on `done` tells how many of `steps` are done.
  void Watch(const char* text, int steps, std::function<int()> done) {
    done_ = std::move(done);
    progress_.Create(steps, text);
  }
  int CachesRead() const { return static_cast<int>(position_ / kCache); }
  int CachesInFile() const { return static_cast<int>(length_ / kCache); }

  UINT WriteSelf(const void* data, UINT size) override {
    Look();
    return KXArchiveFile::WriteSelf(data, size);
  }
  UINT ReadSelf(void* data, UINT size) override {
    Look();
    return KXArchiveFile::ReadSelf(data, size);
  }

 private:
  void Look() {
    abort_.CheckAbort();
    if (!done_) return;
    for (const int done = done_(); shown_ < done; ++shown_) progress_.Step();
  }

  KXAbort abort_;
  KXProgressBar progress_;
  std::function<int()> done_;
  int shown_ = 0;
};

}  // namespace

void RaiseOfStored(const std::string& path, KXException& failure) {
  switch (failure.GetErrorCode()) {
    case kxw::kFailureBadArgument:  // by an archive that ends early
    case kxw::kFailureBadFormat:
      throw FileError(path, "not a stored image, or not a whole one");
    default:
      RaiseOfFile(path, failure);
  }
}

void StoredImageWriter::Write(KXVOffscreen& image, int level) {
  try {
    WatchedFile archive(kxw::kArchiveStore);
    archive.FileOpen(FromNative(newFile_.PartPath()), kxw::kFileWrite, kxw::kShareNone,
                     kxw::kOpenExisting, 0);
    // The image's cursor goes from block to block while they are stored.
    archive.Watch("Storing the image", image.GetBlockCount(nullptr, nullptr), [&] {
      return image.GetBlockIndex(image.GetCursorPosX(), image.GetCursorPosY());
    });
    KXVOffscreen::Write(archive, &image, level);
    archive.DoFlush();
    archive.FileClose();
  } catch (KXException& failure) {
    if (failure.GetErrorCode() == kxw::kFailureBadArgument) {
      throw FileError(newFile_.Path(), "the image has too many blocks to be stored");
    }
    RaiseOfStored(newFile_.Path(), failure);
  }
  newFile_.Keep();
}

void OpenStoredImage(KXArchiveFile& archive, const std::string& path) {
  try {
    if (FromNative(path).IsFolder()) throw FileError(path, "not a file");
    archive.FileOpen(FromNative(path), static_cast<int>(kxw::kFileRead), kxw::kShareRead,
                     kxw::kOpenExisting, 0);
  } catch (KXException& failure) {
    RaiseOfStored(path, failure);
  }
}

Offscreen ReadStoredImage(const std::string& path) {
  WatchedFile archive(kxw::kArchiveLoad);
  OpenStoredImage(archive, path);
  archive.Watch("Reading the image", archive.CachesInFile(),
                [&archive] { return archive.CachesRead(); });
  try {
    return Offscreen(KXVOffscreen::Read(archive));
  } catch (KXException& failure) {
    // A damaged stream has the code that compression has for every failure.
    if (failure.GetErrorCode() == kxw::kErrorNotEnoughMemory) {
      throw FileError(path, "damaged, or no room for the image that it holds");
    }
    RaiseOfStored(path, failure);
  }
}

}  // namespace examples
