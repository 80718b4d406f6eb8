#include "common/TextEncoding.h"
#include "doubles/ClosedDoubles.h"

#include <string>

#include <gtest/gtest.h>

namespace vdipc {
namespace {

const std::string kCafeUtf8 = "caf\xC3\xA9";
const std::string kCafe1252 = "caf\xE9";
const std::string kChineseUtf8 = "\xE4\xB8\xAD\xE6\x96\x87";
const std::string kChinese936 = "\xD6\xD0\xCE\xC4";

class TextEncoding : public testing::Test {
protected:
    void SetUp() override { test::ResetClosedDoubles(); }
};

TEST_F(TextEncoding, AccentedText_GoesToTheActiveCodePageAndComesBack) {
    EXPECT_EQ(ToActiveCodePage(kCafeUtf8), kCafe1252);
    EXPECT_EQ(ToUtf8(kCafe1252), kCafeUtf8);
}

TEST_F(TextEncoding, WhatTheCodePageCantHold_BecomesSomethingElseAndNothingFails) {
    const std::string converted = ToActiveCodePage("a" + kChineseUtf8 + "b");
    EXPECT_EQ(converted.front(), 'a');
    EXPECT_EQ(converted.back(), 'b');
    EXPECT_NE(converted.find('?'), std::string::npos);
}

TEST_F(TextEncoding, PlainAndEmptyText_StaysAsItIs) {
    EXPECT_EQ(ToActiveCodePage(""), "");
    EXPECT_EQ(ToUtf8(""), "");
    EXPECT_EQ(ToActiveCodePage("{\"a\":1}"), "{\"a\":1}");
    EXPECT_EQ(ToUtf8("{\"a\":1}"), "{\"a\":1}");
}

TEST_F(TextEncoding, WideText_ComesFromTheActiveCodePageAndGoesBack) {
    EXPECT_EQ(ToWide(kCafe1252), L"caf\u00E9");
    EXPECT_EQ(ToNarrow(L"caf\u00E9"), kCafe1252);
}

TEST_F(TextEncoding, CodePage936_ChineseTextGoesThereAndComesBackUnharmed) {
    test::SetActiveCodePage("CP936");
    EXPECT_EQ(ToActiveCodePage(kChineseUtf8), kChinese936);
    EXPECT_EQ(ToUtf8(kChinese936), kChineseUtf8);
    EXPECT_EQ(ToWide(kChinese936), L"\u4E2D\u6587");
    EXPECT_EQ(ToNarrow(L"\u4E2D\u6587"), kChinese936);
}

}  // namespace
}  // namespace vdipc
