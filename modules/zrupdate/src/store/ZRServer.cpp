#include "store/ZRServer.h"

ZRServer::ZRServer() {}

ZRServer::ZRServer(const String& host) : host(host) {}

NetSettings::NetSettings() : proxyport(0), timeout(-1) {}

ServerVerify::ServerVerify() {}
