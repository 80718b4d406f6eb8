// The course of a storm: start, quiet point, stop in the midst of everything, second life.
#include "support/Storm.h"

#include "common/Clock.h"
#include "drivers/USBListener.h"
#include "drivers/VoteDeckObject_RV2.h"
#include "ipc/LogFile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

namespace vdipc::test {
namespace {

// Two levels, because the backslash behind it is a part of the files' names where it parts no folders.
constexpr char kRecordingsFolder[] = "audio/saved";

std::atomic<Storm*> g_storm{nullptr};
std::atomic<bool> g_storm_forwards{false};

/// The base station's object, with the test in the place of the station's script.
class StormStationObject : public VoteDeckObject_RV2 {
public:
    explicit StormStationObject(const std::atomic<int>& status) : answer_(status) {}

protected:
    std::int32_t ProbeBaseStation() override { return answer_; }

private:
    const std::atomic<int>& answer_;
};

/// Bytes that the handler keeps for good, on purpose: those of a recording whose key a second one took over.
std::vector<const std::uint8_t*>& KeptForGood() {
    static std::vector<const std::uint8_t*> kept;
    return kept;
}

DeviceType KindOfFactory(const std::string& factory) {
    return factory == "CreateVDOTQ1"   ? DeviceType::TQ1
           : factory == "CreateVDOTQ2" ? DeviceType::TQ2
           : factory == "CreateVDORV1" ? DeviceType::RV1
                                       : DeviceType::LW;
}

}  // namespace

struct StormSink {
    static void Take(std::int32_t level, const char* text) {
        if (Storm* const storm = g_storm) {
            storm->Count(level, text);
            if (g_storm_forwards) {
                storm->former_sink_(level, text);
            }
        }
    }
};

Storm::Storm() {
    std::filesystem::create_directories(kRecordingsFolder);
}

Storm::~Storm() {
    // Nothing of the handler runs any more; what it still owns calls the doubles when it goes.
    Access::EvaluatorTimers(handler()).clear();
    Access::DeviceObjects(handler()).clear();
    ExchangeLogHandler(former_sink_);
    g_storm = nullptr;
    g_storm_forwards = false;
    std::map<std::string, std::set<const std::uint8_t*>> blocks;
    for (const SpeechEngine& engine : SpeechEngines()) {
        for (const EvaluateRequest& request : engine.evaluations) {
            blocks[ParseJson(request.request_id)["extra"].asString()].insert(request.audio_data);
        }
        // The online evaluator is left running for good after a switch.
        if (!engine.destroyed && !engine.is_recognizer) {
            delete static_cast<const SpeechEvaluator*>(engine.object);
        }
    }
    for (const auto& [key, of_key] : blocks) {
        if (of_key.size() > 1) {
            KeptForGood().insert(KeptForGood().end(), of_key.begin(), of_key.end());
        }
    }
    for (auto& [key, request] : Access::EvaluateRequests(handler())) {
        delete[] request.audio_data;
    }
    ResetClosedDoubles();
}

void Storm::Count(std::int32_t level, const char* text) {
    const auto has = [text](const char* part) { return std::strstr(text, part) != nullptr; };
    int counted = -1;
    int* other = nullptr;
    if (level == static_cast<std::int32_t>(LogLevel::Debug)) {
        if (has(" timeout task begin ")) {
            counted = kStormTimeouts;
        } else if (has(" task begin msg=")) {
            counted = kStormCommands;
        } else if (has(" task begin ushDeviceId=")) {
            counted = has("bConnect=") ? kStormConnects : kStormKeys;
        } else if (has(" task begin ushDeviceID=")) {
            counted = kStormRecordings;
        } else if (has(" task begin newUid=")) {
            counted = kStormBinds;
        } else if (has(" task begin device_id=")) {
            counted = kStormUnbinds;
        } else if (has(" task begin connected=")) {
            counted = kStormChanges;
        } else if (has(" result.request_id=")) {
            counted = kStormAnswers;
        } else if (has(" msg received:")) {
            other = &received_;
        } else if (has("StartEvaluatorTimer") && has(" timeout ")) {
            other = &fired_;
        }
    } else if (has("VoteDeckObject_RV2::OnDeviceNodesChanged:")) {
        other = &node_changes_;
    }
    if (counted >= 0) {
        Put([this, counted] { ++begun_[static_cast<std::size_t>(counted)]; });
    } else if (other != nullptr) {
        Put([other] { ++*other; });
    }
}

void Storm::Drain() {
    bool done = false;
    handler().PostTask([this, &done] { Put([&done] { done = true; }); });
    Await([&done] { return done; });
}

void Storm::OnSpeechCall(const std::string& call) {
    if (call.find(":recognize") != std::string::npos && call.find(":recognizer") == std::string::npos) {
        Put([this] { ++open_requests_, ++waiting_requests_; });
    } else if (call.find(":evaluate") != std::string::npos && call.find(":evaluator") == std::string::npos) {
        Put([this] { ++open_requests_, ++waiting_requests_; });
    } else if (call.find(":stop") != std::string::npos) {
        speech_.Set(nullptr);
    }
}

void Storm::StartLife() {
    for (auto& [kind, deck] : decks_) {
        former_decks_.push_back(std::move(deck));
    }
    decks_.clear();
    former_stations_.push_back(std::move(station_));
    station_ = std::make_unique<StormStation>();
    station_->on_question = [this](std::int32_t type, std::uint32_t device) {
        TakeQuestion(DeviceType::RV2, type, device);
    };
    ClosedFactories().create_vote_deck_obj = [this] { return station_.get(); };
    ClosedFactories().create_vdo = [this](const std::string& factory, zq::IVoteDeck** deck,
                                          IVoteDeckControl** control) {
        const DeviceType kind = KindOfFactory(factory);
        auto made = std::make_unique<StormDeck>();
        // A receiver that tells its channel is kept apart from OnGetDeviceInfo, see SmallTalk. This channel is none
        // that would be saved.
        made->control.info = kind == DeviceType::LW ? "{}" : R"({"Channel":"-1","SoftWare":"7"})";
        made->on_question = [this, kind](std::int32_t type, std::uint32_t device) {
            TakeQuestion(kind, type, device);
        };
        *deck = made.get();
        *control = &made->control;
        decks_[kind] = std::move(made);
    };
    handler().Initialize();
    WaitUntilOffered();
    auto& objects = Access::DeviceObjects(handler());
    objects[DeviceType::RV2] = std::make_shared<StormStationObject>(station_status_);
    for (auto& [kind, object] : objects) {
        object->SetEventListener(&handler());
        object->SetAudioFileStorageBasePath((std::filesystem::current_path() / kRecordingsFolder).string());
    }
}

void Storm::Run() {
    const auto begin = std::chrono::steady_clock::now();
    StartLife();
    client_ = &ConnectClient();
    g_storm = this;
    former_sink_ = ExchangeLogHandler(&StormSink::Take);
    SetSpeechCallHook([this](const std::string& call) { OnSpeechCall(call); });
    speech_.Set(this);
    // The receivers have listeners from here on, so that every kind has its part.
    WriteCommand("{\"command\":\"ask\",\"device\":\"0\",\"type\":\"general\",\"custom\":\"unserved\"}");
    WriteCommand("{\"command\":\"init\",\"preferred-device-type\":\"any\"}");
    Await([this] { return begun_[kStormCommands] == written_; });
    Drain();

    std::vector<std::function<void()>> bodies{[this] { Write(); }, [this] { SendRecords(); },
                                              [this] { WriteLines(0); }, [this] { WriteLines(1); },
                                              [this] { ChangeDevices(); }};
    for (const DeviceType kind : kAllKinds) {
        bodies.push_back([this, kind] { PressKeys(kind); });
        bodies.push_back([this, kind] { Speak(kind); });
    }
    busy_ = bodies.size();
    bodies.push_back([this] { Read(); });
    bodies.push_back([this] { AnswerSpeech(); });
    bodies.push_back([this] { AnswerSpeech(); });
    result.threads = bodies.size();
    for (auto& body : bodies) {
        threads_.emplace_back(std::move(body));
    }

    // Each step's work is what the one before it led to.
    Await([this] { return busy_ == 0 && begun_[kStormCommands] == written_; });
    Drain();
    Await([this] { return open_questions_ == 0; });
    Drain();
    Await([this] { return open_requests_ == 0; });
    // The station goes and comes back, which also gives its watch ten seconds until it speaks up by itself.
    for (const int status : {kDeviceStatusNotConnected, kDeviceStatusConnected}) {
        station_status_ = status;
        USBListener::GetInstance().NotifyNodesChanged();
        Drain();
    }
    client_->Write(PingFrame());
    ++pings_;
    Await([this] { return replies_ == pings_; });
    result.left_in_queue = Access::QueuedTasks(handler());
    result.switched_offline = !TrackwireRecords("vdk_use_offline_evaluator").empty();
    result.storm =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
    StopInTheMidst();
    LiveAgain();
}

void Storm::StopInTheMidst() {
    for (std::size_t i = 0; i < kStormCounts; ++i) {
        result.made[i] = made_[i];
    }
    result.written_before_stop = written_;
    Put([this] {
        result.begun = begun_;
        result.presses_before_stop = result.presses;
    });
    // A text given to the pipe at the very moment in which a stop drops the client is an accepted race: the sender
    // tests for a client without a lock. So the task thread, which sends, waits until the client is gone.
    handler().PostTask([this] {
        Put([this] { task_held_ = true; });
        Await([this] { return client_gone_; });
    });
    Await([this] { return task_held_; });
    int posted_before = 0;
    Put([this, &posted_before] {
        posted_before = received_ + fired_;
        node_changes_ = 0;
        busy_ = 2 * std::size(kAllKinds) + 4;  // all that take part in the stop
        phase_ = Phase::Stop;
    });
    Await([this] { return busy_ == 0; });
    bool stopped = false;
    const auto begin = std::chrono::steady_clock::now();
    std::thread host([this, &stopped] {
        handler().Uninitialize();
        Put([&stopped] { stopped = true; });
    });
    Await([&stopped] { return stopped; });
    if (!stopped) {
        std::fprintf(stderr, "the stop does not end\n");
        std::abort();
    }
    result.stop =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
    host.join();
    for (std::thread& thread : threads_) {
        thread.join();
    }
    threads_.clear();
    for (std::size_t i = 0; i < kStormCounts; ++i) {
        result.made_in_all[i] = made_[i];
    }
    // Timers run on: one that fires is seen by its line a moment before its task is in the queue. So both are looked at
    // until neither has moved for a while.
    const auto look = [this, posted_before] {
        Put([this, posted_before] {
            result.begun_in_all = begun_;
            result.other_posts_at_stop = received_ + fired_ - posted_before + node_changes_;
        });
        result.left_at_stop = Access::QueuedTasks(handler());
        return std::pair(result.other_posts_at_stop, result.left_at_stop);
    };
    auto seen = look();
    auto still_since = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - still_since < std::chrono::milliseconds(200)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        if (const auto now = look(); now != seen) {
            seen = now;
            still_since = std::chrono::steady_clock::now();
        }
    }
    result.node_changes_at_stop = node_changes_;
    for (const auto& [kind, deck] : decks_) {
        result.decks_deleted = result.decks_deleted && deck->deleted;
        result.controls_handled += deck->control.handled;
        result.moves += deck->control.moved;
    }
    result.controls_told = told_;
    result.pings = pings_;
    result.replies = replies_;
    result.audio_releases = audio_releases_;
    result.audio_valid = audio_valid_;
    result.infos_sent = infos_sent_;
    result.records_seen = static_cast<int>(TrackwireRecords("storm").size());
    result.infos_seen = static_cast<int>(TrackwireRecords("vdk_get_device_info").size());
    result.engines = SpeechEngines();
    result.log_file = ReadFile(LogFilePath());
    for (const auto& entry : std::filesystem::recursive_directory_iterator("audio")) {
        if (entry.is_regular_file()) {
            result.recording_files.push_back(ReadFile(entry.path().string()));
        }
    }
}

