#include "kxwcmn/core/progressbar.h"

KXProgressBar::CreateProc KXProgressBar::s_pCreateProc = nullptr;
KXProgressBar::StepProc KXProgressBar::s_pStepProc = nullptr;
KXProgressBar::DestroyProc KXProgressBar::s_pDestroyProc = nullptr;

KXProgressBar::~KXProgressBar() {
  if (!created_) return;
  try {
    Destroy();
  } catch (...) {  // nothing leaves a destructor
  }
}

int KXProgressBar::Create(int steps, const char* text) {
  Destroy();
  if (!s_pCreateProc) return 1;
  created_ = 1;
  return s_pCreateProc(steps, text);
}

void KXProgressBar::Step() {
  if (s_pStepProc) s_pStepProc();
}

void KXProgressBar::Destroy() {
  if (s_pDestroyProc) s_pDestroyProc();
}

void KXProgressBar::SetCreateProc(CreateProc proc) { s_pCreateProc = proc; }

void KXProgressBar::SetStepProc(StepProc proc) { s_pStepProc = proc; }

void KXProgressBar::SetDestroyProc(DestroyProc proc) { s_pDestroyProc = proc; }
