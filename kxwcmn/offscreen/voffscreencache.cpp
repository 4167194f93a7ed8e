#include "kxwcmn/offscreen/voffscreencache.h"

#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/voffscreen.h"

KXVOffscreenCache* KXVOffscreen::CreateOffscreenCache(int bitCount) {
  KXVOffscreenCache* cache = nullptr;
  try {
    cache = new KXVOffscreenCache;
    if (KXVOffscreen* offscreen = CreateOffscreen(bitCount)) {
      offscreen->AllowBreak(1);
      cache->SetThisOffscreen(offscreen);
      return cache;
    }
  } catch (...) {
    // Null tells it.
  }
  DeleteOffscreenCache(cache);
  return nullptr;
}

void KXVOffscreen::DeleteOffscreenCache(KXVOffscreenCache* cache) { delete cache; }

KXVOffscreenCache::~KXVOffscreenCache() { KXVOffscreen::DeleteOffscreen(offscreen_); }

void KXVOffscreenCache::Create(KXVirtualMemory* memory, int width, int height, double resolution) {
  if (!offscreen_) kxThrowError(kxw::kFailureBadArgument);
  try {
    offscreen_->Create(memory, width, height, resolution);
    flags_.SetCount(offscreen_->GetBlockCount(nullptr, nullptr));
  } catch (...) {
    KXVOffscreen::DeleteOffscreen(offscreen_);
    offscreen_ = nullptr;
    throw;
  }
}

void KXVOffscreenCache::Destroy() {
  flags_.SetCount(0);
  if (offscreen_) offscreen_->Destroy();
}

int KXVOffscreenCache::IsFlag(int index, unsigned int flags) const {
  if (index < 0 || index >= flags_.GetCount()) return 0;
  return (flags_[index] & flags) == flags;
}

int KXVOffscreenCache::IsFlag(int x, int y, unsigned int flags) const {
  return offscreen_ ? IsFlag(offscreen_->GetBlockIndex(x, y), flags) : 0;
}

void KXVOffscreenCache::SetFlag(int index, unsigned int flags, int on) {
  if (index >= 0 && index < flags_.GetCount()) {
    flags_[index] = on ? flags_[index] | flags : flags_[index] & ~flags;
  }
  const bool frees = !on && (flags & kCached) && static_cast<int>(flags) >= 0;
  if (frees && offscreen_) offscreen_->DestroyBlock(index);
}

void KXVOffscreenCache::SetFlag(const KXTArray<tagRECT, 0>& rects, unsigned int flags, int on) {
  if (!offscreen_) return;
  for (const tagRECT& rect : rects) {
    const int index = offscreen_->GetBlockIndex(rect.left, rect.top);
    if (index >= 0) SetFlag(index, flags, on);
  }
}

void KXVOffscreenCache::SetFlag(const KXRect* rect, unsigned int flags, int on) {
  if (!offscreen_) return;
  if (rect) {
    KXTArray<tagRECT, 0> rects;
    offscreen_->GetBlockArea(*rect, rects, 1);
    SetFlag(rects, flags, on);
    return;
  }
  const int count = offscreen_->GetBlockCount(nullptr, nullptr);
  for (int index = 0; index < count; ++index) SetFlag(index, flags, on);
}

void KXVOffscreenCache::CopyAll(KXVOffscreenCache* other) {
  if (!other) return;
  if (offscreen_) offscreen_->CopyAll(other->offscreen_);
  flags_ = other->flags_;
}

void KXVOffscreenCache::RenderBackground(const KXRect& rect, DWORD colorA, DWORD colorB,
                                         int includeEmpty) {
  if (offscreen_) offscreen_->RenderBackground(rect, colorA, colorB, includeEmpty);
}
