// Shows the waveform of a sound as a strip of film, 24 frames a second, numbered, as animators use
// it to time mouths to words; and plays a stretch of it, frame by frame.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "common/console.h"
#include "common/png_io.h"
#include "common/program.h"
#include "kxwcmn/kxwcmn.h"

namespace {

constexpr UINT kTimesASecond = 600;  // the unit of KXSound
constexpr int kFramesASecond = 24;
constexpr int kTimesAFrame = static_cast<int>(kTimesASecond) / kFramesASecond;
constexpr int kMostFrames = 3600 * kFramesASecond;

// The sheet, in pixels.
constexpr int kColumn = 4;  // of one time
constexpr int kFrameWidth = kColumn * kTimesAFrame;
constexpr int kFrameHeight = 152, kWaveTop = 24, kWaveHeight = 128;
constexpr int kFramesARow = 12;
constexpr int kGap = 12;

constexpr DWORD kPaper = 0xFFFFFFFF, kWave = 0xFF7A4A20, kMiddle = 0xFFD0D0D0, kLine = 0xFF808080,
                kSecond = 0xFF2020C0;

constexpr char kHelp[] =
    R"(usage: sound_sheet [SOUND] [--out SHEET.png] [--play START END]

Draws the waveform of a WAVE or AIFF file as a strip of numbered frames, 24 a second (sheet.png).
Without a file it makes a sound of its own beside the sheet. --play lets frames START to END be
heard, with a line that tells where it is.
)";

struct Options {
  std::string sound, out = "sheet.png";
  int first = 0, last = 0;  // frames to play; none
};

/// Four words of falling pitch, each of three syllables. Raises FileError where another sound,
/// which may be the user's own, has the name.
void MakeSound(const std::string& path) {
  constexpr int kRate = 22050, kSeconds = 3;
  std::string data;
  for (int i = 0; i < kRate * kSeconds; ++i) {
    const double t = static_cast<double>(i) / kRate;
    const double word = std::fmod(t, 0.75) / 0.75;
    const double open = std::max(0.0, std::sin(word * 1.3 * 3.14159265)) *
                        (0.55 + 0.45 * std::sin(word * 6 * 3.14159265));
    const double pitch = 110 + 40 * std::floor(t / 0.75) - 30 * word;
    const double voice = std::sin(6.2831853 * pitch * t) + 0.5 * std::sin(18.849556 * pitch * t);
    const auto sample = static_cast<int>(open * voice * 20000);
    data += static_cast<char>(sample & 255);
    data += static_cast<char>(sample >> 8 & 255);
  }
  std::string head = "RIFF";
  const auto number = [&](std::size_t value, int size) {
    for (; size > 0; --size, value >>= 8) head += static_cast<char>(value & 255);
  };
  number(data.size() + 36, 4);
  head += "WAVEfmt ";
  number(16, 4);
  number(1, 2);  // plain samples
  number(1, 2);  // one channel
  number(kRate, 4);
  number(kRate * 2, 4);
  number(2, 2);
  number(16, 2);
  head += "data";
  number(data.size(), 4);
  std::ifstream old(path, std::ios::binary);
  if (old) {
    const std::string there{std::istreambuf_iterator<char>(old), {}};
    if (there == head + data) return;
    throw examples::FileError(path, "another sound has this name; name it, or another --out");
  }
  examples::NewFile file(path);
  std::ofstream part(file.PartPath(), std::ios::binary);
  part << head << data;
  part.close();
  if (!part) throw examples::FileError(path, "cannot be written");
  file.Keep();
}

/// A number, in a library without texts in digits of 3 by 5 squares.
void DrawNumber(KXVOffscreen& sheet, int number, int x, int y, DWORD color) {
  if (kxw::HasGraphics()) {
    KXFont font("Sans", 18, 700);
    sheet.DrawString(std::to_string(number).c_str(), {x, y - 16, x + kFrameWidth, y + 32}, font,
                     color, 0, 2);
    return;
  }
  constexpr unsigned kRows[10][5] = {
      {7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 7, 1, 7}, {5, 5, 7, 1, 1},
      {7, 4, 7, 1, 7}, {7, 4, 7, 5, 7}, {7, 1, 2, 2, 2}, {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7}};
  constexpr int kSquare = 3;
  for (const char digit : std::to_string(number)) {
    for (int row = 0; row < 5; ++row) {
      for (int column = 0; column < 3; ++column) {
        if (!(kRows[digit - '0'][row] >> (2 - column) & 1)) continue;
        const int left = x + column * kSquare, top = y + row * kSquare;
        sheet.RectFill(KXRect(left, top, left + kSquare, top + kSquare), 0, color);
      }
    }
    x += 4 * kSquare;
  }
}

