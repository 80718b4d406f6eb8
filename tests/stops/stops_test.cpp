// The whole handler with the real device objects, stopped again and again in every state: each stop comes to its end. Not
// among the tests, since it is meant for thousands of stops: ./dev stops. VDIPC_STOPS says how many in each state.
#include "common/Clock.h"
#include "drivers/USBListener.h"
#include "drivers/VoteDeckObject_RV2.h"
#include "native/NativeSeam.h"
#include "unit/ipc/support/HandlerTest.h"
#include "unit/ipc/support/StormDoubles.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vdipc::test {
namespace {

constexpr std::chrono::seconds kStopDeadline{60};
/// In the place of the two seconds of a stop, and of the station's script.
constexpr std::uint32_t kLongestSleep = 2;
constexpr std::size_t kTasksAtOnce = 50;
constexpr std::uint32_t kKeypads = 4;

std::size_t StopsInEachState() {
    const char* const text = std::getenv("VDIPC_STOPS");
    return text != nullptr ? std::strtoul(text, nullptr, 10) : 100;
}

/// The lines since the last start, for a stop that hangs; the tests' own capture takes each line apart, which takes longer
/// than a stop.
class LinesOfALife {
public:
    LinesOfALife() : former_(ExchangeLogHandler(&Take)) {}
    ~LinesOfALife() { ExchangeLogHandler(former_); }

    static void Clear() {
        const std::lock_guard lock(mutex);
        lines.clear();
    }
    static std::string Text() {
        const std::lock_guard lock(mutex);
        return lines;
    }

private:
    static void Take(std::int32_t, const char* text) {
        const std::lock_guard lock(mutex);
        lines.append(text, strnlen(text, 200)).append("\n");
    }

    static inline std::mutex mutex;
    static inline std::string lines;
    LogHandler former_;
};

/// The base station's object, whose script answers at once, or hangs.
class StopStation : public VoteDeckObject_RV2 {
public:
    StopStation(const std::atomic<bool>& hangs, std::atomic<std::size_t>& probes)
        : hangs_(hangs), probes_(probes) {}

protected:
    std::int32_t ProbeBaseStation() override {
        ++probes_;
        if (!hangs_) {
            return kDeviceStatusConnected;
        }
        SleepMilliseconds(2000);
        return kDeviceStatusUnknown;
    }

private:
    const std::atomic<bool>& hangs_;
    std::atomic<std::size_t>& probes_;
};

class HandlerStops : public testing::Test, public HandlerWorld {
protected:
    HandlerStops() {
        SetNativeLongestSleep(kLongestSleep);
        std::filesystem::create_directories("audio/saved");
    }
    ~HandlerStops() override {
        Access::DeviceObjects(handler()).clear();
        ResetClosedDoubles();
    }

    /// Brings the library into a state, stops it there, and starts it again, as often as is asked for. `meanwhile` goes on
    /// beside the stop; `after` undoes the state.
    void StopIn(
        const char* name, const std::function<void(std::size_t)>& state,
        const std::function<void()>& meanwhile = [] {}, const std::function<void()>& after = [] {}) {
        const std::size_t times = StopsInEachState();
        std::chrono::milliseconds longest{0};
        for (std::size_t i = 0; i < times; ++i) {
            StartLife();
            state(i);
            ASSERT_FALSE(HasFailure()) << name << ", time " << i;
            longest = std::max(longest, Stop(name, i, meanwhile));
            after();
            EndLife();
            ASSERT_FALSE(HasFailure()) << name << ", time " << i;
            if ((i + 1) % 1000 == 0) {
                std::printf("%s: %zu stops so far\n", name, i + 1);
                std::fflush(stdout);
            }
        }
        std::printf("%s: %zu stops, the longest %lld ms\n", name, times,
                    static_cast<long long>(longest.count()));
        std::fflush(stdout);
    }

