#ifndef ZR_ASSERT_H
#define ZR_ASSERT_H

// Precondition checks that stay on in every build (unlike <cassert>, which
// NDEBUG turns off). A failed check is a programming error: it prints the
// expression, the source unit and the operation to standard error and aborts.
//
//   ZR_ASSERT(count >= 1, "Mutex", "Semaphore::Semaphore(int = 1)");
#define ZR_ASSERT(expr, unit, operation)                                  \
    do {                                                                  \
        if (!(expr)) zrAssertionFailed(#expr, unit, __LINE__, operation); \
    } while (0)

// Prints "<unit>:<line>: <operation>: Assertion `<expression>' failed." and
// aborts the process.
[[noreturn]] void zrAssertionFailed(const char* expression, const char* unit, int line,
                                    const char* operation);

#endif
