// One screen for each run: who was there, what was asked, what became of it.
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Input.h"
#include "tools/vdlog/Quote.h"
#include "tools/vdlog/Reasons.h"
#include "tools/vdlog/Text.h"

#include <CLI/CLI.hpp>
#include <json/json.h>

#include <algorithm>
#include <array>
#include <deque>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vdipc::log {
namespace {

constexpr std::size_t kLiveQuestions = 64;    // asked last, and still counted
constexpr std::size_t kKeptQuestions = 1000;  // of a run
constexpr std::size_t kKeptTimes = 200;       // of clients, and of receivers' ups and downs
constexpr std::size_t kShownQuestions = 25;
constexpr std::size_t kShownTimes = 8;
constexpr std::size_t kShownKinds = 12;  // of warnings and unknown lines
constexpr std::size_t kKeptKinds = 500;

/// One question of the client, over all keypads that got it.
struct QuestionCount {
    Mark asked;
    QuestionKind type = QuestionKind::Unknown;
    std::string custom;
    std::string device;
    std::set<std::string> keypads;
    std::set<std::string> answered;
    std::uint64_t asked_count = 0;
    std::uint64_t answered_count = 0;
    std::uint64_t events = 0;
    std::uint64_t silent = 0;
    std::uint64_t recordings = 0;
    /// It is for one keypad, and nothing in this log says whether that was logged on.
    bool asked_unknown = false;
};

struct Visit {
    Mark begin;
    Mark end;
    bool lost = false;
};

struct Change {
    Mark at;
    Receiver receiver;
    bool up;
    std::string reason;
    bool before = false;  // it may have been so before the log began
};

/// Warnings of one kind.
struct WarningCount {
    std::uint64_t count = 0;
    std::string text;  // with "..." for values that differ
    Mark last;
};

struct RunCount {
    std::string version;
    Mark begin;
    Mark end;
    bool complete = false;
    std::string end_sentence;
    std::deque<Visit> clients;
    std::uint64_t client_count = 0;
    std::deque<Change> changes;
    std::uint64_t change_count = 0;
    std::array<std::set<std::string>, kReceivers + 1> keypads;
    std::deque<QuestionCount> questions;
    std::uint64_t question_count = 0;
    std::uint64_t presses = 0;
    std::uint64_t press_events = 0;
    std::uint64_t held = 0;
    std::uint64_t silent = 0;
    std::uint64_t recordings = 0;
    std::map<std::string, std::uint64_t> recording_ends;
    std::uint64_t requests = 0;
    std::map<std::string, std::uint64_t> request_ends;
    std::uint64_t time_outs = 0;
    Mark offline;
    std::uint64_t commands = 0;
    std::map<std::string, std::uint64_t> dropped;
    std::uint64_t events = 0;
    std::uint64_t lost_events = 0;
    std::map<std::string, WarningCount> warnings;  // by function and text of the table of known lines
    std::map<std::string, std::uint64_t> unknown;
    std::uint64_t foreign = 0;
};

const char* EndOf(const Recording& recording) {
    switch (recording.outcome) {
    case Outcome::Requested:
        return "sent to a speech service";
    case Outcome::Event:
        return "told as they are";
    case Outcome::BadRecording:
        return "bad, told with an error";
    case Outcome::NoQuestion:
        return "without a question";
    case Outcome::Closed:
        return "after the question's end";
    case Outcome::DoesNotCount:
        return "for a question that takes none";
    case Outcome::NoStems:
    case Outcome::NoParam:
        return "for a question without stems or parameters";
    default:
        return "never came to their turn";
    }
}

const char* EndOf(const Request& request) {
    switch (request.answer) {
    case Answer::Event:
        return request.error.value_or(0) == 0 ? "became events" : "became events with an error";
    case Answer::TooLate:
        return "answered too late";
    case Answer::OtherEvaluator:
        return "answered after the switch to offline";
    default:
        return "never answered";
    }
}

/// "1..30, 45", for numbers; other names as they are.
std::string RangesOf(const std::set<std::string>& devices, const Text& text) {
    std::vector<std::int64_t> numbers;
    std::string names;
    for (const std::string& device : devices) {
        if (!device.empty() && device.size() <= 10 &&
            device.find_first_not_of("0123456789") == std::string::npos) {
            numbers.push_back(NumberIn(device));
        } else {
            names += ", " + text.Device(device);
        }
    }
    std::sort(numbers.begin(), numbers.end());
    std::string ranges;
    for (std::size_t i = 0; i < numbers.size();) {
        std::size_t last = i;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) {
            ++last;
        }
        ranges += ", " + std::to_string(numbers[i]);
        ranges += last == i ? "" : (last == i + 1 ? ", " : "..") + std::to_string(numbers[last]);
        i = last + 1;
    }
    ranges += names;
    return ranges.empty() ? ranges : ranges.substr(2);
}

