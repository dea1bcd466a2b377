#include "net/HttpHeader.h"

#include <stdlib.h>

#include "Utils.h"

namespace {
const char* const kBlanks = " \n\r\t";

String decimal(long value) {
    String text;
    text.append(value);
    return text;
}
}  // namespace

HttpHeader::~HttpHeader() = default;

bool HttpHeader::acceptable(const String& name, const String& value) {
    return !name.isEmpty() && !value.isEmpty() && name.indexOf(':') < 0 && name.indexOf('\r') < 0 &&
           name.indexOf('\n') < 0 && value.indexOf('\r') < 0 && value.indexOf('\n') < 0;
}

bool HttpHeader::set(const String& name, const String& value) {
    if (!acceptable(name, value)) return false;
    NameValuePairs::remove(name);
    NameValuePairs::add(name, TypedValue(value));
    return true;
}

bool HttpHeader::set(const String& name, long value) {
    return set(name, decimal(value));
}

bool HttpHeader::add(const String& name, const String& value) {
    if (!acceptable(name, value)) return false;
    NameValuePairs::add(name, TypedValue(value));
    return true;
}

bool HttpHeader::add(const String& name, long value) {
    return add(name, decimal(value));
}

bool HttpHeader::get(const String& name, String& value) const {
    int i = indexOf(name);
    if (i < 0) return false;
    value = get(i).value.toString();
    return true;
}

bool HttpHeader::numberOf(const TypedValue& value, long& number) {
    if (value.getType() == TypedValue::TYPE_LONG) {
        number = static_cast<long>(value.getLong());
        return true;
    }
    const String& text = value.getText();
    if (text.isEmpty() || !Utils::isNumeric(text.c_str(), "+-")) return false;
    // long is 64 bits here, so bodies past 4 GiB count right.
    static_assert(sizeof(long) == 8, "Content-Length needs a 64-bit long");
    number = strtol(text.c_str(), nullptr, 10);
    return true;
}

bool HttpHeader::getLong(const String& name, long& value) const {
    int i = indexOf(name);
    return i >= 0 && numberOf(get(i).value, value);
}

bool HttpHeader::getAt(int index, String& name, String& value) const {
    if (index < 0 || index >= size()) return false;
    name = get(index).name;
    value = get(index).value.toString();
    return true;
}

bool HttpHeader::getLongAt(int index, String& name, long& value) const {
    if (index < 0 || index >= size() || !numberOf(get(index).value, value)) return false;
    name = get(index).name;
    return true;
}

// The cuts use the String range operations, so a line without any ":" and
// one ending in its ":" throw ArrayIndexException (callers let it pass).
bool HttpHeader::parse(const String& text) {
    int pos = 0;
    while (pos < text.length()) {
        int end = text.indexOf("\r\n", pos);
        if (end < 0) end = text.length();
        int colon = text.indexOf(':', pos);
        if (colon >= end) return false;
        String name = text.substring(pos, colon).trim(kBlanks);
        String value = text.substring(colon + 1, end).trim(kBlanks);
        if (!add(name, value)) return false;
        pos = end + 2;
    }
    return true;
}

String HttpHeader::toString() const {
    String text;
    for (int i = 0; i < size(); i++) {
        text.append(get(i).name).append(": ").append(get(i).value.toString()).append("\r\n");
    }
    return text;
}