    void Connect() {
        WaitUntilOffered();
        client_ = OpenServerPipe();
        ASSERT_NE(client_, nullptr);
        ASSERT_TRUE(client_->Write(PingFrame()));
        ASSERT_EQ(client_->ReadFrame(), PingReplyFrame());
    }
    void Write(const std::string& command) { ASSERT_TRUE(client_->Write(JsonFrame(command))); }
    /// The receivers are up, and keypads are there.
    void InitAll() {
        Connect();
        Write(R"({"command":"init","preferred-device-type":"any"})");
        AwaitEvent("device-inited");
        for (std::uint32_t keypad = 1; keypad <= kKeypads; ++keypad) {
            for (auto& [kind, deck] : decks_) {
                deck->gate.Call([keypad](IVoteDeckEventOld& event) { event.OnBindCard(keypad); });
            }
        }
        Drain();
    }
    void AwaitEvent(const std::string& name) {
        std::string frame;
        do {
            frame = client_->ReadFrame();
            ASSERT_NE(frame, "") << name;
        } while (frame.find("\"" + name + "\"") == std::string::npos);
    }
    /// All tasks are done that were posted before.
    void Drain() {
        std::atomic<bool> done{false};
        handler().PostTask([&done] { done = true; });
        ASSERT_TRUE(WaitUntil([&done] { return done.load(); }));
    }
    void Ask(const std::string& device, const std::string& type) {
        const std::size_t before = questions_;
        Write(R"({"command":"ask","device":")" + device + R"(","type":")" + type +
              R"(","custom":"c","context":{"stems":["a"],"param":{"n":1}}})");
        ASSERT_TRUE(WaitUntil([&] { return questions_ > before; }));
        Drain();
    }
    void Press(std::uint32_t keypad, std::int32_t key) {
        for (auto& [kind, deck] : decks_) {
            deck->gate.Call([&](IVoteDeckEventOld& event) { event.OnKeyEvent(keypad, key, 1, 1, 0, 0, 70); });
        }
    }
    void Record(DeviceType kind, std::uint32_t keypad) {
        std::vector<std::uint8_t> bytes(3200, 1);
        decks_.at(kind)->gate.Call([&](IVoteDeckEventOld& event) {
            event.OnAudioDataReceived(keypad, nullptr, 0, bytes.data(),
                                      static_cast<std::uint32_t>(bytes.size()), 0.0F);
        });
    }

    std::unique_ptr<ClientEnd> client_;
    std::map<DeviceType, std::unique_ptr<StormDeck>> decks_;
    std::unique_ptr<StormStation> station_;
    std::atomic<bool> script_hangs_{false};
    std::atomic<std::size_t> probes_{0};
    std::atomic<std::size_t> requests_{0};
    std::atomic<std::size_t> questions_{0};

