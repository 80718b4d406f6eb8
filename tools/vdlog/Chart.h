// What the log says, as things on lanes: what `timeline` draws and `trace` writes.
//
// A thing is a moment or a span, with the sentence that tells it and the lines that prove it. Things are kept until the end,
// so memory grows with what is drawn; there is a limit, and options narrow what is taken.
#pragma once

#include "tools/vdlog/Facts.h"
#include "tools/vdlog/Narrow.h"
#include "tools/vdlog/Reasons.h"
#include "tools/vdlog/Story.h"
#include "tools/vdlog/Text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

namespace CLI {
class App;
}

namespace vdipc::log {

/// What both commands can be narrowed to.
void AddChartOptions(CLI::App& app, Options& options);

/// In the order in which they stand.
enum class LaneGroup : std::uint8_t { Runs, Client, Receivers, Questions, Speech, Keypads };
inline constexpr std::size_t kLaneGroups = 6;
const char* NameOf(LaneGroup group);

struct Lane {
    LaneGroup group = LaneGroup::Runs;
    std::string name;
    std::uint32_t rows = 1;  // spans that overlap stand in rows of their own
};

enum class ThingKind : std::uint8_t {
    Run,
    Connection,
    Command,
    Event,
    ReceiverUp,
    ReceiverDown,
    Question,
    Request,
    TimeOut,
    LoggedOn,
    Asked,  // one keypad's part of a question
    Press,
    Recording,
    Remark,
};
inline constexpr std::size_t kThingKinds = 14;
const char* NameOf(ThingKind kind);

/// How it stands out.
enum class ThingState : std::uint8_t {
    Plain,
    Silent,      // a press or a recording that led to no event
    Held,        // a letter of a multiple choice, before its T
    Unanswered,  // a question of a keypad, of which no event came
    Surprise,    // an event came, and may surprise
    Failed,      // a command without effect, a receiver down, a run without its last lines
};
inline constexpr std::size_t kThingStates = 6;
const char* NameOf(ThingState state);

struct Thing {
    std::uint32_t lane = 0;
    std::uint32_t row = 0;
    ThingKind kind = ThingKind::Remark;
    ThingState state = ThingState::Plain;
    bool is_span = false;
    std::int64_t begin = 0;  // milliseconds, as Mark has them
    std::int64_t end = 0;    // the begin of a moment
    int reason = -1;         // Reason, where one was found
    std::string label;       // a few characters: "B", "q1"
    std::string sentence;    // in UTF-8
    std::vector<Mark> lines;
};

class Chart final : public FactSink {
public:
    /// Raises std::runtime_error with words for the user where there would be more than `most` things.
    Chart(const Options& options, const Text& text, std::size_t most);
    /// The story whose facts come here.
    void Follow(const Story& story);
    void OnFact(const Fact& fact) override;
    /// At the end of the logs: lanes and things are in their order then.
    void Finish();

    const std::vector<Lane>& Lanes() const { return lanes_; }
    /// By their begin, a longer one before those that it holds.
    const std::vector<Thing>& Things() const { return things_; }
    /// What was read, or the part of it that was asked for.
    std::int64_t Begin() const { return begin_; }
    std::int64_t End() const { return end_; }
    /// A line for the user, where what the options name isn't in the log.
    std::string Missing() const { return sought_.Missing(text_); }

private:
    using Place = std::pair<Receiver, std::string>;

    /// Lanes stand in this order, keypads by their numbers.
    struct LaneKey {
        LaneGroup group;
        std::int64_t order;
        std::string name;
        bool operator<(const LaneKey& other) const {
            return std::tie(group, order, name) < std::tie(other.group, other.order, other.name);
        }
    };
    /// A question of the client. Those that are closed still count answers, until the run ends.
    struct Asking {
        std::shared_ptr<const Command> ask;
        Mark begin;
        Mark end;
        std::string closed;  // how
        std::set<Place> asked;
        std::set<Place> answered;
        std::uint64_t silent = 0;
    };
    /// The same at one keypad, while it is open.
    struct Asked {
        std::shared_ptr<const Command> ask;
        Mark begin;
        Mark answered;
        Finding unheard;  // what the reasons say of it; without a sentence where they say nothing
    };
    /// The station and the others have keypads of their own, by their numbers.
    struct LoggedOn {
        Receiver receiver;
        Mark begin;
        bool from_file;
    };

    void Tell(const Fact& fact);
    void OnRunEnd(const Fact& fact);
    void OnCommandEnd(const Fact& fact);
    void OnEvent(const Fact& fact);
    void OnAsked(const Fact& fact);
    void OnPress(const Fact& fact);
    void OnRecording(const Fact& fact);
    void OnRequest(const Fact& fact);
    void OnLettersLost(const Fact& fact);
    void OnReceiver(const Fact& fact);

    Asking& AskingOf(const std::shared_ptr<const Command>& ask);
    /// The question that a press or a recording met; one keypad's counts as asked by that, logged on or not.
    Asking* AskingMetBy(const Fact& fact);
    void CountAnswer(const Fact& fact, const Mark& at);
    void CountSilence(const Fact& fact);
    void CloseQuestions(const std::string& device, const Mark& at, const std::string& how);
    void DrawQuestions(const Mark& at);
    void CloseAsked(const Place& place, const Mark& at, const std::string& how);
    void CloseLogon(bool station, const std::string& device, const Mark& at, const std::string& how);
    void CloseClient(const Mark& at, const std::string& how);
    void TellHowLongDown(const Fact& fact);
    void CloseReceiver(Receiver receiver, const Mark& at, const std::string& how);

    std::uint32_t LaneOf(LaneGroup group, std::int64_t order, const std::string& name);
    std::uint32_t KeypadLane(Receiver receiver, const std::string& device);
    /// Takes a thing unless the options leave it out; false then.
    bool Add(Thing thing, const std::string& device = {}, const std::string& custom = {});
    void CheckRoom() const;
    /// Makes a finding of the fact that is being told the thing's own, if there is one that fits.
    void TakeFinding(
        Thing& thing, bool (*fits)(const Finding&) = [](const Finding&) { return true; });
    void AddRemark(const Finding& finding);
    void SortLanes();
    void PackRows();

    std::string KeypadText(const std::string& device, Receiver receiver) const;
    std::string QuestionText(const Command* ask) const;

    const Text& text_;
    Narrow narrow_;
    Sought sought_;
    std::size_t most_;
    Reasons reasons_;
    const Story* story_ = nullptr;
    std::vector<Finding> findings_;  // of the fact that is being told

    std::map<LaneKey, std::uint32_t> lane_numbers_;
    std::map<std::uint32_t, std::set<Receiver>> receivers_of_;  // by lane of a keypad
    std::vector<Lane> lanes_;
    std::vector<Thing> things_;
    bool any_ = false;
    std::int64_t begin_ = 0;
    std::int64_t end_ = 0;
    Mark last_;  // the newest line that a fact stands at

    std::string version_;
    Mark client_;
    Mark client_lost_;
    std::array<Mark, kReceivers> up_;
    /// Things that tell of a receiver that is down, until it comes up.
    std::array<std::vector<std::size_t>, kReceivers> down_;
    std::vector<Asking> questions_;
    std::unordered_map<const Command*, std::size_t> question_of_;
    std::vector<std::size_t> open_questions_;
    std::map<Place, Asked> asked_;
    std::map<std::pair<bool, std::string>, LoggedOn> logged_on_;  // at the station or not
    std::map<Place, std::size_t> letters_;  // the first of a multiple choice that isn't confirmed
};

}  // namespace vdipc::log