void DrawFrame(KXVOffscreen& sheet, const KXSound& sound, int frame, int left, int top) {
  _SOUND_INFO info;
  sound.GetSoundInfo(info);
  const bool isMono = info.channels == 1;
  const int bottom = top + kWaveTop + kWaveHeight;
  const bool isSecond = frame % kFramesASecond == 0;
  const DWORD line = isSecond ? kSecond : kLine;
  sheet.RectFill(KXRect(left, top, left + (isSecond ? 3 : 1), bottom), 0, line);
  DrawNumber(sheet, frame + 1, left + 6, top + 4, line);
  const int middle = top + kWaveTop + kWaveHeight / 2;
  sheet.RectFill(KXRect(left, middle, left + kFrameWidth, middle + 1), 0, kMiddle);
  for (int i = 0; i < kTimesAFrame; ++i) {
    // A column goes from one time's samples to the next's, of both channels.
    short low = 255, high = 0;
    for (int next = 0; next < 2; ++next) {
      short values[2];
      const int time = frame * kTimesAFrame + i + next;
      if (!sound.GetSampleData(static_cast<UINT>(time), &values[0], &values[1])) continue;
      if (isMono) values[1] = values[0];
      low = std::min({low, values[0], values[1]});
      high = std::max({high, values[0], values[1]});
    }
    if (low > high) continue;
    const int wave = top + kWaveTop;
    const int x = left + i * kColumn;
    sheet.RectFill(KXRect(x, wave + (255 - high) / 2, x + kColumn, wave + (255 - low) / 2 + 1), 0,
                   kWave);
  }
}

void DrawSheet(const KXSound& sound, int frames, const std::string& path) {
  const int rows = (frames + kFramesARow - 1) / kFramesARow;
  const int width = kFramesARow * kFrameWidth + 2 * kGap;
  const int height = rows * (kFrameHeight + kGap) + kGap;
  const KXVOffscreenPtr sheet = KXVOffscreen::Make(24, width, height);
  sheet->RectFill(sheet->GetRect(), 0, kPaper);
  KXProgressBar progress(frames, "Drawing");
  KXAbort abort;
  for (int frame = 0; frame < frames; ++frame, progress.Step()) {
    abort.CheckAbort();
    DrawFrame(*sheet, sound, frame, kGap + frame % kFramesARow * kFrameWidth,
              kGap + frame / kFramesARow * (kFrameHeight + kGap));
  }
  examples::PngWriter png(path, width, height, 24);
  std::vector<BYTE> row(static_cast<std::size_t>(width) * 3);
  for (int y = 0; y < height; ++y) {
    sheet->ReadPixels(KXRect(0, y, width, y + 1), KXPixelFormat::kNative, row.data());
    png.WriteRow(row.data());
  }
  png.Finish();
}

/// Ends the process's sound when it goes, also when the user stops the program.
struct SoundEnd {
  ~SoundEnd() { KXSound::TerminateKXSound(); }
};

void Play(const KXSound& sound, int first, int last) {
  const SoundEnd end;
  if (!KXSound::InitializeKXSound()) throw std::runtime_error("there is no device to play on");
  const auto time = [](int frame) { return static_cast<UINT>(frame * kTimesAFrame); };
  const auto begin = std::chrono::steady_clock::now();
  if (!sound.Play(1, time(first - 1), time(last))) {
    throw std::runtime_error("these frames cannot be played");
  }
  KXAbort abort;
  while (KXSound::IsPlaying()) {
    const std::chrono::duration<double> played = std::chrono::steady_clock::now() - begin;
    const int frame = std::min(last, first + static_cast<int>(played.count() * kFramesASecond));
    std::fprintf(stderr, "\rframe %d of %d to %d", frame, first, last);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    abort.CheckAbort();
  }
  std::fprintf(stderr, "\n");
  std::printf("played frames %d to %d\n", first, last);
}

void Run(const Options& options) {
  if (!qmwIsInstallQT()) throw std::runtime_error("libsndfile and PortAudio are not installed");
  std::string path = options.sound;
  if (path.empty()) {
    const std::string ending = ".png";
    path = options.out;
    if (path.ends_with(ending)) path.resize(path.size() - ending.size());
    path += ".wav";
    MakeSound(path);
    std::printf("%s\n", path.c_str());
  }
  KXFilePath file;
  file.SetNativePath(path.c_str());
  KXSound sound;
  try {
    if (!sound.SetSoundFile(file)) throw examples::UserError(path + ": neither WAVE nor AIFF");
  } catch (KXException& failure) {
    KXString words;
    failure.GetAlertMessage(words);
    throw examples::FileError(path,
                              failure ? words.GetCStrPtr() : "not a WAVE file of 8 or 16 bits");
  }
  _SOUND_INFO info;
  sound.GetSoundInfo(info);
  const double frames = std::ceil(double{info.duration} * kFramesASecond);
  if (!(frames >= 1)) throw examples::FileError(path, "a sound without a length");
  if (frames > kMostFrames) {
    throw examples::FileError(path, "a sheet is for sounds of up to an hour");
  }
  if (options.last > 0) {
    Play(sound, options.first, options.last);
    return;
  }
  DrawSheet(sound, static_cast<int>(frames), options.out);
  std::printf("%s\n", options.out.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const examples::MemoryOptions memory;
  return examples::RunProgram("sound_sheet", memory, [&] {
    Options options;
    for (examples::Arguments arguments(argc, argv); arguments.Next();) {
      const std::string word(arguments.Word());
      if (word == "--help") {
        std::fputs(kHelp, stdout);
        return;
      }
      if (word == "--out") {
        options.out = arguments.Value();
      } else if (word == "--play") {
        options.first = arguments.Number(1, kMostFrames);
        options.last = arguments.Number(options.first, kMostFrames);
      } else if (word.starts_with("-") || !options.sound.empty()) {
        throw examples::UserError("one sound at most can be named; --help tells more");
      } else {
        options.sound = word;
      }
    }
    examples::ConnectConsole(false);
    memory.CreateManager();
    Run(options);
  });
}
