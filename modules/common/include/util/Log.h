#ifndef ZR_UTIL_LOG_H
#define ZR_UTIL_LOG_H

#include "String.h"
#include "io/FileLock.h"

class NameValuePairs;
class OutputStream;
class FileLog;
class RotationFileLog;
class DebugLog;

// Process-wide logging, one text line per event.
//
// Three logs live for the whole process: the main log (a RotationFileLog that
// the program points at its log file), the debug log (a DebugLog) and a null
// log that discards everything. Until a file is opened, the main and debug
// logs write to standard error.
//
// The base class writes messages as they are; FileLog and its subclasses put
// the date, the time and the level word in front.
class Log {
public:
    // Level words written by log(message, level).
    enum Level { LEVEL_INFO = 0, LEVEL_WARNING = 1, LEVEL_ERROR = 2, LEVEL_DEBUG = 3 };

    // A log on `out` (not owned); a null `out` makes a log that writes nothing.
    explicit Log(OutputStream* out = nullptr);
    virtual ~Log();

    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    virtual void log(const String& message);
    virtual void log(const NameValuePairs& record);
    virtual void log(const String& message, int level);
    virtual void reset();
    virtual void trim(int keep);
    // Appends the text form of `record` to `line`: here "name=value\n" per
    // pair and a closing "==\n".
    virtual void format(const NameValuePairs& record, String& line);
    virtual void beginWrite();
    virtual void endWrite();

    // The word written for `level`: "warning", "error", "debug", else "info".
    static const char* levelWord(int level);

    // The most detailed level written by every log. LEVEL_INFO (the start)
    // writes info, warning and error lines and drops the debug ones, which
    // hold whole requests and answers; LEVEL_DEBUG writes them too.
    static void setLevel(int level);
    static int getLevel();
    // Whether a line of `level` is written at the current level.
    static bool admits(int level);

    // `text` with the credentials of every "Authorization:" and
    // "Proxy-Authorization:" header (any case) replaced by "****"; the scheme
    // word in front of them ("Basic") stays. Every log line passes through
    // it, so no password reaches a log file, whatever logged the text.
    static String maskCredentials(const String& text);

    // --- process-wide logs and settings ---
    static void setMode(const int& m);
    static int getMode();
    // The main log when the mode is 1, else the null log.
    static Log* getMainLog();
    // The main log itself, whatever the mode says.
    static RotationFileLog* getFileLog();
    // Points the main log at `path` ("" means standard error).
    static bool openLog(const char* path);
    static String getLogFileName();
    // Rotates the main log now if its file is not empty.
    static void rotateLog();
    // The debug log while it is enabled, else the null log.
    static Log* getLog();
    static DebugLog* getDebugLog();
    // Enables the debug log and sets the level to LEVEL_DEBUG (on) or
    // LEVEL_INFO (off).
    static void setDebug(bool on);
    static bool isDebug();
    static bool openDebugLog(const char* path);
    static String getDebugLogFileName();
    static Log* getNullLog();
    // Rotation limits of the main log: 0 KB means it never rotates; only
    // counts greater than 0 are accepted.
    static void setMaxSizeKB(int kb);
    static int getMaxSizeKB();
    static void setMaxCount(int count);
    static int getMaxCount();
    // When off, no log writes anything.
    static void setEnabled(bool on);
    static bool isEnabled();
    // Folder of the rotating logs' lock files; "/tmp" until the program sets
    // its own. Logs opened afterwards use it.
    static void setLockFolder(const char* folder);
    static String getLockFolder();

protected:
    // The one way text reaches a stream: adds the final "\n" when missing,
    // then beginWrite(), one write call, endWrite().
    void writeText(const String& text);
    // The process-wide stream on standard error that logs fall back to.
    static OutputStream* standardError();

    OutputStream* out;

private:
    static bool enabled;
    static int level;
    static int mode;
    static int maxSizeKB;
    static int maxCount;
};

// A log that writes time-stamped lines to a file it owns, or to a borrowed
// stream (standard error) while no file is open.
//
// Line formats:
//   log(message)         "2006-03-14 09:05:01\tmessage"
//   log(message, level)  "2006-03-14 09:05:01\terror\tmessage"
//   log(record)          "2006-03-14 09:05:01\tvalue1\tvalue2" (tabs in values become blanks)
class FileLog : public Log {
public:
    // A log on a borrowed stream, with no file.
    explicit FileLog(OutputStream* out);
    // A log on the file `path`, opened for appending.
    explicit FileLog(const char* path);
    ~FileLog() override;

