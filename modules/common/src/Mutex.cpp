#include "Mutex.h"

Mutex::Mutex() {
    pthread_mutex_init(&handle, nullptr);
}

Mutex::~Mutex() {
    pthread_mutex_destroy(&handle);
}

int Mutex::lock() {
    return pthread_mutex_lock(&handle);
}

int Mutex::tryLock() {
    return pthread_mutex_trylock(&handle);
}

int Mutex::unlock() {
    return pthread_mutex_unlock(&handle);
}

Monitor::Monitor(Mutex& m) : mutex(&m) {
    mutex->lock();
}

Monitor::~Monitor() {
    mutex->unlock();
}
