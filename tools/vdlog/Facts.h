// What the log says, as a stream of facts: what the library heard and did, each with the moment and the lines that say so.
//
// Commands of this program are sinks of facts. To add one: derive from FactSink, handle the kinds that it needs, and give
// it an entry in Commands.cpp. Story (Story.h) makes the facts; it keeps what is open and forgets what is done, so a fact's
// references are good during the call only, and whoever needs more later copies it.
#pragma once

#include "tools/vdlog/LogLine.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vdipc::log {

/// Kinds of receiver, numbered as the library's. Usb: one of the four, and the log doesn't say which.
enum class Receiver : std::int8_t { None = -1, TQ1 = 0, TQ2 = 1, RV1 = 2, RV2 = 3, LW = 4, Usb = 5 };
inline constexpr std::size_t kReceivers = 5;
const char* NameOf(Receiver receiver);  // "TQ1", ..., "USB"

/// Question types, numbered as the protocol's. Unknown where the command wasn't seen.
enum class QuestionKind : std::int8_t {
    Unknown = -1,
    SingleChoice,
    MultipleChoice,
    RedEnvelope,
    ContinousRedEnvelope,
    TrueFalse,
    Audio,
    AudioSingle,
    AudioMultiple,
    AudioMultipleChinese,
    Evaluation,
    VoiceRecord,
    General,
    MultipleQuestionSingleChoice
};
const char* NameOf(QuestionKind kind);  // the protocol's word, "single-choice"
bool TakesRecordings(QuestionKind kind);
std::string KeyName(std::int64_t key);  // "B"; "key 42" for one without a letter

/// The lines that prove something, in the order of the log. The first ones and the newest are kept.
class Evidence {
public:
    void Add(const Mark& mark) {
        if (!mark.IsSet() ||
            (count_ > 0 && marks_[count_ - 1].line == mark.line && marks_[count_ - 1].file == mark.file)) {
            return;
        }
        if (count_ < marks_.size()) {
            marks_[count_++] = mark;
        } else {
            marks_.back() = mark;
        }
    }
    const Mark* begin() const { return marks_.data(); }
    const Mark* end() const { return marks_.data() + count_; }
    std::size_t size() const { return count_; }

private:
    std::array<Mark, 16> marks_{};
    std::size_t count_ = 0;
};

/// A command of the client.
struct Command {
    Mark received;  // on the reader's thread; not set where the log begins later
    Mark begun;     // its turn on the task thread
    std::string text;
    std::string name;    // "ask"; empty where the text isn't a command
    std::string device;  // as it came
    std::string custom;  // in UTF-8
    QuestionKind type = QuestionKind::Unknown;
    std::size_t stems = 0;
    bool has_param = false;
    std::int64_t preferred = -1;  // "init": 0 non-audio, 1 audio, 2 any
    bool accepted = false;        // it could be decoded
    bool ignored = false;         // no receiver was ready
    bool drop_of_all = false;
    Mark ignored_at;
    std::string complaint;  // why it couldn't be decoded, where this program finds out
};

/// The last question of one keypad at one receiver.
struct Question {
    std::shared_ptr<const Command> ask;  // null where it was made before the log begins, or by a stop
    Mark asked;
    bool open = false;
    std::shared_ptr<const Command> closer;  // "stop" or "drop"
    Mark closed;
    bool closed_for_all = false;
    Mark answered;        // the event that finished the answer
    std::string letters;  // of a multiple choice that isn't confirmed
    Evidence letter_lines;
};

/// What the library made of a key or a recording.
enum class Outcome : std::uint8_t {
    Open,          // not known yet
    Event,         // became an event
    Held,          // a letter of a multiple choice, or its clearing: kept for the confirmation
    NoQuestion,    // the keypad has no question at this receiver
    Closed,        // its question is closed
    Answered,      // it has answered already
    DoesNotCount,  // not a key, or no recording, of this type of question
    BroughtBack,   // logged a dropped keypad on again
    Requested,     // a recording that went to a speech service; the Request tells the rest
    NoStems,
    NoParam,
    BadRecording,  // became an event with an error number
    NeverRun,      // its turn never came: an invalid recording, or a receiver that was gone, or the log ends
};

