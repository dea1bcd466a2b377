// Replay driver for the fuzz targets in builds without libFuzzer: runs every
// file of the given folders (or the given files) through the target once.
#include <dirent.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

static bool readWhole(const std::string& path, std::vector<uint8_t>& out) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    uint8_t buf[65536];
    size_t n;
    out.clear();
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.insert(out.end(), buf, buf + n);
    std::fclose(f);
    return true;
}

static int runOne(const std::string& path, int& count) {
    std::vector<uint8_t> data;
    if (!readWhole(path, data)) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return 1;
    }
    LLVMFuzzerTestOneInput(data.data(), data.size());
    ++count;
    return 0;
}

int main(int argc, char** argv) {
    int count = 0;
    int failures = 0;
    for (int i = 1; i < argc; ++i) {
        struct stat st;
        if (stat(argv[i], &st) != 0) {
            std::fprintf(stderr, "missing corpus %s\n", argv[i]);
            return 1;
        }
        if (!S_ISDIR(st.st_mode)) {
            failures += runOne(argv[i], count);
            continue;
        }
        DIR* dir = opendir(argv[i]);
        if (!dir) return 1;
        while (struct dirent* e = readdir(dir)) {
            std::string name = e->d_name;
            if (name == "." || name == "..") continue;
            failures += runOne(std::string(argv[i]) + "/" + name, count);
        }
        closedir(dir);
    }
    // An empty corpus would make this a test that cannot fail.
    if (count == 0) {
        std::fprintf(stderr, "no corpus inputs run\n");
        return 1;
    }
    std::printf("%d inputs replayed\n", count);
    return failures == 0 ? 0 : 1;
}
