// The end of a process whose network operation ran out of time: the line
// "socket connect or read or write timeout!!!" in the log, the work
// directory cleared, exit status 247 (-9).
#ifndef ZR_NETWORK_TIMEOUT_H
#define ZR_NETWORK_TIMEOUT_H

#include "String.h"

// Installs that ending as the TLS layer's time-out handler, where it runs
// from ordinary code, and as the SIGALRM handler. A signal handler may only
// do async-signal-safe work, so the alarm writes the prepared log line to
// `logPath` and ends the process at once, without clearing anything.
void installNetworkTimeout(const String& logPath);

#endif
