// Recordings as keypads make them: WAV images of 16 kHz, mono, 16 bit, with a header of 44 bytes.
#pragma once

#include "classroom/world/Chance.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vdipc::classroom {

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::size_t kWavHeaderSize = 44;
inline constexpr std::size_t kWavBytesPerMillisecond = 32;

struct RecordingOptions {
    enum class Make { Tone, Noise, Silence, Fill };
    Make make = Make::Tone;
    std::size_t bytes = 0;  // of the whole image; fewer than 44 cut the header
    double hertz = 440.0;
    int variant = 0;  // of the fill pattern: the words are 0xFFF0FFF0, or with 1 0xF0FFF0FF
};

Bytes MakeRecording(const RecordingOptions& options, Chance& chance);

/// Every byte 0xDD, so that who still reads sees that the memory isn't his any more.
void Overwrite(Bytes& bytes);

}  // namespace vdipc::classroom
