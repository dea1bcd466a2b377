// zrupload: sends a sample, a report or an upload request to the upload
// service of the update servers, for the products' own scripts. It reads the
// updater's network settings (servers, protocol, proxy, time-out) and writes
// to the updater's log.
//
//   zrupload [-M] [--debug] [--serial SN] config DATE OUTFILE
//   zrupload [-M] [--debug] [--serial SN] request REQUESTFILE OUTFILE
//   zrupload [-M] [--debug] [--serial SN] sample DATE NAME MD5 FILE
//   zrupload [-M] [--debug] [--serial SN] report DATE FILE
//
// -M uses the module network settings. Exit status: 0 when a server answered
// 200, 1 when it answered another status, 2 when no server could be reached
// or the settings could not be read, 3 when the input was refused before any
// connection (a file that is missing, unreadable or not a regular file, or a
// value with a line break), 64 for a bad command line.
#include <csignal>
#include <cstdio>
#include <cstring>

#include "Exception.h"
#include "String.h"
#include "client/ZRUploaderClient.h"
#include "io/File.h"
#include "net/SSL.h"
#include "store/ZRNetConfig.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreFile.h"
#include "util/Log.h"

namespace {

const int kAnswered = 1;
const int kUnreachable = 2;
const int kRefused = 3;
const int kUsage = 64;
const int kUnknownCommand = -100;  // below every result of the client

int usage() {
    std::fputs(
        "usage: zrupload [-M] [--debug] [--serial SN] config DATE OUTFILE\n"
        "       zrupload [-M] [--debug] [--serial SN] request REQUESTFILE OUTFILE\n"
        "       zrupload [-M] [--debug] [--serial SN] sample DATE NAME MD5 FILE\n"
        "       zrupload [-M] [--debug] [--serial SN] report DATE FILE\n"
        "exit status: 0 answer 200, 1 another answer, 2 no server answered,\n"
        "             3 input refused (file not readable, line break in a value), 64 usage\n",
        stderr);
    return kUsage;
}

// The same log file as the updater, so that an administrator finds every
// exchange with the servers in one place.
void openLog(bool debug) {
    String logPath = ZRStoreFile::homeFile(ZRStateFiles::LOG);
    File(File(logPath).getParent()).mkdirs();
    Log::openLog(logPath.c_str());
    if (debug) {
        Log::openDebugLog(logPath.c_str());
        Log::setDebug(true);
    }
}

// Runs the command: the client's result, or kUnknownCommand for an unknown
// command or a wrong number of arguments.
int runCommand(ZRUploaderClient& client, const char* command, char** args, int count) {
    if (std::strcmp(command, "config") == 0 && count == 2)
        return client.getConfig(args[0], args[1]);
    if (std::strcmp(command, "request") == 0 && count == 2)
        return client.sendRequest(args[0], args[1]);
    if (std::strcmp(command, "report") == 0 && count == 2)
        return client.sendReport(args[0], args[1]);
    if (std::strcmp(command, "sample") == 0 && count == 4) {
        SampleInfo info;
        info.date = args[0];
        info.virusName = args[1];
        info.md5 = args[2];
        return client.sendSample(info, args[3]);
    }
    return kUnknownCommand;
}

}  // namespace

int main(int argc, char** argv) {
    bool moduleMode = false;
    bool debug = false;
    String serialNo;
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; i++) {
        if (std::strcmp(argv[i], "-M") == 0) {
            moduleMode = true;
        } else if (std::strcmp(argv[i], "--debug") == 0) {
            debug = true;
        } else if (std::strcmp(argv[i], "--serial") == 0 && i + 1 < argc) {
            serialNo = argv[++i];
        } else {
            return usage();
        }
    }
    if (i >= argc) return usage();

    std::signal(SIGPIPE, SIG_IGN);
    // No time-out handler is installed: a TLS exchange that runs out of time
    // throws, and the walk goes on with the next server.
    SSLClient::initLibrary();
    int status = -1;
    ZRUploaderClient client(serialNo);
    try {
        openLog(debug);
        String network = ZRStoreFile::homeFile(moduleMode ? ZRStateFiles::MODULE_NETWORK
                                                          : ZRStateFiles::NETWORK);
        ZRNetConfig::instance().load(network.c_str());
        status = runCommand(client, argv[i], argv + i + 1, argc - i - 1);
    } catch (Exception& e) {
        std::fprintf(stderr, "zrupload: %s\n", e.getMessage().c_str());
    }
    if (status == kUnknownCommand) return usage();
    if (status == ZRUploaderClient::INPUT_REFUSED) {
        std::fprintf(stderr, "zrupload: %s\n", client.refusal().c_str());
        return kRefused;
    }
    if (status == 200) return 0;
    if (status < 0) {
        std::fprintf(stderr, "zrupload: no update server answered (see %s)\n",
                     ZRStoreFile::homeFile(ZRStateFiles::LOG).c_str());
        return kUnreachable;
    }
    std::fprintf(stderr, "zrupload: the server answered %d\n", status);
    return kAnswered;
}
