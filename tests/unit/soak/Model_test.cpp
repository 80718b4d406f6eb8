// The soak's model of what a client must see: a few of its rules, so that a wrong judge is found here first.

#include "soak/Ledger.h"
#include "soak/Model.h"

#include <gtest/gtest.h>

namespace vdipc::soak {
namespace {

class SoakModel : public testing::Test {
protected:
    SoakModel() {
        model_.hardware.receivers[Kind::TQ1].connected = true;
        model_.hardware.receivers[Kind::LW].connected = true;
    }

    std::vector<Due> Told(const std::string& json) {
        std::vector<Due> due;
        model_.Command(json, due);
        return due;
    }

    void InitAny() { Told(R"({"command":"init","preferred-device-type":"any"})"); }

    /// The answers that the client hears of, in order.
    std::vector<std::string> Press(Kind kind, std::uint32_t keypad, const std::vector<int>& keys) {
        std::vector<Due> due;
        for (const int key : keys) {
            model_.Key(kind, keypad, key, due);
        }
        std::vector<std::string> answers;
        for (const Due& one : due) {
            answers.push_back(one.value["event"] == "key-pressed" ? one.value["key"].asString()
                                                                  : one.value["event"].asString());
        }
        return answers;
    }

    void Bind(Kind kind, std::uint32_t keypad) {
        std::vector<Due> due;
        model_.Bind(kind, keypad, due);
        ASSERT_EQ(due.size(), 1U);
        EXPECT_EQ(due[0].value["event"], "activated");
    }

