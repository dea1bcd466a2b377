#include "xml/ExpatXMLNode.h"

String ExpatXMLNode::getName() const {
    return isValid() ? node->name : String();
}

String ExpatXMLNode::getPath() const {
    return pathOfNode ? node->path() : path;
}

int ExpatXMLNode::getAttributeCount() const {
    return isValid() ? static_cast<int>(node->attributeNames.size()) : -1;
}

bool ExpatXMLNode::getAttribute(int i, String& name, String& value) const {
    value.clear();
    if (!isValid() || i < 0 || i >= static_cast<int>(node->attributeNames.size())) return false;
    name = node->attributeNames[i];
    value = node->attributeValues[i];
    return true;
}

bool ExpatXMLNode::getAttribute(const String& name, String& value) const {
    value.clear();
    if (!isValid()) return false;
    int i = node->findAttribute(name.c_str());
    if (i < 0) return false;
    value = node->attributeValues[i];
    return true;
}

int ExpatXMLNode::getChildCount() const {
    return isValid() ? static_cast<int>(node->children.size()) : -1;
}

XMLNode* ExpatXMLNode::getChild(int i) const {
    if (!isValid() || i < 0 || i >= static_cast<int>(node->children.size())) return nullptr;
    ExpatXMLTree::_tree_node* child = node->children[i];
    return new ExpatXMLNode(ChildOf{}, child);
}
