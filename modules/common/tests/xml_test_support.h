#ifndef ZR_XML_TEST_SUPPORT_H
#define ZR_XML_TEST_SUPPORT_H

// Scratch folders, whole-file helpers and log capture for the tests of the
// logs, the XML layer and RSA. It depends on nothing but the common library,
// so test folders of other modules may include it as well.
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "io/FileInputStream.h"
#include "util/Log.h"
#include "xml/XMLParser.h"
#include "xml/XMLTree.h"

// A fresh folder under /tmp, removed with everything in it at the end.
class ScratchDir {
public:
    ScratchDir() {
        char pattern[] = "/tmp/zr-test.XXXXXX";
        if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp failed");
        path_ = pattern;
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    // The folder's own name, unique among concurrent test runs.
    std::string name() const { return path_.substr(path_.rfind('/') + 1); }

private:
    std::string path_;
};

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void writeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

inline bool fileExists(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
}

// A rotating log keeps lock files in the temporary folder, named after the
// log file; tests give each log a unique name and remove them with this.
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
