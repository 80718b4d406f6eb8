// The log's files, in the order of their times.
#pragma once

#include "tools/vdlog/LineReader.h"
#include "tools/vdlog/Options.h"
#include "tools/vdlog/Story.h"
#include "tools/vdlog/Text.h"

#include <fstream>
#include <iosfwd>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace vdipc::log {

/// Opens a log. Raises std::runtime_error for a directory, and for a file that can't be opened.
std::ifstream OpenLog(const std::string& name);

/// Each file once, whatever its names; `error` is told of those that are left out.
std::vector<std::string> WithoutRepeats(const std::vector<std::string>& files, std::ostream& error);

/// The files in the order of their first line's time; those without one keep their places at the end. Standard input is
/// last. `error` is told of files that look like copies. Raises std::runtime_error for a file that can't be opened.
std::vector<std::string> InOrder(const std::vector<std::string>& files, std::ostream& error);

/// Passes lines on, and knows whether any was of the log's form.
class Gate final : public LineSink {
public:
    explicit Gate(LineSink& sink) : sink_(sink) {}
    void OnLine(const LogLine& line) override {
        any = any || !line.function.empty();
        sink_.OnLine(line);
    }
    bool any = false;

private:
    LineSink& sink_;
};

/// The files have no line of a log.
class NoLog : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads all files through, line by line; `text` meets each piece before its lines are given. On a terminal, progress goes to
/// standard error for large ones. Raises std::runtime_error for a file that can't be read, and NoLog.
void ReadLines(const std::vector<std::string>& files, LineSink& sink, Text& text);

/// The same, to the end of the story.
void ReadLogs(const std::vector<std::string>& files, Story& story, Text& text);

/// The logs' names for people, without their folders.
std::vector<std::string> NamesOfLogs(const Options& options, const Text& text);

/// Files that can be read more than once: what isn't a plain file, as standard input, is copied into a temporary one, which
/// goes with this object. Raises std::runtime_error where that can't be.
class RereadableFiles {
public:
    explicit RereadableFiles(const std::vector<std::string>& files);
    RereadableFiles(const RereadableFiles&) = delete;
    RereadableFiles& operator=(const RereadableFiles&) = delete;
    ~RereadableFiles();

    const std::vector<std::string>& Names() const { return names_; }

private:
    struct Copy;
    std::vector<std::string> names_;
    std::vector<std::unique_ptr<Copy>> copies_;
};

}  // namespace vdipc::log
