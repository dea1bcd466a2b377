#include "Condition.h"

#include <ctime>

Condition::Condition(Mutex& m) : mutex(&m) {
    pthread_cond_init(&handle, nullptr);
}

Condition::~Condition() {
    pthread_cond_destroy(&handle);
}

int Condition::lock() {
    return mutex->lock();
}

int Condition::unlock() {
    return mutex->unlock();
}

int Condition::wait() {
    return pthread_cond_wait(&handle, &mutex->handle);
}

int Condition::wait(int seconds) {
    // The default condition clock is the real-time clock, the one time() reads.
    struct timespec deadline;
    deadline.tv_sec = time(nullptr) + seconds;
    deadline.tv_nsec = 0;
    return pthread_cond_timedwait(&handle, &mutex->handle, &deadline);
}

int Condition::signal() {
    return pthread_cond_signal(&handle);
}

int Condition::broadcast() {
    return pthread_cond_broadcast(&handle);
}
