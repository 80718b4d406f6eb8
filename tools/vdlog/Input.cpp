#include "tools/vdlog/Input.h"

#include "tools/vdlog/Platform.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <random>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace vdipc::log {
namespace {

constexpr std::size_t kBlock = 1 << 20;
constexpr std::uintmax_t kLargeFile = 100'000'000;

class FirstTime final : public LineSink {
public:
    void OnLine(const LogLine& line) override {
        if (!line.function.empty()) {
            time = std::min(time, line.at.time);
        }
    }
    std::int64_t time = std::numeric_limits<std::int64_t>::max();
};

/// What else the bytes are.
std::string Hint(std::string_view first) {
    if (first.empty()) {
        return " (it is empty)";
    }
    return first.starts_with("\xFF\xFE") || first.starts_with("\xFE\xFF")
               ? " (it is UTF-16, as the redirection of some shells makes it: take the file itself)"
               : "";
}

class Progress {
public:
    Progress(const std::string& name, std::uintmax_t total) : name_(name), total_(total) {
        shown_ = total >= kLargeFile && IsErrorTerminal();
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() {
        if (shown_ && percent_ >= 0) {
            std::fprintf(stderr, "\r%*s\r", static_cast<int>(name_.size()) + 12, "");
        }
    }
    void Add(std::size_t size) {
        done_ += size;
        const int percent = shown_ ? static_cast<int>(done_ * 100 / total_) : percent_;
        if (percent != percent_) {
            percent_ = percent;
            std::fprintf(stderr, "\r%s: %d %%", name_.c_str(), percent);
            std::fflush(stderr);
        }
    }

private:
    std::string name_;
    std::uintmax_t total_;
    std::uintmax_t done_ = 0;
    int percent_ = -1;
    bool shown_ = false;
};

}  // namespace

std::ifstream OpenLog(const std::string& name) {
    std::error_code error;
    if (std::filesystem::is_directory(PathOf(name), error)) {
        throw std::runtime_error(name + " is a directory; name the log in it, vote_deck.DATE.log");
    }
    std::ifstream file(PathOf(name), std::ios::binary);
    if (!file.is_open()) {
        throw std::runtime_error("can't open " + name + ": " + std::generic_category().message(errno));
    }
    return file;
}

std::vector<std::string> WithoutRepeats(const std::vector<std::string>& files, std::ostream& error) {
    std::vector<std::string> once;
    for (const std::string& name : files) {
        const auto former = std::find_if(once.begin(), once.end(), [&name](const std::string& other) {
            std::error_code ignored;
            return name == other || (name != "-" && other != "-" &&
                                     std::filesystem::equivalent(PathOf(name), PathOf(other), ignored));
        });
        if (former == once.end()) {
            once.push_back(name);
        } else {
            error << "vdlog: " << name
                  << (*former == name ? " is given twice" : " is the same file as " + *former)
                  << "; it is read once" << std::endl;
        }
    }
    return once;
}

std::vector<std::string> InOrder(const std::vector<std::string>& files, std::ostream& error) {
    std::vector<std::pair<std::int64_t, std::string>> timed;
    std::map<std::string, std::string> beginnings;  // with the name of the first that begins so
    for (const std::string& name : files) {
        FirstTime first;
        if (name != "-" && files.size() > 1) {
            std::ifstream file = OpenLog(name);
            std::string bytes(1 << 16, '\0');
            file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            LineReader reader(first);
            reader.Feed(bytes.data(), static_cast<std::size_t>(file.gcount()));
            reader.EndFile();
            bytes.resize(static_cast<std::size_t>(file.gcount()));
            const auto [same, fresh] = beginnings.emplace(std::move(bytes), name);
            if (!fresh && first.time != FirstTime().time) {
                error << "vdlog: " << name << " begins with the same lines as " << same->second
                      << "; if it is a copy, all that both hold is counted twice" << std::endl;
            }
        }
        timed.emplace_back(first.time, name);
    }
    std::stable_sort(timed.begin(), timed.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> ordered;
    for (auto& [time, name] : timed) {
        ordered.push_back(std::move(name));
    }
    return ordered;
}

void ReadLines(const std::vector<std::string>& files, LineSink& sink, Text& text) {
    Gate gate(sink);
    LineReader reader(gate);
    std::vector<char> block(kBlock);
    std::string first;
    for (const std::string& name : files) {
        std::ifstream file;
        std::uintmax_t size = 0;
        if (name != "-") {
            file = OpenLog(name);
            std::error_code error;
            size = std::filesystem::file_size(PathOf(name), error);
            size = error ? 0 : size;
        }
        Progress progress(name, size);
        std::istream& stream = name == "-" ? std::cin : file;
        while (stream) {
            stream.read(block.data(), static_cast<std::streamsize>(block.size()));
            const auto count = static_cast<std::size_t>(stream.gcount());
            if (first.size() < 2) {
                first.append(block.data(), std::min<std::size_t>(count, 2));
            }
            text.Meet({block.data(), count});
            reader.Feed(block.data(), count);
            progress.Add(count);
        }
        if (stream.bad()) {
            throw std::runtime_error("can't read " + name);
        }
        reader.EndFile();
    }
    if (!gate.any) {
        throw NoLog("no line here is of VDIPC's log, vote_deck.DATE.log beside the host's executable" +
                    Hint(first));
    }
}

std::vector<std::string> NamesOfLogs(const Options& options, const Text& text) {
    std::vector<std::string> names;
    for (const std::string& file : options.files) {
        const std::u8string name = PathOf(file).filename().u8string();
        names.push_back(file == "-" ? "standard input" : text.Private(std::string(name.begin(), name.end())));
    }
    return names;
}

void ReadLogs(const std::vector<std::string>& files, Story& story, Text& text) {
    ReadLines(files, story, text);
    story.End();
}

// ---- files that are read twice --------------------------------------------------------------------------------------

struct RereadableFiles::Copy {
    Copy() {
        std::random_device random;
        path = std::filesystem::temp_directory_path() /
               ("vdlog_" + std::to_string(random()) + "_" + std::to_string(random()) + ".tmp");
        file.open(path, std::ios::binary);
        // A log holds what pupils answered: it is nobody else's to read.
        std::error_code ignored;
        std::filesystem::permissions(
            path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, ignored);
    }
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;
    ~Copy() {
        file.close();
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    std::string Name() const {
        const std::u8string name = path.u8string();
        return std::string(name.begin(), name.end());
    }

    std::filesystem::path path;
    std::ofstream file;
};

RereadableFiles::RereadableFiles(const std::vector<std::string>& files) {
    std::vector<char> block(kBlock);
    for (const std::string& name : files) {
        std::error_code error;
        const std::filesystem::file_status status =
            name != "-" ? std::filesystem::status(PathOf(name), error) : std::filesystem::file_status();
        if (name != "-" && (std::filesystem::is_regular_file(status) || !std::filesystem::exists(status) ||
                            std::filesystem::is_directory(status))) {
            names_.push_back(name);  // reading it tells what is wrong, if anything is
            continue;
        }
        std::ifstream file;
        if (name != "-") {
            file = OpenLog(name);
        }
        Copy& copy = *copies_.emplace_back(std::make_unique<Copy>());
        std::istream& in = name == "-" ? std::cin : file;
        while (in && copy.file) {
            in.read(block.data(), static_cast<std::streamsize>(block.size()));
            copy.file.write(block.data(), in.gcount());
        }
        copy.file.close();
        if (in.bad() || !copy.file) {
            throw std::runtime_error("can't copy " + (name == "-" ? "standard input" : name) + " into " +
                                     copy.Name() + ", which is needed to read it twice");
        }
        names_.push_back(copy.Name());
    }
}

RereadableFiles::~RereadableFiles() = default;

}  // namespace vdipc::log
