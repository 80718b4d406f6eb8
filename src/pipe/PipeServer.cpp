#include "pipe/PipeServer.h"

#include "common/Log.h"

#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

namespace vdipc {

PipeServer::PipeServer(MsgCallback msg_callback, PingCallback ping_callback,
                       ReadErrorCallback read_error_callback)
    : msg_callback_(std::move(msg_callback)), ping_callback_(std::move(ping_callback)),
      read_error_callback_(std::move(read_error_callback)) {
    VD_LOG_ENTRY();
}

PipeServer::~PipeServer() {
    VD_LOG_ENTRY();
    DeletePipeIO();
}

void PipeServer::CreatePipeIO() {
    // The reader starts before the object is in its field. A ping that is in the pipe already must find it there, or it
    // would get no reply.
    const auto in_place = std::make_shared<std::mutex>();
    const auto on_data = [this, in_place](const PipeData& data) {
        { const std::lock_guard wait_until_in_place(*in_place); }
        OnPipeDataReceived(data);
    };
    PipeIO* old = nullptr;
    {
        const std::lock_guard lock(*in_place);
        old = pipe_io_.exchange(
            std::make_unique<PipeIO>(pipe_.load(), on_data, read_error_callback_).release());
    }
    delete old;
}

void PipeServer::DeletePipeIO() {
    // Null first, so that SendMsg stops queuing before the threads are joined.
    delete pipe_io_.exchange(nullptr);
}

void PipeServer::OnPipeDataReceived(const PipeData& data) {
    if (data.type == kFrameTypePing) {
        if (data.command != kFrameCommandPing) {
            return;
        }
        if (PipeIO* const pipe_io = pipe_io_) {
            PipeData reply;
            reply.type = kFrameTypePing;
            reply.command = kFrameCommandPingReply;
            pipe_io->Send(std::move(reply));
        }
        if (ping_callback_) {
            ping_callback_();
        }
    } else if (data.type == kFrameTypeJson && msg_callback_) {
        VD_LOG(LogLevel::Debug, "{}:{} msg received:{}", std::string_view(data.msg.data(), data.msg.size()));
        // A negative length is beyond any text: this raises, and nothing catches it on the reader thread.
        std::string text;
        text.reserve(static_cast<std::size_t>(data.length));
        text.assign(data.msg.begin(), data.msg.end());
        msg_callback_(text);
    }
}

void PipeServer::SendMsg(const std::string& msg) {
    VD_LOG(LogLevel::Trace, "{}:{} {}", msg);
    PipeIO* const pipe_io = pipe_io_;
    if (pipe_io == nullptr) {
        return;
    }
    PipeData data;
    data.type = kFrameTypeJson;
    data.length = static_cast<std::int32_t>(msg.size());
    data.command = kFrameCommandJson;
    data.msg.assign(msg.begin(), msg.end());
    pipe_io->Send(std::move(data));
}

}  // namespace vdipc
