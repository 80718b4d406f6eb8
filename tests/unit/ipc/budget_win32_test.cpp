// What an operation may cost, counted: whoever makes one dearer is told.
#include "doubles/InsideDouble.h"
#include "doubles/ManyKeypads.h"
#include "support/HandlerTest.h"
#include "support/ImportHook_win32.h"

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

extern "C" {
extern void* __imp_malloc;
extern void* __imp_calloc;
extern void* __imp_realloc;
extern void* __imp_CreateEventW;
extern void* __imp_SetEvent;
extern void* __imp_ReleaseSemaphore;
extern void* __imp_CloseHandle;
extern void* __imp_WaitForSingleObject;
extern void* __imp_GetOverlappedResult;
extern void* __imp_ReadFile;
extern void* __imp_WriteFile;
extern void* __imp_WakeConditionVariable;
}

namespace vdipc::test {
namespace {

constexpr std::uint32_t kKeypads = 200;
constexpr std::uint32_t kWarm = 20;  // what is made once for all is made by then
constexpr std::int32_t kKeyB = 2;

/// Counts what is taken from the heap while it lives, on all threads but for what the doubles take: through operator new
/// as through malloc, which the JSON library's texts come from.
class HeapCount {
public:
    std::size_t Calls() const { return calls_; }

private:
    using Malloc = void* (*)(std::size_t);
    using Calloc = void* (*)(std::size_t, std::size_t);
    using Realloc = void* (*)(void*, std::size_t);

    static void Count() {
        // A thread's first look at its own variables takes memory itself. What the system keeps for a thread doesn't.
        static const DWORD looking = TlsAlloc();
        if (TlsGetValue(looking) != nullptr) {
            return;
        }
        TlsSetValue(looking, &calls_);
        calls_ += doubles_depth == 0 ? 1u : 0u;
        TlsSetValue(looking, nullptr);
    }
    static void* CountMalloc(std::size_t size) {
        Count();
        return malloc_real_(size);
    }
    static void* CountCalloc(std::size_t number, std::size_t size) {
        Count();
        return calloc_real_(number, size);
    }
    static void* CountRealloc(void* memory, std::size_t size) {
        Count();
        return realloc_real_(memory, size);
    }

    static inline std::atomic<std::size_t> calls_{0};
    static inline Malloc malloc_real_ = nullptr;
    static inline Calloc calloc_real_ = nullptr;
    static inline Realloc realloc_real_ = nullptr;

    ImportHook malloc_{&__imp_malloc, &CountMalloc, &malloc_real_};
    ImportHook calloc_{&__imp_calloc, &CountCalloc, &calloc_real_};
    ImportHook realloc_{&__imp_realloc, &CountRealloc, &realloc_real_};
};

/// Counts calls of one function of the system while it lives, on all threads but the one that made it, which is the
/// client's.
template <typename Function, int kNumber>
class CallCount;
template <typename Result, typename... Arguments, int kNumber>
class CallCount<Result(WINAPI*)(Arguments...), kNumber> {
public:
    explicit CallCount(void** slot) : hook_(slot, &Count, &real_) {
        test_thread_ = GetCurrentThreadId();
        calls_ = 0;
    }
    double Each(std::uint32_t operations) const {
        return static_cast<double>(calls_) / static_cast<double>(operations);
    }

private:
    static Result WINAPI Count(Arguments... arguments) {
        calls_ += GetCurrentThreadId() != test_thread_ ? 1 : 0;
        return real_(arguments...);
    }

    static inline Result(WINAPI* real_)(Arguments...) = nullptr;
    static inline std::atomic<DWORD> test_thread_{0};
    static inline std::atomic<std::uint32_t> calls_{0};

