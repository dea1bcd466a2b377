// The -S/--set command: validating the network options of the command line,
// showing the stored network settings and applying a change to them.
#ifndef ZR_NETWORK_COMMANDS_H
#define ZR_NETWORK_COMMANDS_H

#include "store/ZRNetConfig.h"

class CmdLine;

// The process-wide settings that the option check fills and the apply
// handler writes. Starts as a fresh record (empty strings, proxyport 0,
// timeout -1, no servers).
NetSettings& PendingNetSettings();

// Validates the network options and fills PendingNetSettings(). A failure
// prints its message and returns false, leaving the fields set so far.
bool checkNetworkOptions(CmdLine& cmdLine);

// Prints the stored settings. Returns 0.
int showNetworkSettings();

// Writes PendingNetSettings() merged with the stored settings, or the
// default settings when `toDefault` is true. Returns 0.
int applyNetworkSettings(bool toDefault);

#endif
