#ifndef ZR_RESPONSE_BODY_H
#define ZR_RESPONSE_BODY_H

#include <vector>

#include "String.h"

class HttpResponse;

// Reads a response body in pieces of at most 1024 bytes: up to the
// Content-Length when the response gives one above 0, else to the end of the
// stream; never more than `limit` bytes. Socket exceptions pass through.
// The bytes come back exactly as they were sent, NUL bytes included.
std::vector<char> readResponseBytes(HttpResponse& response, long limit);

// The same body as a text, which ends at its first NUL byte: for answers
// that are documents.
String readResponseBody(HttpResponse& response, long limit);

#endif
