#include "model/FairSharedMutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <shared_mutex>
#include <stop_token>
#include <thread>
#include <vector>

#include "support/TestThreads.h"
#include "support/wait_for.h"

namespace kx::information_model::detail {

using testing::TestThreads;
using testing::wait_for;

namespace {

bool can_lock(FairSharedMutex& mutex) {
    return std::unique_lock(mutex, std::try_to_lock).owns_lock();
}

bool can_lock_shared(FairSharedMutex& mutex) {
    return std::shared_lock(mutex, std::try_to_lock).owns_lock();
}

}  // namespace

TEST(FairSharedMutex, FreeAdmitsEither) {
    FairSharedMutex mutex;
    EXPECT_TRUE(can_lock(mutex));
    EXPECT_TRUE(can_lock_shared(mutex));
    EXPECT_TRUE(can_lock(mutex));
}

TEST(FairSharedMutex, WriterKeepsAllOut) {
    FairSharedMutex mutex;
    std::unique_lock writer(mutex);
    EXPECT_FALSE(can_lock(mutex));
    EXPECT_FALSE(can_lock_shared(mutex));
    writer.unlock();
    EXPECT_TRUE(can_lock(mutex));
}

TEST(FairSharedMutex, ReadersAdmitReadersOnly) {
    FairSharedMutex mutex;
    std::shared_lock first(mutex);
    std::shared_lock second(mutex);
    EXPECT_TRUE(can_lock_shared(mutex));
    first.unlock();
    EXPECT_FALSE(can_lock(mutex));
    second.unlock();
    EXPECT_TRUE(can_lock(mutex));
}

TEST(FairSharedMutex, WaitingWriterIsAdmittedBeforeReadersThatCameLater) {
    constexpr int READERS = 8;
    FairSharedMutex mutex;
    std::atomic<bool> is_writer_waiting = false;
    std::atomic<bool> is_writer_admitted = false;
    std::atomic<bool> is_over = false;
    std::atomic<int> overtakers = 0;
    std::atomic<int> admissions = 0;

    TestThreads threads;
    for (int i = 0; i < READERS; ++i) {
        threads.start([&](const std::stop_token& stop) {  // back to back, so that together they never let go
            while (!is_over && !stop.stop_requested()) {
                const bool came_later = is_writer_waiting;
                const std::shared_lock lock(mutex);
                overtakers += came_later && !is_writer_admitted ? 1 : 0;
                ++admissions;
            }
        });
    }
    EXPECT_TRUE(wait_for([&] { return admissions > 100; }));

    std::shared_lock inside(mutex);  // keeps the writer waiting until all the readers came behind it
    threads.start([&] {
        const std::unique_lock lock(mutex);
        is_writer_admitted = true;
        is_over = true;
    });
    EXPECT_TRUE(wait_for([&] { return mutex.count_waiting_writers() == 1; }));
    is_writer_waiting = true;
    EXPECT_TRUE(wait_for([&] { return mutex.count_waiting_readers() == READERS; }));
    EXPECT_FALSE(is_writer_admitted);
    EXPECT_FALSE(can_lock_shared(mutex));
    inside.unlock();
    threads.join();
    EXPECT_TRUE(is_writer_admitted);
    EXPECT_EQ(overtakers, 0);
}

TEST(FairSharedMutex, WritersGetInUnderASteadyLoadOfReaders) {
    FairSharedMutex mutex;
    std::atomic<int> readers_inside = 0;
    TestThreads threads;
    for (int i = 0; i < 8; ++i) {
        threads.start([&](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                const std::shared_lock lock(mutex);
                ++readers_inside;
                std::this_thread::yield();
                --readers_inside;
            }
        });
    }
    for (int i = 0; i < 100; ++i) {
        const std::unique_lock lock(mutex);
        ASSERT_EQ(readers_inside, 0);
    }
    threads.stop();
}

TEST(FairSharedMutex, WaitingReadersAreAdmittedTogetherBeforeTheNextWriter) {
    constexpr int READERS = 4;
    FairSharedMutex mutex;
    std::atomic<int> admitted_readers = 0;
    std::atomic<bool> may_readers_leave = false;
    std::atomic<int> readers_before_second_writer = -1;

    TestThreads threads;
    std::unique_lock first_writer(mutex);
    threads.start([&] {
        const std::unique_lock lock(mutex);
        readers_before_second_writer = admitted_readers.load();
    });
    EXPECT_TRUE(wait_for([&] { return mutex.count_waiting_writers() == 1; }));
    for (int i = 0; i < READERS; ++i) {
        threads.start([&] {
            const std::shared_lock lock(mutex);
            ++admitted_readers;
            wait_for([&] { return may_readers_leave.load(); });
        });
    }
    EXPECT_TRUE(wait_for([&] { return mutex.count_waiting_readers() == READERS; }));

    first_writer.unlock();
    EXPECT_TRUE(wait_for([&] { return admitted_readers == READERS; }));  // all at once, none has left
    EXPECT_EQ(readers_before_second_writer, -1);
    EXPECT_FALSE(can_lock_shared(mutex));  // the second writer still waits
    may_readers_leave = true;
    threads.join();
    EXPECT_EQ(readers_before_second_writer, READERS);
}

