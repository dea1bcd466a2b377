#ifndef ZR_XML_XML_NODE_H
#define ZR_XML_XML_NODE_H

#include "String.h"

// A handle on one element of an XMLTree. It owns nothing of the tree and stays
// usable only while the element exists.
class XMLNode {
  public:
    XMLNode() = default;
    XMLNode(const XMLNode&) = delete;
    XMLNode& operator=(const XMLNode&) = delete;
    virtual ~XMLNode() = default;

    // The element name, "" for an invalid handle.
    virtual String getName() const = 0;
    // The path the handle was obtained with.
    virtual String getPath() const = 0;
    // -1 for an invalid handle.
    virtual int getAttributeCount() const = 0;
    // Empties `value`; name and value of attribute `i`, false when out of range.
    virtual bool getAttribute(int i, String& name, String& value) const = 0;
    // Empties `value`; the first attribute named `name` ignoring case.
    virtual bool getAttribute(const String& name, String& value) const = 0;
    // -1 for an invalid handle.
    virtual int getChildCount() const = 0;
    // A new handle (owned by the caller) on child `i`, holding the child's
    // full path and index -1; null when invalid or out of range.
    virtual XMLNode* getChild(int i) const = 0;
    virtual bool isValid() const = 0;
};

#endif