std::string Storm::LogFilePath() {
    const std::string devices = DevicesFile();
    return devices.substr(0, devices.size() - std::strlen("devices.json")) +
           MakeLogFileName(GetLocalTimeNow());
}

void Storm::LiveAgain() {
    const auto begun_of_callbacks = [this] {
        int sum = 0;
        Put([this, &sum] {
            for (int i = kStormKeys; i <= kStormChanges; ++i) {
                sum += begun_[static_cast<std::size_t>(i)];
            }
        });
        return sum;
    };
    const int before = begun_of_callbacks();
    int before_commands = 0;
    Put([&] { before_commands = begun_[kStormCommands]; });
    g_storm_forwards = true;
    station_status_ = kDeviceStatusConnected;
    StartLife();
    result.left_in_second_life = Access::QueuedTasks(handler());
    result.begun_in_second_life = begun_of_callbacks() - before;
    Put([this] {
        result.answers_in_second_life = begun_[kStormAnswers];
        result.timeouts_in_second_life = begun_[kStormTimeouts];
        result.fired = fired_;
    });
    ClientEnd& client = ConnectClient();
    client.Write(JsonFrame("{\"command\":\"init\",\"preferred-device-type\":\"any\"}"));
    client.Write(
        JsonFrame("{\"command\":\"ask\",\"device\":\"1777\",\"type\":\"general\",\"custom\":\"again\"}"));
    Await([this, before_commands] { return begun_[kStormCommands] == before_commands + 2; });
    Drain();
    Key(DeviceType::TQ1, 1777, 2);
    Drain();
    client.Write(PingFrame());
    for (std::string frame = client.ReadFrame(); frame.size() > kFrameHeaderSize;
         frame = client.ReadFrame()) {
        result.second_texts.push_back(frame.substr(kFrameHeaderSize));
    }
    StopQuickly();
}

}  // namespace vdipc::test