TEST(FairSharedMutex, WritersAreAdmittedInTheOrderTheyCame) {
    constexpr int WRITERS = 6;
    FairSharedMutex mutex;
    std::vector<int> order;  // guarded by mutex
    TestThreads threads;
    std::unique_lock first(mutex);
    for (int i = 0; i < WRITERS; ++i) {
        threads.start([&, i] {
            const std::unique_lock lock(mutex);
            order.push_back(i);
        });
        ASSERT_TRUE(
            wait_for([&] { return mutex.count_waiting_writers() == static_cast<std::size_t>(i) + 1; }));
    }
    first.unlock();
    threads.join();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5}));
}

TEST(FairSharedMutex, WritersAloneExcludeEachOther) {
    constexpr int THREADS = 8;
    constexpr int ROUNDS = 400;
    FairSharedMutex mutex;
    int count = 0;  // guarded by mutex
    TestThreads threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.start([&] {
            for (int round = 0; round < ROUNDS; ++round) {
                const std::unique_lock lock(mutex);
                ++count;
            }
        });
    }
    threads.join();
    EXPECT_EQ(count, THREADS * ROUNDS);
}

TEST(FairSharedMutex, MixedUseLosesNobody) {
    FairSharedMutex mutex;
    int count = 0;  // guarded by mutex
    TestThreads threads;
    for (int i = 0; i < 8; ++i) {
        threads.start([&, i] {
            for (int round = 0; round < 400; ++round) {
                if ((round + i) % 4 == 0) {
                    const std::unique_lock lock(mutex);
                    ++count;
                } else if ((round + i) % 4 == 1) {
                    const std::unique_lock lock(mutex, std::try_to_lock);
                    if (lock.owns_lock()) {
                        ++count;
                    }
                } else {
                    const std::shared_lock lock(mutex);
                    EXPECT_GE(count, 0);
                }
            }
        });
    }
    threads.join();
    EXPECT_GE(count, 8 * 100);
    EXPECT_TRUE(can_lock(mutex));
}

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::hours LONG(1);

/// A moment that has passed when anybody waits for it.
steady_clock::time_point get_past() {
    return steady_clock::now() - std::chrono::seconds(1);
}

}  // namespace

TEST(FairSharedMutex, TimedLocksTakeAFreeOneWithoutWaiting) {
    FairSharedMutex mutex;
    EXPECT_TRUE(mutex.try_lock_until(get_past()));
    EXPECT_FALSE(mutex.try_lock_until(get_past()));
    EXPECT_FALSE(mutex.try_lock_shared_until(get_past()));
    mutex.unlock();
    EXPECT_TRUE(mutex.try_lock_shared_until(get_past()));
    EXPECT_TRUE(mutex.try_lock_shared_until(get_past()));
    EXPECT_FALSE(mutex.try_lock_until(get_past()));
    mutex.unlock_shared();
    mutex.unlock_shared();
    EXPECT_TRUE(can_lock(mutex));
    EXPECT_EQ(mutex.count_waiting_writers(), 0U);
    EXPECT_EQ(mutex.count_waiting_readers(), 0U);
}

TEST(FairSharedMutex, TimedLocksGiveUp) {
    FairSharedMutex mutex;
    mutex.lock();
    const auto start = steady_clock::now();
    EXPECT_FALSE(mutex.try_lock_until(start + std::chrono::milliseconds(20)));
    EXPECT_GE(steady_clock::now() - start, std::chrono::milliseconds(20));
    EXPECT_FALSE(mutex.try_lock_shared_until(steady_clock::now() + std::chrono::milliseconds(20)));
    mutex.unlock();
    EXPECT_TRUE(can_lock(mutex));
    EXPECT_TRUE(can_lock_shared(mutex));
}

