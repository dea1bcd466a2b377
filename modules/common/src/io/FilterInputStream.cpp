#include "io/FilterInputStream.h"

int FilterInputStream::available() {
    return in->available();
}

void FilterInputStream::close() {
    closed = true;
}

int FilterInputStream::read() {
    return in->read();
}

int FilterInputStream::read(char* buf, int n) {
    return in->read(buf, n);
}

int FilterInputStream::skip(int n) {
    return in->skip(n);
}
