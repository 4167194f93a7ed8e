#include <cstring>

#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/offscreen/detail/fillrun.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"

namespace kxw {

template <class Depth>
DepthOffscreen<Depth>::DepthOffscreen() {
  ResetFields(Depth::kBits, Depth::kInitialClear, Depth::kInitialTransparency);
}

template <class Depth>
DepthOffscreen<Depth>::~DepthOffscreen() = default;

template <class Depth>
void DepthOffscreen<Depth>::Initialize() {
  ResetFields(Depth::kBits, Depth::kInitialClear, Depth::kInitialTransparency);
}

template <class Depth>
void DepthOffscreen<Depth>::ClearBlock(BYTE* address) {
  if (!address) address = cursor_.base;
  if (!address) return;
  BYTE pattern[8];
  const int length = Depth::ClearPattern({byteClearColor_, clearColor_, clearColor64_}, pattern);
  if (length == 1) {
    std::memset(address, pattern[0], kBlockBytes<Depth>);
    return;
  }
  // Patterns of every depth come out even in three words of 16 bytes, and all but those of three
  // bytes in one: what a block has beyond threes is a few of these.
  constexpr int kWord = 16, kWords = 3;
  BYTE words[kWords * kWord];
  FillPattern(words, sizeof words, pattern, length);
  BYTE* const end = address + kBlockBytes<Depth>;
  for (; end - address >= kWords * kWord; address += kWords * kWord) {
    for (int i = 0; i < kWords; ++i) std::memcpy(address + i * kWord, words + i * kWord, kWord);
  }
  std::memcpy(address, words, static_cast<std::size_t>(end - address));
}

// --- Steps --------------------------------------------------------------------------------------

template <class Depth>
void DepthOffscreen<Depth>::SetCurrentCursorAddress(int x, int y) {
  if (!cursor_.base) {
    cursor_.current = nullptr;
    return;
  }
  // The position within the block by mask: whatever x and y are, the address stays in the block.
  const int column = x & kBlockMask;
  cursor_.current =
      cursor_.base + (y & kBlockMask) * kRowBytes<Depth> + ByteOfColumn<Depth>(column);
  cursor_.mask = MaskOfColumn<Depth>(column);
}

template <class Depth>
void DepthOffscreen<Depth>::NextCursorX() {
  cursor_.x = static_cast<int>(static_cast<unsigned>(cursor_.x) + 1);
  const int index = GetBlockIndex(cursor_.x, cursor_.y);
  if (index != cursor_.blockIndex) {
    EnterBlock(index);
  } else if (cursor_.current) {
    StepRight<Depth>(cursor_.current, cursor_.mask);
  }
}

template <class Depth>
void DepthOffscreen<Depth>::NextCursorXFastest() {
  ++cursor_.x;
  StepRight<Depth>(cursor_.current, cursor_.mask);
}

template <class Depth>
void DepthOffscreen<Depth>::PrevCursorX() {
  cursor_.x = static_cast<int>(static_cast<unsigned>(cursor_.x) - 1);
  const int index = GetBlockIndex(cursor_.x, cursor_.y);
  if (index != cursor_.blockIndex) {
    EnterBlock(index);
  } else if (cursor_.current) {
    StepLeft<Depth>(cursor_.current, cursor_.mask);
  }
}

template <class Depth>
void DepthOffscreen<Depth>::PrevCursorXFastest() {
  --cursor_.x;
  StepLeft<Depth>(cursor_.current, cursor_.mask);
}

// --- Reads --------------------------------------------------------------------------------------

// Each pair is the depth's function with and without the test for a block without memory.
#define KXW_READ(Type, Name, To, Default)                         \
  template <class Depth>                                          \
  Type DepthOffscreen<Depth>::Name##Fast() {                      \
    return Depth::To(Depth::Load(cursor_.current, cursor_.mask)); \
  }                                                               \
  template <class Depth>                                          \
  Type DepthOffscreen<Depth>::Name() {                            \
    if (!cursor_.current) return Default;                         \
    return Depth::To(Depth::Load(cursor_.current, cursor_.mask)); \
  }

KXW_READ(BYTE, Get1BitColor, To1, 0)
KXW_READ(BYTE, Get2BitColor, To2, Depth::k2Default)
KXW_READ(BYTE, Get8BitColor, To8, 0)
KXW_READ(DWORD, Get16BitColor, To16, Depth::k16Default)
KXW_READ(DWORD, Get24BitColor, To24, 0x00FFFFFF)
KXW_READ(DWORD, Get32BitColor, To32, 0)
KXW_READ(u64, Get48BitColor, To48, Depth::k48Default)
KXW_READ(u64, Get64BitColor, To64, 0)
KXW_READ(BYTE, Get8BitImage, ToImage8, 0)
KXW_READ(DWORD, Get24BitImage, ToImage24, 0x00FFFFFF)
KXW_READ(BYTE, Get8BitMask, ToMask8, Depth::k8MaskDefault)
KXW_READ(int, Get16BitMask, ToMask16, Depth::k16MaskDefault)
#undef KXW_READ

