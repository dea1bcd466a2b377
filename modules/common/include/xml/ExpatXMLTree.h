#ifndef ZR_XML_EXPAT_XML_TREE_H
#define ZR_XML_EXPAT_XML_TREE_H

#include <cstddef>
#include <vector>

#include "String.h"
#include "xml/XMLTree.h"

// The element tree filled by ExpatXMLParser.
class ExpatXMLTree : public XMLTree {
public:
    // One element. Owned by its parent; the root by the tree. The element's
    // path is not stored but derived from its ancestors when asked for: a
    // stored path per element would make a deeply nested document cost
    // memory quadratic in its depth.
    struct _tree_node {
        String name;
        // Position in the parent's child list (0 for the root), kept exact
        // when siblings are removed.
        int index = 0;
        std::vector<_tree_node*> children;
        // Parallel lists in document or insertion order; names are unique
        // ignoring ASCII case.
        std::vector<String> attributeNames;
        std::vector<String> attributeValues;
        _tree_node* parent = nullptr;

        explicit _tree_node(const char* elementName) : name(elementName) {}
        // "/" and the names from the top element down to this one.
        String path() const;
        // Index of the attribute named `attr` ignoring case, or -1.
        int findAttribute(const char* attr) const;
        // Replaces the value of `attr` or appends the attribute.
        void putAttribute(const String& attr, const String& value);
        _tree_node* appendChild(const char* childName);
    };

    ExpatXMLTree() = default;
    ~ExpatXMLTree() override;

    String getRootName() const override;
    XMLTree* getSubtree(const String& path, int index) override;
    bool addNode(const String& parentPath, const String& name, int index) override;
    bool addNode(const String& path, int index) override;
    bool removeNode(const String& path, const String& childName, int index) override;
    bool removeNode(const String& path, const String& childName, const String& attrName,
                    const String& attrValue) override;
    bool getAttribute(const String& path, const String& attr, String& value,
                      int index) const override;
    bool setAttribute(const String& path, const String& attr, const String& value,
                      int index) override;
    bool getAttribute(const String& attrPath, String& value, int index) const override;
    bool setAttribute(const String& attrPath, const String& value, int index) override;
    XMLNode* getNode(const String& path, int index) override;
    bool clear() override;
    void write(OutputStream& out) const override;
    void toString(String& out) const override;

    // The element at (path, index), or null; see XMLTree for the rules.
    _tree_node* resolve(const String& path, int index) const;

    // Building by the parser: the cursor is the element whose children are
    // being read.
    void startElement(const char* name, const char** attributes);
    void endElement();

    // Frees a detached element and everything below it without recursion,
    // so that any depth of nesting is safe.
    static void destroy(_tree_node* node);

private:
    // The element whose path relative to `base` equals `relative` ("/a/b"),
    // ignoring case, with the given position (any when negative).
    static _tree_node* findBelow(_tree_node* base, const char* relative, int length, int index);
    // The element named by an attribute argument: the element at (path,
    // index), or for "sub/path/attr" the element at sub/path beneath it.
    // `attrName` receives the attribute's own name.
    _tree_node* resolveAttributeOwner(const String& path, const String& attr, int index,
                                      String& attrName) const;
    // Takes child `position` out of `parent`, renumbers the later siblings
    // and frees it.
    void removeChildAt(_tree_node* parent, std::size_t position);
    static bool splitAttributePath(const String& attrPath, String& elementPath, String& attrName);
    void release();

    _tree_node* root = nullptr;
    _tree_node* current = nullptr;
    // The tree is a view on elements owned by another tree.
    bool borrowed = false;
};

#endif
