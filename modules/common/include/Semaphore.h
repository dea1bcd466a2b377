#ifndef ZR_SEMAPHORE_H
#define ZR_SEMAPHORE_H

#include "Condition.h"
#include "Mutex.h"
#include "ZRObject.h"

// Counting semaphore over a mutex and a condition. Operations return 0, or -1
// when tryWait() finds no unit available.
class Semaphore : public ZRObject {
public:
    // The initial count must be at least 1 (checked in every build).
    explicit Semaphore(int count = 1);
    ~Semaphore() override = default;

    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    int wait();     // waits until a unit is available, then takes it
    int tryWait();  // takes a unit or returns -1 at once
    int post();     // returns a unit and wakes one waiter

private:
    int count;
    Mutex mutex;
    Condition available;  // on mutex
};

#endif
