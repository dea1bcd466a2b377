#include <gtest/gtest.h>

#include "Exception.h"
#include "NameValuePair.h"
#include "NameValuePairs.h"
#include "TypedValue.h"
#include "test_printers.h"

TEST(TypedValueTest, TypeCodesAndText) {
    TypedValue number(-42L);
    EXPECT_EQ(2, number.getType());  // the type codes are stored by callers
    EXPECT_EQ(-42, number.getLong());
    EXPECT_STREQ("-42", number.toString().c_str());
    EXPECT_STREQ("7", TypedValue(7).toString().c_str());

    TypedValue text("text/xml");
    EXPECT_EQ(5, text.getType());
    EXPECT_STREQ("text/xml", text.toString().c_str());
    EXPECT_STREQ("", TypedValue().toString().c_str());

    NameValuePair<TypedValue> pair("x", TypedValue(42L));
    EXPECT_STREQ("x=42", pair.toString().c_str());
}

TEST(NameValuePairsTest, LookupIgnoresCaseAndTakesTheFirstMatch) {
    NameValuePairs pairs;
    EXPECT_TRUE(pairs.isEmpty());
    EXPECT_EQ(0, pairs.add(NameValuePair<TypedValue>("Content-Type", TypedValue("a"))));
    EXPECT_EQ(1, pairs.add("Content-Length", TypedValue(10L)));
    EXPECT_EQ(2, pairs.add("content-type", TypedValue("b")));

    EXPECT_STREQ("a", pairs.getValue("CONTENT-TYPE").c_str());
    EXPECT_STREQ("10", pairs.getValue("content-length").c_str());
    EXPECT_STREQ("", pairs.getValue("Host").c_str());

    NameValuePair<TypedValue> out("untouched", TypedValue("u"));
    EXPECT_EQ(-1, pairs.find("Host", out));
    EXPECT_STREQ("untouched=u", out.toString().c_str());
    EXPECT_EQ(1, pairs.find("CONTENT-length", out));
    EXPECT_STREQ("Content-Length", out.name.c_str());
    EXPECT_EQ(TypedValue::TYPE_LONG, out.value.getType());
    EXPECT_EQ(10, out.value.getLong());

    EXPECT_TRUE(pairs.remove("CONTENT-TYPE"));
    EXPECT_EQ(2, pairs.size());
    EXPECT_STREQ("b", pairs.getValue("Content-Type").c_str());
    EXPECT_EQ(1, pairs.indexOf("CONTENT-TYPE"));
    EXPECT_TRUE(pairs.remove("Content-Type"));
    EXPECT_FALSE(pairs.remove("Content-Type"));
    EXPECT_EQ(1, pairs.size());
}

TEST(NameValuePairsTest, IndexAccessAndCopies) {
    NameValuePairs pairs;
    pairs.add("Host", TypedValue("example.org"));
    pairs.add("Connection", TypedValue("close"));
    EXPECT_STREQ("Connection", pairs.get(1).name.c_str());
    EXPECT_THROW(pairs.get(2), ArrayIndexException);
    EXPECT_THROW(pairs.removeAt(-1), ArrayIndexException);
    EXPECT_EQ(2, pairs.size());

    NameValuePairs copy(pairs);
    copy.get(0).value = TypedValue("other.org");
    EXPECT_STREQ("example.org", pairs.getValue("host").c_str());
    EXPECT_STREQ("other.org", copy.getValue("host").c_str());

    NameValuePairs assigned;
    assigned.add("Stale", TypedValue(1L));
    assigned.assign(pairs);
    EXPECT_EQ(2, assigned.size());
    EXPECT_EQ(-1, assigned.indexOf("Stale"));
    assigned = copy;
    EXPECT_STREQ("other.org", assigned.getValue("HOST").c_str());

    NameValuePair<TypedValue> removed = pairs.removeAt(0);
    EXPECT_STREQ("Host=example.org", removed.toString().c_str());
    EXPECT_STREQ("Connection", pairs.get(0).name.c_str());
    pairs.clear();
    EXPECT_TRUE(pairs.isEmpty());
}
