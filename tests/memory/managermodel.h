#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <optional>
#include <vector>

/// The manager's rules in their slowest form, to be compared with the manager itself: lists that
/// are walked from the head, chunks whose owners are all looked at. Contents are one word a block;
/// none means undefined.
class ManagerModel {
 public:
  struct Chunk {
    int id;
    std::size_t units;
    std::vector<int> freeSlots;
  };
  struct Block {
    std::uint32_t size = 0;
    bool temporary = false, protect = false, locked = false, edit = false;
    bool onMemory = false, placed = false;
    int chunk = -1, slot = 0;  // -1: an allocation of its own
    std::optional<std::uint32_t> memory, file;
  };

  explicit ManagerModel(std::uint32_t bytes) : budget(bytes), margin(bytes) {}

  std::uint32_t budget, margin;
  std::size_t chunks = 0, onMemory = 0, peak = 0, dropped = 0, written = 0, read = 0;
  std::uint64_t bytesMoved = 0, bytesPlaced = 0;
  int failingWrite = 0;  // the write of this number, counted down to 0, fails

  Block* Allocate(std::uint32_t size) {
    if (!MakeRoom(size)) return nullptr;
    Block& block = blocks_.emplace_back();
    block.size = size;
    Enter(block);
    return &block;
  }

  /// Returns whether the contents came from the file; -1 if the file never held them as a whole.
  int Lock(Block& block, bool edit) {
    bool loaded = false;
    if (!block.onMemory) {
      MakeRoom(block.size);
      loaded = !block.temporary && block.placed;
      if (loaded && !block.file) {
        Touch(block);
        return -1;
      }
      Enter(block);
      if (loaded) {
        block.memory = block.file;
        ++read;
        bytesMoved += block.size;
      }
    }
    block.edit |= edit;
    block.locked = true;
    return loaded;
  }

  bool Purge(Block& block) { return !block.locked && Evict(block); }

  void Free(Block& block) {
    if (block.onMemory) Leave(block);
    if (block.placed) bytesPlaced -= block.size;
  }

 private:
  // What lies beyond the budget goes first; where a write fails, what needs none goes after all.
  bool MakeRoom(std::uint32_t size) {
    const auto within = [&] { return margin <= budget; };
    if (!within() && !Evict(within, 0, 1)) Evict(within, 2, 2);
    const auto enough = [&] { return margin >= size; };
    return enough() || Evict(enough, 0, 1) || Evict(enough, 2, 2);
  }

  template <class Enough>
  bool Evict(Enough enough, int firstPass, int lastPass) {
    for (int pass = firstPass; pass <= lastPass; ++pass) {
      const std::vector<Block*> walk(order_.begin(), order_.end());
      for (Block* block : walk) {
        if (!block->onMemory) continue;  // went with its chunk
        bool skip = false;
        std::vector<Block*> unit;
        for (Block* owner : order_) {
          if (owner != block && (block->chunk < 0 || owner->chunk != block->chunk)) continue;
          skip |= owner->locked || owner->protect || (pass == 0 && !owner->temporary) ||
                  (pass == 2 && owner->edit && !owner->temporary);
          if (owner->slot <= block->slot) unit.push_back(owner);
        }
        if (skip) continue;
        std::sort(unit.begin(), unit.end(), [](Block* a, Block* b) { return a->slot < b->slot; });
        for (Block* owner : unit) {
          if (!Evict(*owner)) return false;
        }
        if (enough()) return true;
      }
    }
    return false;
  }

  // A unit that was taken for a block and given back again.
  void Touch(Block& block) {
    const std::size_t before = peak;
    Enter(block);
    Leave(block);
    peak = before;
  }

  bool Evict(Block& block) {
    const bool writes = block.onMemory && block.edit && !block.temporary;
    if (writes) {
      if (!block.placed) bytesPlaced += block.size;
      block.placed = true;
      const bool fails = failingWrite > 0 && --failingWrite == 0;
      if (fails) return false;  // nothing was moved: the place holds what it held
      block.file = block.memory;
      ++written;
      bytesMoved += block.size;
    }
    block.edit = false;
    if (block.protect) return false;
    if (block.onMemory) {
      dropped += !writes;
      Leave(block);
    }
    return true;
  }

  void Enter(Block& block) {
    if (const auto found = classes_.find(block.size); found != classes_.end()) {
      auto& list = found->second;
      auto chunk = list.begin();
      while (chunk != list.end() && chunk->freeSlots.empty()) ++chunk;
      if (chunk == list.end()) {
        const std::size_t units = 0x100000 / block.size;
        chunk = list.insert(chunk, {nextChunk_++, units, {}});
        ++chunks;
        for (std::size_t i = 0; i < units; ++i) chunk->freeSlots.push_back(static_cast<int>(i));
      }
      block.chunk = chunk->id;
      block.slot = chunk->freeSlots.back();
      chunk->freeSlots.pop_back();
    }
    order_.push_back(&block);
    peak = std::max(peak, ++onMemory);
    block.onMemory = true;
    block.edit = block.locked = false;
    block.memory.reset();
    margin -= block.size;
  }

  void Leave(Block& block) {
    if (block.chunk >= 0) {
      auto& list = classes_[block.size];
      auto chunk = list.begin();
      while (chunk->id != block.chunk) ++chunk;
      chunk->freeSlots.push_back(block.slot);
      if (chunk->freeSlots.size() == chunk->units) {
        list.erase(chunk);
        --chunks;
      }
    }
    order_.remove(&block);
    --onMemory;
    block.onMemory = false;
    block.chunk = -1;
    block.slot = 0;
    margin += block.size;
  }

  std::deque<Block> blocks_;
  std::map<std::uint32_t, std::list<Chunk>> classes_{
      {8192, {}}, {16384, {}}, {65536, {}}, {131072, {}}, {262144, {}}};
  std::list<Block*> order_;  // as they came into memory
  int nextChunk_ = 0;
};
