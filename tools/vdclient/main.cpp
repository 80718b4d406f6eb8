// A console for the pipe: JSON lines on standard input become frames, frames become JSON lines on standard output.

#include "tools/common/ClassroomClient.h"
#include "tools/common/HexBlocks.h"
#include "tools/common/ShortForms.h"
#include "tools/common/Stage.h"
#include "tools/common/WideText.h"
#include "tools/vdclient/Desk.h"
#include "vdipc/client/Client.h"

#include <CLI/CLI.hpp>
#include <json/json.h>

#include <shellapi.h>
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
constexpr int kExitEventMissing = 6;  // or the end of the connection behind "quit"
constexpr int kExitNotServed = 7;

struct Options {
    std::uint32_t timeout_ms = 10000;
    std::uint32_t ping_ms = 0;
    std::uint32_t listen_ms = 0;
    std::string wait_event;
    std::string classroom = Utf8FromWide(OwnDirectory()) + "classroom.port";
    bool raw = false;
    bool force = false;
    int page_port = 0;
    bool open = false;
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

/// A JSON object is sent as it stands, everything else is taken for a short form.
std::string JsonOfLine(const std::string& line, bool force) {
    const std::size_t first = line.find_first_not_of(" \t");
    if (first != std::string::npos && line[first] == '{') {
        return line;
    }
    return JsonOfShortForm(SplitWords(line), force);
}

bool IsQuit(const std::string& json) {
    Json::Value value;
    std::string errors;
    try {
        return ParseJson(json, value, errors) && value.isObject() && value["command"] == "quit";
    } catch (const Json::Exception&) {
        return false;  // nested too deep
    }
}

constexpr std::string_view kClassroomWord = "classroom ";

/// The port of the simulated classroom, which is given or stands in the file that is; 0 where there is none.
int ClassroomPort(const std::string& where) {
    const bool number = !where.empty() && where.find_first_not_of("0123456789") == std::string::npos;
    const std::string port = number ? where : ReadWholeFile(WideFromUtf8(where));
    const bool good =
        !port.empty() && port.size() <= 5 && port.find_first_not_of("0123456789") == std::string::npos;
    return good ? std::stoi(port) : 0;
}

/// What the simulated classroom answers to one action, or to the word "state". `where` is its port, or the file that
/// holds it. Raises std::runtime_error with words for the user.
std::string AskClassroom(const std::string& where, const std::string& words) {
    const int port = ClassroomPort(where);
    if (port == 0) {
        throw std::runtime_error("no simulated classroom's port in " + where +
                                 "; name it, or its file beside the host, with --classroom");
    }
    ClassroomClient classroom(port);
    return CompactJson(words == "state" ? classroom.State() : classroom.Do(ParseJsonText(words)));
}

int Complain(const std::string& words, int code) {
    std::cerr << "vdclient: " << words << std::endl;
    return code;
}

/// Sends lines of standard input until it ends. `quits` says whether one of them asked the host to end.
int SendLines(const Options& options, Console& console, Client& client, bool& quits) {
    HexBlocks blocks;
    const auto send = [&](const std::string& bytes) { return bytes.empty() || console.Send(bytes); };
    std::string line;
    while (std::getline(std::cin, line)) {
        bool sent = true;
        try {
            if (options.raw) {
                sent = send(blocks.TakeLine(line));
            } else if (line.find_first_not_of(" \t\r") == std::string::npos) {
                continue;
            } else if (line.starts_with(kClassroomWord)) {
                console.Print(AskClassroom(options.classroom, line.substr(kClassroomWord.size())));
            } else {
                const std::string json = JsonOfLine(line, options.force);
                quits = IsQuit(json) || quits;
                sent = send(JsonFrameBytes(json));
            }
        } catch (const std::invalid_argument& error) {
            Complain(error.what(), kExitUsage);
            if (options.raw) {
                return kExitUsage;  // what follows could be half a frame
            }
        } catch (const std::runtime_error& error) {
            Complain(error.what(), kExitUsage);
        }
        if (!sent && quits) {
            return 0;  // the host has ended, as it was told
        }
        if (!sent) {
            return Complain("the connection was lost: " + client.LastError(), kExitConnectionLost);
        }
    }
    return send(blocks.TakeRest())
               ? 0
               : Complain("the connection was lost: " + client.LastError(), kExitConnectionLost);
}

/// Serves the teacher's page until the process ends.
int ServePage(const Options& options) {
    static Desk desk([&options] { return ClassroomPort(options.classroom); });
    try {
        const std::string address =
            "http://127.0.0.1:" + std::to_string(desk.Listen(options.page_port)) + "/";
        std::cout << "Teacher's page on " << address << std::endl;
        if (options.open) {
            ShellExecuteW(nullptr, L"open", WideFromUtf8(address).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
        }
    } catch (const std::runtime_error& error) {
        return Complain(std::string(error.what()) + "; name another one, or none for any", kExitUsage);
    }
    desk.Run();
}

int Run(const Options& options) {
    std::string first;
    bool quits = false;
    if (!options.words.empty()) {
        try {
            const std::string json = options.words.size() == 1 && options.words[0].starts_with("{")
                                         ? options.words[0]
                                         : JsonOfShortForm(options.words, options.force);
            quits = IsQuit(json);
            first = JsonFrameBytes(json);
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
    } else if (const int code = SendLines(options, console, client, quits); code != 0) {
        return code;
    }
    if (!options.wait_event.empty() && !console.WaitForEvent(options.wait_event, options.timeout_ms)) {
        return Complain("no event \"" + options.wait_event + "\" has come", kExitEventMissing);
    }
    if (options.listen_ms > 0) {
        console.WaitUntilLost(options.listen_ms);
    }
    if (quits) {
        // A client that leaves before may keep the host from ever hearing of it.
        console.WaitUntilLost(options.timeout_ms);
        return console.IsLost()
                   ? 0
                   : Complain("the host hasn't ended the connection within " +
                                  std::to_string(options.timeout_ms) +
                                  " ms; it is busy (--timeout), or goes on whatever its client says",
                              kExitEventMissing);
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
    app.add_option(
           "--timeout", options.timeout_ms,
           "milliseconds to wait for the pipe, for --wait, and for the end of the connection behind quit")
        ->capture_default_str();
    app.add_option("--ping", options.ping_ms, "send a ping every so many milliseconds");
    app.add_option("--listen", options.listen_ms, "stay connected so many milliseconds after the last line");
    app.add_option("--wait", options.wait_event, "stay connected until an event of this name has come");
    app.add_flag(
        "--raw", options.raw,
        "lines of standard input are bytes in hexadecimal, sent as they stand: a block of lines, up to an "
        "empty one, goes out at once; what stands behind two blanks or a # is a comment");
    app.add_flag("--force", options.force, "send words that the library doesn't know, too");
    app.add_option(
           "--classroom", options.classroom,
           "port of the simulated classroom, or the file that holds it: lines \"classroom {JSON}\" move it, "
           "\"classroom state\" shows it")
        ->capture_default_str();
    auto* const page =
        app.add_option("--page", options.page_port,
                       "serve a page on 127.0.0.1 that sends commands and shows events, until the program "
                       "is ended; on this port, or on any free one")
            ->expected(0, 1)
            ->check(CLI::Range(0, 65535));
    app.add_flag("--open", options.open, "open the page in the browser")->needs(page);
    app.add_option("command", options.words, "a command in its short form, or one JSON object");
    app.positionals_at_end();
    app.allow_windows_style_options(false);
    app.footer(
        ShortFormHelp() +
        "Exit codes: 0 done, 2 bad words, 3 nobody serves the pipe, 4 another client holds it, 5 connection "
        "lost,\n"
        "6 the event of --wait, or the end of the connection behind quit, has not come, 7 connected, but not "
        "served.");
    std::vector<std::string> arguments = Utf8Arguments();
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kExitUsage;
    }
    const int code = page->count() > 0 ? ServePage(options) : Run(options);
    std::fflush(stdout);
    std::_Exit(code);
}