    Model model_;
};

TEST_F(SoakModel, CommandBeforeInit_IsIgnored) {
    Told(R"({"command":"ask","device":"5","type":"general"})");
    InitAny();
    EXPECT_TRUE(Press(Kind::TQ1, 5, {1}).empty());
}

TEST_F(SoakModel, MultipleChoice_CollectsUntilConfirmed) {
    InitAny();
    Told(R"({"command":"ask","device":"5","type":"multiple-choice"})");
    EXPECT_EQ(Press(Kind::TQ1, 5, {3, 1, 3, 9, 5, 2}), std::vector<std::string>{"CA"});
}

TEST_F(SoakModel, MultipleChoice_ForgetsTheLettersBeforeTheClearKey) {
    InitAny();
    for (const int clear : {6, 8}) {
        Told(R"({"command":"ask","device":"5","type":"multiple-choice"})");
        EXPECT_EQ(Press(Kind::TQ1, 5, {1, clear, 2, 7}), std::vector<std::string>{"B"});
        Told(R"({"command":"ask","device":"5","type":"multiple-choice"})");
        EXPECT_EQ(Press(Kind::TQ1, 5, {1, 2, clear, 5}), std::vector<std::string>{""});
    }
}

TEST_F(SoakModel, QuestionForAll_ReachesThoseThatAreActive) {
    InitAny();
    Bind(Kind::TQ1, 5);
    Told(R"({"command":"ask","device":"0","type":"true-false"})");
    Bind(Kind::TQ1, 6);
    EXPECT_EQ(Press(Kind::TQ1, 5, {1, 8, 7}), std::vector<std::string>{"F"});
    EXPECT_TRUE(Press(Kind::TQ1, 6, {7}).empty());
}

TEST_F(SoakModel, DroppedLW_ComesBackWithNine) {
    InitAny();
    Bind(Kind::LW, 5);
    Told(R"({"command":"ask","device":"0","type":"general"})");
    Told(R"({"command":"drop","device":"5"})");
    EXPECT_EQ(Press(Kind::LW, 5, {1, 9, 9, 0}), (std::vector<std::string>{"activated", "G", ""}));
}

TEST_F(SoakModel, DroppedKeypadOfAnotherKind_StaysOut) {
    InitAny();
    Bind(Kind::TQ1, 5);
    Told(R"({"command":"ask","device":"0","type":"general"})");
    Told(R"({"command":"drop","device":"5"})");
    EXPECT_TRUE(Press(Kind::TQ1, 5, {9, 9, 1}).empty());
}

TEST_F(SoakModel, OpenType_IsOfTheQuestionThatIsAskedNow) {
    InitAny();
    EXPECT_EQ(model_.OpenType(Kind::LW, "5"), "");
    Told(R"({"command":"ask","device":"0","type":"general"})");
    EXPECT_EQ(model_.OpenType(Kind::LW, "5"), "");
    Bind(Kind::LW, 5);
    EXPECT_EQ(model_.OpenType(Kind::LW, "5"), "general");
    Told(R"({"command":"ask","device":"5","type":"true-false"})");
    EXPECT_EQ(model_.OpenType(Kind::LW, "5"), "true-false");
    Told(R"({"command":"stop","device":"5"})");
    EXPECT_EQ(model_.OpenType(Kind::LW, "5"), "");
}

TEST_F(SoakModel, LateLW_TakesTheQuestionOfAllButItsParam) {
    InitAny();
    Told(R"({"command":"ask","device":"6","type":"evaluation","context":{"param":{"own":1}}})");
    Told(R"({"command":"ask","device":"0","type":"evaluation","custom":"q",)"
         R"("context":{"param":{"all":1},"audio-file-name-prefix":"s-"}})");
    Bind(Kind::LW, 5);
    Bind(Kind::LW, 6);
    std::vector<Due> due;
    model_.Record(Kind::LW, 5, {4000, true, false, false, 0.0}, due);
    EXPECT_TRUE(due.empty());
    model_.Record(Kind::LW, 6, {4000, true, false, false, 0.0}, due);
    ASSERT_EQ(due.size(), 1U);
    EXPECT_TRUE(due[0].request);
    EXPECT_EQ(due[0].value["param"]["own"], 1);
    EXPECT_FALSE(due[0].value["param"].isMember("all"));
    EXPECT_EQ(due[0].value["template"]["custom"], "q");
}

TEST_F(SoakModel, LateLW_OpensTheQuestionOfAllAlsoWhenItWasStopped) {
    InitAny();
    Told(R"({"command":"ask","device":"0","type":"single-choice","custom":"all"})");
    Told(R"({"command":"ask","device":"5","type":"single-choice","custom":"own"})");
    EXPECT_EQ(Press(Kind::LW, 5, {1, 2}), std::vector<std::string>{"A"});
    Told(R"({"command":"stop","device":"0"})");
    Bind(Kind::LW, 5);
    EXPECT_EQ(Press(Kind::LW, 5, {3, 4}), std::vector<std::string>{"C"});
}

TEST_F(SoakModel, LateLW_WithAnAnswerToAnotherCustomTextMayAnswer) {
    InitAny();
    Told(R"({"command":"ask","device":"0","type":"single-choice","custom":"all"})");
    for (const bool same : {false, true}) {
        Told(std::string(R"({"command":"ask","device":"5","type":"single-choice","custom":")") +
             (same ? "all" : "own") + R"("})");
        EXPECT_EQ(Press(Kind::LW, 5, {1}), std::vector<std::string>{"A"});
        Bind(Kind::LW, 5);
        EXPECT_EQ(Press(Kind::LW, 5, {3}).size(), same ? 0U : 1U);
    }
}

TEST_F(SoakModel, LateSpeechResult_GoesOutWhileTheQuestionStandsWithItsCustomText) {
    struct Case {
        const char* then;
        std::size_t events;
    };
    const std::vector<Case> cases = {
        {R"({"command":"text","device":"5"})", 1},
        {R"({"command":"stop","device":"5"})", 0},
        {R"({"command":"drop","device":"5"})", 0},
        {R"({"command":"ask","device":"5","type":"general","custom":"other"})", 0},
        {R"({"command":"ask","device":"5","type":"general","custom":"q"})", 1}};
    InitAny();
    for (const Case& one : cases) {
        Told(R"({"command":"ask","device":"5","type":"audio","custom":"q"})");
        std::vector<Due> due;
        model_.Record(Kind::TQ1, 5, {4000, true, false, false, 0.0}, due);
        ASSERT_EQ(due.size(), 1U);
        const std::string id = std::string("id of ") + one.then;
        model_.Asked(id, due[0].value);
        Told(one.then);
        std::vector<Due> told;
        model_.Answered("recognizer", id, {"words", 0.0F, "", 1, 2}, told);
        EXPECT_EQ(told.size(), one.events) << one.then;
    }
}

TEST_F(SoakModel, AnyOpenSingleEvaluation_MayBeTheOneThatIsMadeAgainOffline) {
    InitAny();
    Ledger requests;
    for (const std::uint32_t keypad : {4U, 5U}) {
        Told(R"({"command":"ask","device":")" + std::to_string(keypad) +
             R"(","type":"audio-single","context":{"stems":["a"]}})");
        std::vector<Due> due;
        model_.Record(Kind::TQ1, keypad, {4000, true, false, false, 0.0}, due);
        ASSERT_EQ(due.size(), 1U);
        Json::Value request = due[0].value;
        request["template"]["extra"] = std::to_string(keypad) + ".wav";
        model_.Asked("id " + std::to_string(keypad), request);
    }
    ASSERT_EQ(model_.OpenSingles(), (std::vector<std::string>{"id 4", "id 5"}));
    model_.GoOffline();
    requests.ExpectNext(model_.Again("id 4"));
    requests.ReplaceNext(model_.Again("id 5"));
    const Json::Value made_again = model_.Again("id 5");
    EXPECT_EQ(made_again["engine"], "offline");
    EXPECT_EQ(made_again["template"]["device"], "5");
    EXPECT_FALSE(requests.See(made_again).has_value());
    EXPECT_FALSE(requests.Missing().has_value());
}

