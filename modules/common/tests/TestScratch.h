#ifndef ZR_TEST_SCRATCH_H
#define ZR_TEST_SCRATCH_H

// Scratch folders and whole-file helpers shared by the tests of every module.
// Depends on the standard library only.
#include <ftw.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

// A fresh folder under /tmp, removed with everything in it at the end (also
// entries a test made unreadable or unwritable).
class ScratchDir {
public:
    ScratchDir() {
        char pattern[] = "/tmp/zr-test.XXXXXX";
        if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp failed");
        path_ = pattern;
    }
    ~ScratchDir() { nftw(path_.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS); }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    std::string operator/(const std::string& name) const { return file(name); }
    // The folder's own name, unique among concurrent test runs.
    std::string name() const { return path_.substr(path_.rfind('/') + 1); }

private:
    static int removeEntry(const char* p, const struct stat* st, int, struct FTW*) {
        if (st != nullptr && !S_ISLNK(st->st_mode)) chmod(p, 0700);
        std::remove(p);
        return 0;
    }
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

#endif
