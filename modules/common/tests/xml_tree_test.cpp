// Paths, attributes, node handles and views of the element tree.
#include <gtest/gtest.h>

#include <memory>

#include "Exception.h"
#include "test_printers.h"
#include "xml/XMLNode.h"
#include "xml/XMLTree.h"
#include "xml_test_support.h"

namespace {

// The name of the element at (path, index), "" when none is found.
String nameAt(XMLTree& tree, const char* path, int index = -1) {
    std::unique_ptr<XMLNode> node(tree.getNode(path, index));
    return node != nullptr ? node->getName() : String("");
}

// A parser holding the tree read from `text`.
std::unique_ptr<XMLParser> parsed(const char* text) {
    std::unique_ptr<XMLParser> parser(XMLParser::create());
    EXPECT_TRUE(parser->parse(String(text))) << text;
    return parser;
}

// Root "Root" with child "Alpha" (x="1") and grandchild "Beta".
std::unique_ptr<XMLTree> smallTree() {
    std::unique_ptr<XMLTree> tree(XMLTree::create());
    EXPECT_TRUE(tree->addNode("", "Root", -1));
    EXPECT_TRUE(tree->addNode("/Root", "Alpha", -1));
    EXPECT_TRUE(tree->addNode("Alpha", "Beta", -1));
    EXPECT_TRUE(tree->setAttribute("/Alpha", "x", "1", -1));
    return tree;
}

TEST(XMLTreePaths, RootAndRelativePathsResolveAsDocumented) {
    std::unique_ptr<XMLTree> tree = smallTree();
    EXPECT_EQ(tree->getRootName(), String("Root"));
    // The root by "/", its name and "/" + its name, whatever the index; a
    // leading "/" does not make a path absolute; the last component compares
    // ignoring case, the ones above it exactly; missing elements and empty
    // components find nothing.
    const char* cases[][2] = {{"/", "Root"},          {"Root", "Root"},    {"/Root", "Root"},
                              {"Alpha/Beta", "Beta"}, {"/ALPHA", "Alpha"}, {"/Alpha/BETA", "Beta"},
                              {"/ALPHA/Beta", ""},    {"/Root/Alpha", ""}, {"/Gamma", ""},
                              {"Alpha//Beta", ""},    {"Alpha/", ""}};
    for (auto& c : cases) EXPECT_EQ(nameAt(*tree, c[0]), String(c[1])) << c[0];
    EXPECT_EQ(nameAt(*tree, "/", 7), String("Root"));
    std::unique_ptr<XMLNode> beta(tree->getNode("Alpha/Beta", -1));
    EXPECT_EQ(beta->getPath(), String("Alpha/Beta"));
    // Attributes are found by the same paths, their names ignoring case.
    EXPECT_EQ(attr(*tree, "/ALPHA", "X"), String("1"));
    EXPECT_EQ(attr(*tree, "/Root/Alpha", "x"), String("<missing>"));

    // Short paths throw, but only on a non-empty tree.
    String value;
    EXPECT_THROW(tree->getAttribute("A", "x", value, -1), ArrayIndexException);
    EXPECT_THROW(tree->getNode("", -1), ArrayIndexException);
    EXPECT_THROW(tree->addNode("", "Child", -1), ArrayIndexException);

    std::unique_ptr<XMLTree> empty(XMLTree::create());
    EXPECT_EQ(empty->getRootName(), String(""));
    EXPECT_EQ(empty->getNode("", -1), nullptr);
    EXPECT_EQ(empty->getNode("A", -1), nullptr);
    EXPECT_FALSE(empty->getAttribute("A", "x", value, -1));
    EXPECT_EQ(empty->getSubtree("/", -1), nullptr);
}

TEST(XMLTreePaths, IndexIsThePositionAmongAllSiblingsOfTheLastElement) {
    std::unique_ptr<XMLParser> parser = parsed(
        "<List><Group><Other/><Item n='g0'/></Group>"
        "<Group><Item n='a'/><Item n='b'/><Item n='c'/></Group></List>");
    XMLTree* tree = parser->getTree();
    EXPECT_EQ(attr(*tree, "Group/Item", "n", 0), String("a"));  // first Group has no Item at 0
    EXPECT_EQ(attr(*tree, "Group/Item", "n", 1), String("g0"));
    EXPECT_EQ(attr(*tree, "Group/Item", "n", 2), String("c"));
    EXPECT_EQ(attr(*tree, "Group/Item", "n", 3), String("<missing>"));
    EXPECT_EQ(attr(*tree, "Group/Item", "n", -1), String("g0"));
    EXPECT_EQ(attr(*tree, "Group/Other", "n", 1), String("<missing>"));
}

TEST(XMLTreeNodes, AddAndRemoveKeepIndicesExact) {
    std::unique_ptr<XMLTree> tree(XMLTree::create());
    EXPECT_FALSE(tree->addNode("/Root", -1));  // a root path with "/" fails
    EXPECT_FALSE(tree->addNode("Parent", "Root", -1));
    ASSERT_TRUE(tree->addNode("Root", -1));
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(tree->addNode("/Item", -1));
        ASSERT_TRUE(tree->setAttribute("Item", "n", String().append(i), i));
    }
    EXPECT_TRUE(tree->removeNode("/", "Item", 0));
    EXPECT_EQ(attr(*tree, "Item", "n", 0), String("1"));
    EXPECT_EQ(attr(*tree, "Item", "n", 1), String("2"));
    EXPECT_EQ(tree->getNode("Item", 2), nullptr);
    // Out of range, a wrong name at that position, a missing parent.
    EXPECT_FALSE(tree->removeNode("/", "Item", 2));
    EXPECT_FALSE(tree->removeNode("/", "Other", 0));
    EXPECT_FALSE(tree->removeNode("/", "Item", -2));
    EXPECT_FALSE(tree->removeNode("/Nowhere", "Item", -1));
    // -1 removes the first of that name, ignoring case.
    EXPECT_TRUE(tree->removeNode("Root", "ITEM", -1));
    EXPECT_EQ(attr(*tree, "Item", "n", 0), String("2"));
    EXPECT_TRUE(tree->removeNode("Root", "item", -1));
    EXPECT_FALSE(tree->removeNode("Root", "item", -1));

