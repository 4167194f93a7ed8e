#pragma once

#include "kxwcmn/core/array.h"
#include "kxwcmn/core/handle.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXString;
struct tagQMRGBCOLOR16;
struct tagQMHSVCOLOR16;

/// The mode word of an archive. Without `kArchiveBigEndian` values are little-endian.
namespace kxw {
enum ArchiveMode : UINT {
  kArchiveStore = 0x01,
  kArchiveLoad = 0x02,
  kArchiveLittleEndian = 0x04,
  kArchiveBigEndian = 0x08,
  kArchiveShiftJis = 0x80,  ///< A mark for callers; the library never reads it.
};
}  // namespace kxw

/// The binary stream of all stored forms: what is written stands on the medium field after field,
/// with no header and no padding, in the byte order of the archive's mode.
///
/// The direction is fixed by the mode. Positions count bytes in 32 bits, so a stream has at most
/// 4 GiB; a write that would pass that raises KXException with code 223.
///
/// With a cache, nothing is on the medium for sure until `DoFlush`: no destructor flushes, and
/// pending bytes are lost without it. A cached read beyond the end raises 0x20010008; without a
/// cache it is short, and nothing is raised. What the medium raises goes through, and leaves the
/// archive as it stood at that moment: a flush that failed can be repeated. An archive belongs to
/// one thread at a time.
class KX_EXPORT KXArchive {
 public:
  /// Loads, big-endian, with the cache enabled but no block for it before `Init`.
  KXArchive();
  KXArchive(const KXArchive&) = delete;
  KXArchive& operator=(const KXArchive&) = delete;
  virtual ~KXArchive();

  // --- The medium, supplied by a derived class --------------------------------------------------

  /// Moves up to `size` bytes at the medium's position, and returns how many.
  virtual UINT WriteSelf(const void* data, UINT size) = 0;
  virtual UINT ReadSelf(void* data, UINT size) = 0;
  /// Moves the medium's position and returns the new one. `origin` is always 0, the start, and the
  /// offset is to be read as unsigned.
  virtual UINT SeekSelf(int offset, UINT origin) = 0;

  // --- Mode and position ------------------------------------------------------------------------

  /// Of `mode` bit 0 chooses storing (else loading), bit 2 little-endian (else big-endian), bit 7
  /// the mark of Shift-JIS; all others are ignored. Drops what the cache holds, and gives it
  /// `cacheSize` bytes where it is enabled.
  void Init(UINT mode, UINT cacheSize);
  /// 1 if any of `bits` is set in the mode word.
  int ModeChk(UINT bits) const { return (mode_ & bits) != 0; }
  int IsLoading() const { return ModeChk(kxw::kArchiveLoad); }
  int IsSaving() const { return ModeChk(kxw::kArchiveStore); }
  /// 8 for big-endian, 4 for little-endian.
  UINT GetEndianMode() const { return ModeChk(kxw::kArchiveBigEndian) ? 8 : 4; }
  /// Sets the byte order from here on, 8 or 4, and returns the one before.
  UINT SetEndianMode(UINT mode);
  void Setsjiscode() { mode_ |= kxw::kArchiveShiftJis; }
  void Setunicode() { mode_ &= ~static_cast<UINT>(kxw::kArchiveShiftJis); }

  /// The logical position: what is read or written next.
  UINT GetPosition() const { return IsLoading() ? position_ : position_ + cachePosition_; }
  /// The length of the stream, at most 0x7FFFFFFF. It is too large while a cached archive
  /// overwrites what is there: this is kept so.
  int GetLength() const;

  // --- Bytes ------------------------------------------------------------------------------------

  /// Raises 0x20010008 while loading.
  void Write(const void* data, UINT size);
  /// A cached archive raises 0x20010008 at the end, also for a `size` of 0 if it holds no bytes.
  void Read(void* data, UINT size);
  /// Moves to `offset` from the start (`origin` 0) or the current position (1); any other origin
  /// goes to the start. A loading archive stops at its length. Returns the position. Raises
  /// 0x20010008 for a target before the start, or beyond 4 GiB while storing.
  UINT Seek(int offset, UINT origin);
  /// Writes what is pending, and drops what was read ahead.
  void DoFlush();
  /// Drops the cache's bytes, pending ones too.
  void ClearCache();
  /// Reads ahead from the position, into the whole cache.
  void LoadCache();
  /// What `Write` and `Read` do where there is a cache.
  void WriteCache(const void* data, UINT size);
  void ReadCache(void* data, UINT size);

  // --- Values -----------------------------------------------------------------------------------

