#ifndef ZR_NET_DEADLINE_H
#define ZR_NET_DEADLINE_H

#include <time.h>

// The moment a run of waits must be over, on the monotonic clock, so that a
// peer that keeps waking the waits with a trickle of bytes cannot extend it.
class Deadline {
  public:
    // `ms` from now; negative means no deadline.
    explicit Deadline(int ms) : unlimited(ms < 0) {
        clock_gettime(CLOCK_MONOTONIC, &end);
        if (unlimited) return;
        end.tv_sec += ms / 1000;
        end.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
        if (end.tv_nsec >= 1000000000L) {
            end.tv_sec += 1;
            end.tv_nsec -= 1000000000L;
        }
    }

    // The limit for the next poll(): milliseconds left, rounded up (0 once
    // the deadline has passed), or -1 without a deadline.
    int remaining() const {
        if (unlimited) return -1;
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        long long left = (static_cast<long long>(end.tv_sec) - now.tv_sec) * 1000000000LL +
                         (end.tv_nsec - now.tv_nsec);
        if (left <= 0) return 0;
        return static_cast<int>((left + 999999) / 1000000);
    }

  private:
    bool unlimited;
    timespec end;
};

#endif
