#ifndef ZR_XML_EXPAT_XML_PARSER_H
#define ZR_XML_EXPAT_XML_PARSER_H

#include "String.h"
#include "xml/ExpatXMLTree.h"
#include "xml/XMLParser.h"

// XMLParser over the expat library.
class ExpatXMLParser : public XMLParser {
  public:
    ExpatXMLParser();
    ~ExpatXMLParser() override;

    bool parse(InputStream& in) override;
    bool parse(const String& text) override;
    void write(OutputStream& out) const override;
    void toString(String& out) const override;

    // Result of the last parse.
    bool isOk() const { return ok; }

    // Bytes handed to expat per call when reading a stream.
    static const int CHUNK_SIZE = 1024;

  protected:
    XMLTree* treeOf() const override { return tree; }

  private:
    ExpatXMLTree* tree;
    bool ok = false;
};

#endif
