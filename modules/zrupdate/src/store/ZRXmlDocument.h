#ifndef ZR_XML_DOCUMENT_H
#define ZR_XML_DOCUMENT_H

#include "String.h"
#include "ZRObject.h"

class InputStream;
class XMLParser;
class XMLTree;

// Holds one parsed XML document: the stores keep their files in one, and the
// update answer parser reads its answers out of one.
class ZRXmlDocument : public ZRObject {
public:
    ZRXmlDocument();
    ~ZRXmlDocument() override;

    ZRXmlDocument(const ZRXmlDocument&) = delete;
    ZRXmlDocument& operator=(const ZRXmlDocument&) = delete;

    // Drop the previous document, parse a new one; the result of the parse.
    bool parse(const String& text);
    bool parse(InputStream& in);

    // True when the last parse succeeded (a document is loaded).
    bool isLoaded() const;

    // The parsed tree, owned by this object; null before the first parse.
    // After a failed parse it holds what was built before the error.
    XMLTree* getTree() const;

    // The root element's name; "" when nothing is loaded.
    String getRootName() const;

private:
    // Drops the previous document and makes a new parser; false when none
    // can be made.
    bool freshParser();

    XMLParser* parser;
    bool loaded;
};

#endif
