#include "install/ZRInstallScript.h"

#include <errno.h>

#include "store/ZRPackageInfo.h"
#include "util/ChildProcess.h"
#include "util/Log.h"

int runInstallScript(const String& scriptPath, const ZRPackageInfo& package) {
    String script(scriptPath);
    script.replace('\\', '/');
    Vector<String> args;
    args.add(script.substring(script.lastIndexOf('/') + 1));
    if (!package.product.installPath.isEmpty()) {
        args.add(String("-d"));
        args.add(package.product.installPath);
    }
    args.add(String("-s"));
    args.add(package.path);
    return ChildProcess::run(script.c_str(), args, [&script](int error) {
        String message("execl:");
        message.append(script);
        Log::getFileLog()->log(message, Log::LEVEL_INFO);
        return error == EACCES ? 127 : 128;
    });
}

String packageFailureLine(const char* prefix, const ZRPackageInfo& package) {
    String line(prefix);
    line.append(package.product.desc)
        .append(" (")
        .append(package.version.toString())
        .append(") failed");
    return line;
}
