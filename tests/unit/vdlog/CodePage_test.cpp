// Texts of a log that are no UTF-8: of code page 936 or of 1252.
#include "tools/vdlog/Text.h"

#include "support/Logs.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace vdipc::log::test {
namespace {

struct Sample {
    std::string bytes;
    std::string utf8;
};

const std::vector<Sample> kWestern = {{"\xE9l\xE8ve", "\u00e9l\u00e8ve"},
                                      {"gar\xE7on", "gar\u00e7on"},
                                      {"No\xEBl", "No\u00ebl"},
                                      {"l\x92\xE9t\xE9", "l\u2019\u00e9t\u00e9"},
                                      {"aujourd\x92hui", "aujourd\u2019hui"},
                                      {"\xAB"
                                       "Bonjour\xBB",
                                       "\u00abBonjour\u00bb"},
                                      {"\xBFQu\xE9?", "\u00bfQu\u00e9?"},
                                      {"Stra\xDF"
                                       "e",
                                       "Stra\u00dfe"},
                                      {"f\xFCr", "f\u00fcr"},
                                      {"\xE9", "\u00e9"}};

// The last three hold a character whose second byte is one of ASCII, as it is in some names.
const std::vector<Sample> kChinese = {{"\xD5\xC5\xC8\xFD", "\u5f20\u4e09"},
                                      {"\xB5\xDA"
                                       "1\xCC\xE2",
                                       "\u7b2c1\u9898"},
                                      {"\xA3\xA8\xD2\xBB\xA3\xA9", "\uff08\u4e00\uff09"},
                                      {"\xC7\xEB\xD1\xA1\xD4\xF1\xA3\xBA"
                                       "A\xA1\xA2"
                                       "B",
                                       "\u8bf7\u9009\u62e9\uff1aA\u3001B"},
                                      {"\xC0\xEE\xABh", "\u674e\u73a5"},
                                      {"\xABh", "\u73a5"},
                                      {"A\xB0\xE0 \xCD\xF5\xADZ", "A\u73ed \u738b\u749f"}};

// Its two bytes beyond ASCII are a rare Chinese character, too.
const Sample kDoubtful = {"Gr\xF6\xDF"
                          "e",
                          "Gr\u00f6\u00dfe"};

/// A line with rows for a keypad's display.
LogText& Rows(LogText& log, const std::string& text) {
    return log.Line("VoteDeckObject_RV2::SetText:170 rv2.0 SendContext device_id=1, row1='" + text +
                        "', row2='', row3=''",
                    LogText::kTaskThread, "Info");
}

std::string LogOf(const std::vector<Sample>& samples, const std::string& chat = {}) {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("1");
    for (const Sample& sample : samples) {
        if (!chat.empty()) {
            log.Line("PipeServer::OnPipeDataReceived:61 msg received:" + chat, 0x2cc);
        }
        log.Command(R"({"command":"text","device":"1"})", "CallText");
        Rows(log, sample.bytes);
    }
    return log.Text();
}

TEST(CodePage, ShortTextByItself_IsOfThePageThatItsBytesShow) {
    const Text text;
    for (const auto& samples : {kWestern, kChinese}) {
        for (const Sample& sample : samples) {
            EXPECT_EQ(text.Utf8(sample.bytes), sample.utf8);
        }
    }
}

TEST(CodePage, Log_ComesOutAsItWasWritten) {
    for (const auto& samples : {kWestern, kChinese}) {
        const std::string out = Vdlog({"keypad", "1"}, LogOf(samples)).out;
        for (const Sample& sample : samples) {
            EXPECT_NE(out.find("row1='" + sample.utf8 + "'"), std::string::npos) << sample.utf8 << "\n"
                                                                                 << out;
        }
    }
}

TEST(CodePage, TextThatMayBeOfBoth_IsOfItsLogs) {
    // Two characters with bytes of ASCII in them, as the writing of Taiwan has many.
    const Sample chinese{"\xD1\xA7\xD5Z\x8CW\xD5Z", "\u5b66\u8a9e\u5b78\u8a9e"};
    for (auto [samples, doubtful] : {std::pair(kWestern, kDoubtful), std::pair(kChinese, chinese)}) {
        // What stands at the log's beginning is taken as what comes behind it.
        samples.insert(samples.begin(), doubtful);
        const std::string log = LogOf(samples);
        EXPECT_NE(Vdlog({"keypad", "1"}, log).out.find("row1='" + doubtful.utf8 + "'"), std::string::npos);
        for (const std::size_t piece : {1, 7, 100, 4096}) {
            Text text;
            for (std::size_t at = 0; at < log.size(); at += piece) {
                text.Meet(std::string_view(log).substr(at, piece));
            }
            EXPECT_EQ(text.Utf8(doubtful.bytes), doubtful.utf8) << piece;
        }
    }
    EXPECT_NE(Text().Utf8(kDoubtful.bytes), kDoubtful.utf8) << "it isn't doubtful any more";
}

TEST(CodePage, ChineseTextThatWasCut_StaysChinese) {
    const Text text;
    // What shows the half character is the system's affair.
    EXPECT_TRUE(text.Utf8("\xD5\xC5\xC8\xFD\xC0").starts_with("\u5f20\u4e09"));
}

TEST(CodePage, MessagesInUtf8_SayNothingAboutTheOtherTexts) {
    std::string chinese = "{\"command\":\"";
    for (int i = 0; i < 20; ++i) {
        chinese += "\u4e2d\u4e2d";
    }
    // The log cuts a very long message by bytes.
    const std::string cut = chinese + "\xE4\xB8";
    EXPECT_EQ(Text().Utf8(cut), chinese + "\uFFFD");
    for (const std::string& chat : {chinese, cut}) {
        const std::string out = Vdlog({"keypad", "1"}, LogOf({kDoubtful, kWestern[0]}, chat)).out;
        EXPECT_NE(out.find("row1='" + kDoubtful.utf8 + "'"), std::string::npos) << out;
    }
}

TEST(CodePage, LogsOfTwoMachines_AreReadEachByItsTexts) {
    const std::string out =
        Vdlog({"keypad", "1"}, std::vector<std::string>{LogOf(kWestern), LogOf({kChinese[0], kChinese[3]})})
            .out;
    EXPECT_NE(out.find("row1='" + kWestern[0].utf8 + "'"), std::string::npos) << out;
    EXPECT_NE(out.find("row1='" + kChinese[0].utf8 + "'"), std::string::npos) << out;
}

}  // namespace
}  // namespace vdipc::log::test
