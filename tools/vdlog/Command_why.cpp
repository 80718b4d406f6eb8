// For each press and each recording without an event, and for each event that may surprise: the reason and its lines.
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Input.h"
#include "tools/vdlog/Narrow.h"
#include "tools/vdlog/Reasons.h"
#include "tools/vdlog/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <ostream>
#include <string>
#include <vector>

namespace vdipc::log {
namespace {

constexpr std::size_t kExamples = 3;        // of each reason, where nothing is narrowed
constexpr std::size_t kMostSorted = 20000;  // findings that are held back to be sorted

class WhyPrinter {
public:
    WhyPrinter(const Options& options, std::ostream& out, const Text& text)
        : options_(options), out_(out), text_(text), narrow_(options), sought_(options),
          several_(options.files.size() > 1) {}

    void Take(const Finding& finding) {
        if (!narrow_.HoldsTime(finding.moment.time) || !narrow_.HoldsCustom(finding.custom) ||
            !narrow_.HoldsKeypad(finding.device)) {
            return;
        }
        const auto reason = static_cast<std::size_t>(finding.reason);
        ++counts_[reason];
        (finding.event ? events_ : silent_) += 1;
        if (options_.json) {
            PrintJson(finding);
        } else if (!narrow_.IsWide()) {
            sorted_.push_back(finding);
            if (sorted_.size() >= kMostSorted) {
                PrintSorted();
            }
        } else if (examples_[reason].size() < kExamples) {
            examples_[reason].push_back(finding);
        }
    }

    void Meet(const Fact& fact) { sought_.Meet(fact); }

    void Finish(const Reasons::Counts& totals) {
        if (options_.json) {
            FinishJson(totals);
        } else {
            PrintSorted();
            FinishText(totals);
        }
    }

private:
    const char* Bold() const { return options_.color ? "\x1b[1m" : ""; }
    const char* Dim() const { return options_.color ? "\x1b[2m" : ""; }
    const char* Plain() const { return options_.color ? "\x1b[0m" : ""; }

    void Print(const Finding& finding) {
        out_ << TimeText(finding.moment.time, true) << "  " << finding.sentence << "\n"
             << "    " << Dim() << NameOf(finding.reason) << ", " << LinesText(finding.lines, several_)
             << Plain() << "\n";
    }

    void PrintSorted() {
        std::stable_sort(sorted_.begin(), sorted_.end(),
                         [](const Finding& a, const Finding& b) { return a.moment.time < b.moment.time; });
        for (const Finding& finding : sorted_) {
            Print(finding);
        }
        sorted_.clear();
    }

    void PrintFiles() {
        if (several_ && silent_ + events_ > 0) {
            for (std::size_t i = 0; i < options_.files.size(); ++i) {
                out_ << "File " << i + 1 << ": " << text_.Private(options_.files[i]) << "\n";
            }
        }
    }

    void FinishText(const Reasons::Counts& totals) {
        std::vector<std::size_t> order;
        for (std::size_t i = 0; i < kReasons; ++i) {
            if (counts_[i] > 0) {
                order.push_back(i);
            }
        }
        // Most pupils who don't answer don't press: that comes last.
        const auto weight = [this](std::size_t reason) {
            return reason == static_cast<std::size_t>(Reason::NoPress) ? 0 : counts_[reason];
        };
        std::stable_sort(order.begin(), order.end(),
                         [&](std::size_t one, std::size_t other) { return weight(one) > weight(other); });
        if (narrow_.IsWide()) {
            out_ << CountText(totals.presses, "press", "presses") << " and "
                 << CountText(totals.recordings, "recording", "recordings") << " were heard, "
                 << CountText(totals.events, "event", "events") << " went out.\n";
            for (const std::size_t reason : order) {
                out_ << "\n"
                     << Bold() << counts_[reason] << " x " << TitleOf(static_cast<Reason>(reason)) << Plain()
                     << "\n";
                for (const Finding& finding : examples_[reason]) {
                    Print(finding);
                }
                if (counts_[reason] > examples_[reason].size()) {
                    out_ << "    ... and " << counts_[reason] - examples_[reason].size() << " more\n";
                }
            }
            if (!order.empty()) {
                out_ << "\n";
            }
        }
        PrintFiles();
        if (order.empty()) {
            out_ << Nothing(totals);
        }
    }

