#include "client/ZRDownloadProgress.h"

#include "client/ZRClientLog.h"
#include "client/ZRStatusScript.h"

namespace {
const long kPollBytes = 256 * 1024;
}  // namespace

ZRDownloadProgress::ZRDownloadProgress(long productId, const String& name, long size, long start)
    : productId(productId),
      name(name),
      size(size),
      reports(0),
      lastPercent(0),
      lastPoll(start),
      terminal(name, size, start) {
    // A resumed download counts the reports and percentages already behind
    // it as made, so the script is not called once per piece until it
    // catches up with the part held.
    if (size > 0) {
        reports = start * 20 / size;
        lastPercent = start * 100 / size;
    }
    logBytes(start);
    ZRStatusScript::download(productId, start, size);
}

void ZRDownloadProgress::logBytes(long received) {
    ZRClientLog::info(String("Download ")
                          .append(name)
                          .append(" (")
                          .append(received)
                          .append(" of ")
                          .append(size)
                          .append(")"));
}

void ZRDownloadProgress::update(long received) {
    terminal.update(received);
    // Queued status reports move on every so often, not at every piece.
    if (received - lastPoll >= kPollBytes) {
        ZRStatusScript::pollDownloadReports();
        lastPoll = received;
    }
    if (size <= 0) return;
    if (received * 20 / size > reports) {
        ZRStatusScript::download(productId, received, size);
        reports++;
    }
    long percent = received * 100 / size;
    if (percent != lastPercent) {
        logBytes(received);
        lastPercent = percent;
    }
}

ZRDownloadProgress::~ZRDownloadProgress() {
    ZRStatusScript::awaitDownloadReport();
}

void ZRDownloadProgress::finish() {
    terminal.finish();
    ZRStatusScript::awaitDownloadReport();
}
