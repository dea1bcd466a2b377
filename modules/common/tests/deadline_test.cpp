#include "net/Deadline.h"

#include <gtest/gtest.h>

namespace {

timespec at(long sec, long nsec) {
    timespec t;
    t.tv_sec = sec;
    t.tv_nsec = nsec;
    return t;
}

TEST(Deadline, CountsMillisecondsInFull) {
    const timespec start = at(100, 250000000);
    Deadline d(1500, start);
    EXPECT_EQ(1500, d.remainingAt(start));
    EXPECT_EQ(900, d.remainingAt(at(100, 850000000)));
    // Rounded up: a nanosecond left is a millisecond to wait.
    EXPECT_EQ(1, d.remainingAt(at(101, 749999999)));
    EXPECT_EQ(0, d.remainingAt(at(101, 750000000)));
    EXPECT_EQ(0, d.remainingAt(at(200, 0)));
    EXPECT_EQ(999, Deadline(999, start).remainingAt(start));
    EXPECT_EQ(0, Deadline(0, start).remainingAt(start));
    EXPECT_EQ(-1, Deadline(-1, start).remainingAt(at(1000, 0)));
}

TEST(Deadline, CrossesWholeSeconds) {
    const timespec start = at(7, 999000000);
    Deadline d(2, start);  // ends at 8 s + 1 ms
    EXPECT_EQ(2, d.remainingAt(start));
    EXPECT_EQ(1, d.remainingAt(at(8, 0)));
    EXPECT_EQ(0, d.remainingAt(at(8, 1000000)));
    EXPECT_EQ(1750, Deadline(1750, at(3, 500000000)).remainingAt(at(3, 500000000)));
}

}  // namespace
