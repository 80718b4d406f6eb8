#include "tools/vdlog/LessonRun.h"

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <set>

namespace vdipc::log {
namespace {

// Steps that stand closer together than this follow one another at once.
constexpr double kShortestWait = 0.02;
// A timer of the library fires after two seconds. What must be done before gets no more waits than this, less what the
// steps themselves take.
constexpr double kWindow = 1.2;
constexpr double kStepTakes = 0.015;
// Two recordings of one keypad get one file name where they come within a tick of the clock.
constexpr double kBetweenRecordings = 0.05;

class RunWriter {
public:
    RunWriter(std::ostream& out, LessonRun& run, bool fast, const std::vector<std::string>& unused)
        : out_(out), run_(run), fast_(fast), unused_(unused), last_(run.begin) {
        const auto by_turn = [](const LessonStep& a, const LessonStep& b) { return a.turn < b.turn; };
        std::stable_sort(run_.steps.begin(), run_.steps.end(), by_turn);
        const auto by_place = [](const LessonWait& a, const LessonWait& b) { return a.place < b.place; };
        std::stable_sort(run_.waits.begin(), run_.waits.end(), by_place);
        const auto by_from = [](const LessonWindow& a, const LessonWindow& b) { return a.from < b.from; };
        std::stable_sort(run_.windows.begin(), run_.windows.end(), by_from);
    }

    std::uint64_t Write() {
        for (std::size_t i = 0; i < run_.steps.size();) {
            const LessonStep& step = run_.steps[i];
            WriteWaits(step.awaits_all ? step.turn : step.heard);
            i = WriteStep(i);
        }
        WriteWaits(~LinePlace{0});
        return steps_;
    }

private:
    void WriteWaits(LinePlace until) {
        for (; next_wait_ < run_.waits.size() && run_.waits[next_wait_].place < until; ++next_wait_) {
            const LessonWait& wait = run_.waits[next_wait_];
            if (wait.timed) {
                Line(wait.place, wait.time, wait.text);
            } else {
                last_ = std::max(last_, wait.time);
                out_ << wait.text << "\n";
            }
        }
    }

    /// Writes the step, together with those behind it that are like it. Returns the next one.
    std::size_t WriteStep(std::size_t i) {
        const LessonStep& step = run_.steps[i];
        for (const std::string& line : step.before) {
            const bool unused = std::any_of(unused_.begin(), unused_.end(), [&line](const std::string& kind) {
                return line.find(kind) != std::string::npos;
            });
            if (!unused) {
                Line(step.turn, step.time, line);
            }
        }
        ++steps_;
        if (step.alike.empty()) {
            std::string text = step.text;
            if (step.keep) {
                text.insert(text.size() - 1, ",\"keep\":true");
            }
            Line(step.turn, step.time, text, step.recorded);
            return i + 1;
        }
        std::vector<std::string> keypads{step.keypad};
        std::size_t next = i + 1;
        for (; next < run_.steps.size(); ++next) {
            const LessonStep& other = run_.steps[next];
            const bool waits = next_wait_ < run_.waits.size() &&
                               run_.waits[next_wait_].place < (other.awaits_all ? other.turn : other.heard);
            if (other.alike != step.alike || other.behind != step.behind || !other.before.empty() || waits ||
                static_cast<double>(other.time - std::max(step.time, last_)) >= 1000.0 * kShortestWait) {
                break;
            }
            keypads.push_back(other.keypad);
        }
        Line(step.turn, step.time, step.alike + Keypads(keypads) + step.behind);
        return next;
    }

    /// Members of an action for these keypads.
    static std::string Keypads(const std::vector<std::string>& keypads) {
        if (keypads.size() == 1) {
            return "\"keypad\":" + keypads[0];
        }
        bool row = true;
        for (std::size_t i = 0; row && i + 1 < keypads.size(); ++i) {
            row = std::stoull(keypads[i]) + 1 == std::stoull(keypads[i + 1]);
        }
        if (row && keypads.size() > 2) {
            return "\"from\":" + keypads.front() + ",\"to\":" + keypads.back();
        }
        std::string list;
        for (const std::string& keypad : keypads) {
            list += (list.empty() ? "" : ",") + keypad;
        }
        return "\"keypads\":[" + list + "]";
    }

    /// How long to wait before what stands at this place and moment.
    double WaitAt(LinePlace place, std::int64_t time) {
        double wait = static_cast<double>(time - last_) / 1000.0;
        while (next_window_ < run_.windows.size() && run_.windows[next_window_].from < place) {
            open_.push_back({run_.windows[next_window_++].to, kWindow});
        }
        std::erase_if(open_, [place](const Open& open) { return open.to < place; });
        if (open_.empty()) {
            return fast_ ? 0.0 : wait;
        }
        for (const Open& open : open_) {
            wait = std::min(wait, std::max(0.0, open.left));
        }
        for (Open& open : open_) {
            open.left -= std::max(0.0, wait) + kStepTakes;
        }
        return wait;
    }

    void Line(LinePlace place, std::int64_t time, const std::string& text, const std::string& recorded = {}) {
        double wait = WaitAt(place, time);
        last_ = std::max(last_, time);
        if (!recorded.empty() && !recorded_.insert(recorded).second) {
            wait = std::max(wait, kBetweenRecordings);
            recorded_ = {recorded};
        }
        if (wait >= kShortestWait) {
            char words[32];
            std::snprintf(words, sizeof words, "+%.3f ", wait);
            out_ << words;
        }
        out_ << text << "\n";
    }

    struct Open {
        LinePlace to;
        double left;
    };

    std::ostream& out_;
    LessonRun& run_;
    const bool fast_;
    const std::vector<std::string>& unused_;
    std::int64_t last_;  // the moment in the log up to which the lesson is written
    std::size_t next_wait_ = 0;
    std::size_t next_window_ = 0;
    std::vector<Open> open_;
    std::set<std::string> recorded_;  // since the last wait between recordings
    std::uint64_t steps_ = 0;
};

}  // namespace

std::uint64_t WriteLessonRun(std::ostream& out, LessonRun& run, bool first, bool fast,
                             const std::vector<std::string>& opening,
                             const std::vector<std::string>& unused) {
    out << "\nhost " << (first ? "start" : "again") << "\n";
    for (const std::string& line : opening) {
        out << line << "\n";
    }
    const std::uint64_t steps = RunWriter(out, run, fast, unused).Write();
    if (run.ended && run.client && !run.quit.empty()) {
        out << run.quit << "\nhost end 60\n";
    } else if (run.ended) {
        out << "host stop 60\n";
    } else if (run.ended_by_device || run.ended_by_bytes) {
        out << "host gone 60\n";
    } else {
        // All that the log has must have happened before.
        if (run.turns > 0) {
            out << "logged 60 x" << run.turns << " task begin\n";
        }
        if (run.events > 0) {
            out << "logged 60 x" << run.events << " PipeServer::SendMsg:\n";
        }
        out << "host kill\n";
    }
    return steps + 2;
}

}  // namespace vdipc::log
