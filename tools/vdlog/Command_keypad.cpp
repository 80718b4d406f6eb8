// The life of one keypad, line by line in plain words.
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Input.h"
#include "tools/vdlog/Narrow.h"
#include "tools/vdlog/Reasons.h"
#include "tools/vdlog/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <ostream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace vdipc::log {
namespace {

constexpr std::size_t kMostHeld = 20000;  // steps that wait for what is found out later

class KeypadLife final : public FactSink {
public:
    KeypadLife(const Options& options, std::ostream& out, const Text& text)
        : options_(options), out_(out), text_(text), narrow_(options), sought_(options),
          several_(options.files.size() > 1),
          reasons_(text, [this](const Finding& finding) { OnFinding(finding); }) {}

    void Follow(const Story& story) {
        story_ = &story;
        reasons_.Follow(story);
    }

    void OnFact(const Fact& fact) override {
        sought_.Meet(fact);
        if (fact.kind == FactKind::RunEnd) {
            reasons_.OnFact(fact);  // what it finds is of the time before
            Say(fact.at, fact.number == 1 ? "the run ends" : "the run ends without its last lines");
            return;
        }
        if (fact.device == options_.keypad) {
            Tell(fact);
        } else if (fact.kind == FactKind::RunBegin) {
            Print(steps_.size());
            Say(fact.at, fact.text.empty() ? "the log begins in the middle of a run"
                                           : "a run begins, version " + text_.Shown(fact.text));
        }
        reasons_.OnFact(fact);
    }

    void Finish() {
        Print(steps_.size());
        std::string missing = sought_.Missing(text_);
        if (missing.empty() && first_) {
            missing =
                "Keypad " + text_.Device(options_.keypad) + " did nothing at the time that was asked for.\n";
        }
        if (options_.json) {
            out_ << (first_ ? "{\"steps\":[" : "") << "\n]"
                 << (several_ ? ",\n\"logs\":" + JsonList(NamesOfLogs(options_, text_)) : std::string())
                 << (missing.empty() ? std::string()
                                     : ",\n\"note\":" + JsonString(missing.substr(0, missing.size() - 1)))
                 << "}\n";
        } else {
            out_ << missing;
        }
    }

private:
    void OnFinding(const Finding& finding) {
        if (finding.device == options_.keypad) {
            Say(finding.moment, finding.sentence, NameOf(finding.reason));
        }
    }

    std::string Where(const Fact& fact) const {
        return fact.receiver == Receiver::None ? "" : std::string(" at ") + NameOf(fact.receiver);
    }

    std::string Asked(const Question* question) const {
        const Command* const ask = question != nullptr ? question->ask.get() : nullptr;
        return ask == nullptr ? "its question"
                              : std::string(NameOf(ask->type)) + " \"" + text_.Name(ask->custom) + "\"" +
                                    (ask->device == "0" ? " for all" : "");
    }

    void Tell(const Fact& fact) {
        const Keypad* const keypad = story_->FindKeypad(fact.receiver, fact.device);
        const bool here = keypad != nullptr && keypad->logged_on;
        switch (fact.kind) {
        case FactKind::Logon:
            Say(fact.at, "logs on" + Where(fact) + (fact.number == 1 ? ", by devices.json" : ""));
            break;
        case FactKind::Logoff:
            Say(fact.at, (fact.command != nullptr ? "is dropped" : "logs off") + Where(fact));
            break;
        case FactKind::QuestionOpened:
            if (here) {
                Say(fact.at, "is asked " + Asked(fact.question) + Where(fact));
            }
            break;
        case FactKind::QuestionClosed:
            if (here || fact.command->name == "drop") {
                Say(fact.at,
                    Asked(fact.question) + " is closed by \"" + text_.Word(fact.command->name) + "\"");
            }
            break;
        case FactKind::PressDone:
            if (fact.press->outcome == Outcome::Event) {
                Say(fact.at, "presses " + KeyName(fact.press->key) + Where(fact) + ": an event, for " +
                                 Asked(fact.question));
            } else if (fact.press->outcome == Outcome::Held) {
                Say(fact.at, "presses " + KeyName(fact.press->key) + Where(fact) + ": kept until T confirms");
            }
            break;
        case FactKind::Recorded:
            Say(fact.at, "is recorded" + Where(fact));
            break;
        case FactKind::Requested:
            Say(fact.at,
                std::string("its recording goes to the ") + NameOf(fact.request->service) +
                    (fact.request->size >= 0 ? ", " + std::to_string(fact.request->size) + " bytes" : ""));
            break;
        case FactKind::RequestDone:
            if (fact.request->answer == Answer::Event) {
                Say(fact.request->handled,
                    "the answer becomes an event after " +
                        DurationText(fact.request->handled.time - fact.request->requested.time) + ": " +
                        text_.Private(fact.request->result));
            }
            break;
        case FactKind::TimedOut:
            Say(fact.at, "its evaluation has timed out");
            break;
        case FactKind::Rows: {
            const std::size_t rows = fact.text.find("row1=");
            Say(fact.at,
                "shows" + Where(fact) + ": " +
                    text_.Private(rows == std::string_view::npos ? fact.text : fact.text.substr(rows)));
            break;
        }
        case FactKind::CommandEnd:
            if (fact.command->accepted && !fact.command->ignored && fact.command->name == "hi") {
                Say(fact.at, "is to signal (\"hi\")");
            }
            break;
        default:
            break;
        }
    }

