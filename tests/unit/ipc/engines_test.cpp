#include "common/Clock.h"
#include "ipc/WorkerThreads.h"
#include "support/SpeechTest.h"

#include <algorithm>
#include <tuple>

#if !defined(_WIN32)
#include "native/NativeSeam.h"
#endif

namespace vdipc::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Engines : public SpeechTest {
protected:
    /// The engine number that the recogniser gets with this "vote_deck.conf".
    int RecognizerEngineWith(const std::string& config) {
        WriteFile("vote_deck.conf", config);
        log().Clear();
        Access::InitSpeechRecognizer(handler());
        return EngineOf(Access::Recognizer(handler())).engine;
    }

    /// The choice is told in one line, and nothing of what is wrong with the file.
    void ExpectBaiduAlone(const std::string& config) {
        ASSERT_THAT(log().Lines(), testing::SizeIs(1)) << config << "\n" << log().Text();
        EXPECT_TRUE(log().Has(LogLevel::Debug, "use Baidu")) << config;
    }

    static std::string Start(unsigned int shift) {
        return "start(" + std::to_string(std::max(1u, GetProcessorCount() >> shift)) + ")";
    }
};

TEST_F(Engines, AllPointers_StartNull) {
    EXPECT_EQ(Access::Recognizer(handler()), nullptr);
    EXPECT_EQ(Access::SentEvaluator(handler()), nullptr);
    EXPECT_EQ(Access::OnlineEvaluator(handler()), nullptr);
    EXPECT_EQ(Access::OfflineEvaluator(handler()), nullptr);
    EXPECT_EQ(Access::MultipleEvaluator(handler()), nullptr);
    EXPECT_EQ(Access::MultipleEvaluatorChn(handler()), nullptr);
    EXPECT_EQ(Access::GeneralEvaluator(handler()).load(), nullptr);
}

TEST_F(Engines, RecognizerWithoutAConfigFile_IsBaiduWithEightThreads) {
    Access::InitSpeechRecognizer(handler());
    EXPECT_THAT(SpeechCalls(), ElementsAre("0:recognizer(0,0,0)", "0:start(8)"));
    EXPECT_TRUE(log().Has(LogLevel::Debug, "use Baidu"));
}

TEST_F(Engines, ConfigWithEngineAli_GivesAliyun) {
    EXPECT_EQ(RecognizerEngineWith(R"({"engine": "ali"})"), 2);
    EXPECT_TRUE(log().Has(LogLevel::Debug, "use Aliyun"));
    EXPECT_FALSE(log().Contains("use Baidu"));
    EXPECT_THAT(SpeechCalls(), ElementsAre("0:recognizer(2,0,0)", "0:start(8)"));
}

TEST_F(Engines, ConfigWithAnyOtherEngineOrACapitalOrNothing_GivesBaidu) {
    for (const char* config :
         {"", R"({"engine":"baidu"})", R"({"engine":"Ali"})", R"({"engine":"ali "})", R"({"other":"ali"})",
          R"({"engine":null})", "{}", "null", "not json", R"({"engine":"ali")"}) {
        EXPECT_EQ(RecognizerEngineWith(config), 0) << config;
        ExpectBaiduAlone(config);
    }
}

TEST_F(Engines, ConfigWhoseRootIsNoObjectOrWhoseEngineIsNoText_GivesBaiduWithoutAnException) {
    for (const char* config : {"[]", R"(["engine"])", "7", R"("ali")", R"({"engine":2})",
                               R"({"engine":["ali"]})", R"({"engine":{"ali":1}})"}) {
        EXPECT_EQ(RecognizerEngineWith(config), 0) << config;
        ExpectBaiduAlone(config);
    }
}

TEST_F(Engines, ConfigNestedDeeperThanTheParserFollows_GivesBaiduWithoutAnException) {
    EXPECT_EQ(RecognizerEngineWith(R"({"engine":"ali","more":)" + std::string(2000, '[')), 0);
    ExpectBaiduAlone("nested");
}

TEST_F(Engines, SecondInitOfTheRecognizer_ReplacesTheEngine) {
    Access::InitSpeechRecognizer(handler());
    Access::InitSpeechRecognizer(handler());
    EXPECT_THAT(SpeechCalls(), ElementsAre("0:recognizer(0,0,0)", "0:start(8)", "0:stop", "0:destroy",
                                           "1:recognizer(0,0,0)", "1:start(8)"));
}

