#include <errno.h>

#include <cstdio>
#include <cstdlib>

#include "Utils.h"
#include "Vector.h"
#include "io/File.h"
#include "io/OutputStream.h"
#include "util/Log.h"

namespace {

// The part of `path` after its last "/".
String baseName(const String& path) {
    int slash = path.lastIndexOf('/');
    if (slash < 0) return path;
    if (slash + 1 >= path.length()) return String();
    return path.substring(slash + 1);
}

// Bounds the chain of renames of one rotation, whatever nextName() answers.
const int MAX_SHIFT_DEPTH = 10000;
const int DEFAULT_LOCK_WAIT_MS = 10000;

}  // namespace

RotationFileLog::RotationFileLog(OutputStream* out)
    : FileLog(out),
      writeLock("", true),
      rotateLock("", true),
      lockedName(),
      lockWaitMs(DEFAULT_LOCK_WAIT_MS),
      notices() {}

RotationFileLog::RotationFileLog(const char* path)
    : FileLog(static_cast<OutputStream*>(nullptr)),
      writeLock("", true),
      rotateLock("", true),
      lockedName(),
      lockWaitMs(DEFAULT_LOCK_WAIT_MS),
      notices() {
    RotationFileLog::open(path);
}

RotationFileLog::~RotationFileLog() {
    detachLocks();
}

String RotationFileLog::lockFilePath(const String& path, const char* suffix) {
    String lockPath = Log::getLockFolder();
    if (!lockPath.endsWith("/")) lockPath.append('/');
    lockPath.append(baseName(path)).append(suffix);
    return lockPath;
}

bool RotationFileLog::open(const char* path) {
    bool opened = FileLog::open(path);
    if (fileName.isEmpty()) {
        detachLocks();
    } else {
        attachLocks();
    }
    return opened;
}

void RotationFileLog::attachLocks() {
    // Attached once per file: reopening a FileLock would drop a lock held
    // through it, and open() runs again inside every write.
    // A lock file that cannot be used is not tried again for this file;
    // the log goes on without that exclusion.
    String lockPath = lockFilePath(fileName, ".lock");
    if (lockPath == lockedName) return;
    attachLock(writeLock, lockPath);
    attachLock(rotateLock, lockFilePath(fileName, ".rlock"));
    lockedName = lockPath;
}

void RotationFileLog::attachLock(FileLock& lock, const String& path) {
    if (lock.open(path.c_str(), true) == 0) return;
    String text("log lock file not used, writing without it: ");
    addNotice(text.append(lock.refusal()));
}

void RotationFileLog::acquire(FileLock& lock) {
    if (!lock.isOpen() || lock.lock(lockWaitMs) == 0 || errno != ETIMEDOUT) return;
    String text("log lock file ");
    text.append(lock.getPath()).append(" held by another process for ").append(lockWaitMs);
    addNotice(text.append(" ms, writing without it"));
    lock.close();
}

void RotationFileLog::addNotice(const String& text) {
    notices.append(timeStamp()).append('\t').append(levelWord(LEVEL_WARNING)).append('\t');
    notices.append(text).append('\n');
}

void RotationFileLog::detachLocks() {
    if (lockedName.isEmpty()) return;
    writeLock.close();
    rotateLock.close();
    lockedName.clear();
}

void RotationFileLog::beginWrite() {
    beginWriteWithin(Log::getMaxSizeKB());
}

void RotationFileLog::endWrite() {
    endWriteWithin(Log::getMaxSizeKB());
}

String RotationFileLog::nextName(const String& name) {
    return nextNameWithin(name, Log::getMaxCount());
}

void RotationFileLog::trim(int keep) {
    trimWithin(keep, Log::getMaxSizeKB());
}

void RotationFileLog::beginWriteWithin(int limitKB) {
    acquire(writeLock);
    if (fileName.isEmpty()) return;
    long limit = static_cast<long>(limitKB) * 1024;
    if (limitKB > 0 && fileSize() > limit) rotate(limit);
    // Follows the file to its new incarnation when another process has
    // rotated it since this one last wrote.
    String name(fileName);
    open(name.c_str());
    if (notices.isEmpty() || out == nullptr) return;
    String pending(notices);
    notices.clear();
    out->write(pending.c_str(), pending.length());
}

