// Keeps a painted cel as a document of a type of its own, and its settings beside it.
//
// The document is saved under a new name, in its place, and as copies: in the other byte order, in
// the form of an older version for a program that knows no newer one, and by later versions. Each
// file is then opened again. A file changes only when what takes its place is complete.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "common/console.h"
#include "common/new_file.h"
#include "common/png_io.h"
#include "common/program.h"
#include "keep_cel/cel_document.h"
#include "keep_cel/settings.h"
#include "paint_cel/cel.h"

namespace {

using keepcel::Cel;
using keepcel::CelDocument;
using keepcel::LaterCelDocument;
using keepcel::Settings;

constexpr int kSize = 1024;     // pixels of the image's longer side
constexpr int kMargin = 128;    // ink of up to this density has paint under it
constexpr double kInches = 10;  // of the same side
constexpr WORD kCopySave = 2;

constexpr char kHelp[] =
    R"(usage: keep_cel [FOLDER]

Paints the built-in drawing, keeps the cel in the folder (kept_cel) as a document, with copies in the
other byte order and of other versions, opens all of them again, and says what came back. Settings
are kept beside it: each run keeps the cel of the next number.
)";

std::string Text(const KXNumber& number) {
  KXString text;
  number.GetNumber(text, nullptr);
  return text.GetCStrPtr();
}

/// The built-in drawing, painted.
examples::Offscreen Paint() {
  const std::string data = KXWCMN_EXAMPLE_DRAWING;
  const examples::Drawing drawing = examples::ReadDrawing(data + ".png");
  paintcel::Cel cel(kxGetVirtualMemory(), drawing, kSize);
  paintcel::ScaleInk(drawing, cel);
  paintcel::PaintSeeds(paintcel::ReadSeeds(data + ".seeds", drawing), kMargin, cel);
  cel.paint->SetResolution(kSize / kInches);
  return std::move(cel.paint);
}

Cel MakeCel(const KXNumber& number) {
  Cel cel;
  cel.number = number;
  cel.frame = 7;
  cel.image = Paint();
  cel.width = KXLength(cel.image->GetWidth(), kxw::kLengthPixels, cel.image->GetResolution());
  cel.pegs.SetResolution(cel.image->GetResolution());
  for (const double x : {1.0, 5.0, 9.0}) cel.pegs.AddPoint(tagPOINTD{x, -0.5});
  cel.placement.Scale(0.5, 0.5);
  cel.placement.Transfer(6, 4);
  return cel;
}

bool IsEqual(const KXDPoint& a, const KXDPoint& b) {
  if (a.GetCount() != b.GetCount() || a.GetAngle() != b.GetAngle() ||
      a.GetOpacity() != b.GetOpacity() || a.GetColor() != b.GetColor()) {
    return false;
  }
  KXPointD inA, inB;
  for (int i = 0; i < a.GetCount(); ++i) {
    a.GetPoint(inA, i);
    b.GetPoint(inB, i);
    if (inA != inB) return false;
  }
  return true;
}

/// Raises std::runtime_error if a cel is not `kept` as far as a file of that version goes, and from
/// there on a new one.
void CheckCameBack(const Cel& cel, const Cel& kept, WORD version) {
  const Cel fresh;
  const Cel& pegs = version >= CelDocument::kVersionOfPegs ? kept : fresh;
  const Cel& placement = version >= CelDocument::kVersionOfPlacement ? kept : fresh;
  if (cel.number != kept.number || cel.frame != kept.frame || !IsEqual(cel.pegs, pegs.pegs) ||
      cel.width != pegs.width || cel.placement != placement.placement) {
    throw std::runtime_error("the cel did not come back as it was kept");
  }
  examples::CompareImages(*cel.image, *kept.image);
}

std::string HostPath(const KXFilePath& path) {
  KXString native;
  path.GetNativePath(native);
  return native.GetCStrPtr();
}

/// Does something with a file, whose name a failure then tells.
template <class Work>
void WithFile(const KXFilePath& path, Work work) {
  try {
    work();
  } catch (KXException& failure) {
    examples::RaiseOfFile(HostPath(path), failure);
  }
}

/// Saves a document at its path, or at `path` if that is not null.
void Save(KXDocument& document, KXFilePath* path = nullptr) {
  KXFilePath place;
  document.GetDocumentFilePath(place);
  WithFile(path ? *path : place, [&] { document.OnSaveDocument(path); });
}

/// Tells what is in a document's file, by the head at its front.
void PrintFile(const KXFilePath& path, const char* what) {
  const std::string file = HostPath(path);
  unsigned char head[6] = {};
  std::ifstream(file, std::ios::binary).read(reinterpret_cast<char*>(head), sizeof head);
  KXString name;
  path.GetFileName(name);
  std::printf("  %-16s", name.GetCStrPtr());
  for (const unsigned byte : head) std::printf(" %02X", byte);
  std::printf("%8llu bytes   %s\n",
              static_cast<unsigned long long>(std::filesystem::file_size(file)), what);
}

