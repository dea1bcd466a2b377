#include "util/ChildProcess.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace {

void silenceOutput() {
    int null = open("/dev/null", O_WRONLY);
    if (null < 0) return;
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    if (null > STDERR_FILENO) close(null);
}

}  // namespace

int ChildProcess::run(const char* program, const Vector<String>& args,
                      const ExecFailure& onExecFailure, bool quiet) {
    // The argument vector is built before the fork: the child only execs.
    std::vector<char*> argv;
    for (int i = 0; i < args.size(); i++)
        argv.push_back(const_cast<char*>(args.elementAt(i).c_str()));
    argv.push_back(nullptr);

    // Output still buffered in this process must not be written twice.
    fflush(nullptr);
    pid_t pid = fork();
    if (pid < 0) return -1;
    if (pid == 0) {
        if (quiet) silenceOutput();
        // An ignored SIGPIPE would stay ignored across exec: the program
        // gets the default, as when started from a shell.
        signal(SIGPIPE, SIG_DFL);
        execv(program, argv.data());
        int error = errno;
        int status = onExecFailure ? onExecFailure(error) : 127;
        // _exit: the child must not run the parent's exit handlers or flush
        // its buffers a second time.
        _exit(status);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return status;
}

bool ChildProcess::exitedWith(int status, int code) {
    return status >= 0 && WIFEXITED(status) && WEXITSTATUS(status) == code;
}
