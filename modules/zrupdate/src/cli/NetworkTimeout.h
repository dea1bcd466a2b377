// The end of a process whose network operation ran out of time: the line
// "socket connect or read or write timeout!!!" in the log, the work
// directory cleared, exit status 247 (-9).
#ifndef ZR_NETWORK_TIMEOUT_H
#define ZR_NETWORK_TIMEOUT_H

// Installs that ending as the TLS layer's time-out handler, where it runs
// from ordinary code and so can clear the work directory.
//
// No SIGALRM handler: nothing arms an alarm. Every network wait ends by
// itself (poll() against the time-out and against a bound of each part of
// the exchange as a whole), and a signal handler could only log and leave
// without clearing anything.
void installNetworkTimeout();

#endif