TEST(FairSharedMutex, TimedWriterIsAdmittedInTurn) {
    FairSharedMutex mutex;
    mutex.lock_shared();
    std::atomic<bool> is_admitted = false;
    TestThreads writer([&] {
        is_admitted = mutex.try_lock_until(steady_clock::now() + LONG);
        mutex.unlock();
    });
    EXPECT_TRUE(wait_for([&] { return mutex.count_waiting_writers() == 1; }));
    EXPECT_FALSE(can_lock_shared(mutex)) << "later readers wait for it";
    mutex.unlock_shared();
    writer.join();
    EXPECT_TRUE(is_admitted);
}

TEST(FairSharedMutex, TimedReaderIsAdmittedAfterTheWriter) {
    FairSharedMutex mutex;
    mutex.lock();
    std::atomic<bool> is_admitted = false;
    TestThreads reader([&] {
        is_admitted = mutex.try_lock_shared_until(steady_clock::now() + LONG);
        mutex.unlock_shared();
    });
    EXPECT_TRUE(wait_for([&] { return mutex.count_waiting_readers() == 1; }));
    mutex.unlock();
    reader.join();
    EXPECT_TRUE(is_admitted);
    EXPECT_TRUE(can_lock(mutex));
}

TEST(FairSharedMutex, ReadersBehindAWriterThatGivesUpAreAdmitted) {
    FairSharedMutex mutex;
    mutex.lock_shared();
    std::atomic<bool> is_giving_up = false;
    TestThreads threads;
    threads.start([&] {
        // Gives up when the reader waits behind it.
        while (!is_giving_up) {
            EXPECT_FALSE(mutex.try_lock_until(steady_clock::now() + std::chrono::milliseconds(5)));
        }
    });
    std::atomic<int> admissions = 0;
    threads.start([&] {
        for (int i = 0; i < 20; ++i) {
            mutex.lock_shared();
            ++admissions;
            mutex.unlock_shared();
        }
    });
    // The reader inside never leaves, so that only those who give up let the others in.
    EXPECT_TRUE(wait_for([&] { return admissions == 20; }));
    is_giving_up = true;
    threads.join();
    mutex.unlock_shared();
    EXPECT_TRUE(can_lock(mutex));
}

TEST(FairSharedMutex, WriterInTheMiddleOfTheQueueGivesUp) {
    FairSharedMutex mutex;
    mutex.lock();
    std::atomic<int> admissions = 0;
    TestThreads threads;
    const auto wait_in_queue = [&] {
        mutex.lock();
        ++admissions;
        mutex.unlock();
    };
    threads.start(wait_in_queue);
    EXPECT_TRUE(wait_for([&] { return mutex.count_waiting_writers() == 1; }));
    std::atomic<bool> has_given_up = false;
    threads.start([&] {
        // Long enough for the third to stand behind it, most of the time.
        EXPECT_FALSE(mutex.try_lock_until(steady_clock::now() + std::chrono::milliseconds(100)));
        has_given_up = true;
    });
    EXPECT_TRUE(wait_for([&] { return mutex.count_waiting_writers() == 2 || has_given_up; }));
    threads.start(wait_in_queue);
    EXPECT_TRUE(wait_for([&] { return has_given_up && mutex.count_waiting_writers() == 2; }));
    mutex.unlock();
    threads.join();
    EXPECT_EQ(admissions, 2);
    EXPECT_TRUE(can_lock(mutex));
}

TEST(FairSharedMutex, TimedAndOtherLocksExcludeEachOther) {
    FairSharedMutex mutex;
    long sum = 0;  // not atomic: the thread sanitizer would see an overlap
    std::atomic<long> writes = 0;
    TestThreads threads;
    for (int i = 0; i < 3; ++i) {
        threads.start([&, i] {
            for (int turn = 0; turn < 500; ++turn) {
                const auto deadline = steady_clock::now() + std::chrono::microseconds(turn % 50);
                if (i == 0 && mutex.try_lock_shared_until(deadline)) {
                    EXPECT_GE(sum, 0);
                    mutex.unlock_shared();
                } else if (i == 1 && mutex.try_lock_until(deadline)) {
                    ++sum;
                    ++writes;
                    mutex.unlock();
                } else if (i == 2) {
                    const std::unique_lock lock(mutex);
                    ++sum;
                    ++writes;
                }
            }
        });
    }
    threads.join();
    EXPECT_EQ(sum, writes);
    EXPECT_EQ(mutex.count_waiting_writers(), 0U);
    EXPECT_EQ(mutex.count_waiting_readers(), 0U);
    EXPECT_TRUE(can_lock(mutex));
}

}  // namespace kx::information_model::detail
