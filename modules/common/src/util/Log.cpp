#include "util/Log.h"

#include "NameValuePairs.h"
#include "io/File.h"
#include "io/FileOutputStream.h"

namespace {

// The process-wide logs, created together in this order: the stream on
// standard error, the null log, the main log and the debug log on that stream.
struct ProcessLogs {
    String lockFolder{File::getTempDirectory()};
    FileOutputStream standardError{2};
    Log nullLog;
    RotationFileLog mainLog{&standardError};
    DebugLog debugLog{&standardError};
};

// Created on first use, so that the constructors of other static objects can
// log before main() runs, and never destroyed, so that their destructors can
// still log while the process exits. The descriptors are closed by the
// system at exit; every write has already reached its file.
ProcessLogs& processLogs() {
    static ProcessLogs* const logs = new ProcessLogs();
    return *logs;
}

// Make sure the logs exist from start-up even when nothing logs early.
[[maybe_unused]] const bool logsCreatedAtStartUp = (processLogs(), true);

}  // namespace

bool Log::enabled = true;
int Log::level = Log::LEVEL_INFO;
int Log::mode = 0;
int Log::maxSizeKB = 0;
int Log::maxCount = 4;

Log::Log(OutputStream* out) : out(out) {}

Log::~Log() {}

void Log::log(const String& message) {
    writeText(message);
}

void Log::log(const NameValuePairs& record) {
    String text;
    format(record, text);
    writeText(text);
}

void Log::log(const String& message, int lineLevel) {
    if (admits(lineLevel)) writeText(message);
}

void Log::reset() {}

void Log::trim(int /*keep*/) {}

void Log::format(const NameValuePairs& record, String& line) {
    for (int i = 0; i < record.size(); ++i) {
        line.append(record.get(i).toString());
        line.append('\n');
    }
    line.append("==\n");
}

void Log::beginWrite() {}

void Log::endWrite() {}

// A log line that cannot be written (a full disk, a read-only home, a log
// file that cannot be made) is dropped: logging never throws into its caller
// and so never changes what a command does or the status it ends with. Nor
// is a notice printed on standard error: the program's user-facing output is
// standard output and its exit status, and the scripts of the products that
// run it may treat anything on standard error as a failure of their own.
void Log::writeText(const String& text) {
    if (!enabled) return;
    try {
        String line = maskCredentials(text);
        if (!line.endsWith("\n")) line.append('\n');
        beginWrite();
        if (out != nullptr) out->write(line.c_str(), line.length());
    } catch (...) {
    }
    // endWrite() always follows beginWrite(), so that the lock it took is
    // never left held.
    try {
        endWrite();
    } catch (...) {
    }
}

const char* Log::levelWord(int level) {
    switch (level) {
        case LEVEL_WARNING:
            return "warning";
        case LEVEL_ERROR:
            return "error";
        case LEVEL_DEBUG:
            return "debug";
        default:
            return "info";
    }
}

void Log::setLevel(int newLevel) {
    level = newLevel;
}

int Log::getLevel() {
    return level;
}

// Levels other than the four named ones are written as "info" and kept.
bool Log::admits(int lineLevel) {
    return lineLevel != LEVEL_DEBUG || level >= LEVEL_DEBUG;
}

OutputStream* Log::standardError() {
    return &processLogs().standardError;
}

void Log::setMode(const int& m) {
    mode = m;
}

int Log::getMode() {
    return mode;
}

Log* Log::getMainLog() {
    ProcessLogs& logs = processLogs();
    return mode == 1 ? static_cast<Log*>(&logs.mainLog) : &logs.nullLog;
}

RotationFileLog* Log::getFileLog() {
    return &processLogs().mainLog;
}

bool Log::openLog(const char* path) {
    return getFileLog()->open(path);
}

String Log::getLogFileName() {
    return getFileLog()->getFileName();
}

void Log::rotateLog() {
    getFileLog()->rotateNow();
}

Log* Log::getLog() {
    ProcessLogs& logs = processLogs();
    return logs.debugLog.isDebugEnabled() ? static_cast<Log*>(&logs.debugLog) : &logs.nullLog;
}

DebugLog* Log::getDebugLog() {
    return &processLogs().debugLog;
}

void Log::setDebug(bool on) {
    getDebugLog()->setDebugEnabled(on);
    setLevel(on ? LEVEL_DEBUG : LEVEL_INFO);
}

bool Log::isDebug() {
    return getDebugLog()->isDebugEnabled();
}

bool Log::openDebugLog(const char* path) {
    return getDebugLog()->open(path);
}

String Log::getDebugLogFileName() {
    return getDebugLog()->getFileName();
}

Log* Log::getNullLog() {
    return &processLogs().nullLog;
}

void Log::setMaxSizeKB(int kb) {
    maxSizeKB = kb > 0 ? kb : 0;
}

int Log::getMaxSizeKB() {
    return maxSizeKB;
}

void Log::setMaxCount(int count) {
    if (count > 0) maxCount = count;
}

int Log::getMaxCount() {
    return maxCount;
}

void Log::setEnabled(bool on) {
    enabled = on;
}

bool Log::isEnabled() {
    return enabled;
}

void Log::setLockFolder(const char* folder) {
    processLogs().lockFolder = String(folder);
}

String Log::getLockFolder() {
    return processLogs().lockFolder;
}
