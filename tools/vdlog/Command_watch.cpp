// The reasons while the lesson runs.
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Input.h"
#include "tools/vdlog/LineReader.h"
#include "tools/vdlog/Platform.h"
#include "tools/vdlog/Reasons.h"
#include "tools/vdlog/Story.h"
#include "tools/vdlog/Text.h"
#include "tools/vdlog/Watch.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace vdipc::log {
namespace {

/// "vote_deck.2026.11.22.log": the name says the day, and names sort by it.
bool IsLogName(const std::string& name) {
    static constexpr std::string_view kShape = "vote_deck.dddd.dd.dd.log";
    if (name.size() != kShape.size()) {
        return false;
    }
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (i >= 10 && kShape[i] == 'd' ? name[i] < '0' || name[i] > '9' : name[i] != kShape[i]) {
            return false;
        }
    }
    return true;
}

/// The log of the next day that has one, beside this file; empty where there is none.
std::filesystem::path NextLog(const std::filesystem::path& file) {
    std::filesystem::path next;
    const std::string own = file.filename().string();
    if (!IsLogName(own)) {
        return next;
    }
    std::error_code error;
    const std::filesystem::path directory =
        file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
    for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (IsLogName(name) && name > own && (next.empty() || name < next.filename().string())) {
            next = entry->path();
        }
    }
    return next;
}

}  // namespace

int Watch(const Options& options, std::ostream& out, const std::function<bool()>& go_on) {
    Text text(options.encoding, options.redact);
    bool telling = false;
    Reasons reasons(text, [&](const Finding& finding) {
        // A keypad that nobody pressed is told at the question's end, where it is no news.
        if (telling && finding.reason != Reason::NoPress) {
            const bool several =
                std::any_of(finding.lines.begin(), finding.lines.end(),
                            [&](const Mark& line) { return line.file != finding.moment.file; });
            out << TimeText(finding.moment.time) << "  " << finding.sentence << " [" << NameOf(finding.reason)
                << ", "
                << LinesText(finding.lines.empty() ? std::vector{finding.moment} : finding.lines, several)
                << "]" << std::endl;
        }
    });
    Story story(reasons);
    reasons.Follow(story);
    Gate gate(story);
    LineReader reader(gate);
    OpenLog(options.files.at(0));
    std::filesystem::path path = PathOf(options.files.at(0));
    std::vector<char> block(1 << 20);
    std::uintmax_t position = 0;
    const auto read_new = [&] {
        std::error_code error;
        if (const std::uintmax_t size = std::filesystem::file_size(path, error); !error && size < position) {
            reader.EndFile();  // somebody has removed it, and the next host begins it anew
            position = 0;
        }
        const std::uintmax_t before = position;
        // Opened anew each time: a stream that has seen the end of a file needn't see more of it.
        std::ifstream file(path, std::ios::binary);
        file.seekg(static_cast<std::streamoff>(position));
        while (file) {
            file.read(block.data(), static_cast<std::streamsize>(block.size()));
            const auto count = static_cast<std::size_t>(file.gcount());
            text.Meet({block.data(), count});
            reader.Feed(block.data(), count);
            position += count;
        }
        return position > before;
    };
    const auto announce = [&] {
        const std::string name = path.filename().string();
        out << "Watching " << (IsLogName(name) ? name : text.Private(name)) << "; Ctrl-C ends." << std::endl;
    };
    std::uint64_t task_lines = 0;
    int unchanged = 0;
    while (out) {
        const bool grew = read_new();
        // A host that is started on another day writes a file of that day.
        if (const std::filesystem::path next = NextLog(path); !next.empty()) {
            read_new();
            reader.EndFile();
            path = next;
            position = 0;
            if (telling) {
                announce();
            }
            continue;
        }
        // The last press may be half written: where the file grows, by lines of other threads maybe, it is so until two
        // looks have found nothing more of the task thread, whose last line is given only when the next one is there.
        unchanged = std::exchange(task_lines, story.TaskLines()) == story.TaskLines() ? unchanged + 1 : 0;
        if (!grew || !telling) {
            reader.Settle();
        }
        if (!grew || !telling || unchanged >= 2) {
            story.Settle();
        }
        if (!telling) {
            telling = true;
            announce();
            if (!gate.any) {
                out << "No line in it is of VDIPC's log so far, vote_deck.DATE.log beside the host's "
                       "executable."
                    << std::endl;
            }
        }
        if (!go_on()) {
            break;
        }
    }
    return kDone;
}

namespace {

void AddWatchOptions(CLI::App& app, Options& options) {
    app.add_option("LOG", options.files, "the log file, of today")->required()->expected(1);
}

int RunWatch(const Options& options, std::ostream& out) {
    if (options.files.size() != 1 || options.files[0] == "-") {
        throw std::invalid_argument("\"watch\" follows one file");
    }
    return Watch(options, out, [] {
        std::this_thread::sleep_for(kBetweenLooks);
        return true;
    });
}

}  // namespace

const CommandEntry kWatchCommand = {
    "watch", "follows a log that grows, and says each silent press as it comes", &AddWatchOptions, &RunWatch};

}  // namespace vdipc::log