    // Names that could not be read back are refused, also letters beyond
    // ASCII that the parser takes in names only in other encodings.
    for (const char* bad :
         {"", "a b", "1x", "a/b", "a<b", "x\"y", "\xff", "\xC2\xBA", "a\xC3\x97"}) {
        EXPECT_FALSE(tree->addNode("/", bad, -1)) << bad;
    }
    EXPECT_FALSE(tree->addNode("Root/", -1));
    EXPECT_TRUE(tree->addNode("/", "ns:name-1.x_\xC3\xA9", -1));

    // By path, the index picks the parent; the parent must exist.
    ASSERT_TRUE(tree->addNode("Alpha", -1));
    ASSERT_TRUE(tree->addNode("/Beta", -1));
    ASSERT_TRUE(tree->addNode("Alpha", -1));
    ASSERT_TRUE(tree->addNode("Alpha/Delta", 3));
    EXPECT_EQ(nameAt(*tree, "Alpha/Delta"), String("Delta"));
    EXPECT_EQ(std::unique_ptr<XMLNode>(tree->getNode("Alpha", 1))->getChildCount(), 0);
    EXPECT_EQ(std::unique_ptr<XMLNode>(tree->getNode("Alpha", 3))->getChildCount(), 1);
    EXPECT_FALSE(tree->addNode("Alpha/Delta", 2));  // a Beta is at position 2
    EXPECT_FALSE(tree->addNode("Missing/Delta", -1));
}

