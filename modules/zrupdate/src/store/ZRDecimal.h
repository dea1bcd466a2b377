#ifndef ZR_DECIMAL_H
#define ZR_DECIMAL_H

#include "String.h"

// Reads a decimal number from an XML attribute or a version part.
// Surrounding blanks are ignored and an empty or all-blank text is 0 (as the
// library's number parsing has it). Unlike that parsing it takes an optional
// sign, because the state files store -1 for unknown ids and sizes and must
// read back what they wrote, and it refuses values that do not fit a long.
// Throws Exception "invalid dec number" for anything else.
long parseDecimal(const String& text);

#endif
