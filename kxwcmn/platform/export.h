#pragma once

// Everything is compiled with hidden visibility; KX_EXPORT marks what an application may link to.
// KX_PRINTF lets the compiler check the arguments of operations that print: by the numbers, from 1,
// of the format and of the first argument printed (of a member, the object is number 1).
#if defined(__GNUC__)
#define KX_EXPORT __attribute__((visibility("default")))
#define KX_PRINTF(number, first) __attribute__((format(printf, number, first)))
#else
#define KX_EXPORT
#define KX_PRINTF(number, first)
#endif
