// The log as one page for a browser, with all that it needs in it.
#include "tools/page/PageFile.h"
#include "tools/vdlog/Chart.h"
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Input.h"
#include "tools/vdlog/Output.h"
#include "tools/vdlog/Quote.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <map>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vdipc::page {

std::vector<PageFile> TimelinePageFiles();

}  // namespace vdipc::page

namespace vdipc::log {
namespace {

// A browser opens that many in seconds; a class of sixty makes some 25,000 in a day.
constexpr std::size_t kMostDrawn = 250'000;

/// A script's end, a comment and the two line ends that old JavaScript knows must not stand in a page's data. They can stand
/// inside of JSON's texts alone, where they can be written otherwise.
std::string SafeInPage(std::string_view json) {
    std::string safe;
    safe.reserve(json.size());
    for (std::size_t i = 0; i < json.size(); ++i) {
        const char c = json[i];
        const std::string_view next = json.substr(i, 3);
        if (c == '<') {
            safe += "\\u003c";
        } else if (c == '>') {
            safe += "\\u003e";
        } else if (c == '&') {
            safe += "\\u0026";
        } else if (next == "\xE2\x80\xA8" || next == "\xE2\x80\xA9") {
            safe += next == "\xE2\x80\xA8" ? "\\u2028" : "\\u2029";
            i += 2;
        } else {
            safe += c;
        }
    }
    return safe;
}

/// Numbers of texts that come again and again.
class Names {
public:
    std::size_t NumberOf(const std::string& name) {
        const auto [found, fresh] = numbers_.try_emplace(name, names_.size());
        if (fresh) {
            names_.push_back(name);
        }
        return found->second;
    }
    const std::vector<std::string>& All() const { return names_; }

private:
    std::map<std::string, std::size_t> numbers_;
    std::vector<std::string> names_;
};

using Place = std::pair<std::uint32_t, std::uint64_t>;  // file and line

/// Reads the logs once more, and writes the lines that things point at.
class LineWriter final : public LineSink {
public:
    LineWriter(const std::vector<Place>& wanted, std::int64_t begin, const Text& text, std::ostream& out)
        : wanted_(wanted), first_of_(wanted.size(), -1), begin_(begin), text_(text), out_(out) {}

    void OnLine(const LogLine& line) override {
        const Place place(line.at.file, line.at.line);
        while (next_ < wanted_.size() && wanted_[next_] < place) {
            ++next_;
        }
        // Lines that ran into one another share a number.
        if (next_ == wanted_.size() || wanted_[next_] != place) {
            return;
        }
        if (first_of_[next_] < 0) {
            first_of_[next_] = static_cast<std::int64_t>(count_);
        }
        std::string entry = (count_++ > 0 ? ",\n[" : "\n[") + std::to_string(line.at.file) + "," +
                            std::to_string(line.at.line) + "," + std::to_string(line.at.time - begin_) + "," +
                            std::to_string(line.thread) + "," +
                            std::to_string(levels_.NumberOf(text_.Shown(line.level))) + "," +
                            std::to_string(functions_.NumberOf(QuoteFunction(line, text_))) + ",";
        AppendJsonString(entry, QuoteText(line, text_));
        out_ << SafeInPage(entry) << "]";
    }

    /// Numbers of the written lines at a place of the log.
    void AppendNumbers(const Mark& mark, std::vector<std::int64_t>& numbers) const {
        const Place place(mark.file, mark.line);
        const auto found = std::lower_bound(wanted_.begin(), wanted_.end(), place);
        const auto i = static_cast<std::size_t>(found - wanted_.begin());
        if (found != wanted_.end() && *found == place && first_of_[i] >= 0) {
            numbers.push_back(first_of_[i]);
        }
    }

    const Names& Levels() const { return levels_; }
    const Names& Functions() const { return functions_; }

private:
    const std::vector<Place>& wanted_;
    std::vector<std::int64_t> first_of_;
    std::int64_t begin_;
    const Text& text_;
    std::ostream& out_;
    std::size_t next_ = 0;
    std::size_t count_ = 0;
    Names levels_;
    Names functions_;
};

std::vector<Place> PlacesOf(const std::vector<Thing>& things) {
    std::vector<Place> places;
    for (const Thing& thing : things) {
        for (const Mark& mark : thing.lines) {
            places.emplace_back(mark.file, mark.line);
        }
    }
    std::sort(places.begin(), places.end());
    places.erase(std::unique(places.begin(), places.end()), places.end());
    return places;
}

/// What the options left of the log, for people.
std::string NarrowedTo(const Options& options, const Text& text) {
    std::string words;
    const auto add = [&words](const char* option, const std::string& value) {
        words += (words.empty() ? "" : " ") + std::string(option) + " " + value;
    };
    if (!options.keypad.empty()) {
        add("--keypad", text.Device(options.keypad));
    }
    if (options.has_custom) {
        add("--custom", text.Name(options.custom));
    }
    if (!options.from.empty()) {
        add("--from", options.from);
    }
    if (!options.to.empty()) {
        add("--to", options.to);
    }
    return words;
}

class PageWriter {
public:
    PageWriter(const Chart& chart, const Options& options, Text& text, std::ostream& out)
        : chart_(chart), options_(options), text_(text), out_(out) {
        for (const page::PageFile& file : page::TimelinePageFiles()) {
            page_ = file.content;
        }
        begin_ = chart.Begin();
        end_ = chart.End();
        for (const Thing& thing : chart.Things()) {
            // A connection or a run may begin long before the time that was asked for.
            if (!thing.is_span) {
                begin_ = std::min(begin_, thing.begin);
                end_ = std::max(end_, thing.end);
            }
        }
    }

