// A console for the pipe: JSON lines on standard input become frames, frames become JSON lines on standard output.

#include "tools/common/ClassroomClient.h"
#include "tools/common/ShortForms.h"
#include "tools/common/Stage.h"
#include "tools/common/WideText.h"
#include "vdipc/client/Client.h"

#include <CLI/CLI.hpp>
#include <json/json.h>

#include <windows.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

namespace {

using namespace vdipc::tools;
using namespace vdipc::client;

constexpr int kExitUsage = 2;
constexpr int kExitNobodyServes = 3;
constexpr int kExitAnotherClient = 4;
constexpr int kExitConnectionLost = 5;
constexpr int kExitEventMissing = 6;
constexpr int kExitNotServed = 7;

struct Options {
    std::uint32_t timeout_ms = 10000;
    std::uint32_t ping_ms = 0;
    std::uint32_t listen_ms = 0;
    std::string wait_event;
    std::string classroom = Utf8FromWide(OwnDirectory()) + "classroom.port";
    bool raw = false;
    std::vector<std::string> words;
};

std::string Compact(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

bool ParseJson(const std::string& text, Json::Value& value, std::string& errors) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    return reader->parse(text.data(), text.data() + text.size(), &value, &errors);
}

/// What came over the pipe, told to whoever waits for it.
class Console {
public:
    explicit Console(Client& client) : client_(client) {}

    void ReadUntilLost() {
        while (const std::optional<Incoming> next = client_.Next()) {
            if (std::holds_alternative<ConnectionLost>(next->what)) {
                break;
            }
            Show(next->frame);
        }
        const std::lock_guard lock(mutex_);
        lost_ = true;
        changed_.notify_all();
    }

    /// Returns when the library's side has taken it.
    bool Send(const std::string& bytes) {
        return client_.SendBytes(bytes) == SendResult::Queued && client_.Flush(kForever);
    }

    void PingEvery(std::uint32_t milliseconds) {
        while (const auto time = client_.Ping(kForever)) {
            Json::Value value;
            value["ping-reply"] = true;
            value["ms"] = time->count();
            Print(Compact(value));
            WaitUntilLost(milliseconds);
        }
    }

    bool IsLost() {
        const std::lock_guard lock(mutex_);
        return lost_;
    }

    /// True when an event of this name has come.
    bool WaitForEvent(const std::string& name, std::uint32_t milliseconds) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::milliseconds(milliseconds), [this, &name] {
            return seen_.count(name) != 0 || lost_;
        }) && seen_.count(name) != 0;
    }

    void WaitUntilLost(std::uint32_t milliseconds) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return lost_; });
    }

    void Print(const std::string& line) {
        const std::lock_guard lock(print_mutex_);
        std::fwrite(line.data(), 1, line.size(), stdout);
        std::fputc('\n', stdout);
        std::fflush(stdout);
    }

private:
    void Show(const Frame& frame) {
        Json::Value value;
        std::string errors;
        if (IsPingReply(frame)) {
            // Of a ping that was typed as bytes.
            value["ping-reply"] = true;
        } else if (!IsMessage(frame) || !ParseJson(frame.payload, value, errors)) {
            value["frame"]["type"] = frame.type;
            value["frame"]["command"] = frame.command;
            value["frame"]["payload"] = frame.payload;
        }
        Print(Compact(value));
        if (value.isObject() && value["event"].isString()) {
            const std::lock_guard lock(mutex_);
            seen_.insert(value["event"].asString());
            changed_.notify_all();
        }
    }

    Client& client_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::set<std::string> seen_;
    bool lost_ = false;
    std::mutex print_mutex_;
};

