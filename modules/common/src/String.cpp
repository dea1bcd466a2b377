#include "String.h"

#include <strings.h>

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>

#include "Exception.h"
#include "Vector.h"

namespace {

const char* const UNIT = "String";
const int STEP = 40;
// Numbers are formatted here before they are appended.
const int SCRATCH_SIZE = 80;

int sign(int n) {
    return n < 0 ? -1 : (n > 0 ? 1 : 0);
}

// A number rendered by printf into a scratch buffer of fixed size.
struct Scratch {
    char text[SCRATCH_SIZE];
};

template <class V>
Scratch formatNumber(const char* format, V value) {
    Scratch scratch;
    std::snprintf(scratch.text, sizeof scratch.text, format, value);
    return scratch;
}

// An integer in decimal, exactly as printf's "%d" family renders it, written
// without printf: ids and version numbers are rendered for every product
// listed, and printf's format parsing cost more than the rest of that work.
template <class V>
Scratch formatInteger(V value) {
    Scratch scratch;
    char* p = scratch.text + sizeof scratch.text;
    *--p = '\0';
    bool negative = false;
    if constexpr (std::is_signed_v<V>) negative = value < 0;
    unsigned long long magnitude = static_cast<unsigned long long>(value);
    if (negative) magnitude = 0ULL - magnitude;
    do {
        *--p = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (negative) *--p = '-';
    std::memmove(scratch.text, p, static_cast<size_t>(scratch.text + sizeof scratch.text - p));
    return scratch;
}

// Length of `s`, stopping after `count` bytes or at a NUL.
int boundedLength(const char* s, int count) {
    return static_cast<int>(strnlen(s, static_cast<size_t>(count)));
}

// Room for a text of `n` bytes and its NUL: the smallest multiple of STEP
// above `n` (0 <= n <= INT_MAX - STEP).
int roomFor(int n) {
    if (n > INT_MAX - STEP) ZR_THROW(OutOfMemoryException, "Out of memory", UNIT);
    return (n / STEP + 1) * STEP;
}

int cStringLength(const char* s) {
    size_t n = std::strlen(s);
    if (n > static_cast<size_t>(INT_MAX - STEP))
        ZR_THROW(OutOfMemoryException, "Out of memory", UNIT);
    return static_cast<int>(n);
}

}  // namespace

char* String::allocate(int size) {
    char* block = new (std::nothrow) char[size];
    if (block == nullptr) ZR_THROW(OutOfMemoryException, "Out of memory", UNIT);
    return block;
}

char* String::bufferOfSize(int size) {
    static_assert(INLINE_ROOM == STEP, "a new string's room is the inline room");
    return size <= INLINE_ROOM ? inline_ : allocate(size);
}

void String::freeBuffer() {
    if (buffer_ != inline_) delete[] buffer_;
}

String::String() : String(0) {}

String::String(int capacity)
    : capacity_(roomFor(capacity > 0 ? capacity : 0)),
      length_(0),
      buffer_(bufferOfSize(capacity_)) {
    buffer_[0] = '\0';
}

// Sized for `s` at once: most strings are made from a C string and never
// grow, so they cost one allocation and one copy.
String::String(const char* s)
    : capacity_(0), length_(s != nullptr ? cStringLength(s) : 0), buffer_(nullptr) {
    capacity_ = roomFor(length_);
    buffer_ = bufferOfSize(capacity_);
    if (length_ > 0) std::memcpy(buffer_, s, static_cast<size_t>(length_));
    buffer_[length_] = '\0';
}

String::String(const char* s, int offset, int count)
    : String(s != nullptr && offset >= 0 && count > 0 ? boundedLength(s + offset, count) : 0) {
    append(s, offset, count);
}

// A copy is sized for its text, not for the room the original grew to.
String::String(const String& other)
    : ZRObject(other),
      capacity_(roomFor(other.length_)),
      length_(other.length_),
      buffer_(bufferOfSize(capacity_)) {
    std::memcpy(buffer_, other.buffer_, static_cast<size_t>(length_) + 1);
}

String& String::operator=(const String& other) {
    if (this == &other) return *this;
    // Room first, so that a failed allocation leaves the text as it was.
    ensureCapacity(other.length_);
    std::memcpy(buffer_, other.buffer_, static_cast<size_t>(other.length_) + 1);
    length_ = other.length_;
    return *this;
}

String::~String() {
    freeBuffer();
}

String String::toString() const {
    return *this;
}

void String::clear() {
    length_ = 0;
    buffer_[0] = '\0';
}

void String::ensureCapacity(int n) {
    if (capacity_ >= n + 1 || n < 0) return;
    if (n > INT_MAX - STEP) ZR_THROW(OutOfMemoryException, "Out of memory", UNIT);
    // Growth is geometric (at least double the old room), so text built by
    // many small appends is copied a bounded number of times per byte, not
    // once per STEP bytes. The room stays a multiple of STEP and above `n`,
    // and the text is the same as with growth in fixed steps.
    int newCapacity = roomFor(n);
    if (capacity_ <= INT_MAX / 2 && 2 * capacity_ > newCapacity) newCapacity = 2 * capacity_;
    char* block = allocate(newCapacity);
    std::memcpy(block, buffer_, static_cast<size_t>(length_) + 1);
    freeBuffer();
    buffer_ = block;
    capacity_ = newCapacity;
}

// ---------------------------------------------------------------- low level

void String::appendBytes(const char* src, int count) {
    insertBytes(length_, src, count);
}

void String::insertBytes(int pos, const char* src, int count) {
    if (count <= 0) return;
    if (count > INT_MAX - STEP - length_) ZR_THROW(OutOfMemoryException, "Out of memory", UNIT);
    // The source may lie inside our own buffer (s.append(s), s.insert(0,
    // s.c_str() + 2)); growth would free it and the gap would shift it, so
    // such a source is copied aside first.
    bool inside = !std::less<const char*>()(src, buffer_) &&
                  std::less<const char*>()(src, buffer_ + capacity_);
    std::unique_ptr<char[]> aside;
    if (inside) {
        aside.reset(allocate(count));
        std::memcpy(aside.get(), src, static_cast<size_t>(count));
        src = aside.get();
    }
    ensureCapacity(length_ + count);
    std::memmove(buffer_ + pos + count, buffer_ + pos, static_cast<size_t>(length_ - pos));
    std::memcpy(buffer_ + pos, src, static_cast<size_t>(count));
    length_ += count;
    buffer_[length_] = '\0';
}

void String::removeRange(int from, int to) {
    if (to == length_) {
        length_ = from;
    } else {
        std::memmove(buffer_ + from, buffer_ + to, static_cast<size_t>(length_ - to));
        length_ -= to - from;
    }
    buffer_[length_] = '\0';
}

void String::checkIndex(int i) const {
    if (i < 0 || i >= length_) ZR_THROW(ArrayIndexException, "Array index out of bounds", UNIT);
}

// 0 <= from < length, 0 <= to <= length, from <= to.
void String::checkRange(int from, int to) const {
    if (from < 0 || from >= length_ || to < 0 || to > length_ || from > to) {
        ZR_THROW(ArrayIndexException, "Array index out of bounds", UNIT);
    }
}

// ---------------------------------------------------------------- appending

String& String::append(const char* s) {
    if (s != nullptr) appendBytes(s, cStringLength(s));
    return *this;
}

String& String::append(const char* s, int offset, int count) {
    if (s == nullptr || offset < 0 || count < 1) return *this;
    appendBytes(s + offset, boundedLength(s + offset, count));
    return *this;
}

String& String::append(const String& s) {
    appendBytes(s.buffer_, s.length_);
    return *this;
}

String& String::append(const ZRObject& o) {
    return append(o.toString());
}

String& String::append(char c) {
    appendBytes(&c, 1);
    return *this;
}

String& String::append(bool b) {
    return append(b ? "true" : "false");
}

String& String::append(int n) {
    return append(formatInteger(n).text);
}

String& String::append(long n) {
    return append(formatInteger(n).text);
}

String& String::append(double d) {
    return append(formatNumber("%g", d).text);
}

String& String::append(float f) {
    return append(formatNumber("%g", static_cast<double>(f)).text);
}

String& String::append(unsigned int n) {
    return append(formatInteger(n).text);
}

String& String::append(unsigned long n) {
    return append(formatInteger(n).text);
}

String& String::append(long long n) {
    return append(formatInteger(n).text);
}

String& String::append(unsigned long long n) {
    return append(formatInteger(n).text);
}

// ---------------------------------------------------------------- inserting

namespace {

void checkInsertPosition(int pos, int length) {
    if (pos < 0 || pos > length) ZR_THROW(ArrayIndexException, "Array index out of bounds", UNIT);
}

// Renders a value exactly as append does, then inserts the text.
template <class T>
String& insertRendered(String& s, int pos, T value) {
    checkInsertPosition(pos, s.length());
    return s.insert(pos, String().append(value));
}

}  // namespace

String& String::insert(int pos, const char* s) {
    checkInsertPosition(pos, length_);
    if (s != nullptr) insertBytes(pos, s, cStringLength(s));
    return *this;
}

String& String::insert(int pos, const char* s, int offset, int count) {
    checkInsertPosition(pos, length_);
    if (s == nullptr || offset < 0 || count <= 0) return *this;
    insertBytes(pos, s + offset, count);
    return *this;
}

String& String::insert(int pos, char c) {
    checkInsertPosition(pos, length_);
    insertBytes(pos, &c, 1);
    return *this;
}

String& String::insert(int pos, const String& s) {
    checkInsertPosition(pos, length_);
    insertBytes(pos, s.buffer_, s.length_);
    return *this;
}

// Values are rendered exactly as append renders them, then inserted.
String& String::insert(int pos, const ZRObject& o) {
    checkInsertPosition(pos, length_);
    return insert(pos, o.toString());
}

String& String::insert(int pos, bool b) {
    return insert(pos, b ? "true" : "false");
}

String& String::insert(int pos, int n) {
    return insertRendered(*this, pos, n);
}

String& String::insert(int pos, long n) {
    return insertRendered(*this, pos, n);
}

String& String::insert(int pos, double d) {
    return insertRendered(*this, pos, d);
}

String& String::insert(int pos, float f) {
    return insertRendered(*this, pos, f);
}

// ---------------------------------------------------------------- removing

String& String::deleteChars(int from, int to) {
    checkRange(from, to);
    removeRange(from, to);
    return *this;
}

String& String::deleteCharAt(int i) {
    checkIndex(i);
    removeRange(i, i + 1);
    return *this;
}

String& String::replace(int from, int to, const char* s) {
    checkRange(from, to);
    if (from == to) ZR_THROW(ArrayIndexException, "Array index out of bounds", UNIT);
    // Build the result aside: `s` may point into this string, and a failed
    // allocation must leave the text unchanged.
    String result(length_ - (to - from) + (s != nullptr ? cStringLength(s) : 0));
    result.appendBytes(buffer_, from);
    result.append(s);
    result.appendBytes(buffer_ + to, length_ - to);
    return *this = result;
}

String& String::replace(int from, int to, const String& s) {
    return replace(from, to, s.buffer_);
}

String& String::replace(char a, char b) {
    for (int i = 0; i < length_; i++) {
        if (buffer_[i] == a) buffer_[i] = b;
    }
    return *this;
}

void String::getChars(int from, int to, char* dst, int dstOffset) const {
    if (dst == nullptr) ZR_THROW(NullPointerException, "Pointer is NULL", UNIT);
    checkRange(from, to);
    std::memcpy(dst + dstOffset, buffer_ + from, static_cast<size_t>(to - from));
}

char String::charAt(int i) const {
    checkIndex(i);
    return buffer_[i];
}

void String::setCharAt(int i, char c) {
    checkIndex(i);
    buffer_[i] = c;
}

void String::setLength(int n) {
    if (n < 0 || n > length_) ZR_THROW(ArrayIndexException, "Array index out of bounds", UNIT);
    length_ = n;
    buffer_[length_] = '\0';
}

String String::substring(int from) const {
    // Unlike substring(from, to), `from` equal to the length is refused.
    if (from < 0 || from >= length_)
        ZR_THROW(ArrayIndexException, "Array index out of bounds", UNIT);
    String result(length_ - from);
    result.appendBytes(buffer_ + from, length_ - from);
    return result;
}

String String::substring(int from, int to) const {
    checkRange(from, to);
    String result(to - from);
    result.appendBytes(buffer_ + from, to - from);
    return result;
}

// ---------------------------------------------------------------- searching

// Searches see the text up to its first NUL; a NUL itself is never found.

int String::indexOf(char c, int from) const {
    if (from < 0 || from >= length_ || c == '\0') return -1;
    const char* hit = std::strchr(buffer_ + from, c);
    return hit == nullptr ? -1 : static_cast<int>(hit - buffer_);
}

int String::indexOf(const char* s, int from) const {
    if (s == nullptr || from < 0 || from >= length_) return -1;
    const char* hit = std::strstr(buffer_ + from, s);
    return hit == nullptr ? -1 : static_cast<int>(hit - buffer_);
}

int String::indexOfIgnoreCase(const char* s, int from) const {
    if (s == nullptr || from < 0 || from >= length_) return -1;
    size_t n = std::strlen(s);
    if (n > static_cast<size_t>(length_)) return -1;
    int last = length_ - static_cast<int>(n);
    for (int i = from; i <= last; i++) {
        if (strncasecmp(buffer_ + i, s, n) == 0) return i;
    }
    return -1;
}

int String::lastIndexOf(char c) const {
    return lastIndexOf(c, length_ - 1);
}

int String::lastIndexOf(char c, int from) const {
    if (from < 0 || from >= length_ || c == '\0') return -1;
    int end = static_cast<int>(std::strlen(buffer_));
    for (int i = from < end ? from : end - 1; i >= 0; i--) {
        if (buffer_[i] == c) return i;
    }
    return -1;
}

int String::lastIndexOf(const char* s) const {
    return lastIndexOf(s, length_ - 1);
}

int String::lastIndexOf(const char* s, int from) const {
    if (s == nullptr || from < 0 || from >= length_) return -1;
    size_t n = std::strlen(s);
    if (n > static_cast<size_t>(length_)) return -1;
    int start = length_ - static_cast<int>(n);
    if (from < start) start = from;
    for (int i = start; i >= 0; i--) {
        if (std::strncmp(buffer_ + i, s, n) == 0) return i;
    }
    return -1;
}

bool String::startsWith(const char* s, int pos) const {
    if (s == nullptr || pos < 0 || pos > length_) return false;
    return std::strncmp(buffer_ + pos, s, std::strlen(s)) == 0;
}

bool String::startsWithIgnoreCase(const char* s, int pos) const {
    if (s == nullptr || pos < 0 || pos > length_) return false;
    return strncasecmp(buffer_ + pos, s, std::strlen(s)) == 0;
}

bool String::endsWith(const char* s) const {
    if (s == nullptr) return false;
    size_t n = std::strlen(s);
    if (n > static_cast<size_t>(length_)) return false;
    return std::strncmp(buffer_ + length_ - n, s, n) == 0;
}

bool String::endsWithIgnoreCase(const char* s) const {
    if (s == nullptr) return false;
    size_t n = std::strlen(s);
    if (n > static_cast<size_t>(length_)) return false;
    return strncasecmp(buffer_ + length_ - n, s, n) == 0;
}

// ---------------------------------------------------------------- comparing

bool String::equals(const char* s) const {
    return s != nullptr && std::strcmp(buffer_, s) == 0;
}

bool String::equals(const String& s) const {
    return std::strcmp(buffer_, s.buffer_) == 0;
}

bool String::equalsIgnoreCase(const char* s) const {
    return s != nullptr && strcasecmp(buffer_, s) == 0;
}

bool String::equalsIgnoreCase(const String& s) const {
    return strcasecmp(buffer_, s.buffer_) == 0;
}

// Any text sorts after a null pointer.
int String::compareTo(const char* s) const {
    return s == nullptr ? 1 : sign(std::strcmp(buffer_, s));
}

int String::compareTo(const String& s) const {
    return sign(std::strcmp(buffer_, s.buffer_));
}

int String::compareToIgnoreCase(const char* s) const {
    return s == nullptr ? 1 : sign(strcasecmp(buffer_, s));
}

int String::compareToIgnoreCase(const String& s) const {
    return sign(strcasecmp(buffer_, s.buffer_));
}

// ---------------------------------------------------------------- transforming

String& String::toLowerCase() {
    for (int i = 0; i < length_; i++) {
        buffer_[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(buffer_[i])));
    }
    return *this;
}

