#ifndef ZR_PARTIAL_DOWNLOAD_H
#define ZR_PARTIAL_DOWNLOAD_H

#include "String.h"

// The bookkeeping of an interrupted package download: the part received is
// kept under the home's "tmp/" (its local path with every "/" made "$") and
// listed in "conf/zr-partial-files", so that a later run can ask for the
// rest with a Range request. "conf/zr-partial-config" excludes small
// packages and listed products from being kept.
class ZRPartialDownload {
public:
    ZRPartialDownload(long productId, const String& url, const String& localFile, long size);

    // The saved name of a local file: home + "/tmp/" + path with "/" -> "$".
    static String savedPath(const String& localFile);

    // Looks for a kept part of this package. When its entry matches (same
    // URL and size, same local file, saved file of the recorded length) the
    // part is moved back to the local file and the number of bytes held is
    // returned; otherwise the entry and its file are dropped and the result
    // is 0 (download from the start).
    long resume();
    // Keeps the local file for a later run, unless the size limits exclude
    // it or it is empty: its data are flushed to disk first, then it is moved
    // to its saved name, and only then is its entry recorded, so a recorded
    // size never exceeds the data on disk.
    void keep();
    // Drops the part moved back by resume(): its entry is already gone, so
    // nothing of it is left for a later run.
    void discard();

private:
    bool excluded();

    long productId;
    String url;
    String localFile;
    long size;
};

// Moves a file by running "mv -f from to" and waiting for it; true when it
// exited with 0.
bool moveFile(const String& from, const String& to);

#endif
