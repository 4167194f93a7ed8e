#include "kxwcmn/persist/preferencefile.h"

#include <string>
#include <utility>

#include "kxwcmn/core/color.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/number.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/persist/records_internal.h"

namespace {

std::string Labelled(const char* label, const char* ending) {
  return label ? std::string(label) + ending : std::string();
}

}  // namespace

KXPreferenceFile::KXPreferenceFile() = default;

KXPreferenceFile::~KXPreferenceFile() {
  try {
    ClosePreferenceFile();
  } catch (...) {
    // Whoever has to know closes before.
  }
}

int KXPreferenceFile::OpenPreferenceFile(int write, const KXFilePath& path) {
  ClosePreferenceFile();
  if (write == 1) {
    writer_.Init(kxw::kArchiveStore | kxw::kArchiveBigEndian, 0);
    isWriting_ = true;
    path_ = path;
    return 1;
  }
  auto reader = std::make_unique<kxw::RecordFile>(path);
  if (!reader->IsValid()) return 0;
  reader_ = std::move(reader);
  path_ = path;
  return 1;
}

void KXPreferenceFile::ClosePreferenceFile() {
  if (isWriting_ && !path_.IsEmpty()) kxw::SearchSet(path_, writer_, true);
  writer_.MemFree();
  isWriting_ = false;
  reader_.reset();
  path_.Empty();
}

// --- Setting -------------------------------------------------------------------------------------

template <class Value>
void KXPreferenceFile::Set(const char* label, int size, const Value& value) {
  kxw::AppendRecord(writer_, label, size, [&] { writer_ << value; });
}

void KXPreferenceFile::SetPreferenceFile(const char* label, short value) { Set(label, 2, value); }
void KXPreferenceFile::SetPreferenceFile(const char* label, WORD value) { Set(label, 2, value); }
void KXPreferenceFile::SetPreferenceFile(const char* label, int value) { Set(label, 4, value); }
void KXPreferenceFile::SetPreferenceFile(const char* label, UINT value) { Set(label, 4, value); }
void KXPreferenceFile::SetPreferenceFile(const char* label, long value) { Set(label, 4, value); }

void KXPreferenceFile::SetPreferenceFile(const char* label, const char* text) {
  kxw::AppendText(writer_, label, text);
}

void KXPreferenceFile::SetPreferenceFile(const char* label, const _QMNUMBER& value) {
  Set(label, 8, value);
}

void KXPreferenceFile::SetPreferenceFile(const char* label, const tagQMRGBCOLOR16& color) {
  SetPreferenceFile(Labelled(label, "_A").c_str(), color.alpha);
  SetPreferenceFile(Labelled(label, "_R").c_str(), color.red);
  SetPreferenceFile(Labelled(label, "_G").c_str(), color.green);
  SetPreferenceFile(Labelled(label, "_B").c_str(), color.blue);
}

void KXPreferenceFile::SetPreferenceFile(const char* label, int size, const void* data) {
  kxw::AppendBlock(writer_, label, size, data);
}

void KXPreferenceFile::SetPreferenceFile(const char* label, double value, const char* format) {
  KXString text;
  text.SetNumber(value, format ? format : "%4.1lf");
  kxw::AppendText(writer_, label, text);
}

// --- Getting -------------------------------------------------------------------------------------

template <class Value>
int KXPreferenceFile::Get(const char* label, int size, Value& value) {
  KXArchive* const archive = reader_ ? reader_->SearchLabel(label, size) : nullptr;
  if (!archive) return 0;
  *archive >> value;
  return 1;
}

int KXPreferenceFile::GetPreferenceFile(const char* label, short& value) {
  return Get(label, 2, value);
}
int KXPreferenceFile::GetPreferenceFile(const char* label, WORD& value) {
  return Get(label, 2, value);
}
int KXPreferenceFile::GetPreferenceFile(const char* label, int& value) {
  return Get(label, 4, value);
}
int KXPreferenceFile::GetPreferenceFile(const char* label, UINT& value) {
  return Get(label, 4, value);
}
int KXPreferenceFile::GetPreferenceFile(const char* label, long& value) {
  return Get(label, 4, value);
}

int KXPreferenceFile::GetPreferenceFile(const char* label, KXString& text) {
  return reader_ && kxw::ReadTextOrEmpty(*reader_, label, text);
}

int KXPreferenceFile::GetPreferenceFile(const char* label, _QMNUMBER& value) {
  return Get(label, 8, value);
}

int KXPreferenceFile::GetPreferenceFile(const char* label, double& value) {
  KXString text;
  if (!GetPreferenceFile(label, text)) return 0;
  value = text.GetFLOAT();
  return 1;
}

int KXPreferenceFile::GetPreferenceFile(const char* label, tagQMRGBCOLOR16& color) {
  tagQMRGBCOLOR16 read{};
  if (!GetPreferenceFile(Labelled(label, "_A").c_str(), read.alpha) ||
      !GetPreferenceFile(Labelled(label, "_R").c_str(), read.red) ||
      !GetPreferenceFile(Labelled(label, "_G").c_str(), read.green) ||
      !GetPreferenceFile(Labelled(label, "_B").c_str(), read.blue)) {
    return 0;
  }
  color = read;
  return 1;
}

int KXPreferenceFile::GetPreferenceFile(const char* label, char* text, int maxLength) {
  KXString read;
  if (!text || maxLength < 0 || !reader_ || !reader_->ReadText(label, read)) return 0;
  read.GetStr(text, maxLength);
  return 1;
}

int KXPreferenceFile::GetPreferenceFile(const char* label, int size, void* data) {
  KXArchive* const archive = reader_ ? reader_->SearchLabel(label, size) : nullptr;
  if (!archive || !data) return 0;
  archive->Read(data, static_cast<UINT>(size));
  return 1;
}