    ImportHook hook_;
};

/// What a frame costs the system. Numbered, since some of the functions are of one type.
struct SystemCalls {
    CallCount<decltype(&::CreateEventW), 1> create_event{&__imp_CreateEventW};
    CallCount<decltype(&::SetEvent), 2> set_event{&__imp_SetEvent};
    CallCount<decltype(&::ReleaseSemaphore), 3> release_semaphore{&__imp_ReleaseSemaphore};
    CallCount<decltype(&::CloseHandle), 4> close_handle{&__imp_CloseHandle};
    CallCount<decltype(&::WaitForSingleObject), 5> wait{&__imp_WaitForSingleObject};
    CallCount<decltype(&::GetOverlappedResult), 6> result{&__imp_GetOverlappedResult};
    CallCount<decltype(&::ReadFile), 7> read{&__imp_ReadFile};
    CallCount<decltype(&::WriteFile), 8> write{&__imp_WriteFile};
    CallCount<decltype(&::WakeConditionVariable), 9> wake{&__imp_WakeConditionVariable};
};

/// The whole handler on the real pipe, with a client, over doubles of the closed libraries.
class HandlerBudget : public testing::Test, public HandlerWorld {
protected:
    void Use(DeviceType kind) {
        handler().Initialize();
        WaitUntilOffered();
        client_ = &ConnectClient();
        keypads_ = MakeKeypads(kind, handler());
        for (std::uint32_t keypad = 1; keypad <= kKeypads; ++keypad) {
            keypads_->Add(keypad);
        }
        Access::DeviceObjects(handler()).clear();
        Access::DeviceObjects(handler())[kind] = keypads_->Object();
        Prefer(PreferredDeviceType::Any);
        SendCommand(*client_, R"({"command":"ask","device":"0","type":"single-choice","custom":"q1"})");
        // The capture of the log keeps lines: from here on they go nowhere.
        EXPECT_TRUE(log().WaitForCount("SetText", 1));
        former_ = ExchangeLogHandler([](std::int32_t, const char*) {});
    }

    ~HandlerBudget() override {
        if (client_ != nullptr) {
            ExchangeLogHandler(former_);
            StopQuickly();
        }
        Access::DeviceObjects(handler()).clear();
    }

    /// Allocations of each in the long run, all threads together.
    template <typename Operation>
    double AllocationsOfEach(Operation operation) {
        const HeapCount heap;
        std::size_t before = 0;
        for (std::uint32_t number = 1; number <= kKeypads; ++number) {
            if (number == kWarm + 1) {
                before = heap.Calls();
            }
            operation(number);
        }
        const double each = static_cast<double>(heap.Calls() - before) / (kKeypads - kWarm);
        RecordProperty("allocations", std::to_string(each));
        return each;
    }

    void Key(std::uint32_t keypad) {
        keypads_->Key(keypad, kKeyB);
        const InsideDouble of_the_test;
        EXPECT_NE(client_->ReadFrame().find("key-pressed"), std::string::npos);
    }

    void Ping() {
        const InsideDouble of_the_test;
        ASSERT_TRUE(client_->Write(PingFrame()));
        ASSERT_EQ(client_->ReadFrame(), PingReplyFrame());
    }

    double AllocationsOfAKey(DeviceType kind) {
        Use(kind);
        return AllocationsOfEach([this](std::uint32_t keypad) { Key(keypad); });
    }

    /// Allocations of the next arrival.
    std::size_t AllocationsOfTheArrivalOf(std::uint32_t keypad) {
        const HeapCount heap;
        const std::size_t before = heap.Calls();
        keypads_->Arrive(keypad);
        {
            const InsideDouble of_the_test;
            EXPECT_NE(client_->ReadFrame().find("activated"), std::string::npos);
        }
        return heap.Calls() - before;
    }

