#include "view_image/document.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

#include "common/stored_image.h"
#include "paint_cel/cel.h"
#include "store_image/pictures.h"

namespace viewimage {
namespace {

constexpr char kPngSignature[] = "\x89PNG\r\n\x1A\n";
constexpr char kBuiltIn[] = KXWCMN_EXAMPLE_DRAWING;  // without its extension
constexpr int kMargin = 128;                         // ink of up to this density has paint under it

bool IsPng(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw examples::FileError(path, std::strerror(errno));
  char begin[sizeof kPngSignature - 1] = {};
  file.read(begin, sizeof begin);
  return std::memcmp(begin, kPngSignature, sizeof begin) == 0;
}

}  // namespace

Document OpenFile(const std::string& path) {
  const bool isPng = IsPng(path);
  Document document;
  document.picture = isPng ? storeimage::ImportPicture(path, 32) : examples::ReadStoredImage(path);
  document.name = std::filesystem::path(path).filename().string();
  return document;
}

Document PaintCel(int size) {
  const std::string path = kBuiltIn;
  const examples::Drawing drawing = examples::ReadDrawing(path + ".png");
  std::vector<paintcel::Seed> seeds = paintcel::ReadSeeds(path + ".seeds", drawing);
  seeds.erase(seeds.begin());  // the paper around the picture stays clear
  paintcel::Cel cel(kxGetVirtualMemory(), drawing, size);
  paintcel::ScaleInk(drawing, cel);
  paintcel::PaintSeeds(seeds, kMargin, cel);
  paintcel::LayInkOverPaint(kMargin, cel);
  cel.paint->Optimize();
  return {std::move(cel.paint), "painted cel"};
}

}  // namespace viewimage
