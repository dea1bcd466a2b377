#ifndef ZR_XML_TEST_SUPPORT_H
#define ZR_XML_TEST_SUPPORT_H

// Scratch folders and log capture for the XML tests.
#include <ftw.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "ZRPaths.h"
#include "util/Log.h"

// A fresh folder under /tmp, removed with its contents at the end.
class ScratchDir {
  public:
    ScratchDir() {
        char pattern[] = "/tmp/zr-xml-test-XXXXXX";
        const char* made = mkdtemp(pattern);
        if (made != nullptr) dir = made;
    }
    ~ScratchDir() {
        if (!dir.empty()) {
            nftw(
                dir.c_str(),
                [](const char* path, const struct stat*, int, struct FTW*) { return remove(path); },
                16, FTW_DEPTH | FTW_PHYS);
        }
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    bool ok() const { return !dir.empty(); }
    // The folder's own name, unique among concurrent test runs.
    std::string name() const { return dir.substr(dir.rfind('/') + 1); }
    std::string path(const std::string& name) const { return dir + "/" + name; }

  private:
    std::string dir;
};

inline std::string readWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void writeWholeFile(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

// Sends the debug log and the main log to files in a scratch folder while it
// lives; both go back to standard error afterwards, and the logs' lock files
// (kept in the temporary folder under the log file's name) are removed.
class LogCapture {
  public:
    explicit LogCapture(const ScratchDir& scratch)
        : debugName(scratch.name() + "-debug.log"),
          mainName(scratch.name() + "-main.log"),
          debugPath(scratch.path(debugName)),
          mainPath(scratch.path(mainName)) {
        Log::setDebug(true);
        Log::openDebugLog(debugPath.c_str());
        Log::openLog(mainPath.c_str());
    }
    ~LogCapture() {
        Log::openDebugLog("");
        Log::openLog("");
        Log::setDebug(false);
        for (const std::string& name : {debugName, mainName}) {
            for (const char* suffix : {".lock", ".rlock"}) {
                unlink((std::string(ZRPaths::TMP_DIR) + "/" + name + suffix).c_str());
            }
        }
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::string debugText() const { return readWholeFile(debugPath); }
    std::string mainText() const { return readWholeFile(mainPath); }

  private:
    std::string debugName;
    std::string mainName;
    std::string debugPath;
    std::string mainPath;
};

#endif
