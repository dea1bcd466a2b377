#include "io/StringOutputStream.h"

void StringOutputStream::close() {
    text.clear();
    closed = true;
}

void StringOutputStream::write(char c) {
    checkClosed();
    text.append(c);
}

// Copied byte for byte: String::append(const char*, ...) stops at a NUL.
void StringOutputStream::write(const char* buf, int n) {
    checkClosed();
    if (n <= 0) return;
    text.insert(text.length(), buf, 0, n);
}
