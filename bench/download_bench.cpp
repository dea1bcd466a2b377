// Downloads one package with the update client and checks its size and MD5
// digest, as an update does.
//
//   download_bench NETWORK_FILE URL LOCAL_FILE SIZE MD5
//
// Prints "ok" when the file arrived whole with the expected digest.
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "client/ZRUpdateClient.h"
#include "store/ZRNetConfig.h"
#include "util/Log.h"

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fputs("usage: download_bench NETWORK_FILE URL LOCAL_FILE SIZE MD5\n", stderr);
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN);
    Log::setEnabled(false);
    if (!ZRNetConfig::instance().load(argv[1])) {
        std::fputs("cannot read the network settings\n", stderr);
        return 2;
    }
    ZRUpdateClient client;
    String digest;
    if (!client.downloadFile(1, "bench", argv[2], argv[3], std::atol(argv[4])) ||
        !client.md5File(argv[3], digest) || !digest.equalsIgnoreCase(argv[5])) {
        std::puts("failed");
        return 1;
    }
    std::puts("ok");
    return 0;
}
