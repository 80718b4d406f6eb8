// What the soak's lessons choose from: choices that show something have to come up often enough.

#include "soak/Model.h"
#include "soak/Picks.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vdipc::soak {
namespace {

constexpr int kRounds = 2000;

/// The answers that come of these keys, one for each event.
std::vector<std::string> Answers(const std::string& type, const std::vector<int>& keys) {
    Deck deck(Kind::TQ1);
    Question question;
    question.open = true;
    question.type = type;
    deck.Ask("1", question);
    std::vector<Due> due;
    for (const int key : keys) {
        deck.Key(1, key, due);
    }
    std::vector<std::string> answers;
    for (const Due& one : due) {
        answers.push_back(one.value["key"].asString());
    }
    return answers;
}

TEST(SoakDice, Branch_LeavesTheOthersAsTheyAre) {
    Dice one(7);
    Dice other(7);
    Dice branch = one.Branch();
    other.Branch();
    for (int i = 0; i < 10; ++i) {
        branch.Below(100);
    }
    EXPECT_EQ(one.Below(1000000), other.Below(1000000));
}

TEST(SoakPicks, KeysForMultipleChoice_ConfirmAndOftenClearBefore) {
    Dice dice(1);
    int confirmed = 0;
    int cleared = 0;
    for (int i = 0; i < kRounds; ++i) {
        const std::vector<int> keys = PickKeys("multiple-choice", dice.Branch());
        EXPECT_GE(keys.size(), 2U);
        EXPECT_LE(keys.size(), 6U);
        std::vector<int> without = keys;
        std::erase_if(without, [](int key) { return key == 6 || key == 8; });
        const std::vector<std::string> answers = Answers("multiple-choice", keys);
        confirmed += answers.empty() ? 0 : 1;
        cleared += answers != Answers("multiple-choice", without) ? 1 : 0;
    }
    EXPECT_GT(confirmed, kRounds / 4);
    EXPECT_GT(cleared, kRounds / 50);
}

TEST(SoakPicks, KeysForEveryType_AreMostlyAnswers) {
    for (const std::string& type : kKeyTypes) {
        Dice dice(2);
        int answered = 0;
        for (int i = 0; i < kRounds; ++i) {
            answered += Answers(type, PickKeys(type, dice.Branch())).empty() ? 0 : 1;
        }
        EXPECT_GT(answered, type == "multiple-choice" ? kRounds / 4 : kRounds / 2) << type;
    }
}

TEST(SoakPicks, QuestionWithMatter_CanBeJudgedByEveryEngine) {
    Dice dice(3);
    for (const std::string& type : kJudgedTypes) {
        for (int i = 0; i < 50; ++i) {
            Json::Value question = PickQuestion("5", type, 9, dice);
            GiveMatter(question, 9);
            Model model;
            model.hardware.receivers[Kind::TQ1].connected = true;
            std::vector<Due> due;
            model.Command(R"({"command":"init","preferred-device-type":"any"})", due);
            due.clear();
            model.Command(Json::writeString(Json::StreamWriterBuilder(), question), due);
            model.Record(Kind::TQ1, 5, {4000, true, false, false, 0.0}, due);
            ASSERT_EQ(due.size(), 1U) << question;
            EXPECT_TRUE(due[0].request);
        }
    }
}

}  // namespace
}  // namespace vdipc::soak
