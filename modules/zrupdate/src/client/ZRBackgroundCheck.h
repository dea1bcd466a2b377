#ifndef ZR_BACKGROUND_CHECK_H
#define ZR_BACKGROUND_CHECK_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

// Feeds the digests of a package check on threads of their own while the
// download goes on: the transfer fills a buffer, hands it over and fills the
// next while the digests run over the last ones, each digest on its own
// thread (the MD5 and the SHA-256 at the same time). A few buffers go round,
// so memory stays bounded and the transfer waits only when the digests fall
// that far behind. A digest whose thread cannot be started is fed on
// handing over.
class ZRBackgroundCheck {
public:
    static const size_t BUFFER_SIZE = 512 * 1024;
    static const int BUFFERS = 4;

    // One digest: takes the bytes in order (ZRPackageCheck::digests()).
    using Digest = std::function<void(const char* data, size_t length)>;

    explicit ZRBackgroundCheck(std::vector<Digest> digests);
    // Digests whatever was handed over, then stops the threads.
    ~ZRBackgroundCheck();
    ZRBackgroundCheck(const ZRBackgroundCheck&) = delete;
    ZRBackgroundCheck& operator=(const ZRBackgroundCheck&) = delete;

    // A buffer of BUFFER_SIZE bytes to fill; waits until one is free.
    char* buffer();
    // Hands over the first `length` bytes of a buffer from buffer() to every
    // digest, in order. The caller may still read it (to write it out) but
    // must not change it; buffer() hands it out again once all digested it.
    void handOver(char* data, size_t length);
    // Returns once everything handed over is digested.
    void finish();

private:
    struct Piece {
        char* data;
        size_t length;
        size_t unread;  // digests that have not yet taken it
    };
    void digestPieces(size_t which);
    // One digest has taken the piece at `index`: free the pieces all took.
    void pieceDone(size_t index);

    std::vector<Digest> digests;
    std::vector<std::vector<char>> storage;
    std::vector<char*> idle;       // buffers to be filled
    std::deque<Piece> handedOver;  // in order; the first is number `first`
    size_t first;
    std::vector<size_t> next;  // per digest: the number of the piece it takes next
    bool stopping;
    std::mutex lock;
    std::condition_variable changed;
    std::vector<std::thread> workers;  // per digest; not joinable: fed on handing over
};

#endif
