#ifndef ZR_EXCEPTION_H
#define ZR_EXCEPTION_H

#include "String.h"
#include "ZRObject.h"

// Root of the library's error reports. Every failure is thrown by value with
// a fixed English message and the source unit and line that raised it;
// callers catch by reference to Exception or one of its subclasses.
class Exception : public ZRObject {
public:
    // Empty message, empty file, line 0.
    Exception();
    explicit Exception(const char* message);
    explicit Exception(const String& message);
    ~Exception() override;

    virtual const String& getMessage() const;
    virtual String getDescription() const;
    // "<file>, line <line>", e.g. "String, line 158".
    virtual String getLocation() const;

    void setLocation(const char* file, int line);
    const String& getFile() const { return file; }
    int getLine() const { return line; }

protected:
    String message;
    String file;
    int line;
};

// The default constructors of the subclasses carry the library's standard
// message for that failure, so the common case needs no text at the call.

class OutOfMemoryException : public Exception {
public:
    OutOfMemoryException() : Exception("Out of memory") {}
    using Exception::Exception;
};

class ArrayIndexException : public Exception {
public:
    ArrayIndexException() : Exception("Array index out of bounds") {}
    using Exception::Exception;
};

class NullPointerException : public Exception {
public:
    NullPointerException() : Exception("Pointer is NULL") {}
    using Exception::Exception;
};

class IOException : public Exception {
public:
    IOException() = default;
    using Exception::Exception;
};

// Builds E from the message (a C string or a String), records where it was
// raised and throws it by value. Used through ZR_THROW so that the line is the
// caller's.
template <class E, class M>
[[noreturn]] void zrThrow(const M& message, const char* unit, int line) {
    E error(message);
    error.setLocation(unit, line);
    throw error;
}

// ZR_THROW(ArrayIndexException, "Array index out of bounds", "String");
#define ZR_THROW(Type, message, unit) zrThrow<Type>((message), (unit), __LINE__)

#endif