    void log(const String& message) override;
    void log(const NameValuePairs& record) override;
    void log(const String& message, int level) override;
    // Empties the log file (deletes and recreates it).
    void reset() override;
    // Appends the values of `record`, separated by tabs; tabs inside the
    // values become blanks.
    void format(const NameValuePairs& record, String& line) override;

    // Points the log at `path`: "" means standard error (returns false); an
    // already open descriptor on the same file is kept; otherwise the file is
    // opened for appending, created with mode 0640 (less the umask) when
    // missing, as the system's own logs are: it names hosts and products. A file that
    // cannot be opened gives false, and lines are then dropped until an open
    // succeeds. No write of a log ever throws.
    virtual bool open(const char* path);
    virtual const String& getFileName() const;

protected:
    // "YYYY-MM-DD HH:MM:SS" of the local time.
    static String timeStamp();
    // Closes and forgets an owned stream; the log then has no stream until
    // it is opened again.
    void closeStream();
    // Size in bytes of the file named `fileName`, -1 when it cannot be examined.
    long fileSize() const;

    String fileName;
    int fd;
    bool ownsStream;
};

// A file log whose writes are serialised between processes by lock files in
// the temporary directory, and whose file rotates into numbered copies:
// name.1 (newest) .. name.N (oldest).
class RotationFileLog : public FileLog {
public:
    explicit RotationFileLog(OutputStream* out);
    explicit RotationFileLog(const char* path);
    ~RotationFileLog() override;

    // Deletes the log file and all its rotated copies.
    void reset() override;
    // Deletes the rotated copies beyond `keep` kilobytes' worth of copies.
    void trim(int keep) override;
    void beginWrite() override;
    void endWrite() override;
    // FileLog::open, then attaches the lock files of the named file.
    bool open(const char* path) override;
    // The name a rotated copy moves to: "log.3" gives "log.4". Past the
    // largest count the oldest copy is deleted and its name returned.
    virtual String nextName(const String& name);

    // Rotates the file now if it is not empty.
    void rotateNow();
    // How long a write waits for a lock that another process holds (10 s by
    // default). A process that holds it longer (stopped, or a lock file of
    // another user) would otherwise stall this one for good: past the wait
    // the log gives that lock up for the rest of the process and says so.
    void setLockWait(int ms) { lockWaitMs = ms; }
    // The lock file path of the log file name `path` with `suffix`.
    static String lockFilePath(const String& path, const char* suffix);

protected:
    void beginWriteWithin(int limitKB);
    void endWriteWithin(int limitKB);
    String nextNameWithin(const String& name, int count);
    void trimWithin(int keep, int limitKB);

private:
    // Moves the file aside and shifts the numbered copies; called with
    // writeLock held. The file is moved when larger than `threshold` bytes.
    void rotate(long threshold);
    // Gives `name` the next number, shifting the copy in the way first.
    void shift(const String& name, int depth);
    void attachLocks();
    void attachLock(FileLock& lock, const String& path);
    void detachLocks();
    // Takes `lock` within the wait; a lock that cannot be had in time is
    // closed, so that later writes do not wait for it again.
    void acquire(FileLock& lock);
    // Queues a warning line for the log; it is written with the next line,
    // as the log cannot write while it is taking its own locks.
    void addNotice(const String& text);

    FileLock writeLock;
    FileLock rotateLock;
    String lockedName;  // path of the attached write lock file, "" when none
    int lockWaitMs;
    String notices;  // whole lines, stamped, waiting for the next write
};

// The debug log: a rotating log with limits of its own (1024 KB, 100 copies)
// that the diagnostic messages go to while it is enabled.
class DebugLog : public RotationFileLog {
public:
    explicit DebugLog(OutputStream* out);
    explicit DebugLog(const char* path);

    void beginWrite() override;
    void endWrite() override;
    String nextName(const String& name) override;
    void trim(int keep) override;

    // Whether Log::getLog() hands out this log (see Log::setDebug).
    void setDebugEnabled(bool on) { enabled = on; }
    bool isDebugEnabled() const { return enabled; }
    // The debug log's own rotation limits; counts below 1 are ignored.
    void setLimits(int sizeKB, int count);
    int getSizeLimitKB() const { return maxSizeKB; }
    int getCountLimit() const { return maxCount; }

private:
    bool enabled;
    int maxSizeKB;
    int maxCount;
};

#endif
