#include "soak/Rig.h"

#include "pipe/PipeServer.h"
#include "support/SchemaCheck.h"

#include <windows.h>

#include <filesystem>
#include <stdexcept>

namespace vdipc::soak {
namespace {

constexpr std::chrono::seconds kPatience{60};
constexpr const char* kRegistryKey = "SOFTWARE\\ZVN\\VDShell";
constexpr const char* kRegistryValue = "using_channel";

}  // namespace

Client::Client() {
    if (pipe_.Open(kPatience) != client::ConnectResult::Connected) {
        throw std::runtime_error("the pipe can't be opened: " + pipe_.LastError());
    }
    reader_ = std::thread([this] { ReadLoop(); });
}

Client::~Client() {
    pipe_.Cancel();
    reader_.join();
    pipe_.Close();
}

void Client::ReadLoop() {
    client::Frame frame;
    while (pipe_.Read(frame)) {
        const std::lock_guard lock(mutex_);
        if (frame.type == kFrameTypePing) {
            ++replies_;
        } else {
            const std::string fault = test::CheckEvent(frame.payload);
            Json::Value event = tools::ParseJsonText(frame.payload);
            if (!fault.empty()) {
                event["against the schema"] = fault;
            }
            events_.push_back(event);
        }
        changed_.notify_all();
    }
    const std::lock_guard lock(mutex_);
    lost_ = true;
    changed_.notify_all();
}

void Client::Send(const std::string& json) {
    if (!pipe_.Write(client::JsonFrameBytes(json))) {
        throw std::runtime_error("the pipe doesn't take " + json + ": " + pipe_.LastError());
    }
}

void Client::Ping() {
    std::unique_lock lock(mutex_);
    const std::size_t wanted = replies_ + 1;
    lock.unlock();
    if (!pipe_.Write(client::PingBytes())) {
        throw std::runtime_error("the pipe takes no ping: " + pipe_.LastError());
    }
    lock.lock();
    if (!changed_.wait_for(lock, kPatience, [&] { return replies_ >= wanted || lost_; }) ||
        replies_ < wanted) {
        throw std::runtime_error(lost_ ? "the library has dropped the client" : "no reply to a ping");
    }
}

std::vector<Json::Value> Client::TakeEvents() {
    const std::lock_guard lock(mutex_);
    std::vector<Json::Value> events(events_.begin(), events_.end());
    events_.clear();
    return events;
}

void Client::WaitForEvent(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, timeout, [this] { return !events_.empty() || lost_; });
}

Rig::Rig(const std::wstring& binaries, const std::wstring& directory) : directory_(directory) {
    std::filesystem::remove_all(std::filesystem::path(directory));
    tools::PrepareStage(binaries, directory);
}

void Rig::StartHost(const std::string& plugged, const std::string& station, std::uint64_t seed) {
    tools::HostOptions options;
    options.directory = directory_;
    options.environment["CLASSROOM_PLUGGED"] = plugged;
    options.environment["CLASSROOM_STATION"] = station;
    options.environment["CLASSROOM_SEED"] = std::to_string(seed);
    options.on_error = [](const std::string&) {};
    // Recordings are saved below the directory for temporary files: in the lesson's own.
    options.environment["TMP"] = std::filesystem::path(directory_).string();
    host_ = std::make_unique<tools::Host>(options);
    next_call_ = 1;
}

Client& Rig::TheClient() {
    if (client_ == nullptr) {
        throw std::runtime_error("there is no client");
    }
    return *client_;
}

void Rig::StopHost() {
    tools::Process& process = host_->TheProcess();
    process.CloseInput();
    if (!host_->WaitForEnd(60000)) {
        throw std::runtime_error("the host doesn't end");
    }
    client_.reset();
    if (process.ExitCode() != 0) {
        throw std::runtime_error("the host ended with exit code " + std::to_string(process.ExitCode()));
    }
    host_.reset();
}

void Rig::KillHost() {
    host_->TheProcess().Kill();
    host_.reset();
    client_.reset();
}

void Rig::LoseClient() {
    client_.reset();
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (WaitNamedPipeA(kPipeName, 1) == FALSE) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("the library doesn't wait for the next client");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

std::vector<Json::Value> Rig::NewCalls(std::uint32_t wait_ms) {
    std::vector<Json::Value> calls;
    for (const Json::Value& call : host_->Classroom().SawSince(next_call_, wait_ms)) {
        calls.push_back(call);
        next_call_ = call["n"].asUInt64() + 1;
    }
    return calls;
}

Json::Value Rig::SavedKeypads() const {
    const std::string text = tools::ReadWholeFile(directory_ + L"\\devices.json");
    return text.empty() ? Json::Value() : tools::ParseJsonText(text);
}

std::optional<std::int32_t> ReadChannel() {
    DWORD value = 0;
    DWORD size = sizeof value;
    const LSTATUS result = RegGetValueA(HKEY_CURRENT_USER, kRegistryKey, kRegistryValue, RRF_RT_REG_DWORD,
                                        nullptr, &value, &size);
    return result == ERROR_SUCCESS ? std::optional(static_cast<std::int32_t>(value)) : std::nullopt;
}

void WriteChannel(const std::optional<std::int32_t>& channel) {
    if (channel) {
        const auto value = static_cast<DWORD>(*channel);
        RegSetKeyValueA(HKEY_CURRENT_USER, kRegistryKey, kRegistryValue, REG_DWORD, &value, sizeof value);
    } else {
        RegDeleteKeyValueA(HKEY_CURRENT_USER, kRegistryKey, kRegistryValue);
    }
}

}  // namespace vdipc::soak
