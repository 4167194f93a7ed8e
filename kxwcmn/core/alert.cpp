#include "kxwcmn/core/alert.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/core/stringresource.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/module.h"
#include "kxwcmn/platform/text.h"

namespace {

constexpr UINT kTakeCode = 0xFFFFFFFFu;
constexpr int kMessageSize = 768;

/// Where an alert id's message lies, by its bits 23..22.
enum Place : UINT { kInLibrary = 1, kInStringResource = 2 };

/// The library's texts for codes. 0x20010009 and 0x2001000A look crossed with others; they are
/// kept so.
constexpr struct {
  UINT code, message;
} kMessages[] = {
    {0x20010000, 1},  {0x20010001, 2},  {0x20010002, 3},  {0x20010003, 4},  {0x20010006, 5},
    {0x20010008, 6},  {0x20010009, 8},  {0x2001000A, 1},  {0x2001000B, 9},  {0x2001000C, 10},
    {0x2001000D, 16}, {0x2001000E, 17}, {0x2001000F, 18}, {0x60011388, 11}, {0x60011389, 12},
    {0x6001138A, 13}, {0x6001138B, 14}, {0x6001138C, 15},
};

// Never destroyed: destructors of static objects may still ask.
KXString& Title() {
  static KXString& title = *new KXString;
  return title;
}

/// Copies the whole characters that fit, and terminates.
void CopyCut(const std::string& text, char* buffer, int size) {
  const std::size_t length = kxw::WholeCharacters(text.c_str(), static_cast<std::size_t>(size) - 1);
  std::memcpy(buffer, text.c_str(), length);
  buffer[length] = 0;
}

/// Puts texts in place of the directives `%s` of a message, in order, and nothing where they run
/// out. All else of a print format is text: messages come from files.
std::string Substituted(const char* format, const char (*inserts)[256], int count) {
  std::string result;
  int next = 0;
  while (*format) {
    const bool isSlot = std::strncmp(format, "%s", 2) == 0;
    if (isSlot || std::strncmp(format, "%%", 2) == 0) {
      if (!isSlot) result += '%';
      if (isSlot && next < count) result += inserts[next++];
      format += 2;
      continue;
    }
    const int size = kxw::CharacterSize(format);
    result.append(format, static_cast<std::size_t>(size));
    format += size;
  }
  return result;
}

}  // namespace

KXAlert::KXAlert() = default;

KXAlert::~KXAlert() = default;

const char* KXAlert::GetInsert(int index) const {
  return index >= 0 && index < 5 ? inserts_[index] : "";
}

void KXAlert::SetAlertID(UINT alertId, int code, const char* s1, const char* s2, const char* s3,
                         const char* s4, const char* s5) {
  if (code == kxw::kFailureAborted) {
    InitializeAlertID();
    return;
  }
  isErrorCode_ = alertId == kTakeCode;
  id_ = isErrorCode_ ? static_cast<UINT>(code) : alertId;
  const char* texts[5] = {s1, s2, s3, s4, s5};
  for (int i = 0; i < 5; ++i) {
    const char* text = texts[i] ? texts[i] : "";
    const std::size_t length = std::min(std::strlen(text), sizeof inserts_[i] - 1);
    std::memmove(inserts_[i], text, length);  // an insert of this very alert may be its own text
    inserts_[i][length] = 0;
  }
}

void KXAlert::InitializeAlertID() {
  id_ = 0;
  isErrorCode_ = 0;
  std::memset(inserts_, 0, sizeof inserts_);
}

void KXAlert::SetTitleText(const char* title) { Title() = title; }

void KXAlert::GetTitleText(KXString& title) {
  if (!Title().IsEmpty()) {
    title = Title();
    return;
  }
  KXFilePath(kxw::ProgramPath().c_str()).GetFileName(title);
}

void KXAlert::GetAlertMessage(KXString& message) const {
  char buffer[kMessageSize] = {};
  if (!isErrorCode_) {
    CreateMsgStringFromID(id_, buffer, kMessageSize);
  } else if (!QMErrorToString(buffer, kMessageSize, id_)) {
    CopyCut(kxw::ErrorMessage(static_cast<int>(id_)), buffer, kMessageSize);
  }
  message = buffer;
}

void KXAlert::CreateMsgStringFromID(UINT id, char* buffer, int size) const {
  const UINT place = (id >> 22) & 3;
  const UINT number = id & 0xFFFF;
  const UINT second = (id >> 16) & 15;
  const int insertCount = (id >> 25) & 3;
  if (place == kInStringResource) {
    KXString text;
    kxGetStringResource().LoadStringA(text, static_cast<int>(number));
    CopyCut(text.GetCStrPtr(), buffer, size);
  } else {
    const HINSTANCE module = place == kInLibrary ? kxw::LibraryModule() : kxw::ProcessModule();
    LoadStringA(module, number, second, buffer, size);
  }
  if (insertCount > 0) CopyCut(Substituted(buffer, inserts_, insertCount), buffer, size);
}

int KXAlert::QMErrorToString(char* buffer, int size, UINT code) {
  for (const auto& entry : kMessages) {
    if (entry.code != code) continue;
    LoadStringA(kxw::LibraryModule(), entry.message, 0, buffer, size);
    return 1;
  }
  return 0;
}

int KXAlert::LoadStringA(HINSTANCE module, UINT id, UINT second, char* buffer, int size) {
  return qmLoadString(module, id, second, buffer, size);
}
