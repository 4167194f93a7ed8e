#pragma once

#include "kxwcmn/persist/archive.h"

/// An archive in a block of memory that grows as it is written. It has no cache: a read beyond the
/// written bytes is short and raises nothing.
class KX_EXPORT KXArchiveMem : public KXArchive {
 public:
  /// Loads, big-endian.
  KXArchiveMem();
  /// `mode` as for `Init`; `size` has no effect.
  KXArchiveMem(UINT mode, UINT size);
  ~KXArchiveMem() override;

  /// Takes the mode word as it stands, and reads and writes from the block's start on. The logical
  /// position stays: who seeks, or skips the rest of sections, calls `Seek(0, 0)` too.
  void SetMode(int mode);

  /// The block's address, stable until the next write or `Attach`. Without a block these raise
  /// 0x20010008.
  void* Lock();
  void Unlock();
  /// Hands the block to the caller, who frees it. The length becomes 0, the position in memory
  /// stays. Only the first `GetLength` bytes, to be asked for before, were written.
  QMHANDLE__* Dettach();
  /// Takes `handle`, with `size` bytes to read, in the state of construction. Raises 0x20010008 if
  /// the block is smaller or held here already; nothing is changed then.
  void Attach(QMHANDLE__* handle, UINT size);
  /// Frees the block and returns to the state of construction.
  void MemFree();
  int IsValid() const { return memory_.IsValid(); }

  UINT WriteSelf(const void* data, UINT size) override;
  UINT ReadSelf(void* data, UINT size) override;
  UINT SeekSelf(int offset, UINT origin) override;

 protected:
  void Initialize();

 private:
  void Cleanup();
  /// Makes room for `size` bytes at the position. Raises 8 if there is none.
  void Expand(UINT size);
  void Grow(u64 capacity);

  KXHandle memory_;
  UINT memoryPosition_ = 0;
  UINT dataLength_ = 0;  // end of what was written
  UINT capacity_ = 0;
};
