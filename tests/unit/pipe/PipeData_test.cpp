#include "Recorder.h"
#include "pipe/PipeData.h"
#include "support/PipeEnds.h"

#include <string>

#include <gtest/gtest.h>

namespace vdipc {
namespace {

std::string Serialized(const PipeData& data) {
    const std::vector<char> frame = SerializeFrame(data);
    return {frame.begin(), frame.end()};
}

TEST(PipeData, DefaultRecord_IsAllZeroWithAnEmptyBuffer) {
    const PipeData data;
    EXPECT_EQ(data.type, 0);
    EXPECT_EQ(data.length, 0);
    EXPECT_EQ(data.command, 0);
    EXPECT_TRUE(data.msg.empty());
    EXPECT_EQ(Serialized(data), std::string(12, '\0'));
}

TEST(PipeData, Copy_IsDeep) {
    PipeData data = test::MakeFrame("abc");
    const PipeData copy = data;
    data.msg[0] = 'x';
    data.length = 9;
    EXPECT_EQ(test::Payload(copy), "abc");
    EXPECT_EQ(copy.length, 3);
}

TEST(PipeData, Frame_IsThreeLittleEndianNumbersAndThePayload) {
    EXPECT_EQ(Serialized(test::MakeFrame("{}")), std::string("\xE2\x07\0\0"
                                                             "\x02\0\0\0"
                                                             "\xE2\x07\0\0{}",
                                                             14));
    PipeData data;
    data.type = 0x01020304;
    data.length = -2;
    data.command = -3;
    EXPECT_EQ(Serialized(data), "\x04\x03\x02\x01\xFE\xFF\xFF\xFF\xFD\xFF\xFF\xFF");
}

TEST(PipeData, PingReply_HasItsFixedBytes) {
    PipeData reply;
    reply.type = kFrameTypePing;
    reply.command = kFrameCommandPingReply;
    EXPECT_EQ(Serialized(reply), test::PingReplyFrame());
}

TEST(PipeData, PayloadShorterThanItsLength_IsFilledWithZeros) {
    PipeData data = test::MakeFrame("ab");
    data.length = 4;
    EXPECT_EQ(Serialized(data).substr(12), std::string("ab\0\0", 4));
}

}  // namespace
}  // namespace vdipc
