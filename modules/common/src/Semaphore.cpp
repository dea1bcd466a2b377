#include "Semaphore.h"

#include "ZRAssert.h"

Semaphore::Semaphore(int initialCount) : count(initialCount), available(mutex) {
    ZR_ASSERT(count >= 1, "Mutex", "Semaphore::Semaphore(int = 1)");
}

int Semaphore::wait() {
    Monitor guard(mutex);
    while (count < 1) available.wait();
    --count;
    return 0;
}

int Semaphore::tryWait() {
    Monitor guard(mutex);
    if (count < 1) return -1;
    --count;
    return 0;
}

int Semaphore::post() {
    Monitor guard(mutex);
    ++count;
    if (count > 0) available.signal();
    return 0;
}
