#include "kxwcmn/memory/virtualmemory.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <new>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/findfile.h"
#include "kxwcmn/memory/memory_internal.h"
#include "kxwcmn/memory/swap.h"
#include "kxwcmn/platform/system.h"

namespace {

/// The swap file goes through the host's file cache, which gives its memory back under pressure:
/// 1 GiB through a pool of 128 MiB took 0.54 s that way and 2.4 s unbuffered.
constexpr int kSwapFileBuffered = 1;

/// There is no class of 32768 bytes: that is kept.
constexpr DWORD kUnitSizes[] = {8192, 16384, 65536, 131072, 262144};

constexpr char kSwapPrefix[] = "SWP";

/// Whether `name` contains the prefix of swap files, in any case.
bool IsSwapFileName(const char* name) {
  const auto equal = [](char a, char b) {
    return std::toupper(static_cast<unsigned char>(a)) == b;
  };
  const char* end = name + std::strlen(name);
  return std::search(name, end, kSwapPrefix, kSwapPrefix + 3, equal) != end;
}

/// Chunks are listed in the order of their serials.
template <class Iterator>
Iterator FindChunk(Iterator begin, Iterator end, const KXVMChunk* chunk) {
  return std::lower_bound(begin, end, chunk, [](const KXVMChunk* a, const KXVMChunk* b) {
    return a->GetSerial() < b->GetSerial();
  });
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
    swapFile = *folder;
    swapFile += "dummy.tmp";
  }
  if (!swapFile.MakeTempPath(kSwapPrefix, folder ? 1 : 0)) kxThrowError(kxw::kFailureNoSwapName);
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
  KXSwapBlock* block = swap_->Allocate(size);
  if (!block) kxThrowError(kxw::kFailureNoSwapSpace);
  // From here on a failure leaves the block in the swap's list, where it ends with the manager.
  const auto rounded = static_cast<unsigned int>(block->GetSize());
  if (!cache_.Request(swap_, rounded)) kxThrowError(kxw::kErrorNotEnoughMemory);
  KXVMHandle handle;
  if (!AllocHandle(rounded, handle)) kxThrowError(kxw::kErrorNotEnoughMemory);
  cache_.Add(block, handle);
  if (!block->IsOnMemory()) {
    FreeHandle(handle, rounded);
    kxThrowError(kxw::kErrorNotEnoughMemory);
  }
  return block;
}

void KXVirtualMemory::Free(KXSwapBlock* block) {
  if (!block) return;
  if (!KXSwap::IsListed(block)) kxThrowError(kxw::kFailureBadArgument);
  cache_.Remove(block);
  swap_->Deallocate(block);
}

/// Lock for a block that is not on memory.
void* KXVirtualMemory::BringIn(KXSwapBlock* block, int edit, int* loaded) {
  if (!block) return nullptr;
  const auto size = static_cast<unsigned int>(block->GetSize());
  // A lock has to get its block in, also where nothing can be evicted: the pool overruns then.
  cache_.Request(swap_, size);

  KXVMHandle handle;
  try {
    AllocHandle(size, handle);
    const bool load = !block->IsTemporary() && block->IsSwapped();
    if (load) {
      const int read = swap_->Read(handle.Lock(), block);
      handle.Unlock();
      if (!read) kxThrowError(kxw::kErrorReadFault);
    }
    cache_.Add(block, handle);
    if (!block->IsOnMemory()) kxThrowError(kxw::kErrorNotEnoughMemory);
    if (load && loaded) *loaded = 1;
  } catch (...) {
    if (handle.IsEnable()) FreeHandle(handle, size);
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
  handle = {chunk, chunk->TakeUnit(), nullptr, size};
  if (chunk->GetFreeCount() == 0) open.pop_back();
  return 1;
}

void KXVirtualMemory::FreeHandle(KXVMHandle& handle, unsigned int size) {
  KXVMChunk* chunk = handle.GetChunk();
  const bool wasFull = chunk && chunk->GetFreeCount() == 0;
  handle.Release();
  if (!chunk) return;
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
}

void KXVirtualMemory::DestroyChunk(SizeClass& sizeClass, KXVMChunk* chunk) {
  std::vector<KXVMChunk*>& open = sizeClass.open;
  const auto opened = FindChunk(open.rbegin(), open.rend(), chunk);
  if (opened != open.rend() && *opened == chunk) open.erase(std::next(opened).base());
  KXTArray<KXVMChunk*>& chunks = sizeClass.chunks;
  chunks.RemoveAt(
      static_cast<int>(FindChunk(chunks.begin(), chunks.end(), chunk) - chunks.begin()));
  delete chunk;
}

/// Deletes what an earlier run left beside `swapFile`.
void KXVirtualMemory::SweepSwapFiles(const KXFilePath& swapFile) {
  KXFilePath folder, path;
  swapFile.GetFolderPath(folder);
  KXFindFile find;
  for (int found = find.First(folder); found; found = find.Next()) {
    if (find.IsFolder() || find.IsParentFolder() || !IsSwapFileName(find.GetName())) continue;
    find.GetFilePath(path);
    if (path != swapFile) path.Delete(0);
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
          .blocksWritten = traffic.blocksWritten,
          .blocksRead = traffic.blocksRead,
          .bytesWritten = traffic.bytesWritten,
          .bytesRead = traffic.bytesRead,
          .chunks = chunks,
          .blocksOnMemory = cache_.GetBlockCount(),
          .peakBlocksOnMemory = cache_.GetPeakBlockCount()};
}
