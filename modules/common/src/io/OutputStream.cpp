#include "io/OutputStream.h"

#include <string.h>

#include "Exception.h"

namespace {
const char* const kUnit = "../../../modules/common/include/io/OutputStream";
}

void OutputStream::close() {
    ZR_THROW(IOException, "Unimplemented", kUnit);
}

void OutputStream::flush() {}

void OutputStream::write(char) {
    ZR_THROW(IOException, "Unimplemented", kUnit);
}

void OutputStream::write(const char* s) {
    if (s == nullptr) return;
    write(s, static_cast<int>(strlen(s)));
}

void OutputStream::write(const char*, int) {
    ZR_THROW(IOException, "Unimplemented", kUnit);
}

void OutputStream::checkClosed() const {
    if (closed) ZR_THROW(IOException, "Stream is already closed", kUnit);
}
