// One frame of the pipe, on the wire and in memory. docs/protocol.md shows the bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vdipc {

/// The three header fields: 32-bit signed, little-endian, one directly after the other; the payload follows at once.
inline constexpr std::size_t kFrameHeaderSize = 12;

inline constexpr std::int32_t kFrameTypeJson = 2018;
inline constexpr std::int32_t kFrameCommandJson = 2018;
inline constexpr std::int32_t kFrameTypePing = 8;
inline constexpr std::int32_t kFrameCommandPing = 201;
inline constexpr std::int32_t kFrameCommandPingReply = 202;

/// A passive record. Copies are deep. `length` is what the header says, also when it is negative and no payload exists.
struct PipeData {
    std::int32_t type = 0;
    std::int32_t length = 0;
    std::int32_t command = 0;
    std::vector<char> msg;
};

/// The bytes of a frame: the 12 bytes of the header, then `length` bytes of payload. They take the place of what `frame`
/// holds, so that one buffer serves many frames.
std::vector<char> SerializeFrame(const PipeData& data, std::vector<char> frame = {});

}  // namespace vdipc