template <class Depth>
int DepthOffscreen<Depth>::IsTransparentFast(int flag) {
  return Depth::IsTransparent(Depth::Load(cursor_.current, cursor_.mask), flag);
}

template <class Depth>
int DepthOffscreen<Depth>::IsTransparent(int flag) {
  return cursor_.current ? Depth::IsTransparent(Depth::Load(cursor_.current, cursor_.mask), flag)
                         : 1;
}

template <class Depth>
DWORD DepthOffscreen<Depth>::MakeNativeColor(DWORD color) {
  return Depth::MakeNative(color);
}

template <class Depth>
u64 DepthOffscreen<Depth>::MakeNativeColor64(u64 color) {
  if constexpr (Depth::kBits == 64) return color;
  return Depth::MakeNative(NarrowColor(color));
}

// --- Writes -------------------------------------------------------------------------------------

#define KXW_WRITE(Name, Type, From)                                                       \
  template <class Depth>                                                                  \
  void DepthOffscreen<Depth>::Name(Type value) {                                          \
    if (cursor_.current) Depth::Store(cursor_.current, cursor_.mask, Depth::From(value)); \
  }

KXW_WRITE(Set2BitColor, BYTE, From2)
KXW_WRITE(Set8BitColor, BYTE, From8)
KXW_WRITE(Set16BitColor, DWORD, From16)
KXW_WRITE(Set24BitColor, DWORD, From24)
KXW_WRITE(Set32BitColor, DWORD, From32)
KXW_WRITE(Set48BitColor, u64, From48)
KXW_WRITE(Set64BitColor, u64, From64)
#undef KXW_WRITE

template <class Depth>
void DepthOffscreen<Depth>::Set1BitColor(BYTE value) {
  if (!cursor_.current) return;
  Depth::Store(cursor_.current, cursor_.mask,
               Depth::From1(value, {byteClearColor_, clearColor_, clearColor64_}));
}

template <class Depth>
void DepthOffscreen<Depth>::Set32BitColor(BYTE a, BYTE r, BYTE g, BYTE b) {
  DepthOffscreen::Set32BitColor(MakeColor(r, g, b, a));
}

template <class Depth>
void DepthOffscreen<Depth>::Set8BitMask(BYTE value) {
  if (!cursor_.current) return;
  Depth::Store(cursor_.current, cursor_.mask,
               Depth::WithMask8(Depth::Load(cursor_.current, cursor_.mask), value));
}

template <class Depth>
void DepthOffscreen<Depth>::Set16BitMask(int value) {
  if (!cursor_.current) return;
  Depth::Store(cursor_.current, cursor_.mask,
               Depth::WithMask16(Depth::Load(cursor_.current, cursor_.mask), value));
}

template <class Depth>
DWORD NarrowDepthOffscreen<Depth>::GetColor() {
  const BYTE* at = this->cursor_.current;
  if (!at) return Depth::kNativeDefault;
  return Depth::Native(Depth::Load(at, this->cursor_.mask));
}

template <class Depth>
void NarrowDepthOffscreen<Depth>::SetColor(DWORD color) {
  BYTE* at = this->cursor_.current;
  if (!at) return;
  const ClearColors clear{this->byteClearColor_, this->clearColor_, this->clearColor64_};
  Depth::Store(at, this->cursor_.mask, Depth::FromNative(color, clear));
}

// The members defined above; other rooms instantiate theirs beside their bodies.
template class DepthOffscreen<Depth1>;
template class DepthOffscreen<Depth2>;
template class DepthOffscreen<Depth8>;
template class DepthOffscreen<Depth16>;
template class DepthOffscreen<Depth24>;
template class DepthOffscreen<Depth32>;
template class DepthOffscreen<Depth64>;
template class NarrowDepthOffscreen<Depth1>;
template class NarrowDepthOffscreen<Depth2>;
template class NarrowDepthOffscreen<Depth8>;
template class NarrowDepthOffscreen<Depth16>;
template class NarrowDepthOffscreen<Depth24>;
template class NarrowDepthOffscreen<Depth32>;

}  // namespace kxw

KXVOffscreen1Bit::~KXVOffscreen1Bit() = default;
KXVOffscreen2Bit::~KXVOffscreen2Bit() = default;
KXVOffscreen8Bit::~KXVOffscreen8Bit() = default;
KXVOffscreen16Bit::~KXVOffscreen16Bit() = default;
KXVOffscreen24Bit::~KXVOffscreen24Bit() = default;
KXVOffscreen32Bit::~KXVOffscreen32Bit() = default;
KXVOffscreen64Bit::~KXVOffscreen64Bit() = default;

// A colour given as four bytes is no colour of this depth.
void KXVOffscreen64Bit::Set32BitColor(BYTE, BYTE, BYTE, BYTE) {}

void KXVOffscreen64Bit::Set64BitColor(WORD a, WORD r, WORD g, WORD b) {
  Set64BitColor(kxw::MakeColor64(r, g, b, a));
}