class Summary final : public FactSink {
public:
    Summary(const Options& options, std::ostream& out, const Text& text)
        : options_(options), out_(out), text_(text),
          reasons_(text, [this](const Finding& finding) { OnFinding(finding); }) {}

    void Follow(const Story& story) {
        story_ = &story;
        reasons_.Follow(story);
    }

    void OnFact(const Fact& fact) override {
        FindReceiver(fact);
        switch (fact.kind) {
        case FactKind::RunBegin:
            run_ = RunCount();
            live_.clear();
            run_.version = fact.text;
            run_.begin = fact.at;
            reasons_.OnFact(fact);
            break;
        case FactKind::RunEnd:
            // Its last words are the business of the reasons.
            reasons_.OnFact(fact);
            run_.complete = fact.number == 1;
            run_.end = fact.at;
            while (!live_.empty()) {
                Retire();
            }
            if (options_.json) {
                PrintJson();
            } else {
                Print();
            }
            break;
        case FactKind::ClientConnected:
            run_.clients.push_back({fact.at, {}, false});
            ++run_.client_count;
            if (run_.clients.size() > kKeptTimes) {
                run_.clients.pop_front();
            }
            break;
        case FactKind::MessageReceived:
        case FactKind::Ping:
            MeetClient();
            break;
        case FactKind::ClientLost:
        case FactKind::ClientGone:
            MeetClient();
            if (!run_.clients.empty() && !run_.clients.back().end.IsSet()) {
                run_.clients.back().end = fact.at;
                run_.clients.back().lost = fact.kind == FactKind::ClientLost;
            }
            break;
        case FactKind::ReceiverUp:
        case FactKind::ReceiverDown:
            run_.changes.push_back({fact.at, fact.receiver, fact.kind == FactKind::ReceiverUp,
                                    std::string(fact.text),
                                    fact.kind == FactKind::ReceiverUp && fact.number == 1});
            ++run_.change_count;
            if (run_.changes.size() > kKeptTimes) {
                run_.changes.pop_front();
            }
            break;
        case FactKind::Logon: {
            auto& keypads = run_.keypads[static_cast<std::size_t>(fact.receiver)];
            if (keypads.size() < 100000 && (fact.receiver != Receiver::Usb || !HasUsbReceiver(fact.device))) {
                keypads.emplace(fact.device);
            }
            break;
        }
        case FactKind::QuestionOpened:
            OnQuestion(fact);
            break;
        case FactKind::PressDone:
            ++run_.presses;
            OnPress(fact);
            break;
        case FactKind::RecordingDone:
            ++run_.recordings;
            ++run_.recording_ends[EndOf(*fact.recording)];
            if (QuestionCount* const question = Find(fact.question)) {
                ++question->recordings;
                CountAsAsked(*question, fact);
                if (fact.recording->event.IsSet()) {
                    CountAnswer(*question, fact);
                }
            }
            break;
        case FactKind::Requested:
            ++run_.requests;
            break;
        case FactKind::RequestDone:
            if (fact.request->answer != Answer::Repeated) {
                ++run_.request_ends[EndOf(*fact.request)];
            }
            if (fact.request->answer == Answer::Event) {
                if (QuestionCount* const question = Find(fact.question)) {
                    CountAnswer(*question, fact);
                }
            }
            break;
        case FactKind::TimedOut:
            ++run_.time_outs;
            break;
        case FactKind::Offline:
            if (!run_.offline.IsSet()) {
                run_.offline = fact.at;
            }
            break;
        case FactKind::CommandEnd:
            ++run_.commands;
            if (!fact.command->accepted) {
                ++run_.dropped["couldn't be decoded"];
            } else if (fact.command->ignored) {
                ++run_.dropped["ignored, because no receiver was ready"];
            } else if (fact.command->drop_of_all) {
                ++run_.dropped["a \"drop\" for all, which there isn't"];
            }
            break;
        case FactKind::EventSent:
            ++run_.events;
            run_.lost_events += fact.number == 1 ? 1 : 0;
            break;
        case FactKind::Warning:
            OnWarning(fact);
            break;
        case FactKind::UnknownLine:
            if (run_.unknown.size() < kKeptKinds) {
                ++run_.unknown[std::string(fact.device.substr(0, 80))];
            }
            break;
        case FactKind::Foreign:
            ++run_.foreign;
            break;
        default:
            break;
        }
    }

