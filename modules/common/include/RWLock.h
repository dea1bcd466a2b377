#ifndef ZR_RWLOCK_H
#define ZR_RWLOCK_H

#include "Condition.h"
#include "Mutex.h"
#include "ZRObject.h"

// Readers-writer lock: any number of readers or one writer. There is no writer
// preference; a new reader enters whenever no writer holds the lock.
// Every operation returns 0 on success and -1 when a try-operation fails.
class RWLock : public ZRObject {
public:
    RWLock();
    ~RWLock() override = default;

    RWLock(const RWLock&) = delete;
    RWLock& operator=(const RWLock&) = delete;

    int readLock();      // waits while a writer holds the lock
    int tryReadLock();   // -1 if a writer holds the lock
    int writeLock();     // waits while a writer or any reader holds the lock
    int tryWriteLock();  // -1 unless nobody holds the lock
    int unlock();        // releases whichever kind the caller holds

private:
    int readers;  // number of read holders
    int writers;  // 0 or 1
    Mutex mutex;
    Condition writerGate;  // writers wait here
    Condition readerGate;  // readers wait here
};

#endif
