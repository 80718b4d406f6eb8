// What the library costs beside a bare program that makes the same system calls: host, client and the figures. One part of
// it is started by another; ./dev bench floor is what a person starts.
//
//   vdipc_floor host ours|std|srw KEYPADS [LINES]   serves until it is told to end
//   vdipc_floor cost KEYPADS                        prints what start, keypads and stop cost the library
//   vdipc_floor client WHAT COUNT KEYPADS ours|bare measures, prints one line of microseconds, ends the host
//
// WHAT is ping, key, flood, ask, arrive, or order: an order that does nothing, which shows what the measurement itself takes.
#include "bench/floor/Bare.h"
#include "bench/floor/Closed.h"
#include "bench/floor/Lines.h"
#include "bench/floor/Signals.h"
#include "ipc/IIpcHandler.h"
#include "ipc/IpcHandler.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <psapi.h>

namespace vdipc::bench::floor {
namespace {

constexpr char kInit[] = R"({"command": "init", "id": "i", "preferred-device-type": "non-audio"})";
constexpr char kAskAll[] = R"({"command": "ask", "id": "a", "device": "0", "type": "single-choice", )"
                           R"("row1": "2 + 2 = ?", "row2": "A 3  B 4", "row3": "C 5  D 6", "custom": "q1"})";
constexpr std::int32_t kKeyB = 2;
constexpr DWORD kPatience = 120000;  // milliseconds
constexpr wchar_t kCountFrom[] = L"vdipc-floor-count-from";
constexpr wchar_t kCountTo[] = L"vdipc-floor-count-to";

// ---- host

/// Carries out orders on a thread of its own, as a receiver's library would.
void ServeOrders(Signals& signals, const std::function<void(std::uint32_t)>& press,
                 const std::function<void(std::uint32_t)>& arrive) {
    while (true) {
        const Task task = signals.Take();
        if (task.order == Order::End) {
            return;
        }
        if (task.order == Order::Nothing) {
            continue;
        }
        for (std::uint32_t keypad = task.first; keypad < task.first + task.count; ++keypad) {
            (task.order == Order::Press ? press : arrive)(keypad);
        }
    }
}

template <typename Lock>
void ServeBare(Signals& signals, const std::string& lines, std::uint32_t keypads) {
    // Never taken down: the process ends instead.
    auto& bare = *new Bare<Lock>(Lines(lines), keypads);
    ServeOrders(
        signals, [&](std::uint32_t keypad) { bare.Press(keypad); },
        [&](std::uint32_t keypad) { bare.Arrive(keypad); });
}

void ServeOurs(Signals& signals) {
    IpcHandler::Instance().Initialize();
    ServeOrders(
        signals, [](std::uint32_t keypad) { ReceiverListener()->OnKeyEvent(keypad, kKeyB, 1, 1, 0, 0, 50); },
        [](std::uint32_t keypad) { ReceiverListener()->OnBindCard(keypad); });
}

int Host(const std::vector<std::string>& words) {
    static Signals& signals = *new Signals();
    UseSignals(signals);
    const auto keypads = static_cast<std::uint32_t>(std::stoul(words.at(2)));
    if (words[1] == "ours") {
        ServeOurs(signals);
    } else if (words[1] == "std") {
        ServeBare<StandardLock>(signals, words.at(3), keypads);
    } else {
        ServeBare<SlimLock>(signals, words.at(3), keypads);
    }
    std::fflush(stdout);
    TerminateProcess(GetCurrentProcess(), 0);
    return 0;
}

// ---- client

class Client {
public:
    Client() {
        for (int tries = 0; pipe_ == INVALID_HANDLE_VALUE; ++tries) {
            pipe_ =
                CreateFileA(kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
            if (pipe_ == INVALID_HANDLE_VALUE && tries == 400) {
                throw std::runtime_error("nobody serves the pipe");
            }
            if (pipe_ == INVALID_HANDLE_VALUE) {
                Sleep(50);
            }
        }
    }

    void Send(std::int32_t type, std::int32_t command, const std::string& text) {
        std::string frame(kFrameHeaderSize, '\0');
        const auto length = static_cast<std::int32_t>(text.size());
        std::memcpy(frame.data(), &type, 4);
        std::memcpy(frame.data() + 4, &length, 4);
        std::memcpy(frame.data() + 8, &command, 4);
        frame += text;
        DWORD written = 0;
        if (!WriteFile(pipe_, frame.data(), static_cast<DWORD>(frame.size()), &written, nullptr)) {
            throw std::runtime_error("the pipe broke");
        }
    }

    /// The payload of the next frame.
    std::string Receive() {
        while (true) {
            if (const std::size_t have = end_ - begin_; have >= kFrameHeaderSize) {
                std::int32_t length = 0;
                std::memcpy(&length, buffer_.data() + begin_ + 4, 4);
                const std::size_t whole = kFrameHeaderSize + static_cast<std::size_t>(length);
                if (have >= whole) {
                    const std::string text(buffer_.data() + begin_ + kFrameHeaderSize,
                                           static_cast<std::size_t>(length));
                    begin_ += whole;
                    return text;
                }
            }
            std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
            end_ -= begin_;
            begin_ = 0;
            DWORD got = 0;
            if (!ReadFile(pipe_, buffer_.data() + end_, static_cast<DWORD>(buffer_.size() - end_), &got,
                          nullptr)) {
                throw std::runtime_error("the pipe broke");
            }
            end_ += got;
        }
    }

    /// The next event of this name.
    std::string WaitForEvent(const std::string& name) {
        while (true) {
            std::string text = Receive();
            if (text.find("\"event\" : \"" + name + "\"") != std::string::npos) {
                return text;
            }
        }
    }

private:
    HANDLE pipe_ = INVALID_HANDLE_VALUE;
    std::vector<char> buffer_ = std::vector<char>(1 << 20);
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

double Microseconds(std::int64_t ticks) {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(ticks) * 1e6 / static_cast<double>(frequency.QuadPart);
}

double Middle(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

/// Microseconds until the receiver has been shown the question on all keypads.
double AskAll(Client& client, Signals& signals, std::uint32_t keypads) {
    signals.orders().contexts_due = static_cast<LONG>(keypads);
    signals.orders().contexts = 0;
    const std::int64_t begin = Now();
    client.Send(kFrameTypeJson, kFrameCommandJson, kAskAll);
    if (!signals.WaitUntilAsked(kPatience)) {
        throw std::runtime_error("the receiver was not asked");
    }
    const double time = Microseconds(signals.orders().contexts_end - begin);
    Sleep(20);  // the receivers that aren't there are asked behind this one
    return time;
}

void Arrive(Client& client, Signals& signals, std::uint32_t first, std::uint32_t count) {
    signals.Give(Order::Arrive, first, count);
    for (std::uint32_t i = 0; i < count; ++i) {
        client.WaitForEvent("activated");
    }
}

/// Shows in the protocol of Wine's server where counting begins and ends. The event stays open: closing it would count.
void Mark(const wchar_t* name) {
    if (CreateEventW(nullptr, FALSE, FALSE, name) == nullptr) {
        throw std::runtime_error("no event");
    }
}

int Measure(const std::vector<std::string>& words) {
    const std::string& what = words.at(1);
    const auto count = static_cast<std::uint32_t>(std::stoul(words.at(2)));
    const auto keypads = static_cast<std::uint32_t>(std::stoul(words.at(3)));
    const bool ours = words.at(4) == "ours";
    Signals signals;
    Client client;
    signals.WaitUntilServed(kPatience / 4);  // floor.py waits no longer than 90 s
    if (ours) {
        client.Send(kFrameTypeJson, kFrameCommandJson, kInit);
        client.WaitForEvent("device-inited");
    }
    Sleep(
        200);  // the library makes its window for USB notices behind that event, which is no part of any operation
    std::vector<double> times;
    if (what == "ping") {
        Mark(kCountFrom);
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::int64_t begin = Now();
            client.Send(kFrameTypePing, kFrameCommandPing, "");
            client.Receive();
            times.push_back(Microseconds(Now() - begin));
        }
    } else if (what == "ask") {
        for (std::uint32_t i = 0; i < count; ++i) {
            times.push_back(AskAll(client, signals, keypads));
        }
    } else if (what == "arrive") {
        Mark(kCountFrom);
        Arrive(client, signals, 1, count);
        times.push_back(Microseconds(Now() - signals.orders().begun) / count);
    } else if (what == "order") {
        Mark(kCountFrom);
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::int64_t begin = Now();
            signals.Give(Order::Nothing, 0, 0);
            signals.WaitUntilDone();
            times.push_back(Microseconds(Now() - begin));
        }
    } else {
        // Each keypad answers once a question.
        for (std::uint32_t done = 0; done < count; done += keypads) {
            if (ours) {
                AskAll(client, signals, keypads);
            }
            if (done == 0) {
                Mark(kCountFrom);
            }
            const std::uint32_t round = std::min(keypads, count - done);
            if (what == "flood") {
                signals.Give(Order::Press, 1, round);
                for (std::uint32_t i = 0; i < round; ++i) {
                    client.WaitForEvent("key-pressed");
                }
                times.push_back(Microseconds(Now() - signals.orders().begun) / round);
                continue;
            }
            for (std::uint32_t keypad = 1; keypad <= round; ++keypad) {
                signals.Give(Order::Press, keypad, 1);
                const std::string event = client.WaitForEvent("key-pressed");
                times.push_back(Microseconds(Now() - signals.orders().begun));
                if (event.find("\"device\" : \"" + std::to_string(keypad) + "\"") == std::string::npos) {
                    throw std::runtime_error("another key came than the one that was pressed: " + event);
                }
            }
        }
    }
    Mark(kCountTo);
    std::printf("%.3f\n", Middle(times));
    std::fflush(stdout);
    if (count == 1) {
        Sleep(300);  // the lines of this run are looked at: let the last ones come
    }
    signals.Give(Order::End, 0, 0);
    Sleep(100);  // the host ends first, so that it logs no lost client
    return 0;
}

// ---- what a lesson costs

double PrivateMegabytes() {
    PROCESS_MEMORY_COUNTERS_EX counters = {};
    GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters),
                         sizeof counters);
    return static_cast<double>(counters.PrivateUsage != 0 ? counters.PrivateUsage : counters.PagefileUsage) /
           (1024.0 * 1024.0);
}

/// Host and client in one process: the library alone, over closed libraries that cost next to nothing.
int Cost(const std::vector<std::string>& words) {
    static Signals& signals = *new Signals();
    UseSignals(signals);
    const auto keypads = static_cast<std::uint32_t>(std::stoul(words.at(1)));
    const double before = PrivateMegabytes();
    const std::int64_t started = Now();
    IpcHandler& handler = IpcHandler::Instance();
    handler.Initialize();
    // Until somebody can open the pipe, without opening it.
    while (!WaitNamedPipeA(kPipeName, 1)) {
        Sleep(0);
    }
    const double offered = Microseconds(Now() - started) / 1000;
    const double waiting = PrivateMegabytes();
    Sleep(500);  // the library waits for its client from here on
    Client client;
    client.Send(kFrameTypeJson, kFrameCommandJson, kInit);
    client.WaitForEvent("device-inited");
    const double inited = PrivateMegabytes();
    for (std::uint32_t keypad = 1; keypad <= keypads; ++keypad) {
        ReceiverListener()->OnBindCard(keypad);
        client.WaitForEvent("activated");
    }
    const double arrived = PrivateMegabytes();
    const std::int64_t stopping = Now();
    handler.Uninitialize();
    const double stopped = Microseconds(Now() - stopping) / 1000;
    std::printf("offered_ms=%.1f\nprocess_mb=%.2f\nwaiting_mb=%.2f\ninited_mb=%.2f\narrived_mb=%.2f\n"
                "mb_per_1000=%.2f\nstop_ms=%.1f\n",
                offered, before, waiting, inited, arrived, (arrived - inited) * 1000 / keypads, stopped);
    std::fflush(stdout);
    TerminateProcess(GetCurrentProcess(), 0);
    return 0;
}

}  // namespace
}  // namespace vdipc::bench::floor

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    try {
        if (!words.empty() && words[0] == "host") {
            return vdipc::bench::floor::Host(words);
        }
        if (!words.empty() && words[0] == "client") {
            return vdipc::bench::floor::Measure(words);
        }
        if (!words.empty() && words[0] == "cost") {
            return vdipc::bench::floor::Cost(words);
        }
        std::fputs("vdipc_floor is a part of: ./dev bench floor\n", stderr);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vdipc_floor: %s\n", error.what());
    }
    return 2;
}
