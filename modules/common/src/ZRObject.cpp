#include "ZRObject.h"

#include <cxxabi.h>

#include <cstdlib>
#include <typeinfo>

#include "String.h"

// The dynamic class name, demangled when the runtime can do so (so that a log
// line reads "ArrayIndexException" rather than the mangled form).
String ZRObject::toString() const {
    const char* mangled = typeid(*this).name();
    int status = 0;
    char* readable = abi::__cxa_demangle(mangled, nullptr, nullptr, &status);
    if (status != 0 || readable == nullptr) return String(mangled);
    String name(readable);
    std::free(readable);
    return name;
}
