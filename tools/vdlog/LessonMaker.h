// Turns a log into a lesson for vdlesson: what came to the library from outside, in the order of its turns.
//
// The library does one task after the other, and the log names each task's beginning. A replay in which everything is
// queued in that order does the same, whatever the times; so a step follows the former one as soon as the queue has that, and
// waits for more only where the log shows that it must: for a client's connection, for a receiver, for a time-out.
#pragma once

#include "tools/vdlog/Facts.h"
#include "tools/vdlog/KnownLines.h"
#include "tools/vdlog/LessonRun.h"
#include "tools/vdlog/LineReader.h"
#include "tools/vdlog/Text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vdipc::log {

inline std::size_t IndexOf(Receiver receiver) {
    return static_cast<std::size_t>(receiver);
}

class LessonMaker final : public LineSink {
public:
    /// `fast` leaves out the waits that nothing depends on.
    LessonMaker(const Text& text, bool fast);
    ~LessonMaker() override;

    void OnLine(const LogLine& line) override;
    void End();

    /// The lesson; returns how many steps it has. Raises std::runtime_error where the log has nothing that could be played.
    std::uint64_t Write(std::ostream& out, const std::vector<std::string>& files);

    /// What the log left open, in words, with how often.
    std::vector<std::string> Notes() const;

private:
    /// When something was heard, on whatever thread.
    struct Heard {
        LinePlace place = 0;
        std::int64_t time = 0;
    };
    struct HeardRecording {
        std::string device;
        Heard heard;
        std::uint32_t thread = 0;
        bool station = false;
        bool checked = false;
    };
    /// The last question of a keypad at one receiver.
    struct Asked {
        bool open = false;
        bool answered = false;
        std::int64_t type = -1;
        std::string custom;
    };
    struct SentRequest {
        std::string engine;
        std::uint64_t number = 0;
        std::uint64_t offline = 0;  // its number at the offline evaluator, where it was made again
        LinePlace place = 0;
        std::size_t step = 0;  // of its recording, counted from 1
        bool timed = false;    // its timer runs
        bool done = false;
    };

    enum class TaskKind : std::uint8_t { None, Command, Key, Recording, Logon, Logoff, Link, Answer, Check };
    /// What is under way on the task thread, as far as its lines have said.
    struct Task {
        TaskKind kind = TaskKind::None;
        LinePlace turn = 0;
        Heard heard;
        std::int64_t time = 0;
        bool done = false;  // what follows belongs to another task
        std::optional<std::string> devices;
        std::optional<std::vector<Receiver>> ready;
        bool sent = false;
        // Keypads
        bool station = false;
        std::string device;
        std::int64_t key = 0;
        std::int64_t times = 1;
        std::int64_t received = 1;
        Receiver usb = Receiver::None;  // where a line says which
        bool brought_back = false;
        int found = -1;
        int finished = -1;
        std::int64_t type = -1;
        int need_send = -1;
        std::string custom;
        bool has_custom = false;
        // Commands
        Command command;
        int block = -1;
        bool is_init = false;
        bool is_quit = false;
        // Receivers
        std::string station_state;  // what bringing it up came to: "up", "no-power", "no-usb", "refused"
        bool late = false;
        std::size_t usb_tried = 0;
        Receiver trying = Receiver::None;
        std::array<int, kReceivers> usb_up{-1, -1, -1, -1, -1};
        std::array<std::optional<std::string>, kReceivers> infos;
        std::optional<std::string> info;
        bool connected = false;  // of news of a link
        bool removed = false;
        bool arrived = false;
        bool changed = false;
        bool still_bad = false;
        std::string reason;  // of "removed"
        std::int64_t status = -2;
        // Recordings
        bool checked = false;
        bool saved = false;
        bool asked = false;
        bool in_chinese = false;
        std::int64_t size = -1;
        std::int64_t error = 0;
        std::string lost_rate;
        std::string file;
        std::string request_file;
        // Answers
        Service service = Service::Recognizer;
        std::string request_id;
        std::string error_code;
        std::string result;
        std::string score;
        bool mismatch = false;
    };

