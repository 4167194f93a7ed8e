#pragma once

#include "kxwcmn/platform/types.h"

class KXPixelMixer;

// The library's mixing rules over runs of pixels that lie in one row of one block.
namespace kxw {

/// The forms in which a run of incoming colours is handed to a kernel.
enum class RunForm {
  kValue8,   ///< A byte a pixel, for destinations of 1, 2 and 8 bits.
  kColor32,  ///< A QMCOLORREF a pixel, for 16 and 24 bits.
  kWord32,   ///< As a 32-bit image has it in memory.
  kWord64,   ///< As a 64-bit image has it in memory.
};

/// The incoming form of a destination of `bits`.
constexpr RunForm FormOf(int bits) {
  return bits <= 8    ? RunForm::kValue8
         : bits <= 24 ? RunForm::kColor32
         : bits == 32 ? RunForm::kWord32
                      : RunForm::kWord64;
}

/// The strength of each pixel of a run: of the whole run, or pixel by pixel.
struct RunWeight {
  WORD all;
  const WORD* each;  ///< Null when `all` counts.
};

/// Lays `count` incoming pixels on those from `column` of the block row at `row`.
using MixKernel = void (*)(BYTE* row, int column, const void* incoming, int count,
                           const RunWeight& weight);

/// Bytes of one incoming pixel.
constexpr int BytesOf(RunForm form) {
  return form == RunForm::kValue8 ? 1 : form == RunForm::kWord64 ? 8 : 4;
}

/// The kernel of a mixer of a single rule, for a destination of `bits`; null for a mixer that is
/// not exactly of one of the library's classes, or that minds the position. A null mixer, which
/// ends a chain, replaces.
MixKernel FindMixKernel(const KXPixelMixer* mixer, int bits);

/// Replaces pixels of `bits` of lower density; what a gradation does with its densities.
MixKernel FindDarkKernel(int bits);

}  // namespace kxw