private:
    LinesOfALife lines_;
    std::chrono::steady_clock::time_point life_begin_;

    void StartLife() {
        LinesOfALife::Clear();
        life_begin_ = std::chrono::steady_clock::now();
        requests_ = 0;
        // The station's object outlives a stop, and lets go of its station when the next one takes its place.
        const std::unique_ptr<StormStation> former = std::move(station_);
        station_ = std::make_unique<StormStation>();
        station_->on_question = [this](std::int32_t, std::uint32_t) { ++questions_; };
        ClosedFactories().create_vote_deck_obj = [this] { return station_.get(); };
        ClosedFactories().create_vdo = [this](const std::string& factory, zq::IVoteDeck** deck,
                                              IVoteDeckControl** control) {
            auto made = std::make_unique<StormDeck>();
            made->control.info = "{}";
            made->on_question = [](std::int32_t, std::uint32_t) {};
            *deck = made.get();
            *control = &made->control;
            decks_[factory == "CreateVDOTQ1"   ? DeviceType::TQ1
                   : factory == "CreateVDOTQ2" ? DeviceType::TQ2
                   : factory == "CreateVDORV1" ? DeviceType::RV1
                                               : DeviceType::LW] = std::move(made);
        };
        SetSpeechCallHook([this](const std::string& call) {
            if (call.find(":recognize") != std::string::npos || call.find(":evaluate") != std::string::npos) {
                ++requests_;
            }
        });
        handler().Initialize();
        WaitUntilOffered();
        requests_ = 0;  // constructions look alike
        auto& objects = Access::DeviceObjects(handler());
        objects[DeviceType::RV2] = std::make_shared<StopStation>(script_hangs_, probes_);
        for (auto& [kind, object] : objects) {
            object->SetEventListener(&handler());
            object->SetAudioFileStorageBasePath((std::filesystem::current_path() / "audio/saved").string());
        }
    }

    /// A stop that hangs ends the program, since its threads can't be ended otherwise.
    std::chrono::milliseconds Stop(const char* name, std::size_t number,
                                   const std::function<void()>& meanwhile) {
        std::atomic<bool> stopped{false};
        const auto begin = std::chrono::steady_clock::now();
        std::thread host([&] {
            handler().Uninitialize();
            stopped = true;
        });
        meanwhile();
        if (!WaitUntil([&] { return stopped.load(); }, kStopDeadline)) {
            std::fprintf(stderr, "%s: stop %zu hangs\n%s\n", name, number, LinesOfALife::Text().c_str());
            std::abort();
        }
        const auto took =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
        host.join();
        return took;
    }

    void EndLife() {
        client_.reset();
        // Timers survive the stop, and one that fires behind it posts a task that nobody runs; so does the watch over the
        // station, every ten seconds, that comes beside the stop. Both take a machine that is very busy.
        const std::size_t timers = Access::EvaluatorTimers(handler()).size();
        const auto watches = static_cast<std::size_t>((std::chrono::steady_clock::now() - life_begin_) /
                                                      std::chrono::seconds(10));
        Access::EvaluatorTimers(handler()).clear();
        for (auto& [key, request] : Access::EvaluateRequests(handler())) {
            delete[] request.audio_data;
        }
        Access::EvaluateRequests(handler()).clear();
        EXPECT_LE(Access::QueuedTasks(handler()), timers + watches);
        while (Access::RunOneTask(handler())) {
        }
        for (const auto& [kind, deck] : decks_) {
            EXPECT_TRUE(deck->deleted) << static_cast<int>(kind);
        }
        decks_.clear();
        ResetClosedDoubles();
        for (const auto& entry : std::filesystem::directory_iterator("audio")) {
            if (entry.is_regular_file()) {
                std::filesystem::remove(entry);
            }
        }
    }
};

TEST_F(HandlerStops, NeverConnected) {
    StopIn("never connected", [this](std::size_t) { WaitUntilOffered(); });
}

TEST_F(HandlerStops, Connected) {
    StopIn(
        "connected", [this](std::size_t) { Connect(); }, [this] { EXPECT_TRUE(client_->WaitClosed()); });
}

TEST_F(HandlerStops, InTheMiddleOfAFrame) {
    StopIn(
        "mid-frame",
        [this](std::size_t i) {
            Connect();
            const std::size_t before = NativePipeWaits();
            ASSERT_TRUE(client_->Write(FrameBytes(2018, 1000, 2018).substr(0, 4 * (i % 3 + 1))));
            ASSERT_TRUE(WaitUntil([before] { return NativePipeWaits() > before; }));
        },
        [this] { EXPECT_TRUE(client_->WaitClosed()); });
}

TEST_F(HandlerStops, EventsQueued) {
    StopIn("events queued", [this](std::size_t) {
        Connect();
        const std::string event(30000, 'e');
        handler().PostTask([this, &event] {
            for (int i = 0; i < 16; ++i) {
                handler().SendIPCMesage(event);
            }
        });
        Drain();
        // Nobody reads on: the writer is in the middle of a frame.
        ASSERT_EQ(client_->Read(1).size(), 1u);
    });
}

TEST_F(HandlerStops, QuestionOpen) {
    StopIn(
        "a question open",
        [this](std::size_t) {
            InitAll();
            Ask("0", "multiple-choice");
            Press(1, 1);
            Drain();
        },
        [this] { EXPECT_TRUE(client_->WaitClosed()); });
}

