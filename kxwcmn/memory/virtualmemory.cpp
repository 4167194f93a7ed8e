// How room is made. KXVMCache::Request alone decides which blocks go: first in, first out, those
// that cost no writing before all others, a chunk only as a whole. Left alone it would end badly
// where a disk or the host has nothing more to give, so the manager does more around it:
//
// - What lies beyond the budget goes first (EndOverrun). A lock takes its block in although nothing
//   can go, and the margin, which wraps then, reads as room without end: after one moment of full
//   disk nothing would ever be evicted again.
// - Request ends at the first block that cannot be written. Those behind it that need no writing go
//   after all (RequestClean): a full disk is no reason to fail while memory can be had for nothing.
//   Only changed blocks of one colour, which would need no disk, stay behind one that does.
// - Where the host has no memory, blocks make some and the operation is tried again (WithMemory).
// - Nothing is evicted for a block that is larger than the budget, for it never fits.
// - A read that is short, or that gives other bytes than were written, fails (KXSwap::Read): wrong
//   pixels would be painted on and stored.
// - The sweep of old swap files spares those that another process has open (RemoveUnused): only
//   what nobody uses is rubbish.
//
// One locked block keeps its whole chunk of 1 MiB all the same, for only an empty chunk gives
// memory back: an operation that locks n images at once wants a budget of more than n MiB. Allocate
// raises 8 where nothing but such chunks is left.

#include "kxwcmn/memory/virtualmemory.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/findfile.h"
#include "kxwcmn/memory/memory_internal.h"
#include "kxwcmn/memory/swap.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/system.h"

namespace {

/// The swap file goes through the host's file cache, which gives its memory back under pressure:
/// 1 GiB through a pool of 128 MiB took 0.54 s that way and 2.4 s unbuffered.
constexpr int kSwapFileBuffered = 1;

/// There is no class of 32768 bytes: that is kept.
constexpr DWORD kUnitSizes[] = {8192, 16384, 65536, 131072, 262144};

// What the process may hold beyond the budget for free pieces of the pool, and what it keeps of
// them when that is passed, so that the next change of sizes does not go to the host at once.
constexpr u64 kMostIdleBeyond = u64{16} << 20;
constexpr u64 kIdleKept = kMostIdleBeyond / 2;

/// Whether `name` contains the prefix of swap files, in any case.
bool IsSwapFileName(const char* name) {
  const auto equal = [](char a, char b) {
    return std::toupper(static_cast<unsigned char>(a)) == b;
  };
  const char* end = name + std::strlen(name);
  return std::search(name, end, kxw::kSwapPrefix, kxw::kSwapPrefix + 3, equal) != end;
}

/// Chunks are listed in the order of their serials.
template <class Iterator>
Iterator FindChunk(Iterator begin, Iterator end, const KXVMChunk* chunk) {
  return std::lower_bound(begin, end, chunk, [](const KXVMChunk* a, const KXVMChunk* b) {
    return a->GetSerial() < b->GetSerial();
  });
}

void AddToCache(KXVMCache& cache, KXSwapBlock* block, const KXVMHandle& handle) {
  cache.Add(block, handle);
  if (!block->IsOnMemory()) kxThrowError(kxw::kErrorNotEnoughMemory);
}

}  // namespace

KXVirtualMemory::KXVirtualMemory() : swap_(new KXSwap) { cache_.SetOwnerVM(this); }

KXVirtualMemory::~KXVirtualMemory() {
  cache_.Destroy();
  delete swap_;
  for (SizeClass& sizeClass : sizeClasses_) {
    for (KXVMChunk* chunk : sizeClass.chunks) delete chunk;
  }
}

void KXVirtualMemory::Create(unsigned int size, const KXFilePath* folder) {
  if (created_) kxThrowError(kxw::kFailureBadArgument);
  KXFilePath swapFile;
  if (folder) {
    // The process may change its current folder while the file is open. Where that has no name in
    // the code page, the path stays as it is.
    std::string absolute;
    const bool isKnown = kxw::AbsolutePath(*folder, &absolute) == 0;
    swapFile = isKnown ? KXFilePath(absolute.c_str()) : *folder;
    swapFile += "dummy.tmp";
  }
  if (!swapFile.MakeTempPath(kxw::kSwapPrefix, folder ? 1 : 0))
    kxThrowError(kxw::kFailureNoSwapName);
  try {
    SweepSwapFiles(swapFile);
    if (!swap_->Create(&size, swapFile, kSwapFileBuffered)) {
      kxThrowError(kxw::kFailureNoSwapSpace);
    }
  } catch (...) {
    swapFile.Delete(0);
    throw;
  }
  minimumUnitSize_ = kxw::PageSize();
  physicalMemorySize_ = size;
  cache_.Create(size);
  created_ = true;
}

