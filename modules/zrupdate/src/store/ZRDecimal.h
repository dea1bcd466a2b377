#ifndef ZR_DECIMAL_H
#define ZR_DECIMAL_H

#include "String.h"

// Reads a decimal number from an XML attribute, a version part or a setting
// by the library's number rule (Utils::parseLongNumber): blanks are skipped,
// an empty or all-blank text is 0, and a number ends at the first byte after
// a digit that is not a hexadecimal digit ("4x" is 4, "0GA" is 0, "12a"
// throws). The value is 64-bit, so sizes beyond 4 GiB read whole.
//
// One addition to that rule: a '-' before the first digit makes the number
// negative, because the state files store -1 for unknown ids and for the run
// result of a held-back package and must read back what they wrote.
// Throws Exception "invalid dec number" for anything else.
long parseDecimal(const String& text);

#endif
