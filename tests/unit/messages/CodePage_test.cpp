// Text on its way from the wire through the active code page and back. Natively the code page is chosen here; under
// Windows it is the system's, and what it can hold decides what is looked at.
#include "common/TextEncoding.h"
#include "doubles/ClosedDoubles.h"
#include "messages/MessageCodec.h"
#include "support/SchemaCheck.h"
#include "unit/messages/support/Messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace vdipc {
namespace {

using test::ParseJson;
using testing::ElementsAre;

const std::string kChinese = "\xe4\xbd\xa0\xe5\xa5\xbd";             // two characters, in UTF-8
const std::string kChineseInGbk = "\xc4\xe3\xba\xc3";                // the same in code page 936
const std::string kAccented = "\xc3\xa9t\xc3\xa9 \xc3\xbc\xc3\x9f";  // French and German letters, in UTF-8
const std::string kAccentedIn1252 = "\xe9t\xe9 \xfc\xdf";            // the same in code page 1252

class CodePage : public testing::Test {
protected:
    void SetUp() override { test::ResetClosedDoubles(); }
    void TearDown() override { test::ResetClosedDoubles(); }

    /// True when the tests now run under this code page.
    static bool Under(const std::string& name, const std::string& sample, const std::string& bytes) {
        test::SetActiveCodePage(name);
        return ToActiveCodePage(sample) == bytes;
    }

    static CommandAsk Asked(const std::string& text) {
        CommandAsk ask;
        EXPECT_TRUE(MessageCodec::DecodeCommand(
            "{\"command\": \"ask\", \"id\": \"" + text +
                "\", \"device\": \"0\", \"type\": \"audio\", \"row1\": \"" + text + "\", \"custom\": \"" +
                text + "\", \"context\": {\"param\": {\"p\": \"" + text + "\"}, \"stems\": [\"" + text +
                "\"], \"audio-file-name-prefix\": \"" + text + "\"}}",
            &ask));
        return ask;
    }

