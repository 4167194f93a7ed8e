#pragma once

#include "kxwcmn/platform/export.h"

/// The display of a long operation's progress, through procedures that the application supplies
/// once at start-up. There is one display: a new one takes the place of the one before.
class KX_EXPORT KXProgressBar {
 public:
  using CreateProc = int (*)(int steps, const char* text);
  using StepProc = void (*)();
  using DestroyProc = void (*)();

  KXProgressBar() = default;
  KXProgressBar(int steps, const char* text) { Create(steps, text); }
  /// A copy counts as created if the other does, and so both destroy the display at their end.
  KXProgressBar(const KXProgressBar&) = default;
  KXProgressBar& operator=(const KXProgressBar&) = default;
  /// Destroys the display if this object has created one. What the procedure raises is lost.
  virtual ~KXProgressBar();

  /// Destroys the present display, whoever made it, and creates one of `steps` steps. Returns what
  /// the procedure returns; 1 where there is none.
  int Create(int steps, const char* text);
  /// These call their procedure whether or not this object has created a display, and `Destroy`
  /// leaves the destructor's call due: both are kept so.
  void Step();
  void Destroy();

  /// Null removes a procedure.
  static void SetCreateProc(CreateProc proc);
  static void SetStepProc(StepProc proc);
  static void SetDestroyProc(DestroyProc proc);

 private:
  static CreateProc s_pCreateProc;
  static StepProc s_pStepProc;
  static DestroyProc s_pDestroyProc;

  int created_ = 0;
};
