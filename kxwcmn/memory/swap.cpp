#include "kxwcmn/memory/swap.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/memory/checksum_internal.h"
#include "kxwcmn/memory/memory_internal.h"
#include "kxwcmn/memory/packing_internal.h"
#include "kxwcmn/memory/vmcache.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/file.h"
#include "kxwcmn/platform/system.h"

namespace {

constexpr UINT kSwapType = 0x53574150;  // "SWAP"
constexpr u64 kMostBytes = 0x7FFFFFFF;
constexpr u64 kMostBytesOfBlock = std::numeric_limits<DWORD>::max();
// What is packed: twice a block of 64 bits at most, and only if three quarters of it can be saved.
constexpr DWORD kMostToPack = 1 << 20;
constexpr DWORD kSaved = 4;

/// Raises what keeps `size` more bytes from going to the disk of `path`.
void CheckFreeSpace(const KXFilePath& path, u64 size) {
  const u64 free = KXFilePath::GetDiskFreeSpaceA(path);
  if (free == 0) kxThrowError(qmGetLastError());
  if (free < size) kxThrowError(kxw::kErrorDiskFull);
}

u64 RoundUp(u64 size, unsigned int sector) { return (size + sector - 1) / sector * sector; }

/// `size` rounded up to sectors. A size that this brings above 31 bits falls two sectors short of
/// the bound, not one; that is kept.
unsigned int RoundFirstSize(unsigned int size, unsigned int sector) {
  const u64 rounded = RoundUp(size, sector);
  if (rounded <= kMostBytes) return static_cast<unsigned int>(rounded);
  return (size / sector - 1) * sector;
}

/// Whether the first `period` bytes of `data` repeat to its end.
bool RepeatsFront(const BYTE* data, std::size_t size, std::size_t period) {
  return size > period && std::memcmp(data, data + period, size - period) == 0;
}

void Repeat(const BYTE* front, std::size_t period, BYTE* to, std::size_t size) {
  std::memcpy(to, front, period);
  for (std::size_t done = period; done < size; done *= 2) {
    std::memcpy(to + done, to, std::min(done, size - done));
  }
}

}  // namespace

KXSwap::~KXSwap() { Destroy(); }

int KXSwap::Create(unsigned int* size, KXFilePath& path, int buffered) {
  if (!size || garbage_) return 0;
  try {
    sectorSize_ = KXFilePath::GetDiskSectorSize(path);
    if (sectorSize_ == 0) kxThrowError(qmGetLastError());
    const unsigned int first = RoundFirstSize(*size, sectorSize_);
    CheckFreeSpace(path, first);

    flags_ = kxw::kFileTemporary | kxw::kFileDeleteOnClose;
    if (!buffered) flags_ |= kxw::kFileNoBuffering;
    MakeFile(path, first);

    garbage_ = std::make_unique<KXGarbage>();
    garbage_->Create(first);
    swapSize_ = first;
    usedTotalSize_ = 0;
    enlargeUnit_ = first;
    *size = first;
    return 1;
  } catch (...) {
    CloseFile();
    garbage_.reset();
    sectorSize_ = 0;
    return 0;
  }
}

/// Makes the file of this process, `size` bytes long. Raises if there can be none, and leaves
/// nothing.
KXFile& KXSwap::MakeFile(const KXFilePath& path, u64 size) {
  auto file = std::make_unique<KXFile>();
  file->Create(path, 0, kSwapType, static_cast<int>(kxw::kFileRead | kxw::kFileWrite),
               kxw::kShareNone, kxw::kCreateAlways, static_cast<int>(flags_));
  file->Seek(static_cast<i64>(size), kxw::kFromBegin);
  file->SetEOF();
  forksBefore_ = kxw::ForksBegun();
  return *(files_[kxw::ForkGeneration()] = std::move(file));
}

/// The file that a process of this line has made; null without one.
KXFile* KXSwap::FindFile(unsigned generation) {
  const auto found = files_.find(generation);
  return found == files_.end() ? nullptr : found->second.get();
}

