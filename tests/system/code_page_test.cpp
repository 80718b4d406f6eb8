// Text through the whole road under another active code page: these run under the locale zh_CN, whose code page is 936,
// and under C.UTF-8, whose code page is 1252.

#include "tests/system/support/SystemTest.h"
#include "tools/common/WideText.h"

#include <windows.h>

namespace vdipc::test {
namespace {

class CodePage936 : public SystemTest {
protected:
    void SetUp() override { ASSERT_EQ(GetACP(), 936U) << "run with LC_ALL=zh_CN.UTF-8"; }
};

class CodePage1252 : public SystemTest {
protected:
    void SetUp() override { ASSERT_EQ(GetACP(), 1252U) << "run with LC_ALL=C.UTF-8"; }
};

/// The row of the first SendContext, as the bytes that the keypad gets, in hexadecimal.
std::string RowBytes(const Json::Value& call, const char* row) {
    return call["args"][row]["hex"].asString();
}

TEST_F(CodePage936, ChineseTextAndRows_GoToTheKeypadAndComeBackUnharmed) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 1);
    client.Send("ask 1 single-choice custom=\u6d4b\u9a8c row1=\u4e2d\u6587");
    ASSERT_TRUE(WaitForCalls("SendContext", 1));
    EXPECT_EQ(RowBytes(Calls("SendContext").at(0), "row1"), "d6d0cec4");
    EXPECT_EQ(Calls("SendContext").at(0)["args"]["row1"]["text"], "\u4e2d\u6587");
    Do(R"({"do":"key","kind":"RV2","keypad":1,"key":"A"})");
    EXPECT_EQ(client.Expect("key-pressed")["custom"], "\u6d4b\u9a8c");
}

TEST_F(CodePage936, ChineseStemAndSpokenText_GoToTheEngineAndComeBackUnharmed) {
    environment_["TMP"] = tools::Utf8FromWide(Directory());
    environment_["TEMP"] = environment_["TMP"];
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 2);
    Do(R"({"do":"speech","engine":"recognizer","rule":"fixed","result":"\u82f9\u679c"})");
    client.Send("ask 1 audio-multiple-chn custom=\u6d4b\u9a8c stem=\u4e2d\u6587");
    client.Send("ask 2 audio custom=\u542c\u529b");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 2));
    Do(R"({"do":"audio","make":"tone","bytes":6444,"keypads":[1,2]})");
    // By the engine's rule the result is the stem as the engine got it.
    const Json::Value evaluated = client.Expect("voice-evaluated", R"({"device":"1"})");
    EXPECT_EQ(evaluated["custom"], "\u6d4b\u9a8c");
    EXPECT_EQ(evaluated["data"]["result"], "\u4e2d\u6587");
    ASSERT_EQ(Calls("evaluate").size(), 1U);
    EXPECT_EQ(Calls("evaluate").at(0)["args"]["stems"][0], "\u4e2d\u6587");
    const Json::Value recognized = client.Expect("audio-recognized", R"({"device":"2"})");
    EXPECT_EQ(recognized["custom"], "\u542c\u529b");
    EXPECT_EQ(recognized["data"]["result"], "\u82f9\u679c");
}

TEST_F(CodePage936, TextThatTheCodePageCannotHold_StillGivesAnEvent) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 1);
    client.Send("ask 1 single-choice custom=\U0001F600");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
    Do(R"({"do":"key","kind":"RV2","keypad":1,"key":"A"})");
    const std::string custom = client.Expect("key-pressed")["custom"].asString();
    EXPECT_FALSE(custom.empty());
    EXPECT_NE(custom, "\U0001F600");
}

TEST_F(CodePage1252, AccentedTextAndRows_GoToTheKeypadAndComeBackUnharmed) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 1);
    client.Send("ask 1 single-choice custom=\u00e9t\u00e9 row1=No\u00ebl");
    ASSERT_TRUE(WaitForCalls("SendContext", 1));
    EXPECT_EQ(RowBytes(Calls("SendContext").at(0), "row1"), "4e6feb6c");
    Do(R"({"do":"key","kind":"RV2","keypad":1,"key":"A"})");
    EXPECT_EQ(client.Expect("key-pressed")["custom"], "\u00e9t\u00e9");
}

TEST_F(CodePage1252, ChineseText_BecomesWhatTheConversionGives) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 1);
    client.Send("ask 1 single-choice custom=a\u4e2db");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
    Do(R"({"do":"key","kind":"RV2","keypad":1,"key":"A"})");
    EXPECT_EQ(client.Expect("key-pressed")["custom"], "a?b");
}

}  // namespace
}  // namespace vdipc::test
