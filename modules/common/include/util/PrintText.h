#ifndef ZR_UTIL_PRINT_TEXT_H
#define ZR_UTIL_PRINT_TEXT_H

#include "String.h"

// Writes text to standard output as it is (never used as a format): the
// messages of the commands and the lists the programs print.
void printText(const char* text);
void printText(const String& text);

#endif
