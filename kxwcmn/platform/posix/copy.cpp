#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/posix/file_internal.h"
#include "kxwcmn/platform/posix/folder_internal.h"
#include "kxwcmn/platform/posix/host_internal.h"

// Copies and moves name one element of an open folder at every step and follow no link, so that
// nothing outside the two trees is touched, even if they are changed meanwhile. A new file gets its
// name when it is complete.

namespace kxw {

namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 20;

/// An element of an open folder.
struct Element {
  int folder;
  const char* name;
};

std::atomic<unsigned> temporaryCounter = 0;  // one for names of every kind

/// How things are copied.
struct Manner {
  bool follow = false;   // a source that is a link
  bool replace = true;   // what has the target's name
  bool forMove = false;  // the source goes afterwards: the copy is on the disk then, and takes the
                         // place of a read-only file too
};

int Look(Element element, struct stat* status) {
  return fstatat(element.folder, element.name, status, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

/// Calls `make(name)` with names that no file in the folder should have until one succeeds. Returns
/// 0 or errno.
template <class Make>
int MakeTemporary(std::string* name, Make make) {
  for (int tries = 0; tries < 1000; ++tries) {
    char text[64];
    std::snprintf(text, sizeof text, ".copy-%d-%u.tmp", static_cast<int>(getpid()),
                  temporaryCounter++);
    *name = text;
    if (make(text) == 0) return 0;
    if (errno != EEXIST) return errno;
  }
  return EEXIST;
}

/// Gives what is complete under a temporary name its own. What it replaces goes when it is on the
/// disk. Returns 0 or errno.
int Publish(const std::string& temporary, Element target, const Manner& how) {
  int error = RenameWithoutReplacing(target.folder, temporary.c_str(), target.folder, target.name);
  if (error == EEXIST && how.replace) {
    error = ReplaceElement(target.folder, temporary.c_str(), target.name);
  }
  if (error != 0) unlinkat(target.folder, temporary.c_str(), 0);
  return error;
}

/// Copies what is left of one file to another. Returns the platform's code.
int CopyBytes(int from, int to) {
  const std::unique_ptr<char[]> buffer(new char[kBufferSize]);
  for (;;) {
    if (const int code = detail::FaultAt(detail::FaultPoint::kRead).code) return code;
    const ssize_t got = read(from, buffer.get(), kBufferSize);
    if (got == 0) return 0;
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return CodeOfHostError(errno);
    if (const int code = detail::FaultAt(detail::FaultPoint::kWrite).code) return code;
    for (ssize_t done = 0; done < got;) {
      const ssize_t put = write(to, buffer.get() + done, static_cast<std::size_t>(got - done));
      if (put < 0 && errno != EINTR) return CodeOfHostError(errno);
      if (put > 0) done += put;
    }
  }
}

/// Gives a copy the rights and the time of the last change.
int CopyFacts(const struct stat& status, int to) {
  const timespec times[2] = {{0, UTIME_OMIT}, status.st_mtim};
  if (fchmod(to, status.st_mode & 0777) != 0 || futimens(to, times) != 0) {
    return CodeOfHostError(errno);
  }
  return 0;
}

/// Copies a regular file; anything else is refused. Returns the platform's code.
int CopyRegular(Element source, Element target, const Manner& how) {
  // A pipe without a writer would let the opening wait.
  const int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | (how.follow ? 0 : O_NOFOLLOW);
  const Descriptor from(openat(source.folder, source.name, flags));
  if (!from) return CodeOfHostError(errno);
  struct stat status, old;
  if (fstat(from.Get(), &status) != 0) return CodeOfHostError(errno);
  if (S_ISDIR(status.st_mode)) return kErrorAccessDenied;
  if (!S_ISREG(status.st_mode)) return kErrorNotSupported;
  if (Look(target, &old) == 0) {
    if (!how.replace) return kErrorFileExists;
    if (IsSame(status, old)) return kErrorSharingViolation;
    const bool isReadOnly = S_ISREG(old.st_mode) && !(old.st_mode & S_IWUSR) && !how.forMove;
    if (S_ISDIR(old.st_mode) || isReadOnly) return kErrorAccessDenied;
  }

  Descriptor to;
  std::string temporary;
  const int error = MakeTemporary(&temporary, [&](const char* name) {
    to = Descriptor(openat(target.folder, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    return to ? 0 : -1;
  });
  if (error != 0) return CodeOfHostError(error);
  int code = CopyBytes(from.Get(), to.Get());
  if (code == 0) code = CopyFacts(status, to.Get());
  if (code == 0 && how.forMove) code = CodeOfHostError(Sync(to.Get()));
  if (const int closed = to.Close(); code == 0) code = CodeOfHostError(closed);
  if (code != 0) {
    unlinkat(target.folder, temporary.c_str(), 0);
    return code;
  }
  return CodeOfHostError(Publish(temporary, target, how));
}

/// Makes a link that leads where another does, from its own place. Returns the platform's code.
int CopyLink(Element source, Element target, const Manner& how) {
  char leadsTo[PATH_MAX + 1];
  const ssize_t length = readlinkat(source.folder, source.name, leadsTo, sizeof leadsTo - 1);
  if (length < 0) return CodeOfHostError(errno);
  leadsTo[length] = 0;
  std::string temporary;
  const int error = MakeTemporary(
      &temporary, [&](const char* name) { return symlinkat(leadsTo, target.folder, name); });
  return CodeOfHostError(error != 0 ? error : Publish(temporary, target, how));
}

/// Opens a folder, and no link to one.
Descriptor OpenFolder(Element element, bool follow = false) {
  return Descriptor(openat(element.folder, element.name,
                           O_RDONLY | O_DIRECTORY | O_CLOEXEC | (follow ? 0 : O_NOFOLLOW)));
}

/// The code for a folder that could not be opened because something else has its name.
int CodeOfOccupied(int error) {
  return error == ENOTDIR || error == ELOOP ? int{kErrorAlreadyExists} : CodeOfHostError(error);
}

int CopyAny(Element source, Element target, const Manner& how, int depth);

/// Copies what is in an open folder to a folder that is there or is made. Returns the platform's
/// code.
int CopyFolderTo(const Descriptor& from, Element target, const Manner& how, int depth) {
  if (depth > kDeepestFolder) return kErrorNameTooLong;
  struct stat status;
  if (fstat(from.Get(), &status) != 0) return CodeOfHostError(errno);
  const bool isNew = mkdirat(target.folder, target.name, 0700) == 0;
  if (!isNew && errno != EEXIST) return CodeOfHostError(errno);
  const Descriptor to = OpenFolder(target);
  if (!to) return CodeOfOccupied(errno);
  std::vector<std::string> names;
  if (const int error = NamesIn(from.Get(), &names)) return CodeOfHostError(error);
  for (const std::string& name : names) {
    const int code = CopyAny({from.Get(), name.c_str()}, {to.Get(), name.c_str()}, how, depth + 1);
    if (code != 0) return code;
  }
  const int code = isNew ? CopyFacts(status, to.Get()) : 0;
  return code == 0 && how.forMove ? CodeOfHostError(Sync(to.Get())) : code;
}

int CopyAny(Element source, Element target, const Manner& how, int depth) {
  struct stat status;
  if (const int error = Look(source, &status)) return CodeOfHostError(error);
  if (S_ISLNK(status.st_mode)) return CopyLink(source, target, how);
  if (!S_ISDIR(status.st_mode)) return CopyRegular(source, target, how);
  const Descriptor from = OpenFolder(source);
  return from ? CopyFolderTo(from, target, how, depth) : CodeOfHostError(errno);
}

/// Lets two elements of one disk change their names. Returns 0 or errno; nothing is changed then.
int Exchange(Element a, Element b) {
#ifdef RENAME_EXCHANGE
  if (const int error = HostErrorAt(detail::FaultPoint::kRename)) return error;
  if (renameat2(a.folder, a.name, b.folder, b.name, RENAME_EXCHANGE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
#endif
  // A file system that cannot do that in one step.
  std::string aside;
  int error = MakeTemporary(&aside, [&](const char* name) {
    errno = RenameWithoutReplacing(b.folder, b.name, b.folder, name);
    return errno;
  });
  if (error != 0) return error;
  error = RenameWithoutReplacing(a.folder, a.name, b.folder, b.name);
  if (error == 0) {
    error = RenameWithoutReplacing(b.folder, aside.c_str(), a.folder, a.name);
    if (error == 0) return 0;
    RenameWithoutReplacing(b.folder, b.name, a.folder, a.name);
  }
  RenameWithoutReplacing(b.folder, aside.c_str(), b.folder, b.name);
  return error;
}

/// Gives an element the name of another one of the same disk, or one that is free. With `replace`
/// that one goes: at any moment the name stands for one of the two. Returns 0 or errno.
int TakePlace(Element source, Element target, bool replace) {
  if (!replace) {
    return RenameWithoutReplacing(source.folder, source.name, target.folder, target.name);
  }
  const int error = RenameReplacing(source.folder, source.name, target.folder, target.name);
  // Of a folder, unless it is empty and gives way to another.
  const bool isInTheWay =
      error == EISDIR || error == ENOTDIR || error == ENOTEMPTY || error == EEXIST;
  if (!isInTheWay) return error;
  if (const int kept = Exchange(source, target)) return kept;
  return RemoveElement(source.folder, source.name);
}

/// Whether an open folder is `above` or lies in it.
bool IsWithin(int folder, const struct stat& above) {
  struct stat status, before{};
  // Looked at and not opened: a folder on the way need not be readable.
  for (std::string up = "."; fstatat(folder, up.c_str(), &status, 0) == 0; up += "/..") {
    if (IsSame(status, above)) return true;
    if (IsSame(status, before)) return false;
    before = status;
  }
  return false;
}

/// Moves to another disk: a whole copy takes the target's place before the source goes. Returns the
/// platform's code.
int MoveElsewhere(Element source, Element target, bool replace) {
  if (const int error = CheckRemovable(source.folder, source.name)) return CodeOfHostError(error);
  std::string name;
  const int error = MakeTemporary(&name, [&](const char* tried) {
    struct stat ignored;
    errno = Look({target.folder, tried}, &ignored) == ENOENT ? 0 : EEXIST;
    return errno;
  });
  if (error != 0) return CodeOfHostError(error);
  const Element copy = {target.folder, name.c_str()};
  int code = CopyAny(source, copy, {.replace = false, .forMove = true}, 0);
  if (code == 0) code = CodeOfHostError(TakePlace(copy, target, replace));
  if (code == 0) code = CodeOfHostError(Sync(target.folder));
  if (code == 0) return CodeOfHostError(RemoveElement(source.folder, source.name));
  RemoveElement(copy.folder, copy.name);
  return code;
}

/// Moves all of an element or nothing. With `replace` what has the target's name goes. Returns the
/// platform's code.
int MoveWhole(Element source, Element target, bool replace) {
  struct stat from, to;
  if (const int missing = Look(source, &from)) return CodeOfHostError(missing);
  const bool isThere = Look(target, &to) == 0;
  if (isThere && !replace) return kErrorAlreadyExists;
  if (isThere && IsSame(from, to)) return 0;
  // Neither into itself nor over what it lies in.
  if (S_ISDIR(from.st_mode) && IsWithin(target.folder, from)) return kErrorInvalidParameter;
  if (isThere && S_ISDIR(to.st_mode)) {
    if (IsWithin(source.folder, to)) return kErrorInvalidParameter;
    if (const int error = CheckRemovable(target.folder, target.name)) return CodeOfHostError(error);
  }
  const int error = TakePlace(source, target, replace);
  if (error == EXDEV) return MoveElsewhere(source, target, replace);
  return error == EEXIST ? int{kErrorAlreadyExists} : CodeOfHostError(error);
}

/// Moves by renaming, by merging folders and replacing files, and by copying to another disk.
/// Returns the platform's code.
int MoveAny(Element source, Element target, int depth) {
  const int error = RenameWithoutReplacing(source.folder, source.name, target.folder, target.name);
  if (error == 0) return 0;
  if (depth > kDeepestFolder) return kErrorNameTooLong;
  struct stat from, to;
  if (const int missing = Look(source, &from)) return CodeOfHostError(missing);
  if (error == EXDEV) {
    if (const int kept = CheckRemovable(source.folder, source.name)) return CodeOfHostError(kept);
    int code = CopyAny(source, target, {.forMove = true}, depth);
    if (code == 0) code = CodeOfHostError(Sync(target.folder));
    return code != 0 ? code : CodeOfHostError(RemoveElement(source.folder, source.name));
  }
  if (error != EEXIST) return CodeOfHostError(error);
  if (const int missing = Look(target, &to)) return CodeOfHostError(missing);
  if (IsSame(from, to)) return 0;  // perhaps by another spelling: never delete it
  if (S_ISDIR(from.st_mode) != S_ISDIR(to.st_mode)) return kErrorAlreadyExists;
  if (!S_ISDIR(from.st_mode)) {
    return CodeOfHostError(RenameReplacing(source.folder, source.name, target.folder, target.name));
  }
  const Descriptor fromFolder = OpenFolder(source), toFolder = OpenFolder(target);
  if (!fromFolder || !toFolder) return CodeOfHostError(errno);
  std::vector<std::string> names;
  if (const int unread = NamesIn(fromFolder.Get(), &names)) return CodeOfHostError(unread);
  for (const std::string& name : names) {
    const int code =
        MoveAny({fromFolder.Get(), name.c_str()}, {toFolder.Get(), name.c_str()}, depth + 1);
    if (code != 0) return code;
  }
  return CodeOfHostError(unlinkat(source.folder, source.name, AT_REMOVEDIR) == 0 ? 0 : errno);
}

/// The last element of a path in its opened folder.
struct Place {
  Descriptor folder;
  std::string name;
  Element AsElement() const { return {folder.Get(), name.c_str()}; }
};

/// Opens the folder of a path. Returns the platform's code.
int OpenPlace(const char* path, Place* place) {
  std::string hostPath = HostPath(path);
  while (hostPath.size() > 1 && hostPath.back() == '/') hostPath.pop_back();
  const std::size_t delimiter = hostPath.rfind('/');
  const bool hasFolder = delimiter != std::string::npos;
  place->name = hasFolder ? hostPath.substr(delimiter + 1) : hostPath;
  if (hostPath.empty()) return kErrorPathNotFound;
  if (place->name.empty() || IsDots(place->name.c_str())) return kErrorAccessDenied;
  const std::string folder = hasFolder ? hostPath.substr(0, delimiter + 1) : ".";
  place->folder = OpenFolder({AT_FDCWD, folder.c_str()}, true);
  if (place->folder) return 0;
  return errno == ENOENT ? int{kErrorPathNotFound} : CodeOfHostError(errno);
}

int OpenPlaces(const char* source, const char* target, Place* from, Place* to) {
  const int code = OpenPlace(source, from);
  return code != 0 ? code : OpenPlace(target, to);
}

/// Makes the folders above a path that are missing.
void MakeFoldersAbove(const char* path) {
  const std::string hostPath = HostPath(path);
  for (std::size_t at = hostPath.find('/', 1); at != std::string::npos;
       at = hostPath.find('/', at + 1)) {
    mkdir(hostPath.substr(0, at).c_str(), 0777);
  }
}

/// Whether the first folder above a path that is there is `above` or lies in it.
bool LeadsInto(const char* path, const struct stat& above) {
  const std::string hostPath = HostPath(path);
  for (std::size_t end = hostPath.size(); end > 0;) {
    const std::size_t delimiter = hostPath.rfind('/', end - 1);
    end = delimiter == std::string::npos ? 0 : delimiter;
    const std::string folder =
        delimiter == std::string::npos ? "." : hostPath.substr(0, delimiter + 1);
    const Descriptor opened = OpenFolder({AT_FDCWD, folder.c_str()}, true);
    if (opened) return IsWithin(opened.Get(), above);
  }
  return false;
}

}  // namespace

int CopyFile(const char* source, const char* target, bool failIfExists) {
  Place from, to;
  int code = OpenPlaces(source, target, &from, &to);
  const Manner how = {.follow = true, .replace = !failIfExists};
  if (code == 0) code = CopyRegular(from.AsElement(), to.AsElement(), how);
  return Report(code);
}

int MoveFile(const char* source, const char* target, bool replace) {
  Place from, to;
  if (const int code = OpenPlaces(source, target, &from, &to)) return Report(code);
  return Report(MoveWhole(from.AsElement(), to.AsElement(), replace));
}

int CopyTree(const char* source, const char* target) {
  Place from, to;
  if (const int code = OpenPlace(source, &from)) return Report(code);
  // The folder that is named is followed; what is in it is not.
  const Descriptor folder = OpenFolder(from.AsElement(), true);
  if (!folder && errno != ENOTDIR) return ReportHost(false);
  struct stat status;
  if (folder) {
    if (fstat(folder.Get(), &status) != 0) return ReportHost(false);
    if (LeadsInto(target, status)) return Report(kErrorInvalidParameter);
  }
  MakeFoldersAbove(target);
  if (const int code = OpenPlace(target, &to)) return Report(code);
  if (!folder) return Report(CopyAny(from.AsElement(), to.AsElement(), {}, 0));
  if (IsWithin(to.folder.Get(), status)) return Report(kErrorInvalidParameter);
  return Report(CopyFolderTo(folder, to.AsElement(), {}, 0));
}

int MoveTree(const char* source, const char* target) {
  Place from, to;
  if (const int code = OpenPlace(source, &from)) return Report(code);
  struct stat status;
  if (const int error = Look(from.AsElement(), &status)) return Report(CodeOfHostError(error));
  if (LeadsInto(target, status)) return Report(kErrorInvalidParameter);
  MakeFoldersAbove(target);
  if (const int code = OpenPlace(target, &to)) return Report(code);
  if (IsWithin(to.folder.Get(), status)) return Report(kErrorInvalidParameter);
  return Report(MoveAny(from.AsElement(), to.AsElement(), 0));
}

}  // namespace kxw
