#include "ZRAssert.h"

#include <cstdio>
#include <cstdlib>

void zrAssertionFailed(const char* expression, const char* unit, int line, const char* operation) {
    std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", unit, line, operation, expression);
    std::fflush(stderr);
    std::abort();
}
