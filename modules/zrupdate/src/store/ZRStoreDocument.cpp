#include "store/ZRStoreDocument.h"

#include "Exception.h"
#include "store/ZRStoreFile.h"
#include "xml/XMLTree.h"

ZRStoreDocument::ZRStoreDocument(const char* what, mode_t modeLimit)
    : what(what), modeLimit(modeLimit), loaded(false) {}

ZRStoreDocument::~ZRStoreDocument() {}

bool ZRStoreDocument::load(const char* file) {
    if (file == nullptr || *file == '\0') return false;
    path = file;
    // Unloaded first: a file that cannot be opened must not leave the
    // previous document in place under the new name.
    loaded = false;
    loaded = ZRStoreFile::read(doc, path);
    return loaded;
}

XMLTree* ZRStoreDocument::tree() {
    return loaded ? doc.getTree() : nullptr;
}

bool ZRStoreDocument::reload() {
    loaded = false;
    try {
        loaded = ZRStoreFile::read(doc, path);
    } catch (IOException& e) {
        String message("ZRUpdate: reload ");
        message.append(what != nullptr ? String(what) : path).append(" failed: ");
        message.append(e.getMessage());
        ZRStoreFile::logDebug(message);
    }
    return loaded;
}

bool ZRStoreDocument::save() {
    XMLTree* t = tree();
    if (t == nullptr) return false;
    String failurePrefix;
    if (what != nullptr) {
        failurePrefix.append("ZRUpdate: store ").append(what).append(" failed: ");
    } else {
        failurePrefix = ZRStoreFile::failurePrefix(path);
    }
    bool written = ZRStoreFile::write(*t, path, failurePrefix, modeLimit);
    // Read the file back in both cases: after a failed write this drops the
    // change from memory again, so memory keeps mirroring the file.
    bool reloaded = reload();
    return written && reloaded;
}
