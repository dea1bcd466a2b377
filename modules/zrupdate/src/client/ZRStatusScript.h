#ifndef ZR_STATUS_SCRIPT_H
#define ZR_STATUS_SCRIPT_H

// The status script of the installation ("bin/update_status.pl" under the
// home), which keeps the update status users see. It is run through the
// system shell by perl; its exit status is ignored.
namespace ZRStatusScript {

// "--status request": an update request is about to be sent.
void request(long id);
// "--status download" with the bytes received and the package size.
void download(long id, long received, long total);
// "--status install": the downloaded packages are about to be installed.
void install(long id);

}  // namespace ZRStatusScript

#endif
