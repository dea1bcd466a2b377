#ifndef ZR_DOWNLOAD_FOLDER_H
#define ZR_DOWNLOAD_FOLDER_H

#include "String.h"

// Where an offered package is downloaded: the folder <work dir>/<product
// id>/<version with every "." made "_"> and, in it, the file named by the
// last part of the package's URL. Both names come from the server, so they
// are checked before anything is made: each must be one plain entry of its
// folder.
class ZRDownloadFolder {
public:
    ZRDownloadFolder(const String& workDir, long productId, const String& version,
                     const String& url);

    // False when the offer names no usable folder or file: an empty name,
    // "." or "..", or a version that holds a "/".
    bool isUsable() const;
    const String& getPath() const { return path; }
    const String& getFileName() const { return fileName; }
    String getLocalFile() const { return path + "/" + fileName; }

    // Makes the folder with its missing parents and empties it, so that
    // nothing an earlier run or package left there is taken for part of
    // this one. False when it cannot be made or emptied, or when a link
    // stands at its name or at the product folder's.
    bool prepare() const;
    // Removes the folder with everything in it, and the product's folder
    // once nothing else is left in it.
    void remove() const;

private:
    String productPath;
    String path;
    String fileName;
    bool usableVersion;
};

#endif
