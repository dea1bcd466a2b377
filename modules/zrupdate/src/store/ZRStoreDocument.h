#ifndef ZR_STORE_DOCUMENT_H
#define ZR_STORE_DOCUMENT_H

#include "String.h"
#include "ZRObject.h"
#include "io/AtomicFile.h"
#include "store/ZRXmlDocument.h"

class XMLTree;

// What every store of a state document shares: the file it came from, the
// parsed tree and whether that tree may be used. Memory mirrors the file:
// every save reads the file back, so a change that could not be written is
// dropped from memory as well.
class ZRStoreDocument : public ZRObject {
public:
    // `what` names the document in log lines ("network settings"); without it
    // the lines name the file. `modeLimit` bounds the file's permission bits
    // on every save (see AtomicFile).
    explicit ZRStoreDocument(const char* what = nullptr, mode_t modeLimit = AtomicFile::ANY_MODE);
    ~ZRStoreDocument() override;

    // False for a null or empty path. Otherwise remembers the path and parses
    // the file; an IOException from opening it passes to the caller (the
    // document is then unloaded). The result is that of the parse.
    bool load(const char* file);
    bool isValid() const { return loaded; }
    const String& getPath() const { return path; }
    // Writes the tree to the file (atomically) and reads it back; false when
    // nothing is loaded or either step fails.
    bool save();

protected:
    // Parses the remembered file again; a failure to open it is logged.
    bool reload();
    // The parsed tree, or null when nothing usable is loaded.
    XMLTree* tree();

private:
    ZRStoreDocument(const ZRStoreDocument&) = delete;
    ZRStoreDocument& operator=(const ZRStoreDocument&) = delete;

    const char* what;
    mode_t modeLimit;
    String path;
    ZRXmlDocument doc;
    bool loaded;
};

#endif
