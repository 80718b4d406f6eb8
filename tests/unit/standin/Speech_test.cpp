#include "unit/standin/support/Classroom.h"

#include "classroom/speech/Speech.h"
#include "classroom/speech/SpeechEngine.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace vdipc::classroom::test {
namespace {

using Words = std::vector<std::string>;

class SpeechTest : public ClassroomTest {
protected:
    SpeechEngine& Make(bool recognizer, int mode, int language, std::size_t workers = 2) {
        SpeechEngineTraits traits;
        traits.recognizer = recognizer;
        traits.mode = mode;
        traits.language = language;
        SpeechEngine& engine = *world.TheSpeech().MakeEngine(traits, [this](const SpeechAnswer& answer) {
            answers.Add(answer.request_id + ": " + answer.result + " " + std::to_string(answer.score) + " " +
                        std::to_string(answer.error_code));
        });
        if (workers > 0) {
            engine.Start(workers);
        }
        made_.push_back(&engine);
        return engine;
    }

    SpeechEngine& Single(std::size_t workers = 2) { return Make(false, 0, 1, workers); }

    int Ask(SpeechEngine& engine, const std::string& id, const Words& stems = {"hello"},
            std::size_t size = 100) {
        std::vector<std::uint8_t> audio(size, 1);
        SpeechRequest request;
        request.request_id = id;
        request.stems = stems;
        request.audio = audio.data();
        request.audio_size = audio.size();
        return engine.Ask(request);
    }

    static std::string Id(int device) {
        return "{\"data\":{\"device\":\"" + std::to_string(device) + "\",\"extra\":\"x" +
               std::to_string(device) + "\"}}";
    }

    Words Sorted(std::size_t count) {
        Words words = answers.Await(count);
        std::sort(words.begin(), words.end());
        return words;
    }

    /// The engines' threads must not outlive what they answer to.
    void TearDown() override {
        for (SpeechEngine* const engine : made_) {
            engine->Stop();
        }
        ClassroomTest::TearDown();
    }

