#include "Sequence.h"

#include "ZRAssert.h"

namespace {
// Wrapping addition: the counter is meant to run past the largest int into
// negative values, which the callers detect; done in unsigned arithmetic so
// the wrap is well defined.
int wrappingAdd(int value, unsigned int step) {
    return static_cast<int>(static_cast<unsigned int>(value) + step);
}
}  // namespace

Sequence::Sequence(int initVal) : value(initVal) {
    ZR_ASSERT(initVal >= 0, "Mutex", "Sequence::Sequence(int = 0)");
}

int Sequence::getNext() {
    return getNext(1u);
}

int Sequence::getNext(unsigned int size) {
    ZR_ASSERT(size > 0, "Mutex", "int Sequence::getNext(unsigned int)");
    Monitor guard(mutex);
    if (value < 0) {
        value = static_cast<int>(size);
        return 0;
    }
    int current = value;
    value = wrappingAdd(value, size);
    return current;
}
