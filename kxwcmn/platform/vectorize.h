#pragma once

/// Marks a hot loop that is compiled a second time for wider vectors, chosen once when the library
/// is loaded. Only for loops that a benchmark shows to gain from it. Integer arithmetic only: both
/// forms give the same bytes.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && \
    !defined(__SANITIZE_ADDRESS__)
#define KXW_WIDE_VECTORS __attribute__((target_clones("avx2", "default")))
#else
#define KXW_WIDE_VECTORS
#endif
