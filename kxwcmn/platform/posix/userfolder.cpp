#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/posix/host_internal.h"

// The folders of the free desktops: the user's choices stand in `user-dirs.dirs` among the
// settings, a line each of the form XDG_MUSIC_DIR="$HOME/Songs" in the shell's quotes.

namespace kxw {

namespace {

/// An absolute path in a variable of the environment; empty if there is none.
std::string PathVariable(const char* name) {
  const char* value = std::getenv(name);
  return value && value[0] == '/' ? value : "";
}

std::string HomeFolder() {
  std::string home = PathVariable("HOME");
  if (!home.empty()) return home;
  char buffer[4096];
  passwd entry, *found = nullptr;
  getpwuid_r(geteuid(), &entry, buffer, sizeof buffer, &found);
  return found && found->pw_dir ? found->pw_dir : "/";
}

std::string SettingsFolder() {
  const std::string settings = PathVariable("XDG_CONFIG_HOME");
  return settings.empty() ? HomeFolder() + "/.config" : settings;
}

/// The value of a line of the user's choices: an absolute path, or one below the home; empty for
/// anything else.
std::string ChosenPath(const std::string& quoted) {
  if (quoted.empty() || quoted[0] != '"') return "";
  std::string path;
  for (std::size_t at = 1; at < quoted.size() && quoted[at] != '"'; ++at) {
    if (quoted[at] == '\\' && at + 1 < quoted.size()) ++at;
    path += quoted[at];
  }
  constexpr char kHome[] = "$HOME/";
  if (path.rfind(kHome, 0) == 0) return HomeFolder() + path.substr(std::strlen(kHome) - 1);
  return !path.empty() && path[0] == '/' ? path : "";
}

std::string UsersChoice(const std::string& variable) {
  std::ifstream file(SettingsFolder() + "/user-dirs.dirs");
  std::string chosen;
  for (std::string line; std::getline(file, line);) {
    const std::size_t begin = line.find_first_not_of(" \t");
    if (begin == std::string::npos || line.compare(begin, variable.size(), variable) != 0) continue;
    const std::size_t equals = begin + variable.size();
    if (line.compare(equals, 1, "=") == 0) chosen = ChosenPath(line.substr(equals + 1));
  }
  return chosen;
}

std::string HostUserFolder(UserFolder folder, bool configured) {
  struct Place {
    const char *variable, *name;
  };
  Place place{};
  switch (folder) {
    case UserFolder::kHome:
      return HomeFolder();
    case UserFolder::kSettings:
      return configured ? SettingsFolder() : HomeFolder() + "/.config";
    case UserFolder::kLocalData: {
      const std::string data = configured ? PathVariable("XDG_DATA_HOME") : "";
      return data.empty() ? HomeFolder() + "/.local/share" : data;
    }
    case UserFolder::kDesktop:
      place = {"XDG_DESKTOP_DIR", "Desktop"};
      break;
    case UserFolder::kDocuments:
      place = {"XDG_DOCUMENTS_DIR", "Documents"};
      break;
    case UserFolder::kMusic:
      place = {"XDG_MUSIC_DIR", "Music"};
      break;
    case UserFolder::kPictures:
      place = {"XDG_PICTURES_DIR", "Pictures"};
      break;
    case UserFolder::kVideos:
      place = {"XDG_VIDEOS_DIR", "Videos"};
      break;
    case UserFolder::kTemplates:
      place = {"XDG_TEMPLATES_DIR", "Templates"};
      break;
  }
  const std::string chosen = configured ? UsersChoice(place.variable) : "";
  return chosen.empty() ? HomeFolder() + "/" + place.name : chosen;
}

}  // namespace

int GetUserFolder(UserFolder folder, bool configured, std::string* path) {
  std::string hostPath = HostUserFolder(folder, configured);
  while (hostPath.size() > 1 && hostPath.back() == '/') hostPath.pop_back();
  return Report(LibraryPath(hostPath, path) ? 0 : kErrorInvalidName);
}

}  // namespace kxw
