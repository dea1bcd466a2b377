#ifndef ZR_IO_FILE_LOCK_H
#define ZR_IO_FILE_LOCK_H

#include <fcntl.h>

#include "String.h"
#include "ZRObject.h"

// Advisory lock between processes: an exclusive record lock (fcntl) on the
// whole of a lock file. The lock belongs to the process, so it excludes other
// processes but not other threads of this one, and it is released when the
// file is closed or the process ends. Operations return 0 on success and -1
// when the lock is not open; fcntl failures are passed through. Never throws.
class FileLock : public ZRObject {
public:
    // Opens `path` as a private lock file (mode 0600); use open(path, true)
    // for a lock file that processes of other users may lock too.
    FileLock(const char* path, bool shared);
    ~FileLock() override;

    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    // Closes the current file, then opens (creating with mode 0600) the file
    // named by the first 255 characters of `path`; with `shared` its mode
    // becomes 0666. An empty or unusable path leaves the lock closed.
    // Lock files usually live in the temporary folder, where anybody can put
    // a link or a FIFO at the name first: such a name is refused (see
    // SafeOpen::file), and refusal() then says why.
    int open(const char* path, bool shared);
    const String& refusal() const { return why; }
    int lock();  // waits until the exclusive lock is granted
    // Waits at most `timeoutMs` milliseconds: -1 with errno ETIMEDOUT when
    // another process still holds the lock then.
    int lock(int timeoutMs);
    int unlock();  // releases the lock
    int close();   // closes the file, releasing any lock held through it
    int remove();  // deletes the lock file (the lock stays open)
    bool isOpen() const { return fd != -1; }
    const char* getPath() const { return path; }

private:
    static const int PATH_CAPACITY = 256;  // 255 characters and a NUL

    int fd;
    char path[PATH_CAPACITY];
    bool shared;
    String why;  // why the last open failed, "" after a successful one
};

#endif
