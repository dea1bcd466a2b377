#include "TypedValue.h"

#include <cstdint>

TypedValue::TypedValue() : type(TYPE_STRING), value(0), text() {}

// For text the raw value only records where the text came from; it is never
// read back.
TypedValue::TypedValue(const char* s)
    : type(TYPE_STRING), value(static_cast<int64_t>(reinterpret_cast<intptr_t>(s))), text(s) {}

TypedValue::TypedValue(const String& s)
    : type(TYPE_STRING),
      value(static_cast<int64_t>(reinterpret_cast<intptr_t>(s.c_str()))),
      text(s) {}

TypedValue::TypedValue(long n) : type(TYPE_LONG), value(n), text() {
    text.append(n);
}

TypedValue::TypedValue(int n) : TypedValue(static_cast<long>(n)) {}

String TypedValue::toString() const {
    return text;
}
