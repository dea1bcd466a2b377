// Fuzz target of the XML layer: parses arbitrary bytes from text and from a
// stream, looks elements up by path, writes the tree back and reads that text
// again. A written tree must always read back to exactly the same text.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "../xml_test_support.h"
#include "Exception.h"
#include "io/InputStream.h"
#include "xml/XMLNode.h"
#include "xml/XMLParser.h"
#include "xml/XMLTree.h"

namespace {

// Serves the bytes in reads of varying size, as a file, pipe or socket may.
class MemoryInputStream : public InputStream {
public:
    MemoryInputStream(const uint8_t* data, size_t size) : data(data), size(size) {}
    int read(char* buf, int n) override {
        size_t step = 1 + (offset * 7919 + size) % 1500;  // short and long reads
        size_t count = std::min({static_cast<size_t>(n), step, size - offset});
        std::memcpy(buf, data + offset, count);
        offset += count;
        return static_cast<int>(count);
    }

private:
    const uint8_t* data;
    size_t size;
    size_t offset = 0;
};

void check(bool condition) {
    if (!condition) std::abort();
}

// Looks a path up; short paths may throw, which is their documented answer.
void lookUp(XMLTree& tree, const String& path, int index) {
    try {
        std::unique_ptr<XMLNode> node(tree.getNode(path, index));
        String value;
        tree.getAttribute(path, String("id"), value, index);
        tree.getAttribute(path, String("a/b"), value, index);
        if (node) {
            check(node->isValid());
            for (int i = 0; i < node->getAttributeCount() && i < 4; ++i) {
                String name;
                check(node->getAttribute(i, name, value));
            }
        }
        std::unique_ptr<XMLTree> view(tree.getSubtree(path, index));
        if (view) textOf(*view);
    } catch (const ArrayIndexException&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::unique_ptr<XMLParser> fromStream(XMLParser::create());
    MemoryInputStream in(data, size);
    fromStream->parse(in);

    // The text form stops at the first NUL, as the library's strings do.
    std::string bytes(reinterpret_cast<const char*>(data), size);
    std::unique_ptr<XMLParser> fromText(XMLParser::create());
    fromText->parse(String(bytes.c_str()));
    if (bytes.find('\0') == std::string::npos) {
        check(textOf(*fromText->getTree()) == textOf(*fromStream->getTree()));
    }

    XMLTree& tree = *fromText->getTree();
    lookUp(tree, String("/"), -1);
    if (!tree.getRootName().isEmpty()) {
        // Every child reached by handle is found again by its path.
        std::unique_ptr<XMLNode> root(tree.getNode(String("/"), -1));
        check(root != nullptr);
        for (int i = 0; i < root->getChildCount() && i < 8; ++i) {
            std::unique_ptr<XMLNode> child(root->getChild(i));
            check(child != nullptr);
            String path = child->getPath();
            String relative = path.substring(tree.getRootName().length() + 1);
            std::unique_ptr<XMLNode> again(tree.getNode(relative, i));
            check(again != nullptr && again->getName() == child->getName());
            lookUp(tree, relative, -1);
        }
    }
    // A path taken from the input itself.
    size_t split = bytes.find('\n');
    if (split != std::string::npos && split > 0) {
        lookUp(tree, String(bytes.substr(0, split).c_str()), static_cast<int>(size % 3) - 1);
    }

    // Write back and read again: the same text, whether or not the input was
    // well-formed (a failed parse keeps a well-formed part of the tree).
    std::string written = textOf(tree);
    if (!tree.getRootName().isEmpty()) {
        std::unique_ptr<XMLParser> reread(XMLParser::create());
        check(reread->parse(String(written.c_str())));
        check(textOf(*reread->getTree()) == written);
    }

    // Values set in code may hold any bytes. The text must still read back,
    // and settle after one round (bytes XML cannot carry are mapped once).
    std::unique_ptr<XMLTree> edited(XMLTree::create());
    check(edited->addNode(String("Doc"), -1));
    check(edited->setAttribute(String("/"), String("v"), String(bytes.c_str()), -1));
    check(edited->addNode(String("Child"), -1));
    check(edited->setAttribute(String("Child/w"), String(bytes.c_str() + size / 2), -1));
    std::unique_ptr<XMLParser> first(XMLParser::create());
    check(first->parse(String(textOf(*edited).c_str())));
    std::string settled = textOf(*first->getTree());
    std::unique_ptr<XMLParser> second(XMLParser::create());
    check(second->parse(String(settled.c_str())));
    check(textOf(*second->getTree()) == settled);
    return 0;
}
