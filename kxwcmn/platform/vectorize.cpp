#include "kxwcmn/platform/vectorize_internal.h"

#include <algorithm>

namespace kxw {

constinit std::atomic<Vectors> detail::vectorsInUse{Vectors::kBase};

Vectors WidestVectors() {
#if KXW_AVX2_FORMS
  __builtin_cpu_init();  // other objects' constructors may come here before the compiler's own
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return Vectors::kAvx2;
#endif
  return Vectors::kBase;
}

Vectors UseVectors(Vectors vectors) {
  return detail::vectorsInUse.exchange(std::min(vectors, WidestVectors()));
}

namespace {

// What runs before this, in constructors of other objects, runs in base vectors.
[[maybe_unused]] const Vectors kBefore = UseVectors(WidestVectors());

}  // namespace

}  // namespace kxw
