#ifndef ZR_NET_DEADLINE_H
#define ZR_NET_DEADLINE_H

#include <time.h>

// The moment a run of waits must be over, on the monotonic clock, so that a
// peer that keeps waking the waits with a trickle of bytes cannot extend it.
// Milliseconds count in full: 1500 is one and a half seconds.
class Deadline {
public:
    // `ms` from now; negative means no deadline.
    explicit Deadline(int ms) : Deadline(ms, now()) {}
    // `ms` from `start` (for callers that already read the clock).
    Deadline(int ms, const timespec& start) : unlimited(ms < 0), end(start) {
        if (unlimited) return;
        end.tv_sec += ms / 1000;
        // May pass a whole second: remainingAt() counts in nanoseconds.
        end.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
    }

    // The limit for the next poll(): milliseconds left, rounded up (0 once
    // the deadline has passed), or -1 without a deadline.
    int remaining() const { return remainingAt(now()); }
    int remainingAt(const timespec& at) const {
        if (unlimited) return -1;
        long long left = (static_cast<long long>(end.tv_sec) - at.tv_sec) * 1000000000LL +
                         (end.tv_nsec - at.tv_nsec);
        if (left <= 0) return 0;
        return static_cast<int>((left + 999999) / 1000000);
    }

    // The limit of a wait that may take `ms` by itself (negative: without
    // limit) and must also end by this deadline.
    int cap(int ms) const {
        int left = remaining();
        if (left < 0) return ms;
        return ms < 0 || left < ms ? left : ms;
    }

    static timespec now() {
        timespec t;
        clock_gettime(CLOCK_MONOTONIC, &t);
        return t;
    }

private:
    bool unlimited;
    timespec end;
};

#endif
