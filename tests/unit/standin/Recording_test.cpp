#include "classroom/world/Recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

namespace vdipc::classroom::test {
namespace {

Bytes Make(RecordingOptions::Make make, std::size_t bytes, int variant = 0, std::uint64_t seed = 1) {
    RecordingOptions options;
    options.make = make;
    options.bytes = bytes;
    options.variant = variant;
    Chance chance(seed);
    return MakeRecording(options, chance);
}

std::uint32_t Word(const Bytes& bytes, std::size_t at, int size) {
    std::uint32_t word = 0;
    for (int i = 0; i < size; ++i) {
        word |= static_cast<std::uint32_t>(bytes[at + static_cast<std::size_t>(i)]) << (8 * i);
    }
    return word;
}

TEST(Recording, Image_IsAWavOf16KilohertzMono16Bit) {
    const Bytes image = Make(RecordingOptions::Make::Tone, 1044);
    ASSERT_EQ(1044U, image.size());
    EXPECT_EQ("RIFF", std::string(image.begin(), image.begin() + 4));
    EXPECT_EQ(1036U, Word(image, 4, 4));
    EXPECT_EQ("WAVEfmt ", std::string(image.begin() + 8, image.begin() + 16));
    EXPECT_EQ(16U, Word(image, 16, 4));
    EXPECT_EQ(1U, Word(image, 20, 2));
    EXPECT_EQ(1U, Word(image, 22, 2));
    EXPECT_EQ(16000U, Word(image, 24, 4));
    EXPECT_EQ(32000U, Word(image, 28, 4));
    EXPECT_EQ(2U, Word(image, 32, 2));
    EXPECT_EQ(16U, Word(image, 34, 2));
    EXPECT_EQ("data", std::string(image.begin() + 36, image.begin() + 40));
    EXPECT_EQ(1000U, Word(image, 40, 4));
}

TEST(Recording, AnyNumberOfBytes_IsGivenToTheByte) {
    for (const std::size_t bytes : {0U, 1U, 43U, 44U, 45U, 3071U, 3072U, 3073U}) {
        EXPECT_EQ(bytes, Make(RecordingOptions::Make::Noise, bytes).size());
    }
}

TEST(Recording, Fill_RepeatsTheWordOfItsVariant) {
    const Bytes plain = Make(RecordingOptions::Make::Fill, 1044);
    const Bytes other = Make(RecordingOptions::Make::Fill, 1044, 1);
    for (std::size_t at = 44; at + 4 <= plain.size(); at += 4) {
        EXPECT_EQ(0xFFF0FFF0U, Word(plain, at, 4));
        EXPECT_EQ(0xF0FFF0FFU, Word(other, at, 4));
    }
}

TEST(Recording, Silence_IsAllZeros) {
    const Bytes image = Make(RecordingOptions::Make::Silence, 100);
    EXPECT_EQ(Bytes(56, 0), Bytes(image.begin() + 44, image.end()));
}

TEST(Recording, Noise_DependsOnTheSeedAlone) {
    const auto noise = [](std::uint64_t seed) { return Make(RecordingOptions::Make::Noise, 500, 0, seed); };
    EXPECT_EQ(noise(1), noise(1));
    EXPECT_NE(noise(1), noise(2));
}

TEST(Recording, Tone_SwingsAroundZero) {
    const Bytes image = Make(RecordingOptions::Make::Tone, 44 + 3200);
    int least = 0;
    int most = 0;
    for (std::size_t at = 44; at + 2 <= image.size(); at += 2) {
        const auto sample = static_cast<std::int16_t>(Word(image, at, 2));
        least = std::min<int>(least, sample);
        most = std::max<int>(most, sample);
    }
    EXPECT_LT(least, -11000);
    EXPECT_GT(most, 11000);
}

}  // namespace
}  // namespace vdipc::classroom::test