KXSwapBlock* KXVirtualMemory::Allocate(unsigned int size) {
  KXSwapBlock* block = nullptr;
  const auto make = [&] { block = swap_->Allocate(size); };
  // What is larger than the budget never fits, so nothing leaves memory for it.
  const bool fits = size <= physicalMemorySize_;
  fits ? WithMemory(size, make) : make();
  if (!block) kxThrowError(kxw::kFailureNoSwapSpace);
  // From here on a failure leaves the block in the swap's list, where it ends with the manager.
  const auto rounded = static_cast<unsigned int>(block->GetSize());
  if (!fits || !MakeRoom(rounded)) kxThrowError(kxw::kErrorNotEnoughMemory);
  KXVMHandle handle;
  try {
    WithMemory(rounded, [&] { AllocHandle(rounded, handle); });
    WithMemory(rounded, [&] { AddToCache(cache_, block, handle); });
  } catch (...) {
    if (handle.IsEnable()) FreeHandle(handle, rounded);
    throw;
  }
  return block;
}

void KXVirtualMemory::Free(KXSwapBlock* block) {
  if (!block) return;
  if (!KXSwap::IsListed(block)) kxThrowError(kxw::kFailureBadArgument);
  cache_.Remove(block);
  swap_->Deallocate(block);
}

/// Makes room for `size` bytes of blocks in the budget, as far as that goes. What an earlier lock
/// brought in beyond the budget goes first: the disk that was full then may take it now.
bool KXVirtualMemory::MakeRoom(unsigned int size) {
  cache_.EndOverrun(swap_);
  const bool made = cache_.Request(swap_, size) || cache_.RequestClean(swap_, size);
  GiveIdleBack(size);
  return made;
}

/// Does what fails where the host has no memory, and does it again for as long as blocks, `size`
/// bytes at a time, can make some.
template <class Operation>
void KXVirtualMemory::WithMemory(unsigned int size, Operation operation) {
  while (true) {
    try {
      return operation();
    } catch (const KXException& e) {
      // A chunk takes more than its first block.
      if (e.GetErrorCode() != kxw::kErrorNotEnoughMemory ||
          !cache_.GiveWay(swap_, std::max<unsigned int>(size, KXVMChunk::kBytes))) {
        throw;
      }
      kxw::TrimIdleMemory(0);
    }
  }
}

/// Sees to it that the process does not hold too much beyond the budget when another `size` bytes
/// come.
void KXVirtualMemory::GiveIdleBack(unsigned int size) {
  const u64 used = u64{GetUsedPhysicalMemorySize()} + size;
  const u64 most = std::max<u64>(physicalMemorySize_, used) + kMostIdleBeyond - used;
  if (kxw::IdleMemory() + idleInChunks_ <= most) return;
  const u64 kept = most - kIdleKept;
  kxw::TrimIdleMemory(kept - std::min(kept, idleInChunks_));
  for (SizeClass& sizeClass : sizeClasses_) {
    for (KXVMChunk* chunk : sizeClass.open) {
      if (kxw::IdleMemory() + idleInChunks_ <= kept) return;
      idleInChunks_ -= chunk->GetIdleBytes();
      chunk->GiveIdleBack();
    }
  }
}

/// Lock for a block that is not on memory.
void* KXVirtualMemory::BringIn(KXSwapBlock* block, int edit, int* loaded) {
  if (!block) return nullptr;
  if (!KXSwap::IsListed(block)) {
    qmSetLastError(kxw::kFailureBadArgument);
    return nullptr;
  }
  block->damaged_ = false;  // until the file tells so again
  const auto size = static_cast<unsigned int>(block->GetSize());
  // A lock has to get its block in, also where nothing can be evicted: the pool overruns then.
  MakeRoom(size);

  KXVMHandle handle;
  try {
    WithMemory(size, [&] { AllocHandle(size, handle); });
    const bool load = !block->IsTemporary() && block->IsSwapped();
    if (load) {
      const int read = swap_->Read(handle.Lock(), block);
      handle.Unlock();
      if (!read) kxThrowError(qmGetLastError());
    }
    WithMemory(size, [&] { AddToCache(cache_, block, handle); });
    if (load && loaded) *loaded = 1;
  } catch (const KXException& e) {
    if (handle.IsEnable()) FreeHandle(handle, size);
    qmSetLastError(e.GetErrorCode());
    return nullptr;
  }
  if (edit) block->SetEditFlag(1);
  handle.Lock();  // one lock more than Unlock undoes: that is kept
  return block->Lock();
}

int KXVirtualMemory::Purge(KXSwapBlock* block) { return cache_.Purge(swap_, block); }

int KXVirtualMemory::AllocHandle(unsigned int size, KXVMHandle& handle) {
  const int index = FindSizeClass(size);
  if (index < 0) {
    int error = 0;
    QMHANDLE__* memory = qmAlloc(size, kxw::kAllocUninitialized, &error);
    if (!memory) kxThrowError(error);
    ++kxw::liveAllocations;
    handle = {nullptr, 0, memory, size};
    return 1;
  }
  std::vector<KXVMChunk*>& open = sizeClasses_[index].open;
  if (open.empty()) MakeChunk(index);
  KXVMChunk* chunk = open.back();
  const DWORD idle = chunk->GetIdleBytes();
  handle = {chunk, chunk->TakeUnit(), nullptr, size};
  idleInChunks_ -= idle - chunk->GetIdleBytes();
  if (chunk->GetFreeCount() == 0) open.pop_back();
  return 1;
}