TEST(XMLTreeNodes, RemoveByAttributeMatchesOnlyNamedChildren) {
    std::unique_ptr<XMLParser> parser =
        parsed("<List><Other file='A.ZIP'/><Package file='b.zip'/><Package file='a.zip'/></List>");
    XMLTree* tree = parser->getTree();
    EXPECT_FALSE(tree->removeNode("/", "Package", "file", "c.zip"));
    EXPECT_FALSE(tree->removeNode("/", "Package", "missing", "a.zip"));
    EXPECT_TRUE(tree->removeNode("/", "package", "FILE", "a.ZIP"));
    // "Other" also matched the value but is not a Package.
    EXPECT_EQ(attr(*tree, "Other", "file"), String("A.ZIP"));
    EXPECT_EQ(attr(*tree, "Package", "file", 1), String("b.zip"));
    EXPECT_EQ(tree->getNode("Package", 2), nullptr);
}

TEST(XMLTreeAttributes, OrderAndCaseInsensitiveUniqueness) {
    std::unique_ptr<XMLTree> tree = smallTree();
    ASSERT_TRUE(tree->setAttribute("/Alpha", "x", "1", -1));
    ASSERT_TRUE(tree->setAttribute("/Alpha", "id", "a", -1));
    ASSERT_TRUE(tree->setAttribute("/Alpha", "b", "c", -1));
    ASSERT_TRUE(tree->setAttribute("/Alpha", "ID", "changed", -1));
    // In place, under the first spelling of its name.
    EXPECT_NE(textOf(*tree).find("<Alpha x=\"1\" id=\"changed\" b=\"c\">\n"), std::string::npos)
        << textOf(*tree);
    // Failed lookups empty the value.
    std::unique_ptr<XMLNode> alpha(tree->getNode("Alpha", -1));
    String name, value("stale");
    EXPECT_FALSE(alpha->getAttribute(3, name, value) || !value.isEmpty());
    value = "stale";
    EXPECT_FALSE(alpha->getAttribute(-1, name, value) || !value.isEmpty());
    value = "stale";
    EXPECT_FALSE(alpha->getAttribute("none", value) || !value.isEmpty());

    // setAttribute never creates elements and refuses unwritable names.
    for (const char* bad : {"Sub/x", "bad name", "Beta/"}) {
        EXPECT_FALSE(tree->setAttribute("/Alpha", bad, "1", -1)) << bad;
    }
    EXPECT_FALSE(tree->setAttribute("/Gamma", "x", "1", -1));
    EXPECT_EQ(tree->getNode("Alpha/Sub", -1), nullptr);
}

TEST(XMLTreeAttributes, RelativeAndCombinedAttributePaths) {
    std::unique_ptr<XMLTree> tree(XMLTree::create());
    ASSERT_TRUE(tree->addNode("Settings", -1));
    ASSERT_TRUE(tree->addNode("Products", -1));
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(tree->addNode("Products", "Installed", -1));
        ASSERT_TRUE(tree->addNode("Products/Installed", "Info", i));
        ASSERT_TRUE(
            tree->setAttribute("Products/Installed", "Info/id", String().append(100 + i), i));
    }
    // "Info/id" is looked up beneath the element at (path, index).
    EXPECT_EQ(attr(*tree, "Products/Installed", "Info/id", 2), String("102"));
    EXPECT_EQ(attr(*tree, "Products/Installed", "INFO/ID", 1), String("101"));
    EXPECT_EQ(attr(*tree, "/", "Products/Installed/Info/id"), String("100"));
    EXPECT_EQ(attr(*tree, "Products/Installed", "/Info/id", 0), String("100"));

    // In one "element/path/attribute" the index belongs to the last element:
    // every Info is at position 0. The element part must not be empty.
    String value("stale");
    EXPECT_TRUE(tree->getAttribute("Products/Installed/Info/id", value, -1));
    EXPECT_EQ(value, String("100"));
    EXPECT_TRUE(tree->getAttribute("Products/Installed/Info/id/", value, 0));
    EXPECT_EQ(value, String("100"));
    EXPECT_FALSE(tree->getAttribute("Products/Installed/Info/id", value, 1));
    EXPECT_TRUE(tree->setAttribute("/Products/state", "ok", -1));
    EXPECT_EQ(attr(*tree, "Products", "state"), String("ok"));
    for (const char* bad : {"/state", "state", "Products/"}) {
        value = "stale";
        EXPECT_FALSE(tree->getAttribute(bad, value, -1) || !value.isEmpty()) << bad;
    }
    EXPECT_FALSE(tree->setAttribute("/state", "x", -1));
}

