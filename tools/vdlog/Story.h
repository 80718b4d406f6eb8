// Tells a log's lines as facts. It follows the library: which receivers are up, which keypads are logged on, which question
// each keypad has at each receiver, what is under way on the task thread, and which speech requests wait for an answer.
//
// Memory is bounded by keypads and by what is open, not by the log. Lines that don't fit what was known before win over it:
// a log may begin anywhere.
#pragma once

#include "tools/vdlog/Facts.h"
#include "tools/vdlog/KnownLines.h"
#include "tools/vdlog/LineReader.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vdipc::log {

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

/// One keypad at one receiver.
struct Keypad {
    bool logged_on = false;
    bool uncertain = false;  // it may be another USB receiver's
    bool dropped = false;    // its logoff was a "drop"
    bool from_file = false;  // logged on by devices.json
    Mark logon;              // the last one
    Mark logoff;
    std::unique_ptr<Question> question;
};

struct ReceiverState {
    bool chosen = false;  // by the last "init"
    bool up = false;
    Mark changed;        // the last time it went up or down
    std::string reason;  // why it is down
    std::unordered_map<std::string, Keypad, TextHash, std::equal_to<>> keypads;
    std::size_t uncertain = 0;
};

class Story final : public LineSink {
public:
    explicit Story(FactSink& sink);
    ~Story() override;

    void OnLine(const LogLine& line) override;
    /// Nothing has come of the task thread for a while: what only the next line would end is taken to be at its end.
    void Settle();
    /// The end of the log.
    void End();

    const ReceiverState& StateOf(Receiver receiver) const {
        return receivers_[static_cast<std::size_t>(receiver)];
    }
    const Keypad* FindKeypad(Receiver receiver, std::string_view device) const;
    /// Where a run begins before the log does, what was logged on or asked before isn't known.
    bool RunIsWhole() const { return run_is_whole_; }
    bool IsInRun() const { return in_run_; }
    const Mark& RunBegan() const { return run_began_; }
    /// The group that the last "init" chose: -1 none yet, 0, 1, 2.
    std::int64_t ChosenGroup() const { return group_; }
    const std::shared_ptr<const Command>& LastInit() const { return last_init_; }

    /// What stood last in a run that ended without its last lines.
    struct LastWords {
        Mark line;       // the last line of the run
        Mark task_line;  // the last one of the task thread
        LineId task_id = LineId::Unknown;
        Mark device_line;                        // where that command's device id was made a number last
        std::shared_ptr<const Command> command;  // that was under way
        Mark empty_message;                      // a message without text, whose turn never came
        bool reader_silent = false;              // it was the reader's last line
    };
    const LastWords& Last() const { return last_; }
    std::uint64_t Lines() const { return lines_; }
    std::uint64_t TaskLines() const { return task_lines_; }

private:
    enum class Task : std::uint8_t {
        None,
        Command,
        Press,
        Recording,
        Logon,
        Logoff,
        Speech,
        Timeout,
        Link,
        Other
    };
    struct Heard;

    void OnTaskLine(const LogLine& line, const Reading& reading);
    void OnOtherLine(const LogLine& line, const Reading& reading);
    void BeginRun(const LogLine& line, std::string_view version);
    void EndRun();
    void EnsureRun(const LogLine& line);
    void EndTask();
    void Begin(Task task);

    // Commands
    void TakeClientDown(const Mark& at);
    void OnMessage(const LogLine& line, std::string_view text);
    void BeginCommand(const LogLine& line, std::string_view text);
    void BeginBlock();
    void EndBlock();
    Receiver Block() const;
    void OnCommandLine(const LogLine& line, const Reading& reading);
    void Cover(const LogLine& line, std::string_view device);
    void Close(const LogLine& line, std::string_view device, bool for_all);
    void EraseAnswers(const LogLine& line, std::string_view device, bool all);
    void LoseLetters(Receiver receiver, std::string_view device, Question& question, const Mark& at);

    // Receivers and keypads
    void SetReceiver(Receiver receiver, bool up, const Mark& at, std::string_view reason);
    void OnDeviceInited(const LogLine& line, std::string_view text);
    std::vector<Receiver> UsbCandidates() const;
    Keypad* KeypadOf(Receiver receiver, std::string_view device);
    void LogOn(const LogLine& line, Receiver receiver, std::string_view device, bool from_file, bool certain);
    void LogOff(const LogLine& line, Receiver receiver, std::string_view device);

    // Keys
    void HearKey(const LogLine& line, const Reading& reading, bool station);
    void BeginKey(const LogLine& line, const Reading& reading, bool station);
    void OnKeyLine(const LogLine& line, const Reading& reading);
    void EndKey();
    void ChooseUsb(std::string_view device, Receiver& receiver,
                   const std::function<bool(const Keypad*)>& fits);

    // Recordings and speech
    void HearRecording(const LogLine& line, const Reading& reading, bool station);
    void BeginRecording(const LogLine& line, const Reading& reading, bool station);
    void OnRecordingLine(const LogLine& line, const Reading& reading);
    void EndRecording();
    void MakeRequest(const LogLine& line, Service service, std::string_view id, std::int64_t size);
    void HearAnswer(const LogLine& line, const Reading& reading);
    void BeginAnswer(const LogLine& line, const Reading& reading, Service service);
    void OnAnswerLine(const LogLine& line, const Reading& reading);
    void EndAnswer();
    void GiveUpOldRequests();

    void OnEventSent(const LogLine& line, std::string_view text);
    void Emit(FactKind kind, const Mark& at);
    void Emit(Fact fact) { sink_.OnFact(fact); }

    FactSink& sink_;
    std::uint64_t lines_ = 0;
    std::uint64_t task_lines_ = 0;  // of the task thread
    Mark last_mark_;

    bool in_run_ = false;
    bool run_is_whole_ = false;
    bool run_complete_ = false;
    Mark run_began_;
    LastWords last_;
    std::uint32_t task_thread_ = 0;
    bool task_thread_known_ = false;
    std::int64_t group_ = -1;
    std::shared_ptr<const Command> last_init_;

    std::array<ReceiverState, kReceivers> receivers_;
    int objects_made_ = 0;  // since CreateVoteDeckObjects
    int initialized_ = 0;   // USB receivers since "init"
    Receiver initializing_ = Receiver::None;

    // Unknown where the log begins in a run, until a line tells of a client.
    enum class Client : std::uint8_t { None, Connected, Lost, Unknown } client_ = Client::None;
    std::uint32_t reader_thread_ = 0;

    Task task_ = Task::None;
    std::shared_ptr<Command> command_;
    int block_ = -1;
    bool in_drop_ = false;
    struct Received {
        Mark at;
        std::size_t hash;
    };
    std::deque<Received> received_;

    std::deque<Press> heard_keys_;
    Press press_;
    int found_ = -1;
    bool finished_known_ = false;
    bool finished_ = false;
    int need_send_ = -1;
    Receiver known_usb_ = Receiver::None;
    std::string letters_;

    std::deque<Recording> heard_recordings_;
    std::map<std::uint32_t, std::size_t> checking_;
    Recording recording_;
    std::shared_ptr<Request> request_;  // the one that is being answered
    std::string answer_text_;
    std::unordered_map<std::string, std::shared_ptr<Request>, TextHash, std::equal_to<>> requests_;
    std::deque<std::string> request_order_;
    std::string logon_device_;
    bool link_connected_ = false;
    int inited_cause_ = 0;
};

}  // namespace vdipc::log
