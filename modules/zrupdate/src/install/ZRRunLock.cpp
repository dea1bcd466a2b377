#include "install/ZRRunLock.h"

#include <sys/wait.h>

#include "ZRPaths.h"
#include "store/ZRStoreFile.h"
#include "util/ChildProcess.h"
#include "util/Log.h"

namespace {
const int kUnlockTimeout = 600;
}

int runLockScript(const char* action, int pid, int timeout) {
    String script = ZRStoreFile::homeFile("bin/write_lock.pl");
    Vector<String> args;
    for (const String& arg :
         {String("write_lock.pl"), script, String("--action"), String(action), String("--pid"),
          String().append(pid), String("--timeout"), String().append(timeout)}) {
        args.add(arg);
    }
    int status = ChildProcess::run(ZRPaths::PERL, args, [](int error) {
        String message("write lock ");
        Log::getFileLog()->log(message.append("failed").append(error), Log::LEVEL_INFO);
        return 127;
    });
    if (status >= 0 && WIFEXITED(status)) {
        String message("lock exit code: ");
        Log::getLog()->log(message.append(WEXITSTATUS(status)), Log::LEVEL_DEBUG);
    }
    return status;
}

int lock(int pid, int timeout) {
    return runLockScript("LOCK", pid, timeout);
}

int tryLock(int pid, int timeout) {
    return runLockScript("TRYLOCK", pid, timeout);
}

int unlock(int pid) {
    return runLockScript("UNLOCK", pid, kUnlockTimeout);
}
