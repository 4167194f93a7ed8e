#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "view_image/options.h"
#include "view_image/session.h"

namespace viewimage {

/// A window of the desktop, which shows a picture until the user closes it.
class Window {
 public:
  /// Opens it. `size` is in pixels at 96 dots an inch, and `dpi` the screen's density from here on,
  /// 0 to ask the display. Raises examples::UserError if there is no display.
  Window(KXSize size, int dpi);
  ~Window();

  /// In pixels.
  KXSize Size() const;
  /// Whether the user has closed it. To be asked, as often as one likes, while work goes on before
  /// there is anything to show: it answers the desktop.
  bool IsClosed();
  /// Shows `session` until the window is closed or `isStopped`, and refines it while there is
  /// nothing else to do.
  void Run(Session& session, const std::function<bool()>& isStopped);

 private:
  class Desktop;
  std::unique_ptr<Desktop> desktop_;
  std::uint64_t answered_ = 0;  // milliseconds
};

}  // namespace viewimage
