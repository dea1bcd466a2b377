#ifndef ZR_TYPED_VALUE_H
#define ZR_TYPED_VALUE_H

#include <cstdint>

#include "String.h"
#include "ZRObject.h"

// A value held in a name/value list: a long integer or a text, always with
// its text form ready for output.
class TypedValue : public ZRObject {
public:
    static constexpr int TYPE_LONG = 2;
    static constexpr int TYPE_STRING = 5;

    // The empty text, so that a pair can be declared before it is filled.
    TypedValue();
    TypedValue(const char* s);
    TypedValue(const String& s);
    TypedValue(long n);
    // Stored as a long; also keeps TypedValue(0) from being ambiguous.
    TypedValue(int n);

    // The text form: the decimal number or the text itself.
    String toString() const override;

    int getType() const { return type; }
    // The integer of a TYPE_LONG value (meaningless for text).
    int64_t getLong() const { return value; }
    const String& getText() const { return text; }

private:
    int type;
    int64_t value;
    String text;
};

#endif
