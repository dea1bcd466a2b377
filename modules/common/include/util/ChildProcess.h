#ifndef ZR_UTIL_CHILD_PROCESS_H
#define ZR_UTIL_CHILD_PROCESS_H

#include <functional>

#include "String.h"
#include "Vector.h"

// Runs an external program the way the updater always does: fork, exec of
// an absolute path with a given argument vector (no shell, so no argument is
// ever interpreted), and wait for the child.
class ChildProcess {
public:
    // Called in the child when the exec fails, with the error number; it may
    // log, and returns the status the child ends with.
    using ExecFailure = std::function<int(int error)>;

    // Runs `program` with `args` (args[0] is the program name the child sees)
    // and waits for it; with `quiet` its standard output and error go to
    // /dev/null. Returns the raw wait status (0 when the program exited with
    // 0), or -1 when no child could be started.
    static int run(const char* program, const Vector<String>& args,
                   const ExecFailure& onExecFailure, bool quiet = false);

    // Whether a raw wait status is a normal exit with code `code`.
    static bool exitedWith(int status, int code);
};

#endif
