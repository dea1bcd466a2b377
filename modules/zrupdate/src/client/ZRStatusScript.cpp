#include "client/ZRStatusScript.h"

#include <errno.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "ZRPaths.h"

namespace ZRStatusScript {

namespace {

// Commands are formatted into a buffer of this size (a longer home path
// would be cut, as the installation never uses one).
const int kCommandSize = 255;

extern "C" char** environ;

// The download report still running; 0 when none.
pid_t pendingDownload = 0;

void awaitPending() {
    if (pendingDownload <= 0) return;
    int status = 0;
    while (waitpid(pendingDownload, &status, 0) < 0 && errno == EINTR) {
    }
    pendingDownload = 0;
}

void run(const char* command) {
    awaitPending();
    int ignored = std::system(command);
    (void)ignored;
}

// Starts `command` through the shell as system() would, without waiting.
// The script takes tens of milliseconds and a download reports twenty
// times: waiting for each would hold the transfer up by that much.
void start(const char* command) {
    awaitPending();
    char shell[] = "sh";
    char dashC[] = "-c";
    char* argv[] = {shell, dashC, const_cast<char*>(command), nullptr};
    // The script outlives nothing of ours: the package file and the
    // connection still open here are not handed to it.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    pid_t pid = 0;
    int failed = posix_spawn(&pid, ZRPaths::SHELL, &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) {
        run(command);
        return;
    }
    pendingDownload = pid;
}

}  // namespace

void awaitDownloadReport() { awaitPending(); }

void request(long id) {
    char command[kCommandSize];
    std::snprintf(command, sizeof command, "perl %s/bin/update_status.pl --action update --id %ld --status request",
                  ZRPaths::HOME, id);
    run(command);
}

void download(long id, long received, long total) {
    char command[kCommandSize];
    std::snprintf(command, sizeof command,
                  "perl %s/bin/update_status.pl --action update --id %ld --status download --downloaded_size %ld "
                  "--total_size %ld",
                  ZRPaths::HOME, id, received, total);
    start(command);
}

void install(long id) {
    char command[kCommandSize];
    std::snprintf(command, sizeof command, "perl %s/bin/update_status.pl --action update --id %ld --status install",
                  ZRPaths::HOME, id);
    run(command);
}

}  // namespace ZRStatusScript
