#if !defined(_WIN32)

#include "unit/clients/support/Server.h"

#include "vdipc/client/Connection.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>

namespace {

constexpr std::size_t kBuffer = 4096;

/// One pipe in memory.
struct Memory {
    bool taken = false;
    bool gone = false;
    std::deque<std::string> to_server;
    std::size_t bytes_to_server = 0;
    std::string to_client;
};

/// All pipes by their names, and one lock for everything.
struct World {
    std::mutex mutex;
    std::condition_variable changed;
    std::map<std::string, std::shared_ptr<Memory>> pipes;
};

World& TheWorld() {
    static World world;
    return world;
}

bool Wait(std::unique_lock<std::mutex>& lock, std::chrono::milliseconds timeout,
          const std::function<bool()>& condition) {
    // Long enough for any test, and no overflow of the clock.
    return TheWorld().changed.wait_for(
        lock, std::min<std::chrono::milliseconds>(timeout, std::chrono::hours(1)), condition);
}

}  // namespace

namespace vdipc::test {

struct Server::Pipe {
    std::shared_ptr<Memory> memory;
};

Server::Server() : pipe_(std::make_shared<Pipe>()) {
    static std::atomic<int> count{0};
    name_ = "memory-" + std::to_string(++count);
}

Server::~Server() {
    HangUp();
}

void Server::Make() {
    const std::lock_guard lock(TheWorld().mutex);
    pipe_->memory = std::make_shared<Memory>();
    TheWorld().pipes[name_] = pipe_->memory;
    TheWorld().changed.notify_all();
}

void Server::Listen() {
    if (pipe_->memory == nullptr) {
        Make();
    }
}

bool Server::WaitForClient(std::chrono::milliseconds timeout) {
    std::unique_lock lock(TheWorld().mutex);
    return Wait(lock, timeout, [this] { return pipe_->memory->taken; });
}

std::optional<std::string> Server::TakeWrite(std::chrono::milliseconds timeout) {
    std::unique_lock lock(TheWorld().mutex);
    Memory& memory = *pipe_->memory;
    if (!Wait(lock, timeout, [&memory] { return !memory.to_server.empty() || memory.gone; }) ||
        memory.to_server.empty()) {
        return {};
    }
    std::string bytes = std::move(memory.to_server.front());
    memory.to_server.pop_front();
    memory.bytes_to_server -= bytes.size();
    TheWorld().changed.notify_all();
    return bytes;
}

void Server::Write(const std::string& bytes) {
    const std::lock_guard lock(TheWorld().mutex);
    pipe_->memory->to_client += bytes;
    TheWorld().changed.notify_all();
}

void Server::HangUp() {
    const std::lock_guard lock(TheWorld().mutex);
    if (pipe_->memory != nullptr) {
        pipe_->memory->gone = true;
        pipe_->memory.reset();
        TheWorld().pipes.erase(name_);
        TheWorld().changed.notify_all();
    }
}

}  // namespace vdipc::test

// The client's way to such a pipe, in place of its way to the system's.
namespace vdipc::client {

struct Connection::State {
    std::string name;
    std::shared_ptr<Memory> memory;
    bool cancelled = false;
    std::string error;
    FrameReader frames;
};

std::string PipeName() {
    return "memory";
}

Connection::Connection(std::string pipe_name) : state_(std::make_unique<State>()) {
    state_->name = std::move(pipe_name);
}

Connection::~Connection() {
    Close();
}

ConnectResult Connection::Open(std::chrono::milliseconds timeout) {
    std::unique_lock lock(TheWorld().mutex);
    auto& pipes = TheWorld().pipes;
    const bool open = Wait(lock, timeout, [this, &pipes] {
        const auto found = pipes.find(state_->name);
        return state_->cancelled || (found != pipes.end() && !found->second->taken);
    });
    if (state_->cancelled) {
        return ConnectResult::Cancelled;
    }
    if (!open) {
        return pipes.contains(state_->name) ? ConnectResult::AnotherClient : ConnectResult::NobodyServes;
    }
    state_->memory = pipes[state_->name];
    state_->memory->taken = true;
    state_->frames.Clear();
    TheWorld().changed.notify_all();
    return ConnectResult::Connected;
}

std::string Connection::LastError() const {
    const std::lock_guard lock(TheWorld().mutex);
    return state_->error;
}

bool Connection::Write(const std::string& bytes, std::chrono::milliseconds timeout) {
    std::unique_lock lock(TheWorld().mutex);
    Memory& memory = *state_->memory;
    memory.to_server.push_back(bytes);
    memory.bytes_to_server += bytes.size();
    TheWorld().changed.notify_all();
    const bool in_time = Wait(lock, timeout, [this, &memory] {
        return memory.bytes_to_server <= kBuffer || memory.gone || state_->cancelled;
    });
    return in_time && !memory.gone && !state_->cancelled;
}

bool Connection::Read(Frame& frame, std::chrono::milliseconds timeout) {
    std::unique_lock lock(TheWorld().mutex);
    Memory& memory = *state_->memory;
    for (;;) {
        const FrameReader::Result result = state_->frames.Take(frame);
        if (result != FrameReader::Result::More) {
            state_->error = "what came is no frame";
            return result == FrameReader::Result::Frame;
        }
        const bool in_time = Wait(lock, timeout, [this, &memory] {
            return !memory.to_client.empty() || memory.gone || state_->cancelled;
        });
        if (!in_time || memory.to_client.empty()) {
            state_->error = in_time ? "the pipe has gone" : "nothing came in time";
            return false;
        }
        state_->frames.Add(memory.to_client.data(), memory.to_client.size());
        memory.to_client.clear();
    }
}

void Connection::Cancel() {
    const std::lock_guard lock(TheWorld().mutex);
    state_->cancelled = true;
    TheWorld().changed.notify_all();
}

void Connection::Close() {
    const std::lock_guard lock(TheWorld().mutex);
    if (state_->memory != nullptr) {
        state_->memory->gone = true;
        state_->memory.reset();
    }
    state_->cancelled = false;
    TheWorld().changed.notify_all();
}

bool Connection::IsOpen() const {
    return state_->memory != nullptr;
}

}  // namespace vdipc::client

#endif
