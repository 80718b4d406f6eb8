// The life of one keypad, line by line in plain words.
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Input.h"
#include "tools/vdlog/Narrow.h"
#include "tools/vdlog/Reasons.h"
#include "tools/vdlog/Text.h"

#include <CLI/CLI.hpp>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace vdipc::log {
namespace {

class KeypadLife final : public FactSink {
public:
    KeypadLife(const Options& options, std::ostream& out, const Text& text)
        : options_(options), out_(out), text_(text), narrow_(options), several_(options.files.size() > 1),
          reasons_(text, [this](const Finding& finding) { OnFinding(finding); }) {}

    void Follow(const Story& story) {
        story_ = &story;
        reasons_.Follow(story);
    }

    void OnFact(const Fact& fact) override {
        if (fact.device == options_.keypad) {
            Tell(fact);
        } else if (fact.kind == FactKind::RunBegin) {
            Say(fact.at, fact.text.empty() ? "the log begins in the middle of a run"
                                           : "a run begins, version " + text_.Shown(fact.text));
        } else if (fact.kind == FactKind::RunEnd) {
            Say(fact.at, fact.number == 1 ? "the run ends" : "the run ends without its last lines");
        }
        reasons_.OnFact(fact);
    }

    void Finish() {
        if (options_.json) {
            out_ << (first_ ? "{\"steps\":[" : "") << "\n]}\n";
        } else if (!known_) {
            out_ << "Keypad " << text_.Device(options_.keypad) << " isn't named in this log.\n";
        }
    }

private:
    void OnFinding(const Finding& finding) {
        if (finding.device == options_.keypad) {
            known_ = true;
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
        known_ = true;
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
            std::string line = first_ ? "{\"steps\":[\n" : ",\n";
            line += "{\"time\":\"" + IsoTimeText(at.time) + "\",\"line\":" + std::to_string(at.line) +
                    (several_ ? ",\"file\":" + std::to_string(at.file + 1) : std::string()) + ",\"words\":";
            AppendJsonString(line, words);
            line += *reason != '\0' ? std::string(",\"reason\":\"") + reason + "\"}" : "}";
            out_ << line;
            first_ = false;
            return;
        }
        out_ << TimeText(at.time, true) << "  "
             << (several_ ? std::to_string(at.file + 1) + ":" : std::string()) << at.line << "  "
             << (options_.color && *reason != '\0' ? "\x1b[1m" : "") << words
             << (options_.color && *reason != '\0' ? "\x1b[0m" : "") << "\n";
    }

    const Options& options_;
    std::ostream& out_;
    const Text& text_;
    Narrow narrow_;
    bool several_;
    Reasons reasons_;
    const Story* story_ = nullptr;
    bool known_ = false;
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
    const Text text(options.encoding, options.redact);
    KeypadLife life(options, out, text);
    Story story(life);
    life.Follow(story);
    ReadLogs(options.files, story);
    life.Finish();
    return kDone;
}

}  // namespace

const CommandEntry kKeypadCommand = {"keypad", "the life of one keypad, step by step", &AddKeypadOptions,
                                     &RunKeypad};

}  // namespace vdipc::log
