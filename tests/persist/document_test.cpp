#include "kxwcmn/persist/document.h"

#include <gtest/gtest.h>

#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/persist/archive.h"
#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "tests/support/failure.h"
#include "tests/support/streams.h"
#include "tests/testfolder.h"

namespace {

using namespace std::string_literals;
using namespace testing_kxw;
using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;
namespace fs = std::filesystem;

/// A document of one number.
struct Note : KXDocument {
  explicit Note(WORD version = 0x0105, UINT order = 4)
      : KXDocument(0x41424344, 0x31323334, version), endian(order) {}
  UINT GetEndianMode(int) const override { return endian; }
  void Serialize(KXArchive& archive) override {
    modes += IsSaveAs() ? "a" : "-";
    modes += IsCopySave() ? "c" : "-";
    if (archive.IsLoading()) {
      ReadVersionInfo(archive);
      archive >> value;
    } else {
      WriteVersionInfo(archive);
      written = GetSerializeVersion();
      archive << value;
      if (fails) kxThrowError(1234);
    }
  }
  UINT endian;
  WORD value = 0x0708, written = 0;
  bool fails = false;
  std::string modes;
};

struct Folder : TestFolder {
  KXFilePath At(const char* name) const { return Path(name).c_str(); }
  int Save(KXDocument& document, const char* name) const {
    KXFilePath path = At(name);
    return CodeOf([&] { EXPECT_EQ(document.OnSaveDocument(&path), 1); });
  }
  int Open(KXDocument& document, const char* name) const {
    KXFilePath path = At(name);
    return CodeOf([&] { EXPECT_EQ(document.OnOpenDocument(path), 1); });
  }
  bool IsAt(const KXDocument& document, const char* name) const {
    KXFilePath path;
    return document.GetDocumentFilePath(path) && path == At(name);
  }
  int Count() const { return static_cast<int>(std::distance(fs::directory_iterator(Host()), {})); }
};

TEST(Document, WritesItsHeadInBothByteOrders) {
  const Folder folder;
  Note little, big(0x0105, 8);
  EXPECT_EQ(folder.Save(little, "l") + folder.Save(big, "b"), 0);
  EXPECT_EQ(folder.ReadFile("l"), "\x34\x33\x32\x31\x05\x01\x08\x07");
  EXPECT_EQ(folder.ReadFile("b"), "\x31\x32\x33\x34\x01\x05\x07\x08");
  KXDocument plain;
  StringArchive archive(kxw::kArchiveStore | plain.GetEndianMode(0), 0);
  plain.WriteVersionInfo(archive);
  EXPECT_EQ(archive.bytes, "\0\0\0\0\0\1"s);
  // An older version on request, for one save.
  little.SetSerializeVersion(0x0100);
  EXPECT_EQ(folder.Save(little, "old"), 0);
  EXPECT_EQ(folder.ReadFile("old").substr(4, 2), "\0\1"s);
  EXPECT_EQ(little.GetSerializeVersion(), 0x0105);
  EXPECT_EQ(folder.Open(little, "old"), 0);
  EXPECT_EQ(little.OnSaveDocument(nullptr), 1);
  EXPECT_EQ(little.written, 0x0105);
}

TEST(Document, OpensWhatItKnows) {
  const Folder folder;
  const std::string head = "\x34\x33\x32\x31", tail = "\x09\0"s;
  const std::pair<std::string, int> cases[] = {
      {head + "\xFF\x01" + tail, 0},
      {head + "\0\0"s + tail, 0},
      {head + "\0\x02"s + tail, kxw::kFailureWrongVersion},
      {"\x31\x32\x33\x34\x05\x01" + tail, kxw::kFailureBadFormat},
      {head, kxw::kFailureBadArgument},
      {"", kxw::kFailureBadArgument}};
  for (const auto& [bytes, code] : cases) {
    folder.WriteFile("f", bytes);
    Note note;
    note.PushModify();
    EXPECT_EQ(folder.Open(note, "f"), code);
    EXPECT_EQ(note.value, code == 0 ? 9 : 0x0708);
    EXPECT_EQ(note.IsModified(), code != 0);
    EXPECT_TRUE(folder.IsAt(note, "f"));  // also after a failure
    if (code == 0) {
      EXPECT_EQ(note.GetSerializeVersion(),
                static_cast<BYTE>(bytes[5]) << 8 | static_cast<BYTE>(bytes[4]));
    }
  }
  Note note;
  EXPECT_EQ(folder.Open(note, "none"), kxw::kErrorFileNotFound);
  EXPECT_EQ(folder.Open(note, ""), kxw::kErrorAccessDenied);
}

TEST(Document, CountsChangesAndKnowsItsName) {
  Note note;
  note.PopModify();  // of none
  note.PushModify();
  EXPECT_TRUE(note.IsModified());
  KXString name;
  KXFilePath path;
  note.SetNewDocumentName("untitled");
  note.SetReadOnly(1);
  EXPECT_FALSE(note.GetDocumentFilePath(path) || note.GetDocumentFileName(name));
  EXPECT_FALSE(note.IsReadOnly());  // there is no file
  note.SetDocumentFilePath("C:\\x\\y.doc");
  EXPECT_TRUE(note.IsReadOnly() && note.GetDocumentFileName(name) && name == "y.doc");
  EXPECT_FALSE(note.IsNewDocument() || note.GetNewDocumentName(name));
  note.SetSaveMode(2);
  note.SetSerializeVersion(0x0102);
  Note copy(0);
  copy = note;
  EXPECT_TRUE(copy.IsCopySave() && copy.IsSaveAs() && copy.IsReadOnly() && copy.IsModified());
  StringArchive head(kStoreBig, 0);
  copy.WriteVersionInfo(head);
  EXPECT_EQ(head.bytes, "1234\1\2");
  EXPECT_TRUE(copy.OnNewDocument() && copy.IsNewDocument() && !copy.IsModified());
  EXPECT_TRUE(copy.GetNewDocumentName(name) && name == "untitled");
}

TEST(Document, SavesInPlaceElsewhereAndAsACopy) {
  const Folder folder;
  Note note;
  note.PushModify();
  EXPECT_EQ(CodeOf([&] { note.OnSaveDocument(nullptr); }), kxw::kFailureBadArgument);
  EXPECT_EQ(folder.Save(note, "a"), 0);
  EXPECT_TRUE(folder.IsAt(note, "a") && !note.IsModified());
  note.value = 1;
  note.PushModify();
  EXPECT_EQ(note.OnSaveDocument(nullptr), 1);
  EXPECT_FALSE(note.IsModified());
  EXPECT_EQ(folder.ReadFile("a").substr(6), "\1\0"s);
  note.PushModify();
  note.SetSaveMode(2);
  EXPECT_EQ(folder.Save(note, "copy"), 0);
  EXPECT_TRUE(folder.IsAt(note, "a") && note.IsModified());
  EXPECT_EQ(note.GetSaveMode(), 0);
  EXPECT_EQ(note.modes, "a---ac");
  EXPECT_EQ(folder.ReadFile("copy"), folder.ReadFile("a"));
  EXPECT_EQ(folder.Count(), 2);
  // Meant: a copy to the own place takes back what the application put by itself.
  note.PushBackup();
  note.PopModify();
  note.SetSaveMode(2);
  EXPECT_EQ(note.OnSaveDocument(nullptr), 1);
  EXPECT_TRUE(note.IsModified());
}

TEST(Document, AFailedSaveLeavesTheOldFileAndState) {
  const Folder folder;
  Note note;
  ASSERT_EQ(folder.Save(note, "a"), 0);
  const std::string old = folder.ReadFile("a");
  note.value = 2;
  note.PushModify();
  const auto expectAsBefore = [&](int temporaries) {
    EXPECT_TRUE(folder.IsAt(note, "a") && note.IsModified());
    EXPECT_TRUE(note.GetSaveMode() == 0 && note.GetSerializeVersion() == 0x0105);
    EXPECT_EQ(folder.ReadFile("a"), old);
    EXPECT_EQ(folder.Count(), 1 + temporaries);
  };
  note.fails = true;
  note.SetSerializeVersion(0x0100);
  EXPECT_EQ(folder.Save(note, "b"), 1234);
  expectAsBefore(1);  // which stays
  note.PushModify();
  EXPECT_EQ(CodeOf([&] { note.OnSaveDocument(nullptr); }), 1234);
  note.PopModify();  // of two: there was nothing to take back
  expectAsBefore(2);
  note.fails = false;
  for (const FaultPoint point : {FaultPoint::kWrite, FaultPoint::kRename, FaultPoint::kSync}) {
    ScopedFaults faults;
    faults.Fail(point, 1, kxw::kErrorDiskFull);
    EXPECT_EQ(CodeOf([&] { note.OnSaveDocument(nullptr); }), kxw::kErrorDiskFull);
  }
  expectAsBefore(5);
  EXPECT_EQ(folder.Save(note, "none\\b"), kxw::kErrorPathNotFound);
  // The temporary file is complete before a read-only target refuses.
  folder.At("a").SetReadOnly(1);
  EXPECT_TRUE(note.IsReadOnly());
  EXPECT_EQ(folder.Save(note, "a"), kxw::kErrorAccessDenied);
  int complete = 0;
  for (const auto& entry : fs::directory_iterator(folder.Host())) {
    const std::string name = entry.path().filename();
    if (name == "a") continue;
    EXPECT_EQ(name.substr(0, 3) + name.substr(11), "kxd.tmp");
    complete += folder.ReadFile(name) == old.substr(0, 6) + "\2\0"s;
  }
  EXPECT_EQ(complete, 3);  // beside those whose rename and sync failed
}

}  // namespace
