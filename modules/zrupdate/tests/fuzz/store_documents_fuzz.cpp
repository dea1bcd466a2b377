// Fuzz target for the state stores: any bytes, read as an inventory, a
// network file and a partial-download document, must neither crash the
// readers nor make a change leave a file that does not parse again. A change
// that is refused must leave the file byte for byte as it was.

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "../StoreTestSupport.h"
#include "store/ZRNetConfig.h"
#include "store/ZRUpdateStore.h"

namespace {

// One scratch folder per process, removed at exit. Kept in plain arrays so
// that the exit handler does not depend on the order of static destruction.
char scratchFolder[] = "/tmp/zr-store-fuzz.XXXXXX";
char scratchDocument[sizeof scratchFolder + 16];

void removeScratch() {
    std::remove(scratchDocument);
    rmdir(scratchFolder);
}

const char* scratchFile() {
    if (scratchDocument[0] == '\0') {
        if (mkdtemp(scratchFolder) == nullptr) abort();
        std::snprintf(scratchDocument, sizeof scratchDocument, "%s/document", scratchFolder);
        atexit(removeScratch);
    }
    return scratchDocument;
}

void writeBytes(const std::string& path, const uint8_t* data, size_t size) {
    writeFile(path, std::string(reinterpret_cast<const char*>(data), size));
}

// Writes the fuzzed bytes as the scratch document and loads it into `store`.
template <typename Store>
bool loadBytes(Store& store, const uint8_t* data, size_t size) {
    writeBytes(scratchFile(), data, size);
    return store.load(scratchFile());
}

// Makes a change: a success leaves a document that loads again, a refusal
// leaves the file untouched. Returns whether the change was made.
template <typename Change>
bool checkChange(Change change) {
    const std::string file = scratchFile();
    const std::string before = readFile(file);
    if (change()) {
        ZRUpdateStore again;
        if (!again.load(file.c_str())) abort();
        return true;
    }
    if (readFile(file) != before) abort();
    return false;
}

void exerciseInventory(const uint8_t* data, size_t size) {
    ZRUpdateStore store{String(scratchFile())};
    if (!loadBytes(store, data, size)) return;
    Vector<ZRProduct> products;
    store.getProducts(products);
    PlatformRecord platform;
    store.getPlatformInfo(platform);
    String request;
    store.buildRequest(0, request);
    store.buildRequest(1000, request);

    ZRProduct p;
    p.info.id = 4242;
    p.info.name = "Fuzz & <Co>";
    p.version = ZRVersionInfo(String("1.2.3"));
    checkChange([&] { return store.addProduct(p); });
    checkChange([&] { return store.replaceProduct(p.info.id, p); });
    checkChange([&] { return store.removeProduct(4242); });
}

void exercisePartialFiles(const uint8_t* data, size_t size) {
    ZRUpdateStore store;
    if (!loadBytes(store, data, size)) return;
    Vector<ZRPartialFileInfo> entries;
    store.getPartialFiles(entries);
    SizeLimit limit;
    store.getSizeLimit(limit);
    ZRPartialFileInfo info;
    info.productID = 7;
    info.url = "/zr-download?path=a&b";
    info.size = -1;
    checkChange([&] { return store.putPartialFile(7, info); });
    checkChange([&] { return store.removePartialFile(7); });
}

void exerciseNetwork(const uint8_t* data, size_t size) {
    ZRNetConfig config;
    if (!loadBytes(config, data, size)) return;
    NetSettings settings;
    ServerVerify verify;
    config.getServerVerify(verify);
    if (!config.getSettings(settings)) return;
    settings.servers.add(ZRServer(String("fuzz.example")));
    settings.proxyuser = "a\"b";
    if (checkChange([&] { return config.setSettings(settings); })) {
        NetSettings reread;
        if (!config.getSettings(reread) || !reread.proxyuser.equals("a\"b")) abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    exerciseInventory(data, size);
    exercisePartialFiles(data, size);
    exerciseNetwork(data, size);
    return 0;
}
