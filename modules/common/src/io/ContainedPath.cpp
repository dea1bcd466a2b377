#include "io/ContainedPath.h"

#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <string>

#include "io/File.h"

namespace {

// Links resolved per path, as the system bounds them.
const int kMaxLinks = 40;

void dropLastEntry(std::string& path) {
    size_t slash = path.rfind('/');
    path.erase(slash == 0 ? 1 : slash);
}

// `resolved` + "/" + `name`, resolved through a link when there is one to
// follow. False when it cannot be examined or resolved.
bool step(std::string& resolved, const std::string& name, bool follow, int& links) {
    std::string next = resolved == "/" ? "/" + name : resolved + "/" + name;
    struct stat info;
    if (lstat(next.c_str(), &info) != 0) {
        // Nothing there (or a file where a folder is needed): the rest of
        // the path is only text, and text without links stays where it says.
        if (errno != ENOENT && errno != ENOTDIR) return false;
        resolved = next;
        return true;
    }
    if (!S_ISLNK(info.st_mode) || !follow) {
        resolved = next;
        return true;
    }
    char target[PATH_MAX];
    if (++links > kMaxLinks || realpath(next.c_str(), target) == nullptr) return false;
    resolved = target;
    return true;
}

}  // namespace

bool ContainedPath::resolve(const String& path, bool followLast, String& resolved) {
    std::string text = File(path).getAbsolutePath().c_str();
    std::string out = "/";
    int links = 0;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('/', start);
        if (end == std::string::npos) end = text.size();
        std::string name = text.substr(start, end - start);
        bool last = text.find_first_not_of('/', end) == std::string::npos;
        start = end + 1;
        if (name.empty() || name == ".") continue;
        if (name == "..") {
            dropLastEntry(out);
        } else if (!step(out, name, !last || followLast, links)) {
            return false;
        }
    }
    resolved = String(out.c_str());
    return true;
}

bool ContainedPath::isInside(const String& path, const String& folder, bool followLast,
                             String& rest) {
    String where;
    String base;
    if (!resolve(path, followLast, where) || !resolve(folder, true, base)) return false;
    if (!base.endsWith("/")) base.append("/");
    if (!where.startsWith(base.c_str()) || where.length() <= base.length()) return false;
    rest = where.substring(base.length());
    return true;
}
