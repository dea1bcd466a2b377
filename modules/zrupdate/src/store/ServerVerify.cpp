#include "store/ServerVerify.h"

ServerVerify::ServerVerify() {}
