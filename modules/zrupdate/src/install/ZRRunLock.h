#ifndef ZR_RUN_LOCK_H
#define ZR_RUN_LOCK_H

// The run lock that serialises updaters and delay-package changes on this
// machine. It is kept by the home's script "bin/write_lock.pl", run by perl
// directly (no shell), and belongs to a process id; a lock whose holder has
// ended is free again.

// Runs the lock script with `action` ("LOCK", "TRYLOCK" or "UNLOCK"), the
// process id and the time-out in seconds. Returns the raw wait status of
// the script: 0 when the action succeeded.
int runLockScript(const char* action, int pid, int timeout);

// Waits up to `timeout` seconds for the lock.
int lock(int pid, int timeout);
// Tries once.
int tryLock(int pid, int timeout);
// Releases the lock of `pid`.
int unlock(int pid);

#endif
