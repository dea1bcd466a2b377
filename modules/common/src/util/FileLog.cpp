#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <new>

#include "Exception.h"
#include "NameValuePairs.h"
#include "io/File.h"
#include "io/FileOutputStream.h"
#include "util/Log.h"

FileLog::FileLog(OutputStream* out) : Log(out), fileName(), fd(-1), ownsStream(false) {}

FileLog::FileLog(const char* path) : Log(nullptr), fileName(), fd(-1), ownsStream(false) {
    FileLog::open(path);
}

FileLog::~FileLog() {
    closeStream();
}

String FileLog::timeStamp() {
    // One reading of the clock for both parts, so that a line written at
    // midnight never pairs the old date with the new time.
    time_t now = time(nullptr);
    struct tm local;
    char text[32] = "";
    if (localtime_r(&now, &local) != nullptr)
        strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return String(text);
}

// Building the line can run out of memory; like a failed write, that drops
// the line instead of reaching the caller (see Log::writeText).
void FileLog::log(const String& message) {
    try {
        String line = timeStamp();
        writeText(line.append('\t').append(message));
    } catch (...) {
    }
}

void FileLog::log(const String& message, int level) {
    if (!admits(level)) return;
    try {
        String line = timeStamp();
        writeText(line.append('\t').append(levelWord(level)).append('\t').append(message));
    } catch (...) {
    }
}

void FileLog::log(const NameValuePairs& record) {
    try {
        String line = timeStamp();
        format(record, line.append('\t'));
        writeText(line);
    } catch (...) {
    }
}

void FileLog::format(const NameValuePairs& record, String& line) {
    for (int i = 0; i < record.size(); ++i) {
        if (i > 0) line.append('\t');
        // A tab inside a value would split it into two columns.
        String value = record.get(i).value.toString();
        value.replace('\t', ' ');
        line.append(value);
    }
}

void FileLog::reset() {
    if (fileName.isEmpty()) return;
    String name(fileName);
    closeStream();
    ::unlink(name.c_str());
    open(name.c_str());
}

bool FileLog::open(const char* path) {
    // A copy: `path` may point into fileName, which is replaced below.
    String wanted(path);
    if (wanted.isEmpty()) {
        closeStream();
        fileName.clear();
        out = standardError();
        return false;
    }
    if (ownsStream && fd >= 0 && fileName == wanted && File(wanted).isSameFile(fd)) return true;

    closeStream();
    out = nullptr;
    fileName = wanted;
    // Close-on-exec keeps the log out of the programs this process starts.
    // A file that cannot be opened leaves the log without a stream: its lines
    // are dropped, not sent to standard error. The log keeps its file name,
    // so that a later open can succeed (a rotating log retries before every
    // write).
    int newFd = ::open(wanted.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
    if (newFd < 0) return false;
    OutputStream* stream = new (std::nothrow) FileOutputStream(newFd);
    if (stream == nullptr) {
        ::close(newFd);
        ZR_THROW(OutOfMemoryException, "Out of memory", "util/Log");
    }
    out = stream;
    fd = newFd;
    ownsStream = true;
    return true;
}

const String& FileLog::getFileName() const {
    return fileName;
}

void FileLog::closeStream() {
    if (!ownsStream) return;
    OutputStream* stream = out;
    out = nullptr;
    fd = -1;
    ownsStream = false;
    if (stream == nullptr) return;
    try {
        stream->close();
    } catch (const Exception&) {
        // Writes are unbuffered: nothing is lost when closing fails.
    }
    delete stream;
}

long FileLog::fileSize() const {
    struct stat info;
    if (fileName.isEmpty() || ::stat(fileName.c_str(), &info) != 0) return -1;
    return static_cast<long>(info.st_size);
}
