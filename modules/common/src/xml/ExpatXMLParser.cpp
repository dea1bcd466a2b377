#include "xml/ExpatXMLParser.h"

// The build configuration of the library says whether its document type
// support, and with it the entity expansion limits, is compiled in.
#if __has_include(<expat_config.h>)
#include <expat_config.h>
#endif
#include <expat.h>

#include <cstring>

#include "XMLText.h"
#include "io/InputStream.h"
#include "util/Log.h"

namespace {

// The handlers receive the expat parser itself (so that they can stop it);
// the tree being filled is its user data.
ExpatXMLTree* treeOf(void* parser) {
    return static_cast<ExpatXMLTree*>(XML_GetUserData(static_cast<XML_Parser>(parser)));
}

bool isWritable(const XML_Char* name) {
    return XMLText::isWritableName(name, static_cast<int>(std::strlen(name)));
}

// A tree must write back to text that reads again. The parser takes some
// letters as parts of names in one encoding but not in the UTF-8 the tree is
// written in, so a document with such a name is refused.
void onStartElement(void* parser, const XML_Char* name, const XML_Char** attributes) {
    bool writable = isWritable(name);
    for (int i = 0; writable && attributes[i] != nullptr; i += 2)
        writable = isWritable(attributes[i]);
    if (!writable) {
        XML_StopParser(static_cast<XML_Parser>(parser), XML_FALSE);
        return;
    }
    treeOf(parser)->startElement(name, attributes);
}

void onEndElement(void* parser, const XML_Char*) {
    treeOf(parser)->endElement();
}

// The documents of this system never declare entities. Refusing every
// declaration shuts out entity expansion bombs and external entities
// whatever the library's own limits are.
void onEntityDeclaration(void* parser, const XML_Char*, int, const XML_Char*, int, const XML_Char*,
                         const XML_Char*, const XML_Char*, const XML_Char*) {
    XML_StopParser(static_cast<XML_Parser>(parser), XML_FALSE);
}

// Without declarations an entity reference can only be one the parser skips
// (possible when an external document type is named but, rightly, never
// read). Dropping it silently would lose data, so the document is refused.
void onSkippedEntity(void* parser, const XML_Char*, int) {
    XML_StopParser(static_cast<XML_Parser>(parser), XML_FALSE);
}

// One expat parser filling one tree, freed when the parse is over.
class ExpatSession {
public:
    explicit ExpatSession(ExpatXMLTree* tree) : parser(XML_ParserCreate(nullptr)) {
        if (parser == nullptr) return;
        XML_SetUserData(parser, tree);
        XML_UseParserAsHandlerArg(parser);
        XML_SetElementHandler(parser, onStartElement, onEndElement);
        XML_SetEntityDeclHandler(parser, onEntityDeclaration);
        XML_SetSkippedEntityHandler(parser, onSkippedEntity);
        XML_SetParamEntityParsing(parser, XML_PARAM_ENTITY_PARSING_NEVER);
#if defined(XML_DTD) && \
    (XML_MAJOR_VERSION > 2 || (XML_MAJOR_VERSION == 2 && XML_MINOR_VERSION >= 4))
        XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser, 100.0f);
        XML_SetBillionLaughsAttackProtectionActivationThreshold(parser, 1024 * 1024);
#endif
    }
    ~ExpatSession() {
        if (parser != nullptr) XML_ParserFree(parser);
    }
    ExpatSession(const ExpatSession&) = delete;
    ExpatSession& operator=(const ExpatSession&) = delete;

    // Hands one piece of the document to expat; false (and the error in the
    // diagnostic log) when the text is not well-formed.
    bool feed(const char* data, int length, bool final) {
        if (parser == nullptr) {
            Log::getLog()->log(String("XML parser could not be created"), Log::LEVEL_DEBUG);
            return false;
        }
        if (XML_Parse(parser, data, length, final ? XML_TRUE : XML_FALSE) != XML_STATUS_ERROR) {
            return true;
        }
        String message(XML_ErrorString(XML_GetErrorCode(parser)));
        message.append(" at line ");
        message.append(static_cast<unsigned long>(XML_GetCurrentLineNumber(parser)));
        Log::getLog()->log(message, Log::LEVEL_DEBUG);
        return false;
    }

private:
    XML_Parser parser;
};

}  // namespace

XMLParser* XMLParser::create() {
    return new ExpatXMLParser();
}

ExpatXMLParser::ExpatXMLParser() : tree(new ExpatXMLTree()) {}

ExpatXMLParser::~ExpatXMLParser() {
    delete tree;
}

bool ExpatXMLParser::parse(const String& text) {
    // Every parse reads one whole document into an empty tree: elements of
    // an earlier document would otherwise be mixed into the new one.
    tree->clear();
    ok = false;
    if (text.isEmpty()) return false;
    ExpatSession session(tree);
    ok = session.feed(text.c_str(), text.length(), true);
    return ok;
}

bool ExpatXMLParser::parse(InputStream& in) {
    tree->clear();
    ok = false;
    ExpatSession session(tree);
    char buffer[CHUNK_SIZE];
    // Read until the stream reports its end: on a pipe or a socket a short
    // read is not the end of the data. The end is then announced to expat
    // with an empty final piece, so that an unfinished document fails.
    for (;;) {
        int n = in.read(buffer, CHUNK_SIZE);
        if (n <= 0) break;
        if (!session.feed(buffer, n, false)) return false;
    }
    ok = session.feed(buffer, 0, true);
    return ok;
}

void ExpatXMLParser::write(OutputStream& out) const {
    tree->write(out);
}

void ExpatXMLParser::toString(String& out) const {
    tree->toString(out);
}
