#include "pipe/PipeIO.h"

#include "common/Log.h"

#include <cstring>
#include <mutex>
#include <utility>

namespace vdipc {
namespace {

// The writer's buffer serves one frame behind the other, but no large one for the rest of the connection.
constexpr std::size_t kKeptCapacity = 64 * 1024;

}  // namespace

PipeIO::PipeIO(PipeHandle pipe, DataCallback data_callback, ErrorCallback error_callback)
    : pipe_(pipe), data_callback_(std::move(data_callback)), error_callback_(std::move(error_callback)) {
    VD_LOG_ENTRY();
    Start();
}

PipeIO::~PipeIO() {
    Stop();
}

void PipeIO::Start() {
    VD_LOG_ENTRY();
    running_ = true;
    read_thread_ = std::make_unique<std::thread>(&PipeIO::ReadThread, this);
    write_thread_ = std::make_unique<std::thread>(&PipeIO::WriteThread, this);
}

void PipeIO::Stop() {
    VD_LOG_ENTRY();
    running_ = false;
    // Nobody closes an event that was taken here: the system may still hold it for the operation in progress.
    if (const EventHandle event = write_event_.exchange(nullptr)) {
        SignalEvent(event);
    }
    if (const EventHandle event = read_event_.exchange(nullptr)) {
        SignalEvent(event);
    }
    {
        std::lock_guard lock(mutex_);
        send_queue_.emplace_back();  // wakes the writer
        send_cond_.NotifyOne();
    }
    if (write_thread_) {
        write_thread_->join();
        write_thread_.reset();
    }
    if (read_thread_) {
        read_thread_->join();
        read_thread_.reset();
    }
}

void PipeIO::Send(PipeData data) {
    std::lock_guard lock(mutex_);
    send_queue_.push_back(std::move(data));
    send_cond_.NotifyOne();
}

bool PipeIO::ReadField(std::vector<char>& bytes, std::int32_t& field) {
    if (Read(bytes) != sizeof field) {
        return false;
    }
    std::memcpy(&field, bytes.data(), sizeof field);
    return true;
}

void PipeIO::ReadThread() {
    VD_LOG(LogLevel::Trace, "{}:{} ReadThread begin");
    bool failed = false;
    std::vector<char> field(sizeof(std::int32_t));
    while (running_) {
        failed = true;
        PipeData data;
        if (!ReadField(field, data.type)) {
            VD_LOG(LogLevel::Warn, "{}:{} Read type failed");
            break;
        }
        if (!ReadField(field, data.length)) {
            VD_LOG(LogLevel::Warn, "{}:{} Read length failed");
            break;
        }
        if (!ReadField(field, data.command)) {
            VD_LOG(LogLevel::Warn, "{}:{} Read command failed");
            break;
        }
        if (data.length > 0) {
            const auto length = static_cast<std::uint32_t>(data.length);
            data.msg.resize(length);
            // One read: a payload that comes in pieces costs the client its connection.
            if (Read(data.msg) != length) {
                VD_LOG(LogLevel::Warn, "{}:{} Read msg failed");
                break;
            }
        }
        failed = false;
        if (data_callback_) {
            data_callback_(data);
        }
    }
    // Where running_ was false already, the failure is what Stop caused, and nobody is told.
    if (failed && running_) {
        VD_LOG(LogLevel::Warn, "{}:{} Read data error, terminate ReadThread");
        running_ = false;
        if (error_callback_) {
            error_callback_();
        }
    }
    VD_LOG(LogLevel::Trace, "{}:{} ReadThread end");
}

void PipeIO::WriteThread() {
    VD_LOG(LogLevel::Trace, "{}:{} WriteThread begin");
    std::vector<char> frame;
    while (running_) {
        PipeData data;
        {
            std::lock_guard lock(mutex_);
            while (send_queue_.empty()) {
                send_cond_.Wait(mutex_);
            }
            data = std::move(send_queue_.front());
            send_queue_.pop_front();
        }
        if (running_) {
            frame = SerializeFrame(data, std::move(frame));
            // The result is nobody's concern: a frame that fails is lost, and the reader notices a lost client.
            Write(frame);
            if (frame.capacity() > kKeptCapacity) {
                frame = {};
            }
        }
    }
    VD_LOG(LogLevel::Trace, "{}:{} WriteThread end");
}

}  // namespace vdipc