void RotationFileLog::endWriteWithin(int limitKB) {
    // Close a file that is near its limit, so that the next write reopens it
    // and rotates first.
    if (!fileName.isEmpty() && limitKB > 0 &&
        fileSize() >= (static_cast<long>(limitKB) - 2) * 1024) {
        closeStream();
    }
    writeLock.unlock();
}

void RotationFileLog::rotateNow() {
    if (fileName.isEmpty()) return;
    acquire(writeLock);
    rotate(0);
    writeLock.unlock();
}

void RotationFileLog::rotate(long threshold) {
    // writeLock stays held for the whole rotation: if it were released before
    // the copies are shifted, another process could fill the new file and
    // move it onto the ".0" name that still holds the previous lines.
    String name(fileName);
    closeStream();
    acquire(rotateLock);
    if (fileSize() > threshold) {
        String aside(name);
        aside.append(".0");
        // A ".0" left by a rotation that was cut short is shifted first.
        if (File(aside).exists()) shift(aside, 0);
        if (std::rename(name.c_str(), aside.c_str()) == 0) shift(aside, 0);
    }
    rotateLock.unlock();
    open(name.c_str());
}

void RotationFileLog::shift(const String& name, int depth) {
    String next = nextName(name);
    // The oldest copy: nextName() has already deleted it.
    if (next == name || depth > MAX_SHIFT_DEPTH) return;
    if (File(next).exists()) shift(next, depth + 1);
    // A failed rename leaves the copies as they are; logging goes on.
    std::rename(name.c_str(), next.c_str());
}

String RotationFileLog::nextNameWithin(const String& name, int count) {
    int dot = name.lastIndexOf('.');
    if (dot < 0 || dot + 1 >= name.length()) return name;
    String digits = name.substring(dot + 1);
    // Only numbered copies move on; any other name stays as it is.
    if (!Utils::isNumeric(digits.c_str(), nullptr)) return name;
    String prefix = name.substring(0, dot + 1);
    // Numbers too long for an int are past any count.
    long number =
        digits.length() > 9 ? static_cast<long>(count) : strtol(digits.c_str(), nullptr, 10);
    if (number + 1 > count) {
        String last(prefix);
        last.append(count);
        std::remove(last.c_str());
        return last;
    }
    String next(prefix);
    next.append(static_cast<int>(number + 1));
    return next;
}

void RotationFileLog::reset() {
    closeStream();
    String base = baseName(fileName);
    // A log named by a folder path ("/var/log/") has no file name part; the
    // prefix would then be "." and match every hidden file of the folder.
    if (base.isEmpty()) return;
    acquire(writeLock);
    acquire(rotateLock);
    String directory = File::folderOf(fileName);
    String copyPrefix(base);
    copyPrefix.append('.');
    Vector<String> names;
    File(directory).list(names);
    for (int i = 0; i < names.size(); ++i) {
        const String& entry = names.elementAt(i);
        // The log and its copies ("name.1", ".0" leftovers, ...); unrelated
        // files that merely begin with the same letters are kept.
        if (!(entry == base) && !entry.startsWith(copyPrefix.c_str())) continue;
        File file(directory, entry);
        if (file.isFile()) file.deleteFile();
    }
    rotateLock.unlock();
    writeLock.unlock();
}

void RotationFileLog::trimWithin(int keep, int limitKB) {
    if (limitKB <= 0 || fileName.isEmpty()) return;
    acquire(rotateLock);
    int first = keep / limitKB + 1;
    if (first < 1) first = 1;
    for (int number = first;; ++number) {
        String copy(fileName);
        copy.append('.').append(number);
        File file(copy);
        if (!file.exists()) break;
        file.deleteFile();
    }
    rotateLock.unlock();
}