    Heard answers;

private:
    std::vector<SpeechEngine*> made_;
};

TEST_F(SpeechTest, Names_FollowFromWhatAnEngineIsMadeWith) {
    Make(true, 0, 0);
    Single();
    Single();
    Make(false, 0, 0);
    Make(false, 0, 2);
    Make(false, 1, 1);
    Words names;
    const Json::Value state = State();
    for (const Json::Value& engine : state["speech"]["engines"]) {
        names.push_back(engine["name"].asString());
    }
    EXPECT_EQ((Words{"recognizer", "single", "multiple", "multiple-chn", "general", "offline"}), names);
}

TEST_F(SpeechTest, Auto_AnswersByTheRuleOnAThreadOfTheEngine) {
    SpeechEngine& single = Single();
    SpeechEngine& recognizer = Make(true, 0, 0);
    Ask(single, "a", {"hello", "world"});
    Ask(recognizer, "b");
    EXPECT_EQ((Words{"a: hello 100.000000 0", "b: simulated answer 88.500000 0"}), Sorted(2));
    EXPECT_EQ(0U, answers.Threads().count(std::this_thread::get_id()));
    Do(R"({"do":"speech","engine":"single","rule":"length","result":"r"})");
    Ask(single, "c", {"x"}, 44 + 32000);
    EXPECT_EQ("c: r 10.000000 0", answers.Await(3).at(2));
    Do(R"({"do":"speech","engine":"single","rule":"fixed","score":87.9,"error_code":5})");
    Ask(single, "d");
    EXPECT_EQ("d: r 87.900002 5", answers.Await(4).at(3));
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(SpeechTest, SettingsOfAName_HoldForEnginesMadeLater) {
    Do(R"({"do":"speech","engine":"offline","rule":"fixed","result":"later","score":1})");
    Ask(Make(false, 1, 1), "a");
    EXPECT_EQ(Words{"a: later 1.000000 0"}, answers.Await(1));
}

TEST_F(SpeechTest, Fail_AnswersWithAnErrorAndNothingElse) {
    SpeechEngine& engine = Single();
    Do(R"({"do":"speech","engine":"single","mode":"fail"})");
    Ask(engine, "a");
    EXPECT_EQ(Words{"a:  0.000000 -1"}, answers.Await(1));
}

TEST_F(SpeechTest, Settings_StandInTheState) {
    Single();
    Make(true, 0, 0);
    Do(R"({"do":"speech","engine":"single","mode":"hand","order":"reverse","delay_ms":80,"score":1.5})");
    const Json::Value engines = State()["speech"]["engines"];
    EXPECT_EQ(R"({"batch":1,"delay_ms":80,"duplicate":1,"error_code":0,"mode":"hand","order":"reverse",)"
              R"("raw_result":"{\"score\":88,\"simulated\":true}","result":"simulated answer",)"
              R"("returns":0,"rule":"stem","score":1.5})",
              CompactJson(engines[0]["settings"]));
    EXPECT_EQ("auto", engines[1]["settings"]["mode"].asString());
    EXPECT_EQ("fixed", engines[1]["settings"]["rule"].asString());
}

TEST_F(SpeechTest, Delay_IsWaitedFor) {
    SpeechEngine& engine = Single();
    Do(R"({"do":"speech","engine":"single","delay_ms":80})");
    const auto begin = std::chrono::steady_clock::now();
    Ask(engine, "a");
    answers.Await(1);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(80));
}

TEST_F(SpeechTest, RequestWhoseIdHasNoKeypadInItsData_IsKnownByTheKeypadBesideIt) {
    Do(R"({"do":"speech","mode":"hand"})");
    Ask(Single(), R"({"data":{"score":0},"device":"6","extra":"6.wav","event":"voice-evaluated"})");
    const Json::Value open = State()["speech"]["engines"][0]["open"][0];
    EXPECT_EQ("6", open["device"].asString());
    EXPECT_EQ("6.wav", open["extra"].asString());
}

TEST_F(SpeechTest, Hand_AnswersTheRequestThatFits) {
    SpeechEngine& engine = Single();
    Do(R"({"do":"speech","mode":"hand"})");
    for (int device = 1; device <= 4; ++device) {
        Ask(engine, Id(device));
    }
    EXPECT_EQ(4U, State()["speech"]["engines"][0]["open"].size());
    EXPECT_EQ("x2", State()["speech"]["engines"][0]["open"][1]["extra"].asString());
    Do(R"({"do":"speech-answer","device":"3","result":"r","score":1.5,"error_code":2})");
    Do(R"({"do":"speech-answer","extra":"x2","result":"s","keep":true})");
    Do(R"({"do":"speech-answer","engine":0,"request":2,"result":"t"})");
    Do(R"({"do":"speech-answer","engine":"single","request_id":"strange"})");
    EXPECT_EQ((Words{Id(3) + ": r 1.500000 2", Id(2) + ": s 100.000000 0", Id(2) + ": t 100.000000 0",
                     "strange: hello 100.000000 0"}),
              answers.All());
    EXPECT_EQ("4", State()["speech"]["engines"][0]["open"][0]["device"].asString());
    EXPECT_EQ(1, Do(R"({"do":"speech-answer","every":true})")["callbacks"].asInt());
    EXPECT_NE("done", Refusal(R"({"do":"speech-answer"})"));
    EXPECT_NE("done", Refusal(R"({"do":"speech-answer","device":"1"})"));
}

TEST_F(SpeechTest, Silent_NeverAnswersByItself) {
    SpeechEngine& engine = Single();
    Do(R"({"do":"speech","engine":"single","mode":"silent"})");
    Ask(engine, "a");
    Do(R"({"do":"speech","engine":"single","mode":"auto"})");
    Ask(engine, "b");
    EXPECT_EQ(Words{"b: hello 100.000000 0"}, answers.Await(1));
    EXPECT_EQ(1U, State()["speech"]["engines"][0]["open"].size());
}

TEST_F(SpeechTest, Duplicate_AnswersSoOften) {
    SpeechEngine& engine = Single();
    Do(R"({"do":"speech","duplicate":3})");
    Ask(engine, "a");
    EXPECT_EQ(Words(3, "a: hello 100.000000 0"), answers.Await(3));
}

TEST_F(SpeechTest, BatchInReverse_ComesBackwards) {
    SpeechEngine& engine = Single(4);
    Do(R"({"do":"speech","order":"reverse","batch":3})");
    for (const char* const id : {"a", "b", "c"}) {
        Ask(engine, id);
    }
    EXPECT_EQ((Words{"c: hello 100.000000 0", "b: hello 100.000000 0", "a: hello 100.000000 0"}),
              answers.Await(3));
}

TEST_F(SpeechTest, RandomOrder_DependsOnTheSeedAndLosesNothing) {
    const auto order = [](std::uint64_t seed) {
        Settings settings;
        settings.seed = seed;
        auto* const other = new World(settings);
        static auto* const kept = new std::vector<World*>;
        kept->push_back(other);
        auto* const heard = new Heard;
        SpeechEngineTraits traits;
        traits.language = 1;
        SpeechEngine& engine = *other->TheSpeech().MakeEngine(
            traits, [heard](const SpeechAnswer& answer) { heard->Add(answer.request_id); });
        other->TheSpeech().ChangeSettings("all", [](SpeechSettings& to) {
            to.order = SpeechSettings::Order::Random;
            to.batch = 20;
        });
        engine.Start(3);
        for (int i = 0; i < 20; ++i) {
            SpeechRequest request;
            request.request_id = std::to_string(i);
            engine.Ask(request);
        }
        const Words words = heard->Await(20);
        engine.Stop();
        engine.Destroy();
        delete heard;
        return words;
    };
    const Words first = order(5);
    EXPECT_EQ(first, order(5));
    EXPECT_NE(first, order(6));
    EXPECT_EQ(20U, std::set<std::string>(first.begin(), first.end()).size());
}

TEST_F(SpeechTest, Returns_IsWhatTheRequestGives) {
    SpeechEngine& engine = Single();
    Do(R"({"do":"speech","engine":"single","returns":-7})");
    EXPECT_EQ(-7, Ask(engine, "a"));
    Do(R"({"do":"speech","engine":"single","returns":0})");
    EXPECT_EQ(0, Ask(engine, "b"));
    EXPECT_EQ(Words{"b: hello 100.000000 0"}, answers.Await(1));
}

TEST_F(SpeechTest, Stop_WaitsForAnAnswerAndLaterOnesNeedAnExplicitWord) {
    SpeechEngineTraits traits;
    traits.language = 1;
    std::atomic<bool> inside{false};
    std::atomic<bool> left{false};
    SpeechEngine& engine = *world.TheSpeech().MakeEngine(traits, [&](const SpeechAnswer& answer) {
        inside = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        answers.Add(answer.request_id);
        left = true;
    });
    engine.Start(1);
    Ask(engine, "a");
    while (!inside) {
        std::this_thread::yield();
    }
    Do(R"({"do":"speech","mode":"hand"})");
    Ask(engine, "b");
    engine.Stop();
    EXPECT_TRUE(left);
    EXPECT_EQ(Words{"a"}, answers.All());
    EXPECT_NE("done", Refusal(R"({"do":"speech-answer"})"));
    Do(R"({"do":"speech-answer","after_stop":true})");
    EXPECT_EQ((Words{"a", "b"}), answers.All());
    engine.Destroy();
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(SpeechTest, WrongOrder_IsMisuse) {
    SpeechEngine& engine = Single(0);
    EXPECT_EQ(-1, Ask(engine, "a"));
    EXPECT_FALSE(engine.Start(0));
    EXPECT_TRUE(engine.Start(1));
    EXPECT_FALSE(engine.Start(1));
    engine.Destroy();
    EXPECT_EQ(-1, Ask(engine, "a"));
    engine.Stop();
    engine.Destroy();
    EXPECT_EQ((Words{"evaluate: the engine doesn't run", "start: an engine needs a worker",
                     "start: the engine was started before", "destructor: the engine was not stopped before",
                     "evaluate: the engine doesn't run", "stop: the engine was destroyed",
                     "destructor: the engine was destroyed before"}),
              Misuses());
}

TEST_F(SpeechTest, WrongTraits_AreMisuse) {
    SpeechEngineTraits traits;
    traits.recognizer = true;
    traits.engine = 1;
    world.TheSpeech().MakeEngine(traits, [](const SpeechAnswer&) {});
    traits.engine = 2;
    traits.has_listener = false;
    world.TheSpeech().MakeEngine(traits, [](const SpeechAnswer&) {});
    traits.recognizer = false;
    traits.engine = 0;
    traits.has_listener = true;
    traits.language = 3;
    world.TheSpeech().MakeEngine(traits, [](const SpeechAnswer&) {});
    EXPECT_EQ((Words{"SpeechRecognizer: there is no such engine", "SpeechRecognizer: the listener is null",
                     "SpeechEvaluator: there is no such engine"}),
              Misuses());
}

TEST_F(SpeechTest, AudioAfterItsLife_IsMisuse) {
    SpeechEngine& engine = Single();
    SpeechRequest request;
    request.audio_size = 10;
    engine.Ask(request);
    const std::vector<std::uint8_t> overwritten(100, 0xDD);
    request.audio = overwritten.data();
    request.audio_size = overwritten.size();
    engine.Ask(request);
    const auto buried = std::make_shared<Bytes>(100, std::uint8_t{1});
    world.graveyard.Bury(buried, buried->data(), buried->size());
    request.audio = buried->data() + 44;
    request.audio_size = 56;
    engine.Ask(request);
    EXPECT_EQ((Words{"evaluate: the request has no audio",
                     "evaluate: the audio of the request was given back to its receiver before",
                     "evaluate: the audio of the request was given back to its receiver before"}),
              Misuses());
}

TEST_F(SpeechTest, RequestWithoutAudio_IsTaken) {
    SpeechEngine& engine = Make(true, 0, 0);
    EXPECT_EQ(0, Ask(engine, "a", {}, 0));
    answers.Await(1);
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(SpeechTest, Storm_EachAnswerComesOnce) {
    SpeechEngine& engine = Single(4);
    Do(R"({"do":"speech","order":"random","delay_ms":5})");
    for (int i = 0; i < 200; ++i) {
        Ask(engine, std::to_string(i));
    }
    const Words words = answers.Await(200);
    EXPECT_EQ(200U, std::set<std::string>(words.begin(), words.end()).size());
    engine.Stop();
    EXPECT_EQ(200U, answers.All().size());
}

}  // namespace
}  // namespace vdipc::classroom::test
