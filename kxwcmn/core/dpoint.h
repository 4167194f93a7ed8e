#pragma once

#include "kxwcmn/core/array.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXArchive;
class KXFilePath;

/// A list of up to ten points with the attributes in which they are shown, kept in a small file.
///
/// Each entry has two forms: a point in doubles, and one in whole pixels, its shadow, which is the
/// first times the resolution, truncated toward zero. What sets whole pixels leaves the doubles as
/// they were, and only these are stored. An index outside the ten entries does nothing, except
/// where it is told otherwise; entries behind the used ones keep what they last held.
class KX_EXPORT KXDPoint {
 public:
  static constexpr int kCapacity = 10;

  KXDPoint();
  KXDPoint(const KXDPoint& other) = default;
  /// A copy; of null, a new list.
  explicit KXDPoint(const KXDPoint* other);
  virtual ~KXDPoint();
  /// Takes all entries and attributes, and returns a copy.
  KXDPoint operator=(const KXDPoint& other);

  int GetCount() const { return count_; }
  /// In degrees.
  int GetAngle() const { return angle_; }
  void SetAngle(int angle) { angle_ = angle; }
  /// In percent.
  int GetOpacity() const { return opacity_; }
  void SetOpacity(int opacity) { opacity_ = opacity; }
  QMCOLORREF GetColor() const { return color_; }
  void SetColor(QMCOLORREF color) { color_ = color; }
  /// Pixels a unit of the points, for shadows set from here on; those that are there stay.
  void SetResolution(double resolution) { resolution_ = resolution; }

  void GetPoint(tagPOINTD& point, int index) const;
  void GetPoint(tagPOINT& point, int index) const;
  /// Sets the point and its shadow.
  void SetPoint(const tagPOINTD& point, int index);
  /// Sets the shadow alone.
  void SetPoint(const tagPOINT& point, int index);
  /// As `SetPoint`, of one more entry. A full list stays.
  void AddPoint(const tagPOINTD& point);
  void AddPoint(const tagPOINT& point);
  /// Removes an entry; from 9 on any index removes the last one. -1 empties the list.
  void RemovePoint(int index);
  /// Moves a point, or all in use for -1: the points with shadows made anew, or the shadows alone,
  /// wrapping at 32 bits.
  void Offset(const tagPOINTD& by, int index);
  void Offset(const tagPOINT& by, int index);

  // The stored form, written in room persist.

  /// Stores or restores points and angle, behind a tag if `withTag` is set. Restoring raises
  /// 0x2001000B for another tag, and where the points beyond ten, which are left out, are not all
  /// there; an end before that is the archive's to raise.
  void Serialize(KXArchive& archive, int withTag);
  /// Stores or restores opacity and colour, as a section.
  void SerializeEx(KXArchive& archive);

  /// Writes a file of its own, with `creator` as its creator's tag. A file of that name is replaced
  /// when the new one is complete, and stays as it was if that fails. Raises what the file raises.
  void Save(const KXFilePath& path, DWORD creator);
  /// Reads such a file; one of the older form, which ends behind the angle, gets the opacity and
  /// colour of a new list. Raises what `Serialize` and the file raise, with the list empty or in
  /// part as it was read.
  void Open(const KXFilePath& path);

 private:
  static constexpr int kAll = -1;
  static constexpr int kDefaultOpacity = 100;
  static constexpr QMCOLORREF kDefaultColor = 0x969696;  // a middle grey

  static bool IsEntry(int index) { return index >= 0 && index < kCapacity; }

  KXTArray<tagPOINTD> points_;
  KXTArray<tagPOINT> shadows_;
  int count_ = 0;
  int angle_ = 5;
  int opacity_ = kDefaultOpacity;
  QMCOLORREF color_ = kDefaultColor;
  double resolution_ = 90;
};
