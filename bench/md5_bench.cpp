// Times MD5::md5File against the system's md5sum on the same file, in the same
// run, with the file in the page cache: best of N repetitions each, both
// digests compared, times and the ratio printed.
//
//   md5_bench <file> [repetitions]
// Exit status 0 when the digests agree, 1 when they differ, 2 on usage errors.
#include <sys/stat.h>

#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "MD5.h"
#include "String.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Runs md5sum on `path`; the digest upper-cased, or "" when it fails.
std::string runMd5sum(const std::string& path) {
    std::string command = "md5sum '" + path + "'";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return "";
    char line[512] = "";
    if (std::fgets(line, sizeof line, pipe) == nullptr) line[0] = '\0';
    if (pclose(pipe) != 0) return "";
    std::string digest;
    for (int i = 0; i < 32 && std::isxdigit(static_cast<unsigned char>(line[i])); ++i) {
        digest.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(line[i]))));
    }
    return digest;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: %s <file> [repetitions]\n", argv[0]);
        return 2;
    }
    const std::string path = argv[1];
    const int repetitions = argc == 3 ? std::atoi(argv[2]) : 3;
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || repetitions < 1) {
        std::fprintf(stderr, "md5_bench: cannot read %s\n", path.c_str());
        return 2;
    }
    const double mebibytes = static_cast<double>(info.st_size) / (1024.0 * 1024.0);

    // One untimed pass of each brings the file into the page cache.
    String ours;
    MD5::md5File(path.c_str(), ours);
    std::string theirs = runMd5sum(path);

    double bestOurs = 1e30, bestTheirs = 1e30;
    for (int i = 0; i < repetitions; ++i) {
        ours.clear();
        Clock::time_point start = Clock::now();
        bool ok = MD5::md5File(path.c_str(), ours);
        double elapsed = secondsSince(start);
        if (!ok) {
            std::fprintf(stderr, "md5_bench: md5File failed on %s\n", path.c_str());
            return 2;
        }
        if (elapsed < bestOurs) bestOurs = elapsed;

        start = Clock::now();
        theirs = runMd5sum(path);
        elapsed = secondsSince(start);
        if (elapsed < bestTheirs) bestTheirs = elapsed;
    }

    const bool agree = theirs == ours.c_str();
    std::printf("file        %s (%.0f MiB), best of %d\n", path.c_str(), mebibytes, repetitions);
    std::printf("MD5::md5File %s  %.3f s  %.0f MiB/s\n", ours.c_str(), bestOurs,
                mebibytes / bestOurs);
    std::printf("md5sum       %s  %.3f s  %.0f MiB/s\n", theirs.c_str(), bestTheirs,
                mebibytes / bestTheirs);
    std::printf("ratio md5File/md5sum %.3f (below 1 is faster)\n", bestOurs / bestTheirs);
    if (!agree) {
        std::printf("DIGESTS DIFFER\n");
        return 1;
    }
    std::printf("digests agree\n");
    return 0;
}
