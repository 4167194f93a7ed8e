#include "compose_frame/qualities.h"

#include <utility>
#include <vector>

#include "compose_frame/sheet.h"

namespace composeframe {
namespace {

constexpr int kPanel = 300;   // pixels of a side
constexpr int kDetail = 75;   // of what is enlarged to fill a panel
constexpr int kDegrees = 20;  // anticlockwise

struct Variant {
  std::string label;
  KXVOffscreenPtr image;
};

KXVOffscreenPtr NewPanel() { return KXVOffscreen::Make(32, kPanel, kPanel); }

KXVOffscreenPtr Small(KXVOffscreen& image, KXVOffscreen::CHANGE_RESOLUTION_MODE mode) {
  KXVOffscreenPtr small = NewPanel();
  small->ChangeResolution(0, 0, kPanel, kPanel, &image, 0, 0, image.GetWidth(), image.GetHeight(),
                          mode, 0, 0);
  return small;
}

KXVOffscreenPtr SmallOfSinglePixels(KXVOffscreen& image) {
  KXVOffscreenPtr small = NewPanel();
  small->StretchCopy(0, 0, kPanel, kPanel, &image, 0, 0, image.GetWidth(), image.GetHeight());
  return small;
}

/// The middle of the turned image.
KXVOffscreenPtr Turned(KXVOffscreen& image, bool isSmooth) {
  const KXVOffscreenPtr turned(KXVOffscreen::CreateOffscreen(32));
  turned->CreateRotationImage(image, kDegrees, isSmooth);
  KXVOffscreenPtr middle = NewPanel();
  middle->Copy(0, 0, kPanel, kPanel, turned.get(), (turned->GetWidth() - kPanel) / 2,
               (turned->GetHeight() - kPanel) / 2, 1);
  return middle;
}

/// Each pixel from `corner` on as a square.
KXVOffscreenPtr Enlarged(KXVOffscreen& image, const KXPoint& corner) {
  KXVOffscreenPtr large = NewPanel();
  large->StretchCopy(0, 0, kPanel, kPanel, &image, corner.x, corner.y, kDetail, kDetail);
  return large;
}

}  // namespace

void ShowQualities(KXVOffscreen& image, const std::string& path) {
  std::vector<Variant> variants;
  variants.push_back({"area", Small(image, KXVOffscreen::kResolutionArea)});
  variants.push_back({"fast", Small(image, KXVOffscreen::kResolutionFast)});
  variants.push_back({"nearest", SmallOfSinglePixels(image)});
  KXVOffscreen& small = *variants.front().image;
  KXVOffscreenPtr turned = Turned(small, false), smooth = Turned(small, true);
  variants.push_back({"turned", std::move(turned)});
  variants.push_back({"turned_smooth", std::move(smooth)});

  Sheet sheet(path, static_cast<int>(variants.size()), 2, kPanel, 1);
  for (const Variant& variant : variants) sheet.Add(variant.label, *variant.image);
  for (const Variant& variant : variants) {
    const bool isTurned = variant.label.starts_with("turned");
    const KXPoint corner = isTurned ? KXPoint(80, 100) : KXPoint(95, 85);
    sheet.Add(variant.label + "_detail", *Enlarged(*variant.image, corner));
  }
  sheet.Finish();
}

}  // namespace composeframe
