// Feeds arbitrary bytes to the update client as the server's answer to an
// update request: the client classifies it, takes the offered packages or
// the redirect servers, and for a lasting redirect writes the servers into
// the network settings. Whatever the answer, the result is one of the
// protocol's codes or -1, the package list writes out and reads back whole,
// and the network settings stay readable with at least one server.
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

#include "String.h"
#include "client/ZRUpdateClient.h"
#include "io/StringOutputStream.h"
#include "store/ZRNetConfig.h"
#include "store/ZRUpdateParser.h"
#include "util/Log.h"

namespace {

// A network document of its own in a scratch folder, made afresh before
// every input so that lasting redirects do not pile up servers. The folder
// goes when the process ends.
struct ScratchNetwork {
    String folder;
    String path;
    ScratchNetwork() {
        char name[] = "/tmp/zr-answer-fuzz.XXXXXX";
        if (mkdtemp(name) == nullptr) __builtin_trap();
        folder = name;
        path = folder + "/zr-network";
    }
    ~ScratchNetwork() {
        unlink(path.c_str());
        rmdir(folder.c_str());
    }
};

const String& networkFile() {
    static ScratchNetwork scratch;
    return scratch.path;
}

void check(bool ok) {
    if (!ok) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The client's log lines would only slow the search down.
    Log::setEnabled(false);
    String answer;
    answer.insert(0, reinterpret_cast<const char*>(data), 0, int(size));
    check(createDefaultNetwork(networkFile().c_str()) == 0);
    ZRNetConfig& network = ZRNetConfig::instance();
    check(network.load(networkFile().c_str()));

    ZRUpdateClient client;
    int code = client.processResponse(answer);
    check(code == -1 || code == 200 || code == 201 || code == 210 || code == 211 || code == 500);

    const Vector<ZRPackageInfo>& packages = client.getPackages();
    check(code == 201 || packages.size() == 0);
    if (packages.size() > 0) {
        StringOutputStream out;
        client.writePackages(out);
        ZRUpdateParser back;
        Vector<ZRPackageInfo> read;
        check(back.parse(out.getString()) && back.getPackageList(read, true) == packages.size());
    }

    NetSettings settings;
    check(network.getSettings(settings) && settings.servers.size() > 0);
    return 0;
}