    ManyKeypads& Keypads() { return *keypads_; }

private:
    std::unique_ptr<ManyKeypads> keypads_;
    ClientEnd* client_ = nullptr;
    LogHandler former_ = nullptr;
};

// A key makes an event with its id and a telemetry record; the last of them has four texts of the JSON library.
TEST_F(HandlerBudget, KeyOfAUsbReceiver_Allocates24Times) {
    const double each = AllocationsOfAKey(DeviceType::TQ1);
    EXPECT_LE(each, 24.5);
    EXPECT_GE(each, 15.0) << "fewer than an event's own texts: not all were counted";
}

TEST_F(HandlerBudget, KeyOfTheBaseStation_Allocates24Times) {
    const double each = AllocationsOfAKey(DeviceType::RV2);
    EXPECT_LE(each, 24.5);
    EXPECT_GE(each, 15.0) << "fewer than an event's own texts: not all were counted";
}

TEST_F(HandlerBudget, Ping_AllocatesNothing) {
    Use(DeviceType::TQ1);
    EXPECT_LE(AllocationsOfEach([this](std::uint32_t) { Ping(); }), 0.5);
}

// Every arrival writes all activated keypads: what one more of them costs is what grows.
TEST_F(HandlerBudget, Arrival_AllocatesThreeTimesForEachKeypadThatIsThere) {
    Use(DeviceType::TQ1);
    AllocationsOfTheArrivalOf(kKeypads + 1);
    const std::size_t few = AllocationsOfTheArrivalOf(kKeypads + 2);
    for (std::uint32_t keypad = kKeypads + 3; keypad <= 3 * kKeypads + 1; ++keypad) {
        Keypads().Add(keypad);
    }
    const std::size_t many = AllocationsOfTheArrivalOf(3 * kKeypads + 2);
    const double each = (static_cast<double>(many) - static_cast<double>(few)) / (2 * kKeypads);
    RecordProperty("allocations", std::to_string(each));
    EXPECT_LE(each, 3.5);
    EXPECT_GE(each, 2.0) << "a set and an array of them: not all were counted";
}

TEST_F(HandlerBudget, Key_CallsTheSystemOnceForItsFrame_AndSignalsNothing) {
    Use(DeviceType::TQ1);
    for (std::uint32_t keypad = 1; keypad <= kWarm; ++keypad) {
        Key(keypad);
    }
    const SystemCalls calls;
    for (std::uint32_t keypad = kWarm + 1; keypad <= kKeypads; ++keypad) {
        Key(keypad);
    }
    constexpr std::uint32_t kKeys = kKeypads - kWarm;
    EXPECT_NEAR(calls.create_event.Each(kKeys), 1, 0.1);
    EXPECT_NEAR(calls.write.Each(kKeys), 1, 0.1);
    EXPECT_NEAR(calls.close_handle.Each(kKeys), 1, 0.1);
    EXPECT_LE(calls.wait.Each(kKeys), 1.1);
    EXPECT_LE(calls.result.Each(kKeys), 1.1);
    EXPECT_LE(calls.wake.Each(kKeys), 1.1) << "the writer";
    EXPECT_LE(calls.set_event.Each(kKeys), 0.1);
    EXPECT_LE(calls.release_semaphore.Each(kKeys), 0.1);
    EXPECT_LE(calls.read.Each(kKeys), 0.1);
}

TEST_F(HandlerBudget, Ping_CallsTheSystemOnceForEachFieldAndForItsReply_AndSignalsNothing) {
    Use(DeviceType::TQ1);
    for (std::uint32_t i = 0; i < kWarm; ++i) {
        Ping();
    }
    const SystemCalls calls;
    constexpr std::uint32_t kPings = 200;
    for (std::uint32_t i = 0; i < kPings; ++i) {
        Ping();
    }
    EXPECT_NEAR(calls.read.Each(kPings), 3, 0.1);
    EXPECT_NEAR(calls.write.Each(kPings), 1, 0.1);
    EXPECT_NEAR(calls.create_event.Each(kPings), 4, 0.1);
    EXPECT_NEAR(calls.close_handle.Each(kPings), 4, 0.1);
    EXPECT_LE(calls.wait.Each(kPings), 4.1);
    EXPECT_LE(calls.result.Each(kPings), 4.1);
    EXPECT_LE(calls.wake.Each(kPings), 1.1) << "the writer";
    EXPECT_LE(calls.set_event.Each(kPings), 0.1);
    EXPECT_LE(calls.release_semaphore.Each(kPings), 0.1);
}

}  // namespace
}  // namespace vdipc::test
