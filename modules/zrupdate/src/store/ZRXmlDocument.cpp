#include "store/ZRXmlDocument.h"

#include "xml/XMLParser.h"
#include "xml/XMLTree.h"

ZRXmlDocument::ZRXmlDocument() : parser(nullptr), loaded(false) {}

ZRXmlDocument::~ZRXmlDocument() {
    delete parser;
}

bool ZRXmlDocument::freshParser() {
    delete parser;
    loaded = false;
    parser = XMLParser::create();
    return parser != nullptr;
}

bool ZRXmlDocument::parse(const String& text) {
    loaded = freshParser() && parser->parse(text);
    return loaded;
}

bool ZRXmlDocument::parse(InputStream& in) {
    loaded = freshParser() && parser->parse(in);
    return loaded;
}

bool ZRXmlDocument::isLoaded() const {
    return loaded;
}

XMLTree* ZRXmlDocument::getTree() const {
    return parser != nullptr ? parser->getTree() : nullptr;
}

String ZRXmlDocument::getRootName() const {
    if (!loaded) return String();
    return getTree()->getRootName();
}