/// Opens a document, and tells what came back of the cel that is kept in it.
void PrintOpened(const KXFilePath& path, const Cel& kept) {
  CelDocument document;
  KXFilePath place = path;
  KXString name, words;
  path.GetFileName(name);
  std::printf("  %-16s ", name.GetCStrPtr());
  try {
    document.OnOpenDocument(place);
  } catch (KXException& failure) {
    if (failure.GetErrorCode() != kxw::kFailureWrongVersion) {
      examples::RaiseOfFile(HostPath(path), failure);
    }
    failure.GetAlertMessage(words);
    std::printf("refused: %s\n", words.GetCStrPtr());
    return;
  }
  const WORD version = document.GetSerializeVersion();
  CheckCameBack(document.cel, kept, version);
  std::printf("version %d.%d, %s-endian: %s\n", version >> 8, version & 255,
              document.GetEndianMode(1) == kxw::kArchiveBigEndian ? "big" : "little",
              version < CelDocument::kVersion   ? "numbers and image came back; the rest is new"
              : version > CelDocument::kVersion ? "all came back; what it adds is passed over"
                                                : "all came back");
}

/// Keeps a cel as a document in each of its forms, and looks at what comes back. Returns where the
/// document is.
KXFilePath KeepCel(const KXNumber& number, const KXFilePath& folder) {
  const auto at = [&](const char* ending) {
    KXFilePath path = folder;
    path += (Text(number) + ending + ".cel").c_str();
    return path;
  };
  KXFilePath own = at(""), little = at("_little"), old = at("_old"), later = at("_later"),
             foreign = at("_foreign");

  CelDocument document;
  document.cel = MakeCel(number);
  const Cel& cel = document.cel;
  const KXPointD peg = cel.placement.MultiplyPoint(KXPointD(1, -0.5));
  std::printf("Cel %s, %d x %d pixels, %.1f cm wide; its first peg is at (%g, %g) of the stage\n\n",
              Text(number).c_str(), cel.image->GetWidth(), cel.image->GetHeight(),
              cel.width.GetAs(kxw::kLengthCentimetres), peg.x, peg.y);

  Save(document, &own);  // as
  document.cel.placement.Rotate(15, KXPointD(6, 4));
  document.PushModify();
  Save(document);  // in its place

  const auto saveCopy = [&](KXFilePath& path) {
    document.SetSaveMode(kCopySave);
    Save(document, &path);
  };
  document.SetEndianMode(kxw::kArchiveLittleEndian);
  saveCopy(little);
  document.SetEndianMode(kxw::kArchiveBigEndian);
  document.SetSerializeVersion(0x0100);
  saveCopy(old);

  LaterCelDocument laterDocument;
  laterDocument.remark = "blinks in frame 9";
  laterDocument.cel = std::move(document.cel);
  Save(laterDocument, &later);
  CelDocument foreignDocument(0x0200);
  foreignDocument.cel = std::move(laterDocument.cel);
  Save(foreignDocument, &foreign);

  std::printf("Saved\n");
  PrintFile(own, "the document");
  PrintFile(little, "a copy in the other byte order");
  PrintFile(old, "a copy of version 1.0, on request");
  PrintFile(later, "by a later program, of version 1.3");
  PrintFile(foreign, "by another one, of version 2.0");
  std::printf("\nOpened\n");
  for (const KXFilePath& path : {own, little, old, later, foreign}) {
    PrintOpened(path, foreignDocument.cel);
  }
  document.GetDocumentFilePath(own);
  return own;
}

void Run(const std::string& name) {
  kxGetVirtualMemory()->Create(16 << 20);
  std::filesystem::create_directories(name);
  const KXFilePath folder = examples::FromNative(name);
  Settings settings;
  WithFile(folder, [&] { settings.Load(folder); });
  settings.lastCel = KeepCel(settings.nextCel, folder).GetFullPath();
  ++settings.runs;
  settings.nextCel.IncrementSuffix(1);
  WithFile(folder, [&] { settings.Save(folder); });
  Settings read;
  read.Load(folder);
  std::printf(
      "\nSettings\n  run %d; the next cel is %s\n  a window of %d x %d pixels; a grid of %g mm, "
      "%d pixels of the cel\n\n",
      read.runs, Text(read.nextCel).c_str(), read.window.Width(), read.window.Height(),
      read.grid.GetAs(kxw::kLengthMillimetres), read.grid.GetAsPixel(kSize / kInches));
  std::printf("The cel is at %s\n", HostPath(KXFilePath(read.lastCel)).c_str());
}

}  // namespace

int main(int argc, char** argv) {
  return examples::RunProgram("keep_cel", {}, [&] {
    std::string folder;
    for (examples::Arguments arguments(argc, argv); arguments.Next();) {
      const std::string word(arguments.Word());
      if (word == "--help") {
        std::fputs(kHelp, stdout);
        return;
      }
      if (word.starts_with("-") || !folder.empty()) {
        throw examples::UserError("one folder at most can be named; --help tells more");
      }
      folder = word;
    }
    examples::ConnectConsole(false);
    Run(folder.empty() ? "kept_cel" : folder);
  });
}
