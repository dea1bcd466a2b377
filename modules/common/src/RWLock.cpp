#include "RWLock.h"

RWLock::RWLock() : readers(0), writers(0), writerGate(mutex), readerGate(mutex) {}

int RWLock::readLock() {
    Monitor guard(mutex);
    while (writers > 0) readerGate.wait();
    ++readers;
    return 0;
}

int RWLock::tryReadLock() {
    Monitor guard(mutex);
    if (writers > 0) return -1;
    ++readers;
    return 0;
}

int RWLock::writeLock() {
    Monitor guard(mutex);
    while (writers > 0 || readers > 0) writerGate.wait();
    writers = 1;
    return 0;
}

int RWLock::tryWriteLock() {
    Monitor guard(mutex);
    if (writers > 0 || readers > 0) return -1;
    writers = 1;
    return 0;
}

int RWLock::unlock() {
    Monitor guard(mutex);
    if (writers > 0) {
        // The lock is free for everybody: one writer or all readers may go on.
        --writers;
        writerGate.signal();
        readerGate.broadcast();
    } else if (readers > 0) {
        // An unlock without a holder is ignored, so the counts never go
        // negative and later lock requests still work.
        if (--readers == 0) writerGate.signal();
    }
    return 0;
}
