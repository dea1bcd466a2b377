// Mutex, Monitor, Condition, RWLock, Semaphore and Sequence: results of the
// try-operations, blocking and waking across threads, counter wrap-around and
// the preconditions that stop the process.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <set>
#include <thread>
#include <vector>

#include "Condition.h"
#include "Mutex.h"
#include "RWLock.h"
#include "Semaphore.h"
#include "Sequence.h"

namespace {

using Clock = std::chrono::steady_clock;

// Polls `done` for up to two seconds; true as soon as it is set.
bool becomesTrue(const std::atomic<bool>& done) {
    for (int i = 0; i < 200 && !done.load(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return done.load();
}

// Gives another thread time to run into a blocking call.
void letOthersRun() {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

}  // namespace

TEST(MutexTest, LockExcludesOtherThreadsAndMonitorReleasesAtScopeEnd) {
    Mutex mutex;
    int fromOtherThread = -1;
    {
        Monitor guard(mutex);
        std::thread([&] { fromOtherThread = mutex.tryLock(); }).join();
        EXPECT_EQ(EBUSY, fromOtherThread);
    }
    std::thread([&] {
        fromOtherThread = mutex.tryLock();
        if (fromOtherThread == 0) mutex.unlock();
    }).join();
    EXPECT_EQ(0, fromOtherThread);

    EXPECT_EQ(0, mutex.lock());
    EXPECT_EQ(EBUSY, mutex.tryLock()) << "the mutex is not recursive";
    EXPECT_EQ(0, mutex.unlock());
}

TEST(ConditionTest, TimedWaitsGiveUpAndSignalsWake) {
    Mutex mutex;
    Condition condition(mutex);

    ASSERT_EQ(0, condition.lock());
    Clock::time_point start = Clock::now();
    EXPECT_EQ(ETIMEDOUT, condition.wait(0));
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(200));

    // A whole-second deadline from time(): one second from now ends within
    // the next second boundary, never later than two seconds.
    start = Clock::now();
    EXPECT_EQ(ETIMEDOUT, condition.wait(1));
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(2100));
    ASSERT_EQ(0, condition.unlock());

    // signal() wakes a waiter long before its time-out.
    bool ready = false;
    std::atomic<int> waitResult{-1};
    std::thread waiter([&] {
        condition.lock();
        int result = 0;
        while (!ready && result == 0) result = condition.wait(30);
        waitResult = result;
        condition.unlock();
    });
    letOthersRun();
    start = Clock::now();
    condition.lock();
    ready = true;
    EXPECT_EQ(0, condition.signal());
    condition.unlock();
    waiter.join();
    EXPECT_EQ(0, waitResult.load());
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));

    // broadcast() wakes every waiter.
    bool go = false;
    std::atomic<int> woken{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&] {
            condition.lock();
            while (!go) condition.wait();
            ++woken;
            condition.unlock();
        });
    }
    letOthersRun();
    condition.lock();
    go = true;
    EXPECT_EQ(0, condition.broadcast());
    condition.unlock();
    for (std::thread& t : waiters) t.join();
    EXPECT_EQ(3, woken.load());
}

TEST(RWLockTest, TryOperationsFollowWhoHoldsTheLock) {
    RWLock lock;
    // Readers share the lock and shut writers out.
    ASSERT_EQ(0, lock.readLock());
    EXPECT_EQ(-1, lock.tryWriteLock());
    EXPECT_EQ(0, lock.tryReadLock());
    EXPECT_EQ(0, lock.unlock());
    EXPECT_EQ(-1, lock.tryWriteLock()) << "one reader still holds the lock";
    EXPECT_EQ(0, lock.unlock());

    // A writer shuts everybody out.
    ASSERT_EQ(0, lock.tryWriteLock());
    EXPECT_EQ(-1, lock.tryReadLock());
    EXPECT_EQ(-1, lock.tryWriteLock());
    EXPECT_EQ(0, lock.unlock());

    // An extra unlock does not break the counts.
    EXPECT_EQ(0, lock.unlock());
    EXPECT_EQ(0, lock.tryWriteLock());
    EXPECT_EQ(0, lock.unlock());
}

