#ifndef ZR_OBJECT_H
#define ZR_OBJECT_H

class String;

// Root of the library's value and utility classes.
class ZRObject {
public:
    virtual ~ZRObject() = default;
    // The name of the object's dynamic class, as the run-time type
    // information reports it.
    virtual String toString() const;
};

#endif
