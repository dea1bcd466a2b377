// Reading documents with expat and writing them back as text and to files.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "io/InputStream.h"
#include "io/OutputStream.h"
#include "test_printers.h"
#include "xml/XMLNode.h"
#include "xml/XMLParser.h"
#include "xml/XMLTree.h"
#include "xml_test_support.h"

namespace {

const std::string DECL = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// Remembers every write call it receives.
class RecordingStream : public OutputStream {
public:
    void write(char c) override { writes.emplace_back(1, c); }
    using OutputStream::write;
    void write(const char* buf, int n) override { writes.emplace_back(buf, n); }
    std::vector<std::string> writes;
};

// Hands out at most `step` bytes per read, as a pipe or socket may.
class TricklingStream : public InputStream {
public:
    TricklingStream(const std::string& data, int step) : data(data), step(step) {}
    int read(char* buf, int n) override {
        int count = std::min<int>({n, step, static_cast<int>(data.size() - offset)});
        data.copy(buf, count, offset);
        offset += count;
        return count;
    }
    std::string data;
    int step;
    size_t offset = 0;
};

TEST(XMLWrite, DeclarationThenOneElementPerLineWithoutIndentation) {
    std::unique_ptr<XMLParser> parser(XMLParser::create());
    ASSERT_TRUE(
        parser->parse(String("<ServerList type=\"http\">\n  <Server host=\"h\" port=\"80\">"
                             "</Server>\n  <Empty><Inner/></Empty></ServerList>")));
    RecordingStream out;
    parser->write(out);
    std::vector<std::string> expected = {DECL,
                                         "<ServerList type=\"http\">\n",
                                         "<Server host=\"h\" port=\"80\"/>\n",
                                         "<Empty>\n",
                                         "<Inner/>\n",
                                         "</Empty>\n",
                                         "</ServerList>\n"};
    EXPECT_EQ(out.writes, expected);  // one write per line
    std::string joined;
    for (const std::string& line : expected) joined += line;
    EXPECT_EQ(textOf(*parser->getTree()), joined);

    std::unique_ptr<XMLTree> empty(XMLTree::create());
    EXPECT_EQ(textOf(*empty), DECL);
}

TEST(XMLRoundTrip, SpecialCharactersAreEscapedAndReadBackUnchanged) {
    std::unique_ptr<XMLParser> parser(XMLParser::create());
    ASSERT_TRUE(
        parser->parse(String("<?xml version=\"1.0\"?>\n"
                             "<Root q='say \"hi\"' a=\"x &amp; y &lt; z &gt; w &apos;\" "
                             "ws=\"t&#9;n&#10;r&#13;\" raw=\"tab\there\nnl\" "
                             "u=\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"/>")));
    XMLTree* tree = parser->getTree();
    EXPECT_EQ(attr(*tree, "/", "q"), String("say \"hi\""));
    EXPECT_EQ(attr(*tree, "/", "a"), String("x & y < z > w '"));
    EXPECT_EQ(attr(*tree, "/", "ws"), String("t\tn\nr\r"));
    EXPECT_EQ(attr(*tree, "/", "raw"), String("tab here nl"));  // literal white space is a blank
    EXPECT_EQ(attr(*tree, "/", "u"), String("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"));

    std::string expected = DECL +
                           "<Root q=\"say &quot;hi&quot;\" a=\"x &amp; y &lt; z > w '\" "
                           "ws=\"t&#9;n&#10;r&#13;\" raw=\"tab here nl\" "
                           "u=\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"/>\n";
    EXPECT_EQ(textOf(*tree), expected);
    ASSERT_TRUE(parser->parse(String(expected.c_str())));
    EXPECT_EQ(textOf(*parser->getTree()), expected);
}

TEST(XMLRoundTrip, EveryValueSetInCodeReadsBack) {
    std::string all;
    for (int c = 0x20; c < 0x7F; ++c) all.push_back(static_cast<char>(c));
    all += "\t\n\r\r\n]]> &#38; \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 \xC2\x85";
    std::unique_ptr<XMLTree> tree(XMLTree::create());
    ASSERT_TRUE(tree->addNode("Doc", -1));
    ASSERT_TRUE(tree->setAttribute("/", "v", all.c_str(), -1));
    // Bytes XML cannot carry still give a readable document: stray bytes are
    // taken as Latin-1, control characters become U+FFFD.
    ASSERT_TRUE(tree->setAttribute("/", "latin1", "\xE9t\xE9", -1));
    ASSERT_TRUE(tree->setAttribute("/", "ctrl",
                                   "a\x01"
                                   "b\x1F"
                                   "c\xEF\xBF\xBE",
                                   -1));
    ASSERT_TRUE(tree->setAttribute("/", "bad", "\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80", -1));
    std::string text = textOf(*tree);
    EXPECT_NE(text.find("latin1=\"&#xE9;t&#xE9;\""), std::string::npos) << text;
    EXPECT_NE(text.find("ctrl=\"a&#xFFFD;b&#xFFFD;c&#xFFFD;\""), std::string::npos) << text;

    std::unique_ptr<XMLParser> parser(XMLParser::create());
    ASSERT_TRUE(parser->parse(String(text.c_str()))) << text;
    XMLTree* back = parser->getTree();
    EXPECT_EQ(attr(*back, "/", "v"), String(all.c_str()));
    EXPECT_EQ(attr(*back, "/", "latin1"), String("\xC3\xA9t\xC3\xA9"));
    EXPECT_EQ(attr(*back, "/", "ctrl"), String("a\xEF\xBF\xBD"
                                               "b\xEF\xBF\xBD"
                                               "c\xEF\xBF\xBD"));
    EXPECT_EQ(attr(*back, "/", "bad"),
              String("\xC3\x80\xC2\x80\xC3\xAD\xC2\xA0\xC2\x80\xC3\xB4\xC2\x90\xC2\x80\xC2\x80"));
    // What was read back writes out the same again.
    text = textOf(*back);
    ASSERT_TRUE(parser->parse(String(text.c_str())));
    EXPECT_EQ(textOf(*parser->getTree()), text);
}

TEST(XMLParse, ElementsAndAttributesOnlyAndLaterDuplicatesReplace) {
    std::unique_ptr<XMLParser> parser(XMLParser::create());
    ASSERT_TRUE(parser->parse(String(
        "<a>text<!-- note --><b id=\"1\" x=\"2\" ID=\"3\">inner</b>tail<?pi data?><c/></a>")));
    EXPECT_EQ(textOf(*parser->getTree()), DECL + "<a>\n<b id=\"3\" x=\"2\"/>\n<c/>\n</a>\n");
}

TEST(XMLParse, StreamsAreReadInChunksToTheirEnd) {
    ScratchDir scratch;
    // Several chunks, with a multi-byte character across a chunk boundary.
    std::string big = "<List>";
    while (big.size() < 1020) big += "<I/>";
    big += "<I v=\"\xE2\x82\xAC\"/>";
    for (int i = 0; i < 300; ++i) big += "<Item n=\"" + std::to_string(i) + "\"/>";
    big += "</List>";
    std::unique_ptr<XMLParser> fromText(XMLParser::create());
    std::unique_ptr<XMLParser> parser(XMLParser::create());
    ASSERT_TRUE(fromText->parse(String(big.c_str())));
    ASSERT_TRUE(parseAsFile(*parser, scratch, big));
    EXPECT_EQ(textOf(*parser->getTree()), textOf(*fromText->getTree()));
    EXPECT_EQ(attr(*parser->getTree(), "Item", "n", 299 + 255), String("299"));
    // Short reads in the middle are not taken for the end of the data.
    TricklingStream trickle(big, 7);
    ASSERT_TRUE(parser->parse(trickle));
    EXPECT_EQ(textOf(*parser->getTree()), textOf(*fromText->getTree()));

    // A document of exactly two chunks: complete it reads, cut short it fails.
    std::string exact = "<R>" + std::string(2048 - 7, ' ') + "</R>";
    EXPECT_TRUE(parseAsFile(*parser, scratch, exact));
    EXPECT_FALSE(parseAsFile(*parser, scratch, exact.substr(0, 2044) + "    "));
}

TEST(XMLParse, ErrorsGoToTheDebugLogWithTheLine) {
    ScratchDir scratch;
    LogCapture logs(scratch);
    std::unique_ptr<XMLParser> parser(XMLParser::create());

    EXPECT_FALSE(parser->parse(String("<a><b/>")));
    std::string debug = logs.debugText();
    EXPECT_NE(debug.find("\tdebug\t"), std::string::npos) << debug;
    EXPECT_EQ(debug.substr(debug.size() - 11), " at line 1\n") << debug;
    // The tree keeps what was read before the error.
    EXPECT_EQ(textOf(*parser->getTree()), DECL + "<a>\n<b/>\n</a>\n");

    EXPECT_FALSE(parser->parse(String("<a>\n<b>\n</a>")));
    debug = logs.debugText();
    EXPECT_NE(debug.find("mismatched tag at line 3\n"), std::string::npos) << debug;
    EXPECT_FALSE(parser->parse(String("")));
    EXPECT_TRUE(parser->getTree()->getRootName().isEmpty());
}

TEST(XMLFiles, WriteFileReplacesTheWholeFileOrReportsWhyNot) {
    ScratchDir scratch;
    LogCapture logs(scratch);
    std::string path = scratch.file("zr-inventory");
    writeFile(path, std::string(5000, 'x'));  // longer than the new text

    std::unique_ptr<XMLParser> parser(XMLParser::create());
    ASSERT_TRUE(parser->parse(String("<Inventory><Products n=\"a&amp;b\"/></Inventory>")));
    ASSERT_TRUE(parser->writeFile(path.c_str()));
    std::string expected = DECL + "<Inventory>\n<Products n=\"a&amp;b\"/>\n</Inventory>\n";
    EXPECT_EQ(readFile(path), expected);

    std::string missing = scratch.file("no-such-dir/zr-inventory");
    EXPECT_FALSE(parser->getTree()->writeFile(missing.c_str()));
    std::string mainLog = logs.mainText();
    EXPECT_NE(mainLog.find("\terror\tcannot write XML document: " + missing + ": "),
              std::string::npos)
        << mainLog;
    EXPECT_EQ(readFile(path), expected);
}

}  // namespace
