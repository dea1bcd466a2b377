#include "Vector.h"

#include <gtest/gtest.h>

#include "Exception.h"
#include "String.h"
#include "test_printers.h"

namespace {

// Counts live instances so that tests can see every copy the vector makes
// is also deleted.
struct Counted {
    static int alive;
    int value;
    explicit Counted(int v) : value(v) { alive++; }
    Counted(const Counted& other) : value(other.value) { alive++; }
    Counted& operator=(const Counted&) = default;
    ~Counted() { alive--; }
};
int Counted::alive = 0;

String join(const Vector<String>& v) {
    String s;
    for (int i = 0; i < v.size(); i++) s.append(v[i]).append(i + 1 < v.size() ? "," : "");
    return s;
}

}  // namespace

TEST(VectorTest, ElementsStayInPlaceWhenTheArrayGrows) {
    Vector<String> v;
    v.add("first");
    String* first = &v.elementAt(0);
    for (int i = 0; i < 100; i++) v.add("more");
    EXPECT_EQ(first, &v.elementAt(0));
    EXPECT_STREQ("first", first->c_str());

    // Adding an element of the vector to itself while it has to grow.
    Vector<String> self;
    for (int i = 0; i < 20; i++) self.add("x");
    self.add(self[0]);
    EXPECT_EQ(21, self.size());
    EXPECT_STREQ("x", self.lastElement().c_str());
}

TEST(VectorTest, InsertRemoveAndSetKeepOrder) {
    Vector<String> v;
    v.insertAt("b", 0);
    v.insertAt("d", v.size());
    v.insertAt("a", 0);
    v.insertAt("c", 2);
    EXPECT_STREQ("a,b,c,d", join(v).c_str());

    String removed = v.removeAt(1);
    EXPECT_STREQ("b", removed.c_str());
    EXPECT_STREQ("a,c,d", join(v).c_str());
    String old = v.setAt(2, "z");
    EXPECT_STREQ("d", old.c_str());
    EXPECT_STREQ("a,c,z", join(v).c_str());
    v[0].append("!");
    EXPECT_STREQ("a!", v.elementAt(0).c_str());

    Vector<String> one;
    one.add("only");
    EXPECT_STREQ("only", one.removeAt(0).c_str());
    EXPECT_EQ(0, one.size());
}

TEST(VectorTest, BadIndexesThrowAndChangeNothing) {
    Vector<String> v;
    EXPECT_THROW(v.lastElement(), ArrayIndexException);
    EXPECT_THROW(v.elementAt(0), ArrayIndexException);
    v.add("a");
    v.add("b");
    EXPECT_THROW(v.insertAt("x", 3), ArrayIndexException);
    EXPECT_THROW(v.insertAt("x", -1), ArrayIndexException);
    EXPECT_THROW(v.removeAt(2), ArrayIndexException);
    EXPECT_THROW(v.removeAt(-1), ArrayIndexException);
    EXPECT_THROW(v.setAt(2, "x"), ArrayIndexException);
    EXPECT_THROW(v[2], ArrayIndexException);
    const Vector<String>& constant = v;
    EXPECT_THROW(constant[-1], ArrayIndexException);
    EXPECT_STREQ("a,b", join(v).c_str());

    try {
        v.elementAt(5);
        FAIL() << "no exception";
    } catch (const Exception& e) {
        EXPECT_STREQ("Array index out of bounds", e.getMessage().c_str());
        EXPECT_STREQ("../../../modules/common/include/../src/Vector", e.getFile().c_str());
    }
}

TEST(VectorTest, ClearTrimAndCopiesOwnTheirElements) {
    {
        Vector<Counted> v;
        for (int i = 0; i < 25; i++) v.add(Counted(i));
        EXPECT_EQ(25, Counted::alive);

        Vector<Counted> copy(v);
        EXPECT_EQ(50, Counted::alive);
        EXPECT_EQ(40, copy.capacity());
        copy[0].value = 99;
        EXPECT_EQ(0, v[0].value);

        Vector<Counted> assigned;
        assigned.add(Counted(7));
        assigned = v;
        EXPECT_EQ(75, Counted::alive);
        EXPECT_EQ(24, assigned.lastElement().value);
        Vector<Counted>& alias = assigned;
        assigned = alias;
        EXPECT_EQ(25, assigned.size());

        v.setAt(3, Counted(30));
        v.removeAt(0);
        EXPECT_EQ(74, Counted::alive);

        v.clear();
        EXPECT_EQ(0, v.size());
        EXPECT_EQ(40, v.capacity());
        EXPECT_EQ(50, Counted::alive);
        v.trimToSize();
        EXPECT_EQ(0, v.capacity());
        v.add(Counted(1));
        EXPECT_EQ(20, v.capacity());

        copy.trimToSize();
        EXPECT_EQ(25, copy.capacity());
        EXPECT_EQ(99, copy[0].value);
    }
    EXPECT_EQ(0, Counted::alive);
}
