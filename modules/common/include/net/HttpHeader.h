#ifndef ZR_NET_HTTP_HEADER_H
#define ZR_NET_HTTP_HEADER_H

#include "NameValuePairs.h"
#include "String.h"

// The header lines of an HTTP message, in order; several may share a name,
// lookups ignore case and the first match wins. Values are kept as text
// (numbers as their decimal text). The setters refuse, returning false and
// changing nothing, an empty name or value, a name holding ":", "\r" or "\n"
// and a value holding "\r" or "\n", so no header can break the head apart.
class HttpHeader : public NameValuePairs {
public:
    HttpHeader() = default;
    HttpHeader(const HttpHeader& other) = default;
    HttpHeader& operator=(const HttpHeader& other) = default;
    ~HttpHeader() override;

    // Removes the first pair of that name, then appends.
    bool set(const String& name, const String& value);
    bool set(const String& name, long value);
    // Appends.
    bool add(const String& name, const String& value);
    bool add(const String& name, long value);

    bool get(const String& name, String& value) const;
    // The pair at an index (the list's own accessors).
    using NameValuePairs::get;
    // A text of digits, "+" and "-" read in base 10; false when absent or not
    // numeric. Values are 64-bit.
    bool getLong(const String& name, long& value) const;
    bool getAt(int index, String& name, String& value) const;
    bool getLongAt(int index, String& name, long& value) const;

    // Adds the "Name: value" lines of `text` (separated by "\r\n"). False on a
    // line the setters refuse or without ":" before its end; a line with no
    // ":" at all throws ArrayIndexException.
    bool parse(const String& text);
    // "Name: value\r\n" for every pair.
    String toString() const override;

private:
    static bool acceptable(const String& name, const String& value);
    static bool numberOf(const TypedValue& value, long& number);
};

#endif
