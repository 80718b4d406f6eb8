// Frames put together from what reads give.

#include "vdipc/client/Frame.h"

#include <gtest/gtest.h>

namespace vdipc::client {
namespace {

std::vector<std::string> TakeAll(FrameReader& reader) {
    std::vector<std::string> payloads;
    Frame frame;
    while (reader.Take(frame) == FrameReader::Result::Frame) {
        EXPECT_TRUE(IsMessage(frame));
        payloads.push_back(frame.payload);
    }
    return payloads;
}

TEST(ClientFrame, JsonFrame_IsTheDocumentedBytes) {
    const std::string bytes = JsonFrameBytes("{}");
    EXPECT_EQ(bytes, std::string("\xE2\x07\0\0\x02\0\0\0\xE2\x07\0\0{}", 14));
    EXPECT_EQ(PingBytes(), std::string("\x08\0\0\0\0\0\0\0\xC9\0\0\0", 12));
}

TEST(ClientFrameReader, BytesOneByOne_GiveTheFrameWithTheLast) {
    FrameReader reader;
    const std::string bytes = JsonFrameBytes("{\"event\":\"arrived\"}");
    Frame frame;
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        reader.Add(&bytes[i], 1);
        ASSERT_EQ(reader.Take(frame), FrameReader::Result::More) << i;
    }
    reader.Add(&bytes.back(), 1);
    ASSERT_EQ(reader.Take(frame), FrameReader::Result::Frame);
    EXPECT_EQ(frame.payload, "{\"event\":\"arrived\"}");
    EXPECT_EQ(reader.Pending(), 0U);
}

TEST(ClientFrameReader, ManyFramesInOneRead_ComeInTheirOrder) {
    std::string bytes;
    for (int i = 0; i < 10000; ++i) {
        bytes +=
            JsonFrameBytes("{\"n\":" + std::to_string(i) + ",\"text\":\"" + std::string(200, 'x') + "\"}");
    }
    bytes += JsonFrameBytes("the last, cut").substr(0, 20);
    FrameReader reader;
    reader.Add(bytes.data(), bytes.size());
    const std::vector<std::string> payloads = TakeAll(reader);
    ASSERT_EQ(payloads.size(), 10000U);
    for (std::size_t i = 0; i < payloads.size(); ++i) {
        ASSERT_EQ(payloads[i].find("{\"n\":" + std::to_string(i) + ","), 0U);
    }
    EXPECT_EQ(reader.Pending(), 20U);
    const std::string rest = JsonFrameBytes("the last, cut").substr(20);
    reader.Add(rest.data(), rest.size());
    EXPECT_EQ(TakeAll(reader), std::vector<std::string>{"the last, cut"});
}

TEST(ClientFrameReader, PingReplyAndEmptyPayload_AreFrames) {
    FrameReader reader;
    const std::string bytes =
        FrameBytes({8, 202, {}}) + FrameBytes({2018, 2018, {}}) + FrameBytes({7, 1, "?"});
    reader.Add(bytes.data(), bytes.size());
    Frame frame;
    ASSERT_EQ(reader.Take(frame), FrameReader::Result::Frame);
    EXPECT_TRUE(IsPingReply(frame));
    ASSERT_EQ(reader.Take(frame), FrameReader::Result::Frame);
    EXPECT_TRUE(IsMessage(frame));
    EXPECT_TRUE(frame.payload.empty());
    ASSERT_EQ(reader.Take(frame), FrameReader::Result::Frame);
    EXPECT_FALSE(IsMessage(frame));
    EXPECT_FALSE(IsPingReply(frame));
    EXPECT_EQ(frame.payload, "?");
}

TEST(ClientFrameReader, LengthThatNoFrameHas_IsBrokenForGood) {
    for (const std::string& length : {std::string("\xFF\xFF\xFF\xFF"), std::string("\x01\0\0\x10", 4)}) {
        FrameReader reader;
        const std::string bytes = std::string("\xE2\x07\0\0", 4) + length + std::string("\xE2\x07\0\0", 4);
        reader.Add(bytes.data(), bytes.size());
        Frame frame;
        EXPECT_EQ(reader.Take(frame), FrameReader::Result::Broken);
        const std::string good = JsonFrameBytes("{}");
        reader.Add(good.data(), good.size());
        EXPECT_EQ(reader.Take(frame), FrameReader::Result::Broken);
        reader.Clear();
        reader.Add(good.data(), good.size());
        EXPECT_EQ(reader.Take(frame), FrameReader::Result::Frame);
    }
}

}  // namespace
}  // namespace vdipc::client