    void Finish() {
        if (options_.json) {
            out_ << (runs_ == 0 ? "{\"runs\":[" : "") << "\n]}\n";
        } else if (runs_ == 0) {
            out_ << "No run of the library is in this log.\n";
        }
    }

private:
    /// Where the log begins in a run, its first client may have come before.
    void MeetClient() {
        if (run_.version.empty() && run_.clients.empty()) {
            run_.clients.emplace_back();
            ++run_.client_count;
        }
    }

    std::string OrUnknown(const char* none) const {
        return run_.version.empty() ? "unknown: the log begins later" : none;
    }

    void OnFinding(const Finding& finding) {
        if (finding.reason == Reason::HostEnded || finding.reason == Reason::HostEndedByDeviceId ||
            finding.reason == Reason::HostEndedByNegativeLength) {
            run_.end_sentence = finding.sentence.substr(finding.sentence.find("lines: ") + 7);
        }
    }

    /// A keypad of which only later a line says at which USB receiver it is.
    void FindReceiver(const Fact& fact) {
        auto& unknown = run_.keypads[static_cast<std::size_t>(Receiver::Usb)];
        if (unknown.empty() || fact.receiver == Receiver::None || fact.receiver == Receiver::RV2 ||
            fact.receiver == Receiver::Usb || !unknown.contains(std::string(fact.device))) {
            return;
        }
        bool found = fact.kind == FactKind::Logon || fact.kind == FactKind::PressDone ||
                     fact.kind == FactKind::RecordingDone;
        if (fact.kind == FactKind::QuestionOpened) {
            const Keypad* const keypad = story_->FindKeypad(fact.receiver, fact.device);
            found = keypad != nullptr && keypad->logged_on && !keypad->uncertain;
        }
        if (found) {
            unknown.erase(std::string(fact.device));
            run_.keypads[static_cast<std::size_t>(fact.receiver)].emplace(fact.device);
        }
    }

    /// Whether a receiver is known for a keypad of this number that logs on at some USB receiver.
    bool HasUsbReceiver(std::string_view device) const {
        return std::any_of(run_.keypads.begin(), run_.keypads.end(), [&](const auto& keypads) {
            const auto receiver = static_cast<Receiver>(&keypads - run_.keypads.data());
            return receiver != Receiver::RV2 && receiver != Receiver::Usb &&
                   keypads.contains(std::string(device));
        });
    }

    QuestionCount* Find(const Question* question) {
        const Command* const ask = question != nullptr ? question->ask.get() : nullptr;
        if (ask == nullptr) {
            return nullptr;
        }
        const auto found = std::find_if(live_.rbegin(), live_.rend(),
                                        [ask](const auto& live) { return live.first.get() == ask; });
        return found != live_.rend() ? &found->second : nullptr;
    }

    void OnQuestion(const Fact& fact) {
        QuestionCount* question = Find(fact.question);
        if (question == nullptr) {
            QuestionCount fresh;
            fresh.asked = fact.at;
            fresh.type = fact.command->type;
            fresh.custom = fact.command->custom;
            fresh.device = fact.command->device;
            fresh.asked_unknown = !story_->RunIsWhole() && fresh.device != "0";
            live_.emplace_back(fact.question->ask, std::move(fresh));
            ++run_.question_count;
            if (live_.size() > kLiveQuestions) {
                Retire();
            }
            question = &live_.back().second;
        }
        if (fact.device != "0") {
            const Keypad* const keypad = story_->FindKeypad(fact.receiver, fact.device);
            if (keypad != nullptr && keypad->logged_on) {
                question->keypads.insert(PlaceOf(fact));
            }
            question->asked_unknown = question->asked_unknown &&
                                      (keypad == nullptr || (!keypad->logged_on && !keypad->logoff.IsSet()));
        }
    }

    static std::string PlaceOf(const Fact& fact) {
        return std::string(NameOf(fact.receiver)) + " " + std::string(fact.device);
    }

    /// What comes to a question of one keypad proves that it was asked, logged on or not.
    static void CountAsAsked(QuestionCount& question, const Fact& fact) {
        question.asked_unknown = false;
        if (question.keypads.empty()) {
            question.keypads.insert(PlaceOf(fact));
        }
    }

