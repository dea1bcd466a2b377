#ifndef ZR_IO_CONTAINED_PATH_H
#define ZR_IO_CONTAINED_PATH_H

#include "String.h"

// Where a path really leads, for the checks made before something is
// deleted, unpacked or run under one of the program's folders. The text of
// a path says little: "a/./b", "a//b", "a/x/../b" and "a/link/b" (with
// "link" pointing anywhere) may all name entries outside "a". Every such
// check goes through this one place.
class ContainedPath {
public:
    // The absolute path that `path` leads to, with "." and ".." segments,
    // doubled separators and every symbolic link among its parents resolved
    // against the file system; a link at the last entry is resolved too when
    // `followLast`. Entries that do not exist are taken as they are written.
    // False when a link cannot be resolved (dangling, a loop) or a parent
    // cannot be examined.
    static bool resolve(const String& path, bool followLast, String& resolved);

    // True when `path` leads to an entry strictly below `folder` (never the
    // folder itself), both resolved as above. `rest` then holds the part
    // below the folder, without a leading "/" ("7/2_0" for "<folder>/7/2_0").
    static bool isInside(const String& path, const String& folder, bool followLast, String& rest);
};

#endif
