// Scratch folders and small file helpers shared by the io tests.
#ifndef ZR_TESTS_IO_SCRATCH_H
#define ZR_TESTS_IO_SCRATCH_H

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include "Exception.h"
#include "String.h"
#include "TestScratch.h"

inline std::string str(const String& s) {
    return std::string(s.c_str(), s.length());
}

// The message of the IOException that `call` throws, "<no exception>" if none.
inline std::string ioMessage(const std::function<void()>& call) {
    try {
        call();
    } catch (const IOException& e) {
        return str(e.getMessage());
    }
    return "<no exception>";
}

// The IOException message of each call, in order.
inline std::vector<std::string> ioMessages(std::initializer_list<std::function<void()>> calls) {
    std::vector<std::string> messages;
    for (const auto& call : calls) messages.push_back(ioMessage(call));
    return messages;
}

inline void writeText(const std::string& path, const std::string& text, mode_t mode = 0644) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, mode);
    if (fd < 0) throw std::runtime_error("cannot create " + path);
    if (write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        close(fd);
        throw std::runtime_error("cannot write " + path);
    }
    close(fd);
}

inline std::string readText(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) return "<missing>";
    std::string text;
    char chunk[4096];
    ssize_t got;
    while ((got = read(fd, chunk, sizeof chunk)) > 0) text.append(chunk, got);
    close(fd);
    return text;
}

// Entry names of a folder, sorted, without "." and "..".
inline std::vector<std::string> folderNames(const std::string& path) {
    std::vector<std::string> names;
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr) return names;
    while (struct dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

inline mode_t modeOf(const std::string& path) {
    struct stat info;
    if (lstat(path.c_str(), &info) != 0) return 0;
    return info.st_mode & 07777;
}

// Runs with the working directory set to `dir`, restoring it afterwards.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::string& dir) {
        char buf[4096];
        if (getcwd(buf, sizeof buf) != nullptr) old_ = buf;
        if (chdir(dir.c_str()) != 0) throw std::runtime_error("chdir failed");
    }
    ~WorkingDirectory() {
        if (!old_.empty() && chdir(old_.c_str()) != 0) abort();
    }

private:
    std::string old_;
};

#endif
