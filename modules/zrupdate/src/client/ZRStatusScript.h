#ifndef ZR_STATUS_SCRIPT_H
#define ZR_STATUS_SCRIPT_H

// The status script of the installation ("bin/update_status.pl" under the
// home), which keeps the update status users see. It is run through the
// system shell by perl; its exit status is ignored.
namespace ZRStatusScript {

// "--status request": an update request is about to be sent.
void request(long id);
// "--status download" with the bytes received and the package size. The
// script runs while the transfer goes on: the report is queued and started
// as soon as the one before it has ended, so the reports run one at a time
// and in order without holding the transfer up.
void download(long id, long received, long total);
// Starts the next queued download report when the one before has ended;
// called often while a transfer goes on.
void pollDownloadReports();
// Runs every queued download report to its end. Every other report does
// this first too.
void awaitDownloadReport();
// "--status install": the downloaded packages are about to be installed.
void install(long id);

}  // namespace ZRStatusScript

#endif
