#include "client/ZRBackgroundCheck.h"

#include <pthread.h>
#include <signal.h>

#include <system_error>
#include <utility>

ZRBackgroundCheck::ZRBackgroundCheck(std::vector<Digest> digests)
    : digests(std::move(digests)),
      storage(BUFFERS, std::vector<char>(BUFFER_SIZE)),
      first(0),
      next(this->digests.size(), 0),
      stopping(false) {
    for (std::vector<char>& buffer : storage) idle.push_back(buffer.data());
    // The threads take no signals: a signal meant for the program (an
    // interrupt, a terminate) reaches the thread that runs the transfer,
    // whose handlers and waits expect it.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    for (size_t i = 0; i < this->digests.size(); i++) {
        try {
            workers.emplace_back(&ZRBackgroundCheck::digestPieces, this, i);
        } catch (const std::system_error&) {
            workers.emplace_back();  // no thread: fed on handing over
        }
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
    for (std::thread& worker : workers) {
        if (worker.joinable()) worker.join();
    }
}

char* ZRBackgroundCheck::buffer() {
    std::unique_lock<std::mutex> hold(lock);
    changed.wait(hold, [this] { return !idle.empty(); });
    char* data = idle.back();
    idle.pop_back();
    return data;
}

void ZRBackgroundCheck::handOver(char* data, size_t length) {
    size_t index;
    {
        std::lock_guard<std::mutex> hold(lock);
        index = first + handedOver.size();
        handedOver.push_back(Piece{data, length, digests.size()});
    }
    changed.notify_all();
    for (size_t i = 0; i < digests.size(); i++) {
        if (workers[i].joinable()) continue;
        digests[i](data, length);
        std::lock_guard<std::mutex> hold(lock);
        next[i] = index + 1;
        pieceDone(index);
    }
}

void ZRBackgroundCheck::finish() {
    std::unique_lock<std::mutex> hold(lock);
    changed.wait(hold, [this] { return handedOver.empty(); });
}

void ZRBackgroundCheck::pieceDone(size_t index) {
    handedOver[index - first].unread--;
    while (!handedOver.empty() && handedOver.front().unread == 0) {
        idle.push_back(handedOver.front().data);
        handedOver.pop_front();
        first++;
    }
    changed.notify_all();
}

void ZRBackgroundCheck::digestPieces(size_t which) {
    std::unique_lock<std::mutex> hold(lock);
    for (;;) {
        changed.wait(hold, [&] { return stopping || next[which] < first + handedOver.size(); });
        if (next[which] >= first + handedOver.size()) return;
        size_t index = next[which]++;
        Piece piece = handedOver[index - first];
        hold.unlock();
        digests[which](piece.data, piece.length);
        hold.lock();
        pieceDone(index);
    }
}
