#include "io/FilterOutputStream.h"

void FilterOutputStream::flush() {
    out->flush();
}

void FilterOutputStream::write(char c) {
    out->write(c);
}

void FilterOutputStream::write(const char* buf, int n) {
    out->write(buf, n);
}
