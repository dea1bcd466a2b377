// Test driver of the update client: loads the state documents of the home
// as the program's start-up does, runs one exchange and prints its result.
//
//   update_client_driver update ID HTTP_DOWNLOAD   -> "result R status S"
//   update_client_driver ping                      -> "result R"
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ZRPaths.h"
#include "client/ZRUpdateClient.h"
#include "io/File.h"
#include "store/ZRNetConfig.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreDefaults.h"
#include "store/ZRStoreFile.h"
#include "store/ZRUpdateStore.h"
#include "util/Log.h"

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    String logPath = ZRStoreFile::homeFile("logs/zrupdate.log");
    File(File(logPath).getParent()).mkdirs();
    Log::openLog(logPath.c_str());
    // The tests read the debug lines (answers, diagnostics) too.
    Log::setLevel(Log::LEVEL_DEBUG);
    if (!ZRUpdateStore::instance().load(ZRStoreFile::homeFile(ZRStateFiles::INVENTORY).c_str()) ||
        !ZRNetConfig::instance().load(ZRStoreFile::homeFile(ZRStateFiles::NETWORK).c_str())) {
        std::puts("bad state files");
        return 2;
    }
    if (File(ZRStoreFile::homeFile(ZRStateFiles::PARTIAL_FILES)).length() <= 0)
        createDefaultPartialFiles();
    ZRUpdateClient client;
    if (argc == 4 && std::strcmp(argv[1], "update") == 0) {
        int result = client.update(std::atol(argv[2]), std::atoi(argv[3]));
        std::printf("result %d status %d\n", result, client.getLastStatus());
        return 0;
    }
    if (argc == 2 && std::strcmp(argv[1], "ping") == 0) {
        std::printf("result %d\n", client.ping());
        return 0;
    }
    std::fputs("usage: update_client_driver update ID HTTP_DOWNLOAD | ping\n", stderr);
    return 2;
}
