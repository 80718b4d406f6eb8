// The log as a trace-event file, which Perfetto and a browser's tracing page open.
#include "tools/vdlog/Chart.h"
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Input.h"
#include "tools/vdlog/Output.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace vdipc::log {
namespace {

constexpr std::size_t kMostTraced = 1'000'000;

/// Spans on one thread must not overlap, but may hold one another: each lane has as many threads as that takes.
class Threads {
public:
    explicit Threads(const std::vector<Lane>& lanes) : open_(lanes.size()) {}

    /// The row in its lane where a span fits. They come by their begin, a longer one before those that it holds.
    std::size_t Place(const Thing& thing) {
        std::vector<std::vector<std::int64_t>>& rows = open_[thing.lane];
        for (std::size_t row = 0;; ++row) {
            if (row == rows.size()) {
                rows.emplace_back();
            }
            std::vector<std::int64_t>& ends = rows[row];
            while (!ends.empty() && ends.back() <= thing.begin) {
                ends.pop_back();
            }
            if (ends.empty() || ends.back() >= thing.end) {
                ends.push_back(thing.end);
                return row;
            }
        }
    }
    /// Of a lane, at least one.
    std::size_t Rows(std::size_t lane) const { return std::max<std::size_t>(1, open_[lane].size()); }

private:
    std::vector<std::vector<std::vector<std::int64_t>>> open_;  // ends, by lane and row
};

class TraceWriter {
public:
    TraceWriter(const Chart& chart, const Options& options, std::ostream& out)
        : chart_(chart), several_(options.files.size() > 1), out_(out), threads_(chart.Lanes()) {}

    void Write(const std::vector<std::string>& logs) {
        std::vector<std::size_t> rows;
        for (const Thing& thing : chart_.Things()) {
            rows.push_back(thing.is_span ? threads_.Place(thing) : 0);
        }
        // A span may begin before the time that was asked for.
        begin_ = chart_.Begin();
        for (const Thing& thing : chart_.Things()) {
            begin_ = std::min(begin_, thing.begin);
        }
        first_of_.push_back(1);
        for (std::size_t lane = 0; lane < chart_.Lanes().size(); ++lane) {
            first_of_.push_back(first_of_.back() + threads_.Rows(lane));
        }
        std::string head = "{\"displayTimeUnit\":\"ms\",\"otherData\":{\"begins\":\"" + IsoTimeText(begin_) +
                           "\",\"logs\":[";
        for (const std::string& name : logs) {
            head += head.back() == '[' ? "" : ",";
            AppendJsonString(head, name);
        }
        out_ << head << "]},\"traceEvents\":[";
        WriteNames();
        for (std::size_t i = 0; i < rows.size(); ++i) {
            WriteThing(chart_.Things()[i], rows[i]);
        }
        out_ << "\n]}\n";
    }

private:
    std::string Where(const Lane& lane, std::size_t thread) const {
        return "\"pid\":" + std::to_string(static_cast<int>(lane.group) + 1) +
               ",\"tid\":" + std::to_string(thread);
    }

    void WriteLine(const std::string& line) {
        out_ << (first_ ? "\n" : ",\n") << line;
        first_ = false;
    }

    void WriteName(const std::string& what, const std::string& where, const std::string& name) {
        std::string line = "{\"ph\":\"M\",\"cat\":\"__metadata\",\"ts\":0,\"name\":\"" + what + "\"," +
                           where + ",\"args\":{\"name\":";
        AppendJsonString(line, name);
        WriteLine(line + "}}");
    }

    void WriteSortIndex(const std::string& what, const std::string& where, std::size_t index) {
        WriteLine("{\"ph\":\"M\",\"cat\":\"__metadata\",\"ts\":0,\"name\":\"" + what + "\"," + where +
                  ",\"args\":{\"sort_index\":" + std::to_string(index) + "}}");
    }