/// The file of this process. A forked child that has none gets it. Raises if there can be none.
KXFile& KXSwap::OwnFile() {
  if (files_.empty()) kxThrowError(kxw::kErrorInvalidHandle);
  kxw::NoticeFork();
  if (KXFile* file = FindFile(kxw::ForkGeneration())) return *file;
  KXFilePath path = files_.rbegin()->second->GetPath();
  if (!path.MakeTempPath(kxw::kSwapPrefix, 1)) kxThrowError(kxw::kFailureNoSwapName);
  try {
    return MakeFile(path, swapSize_);
  } catch (...) {
    path.Delete(0);
    throw;
  }
}

void KXSwap::Destroy() {
  garbage_.reset();
  for (const KXSwapListItem* item = list_.GetFirst(); item; item = item->next) delete item->block;
  list_.Clear();
  packing_.Free();
  CloseFile();
}

void KXSwap::CloseFile() {
  try {
    // Cut first: some file systems write to the disk what a file holds when it is closed, although
    // it is deleted then. A child that may still read from it has the last word.
    kxw::NoticeFork();
    KXFile* file = FindFile(kxw::ForkGeneration());
    if (file && forksBefore_ == kxw::ForksBegun()) {
      file->Seek(0, kxw::kFromBegin);
      file->SetEOF();
    }
  } catch (...) {
    // Nothing in the file is of use any more.
  }
  files_.clear();
}

KXSwapBlock* KXSwap::Allocate(unsigned int size) {
  if (!garbage_) return nullptr;
  const u64 rounded = RoundUp(size, sectorSize_);
  if (rounded > kMostBytesOfBlock) kxThrowError(kxw::kErrorNotEnoughMemory);
  std::unique_ptr<KXSwapBlock> block(new (std::nothrow) KXSwapBlock(0, 0, rounded));
  if (!block) kxThrowError(kxw::kErrorNotEnoughMemory);
  block->SetSwapListItem(list_.Append(block.get()));
  return block.release();
}

void KXSwap::Deallocate(KXSwapBlock* block) {
  if (!block) return;
  if (!IsListed(block) || block->GetVMCacheListItem()) kxThrowError(kxw::kFailureBadArgument);
  if (block->IsSwapped()) {
    try {
      garbage_->Add(block->GetBeginPos(), block->GetEndPos(), block->GetSize());
    } catch (...) {
      // No memory for the record of a gap: the place stays unused, the block goes all the same.
    }
    usedTotalSize_ -= block->GetSize();
  }
  list_.Remove(block->GetSwapListItem());
  delete block;
}

/// Whether the size of a block is one that Allocate gives.
bool KXSwap::HasWholeSectors(const KXSwapBlock& block) const {
  return block.GetSize() <= kMostBytesOfBlock && block.GetSize() % sectorSize_ == 0;
}

int KXSwap::Write(void* const data, KXSwapBlock* block) {
  if (!garbage_ || !block || !HasWholeSectors(*block)) return 0;
  const auto size = static_cast<DWORD>(block->GetSize());
  if (size == 0) return 1;
  if (!data) return 0;
  const auto* bytes = static_cast<const BYTE*>(data);
  const bool flat = RepeatsFront(bytes, size, KXSwapBlock::kPeriod);
  DWORD length = size, packed = 0;
  if (!flat && size <= kMostToPack) {
    if (BYTE* room = RoomForPacked()) {
      packed = static_cast<DWORD>(kxw::Pack(bytes, size, room, size / kSaved));
      if (packed > 0) {
        length = PackedLength(packed);
        std::memset(room + packed, 0, length - packed);
        bytes = room;
      }
    }
  }
  try {
    if (files_.empty()) return 0;
    KXFile* file = flat ? nullptr : &OwnFile();
    if (!block->IsSwapped() && !TakePlace(block)) return 0;
    if (file) {
      file->Seek(static_cast<i64>(block->GetBeginPos()), kxw::kFromBegin);
      file->Write(bytes, length, nullptr);
    }
  } catch (...) {
    return 0;
  }
  block->flat_ = flat;
  block->packed_ = packed;
  block->generation_ = kxw::ForkGeneration();
  block->written_ = true;
  if (flat) {
    std::memcpy(block->period_, data, sizeof block->period_);
    ++traffic_.blocksFlat;
    return 1;
  }
  block->checksum_ = kxw::BlockChecksum(bytes, length);  // behind the write: they are at hand
  ++traffic_.blocksWritten;
  traffic_.bytesWritten += length;
  return 1;
}

