#include "client/ZRStatusScript.h"

#include <cstdio>
#include <cstdlib>

#include "ZRPaths.h"

namespace ZRStatusScript {

namespace {

// Commands are formatted into a buffer of this size (a longer home path
// would be cut, as the installation never uses one).
const int kCommandSize = 255;

void run(const char* command) {
    int ignored = std::system(command);
    (void)ignored;
}

}  // namespace

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
    run(command);
}

void install(long id) {
    char command[kCommandSize];
    std::snprintf(command, sizeof command, "perl %s/bin/update_status.pl --action update --id %ld --status install",
                  ZRPaths::HOME, id);
    run(command);
}

}  // namespace ZRStatusScript