    static void CountAnswer(QuestionCount& question, const Fact& fact) {
        ++question.events;
        question.answered.insert(PlaceOf(fact));
    }

    void Retire() {
        QuestionCount question = std::move(live_.front().second);
        live_.pop_front();
        question.asked_count = question.keypads.size();
        question.answered_count = question.answered.size();
        question.keypads.clear();
        question.answered.clear();
        run_.questions.push_back(std::move(question));
        if (run_.questions.size() > kKeptQuestions) {
            run_.questions.pop_front();
        }
    }

    void OnWarning(const Fact& fact) {
        WarningCount& warning = run_.warnings[std::string(fact.device) + ": " + std::string(fact.text)];
        const std::string text = QuoteText(*fact.line, text_);
        if (warning.count++ == 0) {
            warning.text = text;
        } else if (warning.text != text) {
            warning.text = fact.text;
            for (std::size_t place = 0; (place = warning.text.find("{}")) != std::string::npos;) {
                warning.text.replace(place, 2, "...");
            }
        }
        warning.last = fact.at;
    }

    void OnPress(const Fact& fact) {
        QuestionCount* const question = Find(fact.question);
        if (question != nullptr) {
            CountAsAsked(*question, fact);
        }
        if (fact.press->outcome == Outcome::Event) {
            ++run_.press_events;
            if (question != nullptr) {
                CountAnswer(*question, fact);
            }
        } else if (fact.press->outcome == Outcome::Held) {
            ++run_.held;
        } else {
            ++run_.silent;
            if (question != nullptr) {
                ++question->silent;
            }
        }
    }

    std::string Counted(const std::map<std::string, std::uint64_t>& counts) const {
        std::string words;
        for (const auto& [what, count] : counts) {
            words += (words.empty() ? "" : ", ") + std::to_string(count) + " " + what;
        }
        return words;
    }

    void Row(const char* name, const std::string& words) {
        const std::string head(name);
        out_ << "  " << (options_.color ? "\x1b[2m" : "") << head
             << std::string(head.size() < 12 ? 12 - head.size() : 1, ' ') << (options_.color ? "\x1b[0m" : "")
             << words << "\n";
    }

