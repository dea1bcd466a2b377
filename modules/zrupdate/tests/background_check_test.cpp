// ZRBackgroundCheck: the bytes handed over reach the digest whole and in
// order however far the digest falls behind, through no more buffers than
// its bound.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <set>
#include <string>
#include <thread>

#include "client/ZRBackgroundCheck.h"

namespace {

// Hands over `pieces` pieces of varied lengths, each filled with its own
// byte; returns what was handed over, in order.
std::string handOverPieces(ZRBackgroundCheck& background, int pieces, std::set<char*>& seen) {
    std::string sent;
    for (int i = 0; i < pieces; i++) {
        char* buffer = background.buffer();
        seen.insert(buffer);
        size_t length = (i * 7919) % ZRBackgroundCheck::BUFFER_SIZE + 1;
        std::memset(buffer, 'a' + i % 26, length);
        background.handOver(buffer, length);
        sent.append(buffer, length);
    }
    return sent;
}

}  // namespace

TEST(BackgroundCheck, SlowDigestGetsEveryByteInOrderThroughBoundedBuffers) {
    std::string digested;
    int calls = 0;
    std::set<char*> seen;
    ZRBackgroundCheck background([&](const char* data, size_t length) {
        // Falling behind at first lets the pieces queue up.
        if (calls++ < 3) std::this_thread::sleep_for(std::chrono::milliseconds(30));
        digested.append(data, length);
    });
    std::string sent = handOverPieces(background, 40, seen);
    background.finish();
    EXPECT_EQ(digested.size(), sent.size());
    EXPECT_TRUE(digested == sent) << "bytes lost or out of order";
    EXPECT_LE(seen.size(), static_cast<size_t>(ZRBackgroundCheck::BUFFERS));
}
