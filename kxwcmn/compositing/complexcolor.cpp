#include "kxwcmn/compositing/complexcolor.h"

// Constant, so that a mixer of another file's static data finds them made.
constinit const KXComplexColor KXComplexColor::cWhite(64, u64{0xFFFFFFFFFFFFFFFF});
constinit const KXComplexColor KXComplexColor::cBlack(64, u64{0xFFFF000000000000});
constinit const KXComplexColor KXComplexColor::cTransmit(64, u64{0});
constinit const KXComplexColor KXComplexColor::cErase(64, u64{0x0000FFFFFFFFFFFF});
