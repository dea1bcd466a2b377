#include "ZRObject.h"

#include <typeinfo>

#include "String.h"

String ZRObject::toString() const { return String(typeid(*this).name()); }
