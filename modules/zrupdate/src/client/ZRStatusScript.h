#ifndef ZR_STATUS_SCRIPT_H
#define ZR_STATUS_SCRIPT_H

// The status script of the installation ("bin/update_status.pl" under the
// home), which keeps the update status users see. It is run through the
// system shell by perl; its exit status is ignored.
namespace ZRStatusScript {

// "--status request": an update request is about to be sent.
void request(long id);
// "--status download" with the bytes received and the package size. The
// script runs while the transfer goes on: the call returns once it has
// started, after the previous download report has ended, so the reports
// still run one at a time and in order.
void download(long id, long received, long total);
// Waits for the download report still running, if any. Every other report
// waits for it first too.
void awaitDownloadReport();
// "--status install": the downloaded packages are about to be installed.
void install(long id);

}  // namespace ZRStatusScript

#endif
