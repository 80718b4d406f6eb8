// The events of two logs side by side.
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Events.h"
#include "tools/vdlog/Input.h"
#include "tools/vdlog/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <map>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vdipc::log {
namespace {

constexpr std::size_t kContext = 3;
constexpr std::size_t kShown = 10;  // differences, without --all

using Entry = EventList::Entry;

/// One sequence of each side whose order counts.
struct Pair {
    std::vector<const Entry*> a;
    std::vector<const Entry*> b;
};

class Comparison {
public:
    Comparison(const Options& options, std::ostream& out)
        : options_(options), out_(out), text_(options.encoding, options.redact) {}

    int Run() {
        if (options_.sides.size() != 2) {
            throw std::invalid_argument("compare takes two logs, A and B");
        }
        Read(options_.sides[0], a_);
        Read(options_.sides[1], b_);
        for (const Entry& entry : a_.Entries()) {
            NumberOf(entry.text);
        }
        std::vector<Pair> pairs = options_.by_keypad ? ByKeypad() : std::vector<Pair>{Whole()};
        for (const Pair& pair : pairs) {
            Compare(pair);
        }
        const bool equal = only_a_ == 0 && only_b_ == 0;
        if (options_.json) {
            Json(equal);
        } else {
            Tell(equal);
        }
        return equal ? kDone : kDifferent;
    }

private:
    void Read(const std::string& file, EventList& events) {
        Story story(events);
        try {
            ReadLogs({file}, story, text_);
        } catch (const NoLog& problem) {
            throw std::runtime_error(file + ": " + problem.what());  // it may be either
        }
    }

    std::size_t NumberOf(const std::string& text) {
        return numbers_.try_emplace(text, numbers_.size()).first->second;
    }

    std::vector<std::size_t> NumbersOf(const std::vector<const Entry*>& entries) {
        std::vector<std::size_t> numbers;
        numbers.reserve(entries.size());
        for (const Entry* const entry : entries) {
            numbers.push_back(NumberOf(entry->text));
        }
        return numbers;
    }

    Pair Whole() const {
        Pair pair;
        for (const Entry& entry : a_.Entries()) {
            pair.a.push_back(&entry);
        }
        for (const Entry& entry : b_.Entries()) {
            pair.b.push_back(&entry);
        }
        return pair;
    }

    /// Of each run the keypads by themselves, and by themselves the events that are no keypad's.
    std::vector<Pair> ByKeypad() const {
        std::map<std::pair<std::uint32_t, std::string>, Pair> pairs;
        for (const Entry& entry : a_.Entries()) {
            pairs[{entry.run, entry.device}].a.push_back(&entry);
        }
        for (const Entry& entry : b_.Entries()) {
            pairs[{entry.run, entry.device}].b.push_back(&entry);
        }
        std::vector<Pair> all;
        for (auto& [place, pair] : pairs) {
            all.push_back(std::move(pair));
        }
        return all;
    }

    void Compare(const Pair& pair) {
        const std::vector<Difference> found = Differences(NumbersOf(pair.a), NumbersOf(pair.b));
        for (const Difference& difference : found) {
            only_a_ += difference.a_count;
            only_b_ += difference.b_count;
        }
        if (!found.empty()) {
            different_.emplace_back(pair, found);
        }
    }

    /// The same events, whatever their order.
    bool SameEvents() const {
        std::multiset<std::string> left;
        for (const Entry& entry : a_.Entries()) {
            left.insert(entry.text);
        }
        for (const Entry& entry : b_.Entries()) {
            const auto found = left.find(entry.text);
            if (found == left.end()) {
                return false;
            }
            left.erase(found);
        }
        return left.empty();
    }

    bool SameByKeypad() {
        const std::vector<Pair> pairs = ByKeypad();
        return std::all_of(pairs.begin(), pairs.end(), [this](const Pair& pair) {
            return Differences(NumbersOf(pair.a), NumbersOf(pair.b)).empty();
        });
    }

    std::string Event(const Entry& entry) const {
        if (entry.is_run) {
            return entry.text;
        }
        const std::string message = text_.Message(entry.text);
        return message.empty() ? text_.Private(entry.text) : message;
    }

    static std::string Where(const Entry* entry) {
        std::string text = entry == nullptr
                               ? std::string()
                               : TimeText(entry->at.time) + " line " + std::to_string(entry->at.line);
        text.resize(std::max<std::size_t>(text.size(), 25), ' ');
        return text;
    }

    /// Something that is on one side, where the other is null, or on both.
    void Line(char mark, const Entry* a, const Entry* b, const Entry& entry) {
        const char* const color = !options_.color || mark == ' ' ? "" : mark == 'A' ? "\x1b[31m" : "\x1b[32m";
        out_ << color << mark << " " << Where(a) << " | " << Where(b) << "  " << Event(entry)
             << (*color != '\0' ? "\x1b[0m" : "") << "\n";
    }

