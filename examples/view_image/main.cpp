// Shows a picture of any size in a window.
//
// The picture is a tiled image, of which the window reads the blocks that are seen; reduced copies,
// for views from afar, are tiled images too, made a block at a time while the user does nothing. A
// bit image takes the blocks to the size of the screen, and a drawing context takes it there.

#include <algorithm>
#include <cstdio>
#include <vector>

#include "common/console.h"
#include "common/png_io.h"
#include "view_image/canvas.h"
#include "view_image/document.h"
#include "view_image/options.h"
#include "view_image/session.h"
#include "view_image/window.h"

namespace {

using viewimage::Document;
using viewimage::Options;
using viewimage::Session;

Document Open(const Options& options) {
  return options.file.empty() ? viewimage::PaintCel(options.paint)
                              : viewimage::OpenFile(options.file);
}

void Show(const Options& options, Session& session) {
  if (options.scale > 0) session.Shown().Show(options.middle, options.scale);
}

void WriteScreenshot(const Options& options) {
  viewimage::SetScreenDensity(options.dpi > 0 ? options.dpi : 96);
  const KXSize size(viewimage::Scaled(options.size.cx), viewimage::Scaled(options.size.cy));
  examples::PngWriter writer(options.screenshot, size.cx, size.cy, 24);
  Session session(Open(options), size);
  Show(options, session);
  session.Finish();
  session.Draw();

  const std::size_t width = static_cast<std::size_t>(size.cx);
  std::vector<BYTE> pixels(4 * width * static_cast<std::size_t>(size.cy)), row(3 * width);
  viewimage::Canvas(pixels.data(), size, static_cast<int>(4 * width)).Show(session.Image());
  for (const BYTE* from = pixels.data(); from != pixels.data() + pixels.size();) {
    for (std::size_t x = 0; x < width; ++x, from += 4) std::copy_n(from, 3, &row[3 * x]);
    writer.WriteRow(row.data());
  }
  writer.Finish();
}

void ShowInWindow(const Options& options) {
  viewimage::Window window(options.size, options.dpi);
  examples::AskForStop([&window] { return window.IsClosed(); });
  try {
    window.IsClosed();
    Session session(Open(options), window.Size());
    examples::AskForStop({});  // closing it is no failure from here on
    Show(options, session);
    window.Run(session, examples::IsStopWanted);
  } catch (KXException& failure) {
    examples::AskForStop({});
    if (failure.GetErrorCode() != kxw::kFailureAborted || !window.IsClosed()) throw;
  } catch (...) {
    examples::AskForStop({});
    throw;
  }
  if (examples::IsStopWanted()) kxThrowError(kxw::kFailureAborted);
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  return examples::RunProgram("view_image", options.memory, [&] {
    options = viewimage::ParseOptions(argc, argv);
    if (options.help) {
      std::fputs(viewimage::kHelp, stdout);
      return;
    }
    examples::ConnectConsole(false);
    options.memory.CreateManager();
    if (options.screenshot.empty()) {
      ShowInWindow(options);
    } else {
      WriteScreenshot(options);
    }
  });
}
