#ifndef ZR_STRING_H
#define ZR_STRING_H

#include "ZRObject.h"

template <class T>
class Vector;

// Mutable byte string on a buffer that is always there and always
// NUL-terminated. Capacity is a multiple of 40 bytes, grows geometrically
// and never shrinks.
// Index and range errors throw ArrayIndexException and leave the text as it
// was; null C-string arguments are harmless (nothing appended, -1, false).
class String : public ZRObject {
public:
    String();
    // Empty text with room for a text of `capacity` bytes.
    explicit String(int capacity);
    // Copy of `s`; null gives the empty string.
    String(const char* s);
    // Up to `count` bytes from `s + offset`, stopping at a NUL.
    String(const char* s, int offset, int count);
    String(const String& other);
    String& operator=(const String& other);
    ~String() override;

    String toString() const override;

    const char* c_str() const { return buffer_; }
    int length() const { return length_; }
    int capacity() const { return capacity_; }
    bool isEmpty() const { return length_ == 0; }
    void clear();
    // Makes room for a text of `n` bytes (plus its NUL).
    void ensureCapacity(int n);

    // Appending; each returns the string itself so calls chain.
    String& append(const char* s);
    String& append(const char* s, int offset, int count);
    String& append(const String& s);
    String& append(const ZRObject& o);
    String& append(char c);
    String& append(bool b);
    String& append(int n);
    String& append(long n);
    String& append(double d);
    String& append(float f);
    // Further integer widths, so that sizes and counts of any type append
    // without an ambiguous overload.
    String& append(unsigned int n);
    String& append(unsigned long n);
    String& append(long long n);
    String& append(unsigned long long n);

    // Inserting at `pos` in 0..length() (length() appends).
    String& insert(int pos, const char* s);
    // Copies exactly `count` bytes from `s + offset`, NULs included.
    String& insert(int pos, const char* s, int offset, int count);
    String& insert(int pos, char c);
    String& insert(int pos, const String& s);
    String& insert(int pos, const ZRObject& o);
    String& insert(int pos, bool b);
    String& insert(int pos, int n);
    String& insert(int pos, long n);
    String& insert(int pos, double d);
    String& insert(int pos, float f);

    // Removing, replacing, copying out.
    String& deleteChars(int from, int to);
    String& deleteCharAt(int i);
    String& replace(int from, int to, const char* s);
    String& replace(int from, int to, const String& s);
    String& replace(char a, char b);
    void getChars(int from, int to, char* dst, int dstOffset) const;
    char charAt(int i) const;
    void setCharAt(int i, char c);
    void setLength(int n);
    String substring(int from) const;
    String substring(int from, int to) const;

    // Searching; byte indices, -1 when not found.
    int indexOf(char c, int from = 0) const;
    int indexOf(const char* s, int from = 0) const;
    int indexOfIgnoreCase(const char* s, int from = 0) const;
    int lastIndexOf(char c) const;
    int lastIndexOf(char c, int from) const;
    int lastIndexOf(const char* s) const;
    int lastIndexOf(const char* s, int from) const;
    bool startsWith(const char* s, int pos = 0) const;
    bool startsWithIgnoreCase(const char* s, int pos = 0) const;
    bool endsWith(const char* s) const;
    bool endsWithIgnoreCase(const char* s) const;

    // Comparing. A null argument is never equal; compareTo(null) is positive.
    bool equals(const char* s) const;
    bool equals(const String& s) const;
    bool equalsIgnoreCase(const char* s) const;
    bool equalsIgnoreCase(const String& s) const;
    int compareTo(const char* s) const;
    int compareTo(const String& s) const;
    int compareToIgnoreCase(const char* s) const;
    int compareToIgnoreCase(const String& s) const;
    bool operator==(const String& s) const { return equals(s); }
    bool operator==(const char* s) const { return equals(s); }
    bool operator!=(const String& s) const { return !equals(s); }
    bool operator!=(const char* s) const { return !equals(s); }
    bool operator<(const String& s) const { return compareTo(s) < 0; }

    // Transforming.
    String& toLowerCase();
    String& toUpperCase();
    // New string without the leading and trailing bytes found in `set`.
    String trim(const char* set) const;
    // Empties `out`, then appends every maximal run of bytes free of
    // `delimiters`; no empty items.
    void split(Vector<String>& out, const String& delimiters) const;

private:
    // Opens a gap of `count` bytes at `pos` and copies `src` into it; `src`
    // may point into this string's own buffer.
    void insertBytes(int pos, const char* src, int count);
    void appendBytes(const char* src, int count);
    void removeRange(int from, int to);
    // 0 <= i < length.
    void checkIndex(int i) const;
    void checkRange(int from, int to) const;
    static char* allocate(int size);
    // The room of a new buffer of `size` bytes: the string's own inline
    // room when it is large enough, else a heap block.
    char* bufferOfSize(int size);
    void freeBuffer();

    // The first 40 bytes of room live in the object itself. Most strings
    // (element and attribute names, values, numbers) are short, and making
    // one then costs no heap block; the room and text seen by callers are
    // the same as with a heap buffer of 40 bytes.
    static constexpr int INLINE_ROOM = 40;

    int capacity_;
    int length_;
    char* buffer_;
    char inline_[INLINE_ROOM];
};

// Concatenation into a new string.
String operator+(const String& a, const String& b);
String operator+(const String& a, const char* b);

#endif
