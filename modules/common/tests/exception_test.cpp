#include "Exception.h"

#include <gtest/gtest.h>

#include "String.h"
#include "test_printers.h"

TEST(ExceptionTest, FieldsAndLocationText) {
    Exception empty;
    EXPECT_TRUE(empty.getMessage().isEmpty());
    EXPECT_TRUE(empty.getFile().isEmpty());
    EXPECT_EQ(0, empty.getLine());
    EXPECT_STREQ(", line 0", empty.getLocation().c_str());

    IOException e("No such file or directory");
    e.setLocation("io/File", 158);
    EXPECT_STREQ("No such file or directory", e.getMessage().c_str());
    EXPECT_STREQ("io/File, line 158", e.getLocation().c_str());
    e.setLocation("io/InputStream", -3);
    EXPECT_STREQ("io/InputStream, line -3", e.getLocation().c_str());

    // The description is a copy, independent of the exception.
    String description = e.getDescription();
    description.append("!");
    EXPECT_STREQ("No such file or directory", e.getMessage().c_str());
}

TEST(ExceptionTest, ThrowMacroRecordsUnitAndCallerLine) {
    int expectedLine = 0;
    try {
        expectedLine = __LINE__ + 1;
        ZR_THROW(IOException, "Stream is already closed", "io/InputStream");
    } catch (const Exception& e) {  // caught through the base class
        EXPECT_STREQ("Stream is already closed", e.getMessage().c_str());
        EXPECT_STREQ("io/InputStream", e.getFile().c_str());
        EXPECT_EQ(expectedLine, e.getLine());
        EXPECT_NE(nullptr, dynamic_cast<const IOException*>(&e));
        EXPECT_NE(-1, e.toString().indexOf("IOException"));
    }

    String message("Unimplemented");
    EXPECT_THROW(ZR_THROW(Exception, message, "util/Utils"), Exception);
    EXPECT_THROW(ZR_THROW(NullPointerException, "Pointer is NULL", "x"), NullPointerException);
}
