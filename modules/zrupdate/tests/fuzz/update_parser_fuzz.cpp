// Feeds arbitrary bytes to the update answer parser as the server's answer
// and reads everything a client reads from it: result code, server list and
// package list in both forms. A number attribute that does not parse throws
// the library's Exception by design; anything else (a crash, a sanitizer
// report, another exception type) is a finding.
#include <cstddef>
#include <cstdint>

#include "Exception.h"
#include "String.h"
#include "io/StringOutputStream.h"
#include "store/ZRUpdateParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    String text;
    text.insert(0, reinterpret_cast<const char*>(data), 0, int(size));
    ZRUpdateParser parser;
    if (!parser.parse(text)) return 0;

    try {
        parser.getResultCode();
    } catch (const Exception&) {
    }
    parser.getResultStatus();
    parser.getRootName();

    Vector<ZRServer> servers;
    parser.getServerList(servers);

    for (int rootIsList = 0; rootIsList < 2; ++rootIsList) {
        Vector<ZRPackageInfo> packages;
        try {
            parser.getPackageList(packages, rootIsList != 0);
        } catch (const Exception&) {
            continue;
        }
        // What was read must write out and read back to the same count.
        StringOutputStream out;
        int written = writePackageList(out, packages);
        if (written != packages.size()) __builtin_trap();
        if (written == 0) continue;
        ZRUpdateParser again;
        Vector<ZRPackageInfo> back;
        if (!again.parse(out.getString()) || again.getPackageList(back, true) != written) {
            __builtin_trap();
        }
    }
    return 0;
}
