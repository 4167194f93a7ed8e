#include "store_image/reshape.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "common/console.h"
#include "common/program.h"

namespace storeimage {
namespace {

using examples::Offscreen;
using examples::WatchedOperation;

bool IsEmpty(const KXVOffscreen& image) { return image.GetWidth() < 1 || image.GetHeight() < 1; }

/// The depth that can hold means of pixels of `bits` bits.
int DepthOfMeans(int bits) { return std::max(bits, 8); }

/// Where an operation stands in an image, from 0 to 1 in each direction.
double ShareX(const KXVOffscreen& image) {
  return static_cast<double>(std::max(image.GetCursorPosX(), 0)) / image.GetWidth();
}
double ShareY(const KXVOffscreen& image) {
  return static_cast<double>(std::max(image.GetCursorPosY(), 0)) / image.GetHeight();
}

Offscreen FlipColumns(KXVOffscreen& image) {
  WatchedOperation watch("Mirroring", [&] { return ShareY(image); });
  return Offscreen(image.CreateAndReverseHorz());
}
Offscreen FlipRows(KXVOffscreen& image) {
  WatchedOperation watch("Mirroring", [&] { return 1 - ShareY(image); });
  return Offscreen(image.CreateAndReverseVert());
}

/// Quarter turns lose nothing: pixels move as they are, and holes stay holes.
Offscreen TurnByQuarters(Offscreen image, int quarters) {
  if (quarters == 2) return FlipRows(*FlipColumns(*image));
  const bool isLeft = quarters == 1;
  WatchedOperation watch("Turning", [&] { return isLeft ? 1 - ShareX(*image) : ShareX(*image); });
  return Offscreen(isLeft ? image->CreateAndRotate90() : image->CreateAndRotate90R());
}

Offscreen Rotate(Offscreen image, int degrees, bool isSmooth) {
  degrees = (degrees % 360 + 360) % 360;
  if (degrees == 0) return image;
  if (degrees % 90 == 0) return TurnByQuarters(std::move(image), degrees / 90);
  const int bits = image->GetBitCount();
  Offscreen turned(KXVOffscreen::CreateOffscreen(isSmooth ? DepthOfMeans(bits) : bits));
  WatchedOperation watch("Turning", [&] { return IsEmpty(*turned) ? 0 : ShareY(*turned); });
  try {
    turned->CreateRotationImage(*image, degrees, isSmooth);
  } catch (KXException& failure) {
    if (failure.GetErrorCode() != kxw::kFailureBadArgument) throw;
    throw examples::UserError("turned, the image would be too large");
  }
  return turned;
}

/// How much of a change of size is done. It goes through the result a block at a time, and for each
/// through the part of the source under it, where the cursor is.
double ShareOfBlocks(const KXVOffscreen& source, const KXVOffscreen& result) {
  constexpr int kSize = KXVOffscreen::kBlockSize;
  const double x = ShareX(source) * result.GetWidth(), y = ShareY(source) * result.GetHeight();
  const double row = std::floor(y / kSize), column = std::floor(x / kSize);
  const double top = row * kSize, height = std::min<double>(kSize, result.GetHeight() - top);
  const double columns = std::ceil(static_cast<double>(result.GetWidth()) / kSize);
  return (top + height * (column + (y - top) / height) / columns) / result.GetHeight();
}

Offscreen Resize(Offscreen image, int width, int height, Quality quality) {
  const int fromWidth = image->GetWidth(), fromHeight = image->GetHeight();
  if (width == fromWidth && height == fromHeight) return image;
  const int bits = image->GetBitCount();
  int resultBits = quality == Quality::kNearest ? bits : DepthOfMeans(bits);
  const int finalBits = resultBits;
  // The fast change between two images of 8 bits adds up what lies under a pixel; the alpha of the
  // 16 bits is a mean.
  if (quality == Quality::kFast && bits == 8) resultBits = 16;
  const auto make = [&](int depth) {
    return KXVOffscreen::Make(depth, width, height, image->GetResolution() * width / fromWidth);
  };
  Offscreen result = make(resultBits);
  {
    WatchedOperation watch("Changing the size", [&] { return ShareOfBlocks(*image, *result); });
    switch (quality) {
      case Quality::kArea:
        result->ChangeResolution(0, 0, width, height, image.get(), 0, 0, fromWidth, fromHeight,
                                 KXVOffscreen::kResolutionArea, 0, 0);
        break;
      case Quality::kFast:
        result->ChangeResolutionLow(0, 0, width, height, image.get(), 0, 0, fromWidth, fromHeight,
                                    0, 0);
        break;
      case Quality::kNearest:
        result->StretchCopy(0, 0, width, height, image.get(), 0, 0, fromWidth, fromHeight);
        break;
    }
  }
  if (resultBits == finalBits) return result;
  image.reset();
  Offscreen densities = KXVOffscreen::Make(finalBits, width, height, result->GetResolution());
  densities->Copy(0, 0, width, height, result.get(), 0, 0, 0);
  return densities;
}

/// `size` times `to` / `from`, at least 1. Raises UserError if no image can be as large.
int InProportion(int size, int to, int from) {
  const double result = std::max(1.0, std::round(static_cast<double>(size) * to / from));
  if (result > KXVOffscreen::kMaxSize) {
    throw examples::UserError("the picture would have too many rows");
  }
  return static_cast<int>(result);
}

}  // namespace

Offscreen Reshape(Offscreen image, const Shape& shape) {
  if (IsEmpty(*image)) return image;
  if (shape.flipsColumns) image = FlipColumns(*image);
  if (shape.flipsRows) image = FlipRows(*image);
  image = Rotate(std::move(image), shape.degrees, shape.isSmooth);
  if (IsEmpty(*image)) return image;
  const int width = image->GetWidth(), height = image->GetHeight();
  if (shape.width > 0) {
    return Resize(std::move(image), shape.width, InProportion(height, shape.width, width),
                  shape.quality);
  }
  const int longer = std::max(width, height);
  if (shape.mostSide == 0 || longer <= shape.mostSide) return image;
  return Resize(std::move(image), InProportion(width, shape.mostSide, longer),
                InProportion(height, shape.mostSide, longer), shape.quality);
}

}  // namespace storeimage
