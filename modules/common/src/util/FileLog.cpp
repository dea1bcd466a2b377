#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <new>

#include "Exception.h"
#include "NameValuePairs.h"
#include "io/File.h"
#include "io/FileOutputStream.h"
#include "util/Log.h"

namespace {

// Stands in for a log file that could not be opened: every write reports why,
// so the caller of log() learns of the failure instead of losing lines.
class UnopenedFileStream : public OutputStream {
  public:
    explicit UnopenedFileStream(const String& reason) : reason(reason) {}

    using OutputStream::write;
    void close() override {}
    void write(char) override { fail(); }
    void write(const char*, int) override { fail(); }

  private:
    [[noreturn]] void fail() { ZR_THROW(IOException, reason, "util/Log"); }

    String reason;
};

}  // namespace

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

void FileLog::log(const String& message) {
    String line = timeStamp();
    line.append('\t').append(message);
    writeText(line);
}

void FileLog::log(const String& message, int level) {
    String line = timeStamp();
    line.append('\t').append(levelWord(level)).append('\t').append(message);
    writeText(line);
}

void FileLog::log(const NameValuePairs& record) {
    String line = timeStamp();
    line.append('\t');
    format(record, line);
    writeText(line);
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
    fileName = wanted;
    // Close-on-exec keeps the log out of the programs this process starts.
    int newFd = ::open(wanted.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    OutputStream* stream;
    if (newFd >= 0) {
        stream = new (std::nothrow) FileOutputStream(newFd);
    } else {
        // The log keeps its file name so that a later open can succeed
        // (a rotating log retries before every write); until then writes
        // throw the reason.
        String reason(wanted);
        reason.append(": ").append(strerror(errno));
        stream = new (std::nothrow) UnopenedFileStream(reason);
    }
    if (stream == nullptr) {
        if (newFd >= 0) ::close(newFd);
        out = nullptr;
        ZR_THROW(OutOfMemoryException, "Out of memory", "util/Log");
    }
    out = stream;
    fd = newFd;
    ownsStream = true;
    return newFd >= 0;
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
