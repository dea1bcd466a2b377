#include "net/HttpResponse.h"

#include <stdlib.h>

#include <memory>

#include "Utils.h"

HttpResponse::HttpResponse() : status(-1), body(nullptr) {}

HttpResponse::~HttpResponse() {
    delete body;
}

// The head is read through the body stream's buffer: one socket read brings
// in many bytes, and what follows the head stays there for the body.
bool HttpResponse::read(ClientSocket* socket) {
    if (socket == nullptr) return false;
    std::unique_ptr<SocketInputStream> stream(new SocketInputStream(socket));
    String line;
    int length;
    HeadBudget budget;
    do {  // blank lines before the status line are skipped
        length = stream->readLine(line, kLineLimit);
        if (length < 0 || length == kLineLimit) return false;
        if (!budget.take(length)) return refuseHead();
    } while (length == 0);
    if (!parseStatusLine(line)) return false;

    // An empty line, the end of the stream or a failed read ends the head.
    while ((length = stream->readLine(line, kLineLimit)) >= 1) {
        if (!budget.take(length)) return refuseHead();
        if (length > kLineLimit - 1 || !header.parse(line)) return false;
    }
    delete body;
    body = stream.release();
    return true;
}

bool HttpResponse::HeadBudget::take(int lineLength) {
    lines++;
    bytes += lineLength + 2;  // counted with "\r\n" whatever the line ended with
    return lines <= kHeadLines && bytes <= kHeadLimit;
}

bool HttpResponse::refuseHead() {
    status = -1;
    version.clear();
    reason.clear();
    header.clear();
    return false;
}

// "HTTP/<digits and dots> <digits> <reason>"; the reason is required.
bool HttpResponse::parseStatusLine(const String& line) {
    if (line.length() < 12 || !line.startsWithIgnoreCase("HTTP")) return false;
    int slash = line.indexOf('/');
    if (slash < 0) return false;
    int space1 = line.indexOf(' ', slash + 1);
    if (space1 < 0) return false;
    String versionText = line.substring(slash + 1, space1);
    if (!Utils::isNumeric(versionText.c_str(), ".")) return false;
    version = versionText;

    int space2 = line.indexOf(' ', space1 + 1);
    if (space2 < 0) return false;
    String code = line.substring(space1 + 1, space2);
    if (!Utils::isNumeric(code.c_str(), nullptr)) return false;
    // Not range checked; the C conversion saturates a huge code.
    status = static_cast<int>(strtol(code.c_str(), nullptr, 10));
    // Throws ArrayIndexException when the line ends with that space.
    reason = line.substring(space2 + 1).trim(" \n\r\t");
    return true;
}

long HttpResponse::getContentLength() const {
    long length;
    return header.getLong("Content-Length", length) ? length : -1;
}

String HttpResponse::toString() const {
    String text("HTTP/");
    text.append(version).append(" ").append(status).append(" ").append(reason).append("\r\n");
    text.append(header.toString());
    return text;
}
