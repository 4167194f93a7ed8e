#include "kxwcmn/platform/module.h"

#include <atomic>
#include <cstring>

#include "kxwcmn/platform/host.h"
#include "kxwcmn/platform/text.h"

namespace {

HINSTANCE instance = nullptr;

}  // namespace

HINSTANCE kxwGetInstanceHandle() { return instance ? instance : kxw::ProcessModule(); }

HINSTANCE kxwSetInstanceHandle(HINSTANCE newInstance) {
  const HINSTANCE before = kxwGetInstanceHandle();
  instance = newInstance;
  return before;
}

namespace kxw {

namespace {

std::atomic<int> selectedLanguage = kLanguageOfHost;

bool LoadLibraryText(UINT id, std::string* text) {
  for (const int language : {GetLanguage(), static_cast<int>(kLanguageEnglish)}) {
    const char* found = LibraryText(id, language);
    if (found && FromUtf8(found, text)) return true;
  }
  return false;
}

}  // namespace

// Modules are told apart by address; there is nothing to be found there.
HINSTANCE ProcessModule() {
  static char place;
  return reinterpret_cast<HINSTANCE>(&place);
}

HINSTANCE LibraryModule() {
  static char place;
  return reinterpret_cast<HINSTANCE>(&place);
}

void SetLanguage(int language) { selectedLanguage = language; }

int GetLanguage() {
  const int language = selectedLanguage;
  return language == kLanguageOfHost ? LanguageOfHost() : language;
}

}  // namespace kxw

int qmLoadString(HINSTANCE module, UINT id, UINT second, char* buffer, int size) {
  if (!buffer || size <= 0) return 0;
  std::string text;
  if (module == kxw::LibraryModule()) {
    kxw::LoadLibraryText(id, &text);
  } else if (const auto& load = kxw::GetHostProcedures().loadString) {
    if (!load(module, id, second, &text)) text.clear();
  }
  const std::size_t length = kxw::WholeCharacters(text.c_str(), static_cast<std::size_t>(size) - 1);
  std::memcpy(buffer, text.data(), length);
  buffer[length] = 0;
  return static_cast<int>(length);
}
