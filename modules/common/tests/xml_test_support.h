#ifndef ZR_XML_TEST_SUPPORT_H
#define ZR_XML_TEST_SUPPORT_H

// Scratch folders, whole-file helpers and log capture for the tests of the
// logs, the XML layer and RSA. It depends on nothing but the common library,
// so test folders of other modules may include it as well.
#include <cstdio>
#include <string>

#include "TestScratch.h"
#include "io/FileInputStream.h"
#include "util/Log.h"
#include "xml/XMLParser.h"
#include "xml/XMLTree.h"

inline void removeLogLocks(const std::string& logPath) {
    for (const char* suffix : {".lock", ".rlock"}) {
        std::remove(RotationFileLog::lockFilePath(String(logPath.c_str()), suffix).c_str());
    }
}

// Sends the debug log and the main log to files in a scratch folder while it
// lives; both go back to standard error afterwards.
class LogCapture {
public:
    explicit LogCapture(const ScratchDir& scratch)
        : debugPath(scratch.file(scratch.name() + "-debug.log")),
          mainPath(scratch.file(scratch.name() + "-main.log")) {
        Log::setDebug(true);
        Log::openDebugLog(debugPath.c_str());
        Log::openLog(mainPath.c_str());
    }
    ~LogCapture() {
        Log::openDebugLog("");
        Log::openLog("");
        Log::setDebug(false);
        removeLogLocks(debugPath);
        removeLogLocks(mainPath);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::string debugText() const { return readFile(debugPath); }
    std::string mainText() const { return readFile(mainPath); }

private:
    std::string debugPath;
    std::string mainPath;
};

// The document text of `tree`.
inline std::string textOf(const XMLTree& tree) {
    String out("stale");
    tree.toString(out);
    return std::string(out.c_str(), out.length());
}

// The value of attribute `name` at (path, index), "<missing>" when there is none.
inline String attr(const XMLTree& tree, const char* path, const char* name, int index = -1) {
    String value("stale");
    return tree.getAttribute(path, name, value, index) ? value : String("<missing>");
}

// Parses `bytes` as the content of a file in `scratch`, read as a stream.
inline bool parseAsFile(XMLParser& parser, const ScratchDir& scratch, const std::string& bytes) {
    std::string path = scratch.file("input.xml");
    writeFile(path, bytes);
    FileInputStream in(path.c_str());
    return parser.parse(in);
}

#endif