/// Bytes of a text of hexadecimal digits; blanks between them are allowed.
std::string BytesOfHex(const std::string& text) {
    std::string digits;
    for (const char c : text) {
        if (c != ' ' && c != '\t' && c != '\r') {
            if (std::isxdigit(static_cast<unsigned char>(c)) == 0) {
                throw std::invalid_argument(std::string("'") + c + "' is no hexadecimal digit");
            }
            digits.push_back(c);
        }
    }
    if (digits.size() % 2 != 0) {
        throw std::invalid_argument("a byte has two hexadecimal digits, and the last one here has one");
    }
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

/// A JSON object is sent as it stands, everything else is taken for a short form.
std::string BytesOfLine(const std::string& line, bool raw) {
    if (raw) {
        return BytesOfHex(line);
    }
    const std::size_t first = line.find_first_not_of(" \t");
    if (first != std::string::npos && line[first] == '{') {
        return JsonFrameBytes(line);
    }
    return JsonFrameBytes(JsonOfShortForm(SplitWords(line)));
}

constexpr std::string_view kClassroomWord = "classroom ";

/// What the simulated classroom answers to one action, or to the word "state". `where` is its port, or the file that
/// holds it. Raises std::runtime_error with words for the user.
std::string AskClassroom(const std::string& where, const std::string& words) {
    const bool number = !where.empty() && where.find_first_not_of("0123456789") == std::string::npos;
    const std::string port = number ? where : ReadWholeFile(WideFromUtf8(where));
    if (port.empty() || port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos) {
        throw std::runtime_error("no simulated classroom's port in " + where +
                                 "; name it, or its file beside the host, with --classroom");
    }
    ClassroomClient classroom(std::stoi(port));
    return CompactJson(words == "state" ? classroom.State() : classroom.Do(ParseJsonText(words)));
}

int Complain(const std::string& words, int code) {
    std::cerr << "vdclient: " << words << std::endl;
    return code;
}

int Run(const Options& options) {
    std::string first;
    if (!options.words.empty()) {
        try {
            first = options.words.size() == 1 && options.words[0].starts_with("{")
                        ? JsonFrameBytes(options.words[0])
                        : JsonFrameBytes(JsonOfShortForm(options.words));
        } catch (const std::invalid_argument& error) {
            return Complain(error.what(), kExitUsage);
        }
    }
    // Threads that still wait for the pipe when the program ends use these two, so no destructor may meet them.
    ClientOptions how;
    how.connect_timeout = std::chrono::milliseconds(options.timeout_ms);
    how.reconnect = false;
    static Client client(how);
    switch (const ConnectResult result = client.Connect()) {
    case ConnectResult::Connected:
        break;
    case ConnectResult::NobodyServes:
        return Complain("nobody serves the pipe; start a host (vdhost) first, or wait longer with --timeout",
                        kExitNobodyServes);
    case ConnectResult::AnotherClient:
        return Complain(Describe(result), kExitAnotherClient);
    case ConnectResult::NotServed:
        return Complain(Describe(result), kExitNotServed);
    default:
        return Complain(Describe(result) + ": " + client.LastError(), kExitNobodyServes);
    }
    static Console console(client);
    std::thread([] { console.ReadUntilLost(); }).detach();
    if (options.ping_ms > 0) {
        std::thread([&options] { console.PingEvery(options.ping_ms); }).detach();
    }

    if (!options.words.empty()) {
        if (!console.Send(first)) {
            return Complain("the connection was lost: " + client.LastError(), kExitConnectionLost);
        }
    } else {
        std::string line;
        while (std::getline(std::cin, line)) {
            if (line.find_first_not_of(" \t\r") == std::string::npos) {
                continue;
            }
            if (line.starts_with(kClassroomWord)) {
                try {
                    console.Print(AskClassroom(options.classroom, line.substr(kClassroomWord.size())));
                } catch (const std::runtime_error& error) {
                    Complain(error.what(), kExitUsage);
                }
                continue;
            }
            try {
                if (!console.Send(BytesOfLine(line, options.raw))) {
                    return Complain("the connection was lost: " + client.LastError(), kExitConnectionLost);
                }
            } catch (const std::invalid_argument& error) {
                Complain(error.what(), kExitUsage);
            }
        }
    }
    if (!options.wait_event.empty() && !console.WaitForEvent(options.wait_event, options.timeout_ms)) {
        return Complain("no event \"" + options.wait_event + "\" has come", kExitEventMissing);
    }
    if (options.listen_ms > 0) {
        console.WaitUntilLost(options.listen_ms);
    }
    return console.IsLost() ? Complain("the connection was lost", kExitConnectionLost) : 0;
}

}  // namespace

int main() {
    SetConsoleOutputCP(CP_UTF8);
    CLI::App app("Speaks with VDIPC.dll through its pipe. Without a COMMAND, lines of standard input are "
                 "sent: a JSON object as it\n"
                 "stands, a short form as the command that it stands for. Frames that come back are printed "
                 "as one JSON line each.",
                 "vdclient");
    Options options;
    app.add_option("--timeout", options.timeout_ms, "milliseconds to wait for the pipe, and for --wait")
        ->capture_default_str();
    app.add_option("--ping", options.ping_ms, "send a ping every so many milliseconds");
    app.add_option("--listen", options.listen_ms, "stay connected so many milliseconds after the last line");
    app.add_option("--wait", options.wait_event, "stay connected until an event of this name has come");
    app.add_flag("--raw", options.raw,
                 "lines of standard input are bytes in hexadecimal, sent as they stand");
    app.add_option(
           "--classroom", options.classroom,
           "port of the simulated classroom, or the file that holds it: lines \"classroom {JSON}\" move it, "
           "\"classroom state\" shows it")
        ->capture_default_str();
    app.add_option("command", options.words, "a command in its short form, or one JSON object");
    app.positionals_at_end();
    app.allow_windows_style_options(false);
    app.footer(ShortFormHelp() + "Exit codes: 0 done, 2 bad words, 3 nobody serves the pipe, 4 another "
                                 "client holds it, 5 connection lost,\n"
                                 "6 the event of --wait has not come, 7 connected, but not served.");
    std::vector<std::string> arguments = Utf8Arguments();
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    }
    const int code = Run(options);
    std::fflush(stdout);
    std::_Exit(code);
}
