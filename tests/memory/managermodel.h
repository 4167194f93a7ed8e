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
/// none means undefined. Blocks are never removed from `blocks`.
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
    bool onMemory = false, placed = false, freed = false;
    int chunk = -1, slot = 0;  // -1: an allocation of its own
    std::optional<std::uint32_t> memory, file;
  };

  explicit ManagerModel(std::uint32_t bytes) : budget(bytes), margin(bytes) {}

  std::uint32_t budget, margin;
  std::deque<Block> blocks;
  std::map<std::uint32_t, std::list<Chunk>> classes{
      {8192, {}}, {16384, {}}, {65536, {}}, {131072, {}}, {262144, {}}};
  int failingWrite = 0;  // the write of this number, counted down to 0, fails

  Block* Allocate(std::uint32_t size) {
    Block& block = blocks.emplace_back();
    block.size = size;
    if (!Request(size)) {
      block.freed = true;
      return nullptr;
    }
    Enter(block);
    return &block;
  }

  /// Returns whether the contents came from the file.
  bool Lock(Block& block, bool edit) {
    bool loaded = false;
    if (!block.onMemory) {
      Request(block.size);
      Enter(block);
      loaded = !block.temporary && block.placed;
      if (loaded) block.memory = block.file;
    }
    block.edit |= edit;
    block.locked = true;
    return loaded;
  }

  void Unlock(Block& block) {
    if (block.onMemory) block.locked = false;
  }

  bool Purge(Block& block) { return !block.locked && Evict(block); }

  void Free(Block& block) {
    if (block.onMemory) Leave(block);
    block.freed = true;
  }

  std::size_t CountChunks() const {
    std::size_t count = 0;
    for (const auto& [size, chunks] : classes) count += chunks.size();
    return count;
  }
  std::size_t CountOnMemory() const { return order_.size(); }

 private:
  bool Request(std::uint32_t size) {
    if (margin >= size) return true;
    for (int pass = 0; pass < 2; ++pass) {
      const std::vector<Block*> walk(order_.begin(), order_.end());
      for (Block* block : walk) {
        if (!block->onMemory) continue;  // went with its chunk
        bool skip = false;
        std::vector<Block*> unit;
        for (Block* owner : order_) {
          if (owner != block && (block->chunk < 0 || owner->chunk != block->chunk)) continue;
          skip |= owner->locked || owner->protect || (pass == 0 && !owner->temporary);
          if (owner->slot <= block->slot) unit.push_back(owner);
        }
        if (skip) continue;
        std::sort(unit.begin(), unit.end(), [](Block* a, Block* b) { return a->slot < b->slot; });
        for (Block* owner : unit) {
          if (!Evict(*owner)) return false;
        }
        if (margin >= size) return true;
      }
    }
    return false;
  }

  bool Evict(Block& block) {
    if (block.onMemory && block.edit && !block.temporary) {
      block.placed = true;
      const bool fails = failingWrite > 0 && --failingWrite == 0;
      block.file = fails ? std::nullopt : block.memory;
      if (fails) return false;
    }
    block.edit = false;
    if (block.protect) return false;
    if (block.onMemory) Leave(block);
    return true;
  }

  void Enter(Block& block) {
    if (const auto found = classes.find(block.size); found != classes.end()) {
      auto& chunks = found->second;
      auto chunk = chunks.begin();
      while (chunk != chunks.end() && chunk->freeSlots.empty()) ++chunk;
      if (chunk == chunks.end()) {
        const std::size_t units = 0x100000 / block.size;
        chunk = chunks.insert(chunk, {nextChunk_++, units, {}});
        for (std::size_t i = 0; i < units; ++i) chunk->freeSlots.push_back(static_cast<int>(i));
      }
      block.chunk = chunk->id;
      block.slot = chunk->freeSlots.back();
      chunk->freeSlots.pop_back();
    }
    order_.push_back(&block);
    block.onMemory = true;
    block.edit = block.locked = false;
    block.memory.reset();
    margin -= block.size;
  }

  void Leave(Block& block) {
    if (block.chunk >= 0) {
      auto& chunks = classes[block.size];
      auto chunk = chunks.begin();
      while (chunk->id != block.chunk) ++chunk;
      chunk->freeSlots.push_back(block.slot);
      if (chunk->freeSlots.size() == chunk->units) chunks.erase(chunk);
    }
    order_.remove(&block);
    block.onMemory = false;
    block.chunk = -1;
    block.slot = 0;
    margin += block.size;
  }

  std::list<Block*> order_;  // as they came into memory
  int nextChunk_ = 0;
};
