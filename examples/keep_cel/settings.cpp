#include "keep_cel/settings.h"

namespace keepcel {
namespace {

enum KeyFlags : WORD { kRead = 1, kWrite = 2 };

}  // namespace

KXFilePath Settings::FileIn(const KXFilePath& folder) {
  KXFilePath file = folder;
  file += "settings.pff";
  return file;
}

void Settings::Load(const KXFilePath& folder) {
  KXPreferenceFile file;
  if (file.OpenPreferenceFile(0, FileIn(folder))) {
    file.GetPreferenceFile("runs", runs);
    file.GetPreferenceFile("last cel", lastCel);
    file.GetPreferenceFile("next cel", nextCel);
  }
  KXRegKey key;
  if (key.Open(folder, kKey, kRead)) {
    key.GetValue(window, "place");
    key.GetValue(grid, "grid");
  }
}

void Settings::Save(const KXFilePath& folder) const {
  KXPreferenceFile file;
  file.OpenPreferenceFile(1, FileIn(folder));
  file.SetPreferenceFile("runs", runs);
  file.SetPreferenceFile("last cel", lastCel);
  file.SetPreferenceFile("next cel", nextCel);
  file.ClosePreferenceFile();

  KXRegKey key;
  key.Open(folder, kKey, kWrite);
  key.SetValue(window, "place");
  key.SetValue(grid, "grid");
  key.Close();
}

}  // namespace keepcel
