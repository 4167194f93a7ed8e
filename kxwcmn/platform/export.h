#pragma once

// Everything is compiled with hidden visibility; KX_EXPORT marks what an application may link to.
#if defined(__GNUC__)
#define KX_EXPORT __attribute__((visibility("default")))
#else
#define KX_EXPORT
#endif
