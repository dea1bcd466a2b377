#include "client/ZRStatusScript.h"

#include <errno.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <deque>
#include <string>

#include "ZRPaths.h"

namespace ZRStatusScript {

namespace {

// Commands are formatted into a buffer of this size (a longer home path
// would be cut, as the installation never uses one).
const int kCommandSize = 255;

extern "C" char** environ;

// The download report still running (0 when none), and the reports due
// after it, in order.
pid_t pendingDownload = 0;
std::deque<std::string> queuedDownloads;

// Notes the end of the running report, waiting for it when `wait`.
void reap(bool wait) {
    if (pendingDownload <= 0) return;
    int status = 0;
    pid_t done;
    while ((done = waitpid(pendingDownload, &status, wait ? 0 : WNOHANG)) < 0 && errno == EINTR) {
    }
    if (done != 0) pendingDownload = 0;
}

// Starts `command` through the shell as system() would, without waiting;
// false when it could not be started.
bool spawn(const std::string& command) {
    char shell[] = "sh";
    char dashC[] = "-c";
    char* argv[] = {shell, dashC, const_cast<char*>(command.c_str()), nullptr};
    // The script is handed nothing of ours: not the package file, not the
    // connection still open here.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    pid_t pid = 0;
    int failed = posix_spawn(&pid, ZRPaths::SHELL, &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) return false;
    pendingDownload = pid;
    return true;
}

// Starts the next queued report when none runs.
void startNext() {
    while (pendingDownload <= 0 && !queuedDownloads.empty()) {
        std::string command = queuedDownloads.front();
        queuedDownloads.pop_front();
        if (!spawn(command)) {
            int ignored = std::system(command.c_str());
            (void)ignored;
        }
    }
}

void drainDownloads() {
    for (;;) {
        reap(true);
        if (queuedDownloads.empty()) return;
        startNext();
    }
}

void run(const char* command) {
    drainDownloads();
    int ignored = std::system(command);
    (void)ignored;
}

}  // namespace

void awaitDownloadReport() {
    drainDownloads();
}

void pollDownloadReports() {
    reap(false);
    startNext();
}

void request(long id) {
    char command[kCommandSize];
    std::snprintf(command, sizeof command,
                  "perl %s/bin/update_status.pl --action update --id %ld --status request",
                  ZRPaths::HOME, id);
    run(command);
}

void download(long id, long received, long total) {
    char command[kCommandSize];
    std::snprintf(command, sizeof command,
                  "perl %s/bin/update_status.pl --action update --id %ld --status download "
                  "--downloaded_size %ld "
                  "--total_size %ld",
                  ZRPaths::HOME, id, received, total);
    queuedDownloads.push_back(command);
    pollDownloadReports();
}

void install(long id) {
    char command[kCommandSize];
    std::snprintf(command, sizeof command,
                  "perl %s/bin/update_status.pl --action update --id %ld --status install",
                  ZRPaths::HOME, id);
    run(command);
}

}  // namespace ZRStatusScript