String& String::toUpperCase() {
    for (int i = 0; i < length_; i++) {
        buffer_[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(buffer_[i])));
    }
    return *this;
}

namespace {

// True when `c` is one of the bytes of the C string `set` (never for NUL).
bool isIn(char c, const char* set) {
    return c != '\0' && std::strchr(set, c) != nullptr;
}

}  // namespace

String String::trim(const char* set) const {
    if (set == nullptr) return *this;
    int end = static_cast<int>(std::strlen(buffer_));
    int begin = 0;
    while (begin < end && isIn(buffer_[begin], set)) begin++;
    while (end > begin && isIn(buffer_[end - 1], set)) end--;
    String result(end - begin);
    result.appendBytes(buffer_ + begin, end - begin);
    return result;
}

void String::split(Vector<String>& out, const String& delimiters) const {
    out.clear();
    if (delimiters.isEmpty()) return;
    int end = static_cast<int>(std::strlen(buffer_));
    int i = 0;
    while (i < end) {
        while (i < end && isIn(buffer_[i], delimiters.buffer_)) i++;
        int start = i;
        while (i < end && !isIn(buffer_[i], delimiters.buffer_)) i++;
        if (i > start) out.add(String(buffer_, start, i - start));
    }
}

// ---------------------------------------------------------------- concatenation

String operator+(const String& a, const String& b) {
    String result(a.length() + b.length());
    result.append(a);
    result.append(b);
    return result;
}

String operator+(const String& a, const char* b) {
    String result(a);
    result.append(b);
    return result;
}
