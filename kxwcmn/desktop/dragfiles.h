#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

// The list of files that a user drags out of the application: a block of `qmAlloc`, given back with
// `qmFree` where nobody takes it.
//
// | byte | holds, the low byte first |
// |---|---|
// | 0 | the offset of the paths, 20 |
// | 4, 8 | x and y of the point, within the window's client area |
// | 12 | 1 for a point outside the client area, else 0 |
// | 16 | 0: the paths are multi-byte text |
// | 20 | the paths, each ended by a zero, and a zero behind the last |

/// Makes an empty list of 21 bytes for a `point` of the screen. Without a window, and without
/// procedures that know about it, the point is (0, 0), and inside. Returns null if there is no
/// memory, with the last error set.
KX_EXPORT HDROP kxwDragCreateFiles(HWND window, tagPOINT point);

/// Adds a path at the end, which may move the list. Returns 1; and 0, with the list as it was, for
/// no list or one of another form, for no path or an empty one, and if there is no memory.
KX_EXPORT int kxwDragAppendFile(HDROP* files, const char* path);