    void Show(const Pair& pair, const Difference& difference, std::size_t from) {
        const std::size_t before = std::min(kContext, difference.a - from);
        for (std::size_t i = before; i > 0; --i) {
            const Entry* const entry = pair.a[difference.a - i];
            Line(' ', entry, pair.b[difference.b - i], *entry);
        }
        const std::size_t most = options_.all ? pair.a.size() + pair.b.size() : 20;
        for (std::size_t i = 0; i < std::min(difference.a_count, most); ++i) {
            Line('A', pair.a[difference.a + i], nullptr, *pair.a[difference.a + i]);
        }
        for (std::size_t i = 0; i < std::min(difference.b_count, most); ++i) {
            Line('B', nullptr, pair.b[difference.b + i], *pair.b[difference.b + i]);
        }
        if (difference.a_count > most || difference.b_count > most) {
            out_ << "  ... (--all shows the rest)\n";
        }
    }

    void Tell(bool equal) {
        const auto side = [&](char name, const std::string& file, const EventList& events) {
            out_ << name << "  " << text_.Shown(options_.redact ? text_.Private(file) : file) << ": "
                 << events.Events() << " events";
            if (events.Repeats() > 0) {
                out_ << ", and " << events.Repeats()
                     << " \"device-inited\" of the check every ten seconds, which is left out";
            }
            out_ << "\n";
        };
        side('A', options_.sides[0], a_);
        side('B', options_.sides[1], b_);
        std::size_t shown = 0;
        std::size_t all = 0;
        for (const auto& [pair, found] : different_) {
            std::size_t from = 0;
            for (const Difference& difference : found) {
                ++all;
                if (options_.all || shown < kShown) {
                    ++shown;
                    out_ << "\n";
                    Show(pair, difference, from);
                }
                from = difference.a + difference.a_count;
            }
        }
        if (shown < all) {
            out_ << "\n" << all - shown << " more differences (--all shows them)\n";
        }
        out_ << "\n";
        if (equal) {
            out_ << "The events are equal" << (options_.by_keypad ? ", each keypad's in its order" : "")
                 << ".\n";
            return;
        }
        out_ << "The events differ: " << only_a_ << " stand in A alone, " << only_b_ << " in B alone.\n";
        if (SameEvents()) {
            out_ << "They are the same ones in another order"
                 << (!options_.by_keypad && SameByKeypad()
                         ? "; each keypad's own are in the same order, and --by-keypad takes that for equal"
                         : "")
                 << ".\n";
        }
    }

    void Json(bool equal) {
        out_ << "{\"equal\":" << (equal ? "true" : "false") << ",\"events\":[" << a_.Events() << ","
             << b_.Events() << "],\"repeats\":[" << a_.Repeats() << "," << b_.Repeats()
             << "],\"differences\":[";
        bool first = true;
        const auto list = [&](const char* name, const std::vector<const Entry*>& entries, std::size_t from,
                              std::size_t count) {
            out_ << "\"" << name << "\":[";
            for (std::size_t i = 0; i < count; ++i) {
                const Entry& entry = *entries[from + i];
                const std::string message = entry.is_run ? "" : text_.Message(entry.text);
                out_ << (i > 0 ? "," : "") << "{\"time\":\"" << IsoTimeText(entry.at.time)
                     << "\",\"line\":" << entry.at.line << ",\"event\":"
                     << (message.empty() ? JsonString(entry.is_run ? entry.text : text_.Private(entry.text))
                                         : message)
                     << "}";
            }
            out_ << "]";
        };
        for (const auto& [pair, found] : different_) {
            for (const Difference& difference : found) {
                out_ << (first ? "\n{" : ",\n{");
                first = false;
                list("a", pair.a, difference.a, difference.a_count);
                out_ << ",";
                list("b", pair.b, difference.b, difference.b_count);
                out_ << "}";
            }
        }
        out_ << "\n]}\n";
    }

    const Options& options_;
    std::ostream& out_;
    Text text_;
    EventList a_;
    EventList b_;
    std::unordered_map<std::string, std::size_t> numbers_;
    std::vector<std::pair<Pair, std::vector<Difference>>> different_;
    std::size_t only_a_ = 0;
    std::size_t only_b_ = 0;
};

void AddCompareOptions(CLI::App& app, Options& options) {
    // In the order of the words, not of their times.
    app.add_option("LOG", options.sides, "the two logs, A and B")->required()->expected(1, 2);
    app.add_flag(
        "--by-keypad", options.by_keypad,
        "the order counts for each keypad by itself, and for the events that are no keypad's: threads "
        "may bring two keypads' presses in either order");
    app.add_flag("--all", options.all, "show all differences, and not the first ones alone");
    app.add_flag("--json", options.json, "as one JSON object, with all differences");
    app.footer(
        "Ids, times, and the time in the name of a recording are left out; so is \"device-inited\" of the "
        "station's check,\nwhich comes every ten seconds as long as it is down. Who got an event isn't "
        "looked "
        "at.\n"
        "Exit codes: 0 equal, 1 different, 2 bad words, or a log that can't be read.");
}

int RunCompare(const Options& options, std::ostream& out) {
    return Comparison(options, out).Run();
}

}  // namespace

const CommandEntry kCompareCommand = {"compare",
                                      "the events of two logs side by side; ids and times left out",
                                      &AddCompareOptions, &RunCompare};

}  // namespace vdipc::log