struct Press {
    Receiver receiver = Receiver::None;
    std::string device;
    std::int64_t key = 0;
    std::int64_t times = 1;  // USB: presses in this callback
    Mark heard;
    Mark begun;
    Evidence lines;
    Outcome outcome = Outcome::Open;
    std::int64_t type = -1;    // by which it was filtered
    Mark event;                // SendMsg
    bool client_lost = false;  // the event went to a client that was known to be gone
    bool may_be_lost = false;
};

struct Recording {
    Receiver receiver = Receiver::None;
    std::string device;
    Mark heard;
    std::uint32_t thread = 0;  // that heard it
    Mark begun;
    Evidence lines;
    Outcome outcome = Outcome::Open;
    bool checked = false;  // looked at for the fill pattern
    std::string file;
    std::string custom;      // of the question that it answered
    std::int64_t size = -1;  // bytes, where the log has them
    std::int64_t error = 0;  // -201 fill pattern, -202 the receiver's library said so, -203 too short
    Mark event;
};

enum class Service : std::uint8_t { Recognizer, Sentence, Choices, General };
const char* NameOf(Service service);

enum class Answer : std::uint8_t {
    Waiting,
    Event,           // became an event
    TooLate,         // the question was closed or replaced
    OtherEvaluator,  // came from an evaluator that serves no more
    Repeated,        // the request had been answered
    Lost             // the run ended first
};

/// A request to a speech service, from the recording to the answer.
struct Request {
    Service service = Service::Recognizer;
    Receiver receiver = Receiver::None;
    std::string device;
    std::string custom;
    std::string file;
    std::int64_t size = -1;
    Mark heard;  // of its recording
    Mark requested;
    Mark timed_out;
    Mark again;  // made again of the offline evaluator
    bool not_again = false;
    Mark answered;  // on the service's thread
    Mark handled;
    Answer answer = Answer::Waiting;
    std::optional<std::int64_t> error;  // where the log has one
    std::string result;                 // raw, as the log has it
    std::int64_t score = 0;
    Mark event;
    Evidence lines;
};

enum class FactKind : std::uint8_t {
    RunBegin,       // text: version, empty where the log begins later
    RunEnd,         // number: 1 complete, 0 not; text: the last thing that the task thread did
    ClientWaiting,  // the task thread waits for a client
    ClientConnected,
    ClientLost,       // its loss is noticed
    ClientGone,       // the pipe is taken down
    MessageReceived,  // text
    CommandBegin,     // command; text
    CommandEnd,       // command, now with what became of it
    EventSent,        // text: styled JSON; number: 1 where it is known that no client was there to get it
    Ping,             // of the client
    DeviceInited,  // behind its EventSent; number: 0 by "init", 1 a receiver changed, 2 the station is still down
    EventUnwritten,  // a write that failed: the client didn't get an event
    ReceiverUp,      // receiver; number: 1 where it may have been up before the log begins
    ReceiverDown,    // receiver; text: reason
    ReceiverLink,    // USB; number: 1 came, 0 went; the library's callback
    Logon,           // receiver, device; number: 1 from devices.json
    Logoff,          // receiver, device
    Pressed,         // press: heard
    PressDone,       // press: with its outcome; question: the keypad's, or null
    Recorded,        // recording: heard
    RecordingDone,   // recording, question
    Requested,       // request
    Answered,        // request: answered on the service's thread; text: the result
    RequestDone,     // request, with what became of it
    TimedOut,        // request
    Offline,         // the switch to the offline evaluator
    QuestionOpened,  // receiver, device, question
    QuestionClosed,  // receiver, device, question
    LettersLost,     // receiver, device, question: letters that were never confirmed
    Rows,            // receiver, device; text: the rows for the display, as the log has them
    Warning,         // line: of level Warn or above; text: its row in the table of known lines
    Foreign,         // text: a line of another form
    UnknownLine,     // text; device: the function's name
};

struct Fact {
    FactKind kind = FactKind::RunBegin;
    Mark at;
    Receiver receiver = Receiver::None;
    bool receiver_certain = true;
    std::string_view device;
    std::string_view text;
    std::int64_t number = 0;
    const Command* command = nullptr;
    const Question* question = nullptr;
    const Press* press = nullptr;
    const Recording* recording = nullptr;
    const Request* request = nullptr;
    const LogLine* line = nullptr;
};

class FactSink {
public:
    FactSink() = default;
    FactSink(const FactSink&) = delete;
    FactSink& operator=(const FactSink&) = delete;
    virtual ~FactSink() = default;
    virtual void OnFact(const Fact& fact) = 0;
};

}  // namespace vdipc::log