TEST_F(HandlerStops, RecordingsUnderEvaluation) {
    StopIn(
        "recordings under evaluation",
        [this](std::size_t) {
            InitAll();
            const std::size_t before = requests_;
            Ask("1", "audio");
            Ask("2", "audio-single");
            Ask("3", "audio-multiple");
            Ask("4", "evaluation");
            for (std::uint32_t keypad = 1; keypad <= 4; ++keypad) {
                Record(DeviceType::TQ2, keypad);
            }
            ASSERT_TRUE(WaitUntil([&] { return requests_ >= before + 4; }));
        },
        [this] { EXPECT_TRUE(client_->WaitClosed()); });
}

TEST_F(HandlerStops, ScriptHanging) {
    StopIn(
        "the station's script hanging",
        [this](std::size_t) {
            InitAll();
            const std::size_t before = probes_;
            script_hangs_ = true;
            USBListener::GetInstance().NotifyNodesChanged();
            ASSERT_TRUE(WaitUntil([&] { return probes_ > before; }));
        },
        [this] { EXPECT_TRUE(client_->WaitClosed()); }, [this] { script_hangs_ = false; });
}

TEST_F(HandlerStops, StopAndStartInOneBreath) {
    StopIn("stop and start in one breath", [this](std::size_t) {
        InitAll();
        client_->Close();
        WaitUntilOffered();
        handler().Uninitialize();
        decks_.clear();
        handler().Initialize();
        WaitUntilOffered();
    });
}

TEST_F(HandlerStops, CallbacksDuringAndAfterTheStop) {
    std::atomic<bool> storm{false};
    std::atomic<bool> client_gone{false};
    std::atomic<std::size_t> calls{0};
    std::vector<std::thread> threads;
    const auto call = [&](std::size_t number) {
        for (std::size_t i = number; storm; ++i) {
            // More would only lengthen the queue.
            if (Access::QueuedTasks(handler()) < kTasksAtOnce) {
                const auto keypad = static_cast<std::uint32_t>(i % kKeypads + 1);
                switch (i % 4) {
                case 0:
                    Press(keypad, static_cast<std::int32_t>(i % 9 + 1));
                    break;
                case 1:
                    Record(DeviceType::TQ1, keypad);
                    break;
                case 2:
                    station_->gate.Call([&](IVoteDeckEvent& event) {
                        event.OnKeypadConnect(0, static_cast<std::uint16_t>(keypad), i % 8 < 4);
                        event.OnKeypadEvent(static_cast<std::uint16_t>(keypad), 1);
                    });
                    break;
                default:
                    USBListener::GetInstance().NotifyNodesChanged();
                    USBListener::GetInstance().NotifyArrival(0, L"path");
                    break;
                }
                ++calls;
            }
            std::this_thread::yield();
        }
    };
    StopIn(
        "callbacks during and after the stop",
        [&](std::size_t) {
            InitAll();
            Ask("0", "general");
            client_gone = false;
            storm = true;
            for (std::size_t number = 0; number < 3; ++number) {
                threads.emplace_back(call, number);
            }
            // A text given to the pipe at the very moment in which a stop drops the client is an accepted race: the
            // sender tests for a client without a lock. So the task thread waits until the client is gone.
            std::atomic<bool> held{false};
            handler().PostTask([&held, &client_gone] {
                held = true;
                WaitUntil([&client_gone] { return client_gone.load(); }, kStopDeadline);
            });
            ASSERT_TRUE(WaitUntil([&held] { return held.load(); }));
        },
        [&] {
            EXPECT_TRUE(client_->WaitClosed());
            client_gone = true;
        },
        [&] {
            // The library is down, and the callbacks go on; but where somebody still listens tasks are left over.
            storm = false;
            for (std::thread& thread : threads) {
                thread.join();
            }
            threads.clear();
            while (Access::RunOneTask(handler())) {
            }
        });
    std::printf("%zu calls\n", calls.load());
    EXPECT_GT(calls, StopsInEachState());
}

}  // namespace
}  // namespace vdipc::test
