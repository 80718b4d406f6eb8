// Logs for tests: text as the library writes it, and what this program makes of it.
#pragma once

#include "tools/vdlog/Facts.h"
#include "tools/vdlog/LineReader.h"
#include "tools/vdlog/Story.h"

#include <filesystem>
#include <string>
#include <vector>

namespace vdipc::log::test {

/// Writes lines in the library's form. Times count from 2026-11-22 10:00:00.
class LogText {
public:
    static constexpr unsigned int kTaskThread = 0x6f8;

    /// On the task thread, or on another one; a millisecond passes with each line.
    LogText& Line(const std::string& message, unsigned int thread = kTaskThread, const char* level = "Debug");
    LogText& Pass(std::int64_t milliseconds);
    LogText& Raw(const std::string& bytes);

    // Common steps.
    LogText& Start();
    LogText& Client();
    LogText& LoseClient();
    /// A command that was decoded; its receivers' parts follow by the caller.
    LogText& Command(const std::string& json, const char* call);
    LogText& Init(int group, const std::string& ready);
    /// The parts of all five receivers of a question; `logged_on` are those of the station.
    LogText& Ask(const std::string& json, const std::string& device,
                 const std::vector<std::string>& logged_on = {});
    LogText& StationLogon(const std::string& device, bool on = true);
    LogText& StationKey(const std::string& device, int key);  // both lines
    LogText& Found(const std::string& device, bool found);
    LogText& Finished(const std::string& device, bool finished);
    LogText& Filtered(int type, int key, bool need_send);
    LogText& KeyEvent(const std::string& device, const std::string& key, const std::string& custom);
    LogText& Event(const std::string& members);

    const std::string& Text() const { return text_; }

private:
    std::string text_;
    std::int64_t milliseconds_ = 0;
};

/// An "ask" as it comes over the pipe.
std::string AskJson(const std::string& type, const std::string& custom, const std::string& device = "0");

/// The lines of a text, copied, fed in pieces of this size.
struct SeenLine {
    std::uint64_t number;
    std::int64_t time;
    std::string level;
    std::uint32_t thread;
    std::string function;
    bool in_lambda;
    std::string text;
};
std::vector<SeenLine> LinesOf(const std::string& text, std::size_t piece = 1 << 20);

/// Runs the program and gives what it prints; each text stands in a file of its own during the run.
struct Printed {
    int code;
    std::string out;
    std::string error;
};
Printed Vdlog(std::vector<std::string> arguments, const std::string& log);
Printed Vdlog(std::vector<std::string> arguments, const std::vector<std::string>& logs);
/// The same with files of the caller's own.
Printed RunVdlog(const std::vector<std::string>& arguments);

/// A folder of a test's own, which goes with the object.
class Folder {
public:
    Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder();

    std::string Write(const std::string& name, const std::string& text) const;
    void Append(const std::string& name, const std::string& text) const;
    std::string Read(const std::string& name) const;
    std::string Name(const std::string& name) const { return (path_ / name).string(); }
    std::size_t Files() const;
    const std::filesystem::path& Path() const { return path_; }

private:
    std::filesystem::path path_;
};
}  // namespace vdipc::log::test
