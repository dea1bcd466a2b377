// The commands that work on the inventory alone: register, deregister,
// status and version, and the check of the product options.
#ifndef ZR_PRODUCT_COMMANDS_H
#define ZR_PRODUCT_COMMANDS_H

#include "String.h"
#include "store/ZRProduct.h"

class CmdLine;

// Fills `out` from the product options. Deregistration needs only the id and
// the name. A failure prints its message and returns false.
bool checkProductOptions(CmdLine& cmdLine, ZRProduct& out, bool forRegister);

// The description block shared by register, deregister and status.
String describeProduct(const ZRProduct& p);

// Registers `p`, replacing a product with the same id. 0, or -3 on failure.
int registerProduct(const ZRProduct& p);

// Removes the product with `p`'s id. 0, or -4 when it is missing or the
// removal fails.
int deregisterProduct(const ZRProduct& p);

// Prints one product (id != 0) or all of them (id == 0). 0, or -1 when there
// is nothing to show.
int showStatus(long id);

// Prints the version of the product whose decimal id is exactly `idText`,
// or "0" when there is none. Always 0.
int printVersion(const String& idText);

// The last-update lines of one product from "conf/zr-lastupdate", or "".
String lastUpdateInfo(long id);

#endif
