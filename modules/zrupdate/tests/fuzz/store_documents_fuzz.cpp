// Fuzz target for the state stores: any bytes, read as an inventory, a
// network file and a partial-download document, must neither crash the
// readers nor make a change leave a file that does not parse again. A change
// that is refused must leave the file byte for byte as it was.

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "ZRNetConfig.h"
#include "ZRUpdateStore.h"

namespace {

const std::string& scratchFile() {
    static std::string path = [] {
        char dir[] = "/tmp/zr-store-fuzz.XXXXXX";
        if (mkdtemp(dir) == nullptr) abort();
        std::string folder = dir;
        atexit([] {
            std::remove(scratchFile().c_str());
            std::string folder = scratchFile().substr(0, scratchFile().rfind('/'));
            rmdir(folder.c_str());
        });
        return folder + "/document";
    }();
    return path;
}

void writeBytes(const std::string& path, const uint8_t* data, size_t size) {
    FILE* out = std::fopen(path.c_str(), "wb");
    if (out == nullptr) abort();
    if (size > 0 && std::fwrite(data, 1, size, out) != size) abort();
    std::fclose(out);
}

std::string readBytes(const std::string& path) {
    std::string text;
    FILE* in = std::fopen(path.c_str(), "rb");
    if (in == nullptr) abort();
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, in)) > 0) text.append(buffer, n);
    std::fclose(in);
    return text;
}

// After a change: a success leaves a document that loads again, a refusal
// leaves the file untouched.
void checkOutcome(bool changed, const std::string& before) {
    const std::string& file = scratchFile();
    if (changed) {
        ZRUpdateStore again;
        if (!again.load(file.c_str())) abort();
    } else if (readBytes(file) != before) {
        abort();
    }
}

void exerciseInventory(const uint8_t* data, size_t size) {
    const std::string& file = scratchFile();
    writeBytes(file, data, size);
    ZRUpdateStore store{String(file.c_str())};
    if (!store.load(file.c_str())) return;
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
    std::string before = readBytes(file);
    checkOutcome(store.addProduct(p), before);
    before = readBytes(file);
    checkOutcome(store.replaceProduct(p.info.id, p), before);
    before = readBytes(file);
    checkOutcome(store.removeProduct(4242), before);
}

void exercisePartialFiles(const uint8_t* data, size_t size) {
    const std::string& file = scratchFile();
    writeBytes(file, data, size);
    ZRUpdateStore store;
    if (!store.load(file.c_str())) return;
    Vector<ZRPartialFileInfo> entries;
    store.getPartialFiles(entries);
    SizeLimit limit;
    store.getSizeLimit(limit);
    ZRPartialFileInfo info;
    info.productID = 7;
    info.url = "/zr-download?path=a&b";
    info.size = -1;
    std::string before = readBytes(file);
    checkOutcome(store.putPartialFile(7, info), before);
    before = readBytes(file);
    checkOutcome(store.removePartialFile(7), before);
}

void exerciseNetwork(const uint8_t* data, size_t size) {
    const std::string& file = scratchFile();
    writeBytes(file, data, size);
    ZRNetConfig config;
    if (!config.load(file.c_str())) return;
    NetSettings settings;
    ServerVerify verify;
    config.getServerVerify(verify);
    if (!config.getSettings(settings)) return;
    settings.servers.add(ZRServer(String("fuzz.example")));
    settings.proxyuser = "a\"b";
    std::string before = readBytes(file);
    bool changed = config.setSettings(settings);
    checkOutcome(changed, before);
    if (changed) {
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
