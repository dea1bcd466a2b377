#ifndef ZR_MD5_H
#define ZR_MD5_H

#include "String.h"
#include "ZRObject.h"

// MD5 message digest (RFC 1321). Feed bytes with update(), then take the
// 16-byte digest with final() or its 32 upper-case hexadecimal digits with
// finalHex(). Taking the digest wipes the state and starts a new digest, so
// one object can digest several messages in turn.
class MD5 : public ZRObject {
public:
    MD5();
    MD5(const MD5& other);
    MD5& operator=(const MD5& other);
    ~MD5() override;

    void reset();  // back to the initial state, discarding any input
    void update(const char* data, unsigned length);
    void update(const char* text);  // the bytes of a NUL-terminated text
    void final(unsigned char digest[16]);
    void finalHex(String& out);  // appends the 32 digits to `out`

    // Digests the file at `path`, read in blocks of 1024 bytes, and appends
    // the 32 upper-case hexadecimal digits to `out`. False when the file cannot
    // be opened; a read error ends the digest early.
    static bool md5File(const char* path, String& out);

private:
    struct Context;
    Context* context;  // owned
};

#endif
