#ifndef ZR_BACKGROUND_CHECK_H
#define ZR_BACKGROUND_CHECK_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

// Feeds the digests of a package check on a thread of their own while the
// download goes on: the transfer fills a buffer, hands it over and fills the
// next while the digests of the last run. A few buffers go round, so memory
// stays bounded and the transfer waits only when the digests fall that far
// behind. Without a thread (none can be started) the bytes are digested on
// handing over.
class ZRBackgroundCheck {
public:
    static const size_t BUFFER_SIZE = 512 * 1024;
    static const int BUFFERS = 4;

    // `digest` takes the bytes in order (ZRPackageCheck::update).
    using Digest = std::function<void(const char* data, size_t length)>;

    explicit ZRBackgroundCheck(Digest digest);
    // Digests whatever was handed over, then stops the thread.
    ~ZRBackgroundCheck();
    ZRBackgroundCheck(const ZRBackgroundCheck&) = delete;
    ZRBackgroundCheck& operator=(const ZRBackgroundCheck&) = delete;

    // A buffer of BUFFER_SIZE bytes to fill; waits until one is free.
    char* buffer();
    // Hands over the first `length` bytes of a buffer from buffer() to be
    // digested in order. The caller may still read it (to write it out)
    // but must not change it; buffer() hands it out again once digested.
    void handOver(char* data, size_t length);
    // Returns once everything handed over is digested.
    void finish();

private:
    struct Piece {
        char* data;
        size_t length;
    };
    void digestPieces();

    Digest digest;
    std::vector<std::vector<char>> storage;
    std::vector<char*> idle;  // buffers to be filled
    std::deque<Piece> waiting;
    bool busy;  // the thread is digesting a piece taken off `waiting`
    bool stopping;
    std::mutex lock;
    std::condition_variable changed;
    std::thread worker;
};

#endif
