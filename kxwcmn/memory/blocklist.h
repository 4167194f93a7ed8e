#pragma once

#include <bit>
#include <cstdint>
#include <memory>
#include <new>

#include "kxwcmn/core/array.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/types.h"

class KXSwapBlock;

/// An entry of the list of all blocks, kept by KXSwap.
struct KXSwapListItem {
  KXSwapBlock* block;
  KXSwapListItem* next;
  KXSwapListItem* previous;
};

/// An entry of the list of the blocks on memory, kept by KXVMCache.
struct KXVMCacheListItem {
  KXSwapBlock* block;
  KXVMCacheListItem* next;
  KXVMCacheListItem* previous;
};

/// 1024 list items in one allocation. A new page hands them out in ascending order; an item that
/// comes back is the next to go out again.
///
/// A page is aligned to a power of two above its size, so that the address of an item names its
/// page.
template <class Item>
class alignas(0x10000) KXListItemPage {
 public:
  static constexpr int kItems = 1024;

  explicit KXListItemPage(int index) : index_(index) {
    for (int i = 0; i < kItems; ++i) free_[i] = &items_[kItems - 1 - i];
  }

  /// The page that `item` belongs to.
  static KXListItemPage* Of(Item* item) {
    const auto address = reinterpret_cast<std::uintptr_t>(item);
    return reinterpret_cast<KXListItemPage*>(address &
                                             ~(std::uintptr_t{alignof(KXListItemPage)} - 1));
  }

  int GetIndex() const { return index_; }
  int GetFreeCount() const { return freeCount_; }

  /// The page must have a free item.
  Item* Take() { return free_[--freeCount_]; }

  void Give(Item* item) {
    *item = {};
    free_[freeCount_++] = item;
  }

 private:
  Item items_[kItems] = {};
  Item* free_[kItems];
  int freeCount_ = kItems;
  int index_;  // in the list's array of pages
};

namespace kxw {

/// A doubly linked list of blocks whose items come from pages. The list owns the items, never the
/// blocks. Entries are added at the tail only; every operation takes constant time.
template <class Item>
class BlockList {
 public:
  BlockList() = default;
  BlockList(const BlockList&) = delete;
  BlockList& operator=(const BlockList&) = delete;
  ~BlockList() { Clear(); }

  Item* GetFirst() const { return first_; }
  Item* GetLast() const { return last_; }
  int GetCount() const { return count_; }

  /// Adds an entry for `block` at the tail. Raises KXException with code 8 if there is no memory
  /// for a new page; the list is then unchanged.
  Item* Append(KXSwapBlock* block) {
    Page* page = FirstPageWithRoom();
    Item* item = page->Take();
    if (page->GetFreeCount() == 0) room_[page->GetIndex() / 64] &= ~RoomBit(page);
    *item = {block, nullptr, last_};
    (last_ ? last_->next : first_) = item;
    last_ = item;
    ++count_;
    return item;
  }

  /// Removes an entry of this list; its item is free again.
  void Remove(Item* item) {
    (item->previous ? item->previous->next : first_) = item->next;
    (item->next ? item->next->previous : last_) = item->previous;
    Page* page = Page::Of(item);
    page->Give(item);
    room_[page->GetIndex() / 64] |= RoomBit(page);
    --count_;
  }

  /// Removes all entries and gives the pages back.
  void Clear() {
    for (Page* page : pages_) delete page;
    pages_.RemoveAll();
    room_.RemoveAll();
    first_ = last_ = nullptr;
    count_ = 0;
  }

 private:
  using Page = KXListItemPage<Item>;

  static u64 RoomBit(const Page* page) { return u64{1} << (page->GetIndex() % 64); }

  Page* FirstPageWithRoom() {
    for (int word = 0; word < room_.GetCount(); ++word) {
      if (room_[word]) return pages_[word * 64 + std::countr_zero(room_[word])];
    }
    const int index = pages_.GetCount();
    std::unique_ptr<Page> page(new (std::nothrow) Page(index));
    if (!page) kxThrowError(kErrorNotEnoughMemory);
    room_.SetCount(index / 64 + 1);
    pages_.Add(page.get());
    room_[index / 64] |= RoomBit(page.get());
    return page.release();
  }

  Item* first_ = nullptr;
  Item* last_ = nullptr;
  KXTArray<Page*> pages_;
  KXTArray<u64> room_;  // bit i of word w: page 64w + i has a free item
  int count_ = 0;
};

}  // namespace kxw