    void Write(const std::vector<std::string>& files) {
        static constexpr std::string_view kPlace = "{{LOG}}";
        const std::size_t place = page_.find(kPlace);
        if (place == std::string_view::npos) {
            throw std::logic_error("the page has no place for the log");
        }
        out_ << page_.substr(0, place);
        WriteHead();
        const std::vector<Place> wanted = PlacesOf(chart_.Things());
        out_ << ",\"lines\":[";
        LineWriter lines(wanted, begin_, text_, out_);
        ReadLines(files, lines, text_);
        out_ << "],\n\"levels\":" << SafeInPage(JsonList(lines.Levels().All()))
             << ",\n\"functions\":" << SafeInPage(JsonList(lines.Functions().All())) << ",\n\"things\":[";
        for (const Thing& thing : chart_.Things()) {
            WriteThing(thing, lines);
        }
        out_ << "]}" << page_.substr(place + kPlace.size());
    }

private:
    template <typename Value>
    static std::string NamesOf(std::size_t count) {
        std::vector<std::string> names;
        for (std::size_t i = 0; i < count; ++i) {
            names.emplace_back(NameOf(static_cast<Value>(i)));
        }
        return JsonList(names);
    }

    void WriteHead() {
        std::string head =
            "{\"form\":1,\"files\":" + JsonList(NamesOfLogs(options_, text_)) + ",\"narrowed\":";
        AppendJsonString(head, NarrowedTo(options_, text_));
        head += std::string(",\"redacted\":") + (text_.Redacts() ? "true" : "false") +
                ",\"begin\":" + std::to_string(begin_) + ",\"end\":" + std::to_string(end_) +
                ",\n\"groups\":" + NamesOf<LaneGroup>(kLaneGroups) +
                ",\n\"kinds\":" + NamesOf<ThingKind>(kThingKinds) +
                ",\n\"states\":" + NamesOf<ThingState>(kThingStates) + ",\n\"reasons\":[";
        for (std::size_t i = 0; i < kReasons; ++i) {
            head += i > 0 ? ",[" : "[";
            AppendJsonString(head, NameOf(static_cast<Reason>(i)));
            head += ",";
            AppendJsonString(head, TitleOf(static_cast<Reason>(i)));
            head += "]";
        }
        head += "],\n\"lanes\":[";
        for (const Lane& lane : chart_.Lanes()) {
            head += head.back() == '[' ? "[" : ",[";
            head += std::to_string(static_cast<int>(lane.group)) + "," + std::to_string(lane.rows) + ",";
            AppendJsonString(head, lane.name);
            head += "]";
        }
        out_ << SafeInPage(head) << "]\n";
    }

    void WriteThing(const Thing& thing, const LineWriter& lines) {
        std::string entry = first_ ? "\n[" : ",\n[";
        first_ = false;
        entry += std::to_string(thing.lane) + "," + std::to_string(thing.row) + "," +
                 std::to_string(static_cast<int>(thing.kind)) + "," +
                 std::to_string(static_cast<int>(thing.state)) + "," + std::to_string(thing.reason) + "," +
                 std::to_string(thing.begin - begin_) + "," +
                 std::to_string(thing.is_span ? thing.end - thing.begin : -1) + ",";
        AppendJsonString(entry, thing.label);
        entry += ",";
        AppendJsonString(entry, thing.sentence);
        entry += ",[";
        std::vector<std::int64_t> numbers;
        for (const Mark& mark : thing.lines) {
            lines.AppendNumbers(mark, numbers);
        }
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            entry += (i > 0 ? "," : "") + std::to_string(numbers[i]);
        }
        out_ << SafeInPage(entry) << "]]";
    }

    const Chart& chart_;
    const Options& options_;
    Text& text_;
    std::ostream& out_;
    std::string_view page_;
    std::int64_t begin_ = 0;
    std::int64_t end_ = 0;
    bool first_ = true;
};

void AddTimelineOptions(CLI::App& app, Options& options) {
    AddOutputOption(app, options, "the page to make, as FILE.html; \"-\" is standard output");
    AddChartOptions(app, options);
}

int RunTimeline(const Options& options, std::ostream& out) {
    Text text(options.encoding, options.redact);
    OutputFile file(options, out);
    const RereadableFiles files(options.files);
    Chart chart(options, text, kMostDrawn);
    Story story(chart);
    chart.Follow(story);
    ReadLogs(files.Names(), story, text);
    chart.Finish();
    // Who reads standard output wants the whole form, however little is in it.
    if (const std::string missing = chart.Missing(); !missing.empty() && !file.IsStandard()) {
        out << missing;
        return kDone;
    }
    PageWriter(chart, options, text, file.Stream()).Write(files.Names());
    file.Finish();
    if (!file.IsStandard()) {
        const auto silent =
            std::count_if(chart.Things().begin(), chart.Things().end(),
                          [](const Thing& thing) { return thing.state == ThingState::Silent; });
        out << options.output << ": " << chart.Things().size() << " things on " << chart.Lanes().size()
            << " lanes, " << silent << " of them silent presses and recordings.\n";
    }
    return kDone;
}

}  // namespace

const CommandEntry kTimelineCommand = {"timeline",
                                       "the log as one page for a browser, to look at and to search",
                                       &AddTimelineOptions, &RunTimeline};

}  // namespace vdipc::log
