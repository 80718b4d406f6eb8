// The floor: a program that makes the system calls that the library must make for a client and a keypad, in the plainest
// way, and nothing else. It has no records, no rules and no interfaces; what it logs are the library's own lines, read from
// a file. `Lock` is what its queues stand on.
#pragma once

#include "bench/floor/Closed.h"
#include "bench/floor/Lines.h"
#include "common/closed/Grundkit.h"
#include "common/closed/Trackwire.h"
#include "pipe/PipeData.h"
#include "pipe/PipeServer.h"

#include <array>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <json/json.h>
#include <objbase.h>

namespace vdipc::bench::floor {

/// The compiler's own.
struct StandardLock {
    std::mutex mutex;
    std::condition_variable condition;

    void Enter() { mutex.lock(); }
    void Leave() { mutex.unlock(); }
    void Wait() {
        std::unique_lock lock(mutex, std::adopt_lock);
        condition.wait(lock);
        lock.release();
    }
    void Wake() { condition.notify_one(); }
};

/// The system's slim ones.
struct SlimLock {
    SRWLOCK mutex = SRWLOCK_INIT;
    CONDITION_VARIABLE condition = CONDITION_VARIABLE_INIT;

    void Enter() { AcquireSRWLockExclusive(&mutex); }
    void Leave() { ReleaseSRWLockExclusive(&mutex); }
    void Wait() { SleepConditionVariableSRW(&condition, &mutex, INFINITE, 0); }
    void Wake() { WakeConditionVariable(&condition); }
};

template <typename Lock, typename Item>
class PlainQueue {
public:
    void Push(Item item) {
        lock_.Enter();
        items_.push_back(std::move(item));
        lock_.Wake();
        lock_.Leave();
    }
    Item Pop() {
        lock_.Enter();
        while (items_.empty()) {
            lock_.Wait();
        }
        Item item = std::move(items_.front());
        items_.pop_front();
        lock_.Leave();
        return item;
    }

private:
    Lock lock_;
    std::deque<Item> items_;
};

template <typename Lock>
class Bare {
public:
    Bare(const Lines& lines, std::uint32_t keypads) : lines_(lines) {
        log_ = CreateFileA("floor.log", FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        for (std::uint32_t keypad = 1; keypad <= keypads; ++keypad) {
            active_.insert(std::to_string(keypad));
        }
        pipe_ = CreateNamedPipeA(kPipeName, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, 0,
                                 PIPE_UNLIMITED_INSTANCES, 524288, 524288, 0, nullptr);
        OVERLAPPED overlapped = {};
        overlapped.hEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        const bool waits = !ConnectNamedPipe(pipe_, &overlapped) && GetLastError() == ERROR_IO_PENDING;
        threads_.emplace_back([this] {
            while (true) {
                tasks_.Pop()();
            }
        });
        if (waits) {
            WaitForSingleObject(overlapped.hEvent, INFINITE);
        }
        threads_.emplace_back([this] { Read(); });
        threads_.emplace_back([this] { Write(); });
    }

    void Press(std::uint32_t keypad) {
        const std::string id = std::to_string(keypad);
        Log(lines_.Of("key").front());
        tasks_.Push([this, id] {
            const std::string guid = Guid();
            Json::Value root;
            root["event"] = "key-pressed";
            root["id"] = Utf8(guid);
            root["device"] = Utf8(id);
            root["key"] = Utf8("B");
            root["data"] = Json::Value();
            root["extra"] = Utf8("");
            root["custom"] = Utf8("q1");
            const std::string text = Utf8(root.toStyledString());
            LogRest("key", text);
            Send(text);
            CTrackwire record;
            record.Push("Action", "ipc_vdk_event_key_pressed");
            record.Push("uniq_id", guid);
            record.Push("device", id);
            record.Push("key", "B");
            record.Push("extra", "");
            record.Push("custom", "q1");
            record.Push("rssi", std::uint32_t{50});
            Finish(record);
        });
    }

    void Arrive(std::uint32_t keypad) {
        const std::string id = std::to_string(keypad);
        Log(lines_.Of("arrive").front());
        tasks_.Push([this, id] {
            active_.insert(id);
            std::ofstream file("floor-devices.json");
            Json::Value devices;
            for (const char* const kind : {"LW", "RV1", "RV2", "TQ2"}) {
                devices[kind] = Json::Value();
            }
            Json::Value array;
            for (const std::string& device : active_) {
                array.append(Utf8(device));
            }
            devices["TQ1"] = array;
            devices_ = devices.toStyledString();
            const std::unique_ptr<Json::StreamWriter> writer(Json::StreamWriterBuilder().newStreamWriter());
            writer->write(devices, &file);
            file.flush();
            const std::string guid = Guid();
            Json::Value root;
            root["event"] = "activated";
            root["id"] = Utf8(guid);
            root["device"] = Utf8(id);
            const std::string text = Utf8(root.toStyledString());
            LogRest("arrive", text);
            Send(text);
            CTrackwire record;
            record.Push("Action", "ipc_vdk_event_activated");
            record.Push("uniq_id", guid);
            record.Push("device", id);
            Finish(record);
        });
    }

private:
    static std::string Utf8(const std::string& text) {
        return CStringConvert::WString2String(CStringConvert::String2WString(text, 0), 65001);
    }
    static std::string Local(const std::string& text) {
        return CStringConvert::WString2String(CStringConvert::String2WString(text, 65001), 0);
    }

    static std::string Guid() {
        GUID guid;
        static_cast<void>(CoCreateGuid(&guid));
        char text[37];
        std::snprintf(text, sizeof text, "%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", guid.Data1,
                      guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2], guid.Data4[3],
                      guid.Data4[4], guid.Data4[5], guid.Data4[7], guid.Data4[7]);
        return text;
    }