TEST(RWLockTest, WritersWaitForReadersAndReadersForWriters) {
    RWLock lock;
    ASSERT_EQ(0, lock.readLock());
    ASSERT_EQ(0, lock.readLock());
    std::atomic<bool> written{false};
    std::thread writer([&] {
        lock.writeLock();
        written = true;
        lock.unlock();
    });
    letOthersRun();
    EXPECT_FALSE(written.load()) << "writer entered while readers held the lock";
    lock.unlock();
    letOthersRun();
    EXPECT_FALSE(written.load()) << "writer entered while one reader held the lock";
    lock.unlock();
    EXPECT_TRUE(becomesTrue(written));
    writer.join();

    ASSERT_EQ(0, lock.writeLock());
    std::atomic<int> readersIn{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i) {
        readers.emplace_back([&] {
            lock.readLock();
            ++readersIn;
        });
    }
    letOthersRun();
    EXPECT_EQ(0, readersIn.load()) << "reader entered while a writer held the lock";
    lock.unlock();
    for (std::thread& t : readers) t.join();
    EXPECT_EQ(2, readersIn.load()) << "releasing the writer must admit all readers together";
    EXPECT_EQ(-1, lock.tryWriteLock());
    lock.unlock();
    lock.unlock();
    EXPECT_EQ(0, lock.tryWriteLock());
    lock.unlock();
}

TEST(SemaphoreTest, CountsUnitsAndBlocksWhenNoneIsLeft) {
    Semaphore semaphore(2);
    EXPECT_EQ(0, semaphore.tryWait());
    EXPECT_EQ(0, semaphore.tryWait());
    EXPECT_EQ(-1, semaphore.tryWait());
    EXPECT_EQ(0, semaphore.post());
    EXPECT_EQ(0, semaphore.tryWait());
    EXPECT_EQ(-1, semaphore.tryWait());

    std::atomic<bool> passed{false};
    std::thread waiter([&] {
        semaphore.wait();
        passed = true;
    });
    letOthersRun();
    EXPECT_FALSE(passed.load());
    semaphore.post();
    EXPECT_TRUE(becomesTrue(passed));
    waiter.join();
    EXPECT_EQ(-1, semaphore.tryWait()) << "the posted unit was taken by the waiter";

    Semaphore binary;
    EXPECT_EQ(0, binary.wait());
    EXPECT_EQ(-1, binary.tryWait());
}

TEST(SequenceTest, HandsOutBlocksInOrderAndWrapsPastTheLargestInt) {
    Sequence sequence(5);
    EXPECT_EQ(5, sequence.getNext());
    EXPECT_EQ(6, sequence.getNext(10));
    EXPECT_EQ(16, sequence.getNext());

    Sequence single(INT_MAX);
    EXPECT_EQ(INT_MAX, single.getNext());
    EXPECT_EQ(0, single.getNext());

    Sequence block(INT_MAX - 1);
    EXPECT_EQ(INT_MAX - 1, block.getNext(4));
    EXPECT_EQ(0, block.getNext(4)) << "the block 0..3 is reserved";
    EXPECT_EQ(4, block.getNext());
}

TEST(SequenceTest, ThreadsNeverReceiveTheSameNumber) {
    Sequence sequence;
    const int perThread = 2000;
    std::vector<std::vector<int>> taken(4);
    std::vector<std::thread> threads;
    for (auto& list : taken) {
        threads.emplace_back([&sequence, &list] {
            for (int i = 0; i < perThread; ++i) list.push_back(sequence.getNext());
        });
    }
    for (std::thread& t : threads) t.join();
    std::set<int> all;
    for (auto& list : taken) all.insert(list.begin(), list.end());
    EXPECT_EQ(4u * perThread, all.size());
    EXPECT_EQ(0, *all.begin());
    EXPECT_EQ(4 * perThread - 1, *all.rbegin());
}

TEST(PreconditionDeathTest, ViolationsStopTheProcessNamingExpressionUnitAndOperation) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(Semaphore(0),
                 "Mutex:[0-9]+: Semaphore::Semaphore\\(int = 1\\): Assertion `count >= 1' failed");
    EXPECT_DEATH(Sequence(-1),
                 "Mutex:[0-9]+: Sequence::Sequence\\(int = 0\\): Assertion `initVal >= 0' failed");
    EXPECT_DEATH(
        {
            Sequence sequence;
            sequence.getNext(0u);
        },
        "Mutex:[0-9]+: int Sequence::getNext\\(unsigned int\\): Assertion `size > 0' failed");
}
