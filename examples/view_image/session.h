#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "view_image/document.h"
#include "view_image/frame.h"

namespace viewimage {

/// What a user can ask for by a key.
enum class Command {
  kFit,
  kOwnSize,
  kIn,
  kOut,
  kFlipHorz,
  kFlipVert,
  kLeft,
  kRight,
  kUp,
  kDown,
  kKeys
};

/// Has texts and margins scaled to a screen of so many dots an inch.
void SetScreenDensity(int dpi);

/// A length on a screen of 96 dots an inch as one on this screen, by `kxwGetHiDpiHelper`.
int Scaled(int length);

/// A picture that somebody looks at: what the window shows, whatever window that is.
class Session {
 public:
  Session(Document document, KXSize window);

  /// The window's.
  std::string Title() const;
  View& Shown() { return view_; }
  /// Gives the window another size. Raises 8 if there is no memory.
  void Resize(KXSize window);

  void Do(Command command);
  /// The pointer is there; nullopt when it has left.
  void Point(std::optional<KXPoint> at);
  /// Moves the picture by pixels of the window.
  void Drag(int dx, int dy);
  /// Zooms about the pointer by notches of the wheel, of which four double.
  void Wheel(int notches);

  /// Refines the reduced copies for about so long, what is seen first. Returns whether there is
  /// more to do.
  bool Work(int milliseconds);
  /// Makes all that is seen.
  void Finish();

  /// Whether the window would look otherwise now than it was drawn last.
  bool IsStale() const { return isStale_ || isBarStale_; }
  /// Draws what would look otherwise, the bar at least, and returns where that is.
  KXRect Draw();
  /// The window as it was drawn last: an image of 32 bits of its size.
  const KXBitImage& Image() const { return frame_; }

 private:
  KXRect Bar() const;
  KXPoint About() const;
  void DrawBar();
  void DrawCounts(const KXRect& rect);
  std::string ColorAt(KXPoint pixel, QMCOLORREF& color);
  void DrawHelp();

  Document document_;
  KXSize window_;
  Pyramid pyramid_;
  View view_;
  Ground ground_;
  KXBitImage frame_;
  std::optional<KXPoint> pointer_;
  bool showsHelp_ = false;
  bool isStale_ = true;
  bool isBarStale_ = false;                        // alone
  std::chrono::steady_clock::time_point counted_;  // when the bar's numbers were new
  bool hasMade_ = false;                           // copies since then
};

}  // namespace viewimage
