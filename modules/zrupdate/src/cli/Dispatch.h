// Dispatch of a checked command line to exactly one command handler.
#ifndef ZR_DISPATCH_H
#define ZR_DISPATCH_H

class CmdLine;

// Runs the first command present, in this order: register, deregister,
// status, update, ping, package, set, version. Returns the handler's result,
// or 0 when there is nothing to run (help, module mode alone).
int dispatchCommand(CmdLine& cmdLine);

#endif