void KXVirtualMemory::FreeHandle(KXVMHandle& handle, unsigned int size) {
  KXVMChunk* chunk = handle.GetChunk();
  const bool wasFull = chunk && chunk->GetFreeCount() == 0;
  const DWORD idle = chunk ? chunk->GetIdleBytes() : 0;
  handle.Release();
  if (!chunk) return;
  idleInChunks_ += chunk->GetIdleBytes() - idle;
  const int index = FindSizeClass(chunk->GetUnitSize());
  std::vector<KXVMChunk*>& open = sizeClasses_[index].open;
  if (wasFull) open.insert(FindChunk(open.rbegin(), open.rend(), chunk).base(), chunk);
  if (chunk->IsEmpty() && FindSizeClass(size) == index) DestroyChunk(sizeClasses_[index], chunk);
}

int KXVirtualMemory::FindSizeClass(unsigned int size) {
  const auto* found = std::find(std::begin(kUnitSizes), std::end(kUnitSizes), size);
  return found == std::end(kUnitSizes) ? -1 : static_cast<int>(found - kUnitSizes);
}

/// Appends a chunk to a class none of whose chunks has room.
void KXVirtualMemory::MakeChunk(int index) {
  SizeClass& sizeClass = sizeClasses_[index];
  int error = 0;
  QMHANDLE__* memory = qmAlloc(KXVMChunk::kBytes, kxw::kAllocUninitialized, &error);
  if (!memory) kxThrowError(error);
  ++kxw::liveAllocations;
  std::unique_ptr<KXVMChunk> chunk(new (std::nothrow)
                                       KXVMChunk(memory, kUnitSizes[index], chunksMade_));
  if (!chunk) {
    qmFree(memory);
    --kxw::liveAllocations;
    kxThrowError(kxw::kErrorNotEnoughMemory);
  }
  try {
    // Room for every chunk of the class, so that giving a unit back never fails.
    sizeClass.open.reserve(static_cast<std::size_t>(sizeClass.chunks.GetCount()) + 1);
  } catch (const std::bad_alloc&) {
    kxThrowError(kxw::kErrorNotEnoughMemory);
  }
  sizeClass.chunks.Add(chunk.get());
  sizeClass.open.push_back(chunk.release());
  ++chunksMade_;
  idleInChunks_ += KXVMChunk::kBytes;
}

void KXVirtualMemory::DestroyChunk(SizeClass& sizeClass, KXVMChunk* chunk) {
  std::vector<KXVMChunk*>& open = sizeClass.open;
  const auto opened = FindChunk(open.rbegin(), open.rend(), chunk);
  if (opened != open.rend() && *opened == chunk) open.erase(std::next(opened).base());
  KXTArray<KXVMChunk*>& chunks = sizeClass.chunks;
  chunks.RemoveAt(
      static_cast<int>(FindChunk(chunks.begin(), chunks.end(), chunk) - chunks.begin()));
  idleInChunks_ -= chunk->GetIdleBytes();
  delete chunk;
}

/// Deletes what an earlier run left beside `swapFile`; the files of managers at work stay.
void KXVirtualMemory::SweepSwapFiles(const KXFilePath& swapFile) {
  KXFilePath folder, path;
  swapFile.GetFolderPath(folder);
  KXFindFile find;
  for (int found = find.First(folder); found; found = find.Next()) {
    if (find.IsFolder() || find.IsParentFolder() || !IsSwapFileName(find.GetName())) continue;
    find.GetFilePath(path);
    if (path != swapFile) kxw::RemoveUnused(path);
  }
}

void KXVirtualMemory::CloseSwapFile() { swap_->CloseFile(); }

u64 KXVirtualMemory::GetSwapFileSize() const { return swap_->GetSwapSize(); }

u64 KXVirtualMemory::GetUsedDiskSize() const { return swap_->GetUsedTotalSize(); }

unsigned int KXVirtualMemory::GetUsedBlockCount() const { return swap_->GetUsedBlockCount(); }

KXVMStatistics KXVirtualMemory::GetStatistics() const {
  const KXSwap::Traffic& traffic = swap_->GetTraffic();
  int chunks = 0;
  for (const SizeClass& sizeClass : sizeClasses_) chunks += sizeClass.chunks.GetCount();
  return {.blocksDropped = traffic.blocksDropped,
          .blocksFlat = traffic.blocksFlat,
          .blocksWritten = traffic.blocksWritten,
          .blocksRead = traffic.blocksRead,
          .bytesWritten = traffic.bytesWritten,
          .bytesRead = traffic.bytesRead,
          .chunks = chunks,
          .blocksOnMemory = cache_.GetBlockCount(),
          .peakBlocksOnMemory = cache_.GetPeakBlockCount()};
}
