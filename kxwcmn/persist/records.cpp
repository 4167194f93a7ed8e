#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <unordered_set>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/filepath_internal.h"
#include "kxwcmn/persist/records_internal.h"
#include "kxwcmn/persist/streams_internal.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/file.h"
#include "kxwcmn/platform/filereplacement.h"
#include "kxwcmn/platform/memory.h"

namespace kxw {

namespace {

constexpr UINT kLoadBig = kArchiveLoad | kArchiveBigEndian;
constexpr UINT kCache = 512000;
constexpr UINT kType = 0x20465057;  // " FPW", for platforms with type codes

/// Opens a file for reading; false if there is none. What cannot be opened is not taken for none:
/// a save would replace it.
bool OpenIfThere(KXArchiveFile& file, const KXFilePath& path) {
  try {
    file.FileOpen(path, static_cast<int>(kFileRead), kShareRead, kOpenExisting, 0);
    return true;
  } catch (const KXException& failure) {
    const int code = failure.GetErrorCode();
    if (code != kErrorFileNotFound && code != kErrorPathNotFound) throw;
    return false;
  }
}

WORD WordAt(std::string_view bytes, std::size_t at) {
  return static_cast<WORD>(static_cast<BYTE>(bytes[at]) << 8 | static_cast<BYTE>(bytes[at + 1]));
}

/// The label of the record at `begin`, in its stored form.
std::string_view LabelAt(std::string_view bytes, UINT begin) {
  return bytes.substr(begin + sizeof(WORD), WordAt(bytes, begin));
}

/// A lock on what was written to an archive in memory.
class WrittenBytes {
 public:
  explicit WrittenBytes(KXArchiveMem& archive) : archive_(archive), size_(archive.GetPosition()) {
    if (size_ > 0) data_ = static_cast<const char*>(archive_.Lock());
  }
  ~WrittenBytes() {
    if (size_ > 0) archive_.Unlock();
  }
  WrittenBytes(const WrittenBytes&) = delete;
  WrittenBytes& operator=(const WrittenBytes&) = delete;

  std::string_view Text() const { return {data_, size_}; }

