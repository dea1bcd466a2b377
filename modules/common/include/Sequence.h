#ifndef ZR_SEQUENCE_H
#define ZR_SEQUENCE_H

#include "Mutex.h"
#include "ZRObject.h"

// Thread-safe counter handing out non-negative numbers. When the counter has
// wrapped past the largest int it starts again from 0.
class Sequence : public ZRObject {
public:
    // The initial value must not be negative (checked in every build).
    explicit Sequence(int initVal = 0);
    ~Sequence() override = default;

    Sequence(const Sequence&) = delete;
    Sequence& operator=(const Sequence&) = delete;

    // The current value; the counter advances by one.
    int getNext();
    // The current value, reserving the block of `size` numbers that starts
    // there; `size` must be greater than 0 (checked in every build).
    int getNext(unsigned int size);

private:
    int value;
    Mutex mutex;
};

#endif
