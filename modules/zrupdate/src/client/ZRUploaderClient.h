#ifndef ZR_UPLOADER_CLIENT_H
#define ZR_UPLOADER_CLIENT_H

#include "String.h"

// What the upload service is told about a sample: when it was found, the
// name of the detection and the MD5 digest of the file.
struct SampleInfo {
    String date;
    String virusName;
    String md5;
};

// The client of the upload service of the update servers: fetches the
// upload configuration, posts an upload request, a sample or a report. It
// uses the updater's network settings (ZRNetConfig::instance(), loaded by the
// caller) and walks their server list in order; only a server that cannot be
// reached moves the walk on, any answer ends it.
//
// Each operation returns the HTTP status of the server that answered, or -1
// when none could be reached or the settings could not be read. Its own
// input is checked before anything else: a file that is not a readable
// regular file, or a header value with a line break (which the request would
// drop), gives INPUT_REFUSED without a connection, and refusal() says why.
// Nothing is thrown; failures are in the log.
class ZRUploaderClient {
public:
    static const int INPUT_REFUSED = -2;

    explicit ZRUploaderClient(const String& serialNo);
    virtual ~ZRUploaderClient();

    // GET of the upload configuration; a 200 body is stored in outFile.
    int getConfig(const String& date, const String& outFile);
    // POST of requestFile; a 200 body is stored in outFile.
    int sendRequest(const String& requestFile, const String& outFile);
    // POST of sampleFile with the detection data; the answer body is dropped.
    int sendSample(const SampleInfo& info, const String& sampleFile);
    // POST of reportFile; the answer body is dropped.
    int sendReport(const String& date, const String& reportFile);

    // Why the last operation returned INPUT_REFUSED (it names the file or
    // the header); "" after any other result.
    const String& refusal() const { return why; }

private:
    class Request;  // a request and what is wrong with its input

    // The input check, then the walk over the servers; an empty outFile
    // keeps no body.
    int send(const String& path, const Request& request, const String& outFile);

    String serialNo;
    String why;
};

#endif