 private:
  KXArchiveMem& archive_;
  UINT size_;
  const char* data_ = nullptr;
};

}  // namespace

bool RecordWalk::Next(Record& record) {
  std::size_t left = bytes_.size() - at_;
  if (left < sizeof(WORD)) return false;
  const WORD length = WordAt(bytes_, at_);
  if (length == 0 || left < 2 * sizeof(WORD) + length) return false;
  record.begin = at_;
  record.label = LabelAt(bytes_, at_);
  record.sizeField = at_ + UINT{sizeof(WORD)} + length;
  record.size = static_cast<short>(WordAt(bytes_, record.sizeField));
  left -= 2 * sizeof(WORD) + length;
  if (record.size < 0 || left < static_cast<std::size_t>(record.size)) return false;
  at_ = record.end = record.sizeField + UINT{sizeof(WORD)} + static_cast<UINT>(record.size);
  return true;
}

RecordFile::RecordFile(const KXFilePath& path) : reader_(kLoadBig, kCache) {
  OpenIfThere(reader_, path);
}

bool RecordFile::LoadPref() {
  if (isLoaded_) return true;
  const int length = reader_.IsValid() ? reader_.GetLength() : 0;
  if (length < 1) return false;
  int error = 0;
  QMHANDLE__* const block = qmAlloc(static_cast<DWORD>(length), 1, &error);
  if (!block) return false;
  try {
    reader_.Seek(0, 0);
    ReadAll(reader_, qmLock(block), static_cast<UINT>(length));
    qmUnlock(block);
    loaded_.Attach(block, static_cast<UINT>(length));
  } catch (KXException&) {
    qmFree(block);
    return false;
  }
  bytes_ = {static_cast<const char*>(loaded_.Lock()), static_cast<std::size_t>(length)};
  try {
    Record record;
    for (RecordWalk walk(bytes_); walk.Next(record);) byLabel_.push_back(record.begin);
    std::sort(byLabel_.begin(), byLabel_.end(), [this](UINT a, UINT b) {
      const int order = LabelAt(bytes_, a).compare(LabelAt(bytes_, b));
      return order < 0 || (order == 0 && a < b);
    });
  } catch (const std::bad_alloc&) {
    byLabel_.clear();
    loaded_.Unlock();
    loaded_.MemFree();
    return false;
  }
  isLoaded_ = true;
  return true;
}

bool RecordFile::Find(const char* label, Record& record) {
  if (!label || !LoadPref()) return false;
  const std::string wanted = StoredText(label);
  const auto first = std::lower_bound(
      byLabel_.begin(), byLabel_.end(), wanted,
      [this](UINT at, std::string_view text) { return LabelAt(bytes_, at) < text; });
  if (first == byLabel_.end() || LabelAt(bytes_, *first) != wanted) return false;
  return RecordWalk(bytes_, *first).Next(record);
}

KXArchive* RecordFile::SearchLabel(const char* label, int size) {
  Record record;
  if (!Find(label, record) || record.size != size) return nullptr;
  loaded_.Seek(static_cast<int>(record.sizeField + sizeof(WORD)), 0);
  return &loaded_;
}

bool RecordFile::ReadText(const char* label, KXString& text) {
  Record record;
  if (!Find(label, record)) return false;
  loaded_.Seek(static_cast<int>(record.sizeField), 0);  // which is the count of the string too
  loaded_ >> text;
  return true;
}

bool ReadTextOrEmpty(RecordFile& file, const char* label, KXString& text) {
  KXString read;
  if (!file.ReadText(label, read)) return false;
  text = read == " " ? "" : read.GetCStrPtr();
  return true;
}

void AppendHead(KXArchiveMem& writer, const char* label, i64 size) {
  const std::string stored = StoredText(label ? label : "");
  // An empty label would hide what follows, and a size below 1 would lose it in the next merge.
  if (stored.empty() || stored.size() > std::numeric_limits<WORD>::max() || size < 1 ||
      size > std::numeric_limits<short>::max()) {
    kxThrowError(kFailureBadArgument);
  }
  writer << static_cast<WORD>(stored.size());
  writer.Write(stored.data(), static_cast<UINT>(stored.size()));
  writer << static_cast<short>(size);
}

void AppendText(KXArchiveMem& writer, const char* label, const char* text) {
  std::string stored = StoredText(text ? text : "");
  if (stored.empty()) stored.push_back(' ');
  AppendRecord(writer, label, static_cast<i64>(stored.size()),
               [&] { writer.Write(stored.data(), static_cast<UINT>(stored.size())); });
}

void AppendBlock(KXArchiveMem& writer, const char* label, int size, const void* data) {
  if (!data) kxThrowError(kFailureBadArgument);
  AppendRecord(writer, label, size, [&] { writer.Write(data, static_cast<UINT>(size)); });
}

void SearchSet(const KXFilePath& path, KXArchiveMem& records, bool keepsTemporary) {
  PtrBlock block;
  std::string_view old;
  KXArchiveFile reader(kLoadBig, kCache);
  const bool exists = OpenIfThere(reader, path);
  if (exists) {
    const int length = reader.GetLength();
    if (length == std::numeric_limits<int>::max()) kxThrowError(kErrorFileTooLarge);
    if (length > 0) {
      block = AllocateBlock(static_cast<DWORD>(length), kAllocUninitialized);
      ReadAll(reader, block.get(), static_cast<UINT>(length));
      old = {reinterpret_cast<const char*>(block.get()), static_cast<std::size_t>(length)};
    }
    reader.FileClose();
  }
  const WrittenBytes added(records);
  std::unordered_set<std::string_view> labels;
  Record record;
  for (RecordWalk walk(added.Text()); walk.Next(record);) labels.insert(record.label);

  FileReplacement save;
  RaiseIfFailed(save.Begin(path, "tmp"));
  if (exists && keepsTemporary) save.KeepTemporary();
  KXArchiveFile file(kArchiveStore | kArchiveBigEndian, kCache);
  file.FileCreate(save.Path(), 0, kType, kFileWrite, kShareWrite, kCreateAlways, 0);
  file.Write(added.Text().data(), static_cast<UINT>(added.Text().size()));
  for (RecordWalk walk(old); walk.Next(record) && record.size > 0;) {
    if (labels.contains(record.label)) continue;
    file.Write(old.data() + record.begin, record.end - record.begin);
  }
  file.DoFlush();
  file.FileClose();
  RaiseIfFailed(save.Commit());
}

}  // namespace kxw
