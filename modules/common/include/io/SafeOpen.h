#ifndef ZR_IO_SAFE_OPEN_H
#define ZR_IO_SAFE_OPEN_H

#include <sys/types.h>

#include "String.h"

// Opening names in a folder that every user can write to, such as "/tmp".
// The program often runs as root, and another local user may have put a
// symbolic link, a FIFO or a hard link at the name beforehand, hoping that
// this process writes through it or makes its target world-writable. These
// calls never follow a link at the name, never block on a FIFO, and hand out
// only what was expected; they change the mode of nothing but a file or
// folder of the effective user that has no other name.
class SafeOpen {
public:
    // Opens the regular file `path` for reading and writing, creating it when
    // missing. A file of the effective user gets exactly `mode` (the umask
    // does not apply). With `anyOwner`, a file of another user is accepted as
    // it is; it is for lock files that processes of several users share,
    // which are locked but never written to. Returns a close-on-exec
    // descriptor, or -1 with `why` set to "path: reason".
    static int file(const char* path, mode_t mode, bool anyOwner, String& why);

    // Makes the folder `path` or opens the existing one. Accepted only when
    // it is a folder (not a link to one) of the effective user; its mode then
    // becomes exactly `mode`, so that no other user can put entries in it.
    // Returns a close-on-exec descriptor of the folder, or -1 with `why`.
    static int folder(const char* path, mode_t mode, String& why);

    // Makes `path` a folder of the effective user with exactly `mode` and
    // opens it, whatever another user put at the name: a link, file or FIFO
    // there is removed itself (a link's target is never touched), and a
    // folder of another user is moved aside and then removed without
    // following any link inside it. The name is tried a few times, in case
    // somebody keeps planting; -1 with `why` when it could not be had.
    static int claimFolder(const char* path, mode_t mode, String& why);

    // Creates `path` anew as a regular file of the effective user with
    // exactly `mode`, open for reading and writing, after clearing the name
    // as claimFolder does. Returns a close-on-exec descriptor, or -1 with
    // `why`.
    static int claimFile(const char* path, mode_t mode, String& why);

    // Removes `path` with everything below it without ever following a
    // symbolic link: each folder is opened through its parent's descriptor,
    // so a link swapped in for a folder while the tree is being removed is
    // removed itself. True when nothing is left at the name.
    static bool removeTree(const char* path);
};

#endif
