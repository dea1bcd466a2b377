#ifndef ZR_XML_XML_TREE_H
#define ZR_XML_XML_TREE_H

#include "String.h"

class OutputStream;
class XMLNode;

// An XML document held as a tree of elements with ordered attributes; the
// character data between tags is not kept. Elements are addressed by
// slash-separated paths taken relative to the root element:
//  - "/", the root's name and "/" + the root's name give the root;
//  - any other path names the element whose path from the top equals the
//    root's path + "/" + path (a leading "/" is optional), compared ignoring
//    ASCII case, searched depth-first in document order; an `index` of 0 or
//    more also asks for that position among the element's siblings, a
//    negative one takes the first element of that path.
// On a non-empty tree an empty path, or a one-character path that is neither
// "/" nor the root's name, throws ArrayIndexException. Every other failed
// lookup gives false, null or "".
//
// An attribute argument `attr` is an attribute name or "relative/path/name":
// the element is then looked up beneath the element at (path, index).
class XMLTree {
  public:
    // A new empty tree owned by the caller.
    static XMLTree* create();

    XMLTree() = default;
    XMLTree(const XMLTree&) = delete;
    XMLTree& operator=(const XMLTree&) = delete;
    virtual ~XMLTree() = default;

    // The root's name, "" for an empty tree.
    virtual String getRootName() const = 0;
    // A view (owned by the caller) whose root is the element found; its paths
    // are relative to that element. Deleting the view frees nothing of this
    // tree, and the view must not outlive it. Null if not found.
    virtual XMLTree* getSubtree(const String& path, int index) = 0;
    // On an empty tree creates the root `name` when `parentPath` is "" or "/";
    // otherwise appends element `name` to the element at (parentPath, index).
    // False if the parent is missing or `name` is not a writable XML name.
    virtual bool addNode(const String& parentPath, const String& name, int index) = 0;
    // Appends the last component of `path` to the element named by the rest
    // (one component: a child of the root; on an empty tree: the root).
    virtual bool addNode(const String& path, int index) = 0;
    // At the element at `path`: removes the first child named `childName`
    // (ignoring case) when `index` is -1, else the child at position `index`
    // provided it carries that name. The later siblings move down one place.
    virtual bool removeNode(const String& path, const String& childName, int index) = 0;
    // Removes the first child named `childName` whose attribute `attrName`
    // equals `attrValue`, both compared ignoring case.
    virtual bool removeNode(const String& path, const String& childName, const String& attrName,
                            const String& attrValue) = 0;
    // Empties `value`; true and the value when element and attribute exist.
    virtual bool getAttribute(const String& path, const String& attr, String& value,
                              int index) const = 0;
    // Replaces the value of an existing attribute in place or appends a new
    // one; never creates elements. False if the element does not exist or
    // the attribute name cannot be written.
    virtual bool setAttribute(const String& path, const String& attr, const String& value,
                              int index) = 0;
    // `attrPath` is "element/path/attribute" (one trailing "/" ignored); the
    // element part must not be empty.
    virtual bool getAttribute(const String& attrPath, String& value, int index) const = 0;
    virtual bool setAttribute(const String& attrPath, const String& value, int index) = 0;
    // A handle (owned by the caller) on the element at (path, index), or null.
    virtual XMLNode* getNode(const String& path, int index) = 0;
    // Empties the tree (a view only lets go of what it borrowed). True.
    virtual bool clear() = 0;
    // The document text: the XML declaration line, then one element per line.
    virtual void write(OutputStream& out) const = 0;
    // Replaces `out` with the document text.
    virtual void toString(String& out) const = 0;

    // Replaces the file `path` with the document text. False, with the reason
    // in the main log, when the file cannot be written; the old file is then
    // left as it was.
    bool writeFile(const String& path) const;
};

#endif
