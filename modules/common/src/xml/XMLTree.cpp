#include "xml/XMLTree.h"

#include "Exception.h"
#include "io/AtomicFile.h"
#include "util/Log.h"
#include "xml/XMLParser.h"

bool XMLTree::writeFile(const String& path) const {
    String text;
    toString(text);
    try {
        // Documents are replaced whole, so that a kill or a full disk cannot tear them.
        if (AtomicFile::replace(path, text.c_str(), text.length()) ==
            AtomicFile::WRITTEN_IN_PLACE) {
            Log::getFileLog()->log(
                String("XML document written in place, not crash-safe: ").append(path),
                Log::LEVEL_WARNING);
        }
    } catch (const IOException& e) {
        Log::getFileLog()->log(String("cannot write XML document: ").append(e.getMessage()),
                               Log::LEVEL_ERROR);
        return false;
    }
    return true;
}

bool XMLParser::writeFile(const String& path) const {
    return getTree()->writeFile(path);
}
