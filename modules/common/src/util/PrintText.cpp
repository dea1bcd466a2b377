#include "util/PrintText.h"

#include <cstdio>
#include <cstring>

void printText(const char* text) {
    if (text == nullptr) return;
    std::fwrite(text, 1, std::strlen(text), stdout);
}

void printText(const String& text) {
    printText(text.c_str());
}
