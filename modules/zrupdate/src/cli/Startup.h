// The life of one ZRUpdate process: preparing the process, checking and
// loading the state files, and running the one command asked for.
#ifndef ZR_STARTUP_H
#define ZR_STARTUP_H

// Runs the program and returns its exit status (taken modulo 256 by the
// shell): 0 success, -1 bad command line, -2 missing or broken state files,
// -3/-4 registration/deregistration failed, others from the handlers.
int runZRUpdate(int argc, char** argv);

#endif
