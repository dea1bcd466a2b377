#include "Exception.h"

Exception::Exception() : line(0) {}

Exception::Exception(const char* message) : message(message), line(0) {}

Exception::Exception(const String& message) : message(message), line(0) {}

Exception::~Exception() = default;

const String& Exception::getMessage() const {
    return message;
}

String Exception::getDescription() const {
    return message;
}

String Exception::getLocation() const {
    String location(file);
    location.append(", line ");
    location.append(line);
    return location;
}

void Exception::setLocation(const char* file, int line) {
    this->file = String(file);
    this->line = line;
}
