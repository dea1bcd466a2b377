#ifndef ZR_NAME_VALUE_PAIR_H
#define ZR_NAME_VALUE_PAIR_H

#include "String.h"
#include "ZRObject.h"

// A named value; `T` renders itself with toString(). The owner reads and
// writes `name` and `value` directly.
template <class T>
class NameValuePair : public ZRObject {
public:
    NameValuePair() : name(), value() {}
    NameValuePair(const String& name, const T& value) : name(name), value(value) {}

    // "name=value".
    String toString() const override {
        String s(name);
        s.append("=");
        s.append(value.toString());
        return s;
    }

    const String& getName() const { return name; }
    const T& getValue() const { return value; }

    String name;
    T value;
};

#endif
