#pragma once

/// How an application's own rows hold pixels, for `KXVOffscreen::ReadPixels` and `WritePixels`.
///
/// Alpha is straight: colours are not multiplied by it. Channels of 16 bits are words of the host,
/// at any address. "Read as" and "written as" name the cursor's operation of the same result.
enum class KXPixelFormat : int {
  /// The depth's own bytes, as they stand in the image's blocks: below 8 bits several pixels to a
  /// byte, the leftmost in the highest bits, and a row begins with a byte of its own.
  kNative = 0,
  /// A byte of density, 255 full black. Read as `Get8BitColor`, which at 16 bits is the alpha, and
  /// written as `Set8BitColor`: as black of that alpha where the depth has one.
  kDensity8 = 1,
  /// A byte of grey, 255 white. Read as what the pixel looks like on white: 255 less the density
  /// that its `Get32BitColor` has in an 8-bit image. Written as opaque grey by `Set32BitColor`.
  kGrey8 = 2,
  /// Four bytes: red, green, blue, alpha. Read as `Get32BitColor`, written as `Set32BitColor`.
  kRgba8 = 3,
  /// The same with blue first and red third, as a 32-bit image holds it itself.
  kBgra8 = 4,
  /// Four words: red, green, blue, alpha. Read as `Get64BitColor`, written as `Set64BitColor`.
  kRgba16 = 5,
  /// The same with blue first and red third, as a 64-bit image holds it itself.
  kBgra16 = 6,
};