/// The block that packed forms are made in, null where there is no memory for it. It is aligned for
/// files without buffering.
BYTE* KXSwap::RoomForPacked() {
  if (!packing_.IsValid()) {
    try {
      packing_.Alloc(kMostToPack / kSaved, kxw::kAllocUninitialized, 1);
    } catch (const KXException&) {
      return nullptr;
    }
  }
  return packing_;
}

/// The bytes of a packed form in the file: whole sectors, within the block's place.
DWORD KXSwap::PackedLength(DWORD packed) const {
  return static_cast<DWORD>(RoundUp(packed, sectorSize_));
}

/// Gives `block` a place. False if the disk is full; raises where it cannot be asked, or without
/// memory for a record.
bool KXSwap::TakePlace(KXSwapBlock* block) {
  const u64 size = block->GetSize();
  u64 position = 0;
  if (!garbage_->Request(&position, size)) {
    const u64 unit = enlargeUnit_ ? enlargeUnit_ : sectorSize_;
    const u64 growth = (size + unit - 1) / unit * unit;
    if (growth > std::numeric_limits<unsigned int>::max()) return false;
    if (!Enlarge(static_cast<unsigned int>(growth))) return false;
    if (!garbage_->Request(&position, size)) return false;
  }
  block->SetBeginPos(position);
  block->SetEndPos(position + size);
  usedTotalSize_ += size;
  return true;
}

int KXSwap::Read(void* data, KXSwapBlock* block) {
  if (!garbage_ || !data || !block || !block->IsSwapped() || !HasWholeSectors(*block)) return 0;
  block->damaged_ = false;
  const auto size = static_cast<DWORD>(block->GetSize());
  if (block->flat_ && !files_.empty()) {
    Repeat(block->period_, sizeof block->period_, static_cast<BYTE*>(data), size);
    return 1;
  }
  auto* bytes = static_cast<BYTE*>(data);
  DWORD length = size, done = 0;
  if (block->packed_ > 0) {
    bytes = RoomForPacked();
    length = PackedLength(block->packed_);
    if (!bytes) {
      qmSetLastError(kxw::kErrorNotEnoughMemory);
      return 0;
    }
  }
  try {
    KXFile* file = FindFile(block->generation_);
    if (!file) kxThrowError(kxw::kErrorInvalidHandle);
    file->Seek(static_cast<i64>(block->GetBeginPos()), kxw::kFromBegin);
    file->Read(bytes, length, &done);
  } catch (const KXException& e) {
    qmSetLastError(e.GetErrorCode());
    return 0;
  }
  if (done != length) {
    qmSetLastError(kxw::kErrorReadFault);
    return 0;
  }
  if (!block->written_ || kxw::BlockChecksum(bytes, length) != block->checksum_ ||
      (block->packed_ > 0 && !kxw::Unpack(bytes, block->packed_, static_cast<BYTE*>(data), size))) {
    block->damaged_ = true;
    qmSetLastError(kxw::kErrorDataCheck);
    return 0;
  }
  ++traffic_.blocksRead;
  traffic_.bytesRead += length;
  return 1;
}

/// Lets the file and its last gap grow together, or neither.
int KXSwap::Enlarge(unsigned int size) {
  try {
    KXFile& file = OwnFile();
    CheckFreeSpace(file.GetPath(), size);
    file.Seek(static_cast<i64>(swapSize_ + size), kxw::kFromBegin);
    file.SetEOF();
    try {
      garbage_->Enlarge(size, swapSize_);
    } catch (...) {
      file.Seek(static_cast<i64>(swapSize_), kxw::kFromBegin);
      file.SetEOF();
      throw;
    }
    swapSize_ += size;
    return 1;
  } catch (...) {
    return 0;
  }
}
