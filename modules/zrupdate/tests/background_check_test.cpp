// ZRBackgroundCheck: the bytes handed over reach every digest whole and in
// order however far each falls behind, through no more buffers than the
// bound.
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

TEST(BackgroundCheck, SlowDigestsGetEveryByteInOrderThroughBoundedBuffers) {
    std::string digested[2];
    int calls[2] = {0, 0};
    std::set<char*> seen;
    // Each digest falls behind at another time, so pieces queue up for one
    // while the other has taken them.
    auto digest = [&](int which, int slowFrom) {
        return [&, which, slowFrom](const char* data, size_t length) {
            int call = calls[which]++;
            if (call >= slowFrom && call < slowFrom + 3) {
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
            }
            digested[which].append(data, length);
        };
    };
    ZRBackgroundCheck background({digest(0, 0), digest(1, 10)});
    std::string sent = handOverPieces(background, 40, seen);
    background.finish();
    for (const std::string& got : digested) {
        EXPECT_EQ(got.size(), sent.size());
        EXPECT_TRUE(got == sent) << "bytes lost or out of order";
    }
    EXPECT_LE(seen.size(), static_cast<size_t>(ZRBackgroundCheck::BUFFERS));
}