  // Integers and the bits of floating values are stored in the archive's byte order. `long` has 4
  // bytes in store: a value beyond 32 bits raises 0x20010008. Note that std::int64_t may be a long;
  // i64 and u64 are stored in 8 bytes. Where an uncached stream ends within a value, the missing
  // bytes read as 0.
  KXArchive& operator<<(unsigned char value);
  KXArchive& operator<<(short value);
  KXArchive& operator<<(unsigned short value);
  KXArchive& operator<<(int value);
  KXArchive& operator<<(unsigned int value);
  KXArchive& operator<<(long value);
  KXArchive& operator<<(unsigned long value);
  KXArchive& operator<<(i64 value);
  KXArchive& operator<<(u64 value);
  KXArchive& operator<<(float value);
  KXArchive& operator<<(double value);
  KXArchive& operator>>(unsigned char& value);
  KXArchive& operator>>(short& value);
  KXArchive& operator>>(unsigned short& value);
  KXArchive& operator>>(int& value);
  KXArchive& operator>>(unsigned int& value);
  KXArchive& operator>>(long& value);
  KXArchive& operator>>(unsigned long& value);
  KXArchive& operator>>(i64& value);
  KXArchive& operator>>(u64& value);
  KXArchive& operator>>(float& value);
  KXArchive& operator>>(double& value);
  // Four words, alpha last: in another order than in memory.
  KXArchive& operator<<(const tagQMRGBCOLOR16& color);
  KXArchive& operator<<(const tagQMHSVCOLOR16& color);
  KXArchive& operator>>(tagQMRGBCOLOR16& color);
  KXArchive& operator>>(tagQMHSVCOLOR16& color);
  // A count of 16 bits and that many bytes, with no end mark; CR LF is stored as CR. Null and a
  // length that is a multiple of 65536 are stored as empty; any other length above 65535 raises
  // 0x20010008.
  KXArchive& operator<<(const char* text);
  KXArchive& operator<<(const KXString& text);
  KXArchive& operator>>(KXString& text);
  // These have no stored form.
  KXArchive& operator<<(char) = delete;
  KXArchive& operator<<(signed char) = delete;
  KXArchive& operator<<(bool) = delete;
  KXArchive& operator<<(const void*) = delete;

  /// Reads a string as an older writer stored it: a length of 1, 3 or 7 bytes, and the text.
  void ReadMKString(KXString& text);

  // --- Sections ---------------------------------------------------------------------------------

  // A length of 4 bytes and a body of that many. Sections nest.

  void BeginSection();
  /// Storing: puts the length in its place. Loading: goes on behind the body, whatever part of it
  /// was read; a body that was overrun goes unnoticed. Does nothing where no section is open.
  void EndSection();
  /// Loading: goes on behind the section that begins here.
  void SeekSection();
  /// Copies the section that begins at the source's position, as bytes: both archives should have
  /// one byte order. Raises 0x2001000B if the source ends early.
  void CopySection(KXArchive& source);
  /// Bytes of the innermost body and those of it not yet read, while loading; 0 outside sections.
  UINT GetSectionSize() const;
  UINT GetRemainingSectionSize() const;

 protected:
  /// Reads a string's stored form: a block of `qmAllocPtr` that the caller frees, null for an empty
  /// string. CR becomes CR LF; exactly one character behind the text's last CR is lost, as ever.
  char* ReadString();
  void WriteString(const char* text);
  UINT ReadMKStringLength();

  /// Frees the cache and returns to the state of construction; sections are forgotten.
  void Cleanup();
  /// The same without freeing.
  void Initialize();

  /// `Seek` to a position of the full range.
  UINT SeekTo(UINT target);

  UINT mode_;
  UINT position_;  // storing with a cache: that of the cache's first byte
  UINT length_;    // of what is on the medium
  KXHandle cache_;
  int cacheEnabled_;
  int cacheState_;
  UINT cachePosition_;
  UINT cacheSize_;
  UINT cacheFill_;
  UINT sectionDepth_;
  KXTArray<UINT> sectionSizes_;   // while loading
  KXTArray<UINT> sectionStarts_;  // of the bodies

 private:
  /// What the cache holds.
  enum CacheState : int { kCacheEmpty = 0, kCacheRead = 1, kCachePending = 2 };

  void WriteThrough(const void* data, UINT size);
  template <class Bits>
  void Put(Bits bits);
  template <class Bits>
  Bits Get();
  template <class Color>
  KXArchive& PutWords(const Color& color);
  template <class Color>
  KXArchive& GetWords(Color& color);
};
