#include "classroom/world/Recording.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vdipc::classroom {
namespace {

void Put(Bytes& bytes, std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

void PutText(Bytes& bytes, const char* text) {
    bytes.insert(bytes.end(), text, text + std::strlen(text));
}

Bytes Header(std::uint32_t data_size) {
    constexpr std::uint32_t rate = 16000;
    Bytes header;
    PutText(header, "RIFF");
    Put(header, data_size + 36, 4);
    PutText(header, "WAVEfmt ");
    Put(header, 16, 4);
    Put(header, 1, 2);  // PCM
    Put(header, 1, 2);  // mono
    Put(header, rate, 4);
    Put(header, rate * 2, 4);
    Put(header, 2, 2);
    Put(header, 16, 2);
    PutText(header, "data");
    Put(header, data_size, 4);
    return header;
}

}  // namespace

Bytes MakeRecording(const RecordingOptions& options, Chance& chance) {
    const std::size_t data_size = options.bytes > kWavHeaderSize ? options.bytes - kWavHeaderSize : 0;
    Bytes image = Header(static_cast<std::uint32_t>(data_size));
    image.reserve(kWavHeaderSize + data_size);
    for (std::size_t i = 0; i < data_size; ++i) {
        const std::size_t sample = i / 2;
        switch (options.make) {
        case RecordingOptions::Make::Tone: {
            const double phase = 6.283185307179586 * options.hertz * static_cast<double>(sample) / 16000.0;
            const auto value = static_cast<std::int16_t>(std::lround(12000.0 * std::sin(phase)));
            const auto bits = static_cast<std::uint16_t>(value);
            image.push_back(static_cast<std::uint8_t>(i % 2 == 0 ? bits : bits >> 8));
            break;
        }
        case RecordingOptions::Make::Noise:
            image.push_back(static_cast<std::uint8_t>(chance.Below(256)));
            break;
        case RecordingOptions::Make::Silence:
            image.push_back(0);
            break;
        case RecordingOptions::Make::Fill:
            image.push_back((i + static_cast<std::size_t>(options.variant)) % 2 == 0 ? 0xF0 : 0xFF);
            break;
        }
    }
    image.resize(options.bytes);
    return image;
}

void Overwrite(Bytes& bytes) {
    std::fill(bytes.begin(), bytes.end(), std::uint8_t{0xDD});
}

}  // namespace vdipc::classroom
