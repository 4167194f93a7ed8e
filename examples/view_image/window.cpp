#include "view_image/window.h"

#include <SDL.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "view_image/canvas.h"
#include "view_image/text.h"

namespace viewimage {
namespace {

constexpr int kPlainDpi = 96;
constexpr int kWorkMilliseconds = 10;   // between two looks at what the user does
constexpr int kWaitMilliseconds = 100;  // between two looks at Ctrl-C
constexpr int kAnswerMilliseconds = 40;

struct SurfaceDeleter {
  void operator()(SDL_Surface* surface) const { SDL_FreeSurface(surface); }
};

/// Dots an inch of the display, in halves of the plain ones: a display tells its real size, which
/// nobody wants to have followed to the dot.
int DpiOf(int display) {
  float dpi = 0;
  if (SDL_GetDisplayDPI(display, &dpi, nullptr, nullptr) != 0) return kPlainDpi;
  constexpr int kHalf = kPlainDpi / 2;
  return std::max(kPlainDpi, static_cast<int>((dpi + kHalf / 3.0f) / kHalf) * kHalf);
}

bool ToCommand(SDL_Keycode key, Command& command) {
  switch (key) {
    case SDLK_0:
    case SDLK_KP_0:
    case SDLK_f:
      command = Command::kFit;
      return true;
    case SDLK_1:
    case SDLK_KP_1:
      command = Command::kOwnSize;
      return true;
    case SDLK_PLUS:
    case SDLK_EQUALS:
    case SDLK_KP_PLUS:
      command = Command::kIn;
      return true;
    case SDLK_MINUS:
    case SDLK_KP_MINUS:
      command = Command::kOut;
      return true;
    case SDLK_h:
      command = Command::kFlipHorz;
      return true;
    case SDLK_v:
      command = Command::kFlipVert;
      return true;
    case SDLK_LEFT:
      command = Command::kLeft;
      return true;
    case SDLK_RIGHT:
      command = Command::kRight;
      return true;
    case SDLK_UP:
      command = Command::kUp;
      return true;
    case SDLK_DOWN:
      command = Command::kDown;
      return true;
    case SDLK_F1:
    case SDLK_QUESTION:
      command = Command::kKeys;
      return true;
    default:
      return false;
  }
}

/// Whether a key that is held down does it again and again.
bool Repeats(Command command) {
  switch (command) {
    case Command::kIn:
    case Command::kOut:
    case Command::kLeft:
    case Command::kRight:
    case Command::kUp:
    case Command::kDown:
      return true;
    default:
      return false;
  }
}

}  // namespace

/// SDL, and its window.
class Window::Desktop {
 public:
  Desktop(KXSize size, int dpi) {
    // Ctrl-C is the program's own matter, and nothing is drawn that a display card could speed up.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");
    // Somebody who looks at a picture for long has no reason to leave the screen on.
    SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1");
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
      throw examples::UserError(
          std::string("there is no display to open a window on; --screenshot needs none (") +
          SDL_GetError() + ")");
    }
    SetScreenDensity(dpi > 0 ? dpi : DpiOf(0));
    window_ = SDL_CreateWindow("view_image", SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                               Scaled(size.cx), Scaled(size.cy),
                               SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI);
    if (window_) {
      MeetPoints(size, dpi);
      return;
    }
    const std::string words = SDL_GetError();
    SDL_Quit();
    throw examples::UserError("no window can be opened: " + words);
  }
  Desktop(const Desktop&) = delete;
  Desktop& operator=(const Desktop&) = delete;
  ~Desktop() {
    SDL_DestroyWindow(window_);
    SDL_Quit();
  }

  bool IsClosed() const { return isClosed_; }
  void SetTitle(const std::string& title) { SDL_SetWindowTitle(window_, title.c_str()); }

  KXSize Size() const {
    int width = 0, height = 0;
    SDL_GetWindowSizeInPixels(window_, &width, &height);
    return KXSize(std::max(width, 1), std::max(height, 1));
  }

