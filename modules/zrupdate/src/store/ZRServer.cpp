#include "store/ZRServer.h"

ZRServer::ZRServer() {}

ZRServer::ZRServer(const String& host) : host(host) {}
