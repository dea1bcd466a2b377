#ifndef ZR_UTIL_FAILURE_NOTE_H
#define ZR_UTIL_FAILURE_NOTE_H

#include "String.h"

// A short account of a failure that the log names in full ("no update server
// answered"), kept for the one line the program prints on standard error at
// the end of a command, so that a person sees what failed and where to read
// more.
class FailureNote {
public:
    enum Weight {
        IF_COMMAND_FAILS,  // shown only when the command ends in failure
                           // (a server that failed before another answered)
        ALWAYS             // shown in any case (a change that was not saved)
    };

    // Records `what`. The latest note wins, except that a note shown always
    // is not replaced by one shown only on failure.
    static void record(const String& what, Weight weight = IF_COMMAND_FAILS);
    static bool has();
    // The note to show for a command that ended as `commandFailed` says;
    // false when there is none to show.
    static bool toShow(bool commandFailed, String& what);
    static void clear();

private:
    static String note;
    static Weight weight;
};

#endif