    void BeginRun(const LogLine& line, std::string_view version);
    void EndRun();
    void AddUnheard();
    bool AddUnheardKey(const std::string& what, const Heard& heard);
    void OnTaskLine(const LogLine& line, const Reading& reading);
    void OnReceiverLine(const LogLine& line, const Reading& reading);
    void OnKeypadLine(const LogLine& line, const Reading& reading);
    void OnCommandLine(const Reading& reading);
    void OnOtherLine(const LogLine& line, const Reading& reading);
    void OnEvent(const LogLine& line, std::string_view text);
    bool BeginTask(const LogLine& line, const Reading& reading);
    void Begin(TaskKind kind, const LogLine& line, const std::string& heard_as = {});
    void BeginRecording(const LogLine& line, const Reading& reading);
    void BeginCheck(const LogLine& line);
    void Hear(const std::string& as, const LogLine& line);
    void TimeOut(const LogLine& line, const std::string& file);
    void MakeRequest(const std::string& file, const std::string& engine, bool timed);
    static std::string RateOf(std::string_view styled);
    static bool IsKeypad(const std::string& device, bool station);

    void Finish();
    void FinishCommand();
    void FinishKey();
    void FinishRecording();
    void FinishMove();
    void FinishLink();
    void FinishCheck();
    void FinishAnswer();

    LessonStep& Add(const std::string& text);
    void AddForKeypads(Receiver receiver, const std::string& what, const std::string& more);
    void AwaitAll(LessonStep& step, std::uint64_t turns);
    void AddWait(LinePlace place, std::int64_t time, const std::string& text, bool timed = false);
    void Note(const std::string& words, const std::string& example = {});
    /// The receivers of the chosen group but for the station, in the order in which they are brought up.
    std::vector<Receiver> Chosen() const;
    Receiver ChooseUsb(const std::function<bool(Receiver)>& fits, const char* what);
    bool HasFitting(Receiver receiver) const;
    void TakeOverForLW(const std::string& device);
    void SetStation(std::vector<std::string>& before, const std::string& state);
    std::string StationText(const std::string& state, bool notice) const;
    void SetLink(std::vector<std::string>& before, Receiver receiver, bool up);
    void SetInfo(std::vector<std::string>& before, Receiver receiver, const std::string& info);
    std::string MessageText(const std::string& text);
    std::string RecordingText(const char* kind, bool valid);
    void WriteHead(std::ostream& out, const std::vector<std::string>& files);

    const Text& text_;
    const bool fast_;

    std::vector<std::unique_ptr<LessonRun>> runs_;
    LessonRun* run_ = nullptr;
    LinePlace place_ = 0;
    std::uint32_t task_thread_ = 0;
    bool task_thread_known_ = false;
    Task task_;

    // What was heard and had no turn yet.
    std::map<std::string, std::deque<Heard>> heard_;
    std::deque<HeardRecording> heard_recordings_;
    std::deque<Heard> link_news_;
    Heard client_lost_;
    std::uint64_t turns_of_client_ = 0;  // when its loss was noticed
    Heard timer_;                        // the time-out that fired last

    // The library, as far as a choice depends on it.
    std::int64_t group_ = -1;
    std::array<std::set<std::string>, kReceivers> logged_on_;
    std::array<std::map<std::string, Asked>, kReceivers> asked_;
    std::vector<Receiver> ready_;
    std::set<std::string> dropped_;  // from LW, of which a key brings back
    std::map<std::string, SentRequest> requests_;
    std::map<std::string, std::uint64_t> numbers_;                          // of requests, by engine
    std::map<std::pair<std::string, std::uint64_t>, std::size_t> answers_;  // steps, counted from 1
    bool offline_ = false;

    // The classroom, as the lesson has made it.
    std::array<bool, kReceivers> link_{};
    std::array<std::string, kReceivers> info_;
    std::string station_;

    std::array<bool, kReceivers> uses_{};
    std::set<std::string> event_names_;
    std::string channel_;
    std::string config_;
    std::string devices_;
    bool chinese_ = false;
    std::int64_t first_time_ = 0;
    std::int64_t last_time_ = 0;

    struct NoteEntry {
        std::uint64_t count = 0;
        std::string example;
    };
    std::map<std::string, NoteEntry> notes_;
    std::vector<std::string> note_order_;
};

}  // namespace vdipc::log
