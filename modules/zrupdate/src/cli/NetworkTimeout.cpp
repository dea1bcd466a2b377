#include "cli/NetworkTimeout.h"

#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>

#include "ZRPaths.h"
#include "io/File.h"
#include "net/SSL.h"
#include "util/Log.h"

namespace {

const int kTimedOut = -9;
const char kTimeoutMessage[] = "socket connect or read or write timeout!!!";

// Runs from ordinary code (never a signal handler), so it may log, walk
// the directory tree and exit normally. The tree is removed without
// following symbolic links: a link planted in it is removed, not its target.
void endTimedOutRun() {
    RotationFileLog* log = Log::getFileLog();
    log->log(String(kTimeoutMessage), Log::LEVEL_INFO);
    // Only the program's own folder is cleared: in the shared temporary
    // folder the name may be another user's link or folder.
    struct stat info;
    bool ownFolder = lstat(ZRPaths::WORK_DIR, &info) == 0 && S_ISDIR(info.st_mode) &&
                     info.st_uid == geteuid();
    if (ownFolder && !File(String(ZRPaths::WORK_DIR)).deleteRecursive()) {
        log->log(String("failed to clear tmp files"), Log::LEVEL_INFO);
    }
    std::exit(kTimedOut);
}

// What the alarm handler needs, prepared before any signal can come: the
// log file's path and the offset of local time from UTC (localtime_r takes
// locks and may not run in a handler).
char alarmLogPath[4096];
long localOffset;

// "YYYY-MM-DD HH:MM:SS" of `t` seconds since the epoch (local time already
// added), by arithmetic only.
void formatStamp(long long t, char* out) {
    long long days = t / 86400, secs = t % 86400;
    if (secs < 0) {
        secs += 86400;
        days -= 1;
    }
    // Civil date from a day count (proleptic Gregorian, eras of 400 years).
    long long z = days + 719468, era = (z >= 0 ? z : z - 146096) / 146097;
    long long doe = z - era * 146097, yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100), mp = (5 * doy + 2) / 153;
    long long day = doy - (153 * mp + 2) / 5 + 1, month = mp < 10 ? mp + 3 : mp - 9;
    long long year = yoe + era * 400 + (month <= 2);
    long long fields[6] = {year, month, day, secs / 3600, secs / 60 % 60, secs % 60};
    const char* separators = "-- ::";
    for (int i = 0, width = 4; i < 6; i++, width = 2) {
        for (int d = width - 1; d >= 0; d--, fields[i] /= 10) out[d] = static_cast<char>('0' + fields[i] % 10);
        out += width;
        if (i < 5) *out++ = separators[i];
    }
    *out = '\0';
}

// Async-signal-safe only: time, open, write, close, _exit.
void onAlarm(int) {
    char line[128];
    formatStamp(static_cast<long long>(time(nullptr)) + localOffset, line);
    strcat(line, "\tinfo\t");
    strcat(line, kTimeoutMessage);
    strcat(line, "\n");
    int fd = open(alarmLogPath, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (fd >= 0) {
        ssize_t ignored = write(fd, line, strlen(line));
        (void)ignored;
        close(fd);
    }
    _exit(kTimedOut & 0xff);
}

}  // namespace

void installNetworkTimeout(const String& logPath) {
    time_t now = time(nullptr);
    struct tm local;
    localOffset = localtime_r(&now, &local) != nullptr ? local.tm_gmtoff : 0;
    if (logPath.length() < static_cast<int>(sizeof alarmLogPath)) memcpy(alarmLogPath, logPath.c_str(), logPath.length() + 1);
    SSLClient::setTimeoutHandler(endTimedOutRun);
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = onAlarm;
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
}
