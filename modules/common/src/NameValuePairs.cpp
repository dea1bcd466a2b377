#include "NameValuePairs.h"

NameValuePairs::NameValuePairs() : pairs(0, 20) {}

NameValuePairs::NameValuePairs(const NameValuePairs& other) : pairs(0, 20) {
    assign(other);
}

NameValuePairs& NameValuePairs::operator=(const NameValuePairs& other) {
    if (this != &other) assign(other);
    return *this;
}

NameValuePairs::~NameValuePairs() = default;

void NameValuePairs::assign(const NameValuePairs& other) {
    if (this == &other) return;
    pairs = other.pairs;
}

int NameValuePairs::add(const Pair& p) {
    pairs.add(p);
    return pairs.size() - 1;
}

int NameValuePairs::add(const String& name, const TypedValue& value) {
    return add(Pair(name, value));
}

int NameValuePairs::indexOf(const String& name) const {
    for (int i = 0; i < pairs.size(); i++) {
        if (pairs.elementAt(i).name.equalsIgnoreCase(name)) return i;
    }
    return -1;
}

int NameValuePairs::find(const String& name, Pair& out) const {
    int i = indexOf(name);
    if (i >= 0) out = pairs.elementAt(i);
    return i;
}

String NameValuePairs::getValue(const String& name) const {
    int i = indexOf(name);
    return i >= 0 ? pairs.elementAt(i).value.toString() : String();
}

bool NameValuePairs::remove(const String& name) {
    int i = indexOf(name);
    if (i < 0) return false;
    pairs.removeAt(i);
    return true;
}

NameValuePairs::Pair NameValuePairs::removeAt(int i) {
    return pairs.removeAt(i);
}

NameValuePairs::Pair& NameValuePairs::get(int i) {
    return pairs.elementAt(i);
}

const NameValuePairs::Pair& NameValuePairs::get(int i) const {
    return pairs.elementAt(i);
}
