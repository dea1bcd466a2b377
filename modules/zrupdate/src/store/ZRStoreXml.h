#ifndef ZR_STORE_XML_H
#define ZR_STORE_XML_H

#include "String.h"
#include "Vector.h"
#include "store/ZRProduct.h"
#include "store/ZRServer.h"

class XMLNode;
class XMLTree;
struct PlatformRecord;

// Element and attribute helpers shared by the state stores and the update
// answer parser.
namespace ZRStoreXml {

String decimal(long n);

// The attribute's value, "" when the element does not carry it.
String attribute(const XMLNode& node, const char* name);

// A decimal attribute, or `missing` when the element does not carry it. A
// value that breaks the number rule of parseDecimal throws Exception
// "invalid dec number".
long numberAttribute(const XMLNode& node, const char* name, long missing);

bool setAttribute(XMLTree& tree, const char* path, const char* name, const String& value,
                  int index = -1);

// Appends a new child `name` to the element at `parentPath` and returns its
// position among the parent's children, or -1.
int appendChild(XMLTree& tree, const String& parentPath, const char* name);

// Removes the child at `position` of the element at `parentPath`, whatever
// its element name; false when there is no such child.
bool removeChildAt(XMLTree& tree, const String& parentPath, int position);

// Fills `info` from a ProductInfo element; `missingId` when it has no id.
void readProductInfo(const XMLNode& node, ZRProductInfo& info, long missingId);

// The version of a ZRVersionInfo element (`numeric`: four numbers) or of an
// ExtVersionInfo element (free text, not numeric, all numbers 0).
ZRVersionInfo readVersion(const XMLNode& node, bool numeric);

// Reads one InstalledProduct (or PackageInfo-like) element: its ProductInfo
// and its ZRVersionInfo or ExtVersionInfo child, recognised by exact name
// wherever they stand. A number that does not parse throws.
ZRProduct readProduct(const XMLNode& element);

// The inventory form of a product carries the install path; the request
// form leaves it out and may mark the requested product as the dependency.
enum class ProductForm { INVENTORY, REQUEST };

// Fills the element at (path, index) of `tree` with the ProductInfo and the
// version element of `p`, attributes in their written order.
bool writeProduct(XMLTree& tree, const String& path, int index, const ZRProduct& p,
                  ProductForm form, bool dependency);

// Appends the version element of `version` to the root of `element` (a view
// on the record that holds it): ZRVersionInfo with the four numbers, or
// ExtVersionInfo with the free text, attributes in their written order.
bool writeVersion(XMLTree& element, const ZRVersionInfo& version);

// Appends a server for the host of every child of a server list element that
// has a `host` attribute.
void readServers(const XMLNode& list, Vector<ZRServer>& out);

// Sets os, vendor, arch and version, in this order, on the element at `path`.
bool setPlatform(XMLTree& tree, const char* path, const PlatformRecord& platform);

}  // namespace ZRStoreXml

#endif