    /// What the client gets back for a text of a record.
    static std::string Returned(const std::string& text) {
        EventKeyPressed event;
        event.id = MessageCodec::GenerateEventId();
        event.device = "17";
        event.custom = text;
        const std::string sent = MessageCodec::EncodeEvent(event);
        EXPECT_EQ(test::CheckEvent(sent), "") << sent;
        return ParseJson(sent)["custom"].asString();
    }
};

/// Under Windows these run in a process of their own, whose active code page is 936.
class CodePage936 : public CodePage {
protected:
    void SetUp() override {
        CodePage::SetUp();
        ASSERT_TRUE(Under("CP936", kChinese, kChineseInGbk)) << "run with LC_ALL=zh_CN.UTF-8";
    }
};

void ExpectRoad(const CommandAsk& ask, const std::string& bytes) {
    EXPECT_EQ(ask.id, bytes);
    EXPECT_EQ(ask.row1, bytes);
    EXPECT_EQ(ask.custom, bytes);
    EXPECT_THAT(ask.stems, ElementsAre(bytes));
    EXPECT_EQ(ask.audio_file_name_prefix, bytes);
}

TEST_F(CodePage936, ChineseCustom_ArrivesInTheCodePageAndReturnsInUtf8) {
    const CommandAsk ask = Asked(kChinese);
    ExpectRoad(ask, kChineseInGbk);
    EXPECT_EQ(Returned(ask.custom), kChinese);
}

TEST_F(CodePage936, EscapedChinese_ArrivesAsThePlainOneDoes) {
    ExpectRoad(Asked("\\u4f60\\u597d"), kChineseInGbk);
}

TEST_F(CodePage, AccentedCustomUnder1252_ArrivesInTheCodePageAndReturnsInUtf8) {
    if (!Under("CP1252", kAccented, kAccentedIn1252)) {
        GTEST_SKIP() << "the system's code page is not 1252";
    }
    const CommandAsk ask = Asked(kAccented);
    ExpectRoad(ask, kAccentedIn1252);
    EXPECT_EQ(Returned(ask.custom), kAccented);
}

TEST_F(CodePage, TextThatTheCodePageCannotHold_BecomesSomeTextAndNothingFails) {
    test::SetActiveCodePage("CP1252");
    const std::string mixed = "a" + kChinese + "b\xf0\x9f\x98\x80";
    const CommandAsk ask = Asked(mixed);
    EXPECT_FALSE(ask.custom.empty());
    EXPECT_EQ(ask.custom.front(), 'a');
    EXPECT_FALSE(Returned(ask.custom).empty());
}

TEST_F(CodePage, BytesThatAreNoUtf8_DoNotFailTheDecoder) {
    CommandDrop drop;
    EXPECT_TRUE(MessageCodec::DecodeCommand(
        "{\"command\": \"drop\", \"id\": \"\xff\xfe\x80\", \"device\": \"5\"}", &drop));
    EXPECT_EQ(drop.device, "5");
}

// The writer escapes what lies in texts, so that a conversion would only show in a comment, which it leaves as it is.
TEST_F(CodePage, Param_StaysAsTheWireHasItWhateverTheCodePage) {
    for (const char* code_page : {"CP936", "CP1252"}) {
        test::SetActiveCodePage(code_page);
        CommandAsk ask;
        ASSERT_TRUE(MessageCodec::DecodeCommand(
            "{\"command\": \"ask\", \"device\": \"0\", \"type\": \"evaluation\", \"context\": {\"param\": {\n"
            "// \xc3\xa9\n\"p\": \"" +
                kChinese + "\"}}}",
            &ask));
        EXPECT_EQ(ParseJson(ask.param)["p"].asString(), kChinese) << code_page;
        EXPECT_EQ(ask.param, "{\n\t// \xc3\xa9\n\t\"p\" : \"\\u4f60\\u597d\"\n}\n") << code_page;
    }
}

TEST_F(CodePage, RawResult_ReachesTheClientAsTheSpeechServiceWroteIt) {
    for (const char* code_page : {"CP936", "CP1252"}) {
        test::SetActiveCodePage(code_page);
        EventEvaluated event;
        event.id = MessageCodec::GenerateEventId();
        event.device = "17";
        event.raw_result = "{\"text\": \"" + kChinese + "\"}";
        const Json::Value root = ParseJson(MessageCodec::EncodeEvent(event));
        EXPECT_EQ(root["data"]["raw_result"]["text"].asString(), kChinese) << code_page;
    }
}

TEST_F(CodePage, FinishedEvent_IsPlainAscii) {
    if (!Under("CP936", kChinese, kChineseInGbk)) {
        test::SetActiveCodePage("CP1252");
    }
    EventKeyPressed event;
    event.custom = ToActiveCodePage(kChinese + kAccented);
    for (const char byte : MessageCodec::EncodeEvent(event)) {
        ASSERT_LT(static_cast<unsigned char>(byte), 0x80);
    }
}

// The writer escapes what lies in texts; a comment goes out as it stands, and so through both conversions.
TEST_F(CodePage, CommentInARawResult_IsConvertedASecondTimeWithTheWholeText) {
    if (!Under("CP1252", kAccented, kAccentedIn1252)) {
        GTEST_SKIP() << "the system's code page is not 1252";
    }
    EventEvaluated event;
    event.id = MessageCodec::GenerateEventId();
    event.device = "17";
    event.raw_result = "// \xc3\xa9\n{\"text\": \"\xc3\xa9\"}";
    const std::string sent = MessageCodec::EncodeEvent(event);
    EXPECT_THAT(sent, testing::HasSubstr("// \xc3\x83\xc2\xa9\n"));
    EXPECT_EQ(ParseJson(sent)["data"]["raw_result"]["text"].asString(), "\xc3\xa9");
}

TEST_F(CodePage936, Template_IsReadBackInTheCodePage) {
    EventAudioRecognized made;
    made.device = "17";
    made.custom = kChineseInGbk;
    made.extra = kChineseInGbk;
    made.result = kChineseInGbk;
    EventAudioRecognized read;
    ASSERT_TRUE(MessageCodec::DecodeEvent(MessageCodec::EncodeEvent(made), &read));
    EXPECT_EQ(read.custom, kChineseInGbk);
    EXPECT_EQ(read.extra, kChineseInGbk);
    EXPECT_EQ(read.result, kChineseInGbk);
}

TEST_F(CodePage936, DeviceInfo_ReturnsInUtf8) {
    EventDeviceInited event;
    event.avaliable_device_info[DeviceType::RV1].company = kChineseInGbk;
    EXPECT_EQ(
        ParseJson(MessageCodec::EncodeEvent(event))["avaliable-device-info"]["RV1"]["company"].asString(),
        kChinese);
}

}  // namespace
}  // namespace vdipc
