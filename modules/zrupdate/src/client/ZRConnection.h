#ifndef ZR_CONNECTION_H
#define ZR_CONNECTION_H

class HttpConnection;
class NetSettings;

// The connection the network settings ask for, shared by the update client
// and the uploader: TLS when `secure`; the proxy and its credentials when the
// settings use one; the web-authentication user; the time-out (the settings'
// seconds, or `defaultTimeoutMs` when they give none); for TLS with `verify`,
// the server certificate the settings name. Owned by the caller.
HttpConnection* createConnection(const NetSettings& settings, bool secure, bool verify,
                                 int defaultTimeoutMs);

#endif
