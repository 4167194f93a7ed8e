#pragma once

/// Marks a hot loop that is compiled a second time for wider vectors, chosen once when the library
/// is loaded. Only for loops that a benchmark shows to gain from it. Both forms give the same
/// bytes: no arithmetic is contracted or put in another order.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && \
    !defined(__SANITIZE_ADDRESS__)
#define KXW_WIDE_VECTORS __attribute__((target_clones("avx2", "default")))
#else
#define KXW_WIDE_VECTORS
#endif

/// Asks for the cache line of an address, which need not be one of the program's.
#if defined(__GNUC__)
#define KXW_PREFETCH(at) __builtin_prefetch(at)
#else
#define KXW_PREFETCH(at) static_cast<void>(at)
#endif
