#pragma once

#include <atomic>

/// Hot loops in the vectors of the processor at hand. A loop is written once, as a plain function,
/// and is called through `InVectors`, which compiles it a second time for wider vectors:
///
///     void AddRow(WORD* sums, const BYTE* row, int count) { ... }
///     ...
///     InVectors<AddRow>(sums, row, count);
///
/// Only for loops that a benchmark shows to gain from it. All forms give the same bytes: no
/// arithmetic is contracted or put in another order.
namespace kxw {

/// The vectors that loops may use: those of every processor that the library is built for, such as
/// SSE2 on 64-bit x86, or wider ones that only some of them have: AVX2, with the fused
/// multiplication and addition that came with it.
enum class Vectors { kBase, kAvx2 };

/// The widest vectors that processor, host and compiler have.
Vectors WidestVectors();

/// Makes all loops that begin from now on use these vectors, or the widest below them that there
/// are, and returns those in use until now. It is for tests and measurements: at load the widest
/// have been chosen. Any thread may call it at any time.
Vectors UseVectors(Vectors vectors);

#if defined(__x86_64__) && defined(__GNUC__)
#define KXW_AVX2_FORMS 1
/// Compiles a function for AVX2, and with it what it calls: that would else stay in base vectors.
#define KXW_IN_AVX2 __attribute__((target("avx2,fma"), flatten))
#else
#define KXW_AVX2_FORMS 0
#define KXW_IN_AVX2
#endif

namespace detail {
extern constinit std::atomic<Vectors> vectorsInUse;
}

inline Vectors VectorsInUse() { return detail::vectorsInUse.load(std::memory_order_relaxed); }

namespace detail {

template <auto kLoop>
struct VectorForms;

template <class Result, class... Args, Result (*kLoop)(Args...)>
struct VectorForms<kLoop> {
  KXW_IN_AVX2 static Result Avx2(Args... args) { return kLoop(args...); }

  static Result Run(Args... args) {
    if (KXW_AVX2_FORMS && VectorsInUse() == Vectors::kAvx2) return Avx2(args...);
    return kLoop(args...);
  }
};

}  // namespace detail

/// A function as `kLoop`, in the vectors in use.
template <auto kLoop>
inline constexpr auto InVectors = &detail::VectorForms<kLoop>::Run;

}  // namespace kxw

/// Asks for the cache line of an address, which need not be one of the program's.
#if defined(__GNUC__)
#define KXW_PREFETCH(at) __builtin_prefetch(at)
#else
#define KXW_PREFETCH(at) static_cast<void>(at)
#endif
