#include <cstring>
#include <limits>
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

void OpenToRead(KXArchiveFile& file, const KXFilePath& path) {
  file.FileOpen(path, static_cast<int>(kFileRead), kShareRead, kOpenExisting, 0);
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
  const auto word = [this](std::size_t at) {
    return static_cast<WORD>(static_cast<BYTE>(bytes_[at]) << 8 |
                             static_cast<BYTE>(bytes_[at + 1]));
  };
  std::size_t left = bytes_.size() - at_;
  if (left < sizeof(WORD)) return false;
  const WORD length = word(at_);
  if (length == 0 || left < 2 * sizeof(WORD) + length) return false;
  record.begin = at_;
  record.label = bytes_.substr(at_ + sizeof(WORD), length);
  record.sizeField = at_ + UINT{sizeof(WORD)} + length;
  record.size = static_cast<short>(word(record.sizeField));
  left -= 2 * sizeof(WORD) + length;
  if (record.size < 0 || left < static_cast<std::size_t>(record.size)) return false;
  at_ = record.end = record.sizeField + UINT{sizeof(WORD)} + static_cast<UINT>(record.size);
  return true;
}

RecordFile::RecordFile(const KXFilePath& path) : reader_(kLoadBig, kCache) {
  if (path.IsExistence()) OpenToRead(reader_, path);
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
  walk_ = RecordWalk({static_cast<const char*>(loaded_.Lock()), static_cast<std::size_t>(length)});
  isLoaded_ = true;
  return true;
}

const Record* RecordFile::Find(const char* label) {
  if (!label || !LoadPref()) return nullptr;
  const std::string wanted = StoredText(label);
  if (const auto known = found_.find(wanted); known != found_.end()) return &known->second;
  for (Record record; walk_.Next(record);) {
    const auto [at, isFirst] = found_.try_emplace(record.label, record);
    if (isFirst && record.label == wanted) return &at->second;
  }
  return nullptr;
}

KXArchive* RecordFile::SearchLabel(const char* label, int size) {
  const Record* record = Find(label);
  if (!record || record->size != size) return nullptr;
  loaded_.Seek(static_cast<int>(record->sizeField + sizeof(WORD)), 0);
  return &loaded_;
}

bool RecordFile::ReadText(const char* label, KXString& text) {
  const Record* record = Find(label);
  if (!record) return false;
  loaded_.Seek(static_cast<int>(record->sizeField), 0);  // which is the count of the string too
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
  const bool exists = path.IsExistence();
  if (exists) {
    KXArchiveFile reader(kLoadBig, kCache);
    OpenToRead(reader, path);
    const int length = reader.GetLength();
    if (length == std::numeric_limits<int>::max()) kxThrowError(kErrorFileTooLarge);
    if (length > 0) {
      block = AllocateBlock(static_cast<DWORD>(length), kAllocUninitialized);
      ReadAll(reader, block.get(), static_cast<UINT>(length));
      old = {reinterpret_cast<const char*>(block.get()), static_cast<std::size_t>(length)};
    }
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