    std::string Nothing(const Reasons::Counts& totals) const {
        if (std::string missing = sought_.Missing(text_); !missing.empty()) {
            return missing;
        }
        if (narrow_.IsWide()) {
            return totals.presses + totals.recordings == 0
                       ? "No press and no recording is in this log.\n"
                       : "Every press and every recording in this log became an event.\n";
        }
        return "The log holds nothing that would explain a silence here: no press and no recording that led "
               "to no event, "
               "and no question without a press. Was the keypad asked at all? \"vdlog keypad\" has what is "
               "known of it.\n";
    }

    void PrintJson(const Finding& finding) {
        std::string line = first_ ? "{\"findings\":[\n" : ",\n";
        first_ = false;
        line += std::string("{\"reason\":\"") + NameOf(finding.reason) +
                "\",\"event\":" + (finding.event ? "true" : "false") + ",\"time\":\"" +
                IsoTimeText(finding.moment.time) + "\",\"keypad\":";
        AppendJsonString(line, text_.Device(finding.device));
        line += ",\"receiver\":\"" +
                std::string(finding.receiver == Receiver::None ? "" : NameOf(finding.receiver)) +
                "\",\"custom\":";
        AppendJsonString(line, text_.Name(finding.custom));
        line += ",\"sentence\":";
        AppendJsonString(line, finding.sentence);
        line += ",\"lines\":[";
        for (std::size_t i = 0; i < finding.lines.size(); ++i) {
            line += (i > 0 ? "," : "") + std::to_string(finding.lines[i].line);
        }
        line += "]";
        if (several_) {
            line += ",\"files\":[";
            for (std::size_t i = 0; i < finding.lines.size(); ++i) {
                line += (i > 0 ? "," : "") + std::to_string(finding.lines[i].file + 1);
            }
            line += "]";
        }
        out_ << line << "}";
    }

    void FinishJson(const Reasons::Counts& totals) {
        out_ << (first_ ? "{\"findings\":[" : "") << "\n],\n\"counts\":{";
        bool comma = false;
        for (std::size_t i = 0; i < kReasons; ++i) {
            if (counts_[i] > 0) {
                out_ << (comma ? "," : "") << "\"" << NameOf(static_cast<Reason>(i)) << "\":" << counts_[i];
                comma = true;
            }
        }
        out_ << "},\n";
        if (several_) {
            out_ << "\"logs\":" << JsonList(NamesOfLogs(options_, text_)) << ",\n";
        }
        if (const std::string missing = sought_.Missing(text_); !missing.empty()) {
            out_ << "\"note\":" << JsonString(missing.substr(0, missing.size() - 1)) << ",\n";
        }
        out_ << "\"presses\":" << totals.presses << ",\"recordings\":" << totals.recordings
             << ",\"events\":" << totals.events << "}\n";
    }

    const Options& options_;
    std::ostream& out_;
    const Text& text_;
    Narrow narrow_;
    Sought sought_;
    bool several_;
    bool first_ = true;
    std::uint64_t silent_ = 0;
    std::uint64_t events_ = 0;
    std::array<std::uint64_t, kReasons> counts_{};
    std::array<std::vector<Finding>, kReasons> examples_;
    std::vector<Finding> sorted_;
};

/// Passes facts on, and lets the printer know of those that are about what the user asks for.
class Named final : public FactSink {
public:
    Named(FactSink& sink, WhyPrinter& printer) : sink_(sink), printer_(printer) {}
    void OnFact(const Fact& fact) override {
        printer_.Meet(fact);
        sink_.OnFact(fact);
    }

private:
    FactSink& sink_;
    WhyPrinter& printer_;
};

void AddWhyOptions(CLI::App& app, Options& options) {
    AddKeypadOption(app, options);
    AddCustomOption(app, options);
    AddTimeOptions(app, options);
    app.add_flag("--json", options.json, "as one JSON object, every finding in it");
}

int RunWhy(const Options& options, std::ostream& out) {
    Text text(options.encoding, options.redact);
    WhyPrinter printer(options, out, text);
    Reasons reasons(text, [&printer](const Finding& finding) { printer.Take(finding); });
    Named named(reasons, printer);
    Story story(named);
    reasons.Follow(story);
    ReadLogs(options.files, story, text);
    printer.Finish(reasons.Totals());
    return kDone;
}

}  // namespace

const CommandEntry kWhyCommand = {"why",
                                  "why presses and recordings led to no event, with the lines that prove it",
                                  &AddWhyOptions, &RunWhy};

}  // namespace vdipc::log
