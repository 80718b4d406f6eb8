// The lock and the condition of the queues: nothing is done twice or forgotten, and nobody sleeps on.
#include "common/Mutex.h"

#include "support/Signal.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace vdipc {
namespace {

using test::Signal;

/// A mutex and a condition, and what is counted under them.
struct Shared {
    Mutex mutex;
    Condition condition;
    int tokens = 0;
    int waiting = 0;       // threads that have announced that they wait
    int wakes = 0;         // returns from a wait
    std::vector<int> got;  // who took a token, in order

    /// Takes a token, and waits where there is none.
    void Take(int who) {
        const std::lock_guard lock(mutex);
        ++waiting;
        while (tokens == 0) {
            condition.Wait(mutex);
            ++wakes;
        }
        --waiting;
        --tokens;
        got.push_back(who);
    }
    void Give() {
        const std::lock_guard lock(mutex);
        ++tokens;
        condition.NotifyOne();
    }
    template <typename Value>
    Value Look(Value Shared::*member) {
        const std::lock_guard lock(mutex);
        return this->*member;
    }
};

/// A thread that a test which fails leaves behind, since it can't be woken.
class Waiter {
public:
    template <typename Function>
    explicit Waiter(Function function) {
        std::thread([function = std::move(function), done = done_] {
            function();
            done.Set();
        }).detach();
    }
    bool Ended() const { return done_.Wait(); }

private:
    Signal done_;
};

template <typename Predicate>
bool WaitUntil(Predicate predicate) {
    const auto end = std::chrono::steady_clock::now() + Signal::kPatience;
    while (!predicate() && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    return predicate();
}

TEST(Mutex, ManyThreads_AreInsideOneAtATime) {
    struct {
        Mutex mutex;
        std::atomic<int> inside{0};
        std::atomic<int> met{0};
        int count = 0;
    } shared;
    constexpr int kThreads = 4;
    constexpr int kTimes = 2000;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&shared] {
            for (int n = 0; n < kTimes; ++n) {
                const std::lock_guard lock(shared.mutex);
                shared.met += shared.inside++;
                std::this_thread::yield();
                ++shared.count;
                --shared.inside;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(shared.met, 0);
    EXPECT_EQ(shared.count, kThreads * kTimes);
}

TEST(Condition, NotifyOne_WakesTheWaiter_WhichHasTheMutexAgain) {
    const auto shared = std::make_shared<Shared>();
    const Waiter waiter([shared] { shared->Take(7); });
    ASSERT_TRUE(WaitUntil([&] { return shared->Look(&Shared::waiting) == 1; }));
    {
        // Whoever sees the count has the mutex, and so the waiter has given it up.
        const std::lock_guard lock(shared->mutex);
        ++shared->tokens;
        shared->condition.NotifyOne();
        EXPECT_TRUE(shared->got.empty()) << "it goes on when the mutex is free, and not earlier";
    }
    ASSERT_TRUE(waiter.Ended());
    EXPECT_EQ(shared->Look(&Shared::got), std::vector<int>{7});
}

TEST(Condition, NotifyOneForEach_WakesAllWhoWait) {
    const auto shared = std::make_shared<Shared>();
    constexpr int kWaiters = 5;
    std::vector<std::unique_ptr<Waiter>> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        waiters.push_back(std::make_unique<Waiter>([shared, i] { shared->Take(i); }));
    }
    ASSERT_TRUE(WaitUntil([&] { return shared->Look(&Shared::waiting) == kWaiters; }));
    for (int i = 0; i < kWaiters; ++i) {
        shared->Give();
    }
    for (const auto& waiter : waiters) {
        ASSERT_TRUE(waiter->Ended());
    }
    std::vector<int> got = shared->Look(&Shared::got);
    std::sort(got.begin(), got.end());
    EXPECT_EQ(got, (std::vector<int>{0, 1, 2, 3, 4}));
}

TEST(Condition, NotificationsThatNobodyWaitsFor_AreForgotten) {
    const auto shared = std::make_shared<Shared>();
    constexpr int kNotifications = 1000;
    for (int i = 0; i < kNotifications; ++i) {
        const std::lock_guard lock(shared->mutex);
        shared->condition.NotifyOne();
    }
    const Waiter waiter([shared] { shared->Take(1); });
    ASSERT_TRUE(WaitUntil([&] { return shared->Look(&Shared::waiting) == 1; }));
    shared->Give();
    ASSERT_TRUE(waiter.Ended());
    // A wait may return by itself, but not for each of those.
    EXPECT_LT(shared->Look(&Shared::wakes), kNotifications / 10);
}

TEST(Condition, NotifyBetweenTheLookAndTheWait_IsNotLost) {
    // Two threads hand a token to and fro. Each looks, finds nothing and waits, while the other gives: a waiter that gave
    // the mutex up before it could be woken would sleep for good.
    const auto there = std::make_shared<Shared>();
    const auto back = std::make_shared<Shared>();
    constexpr int kTimes = 20000;
    const Waiter answering([there, back] {
        for (int i = 0; i < kTimes; ++i) {
            there->Take(1);
            back->Give();
        }
    });
    const Waiter asking([there, back] {
        for (int i = 0; i < kTimes; ++i) {
            there->Give();
            back->Take(2);
        }
    });
    ASSERT_TRUE(asking.Ended()) << there->Look(&Shared::got).size() << " there, "
                                << back->Look(&Shared::got).size() << " back";
    ASSERT_TRUE(answering.Ended());
    EXPECT_EQ(back->Look(&Shared::tokens), 0);
}

TEST(Condition, MoreThanOneProducerAndConsumer_EachTokenIsTakenOnce) {
    const auto shared = std::make_shared<Shared>();
    constexpr int kEach = 3000;
    std::vector<std::unique_ptr<Waiter>> all;
    for (int i = 0; i < 3; ++i) {
        all.push_back(std::make_unique<Waiter>([shared, i] {
            for (int n = 0; n < kEach; ++n) {
                shared->Take(i);
            }
        }));
        all.push_back(std::make_unique<Waiter>([shared] {
            for (int n = 0; n < kEach; ++n) {
                shared->Give();
            }
        }));
    }
    for (const auto& one : all) {
        ASSERT_TRUE(one->Ended());
    }
    EXPECT_EQ(shared->Look(&Shared::tokens), 0);
    EXPECT_EQ(shared->Look(&Shared::got).size(), std::size_t{3} * kEach);
}

}  // namespace
}  // namespace vdipc
