#include "client/ZRPartialDownload.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Exception.h"
#include "ZRPaths.h"
#include "client/ZRClientLog.h"
#include "io/File.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreFile.h"
#include "store/ZRUpdateStore.h"
#include "util/ChildProcess.h"

namespace {

// Opens one of the partial-download documents; unloaded when it is missing
// or broken (the callers then find nothing).
void open(ZRUpdateStore& store, const char* name) {
    try {
        store.load(ZRStoreFile::homeFile(name).c_str());
    } catch (Exception& e) {
        ZRClientLog::debug(e.getMessage());
    }
}

// Flushes the file's data to disk; false when it cannot be opened or synced.
bool syncData(const String& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    bool synced = ::fsync(fd) == 0;
    ::close(fd);
    return synced;
}

}  // namespace

bool moveFile(const String& from, const String& to) {
    Vector<String> args;
    for (const String& arg : {String("mv"), String("-f"), from, to}) args.add(arg);
    return ChildProcess::exitedWith(ChildProcess::run(ZRPaths::MV, args, nullptr), 0);
}

ZRPartialDownload::ZRPartialDownload(long productId, const String& url, const String& localFile,
                                     long size)
    : productId(productId), url(url), localFile(localFile), size(size) {}

String ZRPartialDownload::savedPath(const String& localFile) {
    String name(localFile);
    name.replace('/', '$');
    return String(ZRPaths::HOME) + "/tmp/" + name;
}

long ZRPartialDownload::resume() {
    ZRUpdateStore store;
    open(store, ZRStateFiles::PARTIAL_FILES);
    ZRPartialFileInfo entry;
    if (!store.findPartialFile(productId, entry)) return 0;
    ZRClientLog::info("find in  ZRUPDATE_PARTIAL_FILE");
    String restored(entry.path);
    restored.replace('$', '/');
    File saved(entry.path);
    bool matches = entry.url.equals(url) && entry.size == size &&
                   restored.endsWith(localFile.c_str()) && entry.actualSize > 0 &&
                   saved.length() == entry.actualSize;
    if (!matches) {
        ZRClientLog::info("info in ZRUPDATE_PARTIAL_FILE did not match real one " + entry.path);
        store.removePartialFile(productId);
        saved.deleteFile();
        return 0;
    }
    // The entry goes first: should the run stop right after the move, the
    // next run finds no entry and downloads from the start.
    store.removePartialFile(productId);
    if (!moveFile(entry.path, localFile)) {
        ZRClientLog::info("move path " + entry.path + ") failed");
        saved.deleteFile();
        return 0;
    }
    ZRClientLog::info("move path " + entry.path + ") success");
    return entry.actualSize;
}

bool ZRPartialDownload::excluded() {
    ZRUpdateStore config;
    open(config, ZRStateFiles::PARTIAL_CONFIG);
    SizeLimit limit;
    config.getSizeLimit(limit);
    ZRClientLog::info(String("partail minsize: ").append(limit.minSize));
    bool result = limit.minSize > size;
    for (int i = 0; i < limit.ids.size(); i++) {
        ZRClientLog::info(String("partail id: ").append(limit.ids.elementAt(i)));
        if (limit.ids.elementAt(i) == productId) result = true;
    }
    ZRClientLog::info(String("partail result: ").append(result ? "true" : "false"));
    return result;
}

void ZRPartialDownload::keep() {
    File local(localFile);
    if (excluded()) return;
    long held = local.length();
    if (held <= 0) return;
    String saved = savedPath(localFile);
    File(String(ZRPaths::HOME) + "/tmp").mkdirs();
    if (!syncData(localFile) || !moveFile(localFile, saved)) {
        ZRClientLog::info("move path " + saved + ") failed");
        local.deleteFile();
        return;
    }
    ZRPartialFileInfo entry;
    entry.productID = productId;
    entry.url = url;
    entry.path = saved;
    entry.size = size;
    entry.actualSize = held;
    ZRUpdateStore store;
    open(store, ZRStateFiles::PARTIAL_FILES);
    store.putPartialFile(productId, entry);
    ZRClientLog::info("move path " + saved + ") success");
}

void ZRPartialDownload::discard() {
    File(localFile).deleteFile();
}
