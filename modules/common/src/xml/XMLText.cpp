#include "XMLText.h"

#include <expat.h>

#include <cstdio>

const char* const XMLText::DECLARATION = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

namespace {

// Length of the well-formed UTF-8 sequence at `s` (at most `left` bytes), or
// 0 when the bytes there are not one. Overlong forms, surrogates and values
// beyond U+10FFFF are refused, as an XML parser refuses them.
int utf8SequenceLength(const unsigned char* s, int left) {
    unsigned char b = s[0];
    int length;
    unsigned char low = 0x80, high = 0xBF;  // bounds of the second byte
    if (b >= 0xC2 && b <= 0xDF) {
        length = 2;
    } else if (b >= 0xE0 && b <= 0xEF) {
        length = 3;
        if (b == 0xE0) low = 0xA0;
        if (b == 0xED) high = 0x9F;
    } else if (b >= 0xF0 && b <= 0xF4) {
        length = 4;
        if (b == 0xF0) low = 0x90;
        if (b == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if (left < length) return 0;
    if (s[1] < low || s[1] > high) return 0;
    for (int i = 2; i < length; ++i) {
        if (s[i] < 0x80 || s[i] > 0xBF) return 0;
    }
    return length;
}

// U+FFFE and U+FFFF are well-formed UTF-8 but not characters XML may carry.
bool isNonCharacter(const unsigned char* s, int length) {
    return length == 3 && s[0] == 0xEF && s[1] == 0xBF && (s[2] == 0xBE || s[2] == 0xBF);
}

bool isNameStartByte(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == ':' || c >= 0x80;
}

bool isNameByte(unsigned char c) {
    return isNameStartByte(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

// Whether the parser reads "<name/>" in UTF-8. Which letters beyond ASCII
// may stand in a name follows tables of the parser that differ between
// encodings (a Latin-1 document may name an element "\xBA", while U+00BA
// is refused in UTF-8), so the parser that reads the text back is asked.
bool parserReadsName(const char* name, int length) {
    XML_Parser parser = XML_ParserCreate("UTF-8");
    if (parser == nullptr) return false;
    std::string text("<");
    text.append(name, static_cast<size_t>(length));
    text.append("/>");
    bool read =
        XML_Parse(parser, text.data(), static_cast<int>(text.size()), XML_TRUE) == XML_STATUS_OK;
    XML_ParserFree(parser);
    return read;
}

// The reference written for an ASCII byte that cannot stand as it is inside
// an attribute value, or null for one that can.
const char* referenceFor(unsigned char c) {
    static const char* const MARKUP[][2] = {{"&", "&amp;"}, {"<", "&lt;"},   {"\"", "&quot;"},
                                            {"\t", "&#9;"}, {"\n", "&#10;"}, {"\r", "&#13;"}};
    for (const auto& entry : MARKUP) {
        if (c == static_cast<unsigned char>(entry[0][0])) return entry[1];
    }
    return c < 0x20 ? "&#xFFFD;" : nullptr;
}

void appendHexReference(std::string& out, unsigned int code) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "&#x%X;", code);
    out.append(buffer);
}

}  // namespace

bool XMLText::isWritableName(const String& name) {
    return isWritableName(name.c_str(), name.length());
}

bool XMLText::isWritableName(const char* name, int length) {
    const unsigned char* s = reinterpret_cast<const unsigned char*>(name);
    if (length <= 0 || !isNameStartByte(s[0])) return false;
    bool beyondAscii = false;
    for (int i = 0; i < length; ++i) {
        if (s[i] >= 0x80) {
            beyondAscii = true;
        } else if (!isNameByte(s[i])) {
            return false;
        }
    }
    // Names of this system's documents are ASCII; the rare other one costs
    // a parse.
    return !beyondAscii || parserReadsName(name, length);
}

void XMLText::appendAttributeValue(std::string& out, const char* value, int length) {
    const unsigned char* s = reinterpret_cast<const unsigned char*>(value);
    for (int i = 0; i < length;) {
        unsigned char c = s[i];
        if (c >= 0x80) {
            int n = utf8SequenceLength(s + i, length - i);
            if (n == 0) {
                appendHexReference(out, c);
                ++i;
            } else if (isNonCharacter(s + i, n)) {
                out.append("&#xFFFD;");
                i += n;
            } else {
                out.append(value + i, n);
                i += n;
            }
            continue;
        }
        const char* reference = referenceFor(c);
        if (reference != nullptr) {
            out.append(reference);
        } else {
            out.push_back(static_cast<char>(c));
        }
        ++i;
    }
}

void XMLText::appendOpeningLine(std::string& out, const ExpatXMLTree::_tree_node& node) {
    out.push_back('<');
    out.append(node.name.c_str(), node.name.length());
    for (size_t i = 0; i < node.attributeNames.size(); ++i) {
        const String& name = node.attributeNames[i];
        const String& value = node.attributeValues[i];
        out.push_back(' ');
        out.append(name.c_str(), name.length());
        out.append("=\"");
        appendAttributeValue(out, value.c_str(), value.length());
        out.push_back('"');
    }
    out.append(node.children.empty() ? "/>\n" : ">\n");
}

void XMLText::appendClosingLine(std::string& out, const ExpatXMLTree::_tree_node& node) {
    out.append("</");
    out.append(node.name.c_str(), node.name.length());
    out.append(">\n");
}