  /// Brings a part of an image to the window, and all of it where the window holds nothing of it
  /// yet. Where the window has another size meanwhile, it is drawn again soon.
  void Show(const KXBitImage& image, KXRect part) {
    SDL_Surface* const surface = SDL_GetWindowSurface(window_);
    if (!surface) throw examples::UserError(std::string("the display is gone: ") + SDL_GetError());
    const KXRect all(0, 0, image.GetWidth(), image.GetHeight());
    const bool isNew = surface != std::exchange(surface_, surface);
    if (std::exchange(isExposed_, false) || isNew) part = all;
    part &= KXRect(0, 0, surface->w, surface->h);
    if (part.IsRectEmpty()) return;
    const Uint32 format = surface->format->format;
    SDL_Rect changed = {part.left, part.top, part.Width(), part.Height()};
    if (format == SDL_PIXELFORMAT_RGB888 || format == SDL_PIXELFORMAT_ARGB8888) {
      ShowOn(surface, image, part);
    } else {
      const std::unique_ptr<SDL_Surface, SurfaceDeleter> own(
          SDL_CreateRGBSurfaceWithFormat(0, surface->w, surface->h, 32, SDL_PIXELFORMAT_RGB888));
      if (!own) kxThrowError(kxw::kErrorNotEnoughMemory);
      ShowOn(own.get(), image, part);
      SDL_Rect at = changed;
      SDL_BlitSurface(own.get(), &changed, surface, &at);
    }
    SDL_UpdateWindowSurfaceRects(window_, &changed, 1);
  }

  /// Where the pointer is, if that is in the window.
  std::optional<KXPoint> Pointer() const {
    if (SDL_GetMouseFocus() != window_) return std::nullopt;
    int x = 0, y = 0;
    SDL_GetMouseState(&x, &y);
    return ToPixels(x, y);
  }

  /// Takes what the user has done; `session` may be null. Waits for it for so long at most.
  void TakeEvents(Session* session, int milliseconds) {
    SDL_Event event;
    if (!(milliseconds > 0 ? SDL_WaitEventTimeout(&event, milliseconds) : SDL_PollEvent(&event))) {
      return;
    }
    do {
      Take(event, session);
    } while (!isClosed_ && SDL_PollEvent(&event));
  }

  /// Whether something of the window is to be shown again that did not change.
  bool IsExposed() const { return isExposed_; }

 private:
  /// Some desktops count in points, of several pixels on a dense screen, and have scaled what they
  /// were told: there the ratio of the two is the density, unless the user gives one.
  void MeetPoints(KXSize size, int dpi) {
    int width = 0, height = 0;
    SDL_GetWindowSize(window_, &width, &height);
    const double ratio = Size().cx / static_cast<double>(std::max(width, 1));
    if (ratio <= 1) return;
    if (dpi <= 0) SetScreenDensity(static_cast<int>(std::lround(ratio * kPlainDpi)));
    const auto points = [ratio](int length) {
      return static_cast<int>(std::lround(Scaled(length) / ratio));
    };
    SDL_SetWindowSize(window_, points(size.cx), points(size.cy));
  }

  static void ShowOn(SDL_Surface* surface, const KXBitImage& image, const KXRect& part) {
    if (SDL_MUSTLOCK(surface) && SDL_LockSurface(surface) != 0) return;
    Canvas(surface->pixels, KXSize(surface->w, surface->h), surface->pitch).Show(image, part);
    if (SDL_MUSTLOCK(surface)) SDL_UnlockSurface(surface);
  }

  /// From points of the desktop to pixels, which are smaller on some dense displays.
  KXPoint ToPixels(int x, int y) const {
    int width = 0, height = 0;
    SDL_GetWindowSize(window_, &width, &height);
    const KXSize pixels = Size();
    return KXPoint(static_cast<int>(i64{x} * pixels.cx / std::max(width, 1)),
                   static_cast<int>(i64{y} * pixels.cy / std::max(height, 1)));
  }

