#ifndef ZR_DOWNLOAD_PROGRESS_H
#define ZR_DOWNLOAD_PROGRESS_H

#include "String.h"
#include "client/ZRTerminalProgress.h"

// Where a download tells of its progress: the status script hears of every
// further 5 %, the log gets a line for every further percent, and an
// administrator at a terminal sees a self-rewriting line.
class ZRDownloadProgress {
public:
    // A transfer of package `name` (product `productId`, `size` bytes)
    // starting at byte `start`: logs and reports that start.
    ZRDownloadProgress(long productId, const String& name, long size, long start);
    // Waits for the last status report (see finish()).
    ~ZRDownloadProgress();
    ZRDownloadProgress(const ZRDownloadProgress&) = delete;
    ZRDownloadProgress& operator=(const ZRDownloadProgress&) = delete;
    // `received` bytes of the file are now held.
    void update(long received);
    // Ends the terminal line and waits for the status report still running,
    // so that no report of this download runs after it.
    void finish();

private:
    void logBytes(long received);

    long productId;
    String name;
    long size;
    long reports;
    long lastPercent;
    long lastPoll;  // bytes held when the status reports were last moved on
    ZRTerminalProgress terminal;
};

#endif
