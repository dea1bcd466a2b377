#ifndef ZR_TEST_PRINTERS_H
#define ZR_TEST_PRINTERS_H

#include <ostream>

#include "String.h"

// Lets GoogleTest show the text of a String in failure messages.
inline void PrintTo(const String& s, std::ostream* os) {
    *os << '"' << s.c_str() << '"';
}

#endif