  void Take(const SDL_Event& event, Session* session) {
    switch (event.type) {
      case SDL_QUIT:
        isClosed_ = true;
        return;
      case SDL_WINDOWEVENT:
        if (event.window.event == SDL_WINDOWEVENT_CLOSE) isClosed_ = true;
        if (event.window.event == SDL_WINDOWEVENT_EXPOSED) isExposed_ = true;
        if (session && event.window.event == SDL_WINDOWEVENT_SIZE_CHANGED) {
          session->Resize(Size());
          session->Point(Pointer());
        }
        if (session && event.window.event == SDL_WINDOWEVENT_LEAVE) session->Point(std::nullopt);
        return;
      case SDL_KEYDOWN:
        TakeKey(event.key, session);
        return;
      default:
        if (session) TakeMouse(event, *session);
    }
  }

  void TakeKey(const SDL_KeyboardEvent& key, Session* session) {
    Command command;
    if (key.keysym.sym == SDLK_q || key.keysym.sym == SDLK_ESCAPE) {
      isClosed_ = true;
    } else if (session && ToCommand(key.keysym.sym, command) && (!key.repeat || Repeats(command))) {
      session->Do(command);
    }
  }

  void TakeMouse(const SDL_Event& event, Session& session) {
    switch (event.type) {
      case SDL_MOUSEBUTTONDOWN:
      case SDL_MOUSEBUTTONUP:
        if (event.button.button != SDL_BUTTON_LEFT) return;
        isDragging_ = event.type == SDL_MOUSEBUTTONDOWN;
        SDL_CaptureMouse(isDragging_ ? SDL_TRUE : SDL_FALSE);  // also outside the window
        dragged_ = ToPixels(event.button.x, event.button.y);
        return;
      case SDL_MOUSEMOTION: {
        const KXPoint at = ToPixels(event.motion.x, event.motion.y);
        if (isDragging_) session.Drag(at.x - dragged_.x, at.y - dragged_.y);
        dragged_ = at;
        session.Point(at);
        return;
      }
      case SDL_MOUSEWHEEL:
        session.Wheel(event.wheel.direction == SDL_MOUSEWHEEL_FLIPPED ? -event.wheel.y
                                                                      : event.wheel.y);
        return;
      default:
        return;
    }
  }

  SDL_Window* window_ = nullptr;
  SDL_Surface* surface_ = nullptr;  // on which the image was shown last; SDL's
  bool isClosed_ = false, isExposed_ = true, isDragging_ = false;
  KXPoint dragged_;
};

Window::Window(KXSize size, int dpi) : desktop_(std::make_unique<Desktop>(size, dpi)) {}

Window::~Window() = default;

KXSize Window::Size() const { return desktop_->Size(); }

bool Window::IsClosed() {
  const Uint64 now = SDL_GetTicks64();
  if (now < answered_ + kAnswerMilliseconds) return desktop_->IsClosed();
  answered_ = now;
  desktop_->TakeEvents(nullptr, 0);
  if (desktop_->IsExposed()) {
    const KXSize size = desktop_->Size();
    KXBitImage image;
    image.Create(size.cx, size.cy, 32);
    const KXRect all(0, 0, size.cx, size.cy);
    image.RectFill(all, Ground().beside, 0);
    DrawText(image, all, "Opening the picture...", Scaled(15), 0xFFD0D0D0, Align::kMiddle);
    desktop_->Show(image, all);
  }
  return desktop_->IsClosed();
}

void Window::Run(Session& session, const std::function<bool()>& isStopped) {
  desktop_->SetTitle(session.Title());
  session.Resize(desktop_->Size());
  session.Point(desktop_->Pointer());
  bool isWorkLeft = true;
  while (!desktop_->IsClosed() && !isStopped()) {
    const bool isWaiting = !isWorkLeft && !session.IsStale();
    desktop_->TakeEvents(&session, isWaiting ? kWaitMilliseconds : 0);
    if (desktop_->IsClosed()) break;
    if (session.IsStale()) {
      const KXRect part = session.Draw();
      desktop_->Show(session.Image(), part);
      isWorkLeft = true;
    } else if (desktop_->IsExposed()) {
      desktop_->Show(session.Image(), KXRect(0, 0, 0, 0));
    }
    if (isWorkLeft) isWorkLeft = session.Work(kWorkMilliseconds);
  }
}

}  // namespace viewimage
