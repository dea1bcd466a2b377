#include "store/SizeLimit.h"

SizeLimit::SizeLimit() : minSize(0) {}
