#ifndef ZR_XML_EXPAT_XML_NODE_H
#define ZR_XML_EXPAT_XML_NODE_H

#include "String.h"
#include "xml/ExpatXMLTree.h"
#include "xml/XMLNode.h"

// Handle on one element of an ExpatXMLTree; owns only itself.
class ExpatXMLNode : public XMLNode {
public:
    ExpatXMLNode(const String& path, int index, ExpatXMLTree::_tree_node* node)
        : path(path), index(index), node(node) {}

    String getName() const override;
    String getPath() const override;
    int getAttributeCount() const override;
    bool getAttribute(int i, String& name, String& value) const override;
    bool getAttribute(const String& name, String& value) const override;
    int getChildCount() const override;
    XMLNode* getChild(int i) const override;
    bool isValid() const override { return node != nullptr && (pathOfNode || !path.isEmpty()); }

    // The index the handle was obtained with.
    int getIndex() const { return index; }

private:
    // A handle on a child: its path is the element's own full path, made
    // only when asked for, as walking a large list never asks.
    struct ChildOf {};
    ExpatXMLNode(ChildOf, ExpatXMLTree::_tree_node* child)
        : index(-1), node(child), pathOfNode(true) {}

    String path;
    int index;
    ExpatXMLTree::_tree_node* node;
    bool pathOfNode = false;
};

#endif
