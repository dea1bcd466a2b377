#include "store/ZRStoreFile.h"

#include <memory>

#include "Exception.h"
#include "ZRPaths.h"
#include "io/AtomicFile.h"
#include "io/FileInputStream.h"
#include "store/ZRXmlDocument.h"
#include "util/FailureNote.h"
#include "util/Log.h"
#include "xml/XMLTree.h"

namespace ZRStoreFile {

bool read(ZRXmlDocument& doc, const String& path) {
    FileInputStream in(path.c_str());
    bool ok = doc.parse(in);
    in.close();
    return ok;
}

bool writeText(const String& text, const String& path, const String& failurePrefix,
               mode_t modeLimit) {
    try {
        if (AtomicFile::replace(path, text.c_str(), text.length(), modeLimit) ==
            AtomicFile::WRITTEN_IN_PLACE) {
            String message("ZRUpdate: store ");
            message.append(path.substring(path.lastIndexOf('/') + 1));
            Log::getFileLog()->log(message.append(" written in place, not crash-safe"), 1);
        }
        return true;
    } catch (IOException& e) {
        String message(failurePrefix);
        message.append(e.getMessage());
        // An error, not a debug line: the person told on standard error to
        // read the log must find the reason there without --debug.
        Log::getFileLog()->log(message, Log::LEVEL_ERROR);
        // The change is lost whatever the command reports: always shown.
        FailureNote::record(String("cannot write ").append(path), FailureNote::ALWAYS);
        return false;
    }
}

bool write(XMLTree& tree, const String& path, const String& failurePrefix, mode_t modeLimit) {
    String text;
    tree.toString(text);
    return writeText(text, path, failurePrefix, modeLimit);
}

int createDocument(const char* path, String (*makeText)(), const char* failurePrefix,
                   mode_t modeLimit) {
    if (path == nullptr || *path == '\0') return -1;
    String text = makeText();
    if (text.isEmpty()) return -1;
    String prefix =
        failurePrefix != nullptr ? String(failurePrefix) : ZRStoreFile::failurePrefix(String(path));
    return writeText(text, String(path), prefix, modeLimit) ? 0 : -1;
}

String emptyDocumentText(const char* rootName) {
    String text;
    std::unique_ptr<XMLTree> tree(XMLTree::create());
    if (tree && tree->addNode(String(""), String(rootName), -1)) tree->toString(text);
    return text;
}

String failurePrefix(const String& path) {
    String prefix("ZRUpdate: store ");
    int slash = path.lastIndexOf('/');
    prefix.append(slash >= 0 && slash + 1 < path.length() ? path.substring(slash + 1) : path);
    prefix.append(" failed: ");
    return prefix;
}

void logDebug(const String& message) {
    Log::getFileLog()->log(message, 3);
}

String homeFile(const char* name) {
    String path(ZRPaths::HOME);
    path.append("/").append(name);
    return path;
}

}  // namespace ZRStoreFile
