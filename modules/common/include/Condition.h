#ifndef ZR_CONDITION_H
#define ZR_CONDITION_H

#include <pthread.h>

#include "Mutex.h"
#include "ZRObject.h"

// A POSIX condition variable bound to one mutex. The bound mutex must be held
// by the caller of wait(). Results of the POSIX calls are passed through.
class Condition : public ZRObject {
public:
    explicit Condition(Mutex& m);
    ~Condition() override;

    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    int lock();    // locks the bound mutex
    int unlock();  // unlocks the bound mutex

    // Waits for a signal, releasing the bound mutex while waiting.
    int wait();
    // As wait(), but gives up at the absolute time now + seconds (whole
    // seconds, zero nanoseconds); ETIMEDOUT on time-out. wait(0) therefore
    // times out at once unless a signal is already pending.
    int wait(int seconds);

    int signal();     // wakes one waiter
    int broadcast();  // wakes all waiters

private:
    pthread_cond_t handle;
    Mutex* mutex;  // not owned
};

#endif
