// The whole handler with the real device objects, while all that may call it calls at once: the client, the receivers'
// libraries, the speech engines, the computer, and whoever writes telemetry and log lines.
#pragma once

#include "support/HandlerTest.h"
#include "support/StormDoubles.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace vdipc::test {

inline constexpr int kStormCallsAtStop = 10;

/// What is counted by whoever does it, and again by the line that its task writes.
enum StormCount {
    kStormCommands,
    kStormKeys,
    kStormConnects,
    kStormRecordings,
    kStormBinds,
    kStormUnbinds,
    kStormChanges,
    kStormAnswers,
    kStormTimeouts,
    kStormCounts
};

class Storm : public HandlerWorld {
public:
    Storm();
    ~Storm();

    /// The storm, the stop in the midst of it, and a second life.
    void Run();

    using Counts = std::array<int, kStormCounts>;
    struct Result {
        bool in_time = true;                   // every wait ended before its deadline
        Counts made{}, begun{};                // before the stop
        Counts made_in_all{}, begun_in_all{};  // with the stop
        int begun_in_second_life = 0;          // tasks of callbacks of the first life
        int answers_in_second_life = 0, timeouts_in_second_life = 0;
        std::size_t left_in_queue = 0, left_at_stop = 0, left_in_second_life = 0;
        int other_posts_at_stop =
            0;  // of tasks by the pipe's reader, by timers, and by changes of device nodes
        int node_changes_at_stop = 0, fired = 0;
        int controls_told = 0, controls_handled = 0, moves = 0;
        int written_before_stop = 0;  // commands
        std::chrono::milliseconds stop{};
        std::vector<std::string> texts;         // frames of the first client, in order
        std::vector<std::string> second_texts;  // and of the second
        int pings = 0, replies = 0;
        bool closed_by_handler = false;
        int audio_releases = 0, audio_valid = 0;
        int records_sent = 0, records_seen = 0, infos_sent = 0, infos_seen = 0, texts_sent = 0;
        std::vector<std::string> lines_written;
        std::string log_file;
        std::map<std::string, int> presses, presses_before_stop, recordings, answers;  // by keypad
        std::map<DeviceType, int> binds, unbinds;
        std::map<std::string, int> expected;   // events by custom text, where exact
        std::set<std::string> single_customs;  // of single evaluations
        std::vector<SpeechEngine> engines;
        std::vector<std::string> recording_files;
        bool switched_offline = false;
        bool decks_deleted = true;
        std::size_t threads = 0;
        std::chrono::milliseconds storm{};
    };
    Result result;

    static std::uint32_t FirstNumber(DeviceType kind) {
        return 1000 * (static_cast<std::uint32_t>(kind) + 1);
    }
    static std::uint8_t FillOf(std::uint32_t keypad) { return static_cast<std::uint8_t>(keypad % 200 + 1); }

private:
    friend struct StormSink;
    struct Pupil {
        std::string type;
        std::string custom;
        bool asked = false;
    };
    struct Answer {
        bool is_recognizer = false;
        const void* engine = nullptr;
        std::string request_id;
    };
    enum class Phase { Storm, Stop };

    template <typename Change>
    void Put(Change change) {
        {
            std::lock_guard lock(mutex_);
            change();
        }
        changed_.notify_all();
    }
    template <typename Condition>
    void Await(Condition condition) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, kStormPatience, condition)) {
            result.in_time = false;
        }
    }
    void Count(std::int32_t level, const char* text);
    void Drain();
    /// One of the storm's threads has made its rounds.
    void RoundsMade();
    void AwaitStop();

    // Threads.
    void Write();
    void Read();
    void PressKeys(DeviceType kind);
    void Speak(DeviceType kind);
    void AnswerSpeech();
    void SendRecords();
    void WriteLines(int thread);
    void ChangeDevices();

    bool WriteCommand(const std::string& text);
    void AskOne(int number, const std::string& type);
    void AskAll(int number, const std::string& type);
    void TakeQuestion(DeviceType kind, std::int32_t type, std::uint32_t device);
    void AnswerAsPupil(DeviceType kind, std::uint32_t keypad);
    bool Key(DeviceType kind, std::uint32_t keypad, std::int32_t key,
             std::chrono::milliseconds patience = {});
    bool Record(DeviceType kind, std::uint32_t keypad, std::size_t size,
                std::chrono::milliseconds patience = {});
    void Bind(DeviceType kind, std::uint32_t keypad, bool bound);
    void SmallTalk(DeviceType kind);
    bool TakeRequest(Answer& request);
    void AnswerRequest(const Answer& request);
    void Deliver(const Answer& answer);
    void CallWhileItCloses(DeviceType kind);
    void OnSpeechCall(const std::string& call);
    void StartLife();
    void StopInTheMidst();
    void LiveAgain();
    std::string LogFilePath();

    StormDeck& Deck(DeviceType kind) { return *decks_.at(kind); }

    std::mutex mutex_;
    std::condition_variable changed_;
    // All of these under the mutex.
    Phase phase_ = Phase::Storm;
    Counts begun_{};
    int received_ = 0, fired_ = 0, node_changes_ = 0, replies_ = 0;
    std::size_t busy_ = 0;  // threads with rounds to go
    std::map<std::uint32_t, Pupil> pupils_;
    std::map<DeviceType, std::deque<std::uint32_t>> asked_;
    int open_questions_ = 0, open_requests_ = 0, waiting_requests_ = 0;
    bool client_gone_ = false, task_held_ = false;
    std::deque<Answer> late_answers_;
    std::map<std::size_t, std::size_t> requests_taken_;  // of each engine
    std::set<std::string> requests_seen_;

    std::array<std::atomic<int>, kStormCounts> made_{};
    std::atomic<int> told_{0}, station_status_{kDeviceStatusConnected};
    std::atomic<int> audio_releases_{0}, audio_valid_{0}, infos_sent_{0};
    std::map<DeviceType, std::unique_ptr<StormDeck>> decks_;
    std::vector<std::unique_ptr<StormDeck>> former_decks_;
    std::unique_ptr<StormStation> station_ = std::make_unique<StormStation>();
    std::vector<std::unique_ptr<StormStation>> former_stations_;
    StormGate<Storm> speech_;
    ClientEnd* client_ = nullptr;
    std::atomic<int> written_{0}, pings_{0};
    LogHandler former_sink_ = nullptr;
    std::vector<std::thread> threads_;
};

}  // namespace vdipc::test
