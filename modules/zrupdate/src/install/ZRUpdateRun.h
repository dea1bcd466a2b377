#ifndef ZR_UPDATE_RUN_H
#define ZR_UPDATE_RUN_H

// The update command: the exchange and download of the update client, the
// hand-over of the downloaded packages through "conf/zr-newpkgs", their
// installation under the run lock, and the new versions in the inventory
// and the held-back packages in the delay-package list.
//
// Results: 2 packages installed or held back (1 for the updater itself,
// id 1000), 0 nothing to update, -2 the inventory or the delay list could
// not be changed after an installation, -5 the exchange failed or brought
// no package, -6 no package could be installed or held back, -8 the
// exchange failed with 401 from the update server, -12 no run lock.
int runUpdate(long id, bool httpDownload);

#endif
