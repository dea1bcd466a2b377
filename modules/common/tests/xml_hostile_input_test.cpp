// Broken and hostile documents: every one gives false or a clean tree, never
// a crash, a stack overflow or unbounded work.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>

#include "test_printers.h"
#include "xml/XMLNode.h"
#include "xml/XMLParser.h"
#include "xml/XMLTree.h"
#include "xml_test_support.h"

namespace {

bool parseText(XMLParser& parser, const std::string& text) {
    return parser.parse(String(text.c_str()));
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(XMLHostileInput, MalformedDocumentsAreRefused) {
    ScratchDir scratch;
    std::unique_ptr<XMLParser> parser(XMLParser::create());
    const std::string broken[] = {
        "",
        " ",
        "<",
        "text only",
        "<a>",
        "<a><b/>",
        "<a><b></a></b>",
        "<a/><b/>",
        "<a x='1' x='2'/>",
        "<a x=1/>",
        "<a x=\"<\"/>",
        "<a>&undefined;</a>",
        "<a x=\"&#0;\"/>",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><a x=\"\xff\"/>",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><a x=\"\xC0\x80\"/>",
        "<?xml version=\"1.0\" encoding=\"X-NO-SUCH-ENCODING\"?><a/>",
        "\xFF\xFE<\x00"
        "a\x00/\x00",
        std::string("<a>\0</a>", 8),
        "<a\x01/>",
    };
    for (const std::string& text : broken) {
        EXPECT_FALSE(parseAsFile(*parser, scratch, text)) << text;
        // Whatever was built stays usable.
        String out;
        parser->toString(out);
        EXPECT_TRUE(out.startsWith("<?xml")) << text;
        if (text.find('\0') == std::string::npos) {
            EXPECT_FALSE(parseText(*parser, text)) << text;
        }
    }
    // Other encodings are read into UTF-8.
    ASSERT_TRUE(
        parseText(*parser, "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a x=\"\xE9\"/>"));
    EXPECT_EQ(attr(*parser->getTree(), "/", "x"), String("\xC3\xA9"));
    ASSERT_TRUE(parseAsFile(*parser, scratch, std::string("\xFF\xFE<\0a\0/\0>\0", 10)));
    EXPECT_EQ(parser->getTree()->getRootName(), String("a"));
}

// A 10 MB attribute, 100,000 siblings, 50,000 attributes: linear work, not a
// re-scan per chunk or a search per attribute.
TEST(XMLHostileInput, HugeDocumentsStayLinear) {
    ScratchDir scratch;
    const int size = 10 * 1024 * 1024;
    std::string text = "<a v=\"" + std::string(size, 'x') + "&amp;\"/>";
    std::unique_ptr<XMLParser> parser(XMLParser::create());
    auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(parseText(*parser, text));
    ASSERT_TRUE(parseAsFile(*parser, scratch, text));
    String value = attr(*parser->getTree(), "/", "v");
    EXPECT_EQ(value.length(), size + 1);
    EXPECT_TRUE(value.endsWith("x&"));
    EXPECT_EQ(textOf(*parser->getTree()).size(), 39u + size + 15);
    // Cut short inside the value: refused, no crash.
    EXPECT_FALSE(parseAsFile(*parser, scratch, text.substr(0, text.size() / 2)));

    text = "<r>";
    for (int i = 0; i < 100000; ++i) text += "<s/>";
    text += "<m";
    for (int i = 0; i < 50000; ++i) text += " a" + std::to_string(i) + "=\"\"";
    ASSERT_TRUE(parseText(*parser, text + " A49999=\"dup\"/></r>"));
    std::unique_ptr<XMLNode> m(parser->getTree()->getNode("/m", -1));
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->getAttributeCount(), 50000);
    String name, last;  // replaced in place, under its first spelling
    ASSERT_TRUE(m->getAttribute(49999, name, last));
    EXPECT_EQ(name + "=" + last, String("a49999=dup"));
    EXPECT_NE(std::unique_ptr<XMLNode>(parser->getTree()->getNode("/s", 99999)), nullptr);
    EXPECT_TRUE(parseText(*parser, textOf(*parser->getTree())));
    EXPECT_LT(secondsSince(start), 60.0);
}

TEST(XMLHostileInput, DeepNestingNeedsNoDeepStack) {
    ScratchDir scratch;
    // 10,000 levels, and far more than a recursive walk could survive on an
    // 8 MB stack.
    for (int depth : {10000, 300000}) {
        std::string text;
        text.reserve(depth * 7);
        for (int i = 0; i < depth; ++i) text += "<e>";
        for (int i = 0; i < depth; ++i) text += "</e>";
        std::unique_ptr<XMLParser> parser(XMLParser::create());
        ASSERT_TRUE(parseAsFile(*parser, scratch, text)) << depth;

        std::string path;
        for (int i = 1; i < depth; ++i) path += "/e";
        std::unique_ptr<XMLNode> deepest(parser->getTree()->getNode(path.c_str(), 0));
        ASSERT_NE(deepest, nullptr);
        EXPECT_EQ(deepest->getChildCount(), 0);
        EXPECT_TRUE(parser->getTree()->setAttribute(path.c_str(), "leaf", "1", -1));

        std::unique_ptr<XMLParser> again(XMLParser::create());
        ASSERT_TRUE(parseText(*again, textOf(*parser->getTree())));
        EXPECT_EQ(attr(*again->getTree(), path.c_str(), "leaf"), String("1"));
        // Dropping the middle frees the levels below it without recursion.
        EXPECT_TRUE(again->getTree()->removeNode("/e/e", "e", 0));
        EXPECT_EQ(again->getTree()->getNode("/e/e/e", -1), nullptr);
        // Unclosed at that depth: refused.
        EXPECT_FALSE(parseText(*parser, text.substr(0, depth * 3)));
    }
}

TEST(XMLHostileInput, EntityTricksAreRefused) {
    ScratchDir scratch;
    std::unique_ptr<XMLParser> parser(XMLParser::create());
    std::string laughs = "<?xml version=\"1.0\"?>\n<!DOCTYPE lolz [\n<!ENTITY lol \"lol\">\n";
    for (int i = 1; i < 10; ++i) {
        laughs += "<!ENTITY lol" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j)
            laughs += (i == 1 ? "&lol;" : "&lol" + std::to_string(i - 1) + ";");
        laughs += "\">\n";
    }
    laughs += "]>\n<lolz v=\"&lol9;\">&lol9;</lolz>";
    const std::string hostile[] = {
        laughs,
        "<!DOCTYPE a [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><a>&e;</a>",
        "<!DOCTYPE a [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><a x=\"&e;\"/>",
        "<!DOCTYPE a SYSTEM \"http://127.0.0.1:1/evil.dtd\"><a>&e;</a>",
        "<!DOCTYPE a [<!ENTITY % p SYSTEM \"file:///etc/passwd\"> %p;]><a/>",
        "<!DOCTYPE a [<!ENTITY big \"" + std::string(100000, 'x') + "\">]><a v=\"&big;&big;\"/>",
    };
    auto start = std::chrono::steady_clock::now();
    for (const std::string& text : hostile) {
        EXPECT_FALSE(parseText(*parser, text)) << text.substr(0, 80);
        EXPECT_FALSE(parseAsFile(*parser, scratch, text)) << text.substr(0, 80);
    }
    EXPECT_LT(secondsSince(start), 10.0);
    // A document type without declarations is harmless and accepted; an
    // external one is never fetched.
    EXPECT_TRUE(parseText(*parser, "<!DOCTYPE a><a x=\"1\"/>"));
    EXPECT_TRUE(parseText(*parser, "<!DOCTYPE a SYSTEM \"http://127.0.0.1:1/x.dtd\"><a/>"));
}

}  // namespace
