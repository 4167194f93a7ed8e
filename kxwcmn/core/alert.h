#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// What is to be told to the user about a failure: an alert id or an error code, with texts to be
/// put into the message.
class KX_EXPORT KXAlert {
 public:
  KXAlert();
  KXAlert(const KXAlert&) = default;
  KXAlert& operator=(const KXAlert&) = default;
  virtual ~KXAlert();

  /// The alert id or error code; 0 when no alert is pending.
  operator unsigned int() const { return id_; }

  /// Whether the id is an error code.
  bool IsErrorCode() const { return isErrorCode_ != 0; }

  /// Text `index` (0 to 4) to be put into the message.
  const char* GetInsert(int index) const;

  /// Takes `alertId`, or `code` when `alertId` is -1; a user abort clears the alert, so that it
  /// shows nothing. Texts longer than 255 bytes are cut; null counts as empty.
  void SetAlertID(UINT alertId, int code, const char* s1, const char* s2, const char* s3,
                  const char* s4, const char* s5);

  void InitializeAlertID();

 private:
  UINT id_ = 0;
  char inserts_[5][256] = {};
  int isErrorCode_ = 0;
};
