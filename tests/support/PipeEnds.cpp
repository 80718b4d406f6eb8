#include "support/PipeEnds.h"

#include <cstring>

namespace vdipc::test {

bool ClientEnd::WaitClosed(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!closed_by_other_ && std::chrono::steady_clock::now() < deadline) {
        Read(1, std::chrono::duration_cast<std::chrono::milliseconds>(deadline -
                                                                      std::chrono::steady_clock::now()));
    }
    return closed_by_other_;
}

std::string ClientEnd::ReadFrame(std::chrono::milliseconds timeout) {
    const std::string header = Read(kFrameHeaderSize, timeout);
    if (header.size() != kFrameHeaderSize) {
        return {};
    }
    std::int32_t length = 0;
    std::memcpy(&length, header.data() + 4, sizeof length);
    const std::size_t payload = length > 0 ? static_cast<std::size_t>(length) : 0;
    const std::string text = payload > 0 ? Read(payload, timeout) : std::string();
    return text.size() == payload ? header + text : std::string();
}

std::string FrameBytes(std::int32_t type, std::int32_t length, std::int32_t command,
                       const std::string& payload) {
    std::string bytes(kFrameHeaderSize, '\0');
    std::memcpy(bytes.data(), &type, sizeof type);
    std::memcpy(bytes.data() + 4, &length, sizeof length);
    std::memcpy(bytes.data() + 8, &command, sizeof command);
    return bytes + payload;
}

std::string JsonFrame(const std::string& text, std::int32_t command) {
    return FrameBytes(2018, static_cast<std::int32_t>(text.size()), command, text);
}

std::string PingFrame() {
    return {"\x08\0\0\0\0\0\0\0\xC9\0\0\0", 12};
}

std::string PingReplyFrame() {
    return {"\x08\0\0\0\0\0\0\0\xCA\0\0\0", 12};
}

}  // namespace vdipc::test
