#include "store/NetSettings.h"

NetSettings::NetSettings() : proxyport(0), timeout(-1) {}
