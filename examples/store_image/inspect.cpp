#include "store_image/inspect.h"

#include <filesystem>
#include <limits>

#include "common/stored_image.h"

namespace storeimage {
namespace {

constexpr int kSize = KXVOffscreen::kBlockSize;
constexpr UINT kCache = 4096;  // for no more than the few bytes between one block and the next

/// Opens a section, which must lie within `room` bytes.
void Begin(KXArchive& archive, u64 room) {
  archive.BeginSection();
  if (archive.GetSectionSize() + u64{sizeof(UINT)} > room) kxThrowError(kxw::kFailureBadFormat);
}

void BeginInner(KXArchive& archive) { Begin(archive, archive.GetRemainingSectionSize()); }

void Skip(KXArchive& archive, UINT bytes) {
  if (bytes > archive.GetRemainingSectionSize() || bytes > std::numeric_limits<int>::max()) {
    kxThrowError(kxw::kFailureBadFormat);
  }
  archive.Seek(static_cast<int>(bytes), 1);
}

void WalkBlocks(KXArchive& archive, StoredForm& form) {
  BeginInner(archive);
  for (int i = 0; i < form.cells; ++i) {
    BYTE isPresent;
    archive >> isPresent;
    if (!isPresent) continue;
    UINT raw, stored;
    archive >> raw;
    stored = raw;
    if (form.isCompressed) archive >> stored;
    Skip(archive, stored);
    ++form.blocks;
    form.rawBytes += raw;
    form.blockBytes += stored;
  }
  archive.EndSection();
}

void Walk(KXArchive& archive, StoredForm& form) {
  Begin(archive, form.fileBytes);
  BeginInner(archive);
  archive >> form.version >> form.width >> form.height >> form.bits >> form.resolution >>
      form.cells >> form.pixelOrder;
  archive.EndSection();
  if (form.version >> 8 > 1) kxThrowError(kxw::kFailureWrongVersion);
  if (form.width < 0 || form.height < 0 ||
      !examples::Offscreen(KXVOffscreen::CreateOffscreen(form.bits))) {
    kxThrowError(kxw::kFailureBadFormat);
  }
  if (form.cells > 0) {
    BYTE isCompressed;
    BeginInner(archive);
    archive >> form.extent.left >> form.extent.top >> form.extent.right >> form.extent.bottom >>
        isCompressed;
    archive.EndSection();
    form.isCompressed = isCompressed != 0;
    WalkBlocks(archive, form);
  }
  archive.EndSection();
}

std::string Size(u64 bytes) {
  char text[40];
  const auto value = static_cast<double>(bytes);
  if (bytes < 1 << 20) {
    std::snprintf(text, sizeof text, "%.1f KiB", value / (1 << 10));
  } else {
    std::snprintf(text, sizeof text, "%.1f MiB", value / (1 << 20));
  }
  return text;
}

}  // namespace

i64 StoredForm::AllCells() const {
  return (i64{width} + kSize - 1) / kSize * ((i64{height} + kSize - 1) / kSize);
}

StoredForm Inspect(const std::string& path) {
  StoredForm form;
  KXArchiveFile archive(kxw::kArchiveLoad, kCache);
  examples::OpenStoredImage(archive, path);
  form.fileBytes = std::filesystem::file_size(path);
  try {
    Walk(archive, form);
  } catch (KXException& failure) {
    examples::RaiseOfStored(path, failure);
  }
  return form;
}

std::string Describe(const StoredForm& form) {
  char text[1000];
  int length = std::snprintf(text, sizeof text,
                             "  image       %d x %d pixels, depth %d, resolution %g\n"
                             "  blocks      %d of %lld have memory, %s\n",
                             form.width, form.height, form.bits, form.resolution, form.blocks,
                             form.AllCells(), Size(form.rawBytes).c_str());
  std::string result(text, static_cast<std::size_t>(length));
  if (form.blocks > 0) {
    length = std::snprintf(
        text, sizeof text,
        "  extent      (%d, %d) to (%d, %d)\n"
        "  pixels      %s, %s, %.1f %%\n",
        form.extent.left, form.extent.top, form.extent.right, form.extent.bottom,
        form.isCompressed ? "compressed" : "raw", Size(form.blockBytes).c_str(),
        100 * static_cast<double>(form.blockBytes) / static_cast<double>(form.rawBytes));
    result.append(text, static_cast<std::size_t>(length));
  }
  length =
      std::snprintf(text, sizeof text, "  file        %llu bytes, version %d.%d, pixel order %d\n",
                    form.fileBytes, form.version >> 8, form.version & 255, form.pixelOrder);
  return result.append(text, static_cast<std::size_t>(length));
}

}  // namespace storeimage
