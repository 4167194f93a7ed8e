#include "kxwcmn/memory/swap.h"

#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/memory/checksum_internal.h"
#include "kxwcmn/memory/memory_internal.h"
#include "kxwcmn/memory/vmcache.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/file.h"
#include "kxwcmn/platform/system.h"

namespace {

constexpr UINT kSwapType = 0x53574150;  // "SWAP"
constexpr u64 kMostBytes = 0x7FFFFFFF;

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
    file_ = MakeFile(path, first);
    maker_ = kxw::ProcessId();

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

/// A file of `size` bytes. Raises if there can be none, and leaves nothing.
std::unique_ptr<KXFile> KXSwap::MakeFile(const KXFilePath& path, u64 size) const {
  auto file = std::make_unique<KXFile>();
  file->Create(path, 0, kSwapType, static_cast<int>(kxw::kFileRead | kxw::kFileWrite),
               kxw::kShareNone, kxw::kCreateAlways, static_cast<int>(flags_));
  file->Seek(static_cast<i64>(size), kxw::kFromBegin);
  file->SetEOF();
  return file;
}

/// Gives a forked child its file. Raises if there is none, or can be none.
void KXSwap::MakeSureOfFile() {
  if (!file_) kxThrowError(kxw::kErrorInvalidHandle);
  if (maker_ == kxw::ProcessId()) return;
  KXFilePath path = file_->GetPath();
  if (!path.MakeTempPath(kxw::kSwapPrefix, 1)) kxThrowError(kxw::kFailureNoSwapName);
  try {
    inherited_.reserve(inherited_.size() + 1);
    std::unique_ptr<KXFile> own = MakeFile(path, swapSize_);
    inherited_.push_back(std::exchange(file_, std::move(own)));
    maker_ = kxw::ProcessId();
  } catch (...) {
    path.Delete(0);
    throw;
  }
}

void KXSwap::Destroy() {
  garbage_.reset();
  for (const KXSwapListItem* item = list_.GetFirst(); item; item = item->next) delete item->block;
  list_.Clear();
  CloseFile();
}

void KXSwap::CloseFile() {
  try {
    if (file_ && maker_ == kxw::ProcessId()) {
      // Cut first: some file systems write to the disk what a file holds when it is closed,
      // although it is deleted then.
      file_->Seek(0, kxw::kFromBegin);
      file_->SetEOF();
    }
  } catch (...) {
    // Nothing in the file is of use any more.
  }
  file_.reset();
  inherited_.clear();
}

KXSwapBlock* KXSwap::Allocate(unsigned int size) {
  if (!garbage_) return nullptr;
  const u64 rounded = RoundUp(size, sectorSize_);
  if (rounded > std::numeric_limits<DWORD>::max()) kxThrowError(kxw::kErrorNotEnoughMemory);
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

int KXSwap::Write(void* const data, KXSwapBlock* block) {
  if (!garbage_ || !block) return 0;
  const auto size = static_cast<DWORD>(block->GetSize());
  if (size == 0) return 1;
  try {
    MakeSureOfFile();
    if (!block->IsSwapped() && !TakePlace(block)) return 0;
    file_->Seek(static_cast<i64>(block->GetBeginPos()), kxw::kFromBegin);
    file_->Write(data, size, nullptr);
  } catch (...) {
    return 0;
  }
  block->checksum_ = kxw::BlockChecksum(data, size);  // behind the write, which left them at hand
  block->file_ = static_cast<unsigned int>(inherited_.size());
  block->written_ = true;
  ++traffic_.blocksWritten;
  traffic_.bytesWritten += size;
  return 1;
}

/// Gives `block` a place. False if the disk is full.
bool KXSwap::TakePlace(KXSwapBlock* block) {
  const u64 size = block->GetSize();
  u64 position = 0;
  if (!garbage_->Request(&position, size)) {
    const u64 unit = enlargeUnit_ ? enlargeUnit_ : sectorSize_;
    const u64 growth = (size + unit - 1) / unit * unit;
    if (growth > std::numeric_limits<unsigned int>::max()) return false;
    if (!Enlarge(static_cast<unsigned int>(growth))) return false;
    garbage_->Enlarge(static_cast<unsigned int>(growth), swapSize_);
    swapSize_ += growth;
    if (!garbage_->Request(&position, size)) return false;
  }
  block->SetBeginPos(position);
  block->SetEndPos(position + size);
  usedTotalSize_ += size;
  return true;
}

int KXSwap::Read(void* data, KXSwapBlock* block) {
  if (!block || !block->IsSwapped()) return 0;
  block->damaged_ = false;
  const auto size = static_cast<DWORD>(block->GetSize());
  DWORD done = 0;
  try {
    KXFile* file = block->file_ < inherited_.size() ? inherited_[block->file_].get() : file_.get();
    if (!file) kxThrowError(kxw::kErrorInvalidHandle);
    file->Seek(static_cast<i64>(block->GetBeginPos()), kxw::kFromBegin);
    file->Read(data, size, &done);
  } catch (const KXException& e) {
    qmSetLastError(e.GetErrorCode());
    return 0;
  }
  // Half a block is no block: what is missing would be painted over with chance.
  if (done != size) {
    qmSetLastError(kxw::kErrorReadFault);
    return 0;
  }
  if (!block->written_ || kxw::BlockChecksum(data, size) != block->checksum_) {
    block->damaged_ = true;
    qmSetLastError(kxw::kErrorDataCheck);
    return 0;
  }
  ++traffic_.blocksRead;
  traffic_.bytesRead += size;
  return 1;
}

int KXSwap::Enlarge(unsigned int size) {
  try {
    CheckFreeSpace(file_->GetPath(), size);
    file_->Seek(size, kxw::kFromEnd);
    file_->SetEOF();
    return 1;
  } catch (...) {
    return 0;
  }
}
