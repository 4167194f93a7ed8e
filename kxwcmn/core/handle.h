#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/memory.h"
#include "kxwcmn/platform/types.h"

class KXPointer;

/// Owner of a relocatable block of `qmAlloc`: the block with its size, whether it is freed with
/// this object, and the count of locks.
///
/// Failed allocations raise KXException with the platform's code. The copies trust the ranges that
/// they are given. An object belongs to one thread at a time; `Lock` and `Unlock` are const so that
/// const owners can lock their block.
class KX_EXPORT KXHandle {
 public:
  /// Takes `handle`, and frees it at the end of this object's life if `purge` is set.
  KXHandle(QMHANDLE__* handle = nullptr, DWORD size = 0, int purge = 1)
      : handle_(handle), size_(size), purge_(purge) {}
  /// A copy has a block of its own with the same content, as long as the size field says.
  KXHandle(const KXHandle& other);
  virtual ~KXHandle();
  KXHandle& operator=(const KXHandle& other);

  /// Gives up what is held, as `Cleanup` does, and takes `handle`. The block that is held already
  /// stays, with the new size and flag.
  virtual void Attach(QMHANDLE__* handle, DWORD size = 0, int purge = 1);
  /// Hands the block out unlocked; it is the caller's from then on.
  virtual QMHANDLE__* Detach();

  /// Gives up what is held, and allocates `size` bytes with the flags of `qmAlloc`.
  virtual void Alloc(DWORD size, DWORD flags = 0, int purge = 1);
  /// Resizes the block and ends its locks; without a block this is `Alloc`. After a failure the old
  /// block is still held.
  virtual void ReAlloc(DWORD size, DWORD flags = 0);

  /// Copies `size` bytes from `sourceOffset` of the source to `destOffset` of this block. A size of
  /// 0 is the source's size. A missing block on either side raises 0x20010008.
  virtual void Copy(const KXHandle& source, DWORD size = 0, DWORD destOffset = 0,
                    DWORD sourceOffset = 0);
  virtual void Copy(const KXPointer& source, DWORD size = 0, DWORD destOffset = 0,
                    DWORD sourceOffset = 0);
  /// Takes the source over: it is freed after the copy.
  virtual void Copy(QMHANDLE__* const source, DWORD size = 0, DWORD destOffset = 0,
                    DWORD sourceOffset = 0);
  /// A size of 0 copies nothing.
  virtual void Copy(const void* source, DWORD size, DWORD destOffset = 0, DWORD sourceOffset = 0);
  /// Moves bytes within the block; the ranges may overlap.
  virtual void BlockMove(DWORD size, DWORD destOffset, DWORD sourceOffset);

  /// Frees the block if this object owns it, unlocks it otherwise, and leaves this object empty.
  void Free() { Cleanup(); }
  void Cleanup();
  /// Sets the empty state and forgets the block.
  void Initialize();

  /// The block's address. Locks nest; only the end of the last one reaches the platform. Without a
  /// block both raise 0x20010008.
  void* Lock() const;
  void Unlock() const;
  /// Always 0.
  int CheckLocked() const { return 0; }

  int IsValid() const { return handle_ != nullptr; }
  DWORD GetMemSize() const { return size_; }
  int GetPurgeFlag() const { return purge_; }
  void SetPurgeFlag(int purge) { purge_ = purge; }

  /// The stored block, without a lock: its value is its address.
  operator void*() const { return handle_; }
  operator unsigned char*() const { return reinterpret_cast<unsigned char*>(handle_); }

 protected:
  QMHANDLE__* handle_ = nullptr;
  DWORD size_ = 0;
  int purge_ = 1;
  mutable LONG lockCount_ = 0;
  /// Set by a class that keeps its block locked from outside: where the block would be unlocked, it
  /// is locked instead.
  mutable int relock_ = 0;

 private:
  void LeaveLock() const;
};

/// The same for a plain pointer of `qmAllocPtr`, which needs no locks.
class KX_EXPORT KXPointer {
 public:
  KXPointer() = default;
  KXPointer(void* block, DWORD size = 0, int purge = 1)
      : block_(block), size_(size), purge_(purge) {}
  KXPointer(const KXPointer& other);
  virtual ~KXPointer();
  KXPointer& operator=(const KXPointer& other);

  /// A size of 0 stands for the size that the platform knows of the block.
  virtual void Attach(void* block, DWORD size = 0, int purge = 1);
  virtual void* Detach();

  virtual void Alloc(DWORD size, DWORD flags = 0, int purge = 1);
  virtual void ReAlloc(DWORD size, DWORD flags = 0);

  /// Holds a lock on the source meanwhile.
  virtual void Copy(const KXHandle& source, DWORD size = 0, DWORD destOffset = 0,
                    DWORD sourceOffset = 0);
  virtual void Copy(const KXPointer& source, DWORD size = 0, DWORD destOffset = 0,
                    DWORD sourceOffset = 0);
  /// Takes the source over: it is freed after the copy.
  virtual void Copy(QMHANDLE__* const source, DWORD size = 0, DWORD destOffset = 0,
                    DWORD sourceOffset = 0);
  virtual void Copy(const void* source, DWORD size, DWORD destOffset = 0, DWORD sourceOffset = 0);
  virtual void BlockMove(DWORD size, DWORD destOffset, DWORD sourceOffset);

  void Free() { Cleanup(); }
  void Cleanup();
  void Initialize();

  int CheckLocked() const { return 0; }

  int IsValid() const { return block_ != nullptr; }
  DWORD GetMemSize() const { return size_; }
  int GetPurgeFlag() const { return purge_; }
  void SetPurgeFlag(int purge) { purge_ = purge; }

  operator void*() const { return block_; }
  operator unsigned char*() const { return static_cast<unsigned char*>(block_); }

 protected:
  void* block_ = nullptr;
  DWORD size_ = 0;
  int purge_ = 1;
};

/// A handle with the pointer of its lock. Both are set by assignment and given back by `Cleanup`
/// alone: constructor and destructor do nothing. An assigned copy names the same block, which only
/// one of the two may clean up.
class KX_EXPORT KXAutoHandle {
 public:
  /// Sets nothing; the argument's type tells what is meant to be held.
  KXAutoHandle(QMHANDLE__* = nullptr) {}
  KXAutoHandle(const KXAutoHandle&) = delete;
  KXAutoHandle& operator=(const KXAutoHandle& other) = default;
  virtual ~KXAutoHandle();

  /// Cleans up, and takes and locks `handle` (null: nothing). Returns the block's address.
  void* operator=(QMHANDLE__* handle);

  /// Unlocks and frees.
  void Cleanup();

  operator void*() const { return pointer_; }
  operator unsigned char*() const { return static_cast<unsigned char*>(pointer_); }

 private:
  QMHANDLE__* handle_ = nullptr;
  void* pointer_ = nullptr;
};

/// Frees a pointer of `qmAllocPtr` at the end of its scope, and keeps another beside it. An
/// assigned copy names the same block and nothing counts: one of the two has to give it up, by
/// being assigned an empty object.
class KX_EXPORT KXAutoPointer {
 public:
  KXAutoPointer(void* block = nullptr, void* other = nullptr) : other_(other), block_(block) {}
  KXAutoPointer(const KXAutoPointer&) = delete;
  KXAutoPointer& operator=(const KXAutoPointer& other) = default;
  virtual ~KXAutoPointer();

  /// Frees the block and takes the new one.
  void* operator=(void* block);

  void Cleanup();

  operator void*() const { return block_; }

 private:
  void* other_;
  void* block_;
};
