// Dispatch of a checked command line to exactly one command handler.
#ifndef ZR_DISPATCH_H
#define ZR_DISPATCH_H

#include "String.h"

class CmdLine;

// Runs the first command present, in this order: register, deregister,
// status, update, ping, package, set, version. Returns the handler's result,
// or 0 when there is nothing to run (help, module mode alone).
int dispatchCommand(CmdLine& cmdLine);

// False when the command that wins is one of those that never read the
// network settings (register, deregister, status, version).
bool needsNetworkSettings(const CmdLine& cmdLine);

// True when `entry` is "host" or "host:port" with a port from 1 to 65535.
bool isServerEntry(const String& entry);

#endif
