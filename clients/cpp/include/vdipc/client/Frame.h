// Frames of the pipe, on the wire and in memory. Stands on the standard library alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vdipc::client {

/// One frame: the two numbers of its header beside the length, and its payload.
struct Frame {
    std::int32_t type = 0;
    std::int32_t command = 0;
    std::string payload;
};

/// Whether the payload is one JSON message.
bool IsMessage(const Frame& frame);
/// Whether it is the reply to a ping.
bool IsPingReply(const Frame& frame);

/// The 12 bytes of the header and the payload behind them, to be written with one write.
std::string FrameBytes(const Frame& frame);
/// A frame that holds a JSON text.
std::string JsonFrameBytes(const std::string& json);
/// The fixed frame of a ping.
std::string PingBytes();

/// Puts frames together from what reads give: pieces of a frame, or many frames at once.
class FrameReader {
public:
    enum class Result {
        Frame,  // one frame was taken
        More,   // the next frame isn't whole yet
        Broken  // a header with a length that no frame of the library has: there is no getting back into step
    };

    /// A payload of the library's is far below the greatest length; what is above it is no frame.
    static constexpr std::size_t kGreatestPayload = std::size_t{256} << 20U;

    void Add(const char* bytes, std::size_t count);
    Result Take(Frame& frame);
    /// Bytes that were added and not taken.
    std::size_t Pending() const { return bytes_.size() - begin_; }
    void Clear();

private:
    std::string bytes_;
    std::size_t begin_ = 0;
};

}  // namespace vdipc::client