    void Log(const std::string& text) {
        SYSTEMTIME now;
        GetLocalTime(&now);
        fmt::basic_memory_buffer<char, 500> line;
        fmt::format_to(fmt::appender(line), "[{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}][{}][{:05x}] {}",
                       now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond,
                       now.wMilliseconds, "Debug", GetCurrentThreadId(), text);
        DWORD written = 0;
        WriteFile(log_, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
        WriteFile(log_, "\r\n", 2, &written, nullptr);
    }

    void LogRest(const std::string& what, const std::string& event) {
        const std::vector<std::string>& lines = lines_.Of(what);
        for (std::size_t i = 1; i < lines.size(); ++i) {
            if (lines[i].starts_with("PipeServer::SendMsg:")) {
                Log("PipeServer::SendMsg:88 " + event);
            } else if (lines[i].starts_with("IpcHandler::SaveActiveDevices:") &&
                       lines[i].find("decvices") != std::string::npos) {
                Log("IpcHandler::SaveActiveDevices:44 decvices: " + devices_);
            } else {
                Log(lines[i]);
            }
        }
    }

    void Finish(CTrackwire& record) {
        record.Push("device_name", "TQ1");
        record.Push("channel", "");
        SYSTEMTIME now;
        GetLocalTime(&now);
        char text[64];
        std::snprintf(text, sizeof text, "%04d.%02d.%02d %02d:%02d:%02d.%03d", now.wYear, now.wMonth,
                      now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
        record.Push("reporttime", text);
        record.Logger();
    }

    void Send(const std::string& text) {
        PipeData data;
        data.type = kFrameTypeJson;
        data.length = static_cast<std::int32_t>(text.size());
        data.command = kFrameCommandJson;
        data.msg.assign(text.begin(), text.end());
        frames_.Push(std::move(data));
    }

    void Ask(const std::string& text) {
        Json::Value root;
        for (int time = 0; time < 2; ++time) {
            const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
            std::string errors;
            reader->parse(text.data(), text.data() + text.size(), &root, &errors);
            Local(root["command"].asString());
        }
        CTrackwire record;
        record.Push("Action", "ipc_vdk_command_ask");
        for (const char* const key : {"id", "type", "device", "row1", "row2", "row3", "custom"}) {
            record.Push(key, Local(root[key].asString()));
        }
        record.Push("full_msg", text);
        Finish(record);
        const std::string rows[] = {Local(root["row1"].asString()), Local(root["row2"].asString()),
                                    Local(root["row3"].asString())};
        auto id = active_.begin();
        for (const std::string& line : lines_.Of("ask")) {
            Log(line);
            if (line.find(" SendQuestion ") != std::string::npos) {
                Receiver().SendQuestion({}, EnumQuestionType{}, 0);
            } else if (line.find(" SetContext ") != std::string::npos && id != active_.end()) {
                Receiver().SetContext(0, static_cast<std::uint32_t>(std::stoul(*id++)), rows[0].c_str(),
                                      rows[1].c_str(), rows[2].c_str(), 0);
            }
        }
    }

    DWORD Transfer(bool reads, char* bytes, DWORD count) {
        OVERLAPPED overlapped = {};
        overlapped.hEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        DWORD transferred = 0;
        const BOOL done = reads ? ReadFile(pipe_, bytes, count, &transferred, &overlapped)
                                : WriteFile(pipe_, bytes, count, &transferred, &overlapped);
        if (!done) {
            transferred = 0;
            if (GetLastError() == ERROR_IO_PENDING) {
                WaitForSingleObject(overlapped.hEvent, INFINITE);
                GetOverlappedResult(pipe_, &overlapped, &transferred, FALSE);
            }
        }
        CloseHandle(overlapped.hEvent);
        return transferred;
    }

    void Read() {
        while (true) {
            PipeData data;
            for (std::int32_t* const field : {&data.type, &data.length, &data.command}) {
                if (Transfer(true, reinterpret_cast<char*>(field), sizeof *field) != sizeof *field) {
                    return;
                }
            }
            if (data.type == kFrameTypePing) {
                PipeData reply;
                reply.type = kFrameTypePing;
                reply.command = kFrameCommandPingReply;
                frames_.Push(std::move(reply));
                Log(lines_.Of("ping").front());
                continue;
            }
            data.msg.resize(static_cast<std::size_t>(data.length));
            Transfer(true, data.msg.data(), static_cast<DWORD>(data.length));
            const std::string text(data.msg.begin(), data.msg.end());
            Log("PipeServer::OnPipeDataReceived:71 msg received:" + text);
            tasks_.Push([this, text] {
                Log("IpcHandler::RouteMessage:81 task begin msg=" + text);
                Ask(text);
            });
        }
    }

    void Write() {
        while (true) {
            const PipeData data = frames_.Pop();
            std::vector<char> frame(kFrameHeaderSize + data.msg.size());
            std::memcpy(frame.data(), &data.type, 4);
            std::memcpy(frame.data() + 4, &data.length, 4);
            std::memcpy(frame.data() + 8, &data.command, 4);
            std::copy(data.msg.begin(), data.msg.end(), frame.begin() + kFrameHeaderSize);
            Transfer(false, frame.data(), static_cast<DWORD>(frame.size()));
        }
    }

    const Lines lines_;
    HANDLE log_ = nullptr;
    HANDLE pipe_ = nullptr;
    std::set<std::string> active_;
    std::string devices_;
    PlainQueue<Lock, std::function<void()>> tasks_;
    PlainQueue<Lock, PipeData> frames_;
    std::vector<std::thread> threads_;
};

}  // namespace vdipc::bench::floor