    void Say(const Mark& at, const std::string& words, const char* reason = "") {
        if (!narrow_.HoldsTime(at.time)) {
            return;
        }
        if (options_.json) {
            std::string line =
                "{\"time\":\"" + IsoTimeText(at.time) + "\",\"line\":" + std::to_string(at.line) +
                (several_ ? ",\"file\":" + std::to_string(at.file + 1) : std::string()) + ",\"words\":";
            AppendJsonString(line, words);
            line += *reason != '\0' ? std::string(",\"reason\":\"") + reason + "\"}" : "}";
            Keep(at, line);
            return;
        }
        Keep(at, TimeText(at.time, true) + "  " +
                     (several_ ? std::to_string(at.file + 1) + ":" : std::string()) +
                     std::to_string(at.line) + "  " + (options_.color && *reason != '\0' ? "\x1b[1m" : "") +
                     words + (options_.color && *reason != '\0' ? "\x1b[0m" : ""));
    }

    /// What is found out later belongs to the time at which it was.
    void Keep(const Mark& at, std::string words) {
        steps_.push_back({at, std::move(words)});
        if (steps_.size() >= kMostHeld) {
            Print(kMostHeld / 2);
        }
    }

    void Print(std::size_t count) {
        std::stable_sort(steps_.begin(), steps_.end(), [](const Step& a, const Step& b) {
            return std::tie(a.at.time, a.at.file, a.at.line) < std::tie(b.at.time, b.at.file, b.at.line);
        });
        const auto end = steps_.begin() + static_cast<std::ptrdiff_t>(count);
        for (auto step = steps_.begin(); step != end; ++step) {
            out_ << (!options_.json ? ""
                     : first_       ? "{\"steps\":[\n"
                                    : ",\n")
                 << step->words << (options_.json ? "" : "\n");
            first_ = false;
        }
        steps_.erase(steps_.begin(), end);
    }

    struct Step {
        Mark at;
        std::string words;
    };

    const Options& options_;
    std::ostream& out_;
    const Text& text_;
    Narrow narrow_;
    Sought sought_;
    std::vector<Step> steps_;  // of this run, not yet printed
    bool several_;
    Reasons reasons_;
    const Story* story_ = nullptr;
    bool first_ = true;
};

void AddKeypadOptions(CLI::App& app, Options& options) {
    app.add_option("N", options.keypad, "the keypad's number")->required()->check(IsNotEmpty());
    AddTimeOptions(app, options);
    app.add_flag("--json", options.json, "as one JSON object");
}

int RunKeypad(const Options& asked, std::ostream& out) {
    Options options = asked;
    options.keypad = KeypadNumber(asked.keypad);
    Text text(options.encoding, options.redact);
    KeypadLife life(options, out, text);
    Story story(life);
    life.Follow(story);
    ReadLogs(options.files, story, text);
    life.Finish();
    return kDone;
}

}  // namespace

const CommandEntry kKeypadCommand = {"keypad", "the life of one keypad, step by step", &AddKeypadOptions,
                                     &RunKeypad};

}  // namespace vdipc::log
