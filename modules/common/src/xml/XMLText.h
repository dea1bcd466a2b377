#ifndef ZR_XML_XML_TEXT_H
#define ZR_XML_XML_TEXT_H

#include <string>

#include "xml/ExpatXMLTree.h"

// The text form of a tree: the declaration line, then one line per opening
// tag ("<Name a=\"v\">" or "<Name a=\"v\"/>") and per closing tag, with no
// indentation.
class XMLText {
public:
    static const char* const DECLARATION;

    // True when `name` can be written as an element or attribute name that
    // reads back unchanged: not empty, no blanks, quotes, markup or "/", a
    // first character that may start a name, and well-formed UTF-8 of
    // letters the parser accepts in names.
    static bool isWritableName(const String& name);
    static bool isWritableName(const char* name, int length);

    // Appends `value` as the text between the quotes of an attribute, so
    // that it reads back as the same bytes. Markup characters become entity
    // references; tab, newline and carriage return become character
    // references because a parser turns them into blanks otherwise. Bytes
    // that XML cannot carry are mapped so that the document stays readable:
    // a byte that is not part of well-formed UTF-8 is taken as Latin-1,
    // other control characters become U+FFFD.
    static void appendAttributeValue(std::string& out, const char* value, int length);

    // Appends the opening line of `node`, with its final "/>\n" or ">\n".
    static void appendOpeningLine(std::string& out, const ExpatXMLTree::_tree_node& node);
    // Appends "</Name>\n".
    static void appendClosingLine(std::string& out, const ExpatXMLTree::_tree_node& node);

    // Calls emit(const std::string& line) for every line of the document,
    // declaration first. Iterative, so any nesting depth is safe.
    template <class Emit>
    static void forEachLine(const ExpatXMLTree::_tree_node* root, Emit&& emit);
};

template <class Emit>
void XMLText::forEachLine(const ExpatXMLTree::_tree_node* root, Emit&& emit) {
    std::string line(DECLARATION);
    emit(line);
    if (root == nullptr) return;
    struct Frame {
        const ExpatXMLTree::_tree_node* node;
        size_t next;
    };
    std::vector<Frame> stack;
    line.clear();
    appendOpeningLine(line, *root);
    emit(line);
    stack.push_back(Frame{root, 0});
    while (!stack.empty()) {
        Frame& top = stack.back();
        const ExpatXMLTree::_tree_node* node = top.node;
        if (top.next < node->children.size()) {
            const ExpatXMLTree::_tree_node* child = node->children[top.next++];
            line.clear();
            appendOpeningLine(line, *child);
            emit(line);
            if (!child->children.empty()) stack.push_back(Frame{child, 0});
            continue;
        }
        if (!node->children.empty()) {
            line.clear();
            appendClosingLine(line, *node);
            emit(line);
        }
        stack.pop_back();
    }
}

#endif
