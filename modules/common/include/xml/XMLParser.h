#ifndef ZR_XML_XML_PARSER_H
#define ZR_XML_XML_PARSER_H

#include "String.h"

class InputStream;
class OutputStream;
class XMLTree;

// Reads XML text into the tree it owns. A parse error is written to the
// diagnostic log as the parser's error text, " at line " and the line number;
// the parse then returns false and the tree keeps what was read before it.
class XMLParser {
  public:
    // A new parser owned by the caller.
    static XMLParser* create();

    XMLParser() = default;
    XMLParser(const XMLParser&) = delete;
    XMLParser& operator=(const XMLParser&) = delete;
    virtual ~XMLParser() = default;

    // Each parse starts from an empty tree.
    virtual bool parse(InputStream& in) = 0;
    // False at once for an empty text.
    virtual bool parse(const String& text) = 0;
    virtual void write(OutputStream& out) const = 0;
    virtual void toString(String& out) const = 0;

    // The parsed tree, owned by the parser.
    XMLTree* getTree() const { return treeOf(); }
    // As XMLTree::writeFile for the parsed tree.
    bool writeFile(const String& path) const;

  protected:
    virtual XMLTree* treeOf() const = 0;
};

#endif
