#ifndef ZR_MUTEX_H
#define ZR_MUTEX_H

#include <pthread.h>

#include "ZRObject.h"

class Condition;

// A plain (non-recursive) POSIX mutex. Results of the POSIX calls are passed
// through unchanged: 0 on success, an error number otherwise. Never throws.
class Mutex : public ZRObject {
public:
    Mutex();
    ~Mutex() override;

    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    int lock();
    int tryLock();  // EBUSY when another holder has it
    int unlock();

private:
    friend class Condition;  // waits on the underlying handle
    pthread_mutex_t handle;
};

// Scope guard: locks the mutex on construction and unlocks it on destruction.
class Monitor : public ZRObject {
public:
    explicit Monitor(Mutex& m);
    ~Monitor() override;

    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

private:
    Mutex* mutex;  // not owned
};

#endif
