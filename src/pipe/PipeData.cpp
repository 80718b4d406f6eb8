#include "pipe/PipeData.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace vdipc {

static_assert(std::endian::native == std::endian::little, "header fields are copied as they lie in memory");
static_assert(sizeof(PipeData::type) + sizeof(PipeData::length) + sizeof(PipeData::command) ==
              kFrameHeaderSize);

std::vector<char> SerializeFrame(const PipeData& data, std::vector<char> frame) {
    const std::size_t payload = data.length > 0 ? static_cast<std::size_t>(data.length) : 0;
    frame.assign(kFrameHeaderSize + payload, '\0');
    std::memcpy(frame.data(), &data.type, sizeof data.type);
    std::memcpy(frame.data() + 4, &data.length, sizeof data.length);
    std::memcpy(frame.data() + 8, &data.command, sizeof data.command);
    std::copy_n(data.msg.begin(), std::min(payload, data.msg.size()), frame.begin() + kFrameHeaderSize);
    return frame;
}

}  // namespace vdipc
