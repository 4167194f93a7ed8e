#include "view_image/session.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <utility>

#include "view_image/text.h"

namespace viewimage {
namespace {

// Lengths at 96 dots an inch.
constexpr int kBarHeight = 30, kFontHeight = 13, kPad = 12, kSwatch = 14, kSquare = 8;
constexpr int kPositionWidth = 160, kColorWidth = 150, kZoomWidth = 80, kBlocksWidth = 300;
constexpr int kHelpLine = 24, kHelpKeys = 110, kHelpWidth = 380;
constexpr int kArrowMoves = 64;
constexpr int kMostName = 60;  // bytes of it in the title
/// Between two looks at the numbers of blocks, while they change by themselves.
constexpr std::chrono::milliseconds kCountEvery(250);

constexpr QMCOLORREF kBarColor = 0xFFF4F4F4, kBarEdge = 0xFFC8C4C0, kInk = 0xFF282320;
constexpr QMCOLORREF kFaint = 0xFF8A8480, kPanelEdge = 0xFF9A9490;

struct HelpLine {
  const char *keys, *meaning;
};
constexpr HelpLine kHelpLines[] = {{"drag, arrows", "move the picture"},
                                   {"wheel", "zoom about the pointer"},
                                   {"+  -", "zoom about the middle"},
                                   {"0", "the whole picture"},
                                   {"1", "its own size"},
                                   {"H  V", "flip it, left to right or upside down"},
                                   {"F1", "show or hide this"},
                                   {"Q, Escape", "close"}};

KXSize PictureArea(KXSize window, int bar) {
  return KXSize(window.cx, std::max(window.cy - bar, 1));
}

/// With a gap in front of each three digits.
std::string Grouped(int number) {
  std::string text = std::to_string(number);
  for (std::size_t left = text.size(); left > 3;) text.insert(left -= 3, 1, ' ');
  return text;
}

/// The beginning of a text in UTF-8, no character of which is cut.
std::string Shortened(const std::string& text, std::size_t most) {
  if (text.size() <= most) return text;
  while (most > 0 && (text[most] & 0xC0) == 0x80) --most;
  return text.substr(0, most) + "...";
}

template <class... Values>
std::string Format(const char* format, Values... values) {
  char text[160];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

}  // namespace

void SetScreenDensity(int dpi) {
  kxw::HostProcedures procedures = kxw::GetHostProcedures();
  procedures.display.dotsPerInch = [dpi] { return tagSIZE{dpi, dpi}; };
  kxw::SetHostProcedures(procedures);
  kxwGetHiDpiHelper() = CHiDpiHelper();
}

int Scaled(int length) { return kxwGetHiDpiHelper().ScaleXAround(length); }

Session::Session(Document document, KXSize window)
    : document_(std::move(document)),
      window_(window),
      pyramid_(*document_.picture),
      view_(KXSize(document_.picture->GetWidth(), document_.picture->GetHeight()),
            PictureArea(window, Scaled(kBarHeight))) {
  ground_.board.side = Scaled(kSquare);
  frame_.Create(window.cx, window.cy, 32);
}

std::string Session::Title() const {
  const KXVOffscreen& picture = *document_.picture;
  return Format("%s - %d x %d pixels, %d bits", Shortened(document_.name, kMostName).c_str(),
                picture.GetWidth(), picture.GetHeight(), picture.GetBitCount());
}

void Session::Resize(KXSize window) {
  frame_.Create(window.cx, window.cy, 32);
  window_ = window;
  view_.Resize(PictureArea(window, Scaled(kBarHeight)));
  isStale_ = true;
}

KXPoint Session::About() const { return KXPoint(view_.Window().cx / 2, view_.Window().cy / 2); }

void Session::Do(Command command) {
  const int step = Scaled(kArrowMoves);
  switch (command) {
    case Command::kFit:
      view_.Fit();
      break;
    case Command::kOwnSize:
      view_.ZoomTo(1, pointer_.value_or(About()));
      break;
    case Command::kIn:
      view_.Step(1, About());
      break;
    case Command::kOut:
      view_.Step(-1, About());
      break;
    case Command::kFlipHorz:
      view_.FlipHorz();
      break;
    case Command::kFlipVert:
      view_.FlipVert();
      break;
    case Command::kLeft:
      view_.Move(step, 0);
      break;
    case Command::kRight:
      view_.Move(-step, 0);
      break;
    case Command::kUp:
      view_.Move(0, step);
      break;
    case Command::kDown:
      view_.Move(0, -step);
      break;
    case Command::kKeys:
      showsHelp_ = !showsHelp_;
      break;
  }
  isStale_ = true;
}

void Session::Point(std::optional<KXPoint> at) {
  if (at && !KXRect(0, 0, window_.cx, view_.Window().cy).PtInRect(*at)) at.reset();
  pointer_ = at;
  isBarStale_ = true;
}

void Session::Drag(int dx, int dy) {
  view_.Move(dx, dy);
  isStale_ = true;
}

void Session::Wheel(int notches) {
  if (notches == 0) return;
  view_.Step(notches, pointer_.value_or(About()));
  isStale_ = true;
}

bool Session::Work(int milliseconds) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
  const KXRect seen = VisibleBlocks(view_);
  bool isMore = true;
  do {
    if (pyramid_.MakeOne(view_.Zoom().level, seen)) {
      isStale_ = true;
    } else {
      isMore = pyramid_.MakeOne();
    }
    hasMade_ |= isMore;
  } while (isMore && Clock::now() < end);
  if (hasMade_ && (!isMore || end >= counted_ + kCountEvery)) isBarStale_ = true;
  return isMore;
}

void Session::Finish() {
  const KXRect seen = VisibleBlocks(view_);
  KXAbort abort;
  while (pyramid_.MakeOne(view_.Zoom().level, seen)) abort.CheckAbort();
}

KXRect Session::Draw() {
  const KXRect drawn = isStale_ ? KXRect(0, 0, window_.cx, window_.cy) : Bar();
  if (isStale_) {
    DrawFrame(pyramid_, view_, ground_, frame_);
    if (showsHelp_) DrawHelp();
  }
  DrawBar();
  isStale_ = isBarStale_ = false;
  return drawn;
}

KXRect Session::Bar() const { return KXRect(0, view_.Window().cy, window_.cx, window_.cy); }

/// The colour of a pixel, and its words.
std::string Session::ColorAt(KXPoint pixel, QMCOLORREF& color) {
  KXVOffscreen& picture = *document_.picture;
  DWORD shown = 0;
  ReadAsShown(picture, KXRect(pixel.x, pixel.y, pixel.x + 1, pixel.y + 1), &shown, 1);
  const unsigned alpha = shown >> 24, red = shown >> 16 & 255, green = shown >> 8 & 255,
                 blue = shown & 255;
  color = alpha << 24 | blue << 16 | green << 8 | red;
  if (alpha == 0) return "transparent";
  if (alpha == 255) return Format("#%02X%02X%02X", red, green, blue);
  return Format("#%02X%02X%02X, %u %%", red, green, blue, (alpha * 100 + 127) / 255);
}

void Session::DrawBar() {
  const KXRect bar = Bar();
  const int font = Scaled(kFontHeight);
  frame_.RectFill(bar, kBarColor, 0);
  frame_.RectFill(KXRect(bar.left, bar.top, bar.right, bar.top + std::max(Scaled(1), 1)), kBarEdge,
                  0);
  int left = Scaled(kPad);
  const auto section = [&](int width) {
    const KXRect rect(left, bar.top, left + Scaled(width), bar.bottom);
    left = rect.right;
    return rect;
  };
  const KXRect position = section(kPositionWidth), color = section(kColorWidth),
               zoom = section(kZoomWidth);
  KXPoint pixel;
  if (pointer_ && view_.PixelAt(*pointer_, pixel)) {
    DrawText(frame_, position,
             Format("x %s, y %s", Grouped(pixel.x).c_str(), Grouped(pixel.y).c_str()), font, kInk,
             Align::kLeft);
    QMCOLORREF shown;
    const std::string words = ColorAt(pixel, shown);
    const int side = Scaled(kSwatch), top = (color.top + color.bottom - side + 1) / 2;
    const KXRect swatch(color.left, top, color.left + side, top + side);
    // The bar may be lower than the swatch, or partly outside of a small window.
    const KXRect inside = swatch & bar;
    if (!inside.IsRectEmpty()) {
      frame_.RectFill(inside, shown, 0);
      Checkerboard board = ground_.board;
      board.side = std::max(side / 2, 1);
      board.LayOver(reinterpret_cast<DWORD*>(frame_.GetBaseAddress() +
                                             static_cast<i64>(inside.top) * frame_.GetRowBytes()) +
                        inside.left,
                    frame_.GetWidth(), inside.Size(), inside.left - swatch.left,
                    inside.top - swatch.top);
    }
    if (inside == swatch) {
      frame_.DrawRect(swatch.left, swatch.top, swatch.right - 1, swatch.bottom - 1, 1, kFaint, 0);
    }
    DrawText(frame_, KXRect(swatch.right + Scaled(kPad) / 2, color.top, color.right, color.bottom),
             words, font, kInk, Align::kLeft);
  } else {
    DrawText(frame_, KXRect(position.left, bar.top, color.right, bar.bottom), "F1 shows the keys",
             font, kFaint, Align::kLeft);
  }
  const double percent = 100 * view_.Zoom().Scale();
  DrawText(frame_, zoom, Format(percent < 10 ? "%.1f %%" : "%.0f %%", percent), font, kInk,
           Align::kLeft);
  DrawCounts(KXRect(left, bar.top, bar.right - Scaled(kPad), bar.bottom));
}

void Session::DrawCounts(const KXRect& rect) {
  const KXVirtualMemory& memory = *document_.picture->GetVirtualMemory();
  const int inMemory = memory.GetStatistics().blocksOnMemory;
  // In the swap file, or known without it, as those of one colour are.
  const int others = std::max(static_cast<int>(memory.GetUsedBlockCount()) - inMemory, 0);
  DrawText(frame_, rect,
           Format(rect.Width() >= Scaled(kBlocksWidth) ? "blocks: %s in memory, %s paged out"
                                                       : "blocks: %s + %s",
                  Grouped(inMemory).c_str(), Grouped(others).c_str()),
           Scaled(kFontHeight), kInk, Align::kRight);
  counted_ = std::chrono::steady_clock::now();
  hasMade_ = false;
}

void Session::DrawHelp() {
  const int count = static_cast<int>(std::size(kHelpLines)), pad = Scaled(kPad);
  const int font = Scaled(kFontHeight);
  const int width = Scaled(kHelpWidth), height = count * Scaled(kHelpLine) + 2 * pad;
  const int left = (view_.Window().cx - width) / 2, top = (view_.Window().cy - height) / 2;
  frame_.RectFill(KXRect(left, top, left + width, top + height), kBarColor, 0);
  frame_.DrawRect(left, top, left + width - 1, top + height - 1, 1, kPanelEdge, 0);
  for (int i = 0; i < count; ++i) {
    const int y = top + pad + i * Scaled(kHelpLine), end = y + Scaled(kHelpLine);
    const int middle = left + pad + Scaled(kHelpKeys);
    DrawText(frame_, KXRect(left + pad, y, middle, end), kHelpLines[i].keys, font, kFaint,
             Align::kLeft);
    DrawText(frame_, KXRect(middle, y, left + width - pad, end), kHelpLines[i].meaning, font, kInk,
             Align::kLeft);
  }
}

}  // namespace viewimage
