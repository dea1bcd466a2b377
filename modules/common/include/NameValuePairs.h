#ifndef ZR_NAME_VALUE_PAIRS_H
#define ZR_NAME_VALUE_PAIRS_H

#include "NameValuePair.h"
#include "String.h"
#include "TypedValue.h"
#include "Vector.h"
#include "ZRObject.h"

// Ordered list of name/value pairs in insertion order. Several pairs may share
// a name; lookups by name ignore ASCII case and the first match wins. Lookups
// never throw: a missing name gives -1, "" or false.
class NameValuePairs : public ZRObject {
public:
    typedef NameValuePair<TypedValue> Pair;

    NameValuePairs();
    NameValuePairs(const NameValuePairs& other);
    NameValuePairs& operator=(const NameValuePairs& other);
    ~NameValuePairs() override;

    // Replaces the contents with copies of the other list's pairs.
    virtual void assign(const NameValuePairs& other);

    // Appends a copy (no check for an existing name); returns its index.
    int add(const Pair& p);
    int add(const String& name, const TypedValue& value);
    // Index of the first pair named `name` (any case), copied into `out`;
    // -1 with `out` untouched if none.
    int find(const String& name, Pair& out) const;
    // Index of the first pair named `name` (any case), or -1.
    int indexOf(const String& name) const;
    // Text of the first pair's value, or "" if none.
    String getValue(const String& name) const;
    // Removes only the first pair of that name.
    bool remove(const String& name);
    Pair removeAt(int i);
    Pair& get(int i);
    const Pair& get(int i) const;

    int size() const { return pairs.size(); }
    bool isEmpty() const { return pairs.size() == 0; }
    void clear() { pairs.clear(); }

protected:
    Vector<Pair> pairs;
};

#endif
