#ifndef ZR_STORE_TEST_SUPPORT_H
#define ZR_STORE_TEST_SUPPORT_H

// Scratch folders and whole-file helpers for the store tests.

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

// A fresh folder under /tmp, removed with everything in it at the end.
class ScratchDir {
  public:
    ScratchDir() {
        char name[] = "/tmp/zr-store-test.XXXXXX";
        if (mkdtemp(name) == nullptr) throw std::runtime_error("mkdtemp failed");
        path_ = name;
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

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
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

inline bool fileExists(const std::string& path) {
    return std::filesystem::exists(path);
}

// The declaration line every document written by the stores begins with.
inline std::string xmlDecl() {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
}

#endif
