#include "xml/ExpatXMLTree.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <unordered_map>
#include <utility>

#include "XMLText.h"
#include "io/OutputStream.h"
#include "xml/ExpatXMLNode.h"

using Node = ExpatXMLTree::_tree_node;

// ---- elements ----

String Node::path() const {
    // Collect the chain upwards first, then write it top-down.
    std::vector<const _tree_node*> chain;
    int length = 0;
    for (const _tree_node* n = this; n != nullptr; n = n->parent) {
        chain.push_back(n);
        length += n->name.length() + 1;
    }
    String result;
    result.ensureCapacity(length);
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        result.append('/');
        result.append((*it)->name);
    }
    return result;
}

int Node::findAttribute(const char* attr) const {
    // The first bytes are compared before the whole names: records are read
    // by looking up each of their attributes in turn, and most names differ
    // at once.
    const int first = std::tolower(static_cast<unsigned char>(attr[0]));
    for (size_t i = 0; i < attributeNames.size(); ++i) {
        const String& name = attributeNames[i];
        if (std::tolower(static_cast<unsigned char>(name.c_str()[0])) == first &&
            name.equalsIgnoreCase(attr)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void Node::putAttribute(const String& attr, const String& value) {
    int i = findAttribute(attr.c_str());
    if (i >= 0) {
        attributeValues[i] = value;
        return;
    }
    attributeNames.push_back(attr);
    attributeValues.push_back(value);
}

Node* Node::appendChild(const char* childName) {
    Node* child = new Node(childName);
    child->parent = this;
    child->index = static_cast<int>(children.size());
    children.push_back(child);
    return child;
}

void ExpatXMLTree::destroy(Node* node) {
    if (node == nullptr) return;
    std::vector<Node*> pending{node};
    while (!pending.empty()) {
        Node* n = pending.back();
        pending.pop_back();
        pending.insert(pending.end(), n->children.begin(), n->children.end());
        delete n;
    }
}

// ---- the tree ----

XMLTree* XMLTree::create() {
    return new ExpatXMLTree();
}

ExpatXMLTree::~ExpatXMLTree() {
    release();
}

void ExpatXMLTree::release() {
    if (!borrowed) destroy(root);
    root = nullptr;
    current = nullptr;
    // Once it has let go of the borrowed elements a view is an ordinary empty
    // tree: a root created in it later belongs to it.
    borrowed = false;
}

bool ExpatXMLTree::clear() {
    release();
    return true;
}

String ExpatXMLTree::getRootName() const {
    return root != nullptr ? root->name : String();
}

Node* ExpatXMLTree::resolve(const String& path, int index) const {
    if (root == nullptr) return nullptr;
    if (path.equals("/") || path.equals(root->name)) return root;
    // Throws ArrayIndexException for an empty or one-character path.
    String rest = path.substring(1);
    if (path.charAt(0) == '/') {
        if (rest.equals(root->name)) return root;
        return findBelow(root, path.c_str(), path.length(), index);
    }
    std::string relative = "/";
    relative.append(path.c_str(), path.length());
    return findBelow(root, relative.c_str(), static_cast<int>(relative.size()), index);
}

Node* ExpatXMLTree::findBelow(Node* base, const char* relative, int length, int index) {
    // The components of "/a/b/c". Element names never contain "/", so an
    // element at depth d below `base` can only match the d-th component; the
    // path above it must match exactly, the last component ignoring case.
    std::vector<std::pair<const char*, int>> parts;
    for (int i = 0; i < length;) {
        if (relative[i] != '/') return nullptr;
        int end = i + 1;
        while (end < length && relative[end] != '/') ++end;
        if (end == i + 1) return nullptr;  // an empty component names nothing
        parts.emplace_back(relative + i + 1, end - i - 1);
        i = end;
    }
    if (parts.empty()) return nullptr;
    const size_t last = parts.size() - 1;
    auto sameName = [](const Node* n, const std::pair<const char*, int>& part, bool ignoreCase) {
        if (n->name.length() != part.second) return false;
        return ignoreCase ? strncasecmp(n->name.c_str(), part.first, part.second) == 0
                          : std::strncmp(n->name.c_str(), part.first, part.second) == 0;
    };

    // Depth-first in document order; the first match wins.
    struct Frame {
        Node* node;
        size_t next;
    };
    std::vector<Frame> stack{Frame{base, 0}};
    while (!stack.empty()) {
        size_t depth = stack.size() - 1;  // component the children must match
        Frame& top = stack.back();
        Node* node = top.node;
        if (depth == last) {
            stack.pop_back();
            if (index >= 0) {
                // Only the child at that position can carry that index.
                if (index < static_cast<int>(node->children.size()) &&
                    sameName(node->children[index], parts[depth], true)) {
                    return node->children[index];
                }
                continue;
            }
            for (Node* child : node->children) {
                if (sameName(child, parts[depth], true)) return child;
            }
            continue;
        }
        if (top.next >= node->children.size()) {
            stack.pop_back();
            continue;
        }
        Node* child = node->children[top.next++];
        if (sameName(child, parts[depth], false)) stack.push_back(Frame{child, 0});
    }
    return nullptr;
}

XMLTree* ExpatXMLTree::getSubtree(const String& path, int index) {
    Node* found = resolve(path, index);
    if (found == nullptr) return nullptr;
    ExpatXMLTree* view = new ExpatXMLTree();
    view->root = found;
    view->borrowed = true;
    return view;
}

bool ExpatXMLTree::addNode(const String& parentPath, const String& name, int index) {
    if (!XMLText::isWritableName(name)) return false;  // could not be read back
    if (root == nullptr) {
        if (!parentPath.isEmpty() && !parentPath.equals("/")) return false;
        root = new Node(name.c_str());
        return true;
    }
    Node* parent = resolve(parentPath, index);
    if (parent == nullptr) return false;
    parent->appendChild(name.c_str());
    return true;
}

bool ExpatXMLTree::addNode(const String& path, int index) {
    int slash = path.lastIndexOf('/');
    // On an empty tree a path of one component names the root.
    if (root == nullptr) return slash < 0 && addNode(String(), path, index);
    if (slash < 0) return addNode(String("/"), path, index);
    String name = slash + 1 < path.length() ? path.substring(slash + 1) : String();
    if (slash == 0) return addNode(String("/"), name, index);
    return addNode(path.substring(0, slash), name, index);
}

bool ExpatXMLTree::removeNode(const String& path, const String& childName, int index) {
    Node* parent = resolve(path, -1);
    if (parent == nullptr) return false;
    std::vector<Node*>& children = parent->children;
    int position = -1;
    if (index == -1) {
        for (size_t i = 0; i < children.size(); ++i) {
            if (children[i]->name.equalsIgnoreCase(childName)) {
                position = static_cast<int>(i);
                break;
            }
        }
    } else if (index >= 0 && index < static_cast<int>(children.size()) &&
               children[index]->name.equalsIgnoreCase(childName)) {
        // The position alone would do, but a caller naming the child it means
        // must never lose a different one.
        position = index;
    }
    if (position < 0) return false;
    removeChildAt(parent, static_cast<size_t>(position));
    return true;
}

void ExpatXMLTree::removeChildAt(Node* parent, size_t position) {
    std::vector<Node*>& children = parent->children;
    Node* removed = children[position];
    if (removed == current) current = nullptr;
    children.erase(children.begin() + position);
    for (size_t i = position; i < children.size(); ++i) children[i]->index = static_cast<int>(i);
    destroy(removed);
}

bool ExpatXMLTree::removeNode(const String& path, const String& childName, const String& attrName,
                              const String& attrValue) {
    Node* parent = resolve(path, -1);
    if (parent == nullptr) return false;
    for (size_t i = 0; i < parent->children.size(); ++i) {
        Node* child = parent->children[i];
        // Only children of the given name: an element of another kind that
        // happens to carry the same attribute is never the one meant.
        if (!child->name.equalsIgnoreCase(childName)) continue;
        int a = child->findAttribute(attrName.c_str());
        if (a >= 0 && child->attributeValues[a].equalsIgnoreCase(attrValue)) {
            removeChildAt(parent, i);
            return true;
        }
    }
    return false;
}

Node* ExpatXMLTree::resolveAttributeOwner(const String& path, const String& attr, int index,
                                          String& attrName) const {
    Node* element = resolve(path, index);
    if (element == nullptr) return nullptr;
    int slash = attr.lastIndexOf('/');
    if (slash < 0) {
        attrName = attr;
        return element;
    }
    attrName = slash + 1 < attr.length() ? attr.substring(slash + 1) : String();
    if (slash == 0) return element;
    // The element part is looked up beneath the element found, any index.
    std::string relative;
    if (attr.charAt(0) != '/') relative.push_back('/');
    relative.append(attr.c_str(), slash);
    return findBelow(element, relative.c_str(), static_cast<int>(relative.size()), -1);
}

bool ExpatXMLTree::getAttribute(const String& path, const String& attr, String& value,
                                int index) const {
    value.clear();
    String name;
    Node* element = resolveAttributeOwner(path, attr, index, name);
    if (element == nullptr || name.isEmpty()) return false;
    int i = element->findAttribute(name.c_str());
    if (i < 0) return false;
    value = element->attributeValues[i];
    return true;
}

bool ExpatXMLTree::setAttribute(const String& path, const String& attr, const String& value,
                                int index) {
    String name;
    Node* element = resolveAttributeOwner(path, attr, index, name);
    if (element == nullptr || !XMLText::isWritableName(name)) return false;
    element->putAttribute(name, value);
    return true;
}

bool ExpatXMLTree::splitAttributePath(const String& attrPath, String& elementPath,
                                      String& attrName) {
    String whole = attrPath;
    if (whole.endsWith("/")) whole.setLength(whole.length() - 1);
    int slash = whole.lastIndexOf('/');
    if (slash <= 0) return false;  // the element part must not be empty
    elementPath = whole.substring(0, slash);
    attrName = slash + 1 < whole.length() ? whole.substring(slash + 1) : String();
    return !attrName.isEmpty();
}

bool ExpatXMLTree::getAttribute(const String& attrPath, String& value, int index) const {
    value.clear();
    String elementPath, attrName;
    if (!splitAttributePath(attrPath, elementPath, attrName)) return false;
    return getAttribute(elementPath, attrName, value, index);
}

bool ExpatXMLTree::setAttribute(const String& attrPath, const String& value, int index) {
    String elementPath, attrName;
    if (!splitAttributePath(attrPath, elementPath, attrName)) return false;
    return setAttribute(elementPath, attrName, value, index);
}

XMLNode* ExpatXMLTree::getNode(const String& path, int index) {
    Node* found = resolve(path, index);
    if (found == nullptr) return nullptr;
    return new ExpatXMLNode(path, index, found);
}

// ---- building by the parser ----

void ExpatXMLTree::startElement(const char* name, const char** attributes) {
    if (current == nullptr || root == nullptr) {
        if (root == nullptr) root = new Node(name);
        current = root;
    } else {
        current = current->appendChild(name);
    }
    size_t count = 0;
    while (attributes[2 * count] != nullptr) ++count;
    current->attributeNames.reserve(current->attributeNames.size() + count);
    current->attributeValues.reserve(current->attributeValues.size() + count);
    // The parser has refused exact duplicates already; names that differ
    // only in case still meet here, and a later one replaces the value of
    // the first. Many attributes get a lookup table, so that a hostile
    // element with thousands of them costs linear time, not quadratic.
    std::unordered_map<std::string, int> seen;
    const bool useTable = count > 16;
    for (size_t i = 0; i < count; ++i) {
        const char* attrName = attributes[2 * i];
        const char* attrValue = attributes[2 * i + 1] != nullptr ? attributes[2 * i + 1] : "";
        if (*attrName == '\0') continue;
        int existing;
        std::string key;
        if (useTable) {
            key = attrName;
            for (char& c : key) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            auto found = seen.find(key);
            existing = found != seen.end() ? found->second : -1;
        } else {
            existing = current->findAttribute(attrName);
        }
        if (existing >= 0) {
            current->attributeValues[existing] = String(attrValue);
            continue;
        }
        if (useTable)
            seen.emplace(std::move(key), static_cast<int>(current->attributeNames.size()));
        current->attributeNames.emplace_back(attrName);
        current->attributeValues.emplace_back(attrValue);
    }
}

void ExpatXMLTree::endElement() {
    if (current != nullptr) current = current->parent;
}

// ---- writing ----

void ExpatXMLTree::write(OutputStream& out) const {
    XMLText::forEachLine(root, [&out](const std::string& line) {
        out.write(line.data(), static_cast<int>(line.size()));
    });
}

void ExpatXMLTree::toString(String& out) const {
    std::string text;
    XMLText::forEachLine(root, [&text](const std::string& line) { text.append(line); });
    // One allocation of the right size: growing the string line by line
    // would copy it over and over for a large document.
    out.clear();
    out.ensureCapacity(static_cast<int>(text.size()));
    out.append(text.c_str(), 0, static_cast<int>(text.size()));
}