    void Print() {
        ++runs_;
        out_ << (runs_ > 1 ? "\n" : "") << (options_.color ? "\x1b[1m" : "") << "Run " << runs_ << ": "
             << (run_.version.empty() ? "begins before the log does" : "version " + text_.Shown(run_.version))
             << ", " << TimeText(run_.begin.time, true) << " to "
             << TimeText(run_.end.time, run_.end.time - run_.begin.time > 86400000) << " ("
             << DurationText(run_.end.time - run_.begin.time) << ")" << (options_.color ? "\x1b[0m" : "")
             << "\n";
        Row("End", run_.complete ? "stopped cleanly" : "without its last lines: " + run_.end_sentence);
        std::string clients = run_.clients.empty() ? OrUnknown("0") : std::to_string(run_.client_count);
        PrintTimes(run_.clients.size(), clients, [this](std::size_t i) {
            const Visit& visit = run_.clients[i];
            return (visit.begin.IsSet() ? TimeText(visit.begin.time) : "from before the log begins") +
                   (visit.end.IsSet() ? " to " + TimeText(visit.end.time) + (visit.lost ? " (lost)" : "")
                                      : " on");
        });
        Row("Clients", clients);
        std::string receivers = run_.changes.empty() ? OrUnknown("none was ready")
                                                     : std::to_string(run_.change_count) +
                                                           (run_.change_count == 1 ? " change" : " changes");
        PrintTimes(run_.changes.size(), receivers, [this](std::size_t i) {
            const Change& change = run_.changes[i];
            return std::string(NameOf(change.receiver)) + (change.up ? " up " : " down ") +
                   (change.before ? "by " : "") + TimeText(change.at.time) +
                   (change.reason.empty() ? "" : " (" + change.reason + ")");
        });
        Row("Receivers", receivers);
        std::string keypads;
        for (std::size_t i = 0; i <= kReceivers; ++i) {
            if (!run_.keypads[i].empty()) {
                keypads += (keypads.empty() ? "" : "; ") + std::string(NameOf(static_cast<Receiver>(i))) +
                           ": " + std::to_string(run_.keypads[i].size()) + " (" +
                           RangesOf(run_.keypads[i], text_).substr(0, 200) + ")";
            }
        }
        Row("Keypads", keypads.empty() ? OrUnknown("none logged on") : keypads + " logged on");
        Row("Questions", std::to_string(run_.question_count));
        const std::size_t first =
            run_.questions.size() > kShownQuestions ? run_.questions.size() - kShownQuestions : 0;
        if (run_.question_count > run_.questions.size() - first) {
            Row("", "... the last " + std::to_string(run_.questions.size() - first) + ":");
        }
        for (std::size_t i = first; i < run_.questions.size(); ++i) {
            const QuestionCount& question = run_.questions[i];
            Row("",
                TimeText(question.asked.time) + "  " + NameOf(question.type) + " \"" +
                    text_.Name(question.custom) + "\" for " +
                    (question.device == "0" ? "all" : "keypad " + text_.Device(question.device)) + ": " +
                    (question.asked_unknown ? "unknown whether it was logged on, "
                                            : std::to_string(question.asked_count) + " asked, ") +
                    std::to_string(question.answered_count) + " answered" +
                    (question.events > question.answered_count
                         ? " (" + CountText(question.events, "event", "events") + ")"
                         : "") +
                    (question.silent > 0 ? ", " + std::to_string(question.silent) + " pressed without effect"
                                         : "") +
                    (question.recordings > 0
                         ? ", " + CountText(question.recordings, "recording", "recordings")
                         : ""));
        }
        Row("Presses", std::to_string(run_.presses) + " heard: " + std::to_string(run_.press_events) +
                           " became events, " + std::to_string(run_.held) +
                           " were letters that wait for T, " + std::to_string(run_.silent) +
                           " had no effect");
        if (run_.recordings > 0) {
            Row("Recordings", std::to_string(run_.recordings) + ": " + Counted(run_.recording_ends));
        }
        if (run_.requests > 0) {
            Row("Speech",
                CountText(run_.requests, "request", "requests") + ": " + Counted(run_.request_ends) +
                    (run_.time_outs > 0 ? "; " + std::to_string(run_.time_outs) + " timed out" : "") +
                    (run_.offline.IsSet() ? "; offline since " + TimeText(run_.offline.time) : ""));
        }
        Row("Commands",
            std::to_string(run_.commands) + (run_.dropped.empty() ? "" : "; " + Counted(run_.dropped)));
        Row("Events",
            std::to_string(run_.events) +
                (run_.lost_events > 0 ? "; " + std::to_string(run_.lost_events) + " while no client was there"
                                      : ""));
        Kinds warnings;
        for (const auto& [kind, warning] : run_.warnings) {
            warnings.emplace_back(warning.count, kind.substr(0, kind.find(": ") + 2) + warning.text +
                                                     (warning.count > 1 ? " (the last: " : " (") +
                                                     LinesText({warning.last}, options_.files.size() > 1) +
                                                     ")");
        }
        PrintKinds("Warnings", std::move(warnings));
        Kinds unknown;
        for (const auto& [function, count] : run_.unknown) {
            unknown.emplace_back(count, text_.Shown(function));
        }
        PrintKinds("Unknown", std::move(unknown));
        if (run_.foreign > 0) {
            Row("Others", CountText(run_.foreign, "line", "lines") + " of another form");
        }
    }

    template <typename Words>
    void PrintTimes(std::size_t count, std::string& line, const Words& words) {
        const std::size_t first = count > kShownTimes ? count - kShownTimes : 0;
        for (std::size_t i = first; i < count; ++i) {
            line += i == first ? (first > 0 ? ": ..., " : ": ") : ", ";
            line += words(i);
        }
    }

    using Kinds = std::vector<std::pair<std::uint64_t, std::string>>;  // each with its count

    void PrintKinds(const char* name, Kinds kinds) {
        std::stable_sort(kinds.begin(), kinds.end(),
                         [](const auto& a, const auto& b) { return a.first > b.first; });
        for (std::size_t i = 0; i < kinds.size() && i < kShownKinds; ++i) {
            Row(i == 0 ? name : "", std::to_string(kinds[i].first) + " x " + kinds[i].second);
        }
        if (kinds.size() > kShownKinds) {
            Row("", "... and " + std::to_string(kinds.size() - kShownKinds) + " kinds more");
        }
    }