TEST_F(SoakModel, RV1_IsActivatedByEveryKey) {
    InitAny();
    Told(R"({"command":"ask","device":"5","type":"red-envelope"})");
    EXPECT_EQ(Press(Kind::RV1, 5, {9, 9}), (std::vector<std::string>{"activated", "G", "activated"}));
}

TEST_F(SoakModel, StationAlone_GivesTheReason) {
    model_.hardware.station = Hardware::Station::NoPower;
    const std::vector<Due> due = Told(R"({"command":"init","preferred-device-type":"audio"})");
    ASSERT_EQ(due.size(), 1U);
    EXPECT_EQ(due[0].value["info"], "no-power");
    EXPECT_EQ(model_.Nag(), due[0].value);
}

TEST_F(SoakModel, ShortRecordingAtTheStation_IsToldWithoutARequest) {
    InitAny();
    Told(R"({"command":"ask","device":"5","type":"audio-multiple","context":{"stems":["a"]}})");
    std::vector<Due> due;
    model_.Record(Kind::RV2, 5, {3071, true, false, true, 0.0}, due);
    model_.Record(Kind::TQ1, 5, {3071, true, false, true, 0.5}, due);
    ASSERT_EQ(due.size(), 2U);
    EXPECT_FALSE(due[0].request);
    EXPECT_EQ(due[0].value["data"]["score"], -203);
    EXPECT_TRUE(due[1].request);
    EXPECT_EQ(due[1].value["template"]["data"]["lost_package_rate"], 0.5);
}

Json::Value Answer(const char* device, const char* key) {
    Json::Value event;
    event["device"] = device;
    event["key"] = key;
    return event;
}

TEST(SoakLedger, OtherOrder_CountsUnlessTheGroupIsLoose) {
    Ledger strict;
    strict.Expect(Answer("1", "A"));
    strict.Expect(Answer("2", "A"));
    EXPECT_TRUE(strict.See(Answer("2", "A")).has_value());
    Ledger loose;
    loose.Expect(Answer("1", "A"), 1);
    loose.Expect(Answer("1", "B"), 1);
    loose.Expect(Answer("2", "A"), 1);
    EXPECT_FALSE(loose.See(Answer("2", "A")).has_value());
    EXPECT_TRUE(loose.See(Answer("1", "B")).has_value());
    EXPECT_FALSE(loose.See(Answer("1", "A")).has_value());
    EXPECT_TRUE(loose.Missing().has_value());
}

TEST(SoakLedger, RequestsOfTwoKeypads_MayComeInOtherOrderInALooseGroup) {
    const auto request = [](const char* device, const char* engine) {
        Json::Value value;
        value["engine"] = engine;
        value["template"]["device"] = device;
        return value;
    };
    for (const int group : {0, 1}) {
        Ledger ledger;
        ledger.Expect(request("1", "general"), group);
        ledger.Expect(request("2", "multiple"), group);
        EXPECT_EQ(ledger.See(request("2", "multiple")).has_value(), group == 0);
    }
    Ledger ledger;
    ledger.Expect(request("1", "general"), 1);
    ledger.Expect(request("1", "multiple"), 1);
    EXPECT_TRUE(ledger.See(request("1", "multiple")).has_value());
}

TEST(SoakLedger, FurtherMember_IsADeviation) {
    Json::Value more = Answer("1", "A");
    more["more"] = 1;
    Ledger ledger;
    ledger.Expect(Answer("1", "A"));
    EXPECT_TRUE(ledger.See(more).has_value());
}

TEST(SoakLedger, FileName_IsKnownByItsBeginning) {
    EXPECT_TRUE(IsAsExpected("s-7-1a2b.wav", FileName("s-", 7)));
    EXPECT_FALSE(IsAsExpected("s-7-.wav", FileName("s-", 7)));
    EXPECT_FALSE(IsAsExpected("s-8-1a2b.wav", FileName("s-", 7)));
    EXPECT_FALSE(IsAsExpected("s-7-1A2B.wav", FileName("s-", 7)));
}

}  // namespace
}  // namespace vdipc::soak