    void WriteNames() {
        int named = -1;
        for (std::size_t i = 0; i < chart_.Lanes().size(); ++i) {
            const Lane& lane = chart_.Lanes()[i];
            for (std::size_t row = 0; row < threads_.Rows(i); ++row) {
                const std::size_t thread = first_of_[i] + row;
                if (named != static_cast<int>(lane.group)) {
                    named = static_cast<int>(lane.group);
                    WriteName("process_name", Where(lane, thread), NameOf(lane.group));
                    WriteSortIndex("process_sort_index", Where(lane, thread),
                                   static_cast<std::size_t>(lane.group));
                }
                WriteName("thread_name", Where(lane, thread),
                          lane.name + (row == 0 ? "" : " (" + std::to_string(row + 1) + ")"));
                WriteSortIndex("thread_sort_index", Where(lane, thread), thread);
            }
        }
    }

    void WriteThing(const Thing& thing, std::size_t row) {
        // Whole milliseconds in the log; the format counts in microseconds.
        std::string line = std::string("{\"ph\":\"") + (thing.is_span ? "X" : "i") + "\",\"name\":";
        AppendJsonString(line, !thing.label.empty() ? thing.label
                               : thing.reason >= 0  ? NameOf(static_cast<Reason>(thing.reason))
                                                    : NameOf(thing.kind));
        line += ",\"cat\":\"" + std::string(NameOf(thing.kind)) +
                (thing.state == ThingState::Plain ? "" : std::string(",") + NameOf(thing.state)) +
                "\",\"ts\":" + std::to_string((thing.begin - begin_) * 1000);
        line += thing.is_span ? ",\"dur\":" + std::to_string((thing.end - thing.begin) * 1000)
                              : std::string(",\"s\":\"t\"");
        line +=
            "," + Where(chart_.Lanes()[thing.lane], first_of_[thing.lane] + row) + ",\"args\":{\"sentence\":";
        AppendJsonString(line, thing.sentence);
        if (thing.reason >= 0) {
            line += std::string(",\"reason\":\"") + NameOf(static_cast<Reason>(thing.reason)) + "\"";
        }
        line += ",\"lines\":[";
        for (std::size_t i = 0; i < thing.lines.size(); ++i) {
            line += (i > 0 ? "," : "") + std::to_string(thing.lines[i].line);
        }
        line += "]";
        if (several_) {
            line += ",\"files\":[";
            for (std::size_t i = 0; i < thing.lines.size(); ++i) {
                line += (i > 0 ? "," : "") + std::to_string(thing.lines[i].file + 1);
            }
            line += "]";
        }
        WriteLine(line + "}}");
    }

    const Chart& chart_;
    bool several_;
    std::ostream& out_;
    Threads threads_;
    std::vector<std::size_t> first_of_;  // thread of each lane
    std::int64_t begin_ = 0;
    bool first_ = true;
};

void AddTraceOptions(CLI::App& app, Options& options) {
    AddOutputOption(app, options, "the trace file to make, as FILE.json; \"-\" is standard output");
    AddChartOptions(app, options);
}

int RunTrace(const Options& options, std::ostream& out) {
    Text text(options.encoding, options.redact);
    OutputFile file(options, out);
    Chart chart(options, text, kMostTraced);
    Story story(chart);
    chart.Follow(story);
    ReadLogs(options.files, story, text);
    chart.Finish();
    // Who reads standard output wants the whole form, however little is in it.
    if (const std::string missing = chart.Missing(); !missing.empty() && !file.IsStandard()) {
        out << missing;
        return kDone;
    }
    TraceWriter(chart, options, file.Stream()).Write(NamesOfLogs(options, text));
    file.Finish();
    if (!file.IsStandard()) {
        out << options.output << ": " << chart.Things().size() << " things on " << chart.Lanes().size()
            << " lanes; open it with Perfetto, or a browser's tracing page.\n";
    }
    return kDone;
}

}  // namespace

const CommandEntry kTraceCommand = {
    "trace", "the log as a trace-event file, for Perfetto and a browser's tracing page", &AddTraceOptions,
    &RunTrace};

}  // namespace vdipc::log
