#include "common/Timer.h"
#include "support/Printed.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include "native/NativeSeam.h"
#endif

namespace vdipc {
namespace {

using test::Printed;

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kPatience{30000};

/// Counts calls, and lets a test wait for them.
class Calls {
public:
    void Add() {
        std::lock_guard lock(mutex_);
        ++count_;
        thread_ = std::this_thread::get_id();
        changed_.notify_all();
    }
    bool WaitFor(int count, milliseconds timeout = kPatience) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, timeout, [this, count] { return count_ >= count; });
    }
    int Count() {
        std::lock_guard lock(mutex_);
        return count_;
    }
    std::thread::id Thread() {
        std::lock_guard lock(mutex_);
        return thread_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
    std::thread::id thread_;
};

std::string AddressText(const void* address) {
    char text[64] = {};
    std::snprintf(text, sizeof text, "%p", address);
    return text;
}

/// Level and message of each printed line, where all is in its place.
std::vector<std::string> Lines(const std::string& text) {
    static const std::regex whole(
        R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\]\[(\w+)\]\[[0-9a-f]{5,}\] Timer\.cpp:\d+ (.*))");
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        std::smatch match;
        lines.push_back(std::regex_match(line, match, whole) ? match[1].str() + " " + match[2].str() : line);
    }
    return lines;
}

// The due time is waited for really.
TEST(Timer, Armed_FiresOnceAfter2000Milliseconds_AndStartBeforeStopIsRefusedAndKeepsTheFirstCallback) {
    Calls first;
    Calls second;
    Timer timer;
    const auto begin = Clock::now();
    EXPECT_TRUE(timer.Start([&first] { first.Add(); }));
    EXPECT_FALSE(timer.Start([&second] { second.Add(); }));

    ASSERT_TRUE(first.WaitFor(1));
    const auto elapsed = std::chrono::duration_cast<milliseconds>(Clock::now() - begin);
    EXPECT_GE(elapsed.count(), 1980);
    EXPECT_NE(first.Thread(), std::this_thread::get_id());

    // Fired, but not stopped: still armed for the system.
    EXPECT_FALSE(timer.Start([&second] { second.Add(); }));
    timer.Stop();
    EXPECT_TRUE(timer.Start([&second] { second.Add(); }));
    timer.Stop();
    EXPECT_EQ(first.Count(), 1);
    EXPECT_EQ(second.Count(), 0);
}

// The witness is armed last: when it has fired, the due time of the others is over.
TEST(Timer, DestroyedOrStoppedBeforeItsDueTime_NeverCallsBack_AndTheOneThatIsLeftDoesOnce) {
    Calls destroyed;
    Calls stopped;
    Calls witness;
    {
        Timer short_lived;
        ASSERT_TRUE(short_lived.Start([&destroyed] { destroyed.Add(); }));
    }
    Timer taken_back;
    ASSERT_TRUE(taken_back.Start([&stopped] { stopped.Add(); }));
    taken_back.Stop();
    Timer left;
    ASSERT_TRUE(left.Start([&witness] { witness.Add(); }));

    ASSERT_TRUE(witness.WaitFor(1));
    EXPECT_EQ(destroyed.Count(), 0);
    EXPECT_EQ(stopped.Count(), 0);
    // One that came again would come one due time later.
    EXPECT_FALSE(witness.WaitFor(2, milliseconds(2200)));
    left.Stop();
    EXPECT_EQ(witness.Count(), 1);
    EXPECT_EQ(destroyed.Count(), 0);
    EXPECT_EQ(stopped.Count(), 0);
}

TEST(Timer, StopDuringACallback_ReturnsWhenTheCallbackHasFinished) {
    Calls entered;
    std::atomic<bool> finished{false};
    Timer timer;
    ASSERT_TRUE(timer.Start([&] {
        entered.Add();
        std::this_thread::sleep_for(milliseconds(300));
        finished = true;
    }));
    ASSERT_TRUE(entered.WaitFor(1));
    timer.Stop();
    EXPECT_TRUE(finished);
}

TEST(Timer, StopOnAnIdleTimer_DoesNothing_AlsoTwiceInARow) {
    Timer timer;
    timer.Stop();
    timer.Stop();
    EXPECT_TRUE(timer.Start([] {}));
    timer.Stop();
    timer.Stop();
}

