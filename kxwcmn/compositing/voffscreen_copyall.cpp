#include <memory>

#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/voffscreen.h"

void KXVOffscreen::CopyAll(KXVOffscreen* src) {
  if (!src || src == this) return;
  if (src->width_ != width_ || src->height_ != height_ || src->bitCount_ != bitCount_) return;
  kxw::CopyWholeBlocks(*this, *src, GetRect());
}

KXVOffscreen* KXVOffscreen::CreateSameSizeOffscr() {
  std::unique_ptr<KXVOffscreen> image(CreateOffscreen(bitCount_));
  if (image) image->Create(kxGetVirtualMemory(), width_, height_, resolution_);
  return image.release();
}

KXVOffscreen* KXVOffscreen::CreateAndCopyAll() {
  std::unique_ptr<KXVOffscreen> image(CreateSameSizeOffscr());
  if (image) image->CopyAll(this);
  return image.release();
}
