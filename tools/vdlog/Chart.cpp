#include "tools/vdlog/Chart.h"

#include "tools/vdlog/KnownLines.h"
#include "tools/vdlog/Messages.h"
#include "tools/vdlog/Platform.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

namespace vdipc::log {
namespace {

constexpr std::uint32_t kMostRows = 12;  // of one lane; what doesn't fit shares the last one

std::string Clock(const Mark& mark) {
    return TimeText(mark.time);
}

std::string FromTo(const Mark& begin, const Mark& end) {
    return "from " + Clock(begin) + " to " + Clock(end) + " (" + DurationText(end.time - begin.time) + ")";
}

void AddLines(std::vector<Mark>& lines, const Evidence& evidence) {
    lines.insert(lines.end(), evidence.begin(), evidence.end());
}

/// In the log's order, each once, and without those that aren't set.
void Tidy(std::vector<Mark>& lines) {
    const auto place = [](const Mark& mark) { return std::pair(mark.file, mark.line); };
    std::erase_if(lines, [](const Mark& mark) { return !mark.IsSet(); });
    std::sort(lines.begin(), lines.end(),
              [&](const Mark& one, const Mark& other) { return place(one) < place(other); });
    lines.erase(std::unique(lines.begin(), lines.end(),
                            [&](const Mark& one, const Mark& other) { return place(one) == place(other); }),
                lines.end());
}

Thing Moment(ThingKind kind, const Mark& at, std::string label) {
    Thing thing;
    thing.kind = kind;
    thing.begin = at.time;
    thing.end = at.time;
    thing.label = std::move(label);
    thing.lines = {at};
    return thing;
}

Thing Span(ThingKind kind, const Mark& begin, const Mark& end, std::string label) {
    Thing thing = Moment(kind, begin, std::move(label));
    thing.is_span = true;
    thing.end = std::max(begin.time, end.time);
    thing.lines.push_back(end);
    return thing;
}

/// Whether it is told of a question without a press.
bool IsOfUnheard(const Finding& finding) {
    return finding.reason == Reason::NoPress || finding.reason == Reason::ReceiverDown ||
           finding.reason == Reason::ReceiverTakenDown;
}

/// Events that a keypad's lane tells already.
bool IsOfKeypad(const std::string& event) {
    return event == "key-pressed" || event == "activated" || event == "inactivated" ||
           event == "audio-recognized" || event == "voice-evaluated" || event == "evaluated" ||
           event == "voice-record";
}

}  // namespace

const char* NameOf(LaneGroup group) {
    static constexpr const char* kNames[] = {"Runs", "Client", "Receivers", "Questions", "Speech", "Keypads"};
    static_assert(std::size(kNames) == kLaneGroups);
    return kNames[static_cast<std::size_t>(group)];
}

const char* NameOf(ThingKind kind) {
    static constexpr const char* kNames[] = {"run",       "connection",     "command",  "event",
                                             "up",        "down",           "question", "speech request",
                                             "time-out",  "logged on",      "asked",    "press",
                                             "recording", "what stands out"};
    static_assert(std::size(kNames) == kThingKinds);
    return kNames[static_cast<std::size_t>(kind)];
}

const char* NameOf(ThingState state) {
    static constexpr const char* kNames[] = {"plain", "silent", "held", "unanswered", "surprise", "failed"};
    static_assert(std::size(kNames) == kThingStates);
    return kNames[static_cast<std::size_t>(state)];
}

void AddChartOptions(CLI::App& app, Options& options) {
    AddKeypadOption(app, options);
    AddCustomOption(app, options);
    AddTimeOptions(app, options);
}

Chart::Chart(const Options& options, const Text& text, std::size_t most)
    : text_(text), narrow_(options), sought_(options), most_(most),
      reasons_(text, [this](const Finding& finding) { findings_.push_back(finding); }) {}

void Chart::Follow(const Story& story) {
    story_ = &story;
    reasons_.Follow(story);
}

// ---- words ----------------------------------------------------------------------------------------------------------

std::string Chart::KeypadText(const std::string& device, Receiver receiver) const {
    return log::KeypadText(text_, device, receiver);
}

std::string Chart::QuestionText(const Command* ask) const {
    return log::QuestionText(text_, ask, ask == nullptr ? "" : " for keypad " + text_.Device(ask->device));
}

// ---- lanes and things -----------------------------------------------------------------------------------------------

std::uint32_t Chart::LaneOf(LaneGroup group, std::int64_t order, const std::string& name) {
    const auto [found, fresh] =
        lane_numbers_.try_emplace({group, order, name}, static_cast<std::uint32_t>(lanes_.size()));
    if (fresh) {
        lanes_.push_back({group, name, 1});
    }
    return found->second;
}

std::uint32_t Chart::KeypadLane(Receiver receiver, const std::string& device) {
    const std::int64_t number =
        IsDeviceNumber(device) ? NumberIn(device) : std::numeric_limits<std::int64_t>::max();
    const char* const side = receiver == Receiver::None ? "?" : receiver == Receiver::RV2 ? "RV2" : "USB";
    const std::uint32_t lane = LaneOf(LaneGroup::Keypads, number, device + "\n" + side);
    receivers_of_[lane].insert(receiver);
    return lane;
}

bool Chart::Add(Thing thing, const std::string& device, const std::string& custom) {
    const bool about_keypad = !device.empty() && device != "0";
    if (!narrow_.HoldsSpan(thing.begin, thing.end) || (about_keypad && !narrow_.HoldsKeypad(device)) ||
        (about_keypad && thing.kind != ThingKind::LoggedOn && !narrow_.HoldsCustom(custom)) ||
        (thing.kind == ThingKind::Question && !narrow_.HoldsCustom(custom))) {
        return false;
    }
    CheckRoom();
    Tidy(thing.lines);
    things_.push_back(std::move(thing));
    return true;
}

void Chart::CheckRoom() const {
    if (things_.size() + questions_.size() >= most_) {
        throw std::runtime_error("there are more than " + std::to_string(most_) +
                                 " things to draw; take a part of them with --from and --to, --keypad or "
                                 "--custom");
    }
}

void Chart::TakeFinding(Thing& thing, bool (*fits)(const Finding&)) {
    const auto found = std::find_if(findings_.begin(), findings_.end(), fits);
    if (found == findings_.end()) {
        return;
    }
    Finding finding = std::move(*found);
    findings_.erase(found);
    thing.reason = static_cast<int>(finding.reason);
    thing.sentence = std::move(finding.sentence);
    thing.lines.insert(thing.lines.end(), finding.lines.begin(), finding.lines.end());
    thing.state = finding.event ? ThingState::Surprise : ThingState::Silent;
}

void Chart::AddRemark(const Finding& finding) {
    Thing thing = Moment(ThingKind::Remark, finding.moment, {});
    thing.lines = finding.lines;
    thing.reason = static_cast<int>(finding.reason);
    thing.sentence = finding.sentence;
    thing.state = finding.event                                                     ? ThingState::Surprise
                  : finding.reason == Reason::NotConfirmed                          ? ThingState::Silent
                  : IsOfUnheard(finding) || finding.reason == Reason::NeverLoggedOn ? ThingState::Unanswered
                                                                                    : ThingState::Failed;
    thing.lane = finding.device.empty() ? LaneOf(LaneGroup::Client, 2, "Events")
                                        : KeypadLane(finding.receiver, finding.device);
    Add(std::move(thing), finding.device, finding.custom);
}

void Chart::Finish() {
    // A keypad that one thing knows without its receiver has a lane already, mostly.
    for (const auto& [key, lane] : lane_numbers_) {
        if (key.group != LaneGroup::Keypads || !key.name.ends_with("\n?")) {
            continue;
        }
        const std::string device = key.name.substr(0, key.name.size() - 1);
        for (const char* const side : {"RV2", "USB"}) {
            const auto other = lane_numbers_.find({key.group, key.order, device + side});
            if (other != lane_numbers_.end()) {
                for (Thing& thing : things_) {
                    thing.lane = thing.lane == lane ? other->second : thing.lane;
                }
                break;
            }
        }
    }
    SortLanes();
    std::stable_sort(things_.begin(), things_.end(), [](const Thing& one, const Thing& other) {
        return one.begin != other.begin ? one.begin < other.begin : one.end > other.end;
    });
    PackRows();
}

void Chart::SortLanes() {
    std::vector<bool> used(lanes_.size());
    for (const Thing& thing : things_) {
        used[thing.lane] = true;
    }
    std::vector<std::uint32_t> places(lanes_.size());
    std::vector<Lane> sorted;
    for (const auto& [key, lane] : lane_numbers_) {
        if (!used[lane]) {
            continue;
        }
        places[lane] = static_cast<std::uint32_t>(sorted.size());
        sorted.push_back(lanes_[lane]);
        if (key.group != LaneGroup::Keypads) {
            continue;
        }
        // By its receiver's name, where the log has one name for it.
        std::set<Receiver> receivers = receivers_of_[lane];
        receivers.erase(Receiver::None);
        receivers.erase(Receiver::Usb);
        const std::size_t end = key.name.find('\n');
        sorted.back().name =
            KeypadText(key.name.substr(0, end), receivers.size() == 1             ? *receivers.begin()
                                                : key.name.substr(end + 1) == "?" ? Receiver::None
                                                                                  : Receiver::Usb);
    }
    for (Thing& thing : things_) {
        thing.lane = places[thing.lane];
    }
    lanes_ = std::move(sorted);
}

void Chart::PackRows() {
    std::vector<std::vector<std::int64_t>> ends(lanes_.size());  // of the last span of each row
    for (Thing& thing : things_) {
        // A keypad's spans lie over one another; each kind has its own look.
        if (!thing.is_span || lanes_[thing.lane].group == LaneGroup::Keypads) {
            continue;
        }
        std::vector<std::int64_t>& rows = ends[thing.lane];
        std::size_t row = 0;
        while (row < rows.size() && rows[row] > thing.begin && row + 1 < kMostRows) {
            ++row;
        }
        if (row == rows.size()) {
            rows.push_back(thing.end);
        }
        rows[row] = std::max(rows[row], thing.end);
        thing.row = static_cast<std::uint32_t>(row);
        lanes_[thing.lane].rows = static_cast<std::uint32_t>(rows.size());
    }
}

// ---- facts ----------------------------------------------------------------------------------------------------------

void Chart::OnFact(const Fact& fact) {
    sought_.Meet(fact);
    // Lines of another form have no time of their own before the first one that has.
    if (fact.at.time != 0 && narrow_.HoldsTime(fact.at.time)) {
        begin_ = any_ ? std::min(begin_, fact.at.time) : fact.at.time;
        end_ = any_ ? std::max(end_, fact.at.time) : fact.at.time;
        any_ = true;
    }
    last_ = std::pair(last_.file, last_.line) < std::pair(fact.at.file, fact.at.line) ? fact.at : last_;
    findings_.clear();
    reasons_.OnFact(fact);
    std::erase_if(findings_, [this](const Finding& finding) {
        const auto found =
            IsOfUnheard(finding) ? asked_.find({finding.receiver, finding.device}) : asked_.end();
        if (found == asked_.end() || found->second.begin.line != finding.moment.line) {
            return false;
        }
        found->second.unheard = finding;
        return true;
    });
    Tell(fact);
    for (const Finding& finding : std::exchange(findings_, {})) {
        AddRemark(finding);
    }
}

void Chart::Tell(const Fact& fact) {
    switch (fact.kind) {
    case FactKind::RunBegin:
        version_ = fact.text;
        break;
    case FactKind::RunEnd:
        OnRunEnd(fact);
        break;
    case FactKind::ClientConnected:
        CloseClient(fact.at, "the next one connected");
        client_ = fact.at;
        client_lost_ = Mark();
        break;
    case FactKind::ClientLost:
        client_lost_ = fact.at;
        CloseClient(fact.at, "its loss was noticed");
        break;
    case FactKind::ClientGone:
        CloseClient(fact.at, "the library took the pipe down");
        break;
    case FactKind::CommandEnd:
        OnCommandEnd(fact);
        break;
    case FactKind::EventSent:
    case FactKind::DeviceInited:
        OnEvent(fact);
        break;
    case FactKind::ReceiverUp:
    case FactKind::ReceiverDown:
        OnReceiver(fact);
        break;
    case FactKind::Logon:
        logged_on_.try_emplace({fact.receiver == Receiver::RV2, std::string(fact.device)},
                               LoggedOn{fact.receiver, fact.at, fact.number == 1});
        break;
    case FactKind::Logoff:
        CloseLogon(fact.receiver == Receiver::RV2, std::string(fact.device), fact.at,
                   fact.command != nullptr ? "it was dropped" : "it logged off");
        break;
    case FactKind::QuestionOpened:
        OnAsked(fact);
        break;
    case FactKind::QuestionClosed:
        CloseAsked({fact.receiver, std::string(fact.device)}, fact.at,
                   "closed by \"" + text_.Word(fact.command->name) + "\"");
        break;
    case FactKind::PressDone:
        OnPress(fact);
        break;
    case FactKind::RecordingDone:
        OnRecording(fact);
        break;
    case FactKind::RequestDone:
        OnRequest(fact);
        break;
    case FactKind::LettersLost:
        OnLettersLost(fact);
        break;
    case FactKind::TimedOut: {
        Thing thing = Moment(ThingKind::TimeOut, fact.at, "time-out");
        thing.sentence = "The evaluation of " + KeypadText(std::string(fact.device), fact.receiver) +
                         " had not come back at " + Clock(fact.at) + ", " +
                         DurationText(fact.at.time - fact.request->requested.time) + " after its request.";
        thing.lines.push_back(fact.request->requested);
        thing.state = ThingState::Failed;
        thing.lane = LaneOf(LaneGroup::Speech, 9, "Time-outs");
        Add(std::move(thing), std::string(fact.device), fact.request->custom);
        break;
    }
    case FactKind::Offline: {
        Thing thing = Moment(ThingKind::TimeOut, fact.at, "offline");
        thing.sentence = "The offline evaluator serves from " + Clock(fact.at) + " on, for good.";
        thing.state = ThingState::Failed;
        thing.lane = LaneOf(LaneGroup::Speech, 9, "Time-outs");
        Add(std::move(thing));
        break;
    }
    default:
        break;
    }
}

void Chart::OnRunEnd(const Fact& fact) {
    const Mark& begin = story_->RunBegan();
    Thing run = Span(ThingKind::Run, begin, fact.at, version_.empty() ? "run" : text_.Shown(version_));
    const bool whole = story_->RunIsWhole();
    TakeFinding(run, [](const Finding& finding) { return finding.reason >= Reason::HostEndedByDeviceId; });
    if (run.sentence.empty()) {
        run.sentence = (whole ? "A run of the library, version " + text_.Shown(version_) + ", "
                              : std::string("A run of the library, whose beginning isn't in the log, ")) +
                       FromTo(begin, fact.at) +
                       (fact.number == 1 ? "; it stopped cleanly." : "; it ends without its last lines.");
    } else {
        run.state = ThingState::Failed;
    }
    run.lane = LaneOf(LaneGroup::Runs, 0, "Host");
    Add(std::move(run));
    CloseClient(fact.at, "the run ended");
    for (std::size_t i = 0; i < kReceivers; ++i) {
        CloseReceiver(static_cast<Receiver>(i), fact.at, "the run ended");
        down_[i].clear();
    }
    while (!asked_.empty()) {
        CloseAsked(Place(asked_.begin()->first), fact.at, "the run ended");
    }
    while (!logged_on_.empty()) {
        const auto [station, device] = logged_on_.begin()->first;
        CloseLogon(station, device, fact.at, "the run ended");
    }
    DrawQuestions(fact.at);
    letters_.clear();
}

void Chart::CloseClient(const Mark& at, const std::string& how) {
    if (!client_.IsSet()) {
        return;
    }
    Thing thing = Span(ThingKind::Connection, client_, at, "client");
    thing.sentence = "A client was connected " + FromTo(client_, at) + "; " + how + ".";
    thing.state = client_lost_.IsSet() ? ThingState::Failed : ThingState::Plain;
    thing.lane = LaneOf(LaneGroup::Client, 0, "Connection");
    Add(std::move(thing));
    client_ = Mark();
}

void Chart::OnReceiver(const Fact& fact) {
    if (fact.kind == FactKind::ReceiverUp) {
        Mark& up = up_[static_cast<std::size_t>(fact.receiver)];
        up = up.IsSet() ? up : fact.at;
        TellHowLongDown(fact);
        return;
    }
    CloseReceiver(fact.receiver, fact.at, text_.Shown(fact.text));
    if (fact.text == "taken down") {
        return;
    }
    Thing thing = Moment(ThingKind::ReceiverDown, fact.at, "down");
    thing.sentence = std::string(NameOf(fact.receiver)) + " was down from " + Clock(fact.at) +
                     " on: " + text_.Shown(fact.text) + ".";
    thing.state = ThingState::Failed;
    thing.lane =
        LaneOf(LaneGroup::Receivers, static_cast<std::int64_t>(fact.receiver), NameOf(fact.receiver));
    const std::size_t number = things_.size();
    if (Add(std::move(thing))) {
        down_[static_cast<std::size_t>(fact.receiver)].push_back(number);
    }
}

void Chart::TellHowLongDown(const Fact& fact) {
    for (const std::size_t number : std::exchange(down_[static_cast<std::size_t>(fact.receiver)], {})) {
        Thing& thing = things_[number];
        const std::string open = " on: ";
        thing.sentence.replace(thing.sentence.find(open), open.size(), " until " + Clock(fact.at) + ": ");
        thing.lines.push_back(fact.at);
    }
}

void Chart::CloseReceiver(Receiver receiver, const Mark& at, const std::string& how) {
    const Mark up = std::exchange(up_[static_cast<std::size_t>(receiver)], Mark());
    if (!up.IsSet()) {
        return;
    }
    Thing thing = Span(ThingKind::ReceiverUp, up, at, NameOf(receiver));
    thing.sentence = std::string(NameOf(receiver)) + " was up " + FromTo(up, at) + "; then: " + how + ".";
    thing.lane = LaneOf(LaneGroup::Receivers, static_cast<std::int64_t>(receiver), NameOf(receiver));
    Add(std::move(thing));
}

void Chart::OnEvent(const Fact& fact) {
    const std::string name = MemberOf(fact.text, "event");
    if (fact.kind == FactKind::EventSent && (name == "device-inited" || IsOfKeypad(name))) {
        return;
    }
    Thing thing = Moment(ThingKind::Event, fact.at, text_.Word(name));
    thing.lane = LaneOf(LaneGroup::Client, 2, "Events");
    if (fact.kind == FactKind::DeviceInited) {
        std::string ready;
        for (std::size_t i = 0; i < kReceivers; ++i) {
            const auto receiver = static_cast<Receiver>(i);
            if (story_->StateOf(receiver).up) {
                ready += (ready.empty() ? "" : ", ") + std::string(NameOf(receiver));
            }
        }
        TakeFinding(thing);
        if (thing.sentence.empty()) {
            thing.sentence = "The event \"device-inited\" went out at " + Clock(fact.at) + "; " +
                             (ready.empty() ? "no receiver was ready." : "ready: " + ready + ".");
        }
    } else {
        thing.sentence = "The event \"" + text_.Word(name) + "\" went out at " + Clock(fact.at) + ".";
        TakeFinding(thing);
    }
    Add(std::move(thing));
}

// ---- commands and questions -----------------------------------------------------------------------------------------

void Chart::OnCommandEnd(const Fact& fact) {
    const Command& command = *fact.command;
    Thing thing =
        Moment(ThingKind::Command, command.begun, command.name.empty() ? "?" : text_.Word(command.name));
    thing.lines = {command.received, command.begun, command.ignored_at};
    TakeFinding(thing, [](const Finding& finding) {
        return finding.reason == Reason::CommandIgnored || finding.reason == Reason::CommandNotDecoded;
    });
    if (!thing.sentence.empty()) {
        thing.state = ThingState::Failed;
    } else {
        thing.sentence = "The command \"" + text_.Word(command.name) + "\"" +
                         (command.device.empty()  ? ""
                          : command.device == "0" ? " for all keypads"
                                                  : " for keypad " + text_.Device(command.device)) +
                         " at " + Clock(command.begun) +
                         (command.name == "ask" && command.accepted ? ": " + QuestionText(&command) : "") +
                         (command.accepted ? "." : ": what became of it isn't in the log.");
    }
    thing.lane = LaneOf(LaneGroup::Client, 1, "Commands");
    Add(std::move(thing));
    if (!command.accepted || command.ignored || command.drop_of_all) {
        return;
    }
    if (command.name == "ask") {
        CloseQuestions(command.device, command.begun, "replaced by the next one");
        const auto found = question_of_.find(fact.command);
        Asking* asking = found != question_of_.end() ? &questions_[found->second] : nullptr;
        if (asking == nullptr) {
            asking = &AskingOf(std::make_shared<Command>(command));  // it reached nobody
        }
        open_questions_.push_back(static_cast<std::size_t>(asking - questions_.data()));
    } else if (command.name == "stop" || command.name == "drop") {
        CloseQuestions(command.device, command.begun, "closed by \"" + command.name + "\"");
    }
}

Chart::Asking& Chart::AskingOf(const std::shared_ptr<const Command>& ask) {
    const auto [found, fresh] = question_of_.try_emplace(ask.get(), questions_.size());
    if (fresh) {
        CheckRoom();
        questions_.push_back({ask, ask->begun, {}, {}, {}, {}, 0});
    }
    return questions_[found->second];
}

Chart::Asking* Chart::AskingMetBy(const Fact& fact) {
    const Command* const ask = fact.question != nullptr ? fact.question->ask.get() : nullptr;
    const auto found = question_of_.find(ask);
    if (ask == nullptr || found == question_of_.end()) {
        return nullptr;
    }
    Asking& asking = questions_[found->second];
    if (asking.asked.empty()) {
        asking.asked.emplace(fact.receiver, std::string(fact.device));
    }
    return &asking;
}

void Chart::CloseQuestions(const std::string& device, const Mark& at, const std::string& how) {
    std::erase_if(open_questions_, [&](std::size_t i) {
        Asking& asking = questions_[i];
        if (device != "0" && asking.ask->device != device) {
            return false;
        }
        asking.end = at;
        asking.closed = how;
        return true;
    });
}

void Chart::DrawQuestions(const Mark& at) {
    for (const std::size_t i : open_questions_) {
        questions_[i].end = at;
        questions_[i].closed = "the run ended";
    }
    for (const Asking& asking : questions_) {
        const Mark& end = asking.end.IsSet() ? asking.end : at;
        Thing thing = Span(ThingKind::Question, asking.begin, end, text_.Name(asking.ask->custom));
        thing.lines.push_back(asking.ask->received);
        // Whether it was logged on may stand before the log begins.
        const bool unknown = asking.asked.empty() && asking.ask->device != "0" && !story_->RunIsWhole();
        thing.sentence =
            "The question " + QuestionText(asking.ask.get()) + " stood " + FromTo(asking.begin, end) +
            (asking.closed.empty() ? "" : ", " + asking.closed) + ": " +
            (unknown ? std::string("whether the keypad was logged on is unknown, ")
                     : CountText(asking.asked.size(), "keypad was asked, ", "keypads were asked, ")) +
            std::to_string(asking.answered.size()) + " answered, " + std::to_string(asking.silent) +
            (asking.silent == 1 ? " press or recording" : " presses and recordings") + " had no effect.";
        thing.state = asking.asked.empty() && !unknown ? ThingState::Failed : ThingState::Plain;
        const bool for_all = asking.ask->device == "0";
        thing.lane = LaneOf(LaneGroup::Questions, for_all ? 0 : 1, for_all ? "For all" : "For one keypad");
        Add(std::move(thing), asking.ask->device, asking.ask->custom);
    }
    questions_.clear();
    question_of_.clear();
    open_questions_.clear();
}

void Chart::OnAsked(const Fact& fact) {
    const Place place(fact.receiver, std::string(fact.device));
    CloseAsked(place, fact.at, "replaced by the next one");
    letters_.erase(place);
    Asking& asking = AskingOf(fact.question->ask);
    const Keypad* const keypad = story_->FindKeypad(fact.receiver, fact.device);
    if (fact.device == "0" || keypad == nullptr || !keypad->logged_on) {
        return;
    }
    asking.asked.insert(place);
    asked_.insert_or_assign(place, Asked{fact.question->ask, fact.at, {}, {}});
}

void Chart::CloseAsked(const Place& place, const Mark& at, const std::string& how) {
    const auto found = asked_.find(place);
    if (found == asked_.end()) {
        return;
    }
    const Asked asked = std::move(found->second);
    asked_.erase(found);
    const auto& [receiver, device] = place;
    Thing thing = Span(ThingKind::Asked, asked.begin, at, text_.Name(asked.ask->custom));
    thing.lines.push_back(asked.answered);
    thing.sentence =
        KeypadText(device, receiver) + " was asked " + QuestionText(asked.ask.get()) + " " +
        FromTo(asked.begin, at) + ", " + how + ": " +
        (asked.answered.IsSet() ? "it answered at " + Clock(asked.answered) + "." : "no answer.");
    if (!asked.answered.IsSet()) {
        thing.state = ThingState::Unanswered;
    }
    if (!asked.unheard.sentence.empty()) {
        thing.reason = static_cast<int>(asked.unheard.reason);
        thing.sentence = asked.unheard.sentence;
        thing.lines.insert(thing.lines.end(), asked.unheard.lines.begin(), asked.unheard.lines.end());
    }
    thing.lane = KeypadLane(receiver, device);
    Add(std::move(thing), device, asked.ask->custom);
}

// ---- keypads --------------------------------------------------------------------------------------------------------

void Chart::CloseLogon(bool station, const std::string& device, const Mark& at, const std::string& how) {
    const auto found = logged_on_.find({station, device});
    if (found == logged_on_.end()) {
        return;
    }
    const LoggedOn logged_on = found->second;
    logged_on_.erase(found);
    Thing thing = Span(ThingKind::LoggedOn, logged_on.begin, at, "logged on");
    thing.sentence = KeypadText(device, logged_on.receiver) + " was logged on " +
                     FromTo(logged_on.begin, at) + (logged_on.from_file ? ", at first by devices.json" : "") +
                     "; " + how + ".";
    thing.lane = KeypadLane(logged_on.receiver, device);
    Add(std::move(thing), device);
}

void Chart::CountAnswer(const Fact& fact, const Mark& at) {
    const Place place(fact.receiver, std::string(fact.device));
    if (Asking* const asking = AskingMetBy(fact)) {
        asking->answered.insert(place);
    }
    if (const auto asked = asked_.find(place); asked != asked_.end() && !asked->second.answered.IsSet()) {
        asked->second.answered = at;
    }
}

void Chart::CountSilence(const Fact& fact) {
    if (Asking* const asking = AskingMetBy(fact)) {
        ++asking->silent;
    }
}

void Chart::OnPress(const Fact& fact) {
    const Press& press = *fact.press;
    const std::string device(fact.device);
    const Command* const ask = fact.question != nullptr ? fact.question->ask.get() : nullptr;
    const std::string custom =
        findings_.empty() ? (ask != nullptr ? ask->custom : std::string()) : findings_.front().custom;
    Thing thing = Moment(ThingKind::Press, fact.at, KeyName(press.key));
    AddLines(thing.lines, press.lines);
    thing.lines.push_back(press.event);
    thing.lane = KeypadLane(fact.receiver, device);
    TakeFinding(thing);
    const std::string subject =
        KeypadText(device, fact.receiver) + " pressed " + KeyName(press.key) + " at " + Clock(fact.at) + ": ";
    const Place place(fact.receiver, device);
    bool first_letter = false;
    switch (press.outcome) {
    case Outcome::Event:
        CountAnswer(fact, press.event.IsSet() ? press.event : press.begun);
        letters_.erase(place);
        if (thing.sentence.empty()) {
            thing.sentence = subject + "an event, for " + QuestionText(ask) + ".";
        }
        break;
    case Outcome::Held:
        AskingMetBy(fact);
        thing.state = ThingState::Held;
        thing.sentence = subject + "kept until T confirms, for " + QuestionText(ask) + ".";
        if (KeyName(press.key) == "F") {
            letters_.erase(place);
        } else {
            first_letter = !letters_.contains(place);
        }
        break;
    default:
        CountSilence(fact);
        if (thing.sentence.empty()) {
            thing.sentence = subject + "what became of it isn't in the log.";
        }
        break;
    }
    const std::size_t number = things_.size();
    if (Add(std::move(thing), device, custom) && first_letter) {
        letters_[place] = number;
    }
}

void Chart::OnLettersLost(const Fact& fact) {
    const Place place(fact.receiver, std::string(fact.device));
    const auto first = letters_.find(place);
    if (first == letters_.end() || findings_.empty()) {
        return;  // left out, or a remark
    }
    Thing& thing = things_[first->second];
    TakeFinding(thing);
    Tidy(thing.lines);
    letters_.erase(first);
    CountSilence(fact);
}

void Chart::OnRecording(const Fact& fact) {
    const Recording& recording = *fact.recording;
    if (recording.outcome == Outcome::Requested) {
        return;  // told with its request
    }
    const std::string device(fact.device);
    const Command* const ask = fact.question != nullptr ? fact.question->ask.get() : nullptr;
    const Mark& end = recording.event.IsSet()   ? recording.event
                      : recording.begun.IsSet() ? recording.begun
                                                : fact.at;
    Thing thing = Span(ThingKind::Recording, fact.at, end, "rec");
    const std::string custom = !findings_.empty() ? findings_.front().custom
                               : ask != nullptr   ? ask->custom
                                                  : text_.Utf8(recording.custom);
    AddLines(thing.lines, recording.lines);
    TakeFinding(thing);
    if (recording.event.IsSet()) {
        CountAnswer(fact, recording.event);
    } else {
        CountSilence(fact);
    }
    if (thing.sentence.empty()) {
        thing.sentence = KeypadText(device, fact.receiver) + " was recorded at " + Clock(fact.at) + ": " +
                         (recording.event.IsSet() ? "an event, for " + QuestionText(ask) + "."
                                                  : "what became of it isn't in the log.");
    }
    thing.lane = KeypadLane(fact.receiver, device);
    Add(std::move(thing), device, custom);
}

void Chart::OnRequest(const Fact& fact) {
    const Request& request = *fact.request;
    if (request.answer == Answer::Repeated || request.answer == Answer::Waiting) {
        return;
    }
    const Mark& end = request.event.IsSet()     ? request.event
                      : request.handled.IsSet() ? request.handled
                                                : last_;
    const Mark& asked = request.requested.IsSet() ? request.requested : request.handled;
    const Mark& heard = request.heard.IsSet() ? request.heard : asked;
    const bool lost = request.answer == Answer::Lost;
    Thing recording = Span(ThingKind::Recording, heard, lost ? asked : end, "rec");
    AddLines(recording.lines, request.lines);
    TakeFinding(recording);
    const std::string subject =
        KeypadText(request.device, request.receiver) + " was recorded at " + Clock(heard);
    if (recording.sentence.empty()) {
        recording.sentence =
            subject + ": an event, " + DurationText(end.time - asked.time) + " after the " +
            NameOf(request.service) + " was asked" +
            (request.result.empty() ? "" : ", which says: " + text_.Private(request.result)) + ".";
    }
    recording.lane = KeypadLane(request.receiver, request.device);
    if (request.answer == Answer::Event) {
        CountAnswer(fact, end);
    } else {
        CountSilence(fact);
    }
    Thing span = Span(ThingKind::Request, asked, end, "keypad " + text_.Device(request.device));
    span.lines = recording.lines;
    span.reason = recording.reason;
    span.sentence = recording.sentence;
    span.state = recording.state == ThingState::Plain ? ThingState::Plain : ThingState::Failed;
    span.lane =
        LaneOf(LaneGroup::Speech, static_cast<std::int64_t>(request.service), NameOf(request.service));
    Add(std::move(recording), request.device, request.custom);
    Add(std::move(span), request.device, request.custom);
}

}  // namespace vdipc::log