    void PrintJson() {
        Json::Value run;
        run["version"] = text_.Shown(run_.version);
        run["begin"] = IsoTimeText(run_.begin.time);
        run["end"] = IsoTimeText(run_.end.time);
        run["complete"] = run_.complete;
        if (!run_.complete) {
            run["last_words"] = run_.end_sentence;
        }
        run["clients"] = Json::arrayValue;
        for (const Visit& visit : run_.clients) {
            Json::Value one;
            one["begin"] = visit.begin.IsSet() ? Json::Value(IsoTimeText(visit.begin.time)) : Json::Value();
            one["end"] = visit.end.IsSet() ? Json::Value(IsoTimeText(visit.end.time)) : Json::Value();
            one["lost"] = visit.lost;
            run["clients"].append(one);
        }
        run["receivers"] = Json::arrayValue;
        for (const Change& change : run_.changes) {
            Json::Value one;
            one["time"] = IsoTimeText(change.at.time);
            one["receiver"] = NameOf(change.receiver);
            one["up"] = change.up;
            one["reason"] = change.reason;
            run["receivers"].append(one);
        }
        run["keypads"] = Json::objectValue;
        for (std::size_t i = 0; i <= kReceivers; ++i) {
            for (const std::string& device : run_.keypads[i]) {
                run["keypads"][NameOf(static_cast<Receiver>(i))].append(text_.Device(device));
            }
        }
        run["questions"] = Json::arrayValue;
        for (const QuestionCount& question : run_.questions) {
            Json::Value one;
            one["time"] = IsoTimeText(question.asked.time);
            one["line"] = static_cast<Json::UInt64>(question.asked.line);
            one["type"] = NameOf(question.type);
            one["custom"] = text_.Name(question.custom);
            one["device"] = text_.Device(question.device);
            one["asked"] = question.asked_unknown
                               ? Json::Value()
                               : Json::Value(static_cast<Json::UInt64>(question.asked_count));
            one["answered"] = static_cast<Json::UInt64>(question.answered_count);
            one["events"] = static_cast<Json::UInt64>(question.events);
            one["without_effect"] = static_cast<Json::UInt64>(question.silent);
            one["recordings"] = static_cast<Json::UInt64>(question.recordings);
            run["questions"].append(one);
        }
        const auto number = [&run](const char* name, std::uint64_t value) {
            run[name] = static_cast<Json::UInt64>(value);
        };
        number("question_count", run_.question_count);
        number("client_count", run_.client_count);
        number("presses", run_.presses);
        number("press_events", run_.press_events);
        number("letters_held", run_.held);
        number("presses_without_effect", run_.silent);
        number("recordings", run_.recordings);
        number("requests", run_.requests);
        number("time_outs", run_.time_outs);
        number("commands", run_.commands);
        number("events", run_.events);
        number("events_without_client", run_.lost_events);
        number("other_lines", run_.foreign);
        run["offline_since"] =
            run_.offline.IsSet() ? Json::Value(IsoTimeText(run_.offline.time)) : Json::Value();
        const auto counts = [&](const char* name, const std::map<std::string, std::uint64_t>& kinds) {
            run[name] = Json::objectValue;
            for (const auto& [what, count] : kinds) {
                run[name][text_.Shown(what)] = static_cast<Json::UInt64>(count);
            }
        };
        counts("recording_ends", run_.recording_ends);
        counts("request_ends", run_.request_ends);
        counts("commands_dropped", run_.dropped);
        run["warnings"] = Json::objectValue;
        for (const auto& [kind, warning] : run_.warnings) {
            run["warnings"][kind] = static_cast<Json::UInt64>(warning.count);
        }
        counts("unknown_lines", run_.unknown);
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true;
        out_ << (runs_++ == 0 ? "{\"runs\":[\n" : ",\n") << Json::writeString(builder, run);
    }

    const Options& options_;
    std::ostream& out_;
    const Text& text_;
    Reasons reasons_;
    const Story* story_ = nullptr;
    RunCount run_;
    std::deque<std::pair<std::shared_ptr<const Command>, QuestionCount>> live_;
    std::uint64_t runs_ = 0;
};

void AddSummaryOptions(CLI::App& app, Options& options) {
    app.add_flag("--json", options.json, "as one JSON object");
}

int RunSummary(const Options& options, std::ostream& out) {
    Text text(options.encoding, options.redact);
    Summary summary(options, out, text);
    Story story(summary);
    summary.Follow(story);
    ReadLogs(options.files, story, text);
    summary.Finish();
    return kDone;
}

}  // namespace

const CommandEntry kSummaryCommand = {
    "summary", "one screen for each run: clients, receivers, keypads, questions, warnings",
    &AddSummaryOptions, &RunSummary};

}  // namespace vdipc::log