TEST(XMLTreeViews, SubtreeBorrowsAndNeverFrees) {
    std::unique_ptr<XMLTree> tree(XMLTree::create());
    ASSERT_TRUE(tree->addNode("ZRUpdateClientSettings", -1));
    ASSERT_TRUE(tree->addNode("Inventory", -1));
    ASSERT_TRUE(tree->addNode("Inventory/Products", -1));
    ASSERT_TRUE(tree->setAttribute("Inventory/Products", "count", "0", -1));

    std::unique_ptr<XMLTree> view(tree->getSubtree("/Inventory", -1));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->getRootName(), String("Inventory"));
    EXPECT_EQ(attr(*view, "/Products", "count"), String("0"));
    EXPECT_EQ(attr(*view, "/Inventory/Products", "count"), String("<missing>"));
    // Changes through the view land in the tree that owns the elements.
    ASSERT_TRUE(view->addNode("Products", "InstalledProduct", -1));
    ASSERT_TRUE(view->setAttribute("Products/InstalledProduct", "id", "7", -1));
    EXPECT_EQ(attr(*tree, "Inventory/Products/InstalledProduct", "id"), String("7"));
    EXPECT_EQ(textOf(*view),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Inventory>\n"
              "<Products count=\"0\">\n<InstalledProduct id=\"7\"/>\n"
              "</Products>\n</Inventory>\n");

    // Clearing or deleting a view frees nothing of the tree; a root made in
    // a cleared view belongs to the view (the leak checker would see it).
    EXPECT_TRUE(view->clear());
    EXPECT_EQ(view->getRootName(), String(""));
    EXPECT_TRUE(view->addNode("", "Own", -1));
    view.reset();
    EXPECT_EQ(attr(*tree, "Inventory/Products/InstalledProduct", "id"), String("7"));
    EXPECT_EQ(tree->getSubtree("/Missing", -1), nullptr);

    // Clearing the tree itself empties it for a new root.
    EXPECT_TRUE(tree->clear());
    EXPECT_EQ(textOf(*tree), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    EXPECT_TRUE(tree->addNode("/", "Again", -1));
    EXPECT_EQ(tree->getRootName(), String("Again"));
}

TEST(XMLTreeViews, NodeHandles) {
    std::unique_ptr<XMLTree> tree = smallTree();
    std::unique_ptr<XMLNode> root(tree->getNode("/", -1));
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->getChildCount(), 1);
    EXPECT_EQ(root->getAttributeCount(), 0);
    std::unique_ptr<XMLNode> alpha(root->getChild(0));
    ASSERT_NE(alpha, nullptr);
    EXPECT_EQ(alpha->getPath(), String("/Root/Alpha"));
    String value;
    EXPECT_TRUE(alpha->getAttribute("X", value));
    EXPECT_EQ(value, String("1"));
    std::unique_ptr<XMLNode> beta(alpha->getChild(0));
    EXPECT_EQ(beta->getPath(), String("/Root/Alpha/Beta"));
    EXPECT_EQ(beta->getChildCount(), 0);
    for (int i : {1, -1}) EXPECT_EQ(root->getChild(i), nullptr) << i;
    EXPECT_EQ(beta->getChild(0), nullptr);
}

}  // namespace