TEST_F(Engines, UninitOfTheRecognizer_StopsDestroysAndClears) {
    Access::InitSpeechRecognizer(handler());
    Access::UninitSpeechRecognizer(handler());
    EXPECT_EQ(Access::Recognizer(handler()), nullptr);
    const auto calls = SpeechCalls();
    Access::UninitSpeechRecognizer(handler());
    EXPECT_EQ(SpeechCalls(), calls);
    EXPECT_EQ(calls.back(), "0:destroy");
}

TEST_F(Engines, Evaluators_AreMadeFirstAndStartedInOrder) {
    Access::InitSpeechEvaluator(handler());
    const std::string start = Start(1);
    EXPECT_THAT(SpeechCalls(),
                ElementsAre("0:evaluator(0,0,1)", "1:evaluator(0,0,1)", "2:evaluator(0,0,0)",
                            "3:evaluator(0,0,2)", "0:" + start, "1:" + start, "2:" + start, "3:" + start));
    const auto engines = SpeechEngines();
    EXPECT_EQ(Access::OnlineEvaluator(handler()), engines[0].object);
    EXPECT_EQ(Access::SentEvaluator(handler()), engines[0].object);
    EXPECT_EQ(Access::MultipleEvaluator(handler()), engines[1].object);
    EXPECT_EQ(Access::MultipleEvaluatorChn(handler()), engines[2].object);
    EXPECT_EQ(Access::GeneralEvaluator(handler()).load(), engines[3].object);
    EXPECT_EQ(Access::OfflineEvaluator(handler()), nullptr);
}

TEST_F(Engines, OnOneProcessor_BothNumbersOfThreadsAreOne) {
    EXPECT_EQ(WorkerThreads(1, kEvaluatorThreadsShift), 1u);
    EXPECT_EQ(WorkerThreads(1, kOfflineEvaluatorThreadsShift), 1u);
    EXPECT_EQ(WorkerThreads(3, kOfflineEvaluatorThreadsShift), 1u);
}

TEST_F(Engines, OnEightProcessors_TheNumbersOfThreadsAreFourAndTwo) {
    EXPECT_EQ(WorkerThreads(8, kEvaluatorThreadsShift), 4u);
    EXPECT_EQ(WorkerThreads(8, kOfflineEvaluatorThreadsShift), 2u);
}

#if !defined(_WIN32)
TEST_F(Engines, EveryEngine_IsStartedWithItsShareOfTheMachinesProcessors) {
    for (const auto& [processors, online, offline] :
         {std::tuple<std::uint32_t, std::size_t, std::size_t>{8, 4, 2}, {1, 1, 1}, {3, 1, 1}, {64, 32, 16}}) {
        SetNativeProcessorCount(processors);
        const std::size_t before = SpeechEngines().size();
        Access::InitSpeechRecognizer(handler());
        Access::InitSpeechEvaluator(handler());
        Access::OfflineEvaluator(handler()) = nullptr;
        Access::ChangeSentSpeechEvaluatorToOffline(handler());
        std::vector<std::size_t> threads;
        for (std::size_t i = before; i < SpeechEngines().size(); ++i) {
            EXPECT_TRUE(SpeechEngines()[i].started) << i;
            threads.push_back(SpeechEngines()[i].worker_threads);
        }
        EXPECT_THAT(threads, ElementsAre(8, online, online, online, online, offline)) << processors;
    }
    SetNativeProcessorCount(std::nullopt);
}
#endif

TEST_F(Engines, EngineThatDoesNotStart_IsKeptAndUsed) {
    SetSpeechStartResult(false);
    Access::InitSpeechRecognizer(handler());
    Access::InitSpeechEvaluator(handler());
    EXPECT_EQ(SpeechEngines().size(), 5u);
    handler().RequestRecognize({});
    handler().RequestSingleEvaluation("a", {});
    handler().RequestMultipleEvaluation("b", {}, 0);
    handler().RequestMultipleEvaluation("c", {}, 1);
    handler().RequestEvaluation("d", {});
    for (const SpeechEngine& engine : SpeechEngines()) {
        EXPECT_FALSE(engine.stopped || engine.destroyed);
        EXPECT_EQ(engine.recognitions.size() + engine.evaluations.size(), 1u);
    }
}

