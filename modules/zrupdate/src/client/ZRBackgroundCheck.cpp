#include "client/ZRBackgroundCheck.h"

#include <pthread.h>
#include <signal.h>

#include <system_error>
#include <utility>

ZRBackgroundCheck::ZRBackgroundCheck(Digest digest)
    : digest(std::move(digest)),
      storage(BUFFERS, std::vector<char>(BUFFER_SIZE)),
      busy(false),
      stopping(false) {
    for (std::vector<char>& buffer : storage) idle.push_back(buffer.data());
    // The thread takes no signals: the alarm that ends a timed-out run and
    // the like stay with the thread that runs the transfer.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        worker = std::thread(&ZRBackgroundCheck::digestPieces, this);
    } catch (const std::system_error&) {
        // No thread: handOver() digests at once.
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

ZRBackgroundCheck::~ZRBackgroundCheck() {
    finish();
    {
        std::lock_guard<std::mutex> hold(lock);
        stopping = true;
    }
    changed.notify_all();
    if (worker.joinable()) worker.join();
}

char* ZRBackgroundCheck::buffer() {
    std::unique_lock<std::mutex> hold(lock);
    changed.wait(hold, [this] { return !idle.empty(); });
    char* data = idle.back();
    idle.pop_back();
    return data;
}

void ZRBackgroundCheck::handOver(char* data, size_t length) {
    if (!worker.joinable()) {
        digest(data, length);
        std::lock_guard<std::mutex> hold(lock);
        idle.push_back(data);
        return;
    }
    {
        std::lock_guard<std::mutex> hold(lock);
        waiting.push_back(Piece{data, length});
    }
    changed.notify_all();
}

void ZRBackgroundCheck::finish() {
    std::unique_lock<std::mutex> hold(lock);
    changed.wait(hold, [this] { return waiting.empty() && !busy; });
}

void ZRBackgroundCheck::digestPieces() {
    std::unique_lock<std::mutex> hold(lock);
    for (;;) {
        changed.wait(hold, [this] { return stopping || !waiting.empty(); });
        if (waiting.empty()) return;
        Piece piece = waiting.front();
        waiting.pop_front();
        busy = true;
        hold.unlock();
        digest(piece.data, piece.length);
        hold.lock();
        busy = false;
        idle.push_back(piece.data);
        changed.notify_all();
    }
}
