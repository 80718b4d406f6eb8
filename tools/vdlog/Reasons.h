// Why a press or a recording led to no event, and why an event came that may surprise. Each finding is one sentence with the
// lines that prove it. What the log can't tell is said to be so.
#pragma once

#include "tools/vdlog/Facts.h"
#include "tools/vdlog/Story.h"
#include "tools/vdlog/Text.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vdipc::log {

enum class Reason : std::uint8_t {
    NeverLoggedOn,
    LoggedOff,
    NotAsked,
    AskedBeforeLogon,
    AskedAtAnotherReceiver,
    AskIgnored,
    AskNotDecoded,
    OlderQuestion,
    ClosedByStop,
    ClosedByStopForAll,
    ClosedByDrop,
    ClosedUnknown,
    AnsweredAlready,
    KeyDoesNotCount,
    NotConfirmed,
    BroughtBack,
    ReceiverDown,
    ReceiverTakenDown,
    NoPress,
    NeverRun,
    NextClient,
    EventLate,
    EventLost,
    EventMaybeLost,
    DropIgnored,
    RecordingInvalid,
    RecordingTooShort,
    RecordingError,
    RecordingFillPattern,
    RecordingNotWanted,
    NoStems,
    NoParam,
    SpeechNeverAnswered,
    SpeechRefused,
    SpeechTooLate,
    SpeechAfterOffline,
    CommandIgnored,
    CommandNotDecoded,
    DeviceInitedAgain,
    HostEndedByDeviceId,
    HostEndedByNegativeLength,
    HostEnded,
};
inline constexpr std::size_t kReasons = static_cast<std::size_t>(Reason::HostEnded) + 1;

/// The word for JSON and for the list, "asked-before-logon".
const char* NameOf(Reason reason);
/// What such findings have in common, in a few words.
const char* TitleOf(Reason reason);

struct Finding {
    Reason reason = Reason::NotAsked;
    Mark moment;
    Receiver receiver = Receiver::None;
    std::string device;
    std::string custom;    // of the question it is about, in UTF-8
    bool event = false;    // an event came, and may surprise
    std::string sentence;  // in UTF-8, without line end
    std::vector<Mark> lines;
};

/// "Keypad 7 (RV2)".
std::string KeypadText(const Text& text, std::string_view device, Receiver receiver);
/// "single-choice "q1"", and behind it " for all", or `for_one`.
std::string QuestionText(const Text& text, const Command* ask, const std::string& for_one);
/// "30 ms", "1.2 s", "3 min 5 s".
std::string DurationText(std::int64_t milliseconds);
/// "line 5", "lines 5 7"; with the files' numbers in front, "2:5", where there are several.
std::string LinesText(const std::vector<Mark>& lines, bool several);
/// "1 event", "2 events".
std::string CountText(std::uint64_t count, const char* one, const char* more);

class Reasons final : public FactSink {
public:
    using Report = std::function<void(const Finding& finding)>;

    Reasons(const Text& text, Report report) : text_(text), report_(std::move(report)) {}
    /// The story whose facts come here.
    void Follow(const Story& story) { story_ = &story; }
    void OnFact(const Fact& fact) override;

    struct Counts {
        std::uint64_t presses = 0;
        std::uint64_t press_events = 0;
        std::uint64_t recordings = 0;
        std::uint64_t events = 0;
    };
    const Counts& Totals() const { return counts_; }

private:
    /// A question that a keypad was asked, until a press or a recording comes.
    struct Asked {
        std::shared_ptr<const Command> ask;
        Mark at;
        bool heard = false;
        Mark down;
        bool taken_down = false;
        std::string down_reason;
    };
    using Place = std::pair<Receiver, std::string>;
    struct Failed {
        Mark at;
        Mark ignored_at;
        std::string custom;
        std::string complaint;  // empty: no receiver was ready
    };
    struct Sent {
        Mark at;
        std::string device;
        std::string name;
        std::string custom;
    };

    void OnPress(const Fact& fact);
    void OnSilentPress(const Fact& fact, Finding& finding, const std::string& subject);
    void OnPressEvent(const Fact& fact, Finding& finding, const std::string& subject);
    void OnRecording(const Fact& fact);
    void OnRequestDone(const Fact& fact);
    void OnCommandEnd(const Fact& fact);
    void OnQuestionOpened(const Fact& fact);
    void OnEventSent(const Fact& fact);
    void OnRunEnd(const Fact& fact);
    void NoteChange(const Fact& fact);
    void OnDeviceInited(const Fact& fact);
    void OnLettersLost(const Fact& fact);

    /// Why a keypad without an open question has none, as a half sentence; adds evidence.
    std::string WhyNoQuestion(const Fact& fact, Finding& finding);
    std::string WhyClosed(const Fact& fact, Finding& finding);
    /// The newest question for all at this receiver that passed the keypad by, if it is newer than its own one.
    const Question* MissedQuestion(Receiver receiver, const Question* own) const;
    const Failed* FailedAsk(const std::string& device, const Mark& since) const;
    bool TellNextClient(Finding& finding, const std::string& subject, const Mark& heard,
                        const Evidence& lines);
    bool ClientIsAway() const;
    /// Why what was heard had no turn, where the run ended first.
    std::string NoTurn() const;
    void Decide(const Place& place, Asked& asked, const Mark& until);
    void Give(Finding& finding, const Evidence& lines);
    std::string Subject(const Fact& fact, const std::string& did) const;
    std::string EventText(const Sent& sent) const;
    std::string QuestionText(const Command* ask) const;

    const Text& text_;
    Report report_;
    const Story* story_ = nullptr;
    Counts counts_;
    std::map<Place, Asked> asked_;
    std::map<std::string, Failed> failed_;  // by device; "" where the text doesn't say
    std::map<std::string, Mark> ignored_drops_;
    std::deque<Sent> recent_;
    Mark client_lost_;
    Mark client_connected_;
    Mark last_init_;
    std::string changes_;  // of receivers, since the last "device-inited"
    std::vector<Mark> change_lines_;
};

}  // namespace vdipc::log