TEST_F(Engines, SecondInitOfTheEvaluators_LeavesOneSet) {
    Access::InitSpeechEvaluator(handler());
    Access::InitSpeechEvaluator(handler());
    const auto engines = SpeechEngines();
    ASSERT_EQ(engines.size(), 8u);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_TRUE(engines[i].stopped && engines[i].destroyed) << i;
        EXPECT_FALSE(engines[i + 4].destroyed) << i;
    }
    EXPECT_EQ(Access::SentEvaluator(handler()), engines[4].object);
    EXPECT_EQ(Access::MultipleEvaluator(handler()), engines[5].object);
    EXPECT_EQ(Access::MultipleEvaluatorChn(handler()), engines[6].object);
    EXPECT_EQ(Access::GeneralEvaluator(handler()).load(), engines[7].object);
}

TEST_F(Engines, UninitOfTheEvaluators_StopsAndDestroysEachInOrderAndKeepsTheOnlinePointer) {
    Access::InitSpeechEvaluator(handler());
    const std::size_t before = SpeechCalls().size();
    SpeechEvaluator* const online = Access::OnlineEvaluator(handler());
    Access::UninitSpeechEvaluator(handler());
    auto calls = SpeechCalls();
    calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_THAT(calls, ElementsAre("0:stop", "0:destroy", "1:stop", "1:destroy", "2:stop", "2:destroy",
                                   "3:stop", "3:destroy"));
    EXPECT_EQ(Access::SentEvaluator(handler()), nullptr);
    EXPECT_EQ(Access::MultipleEvaluator(handler()), nullptr);
    EXPECT_EQ(Access::MultipleEvaluatorChn(handler()), nullptr);
    EXPECT_EQ(Access::GeneralEvaluator(handler()).load(), nullptr);
    EXPECT_EQ(Access::OnlineEvaluator(handler()), online);
}

TEST_F(Engines, SwitchToOffline_MakesTheOfflineEvaluatorOnceAndReportsItOnce) {
    Access::InitSpeechEvaluator(handler());
    const auto before = SpeechCalls().size();
    EXPECT_TRUE(Access::ChangeSentSpeechEvaluatorToOffline(handler()));
    auto calls = SpeechCalls();
    calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_THAT(calls, ElementsAre("4:evaluator(0,1,1)", "4:" + Start(2)));
    EXPECT_EQ(Access::OfflineEvaluator(handler()), SpeechEngines()[4].object);
    EXPECT_EQ(Access::SentEvaluator(handler()), SpeechEngines()[4].object);
    EXPECT_EQ(Access::OnlineEvaluator(handler()), SpeechEngines()[0].object);
    EXPECT_FALSE(Access::ChangeSentSpeechEvaluatorToOffline(handler()));
    EXPECT_EQ(SpeechEngines().size(), 5u);
    EXPECT_THAT(Telemetry("vdk_use_offline_evaluator"), IsEmpty());
}

TEST_F(Engines, UninitAfterTheSwitch_LeavesTheOnlineEvaluatorRunningAndTheOldPointersInPlace) {
    Access::InitSpeechEvaluator(handler());
    Access::ChangeSentSpeechEvaluatorToOffline(handler());
    SpeechEvaluator* const offline = Access::OfflineEvaluator(handler());
    Access::UninitSpeechEvaluator(handler());
    const auto engines = SpeechEngines();
    EXPECT_FALSE(engines[0].stopped || engines[0].destroyed);
    EXPECT_TRUE(engines[4].stopped && engines[4].destroyed);
    EXPECT_EQ(Access::OnlineEvaluator(handler()), engines[0].object);
    EXPECT_EQ(Access::OfflineEvaluator(handler()), offline);
}

TEST_F(Engines, InitAfterASwitch_UsesANewOnlineEvaluatorAndNeverSwitchesAgain) {
    Access::InitSpeechEvaluator(handler());
    Access::ChangeSentSpeechEvaluatorToOffline(handler());
    Access::UninitSpeechEvaluator(handler());
    Access::InitSpeechEvaluator(handler());
    EXPECT_EQ(EngineOf(Access::SentEvaluator(handler())).mode, 0);
    EXPECT_FALSE(Access::ChangeSentSpeechEvaluatorToOffline(handler()));
    EXPECT_EQ(EngineOf(Access::SentEvaluator(handler())).mode, 0);
    EXPECT_EQ(TrackwireRecords("vdk_use_offline_evaluator").size(), 1u);
}

}  // namespace
}  // namespace vdipc::test