TEST(Timer, StoppedTimer_CanBeArmedAgain) {
    Timer timer;
    EXPECT_TRUE(timer.Start([] {}));
    timer.Stop();
    EXPECT_TRUE(timer.Start([] {}));
}

TEST(Timer, Firing_CallsTheCallbackWhateverTheFlag_AndNothingWhereThereIsNone) {
    int calls = 0;
    Timer timer;
    Timer::OnTimerFired(&timer, true);
    ASSERT_TRUE(timer.Start([&calls] { ++calls; }));
    Timer::OnTimerFired(&timer, true);
    Timer::OnTimerFired(&timer, false);
    EXPECT_EQ(calls, 2);
    Timer empty;
    ASSERT_TRUE(empty.Start(std::function<void()>()));
    Timer::OnTimerFired(&empty, true);
}

TEST(Timer, ConstructionAndDestruction_ArePrintedAtInfoWithTheAddress) {
    std::string address;
    const std::string text = Printed([&address] {
        const Timer timer;
        address = AddressText(&timer);
    });
    EXPECT_EQ(Lines(text), (std::vector<std::string>{"Info [Timer] " + address + " ctor",
                                                     "Info [Timer] " + address + " dtor"}));
}

TEST(Timer, Callback_IsReleasedWithTheTimerAndNotBefore) {
    const auto kept = std::make_shared<int>(1);
    {
        Timer timer;
        ASSERT_TRUE(timer.Start([kept] {}));
        timer.Stop();
        EXPECT_EQ(kept.use_count(), 2);
    }
    EXPECT_EQ(kept.use_count(), 1);
}

#if !defined(_WIN32)
TEST(Timer, DueTime_Is2000Milliseconds) {
    Timer timer;
    ASSERT_TRUE(timer.Start([] {}));
    EXPECT_EQ(test::NativeQueueTimerDue(), 2000u);
}

TEST(Timer, DeletionThatFailsAtTheEnd_IsPrintedAheadOfTheEnd) {
    std::string address;
    const std::string text = Printed([&address] {
        Timer timer;
        address = AddressText(&timer);
        EXPECT_TRUE(timer.Start([] {}));
        test::FailNextQueueTimerDeletion(997);
    });
    EXPECT_EQ(Lines(text),
              (std::vector<std::string>{"Info [Timer] " + address + " ctor",
                                        "Warn [Timer] " + address + " DeleteTimerQueueTimer failed, GLE=997",
                                        "Info [Timer] " + address + " dtor"}));
}

TEST(Timer, CreationThatFails_IsPrintedAtWarnWithTheSystemsNumber_AndLeavesTheTimerIdle) {
    const auto kept = std::make_shared<int>(1);
    Timer timer;
    test::FailNextQueueTimerCreation(1450);
    const std::string text = Printed([&] { EXPECT_FALSE(timer.Start([kept] {})); });
    EXPECT_NE(text.find("[Warn]"), std::string::npos) << text;
    EXPECT_NE(text.find("[Timer] " + AddressText(&timer) + " CreateTimerQueueTimer failed, GLE=1450\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(kept.use_count(), 1);
    EXPECT_TRUE(timer.Start([] {}));
}

TEST(Timer, DeletionThatFails_IsPrintedAtWarn_AndTheTimerForgetsTheSystemsOne_WhichStillCallsBack) {
    int calls = 0;
    Timer timer;
    ASSERT_TRUE(timer.Start([&calls] { ++calls; }));
    test::FailNextQueueTimerDeletion(997);
    const std::string text = Printed([&timer] { timer.Stop(); });
    EXPECT_NE(text.find("[Warn]"), std::string::npos) << text;
    EXPECT_NE(text.find("[Timer] " + AddressText(&timer) + " DeleteTimerQueueTimer failed, GLE=997\n"),
              std::string::npos)
        << text;
    // The one that the system has kept comes to its due time.
    Timer::OnTimerFired(&timer, true);
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(timer.Start([] {}));
    Timer::OnTimerFired(&timer, true);
    EXPECT_EQ(calls, 1);
}
#endif

}  // namespace
}  // namespace vdipc
