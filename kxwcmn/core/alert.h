#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXString;

/// What is to be told to the user about a failure: an alert id or an error code, with texts to be
/// put into the message.
///
/// An alert id is packed:
///
///     31..30  icon: 0 stop, 1 exclamation, 2 information, 3 question
///     29..27  buttons: 1 OK and Cancel, 2 Yes and No, 3 or 4 Yes, No and Cancel, others OK
///     26..25  number of texts put into the message
///     23..22  where the message lies: 1 the library, 2 the string resource, others the program
///     19..16  the second argument of its loading
///     15..0   its number
///
/// Five texts can be carried, though an id can ask for three at most; this is kept.
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

  /// The title of alert boxes: what was set, or the program's file name. Set once, at start-up.
  static void SetTitleText(const char* title);
  static void GetTitleText(KXString& title);

  /// The words for the user, of at most 767 bytes. For an error code they are the library's or the
  /// host's. Each `%s` of an alert id's message takes the next text, and `%%` is a percent sign; an
  /// id without texts has its message as it stands. Where nothing is known the result is empty.
  void GetAlertMessage(KXString& message) const;

  /// Shows the message in a box of the application over `owner` (null: the main window), and
  /// clears the alert. Returns the button, or -1 if no alert is pending. Without an application's
  /// box the message goes to standard error and the first button is the answer. Written in room
  /// desktop.
  int doAlert(HWND owner);

 private:
  void CreateMsgStringFromID(UINT id, char* buffer, int size) const;
  static int QMErrorToString(char* buffer, int size, UINT code);
  static int LoadStringA(HINSTANCE module, UINT id, UINT second, char* buffer, int size);

  UINT id_ = 0;
  char inserts_[5][256] = {};
  int isErrorCode_ = 0;
};
