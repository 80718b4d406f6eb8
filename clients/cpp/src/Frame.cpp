#include "vdipc/client/Frame.h"

#include "pipe/PipeData.h"

#include <cstring>
#include <vector>

namespace vdipc::client {

bool IsMessage(const Frame& frame) {
    return frame.type == kFrameTypeJson;
}

bool IsPingReply(const Frame& frame) {
    return frame.type == kFrameTypePing && frame.command == kFrameCommandPingReply;
}

std::string FrameBytes(const Frame& frame) {
    PipeData data;
    data.type = frame.type;
    data.length = static_cast<std::int32_t>(frame.payload.size());
    data.command = frame.command;
    data.msg.assign(frame.payload.begin(), frame.payload.end());
    const std::vector<char> bytes = SerializeFrame(data);
    return {bytes.begin(), bytes.end()};
}

std::string JsonFrameBytes(const std::string& json) {
    return FrameBytes({kFrameTypeJson, kFrameCommandJson, json});
}

std::string PingBytes() {
    return FrameBytes({kFrameTypePing, kFrameCommandPing, {}});
}

void FrameReader::Add(const char* bytes, std::size_t count) {
    bytes_.append(bytes, count);
}

FrameReader::Result FrameReader::Take(Frame& frame) {
    if (Pending() < kFrameHeaderSize) {
        return Result::More;
    }
    std::int32_t header[3] = {};
    static_assert(sizeof header == kFrameHeaderSize);
    std::memcpy(header, bytes_.data() + begin_, sizeof header);
    if (header[1] < 0 || static_cast<std::size_t>(header[1]) > kGreatestPayload) {
        return Result::Broken;
    }
    const auto length = static_cast<std::size_t>(header[1]);
    if (Pending() < kFrameHeaderSize + length) {
        return Result::More;
    }
    frame.type = header[0];
    frame.command = header[2];
    frame.payload.assign(bytes_, begin_ + kFrameHeaderSize, length);
    begin_ += kFrameHeaderSize + length;
    // What was taken is thrown away now and then, so that a row of small frames isn't moved once for each of them.
    if (begin_ == bytes_.size() || begin_ > (std::size_t{1} << 20U)) {
        bytes_.erase(0, begin_);
        begin_ = 0;
    }
    return Result::Frame;
}

void FrameReader::Clear() {
    bytes_.clear();
    begin_ = 0;
}

}  // namespace vdipc::client
