#ifndef ZR_RESPONSE_BODY_H
#define ZR_RESPONSE_BODY_H

#include "String.h"

class HttpResponse;

// Reads a response body in pieces of at most 1024 bytes: up to the
// Content-Length when the response gives one above 0, else to the end of the
// stream; never more than `limit` bytes. Socket exceptions pass through.
String readResponseBody(HttpResponse& response, long limit);

#endif
