#include "unit/standin/support/Classroom.h"

#include "classroom/speech/Speech.h"
#include "classroom/speech/SpeechEngine.h"

#include <chrono>
#include <set>
#include <string>
#include <vector>

namespace vdipc::classroom::test {
namespace {

using Words = std::vector<std::string>;

class SpeechFaultTest : public ClassroomTest {
protected:
    void SetUp() override {
        SpeechEngineTraits traits;
        traits.language = 2;
        engine = world.TheSpeech().MakeEngine(traits, [this](const SpeechAnswer& answer) {
            answers.Add(answer.request_id + " " + answer.result + " " + std::to_string(answer.score));
        });
        engine->Start(2);
    }

    void TearDown() override {
        engine->Stop();
        ClassroomTest::TearDown();
    }

    void Begin(const std::string& rest) { Do(R"({"do":"fault","where":"speech",)" + rest + "}"); }
    void Ask(const std::string& id) {
        SpeechRequest request;
        request.request_id = id;
        engine->Ask(request);
    }

    SpeechEngine* engine = nullptr;
    Heard answers;
};

TEST_F(SpeechFaultTest, Off_NeverAnswersUntilItEnds) {
    Begin(R"("word":"off")");
    Ask("a");
    EXPECT_EQ(1U, State()["speech"]["engines"][0]["open"].size());
    Begin(R"("word":"none")");
    EXPECT_EQ(Words{"a simulated answer 88.500000"}, answers.Await(1));
}

TEST_F(SpeechFaultTest, Stuck_RepeatsTheFirstAnswerUnderEachOwnId) {
    Begin(R"("word":"stuck")");
    Ask("a");
    answers.Await(1);
    Do(R"({"do":"speech","result":"other","score":1})");
    Ask("b");
    EXPECT_EQ((Words{"a simulated answer 88.500000", "b simulated answer 88.500000"}), answers.Await(2));
}

TEST_F(SpeechFaultTest, GarbageAndWrong_KeepTheId) {
    Begin(R"("word":"wrong")");
    Ask("a");
    EXPECT_EQ("a nobody said this 11.500000", answers.Await(1).at(0));
    Begin(R"("word":"none")");
    Begin(R"("word":"garbage")");
    Ask("b");
    EXPECT_EQ(0U, answers.Await(2).at(1).find("b "));
    EXPECT_EQ(std::string::npos, answers.All().at(1).find("simulated"));
}

TEST_F(SpeechFaultTest, SlowAndDelayed_TakeTheirTime) {
    for (const char* const word : {"slow", "delayed"}) {
        Begin(std::string("\"word\":\"") + word + "\",\"ms\":60");
        const std::size_t before = answers.All().size();
        const auto begin = std::chrono::steady_clock::now();
        Ask("a");
        EXPECT_EQ(before + 1, answers.Await(before + 1).size());
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(60));
        Begin(R"("word":"none")");
    }
}

TEST_F(SpeechFaultTest, IntermittentThenStop_LosesSome) {
    Begin(R"("word":"intermittent","chance":0.5)");
    for (int i = 0; i < 100; ++i) {
        Ask(std::to_string(i));
    }
    const auto open = [this] { return State()["speech"]["engines"][0]["open"].size(); };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (open() > 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    engine->Stop();
    EXPECT_GT(answers.All().size(), 20U);
    EXPECT_LT(answers.All().size(), 80U);
}

TEST_F(SpeechFaultTest, Duplicate_AnswersEachSoOften) {
    Begin(R"("word":"duplicate","times":3)");
    Ask("a");
    EXPECT_EQ(Words(3, "a simulated answer 88.500000"), answers.Await(3));
}

TEST_F(SpeechFaultTest, Reorder_HoldsThemUntilEnoughAreThere) {
    Begin(R"("word":"reorder","count":4)");
    for (const char* const id : {"a", "b", "c"}) {
        Ask(id);
    }
    EXPECT_EQ(3U, State()["speech"]["engines"][0]["open"].size());
    Ask("d");
    const Words words = answers.Await(4);
    EXPECT_EQ(4U, std::set<std::string>(words.begin(), words.end()).size());
}

}  // namespace
}  // namespace vdipc::classroom::test
