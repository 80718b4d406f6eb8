#include "common/TextEncoding.h"
#include "support/SpeechTest.h"

#include <limits>
#include <memory>
#include <thread>

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::Return;
using testing::SizeIs;

class Evaluation : public SpeechTest {
protected:
    std::map<std::string, EvaluateRequest>& Requests() { return Access::EvaluateRequests(handler()); }
    auto& Timers() { return Access::EvaluatorTimers(handler()); }
    SpeechEvaluator* Sent() { return Access::SentEvaluator(handler()); }
    SpeechEvaluator* General() { return Access::GeneralEvaluator(handler()); }

    void RequestSingle(const std::string& key) {
        handler().RequestSingleEvaluation(key, Request<EventVoiceEvaluated>(key));
    }
    void RequestMultiple(const std::string& key, std::int32_t selector) {
        handler().RequestMultipleEvaluation(key, Request<EventVoiceEvaluated>(key), selector);
    }
    void RequestGeneral(const std::string& key) {
        handler().RequestEvaluation(key, Request<EventEvaluated>(key));
    }

    static EvaluationResult VoiceResult(const std::string& key, float score = 87.9F) {
        EvaluationResult result;
        result.request_id = Template<EventVoiceEvaluated>(key);
        result.reserved_texts = {"a", "b"};
        result.error_code = 4;
        result.score = score;
        result.result = "text";
        result.start_time = 1234567890123;
        result.end_time = 1234567891234;
        return result;
    }

    static EvaluationResult GeneralResult(const std::string& key, const std::string& raw) {
        EvaluationResult result;
        result.request_id = Template<EventEvaluated>(key);
        result.request_param_stringify = "{\"p\":1}";
        result.raw_result_stringify = raw;
        result.error_code = 4;
        return result;
    }

    void Complete(SpeechEvaluator* evaluator, const EvaluationResult& result) {
        handler().OnEvaluateCompleted(evaluator, result);
        EXPECT_EQ(Access::RunTasks(handler()), 1u);
    }

    /// Lets the timer of a key run out now, up to the timeout task's end.
    void FireTimer(const std::string& key) {
        ASSERT_EQ(Timers().count(key), 1u);
        Timer::OnTimerFired(Timers().at(key).get(), true);
        EXPECT_EQ(Access::RunTasks(handler()), 1u);
    }
};

// Requests.

TEST_F(Evaluation, SingleRequest_IsStoredSentAndTimed) {
    UseEverything();
    const EvaluateRequest request = Request<EventVoiceEvaluated>("k.wav");
    handler().RequestSingleEvaluation("k.wav", request);
    ASSERT_EQ(Requests().count("k.wav"), 1u);
    const EvaluateRequest& stored = Requests().at("k.wav");
    EXPECT_EQ(stored.request_id, request.request_id);
    EXPECT_THAT(stored.stems, ElementsAre("stem"));
    EXPECT_EQ(stored.audio_data, request.audio_data);
    EXPECT_EQ(stored.audio_size, 3u);
    const SpeechEngine engine = EngineOf(Sent());
    ASSERT_THAT(engine.evaluations, SizeIs(1));
    EXPECT_EQ(engine.evaluations[0].audio_data, request.audio_data);
    EXPECT_THAT(engine.audio[0], ElementsAre(1, 2, 3));
    EXPECT_EQ(Timers().count("k.wav"), 1u);
    const auto lines = log().OfFunction("IpcHandler::RequestSingleEvaluation");
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].level, LogLevel::Trace);
}

TEST_F(Evaluation, StoredEntry_HasEveryFieldOfTheRequestTheReservedTextIncluded) {
    UseEverything();
    const auto request = [](const std::string& key) {
        EvaluateRequest made = Request<EventVoiceEvaluated>(key);
        made.param_stringify = "{\"p\":1}";
        made.stems = {"one", "", "two"};
        made.reserved_text = "reserved " + key;
        return made;
    };
    const EvaluateRequest requests[] = {request("a"), request("b"), request("c")};
    handler().RequestSingleEvaluation("a", requests[0]);
    handler().RequestMultipleEvaluation("b", requests[1], 0);
    handler().RequestEvaluation("c", requests[2]);
    ASSERT_THAT(Requests(), ElementsAre(testing::Key("a"), testing::Key("b"), testing::Key("c")));
    const EvaluateRequest* given = requests;
    for (const auto& [key, stored] : Requests()) {
        EXPECT_EQ(stored.request_id, given->request_id) << key;
        EXPECT_EQ(stored.param_stringify, "{\"p\":1}") << key;
        EXPECT_THAT(stored.stems, ElementsAre("one", "", "two")) << key;
        EXPECT_EQ(stored.reserved_text, "reserved " + key);
        EXPECT_EQ(stored.audio_data, given->audio_data) << key;
        EXPECT_EQ(stored.audio_size, given->audio_size) << key;
        ++given;
    }
}

TEST_F(Evaluation, Engine_IsAskedWhenTheEntryIsStoredAndTheTimerNotYetStarted) {
    UseEverything();
    std::vector<std::string> seen;
    SetSpeechCallHook([&](const std::string& call) {
        seen.push_back(call + " entries=" + std::to_string(Requests().size()) +
                       " timers=" + std::to_string(Timers().size()));
    });
    RequestSingle("a");
    RequestMultiple("b", 0);
    RequestMultiple("c", 1);
    RequestGeneral("d");
    SetSpeechCallHook(nullptr);
    EXPECT_THAT(seen, ElementsAre("1:evaluate entries=1 timers=0", "2:evaluate entries=2 timers=1",
                                  "3:evaluate entries=3 timers=1", "4:evaluate entries=4 timers=1"));
}

TEST_F(Evaluation, MultipleRequest_GoesToTheEngineOfItsSelectorWithoutATimer) {
    UseEverything();
    SetSpeechRequestResult(6);
    EXPECT_EQ(handler().RequestMultipleEvaluation("a", Request<EventVoiceEvaluated>("a"), 0), 6);
    EXPECT_EQ(handler().RequestMultipleEvaluation("b", Request<EventVoiceEvaluated>("b"), 1), 6);
    EXPECT_THAT(EngineOf(Access::MultipleEvaluator(handler())).evaluations, SizeIs(1));
    EXPECT_THAT(EngineOf(Access::MultipleEvaluatorChn(handler())).evaluations, SizeIs(1));
    EXPECT_THAT(Requests(), SizeIs(2));
    EXPECT_THAT(Timers(), IsEmpty());
}

TEST_F(Evaluation, MultipleRequestWithAnyOtherSelector_ReturnsAndStoresNothing) {
    UseEverything();
    for (const std::int32_t selector : {-1, 2}) {
        const EvaluateRequest request = Request<EventVoiceEvaluated>("a");
        EXPECT_EQ(handler().RequestMultipleEvaluation("a", request, selector), 0);
        delete[] request.audio_data;
    }
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_THAT(EngineOf(Access::MultipleEvaluator(handler())).evaluations, IsEmpty());
    EXPECT_THAT(EngineOf(Access::MultipleEvaluatorChn(handler())).evaluations, IsEmpty());
}

TEST_F(Evaluation, GeneralRequest_GoesToTheGeneralEngineWithoutATimer) {
    UseEverything();
    SetSpeechRequestResult(6);
    EXPECT_EQ(handler().RequestEvaluation("a", Request<EventEvaluated>("a")), 6);
    EXPECT_THAT(EngineOf(General()).evaluations, SizeIs(1));
    EXPECT_THAT(Requests(), SizeIs(1));
    EXPECT_THAT(Timers(), IsEmpty());
}

TEST_F(Evaluation, RequestsWithoutEngines_ReturnAndStoreNothing) {
    const EvaluateRequest request = Request<EventVoiceEvaluated>("a");
    EXPECT_EQ(handler().RequestEvaluation("a", request), 0);
    handler().RequestSingleEvaluation("a", request);
    EXPECT_EQ(handler().RequestMultipleEvaluation("a", request, 0), 0);
    EXPECT_EQ(handler().RequestMultipleEvaluation("a", request, 1), 0);
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_THAT(Timers(), IsEmpty());
    EXPECT_THAT(SpeechCalls(), IsEmpty());
    delete[] request.audio_data;  // nobody else would
}

TEST_F(Evaluation, SecondRequestUnderOneKey_ReplacesTheEntryAndLeavesTheOldTimerRunning) {
    UseEverything();
    RequestSingle("k");
    const std::uint8_t* const first_audio = Requests().at("k").audio_data;
    Timer* const first_timer = Timers().at("k").get();
    RequestSingle("k");
    EXPECT_NE(Requests().at("k").audio_data, first_audio);
    EXPECT_NE(Timers().at("k").get(), first_timer);
    EXPECT_EQ(first_audio[2], 3);  // still whole: the engine may read it
    EXPECT_FALSE(first_timer->Start([] {})) << "armed, and not stopped";
    Timer::OnTimerFired(first_timer, true);
    EXPECT_TRUE(log().Has(LogLevel::Debug, "timeout k"));
    delete first_timer;
    delete[] first_audio;
}

TEST_F(Evaluation, KeyRequestedTwice_TimesOutTwice) {
    UseEverything();
    RequestSingle("k");
    Timer* const replaced_timer = Timers().at("k").get();
    const std::uint8_t* const replaced_audio = Requests().at("k").audio_data;
    RequestSingle("k");
    ASSERT_NE(Timers().at("k").get(), replaced_timer);
    const std::unique_ptr<Timer> first_timer(replaced_timer);
    const std::unique_ptr<const std::uint8_t[]> first_audio(replaced_audio);
    log().Clear();
    Timer::OnTimerFired(first_timer.get(), true);
    Timer::OnTimerFired(Timers().at("k").get(), true);
    EXPECT_EQ(log().Find("timeout k").size(), 2u);
    EXPECT_EQ(Access::RunTasks(handler()), 2u);
    EXPECT_THAT(DebugLines("HandleEvaluatorTimeout"),
                ElementsAre("timeout task begin k",
                            "evaluation result of k has not returned, try to changed to offline",
                            "request evaluation of k again", "timeout task begin k",
                            "evaluation result of k has not returned, try to changed to offline",
                            "current evaluator is offline do not request again"));
    EXPECT_THAT(Timers(), IsEmpty());
    EXPECT_THAT(EngineOf(Sent()).evaluations, SizeIs(1));
}

// Results of single and multiple evaluations.

TEST_F(Evaluation, Completion_IsLoggedAndOnlyQueuedOnTheLibrarysThread) {
    UseEverything();
    RequestSingle("k");
    std::thread library([this] {
        const EvaluationResult result = VoiceResult("k");
        handler().OnEvaluateCompleted(Sent(), result);
    });
    library.join();
    const auto lines = log().OfFunction("IpcHandler::HandleEvaluateCompleted");
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].level, LogLevel::Info);
    EXPECT_EQ(lines[0].rest, "result.request_id=" + Template<EventVoiceEvaluated>("k"));
    EXPECT_THAT(Requests(), SizeIs(1));
    EXPECT_EQ(Access::RunTasks(handler()), 1u);
    EXPECT_THAT(Requests(), IsEmpty());
}

TEST_F(Evaluation, ResultsOfEachEngine_AreOneLineAndOneTaskOnTheLibrarysThread) {
    UseEverything();
    for (SpeechEvaluator* const engine :
         {Sent(), Access::MultipleEvaluator(handler()), Access::MultipleEvaluatorChn(handler()), General()}) {
        log().Clear();
        std::thread library([this, engine] {
            handler().OnEvaluateCompleted(engine,
                                          engine == General() ? GeneralResult("k", "{}") : VoiceResult("k"));
        });
        library.join();
        ASSERT_THAT(log().Lines(), SizeIs(1)) << log().Text();
        EXPECT_EQ(log().Lines()[0].level, LogLevel::Info);
        EXPECT_EQ(Access::RunTasks(handler()), 1u);
    }
}

TEST_F(Evaluation, SingleResultInTime_FreesTheEntryStopsTheTimerAndGoesOut) {
    UseEverything();
    RequestSingle("k");
    Complete(Sent(), VoiceResult("k"));
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_THAT(Timers(), IsEmpty());
    EXPECT_EQ(Access::OfflineEvaluator(handler()), nullptr);
    EXPECT_THAT(DebugLines("HandleEvaluateResult"),
                ElementsAre("result.request_id=" + Template<EventVoiceEvaluated>("k") +
                                ", result.error_code=4, result.result=text, score=87.9",
                            "device=7 custom match custom=custom"));
    ASSERT_THAT(SentEvents(), SizeIs(1));
    const Json::Value event = SentEvents()[0];
    EXPECT_EQ(event["event"].asString(), "voice-evaluated");
    EXPECT_THAT(event["id"].asString(), SizeIs(36));
    EXPECT_EQ(event["device"].asString(), "7");
    EXPECT_EQ(event["key"].asString(), "");
    EXPECT_EQ(event["extra"].asString(), "k");
    EXPECT_EQ(event["custom"].asString(), "custom");
    EXPECT_EQ(event["data"]["start_time"].asInt64(), 1234567890123);
    EXPECT_EQ(event["data"]["end_time"].asInt64(), 1234567891234);
    EXPECT_EQ(event["data"]["result"].asString(), "text");
    EXPECT_EQ(event["data"]["score"].asInt(), 87);
    EXPECT_DOUBLE_EQ(event["data"]["lost_package_rate"].asDouble(), 0.25);
    EXPECT_THAT(Telemetry("ipc_vdk_event_voice_evaluated"),
                ElementsAre("uniq_id=" + event["id"].asString() + ":s", "device=7:s", "key=:s",
                            "start_time=1234567890123:s", "end_time=1234567891234:s", "result=text:s",
                            "score=87:i", "extra=k:s", "custom=custom:s"));
}

TEST_F(Evaluation, Results_LeaveAheadOfTheirTelemetryAndWithoutSendIPCMesage) {
    UseEverything();
    for (const bool general : {false, true}) {
        if (general) {
            RequestGeneral("k");
        } else {
            RequestSingle("k");
        }
        log().Clear();
        Complete(general ? General() : Sent(), general ? GeneralResult("k", "{}") : VoiceResult("k"));
        EXPECT_THAT(FunctionsAmong({"PipeServer::SendMsg", "IpcHandler::SendTrackwire"}),
                    ElementsAre("PipeServer::SendMsg", "IpcHandler::SendTrackwire"));
        EXPECT_THAT(log().OfFunction("IpcHandler::SendIPCMesage"), IsEmpty());
    }
}

// A byte that is left is told by LeakSanitizer, at the program's end.
TEST_F(Evaluation, RecordingOfOneByte_IsFreedWithItsEntry) {
    UseEverything();
    for (const bool general : {false, true}) {
        EvaluateRequest request;
        request.request_id = general ? Template<EventEvaluated>("k") : Template<EventVoiceEvaluated>("k");
        request.audio_data = new std::uint8_t[1]{1};
        request.audio_size = 1;
        if (general) {
            handler().RequestEvaluation("k", request);
            request.audio_data = nullptr;
            Complete(General(), GeneralResult("k", "{}"));
        } else {
            handler().RequestMultipleEvaluation("k", request, 0);
            request.audio_data = nullptr;
            Complete(Access::MultipleEvaluator(handler()), VoiceResult("k"));
        }
        EXPECT_THAT(Requests(), IsEmpty());
    }
}

TEST_F(Evaluation, ResultJustBeforeTheTimeout_StopsTheTimerAndNoSwitchHappens) {
    UseEverything();
    RequestSingle("k");
    handler().OnEvaluateCompleted(Sent(), VoiceResult("k"));
    // The time runs out while the result is queued: the timeout task finds that it came in time.
    Timer::OnTimerFired(Timers().at("k").get(), true);
    EXPECT_EQ(Access::RunTasks(handler()), 2u);
    EXPECT_THAT(SentEvents(), SizeIs(1));
    EXPECT_EQ(Access::OfflineEvaluator(handler()), nullptr);
    EXPECT_THAT(DebugLines("HandleEvaluatorTimeout"), ElementsAre("timeout task begin k"));
    EXPECT_THAT(TrackwireRecords("vdk_use_offline_evaluator"), IsEmpty());
}

TEST_F(Evaluation, Score_IsTruncatedTowardZero) {
    UseEverything();
    const std::pair<float, int> table[] = {
        {87.9F, 87},
        {-0.5F, 0},
        {-1.9F, -1},
        {0.0F, 0},
        {1e10F, std::numeric_limits<int>::min()},
        {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<int>::min()}};
    for (const auto& [score, wire] : table) {
        log().Clear();
        RequestMultiple("k", 0);
        Complete(Access::MultipleEvaluator(handler()), VoiceResult("k", score));
        ASSERT_THAT(SentEvents(), SizeIs(1));
        EXPECT_EQ(SentEvents()[0]["data"]["score"].asInt(), wire);
    }
}

TEST_F(Evaluation, MultipleResults_OfBothEnginesGoOut) {
    UseEverything();
    RequestMultiple("a", 0);
    RequestMultiple("b", 1);
    Complete(Access::MultipleEvaluatorChn(handler()), VoiceResult("b"));
    Complete(Access::MultipleEvaluator(handler()), VoiceResult("a"));
    EXPECT_THAT(SentEvents(), SizeIs(2));
    EXPECT_THAT(Requests(), IsEmpty());
}

TEST_F(Evaluation, SecondResultForOneKey_IsDropped) {
    UseEverything();
    RequestSingle("k");
    Complete(Sent(), VoiceResult("k"));
    log().Clear();
    Complete(Sent(), VoiceResult("k"));
    EXPECT_THAT(SentEvents(), IsEmpty());
    EXPECT_EQ(DebugLines("HandleEvaluateResult").back(), "evaluate_request_map_[k] has been erased, reurn.");
    const auto lines = log().OfFunction("IpcHandler::StopEvaluatorTimer");
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].level, LogLevel::Trace);
    EXPECT_THAT(FunctionsAmong({"IpcHandler::StopEvaluatorTimer", "IpcHandler::HandleEvaluateResult"}),
                ElementsAre("IpcHandler::HandleEvaluateResult", "IpcHandler::StopEvaluatorTimer",
                            "IpcHandler::HandleEvaluateResult"))
        << "the timer's stop stands before the erasure's line";
}

TEST_F(Evaluation, ResultOfAQuestionThatHasChanged_ErasesTheEntryAndIsDropped) {
    UseEverything();
    ON_CALL(Device(DeviceType::RV2), CheckLastQuestionCustom(_, _)).WillByDefault(Return(false));
    RequestSingle("k");
    Complete(Sent(), VoiceResult("k"));
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_THAT(Timers(), IsEmpty());
    EXPECT_EQ(DebugLines("HandleEvaluateResult").back(), "device=7 custom not match");
    EXPECT_THAT(SentEvents(), IsEmpty());
}

TEST_F(Evaluation, ResultWithoutAPipeServer_ErasesTheEntryAndIsDropped) {
    UseEverything();
    delete Access::Server(handler()).exchange(nullptr);
    RequestSingle("k");
    RequestGeneral("g");
    Complete(Sent(), VoiceResult("k"));
    Complete(General(), GeneralResult("g", "{}"));
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_THAT(TrackwireRecords(), IsEmpty());
}

TEST_F(Evaluation, ResultWhoseIdIsNoTemplate_FindsNoEntry) {
    UseEverything();
    RequestSingle("k");
    EvaluationResult result = VoiceResult("k");
    for (const std::string& id : {std::string("no json"), Template<EventAudioRecognized>("k")}) {
        result.request_id = id;
        Complete(Sent(), result);
        EXPECT_EQ(DebugLines("HandleEvaluateResult").back(),
                  "evaluate_request_map_[] has been erased, reurn.");
    }
    EXPECT_THAT(Requests(), SizeIs(1));
    EXPECT_THAT(Timers(), SizeIs(1));
}

TEST_F(Evaluation, ResultWhoseIdHasNoCustom_IsThatOfAQuestionWithAnEmptyOne) {
    UseEverything();
    EXPECT_CALL(Device(DeviceType::RV2), CheckLastQuestionCustom("7", ""))
        .Times(2)
        .WillRepeatedly(Return(true));
    EvaluationResult result = VoiceResult("k");
    result.request_id = WithoutCustom(result.request_id);
    RequestSingle("k");
    Complete(Sent(), result);
    EvaluationResult general = GeneralResult("k", "{}");
    general.request_id = WithoutCustom(general.request_id);
    RequestGeneral("k");
    Complete(General(), general);
    ASSERT_THAT(SentEvents(), SizeIs(2));
    for (const Json::Value& event : SentEvents()) {
        EXPECT_EQ(event["custom"].asString(), "");
    }
}

TEST_F(Evaluation, EntryWithoutBytes_IsErasedWithoutFreeing) {
    UseEverything();
    EvaluateRequest request;
    request.request_id = Template<EventVoiceEvaluated>("k");
    std::uint8_t not_on_the_heap = 0;
    request.audio_data = &not_on_the_heap;
    request.audio_size = 0;
    handler().RequestMultipleEvaluation("k", request, 0);
    Complete(Access::MultipleEvaluator(handler()), VoiceResult("k"));
    request.audio_data = nullptr;
    request.audio_size = 5;
    Requests()["k"] = request;
    Complete(General(), GeneralResult("k", "{}"));
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_THAT(SentEvents(), SizeIs(2));
}

TEST_F(Evaluation, Search_AsksAllFiveObjectsInOrderAndEndsAtTheFirstThatAccepts) {
    UseEverything();
    AddAll(kDeviceStatusNotConnected);
    {
        InSequence order;
        for (const DeviceType kind : {DeviceType::TQ1, DeviceType::TQ2, DeviceType::RV1, DeviceType::RV2}) {
            EXPECT_CALL(Device(kind), CheckLastQuestionCustom("7", "custom")).WillOnce(Return(false));
        }
        EXPECT_CALL(Device(DeviceType::LW), CheckLastQuestionCustom("7", "custom")).WillOnce(Return(true));
    }
    RequestSingle("k");
    Complete(Sent(), VoiceResult("k"));
    EXPECT_THAT(SentEvents(), SizeIs(1));
}

TEST_F(Evaluation, ResultWithChineseText_ArrivesUnchangedInMeaning) {
    UseEverything();
    SetActiveCodePage("CP936");
    RequestSingle("k");
    EvaluationResult result = VoiceResult("k");
    result.result = "\xE4\xBD\xA0\xE5\xA5\xBD";
    Complete(Sent(), result);
    ASSERT_THAT(SentEvents(), SizeIs(1));
    EXPECT_EQ(SentEvents()[0]["data"]["result"].asString(), ToUtf8(ToActiveCodePage(result.result)));
}

// Results of general evaluations.

TEST_F(Evaluation, GeneralResult_NestsItsRawResultAndGoesOut) {
    UseEverything();
    RequestGeneral("k");
    const std::string raw = "{\"a\":[1,2]}";
    Complete(General(), GeneralResult("k", raw));
    EXPECT_THAT(Requests(), IsEmpty());
    const auto lines = log().OfFunction("IpcHandler::HandleGeneralEvaluateCompleted");
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].level, LogLevel::Info);
    EXPECT_EQ(lines[0].rest, "result.request_id=" + Template<EventEvaluated>("k"));
    EXPECT_THAT(
        DebugLines("HandleGeneralEvaluateResult"),
        ElementsAre("result.request_id=" + Template<EventEvaluated>("k") +
                        ", result.request_param_stringify={\"p\":1}, result.raw_result_stringify=" + raw,
                    "device=7 custom match custom=custom"));
    ASSERT_THAT(SentEvents(), SizeIs(1));
    const Json::Value event = SentEvents()[0];
    EXPECT_EQ(event["event"].asString(), "evaluated");
    EXPECT_THAT(event["id"].asString(), SizeIs(36));
    EXPECT_EQ(event["device"].asString(), "7");
    EXPECT_EQ(event["extra"].asString(), "k");
    EXPECT_EQ(event["custom"].asString(), "custom");
    EXPECT_EQ(event["data"]["error"].asInt(), 0);
    EXPECT_DOUBLE_EQ(event["data"]["lost_package_rate"].asDouble(), 0.25);
    EXPECT_EQ(event["data"]["raw_result"]["a"][1].asInt(), 2);
    EXPECT_THAT(Telemetry("ipc_vdk_event_evaluated"),
                ElementsAre("uniq_id=" + event["id"].asString() + ":s", "device=7:s", "error=0:i",
                            "lost_package_rate=0.250000:s", "raw_result=" + raw + ":s", "extra=k:s",
                            "custom=custom:s"));
}

TEST_F(Evaluation, RawResultBeyondAscii_ArrivesUnconvertedUnderEveryCodePage) {
    UseEverything();
    const std::string text = "\xE4\xBD\xA0\xE5\xA5\xBD \xC3\xA9";
    const std::string raw = "{\"words\":\"" + text + "\"}";
    for (const char* const page : {"CP1252", "CP936", "UTF-8"}) {
        SetActiveCodePage(page);
        log().Clear();
        RequestGeneral("k");
        Complete(General(), GeneralResult("k", raw));
        ASSERT_THAT(SentEvents(), SizeIs(1)) << page;
        EXPECT_EQ(SentEvents()[0]["data"]["raw_result"]["words"].asString(), text) << page;
        EXPECT_EQ(TrackwireRecords("ipc_vdk_event_evaluated").back().Value("raw_result"), raw) << page;
    }
}

TEST_F(Evaluation, GeneralResultWhoseIdIsNoTemplate_FindsNoEntry) {
    UseEverything();
    RequestGeneral("k");
    EvaluationResult result = GeneralResult("k", "{}");
    for (const std::string& id : {std::string("no json"), std::string(), Template<EventAudioRecognized>("k"),
                                  Template<EventVoiceEvaluated>("k")}) {
        result.request_id = id;
        log().Clear();
        Complete(General(), result);
        EXPECT_EQ(DebugLines("HandleGeneralEvaluateResult").back(),
                  "evaluate_request_map_[] has been erased, reurn.");
        EXPECT_THAT(SentEvents(), IsEmpty());
    }
    EXPECT_THAT(Requests(), SizeIs(1));
}

TEST_F(Evaluation, GeneralResultThatIsNoJsonObject_GivesAnEventWithoutRawResult) {
    UseEverything();
    for (const char* raw : {"[1]", "no json", "", "7"}) {
        log().Clear();
        RequestGeneral("k");
        Complete(General(), GeneralResult("k", raw));
        ASSERT_THAT(SentEvents(), SizeIs(1)) << raw;
        EXPECT_FALSE(SentEvents()[0]["data"].isMember("raw_result")) << raw;
        EXPECT_EQ(TrackwireRecords("ipc_vdk_event_evaluated").back().Value("raw_result"), raw);
    }
}

TEST_F(Evaluation, SecondGeneralResultForOneKey_IsDropped) {
    UseEverything();
    RequestGeneral("k");
    Complete(General(), GeneralResult("k", "{}"));
    log().Clear();
    Complete(General(), GeneralResult("k", "{}"));
    EXPECT_THAT(SentEvents(), IsEmpty());
    EXPECT_EQ(DebugLines("HandleGeneralEvaluateResult").back(),
              "evaluate_request_map_[k] has been erased, reurn.");
    EXPECT_THAT(log().OfFunction("IpcHandler::StopEvaluatorTimer"), IsEmpty());
}

TEST_F(Evaluation, GeneralResultOfAQuestionThatHasChanged_ErasesTheEntryAndIsDropped) {
    UseEverything();
    ON_CALL(Device(DeviceType::RV2), CheckLastQuestionCustom(_, _)).WillByDefault(Return(false));
    RequestGeneral("k");
    Complete(General(), GeneralResult("k", "{}"));
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_EQ(DebugLines("HandleGeneralEvaluateResult").back(), "device=7 custom not match");
}

TEST_F(Evaluation, GeneralResultOfAnEngineThatIsGone_IsDroppedAndTheEntryStays) {
    UseEverything();
    RequestGeneral("k");
    handler().OnEvaluateCompleted(General(), GeneralResult("k", "{}"));
    Access::UninitSpeechEvaluator(handler());
    EXPECT_EQ(Access::RunTasks(handler()), 1u);
    EXPECT_THAT(DebugLines("HandleGeneralEvaluateResult"), ElementsAre(_, "evaluator not match, return."));
    EXPECT_THAT(Requests(), SizeIs(1));
}

TEST_F(Evaluation, SingleResultOfAnEngineThatIsGone_IsDroppedAndEntryAndTimerStay) {
    UseEverything();
    RequestSingle("k");
    handler().OnEvaluateCompleted(Sent(), VoiceResult("k"));
    Access::UninitSpeechEvaluator(handler());
    EXPECT_EQ(Access::RunTasks(handler()), 1u);
    EXPECT_THAT(DebugLines("HandleEvaluateResult"), ElementsAre(_, "evaluator not match, return."));
    EXPECT_THAT(Requests(), SizeIs(1));
    EXPECT_THAT(Timers(), SizeIs(1));
}

// The timer, and the switch to offline evaluation.

TEST_F(Evaluation, TimeoutOfTwoSeconds_SwitchesAndRepeatsTheRequestOffline) {
    UseEverything();
    const auto begin = std::chrono::steady_clock::now();
    RequestSingle("k");
    SpeechEvaluator* const online = Sent();
    ASSERT_TRUE(log().WaitFor("timeout k"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1900));
    EXPECT_EQ(Access::OfflineEvaluator(handler()), nullptr);  // only posted on the timer's thread
    ASSERT_TRUE(WaitUntil([this] { return Access::QueuedTasks(handler()) == 1; }));
    EXPECT_EQ(Access::RunTasks(handler()), 1u);
    EXPECT_THAT(DebugLines("HandleEvaluatorTimeout"),
                ElementsAre("timeout task begin k",
                            "evaluation result of k has not returned, try to changed to offline",
                            "request evaluation of k again"));
    SpeechEvaluator* const offline = Access::OfflineEvaluator(handler());
    EXPECT_EQ(Sent(), offline);
    EXPECT_EQ(Access::OnlineEvaluator(handler()), online);
    ASSERT_THAT(EngineOf(offline).evaluations, SizeIs(1));
    EXPECT_EQ(EngineOf(offline).evaluations[0].request_id, Template<EventVoiceEvaluated>("k"));
    EXPECT_THAT(EngineOf(offline).audio[0], ElementsAre(1, 2, 3));
    EXPECT_THAT(Timers(), IsEmpty());
    EXPECT_THAT(Requests(), SizeIs(1));
    EXPECT_THAT(Telemetry("vdk_use_offline_evaluator"), IsEmpty());
}

TEST_F(Evaluation, TwoOpenRequests_OnlyTheFirstTimeoutIsRepeated) {
    UseEverything();
    RequestSingle("a");
    RequestSingle("b");
    FireTimer("b");
    EXPECT_THAT(EngineOf(Sent()).evaluations, SizeIs(1));
    FireTimer("a");
    EXPECT_TRUE(log().Has(LogLevel::Debug, "current evaluator is offline do not request again"));
    ASSERT_THAT(EngineOf(Sent()).evaluations, SizeIs(1));
    EXPECT_EQ(EngineOf(Sent()).evaluations[0].request_id, Template<EventVoiceEvaluated>("b"));
    EXPECT_THAT(Timers(), IsEmpty());
    Complete(Sent(), VoiceResult("b"));
    EXPECT_THAT(SentEvents(), SizeIs(1));
    EXPECT_THAT(Requests(), ElementsAre(testing::Key("a")));  // for good
    EXPECT_THAT(TrackwireRecords("vdk_use_offline_evaluator"), SizeIs(1));
}

TEST_F(Evaluation, OnlineAnswerAfterTheSwitch_IsDroppedAndTheOfflineAnswerGoesOut) {
    UseEverything();
    SpeechEvaluator* const online = Sent();
    RequestSingle("k");
    FireTimer("k");
    log().Clear();
    EvaluationResult late = VoiceResult("k");
    late.result = "online";
    Complete(online, late);
    EXPECT_THAT(DebugLines("HandleEvaluateResult"), ElementsAre(_, "evaluator not match, return."));
    EXPECT_THAT(SentEvents(), IsEmpty());
    EXPECT_THAT(Requests(), SizeIs(1));
    EvaluationResult answer = VoiceResult("k");
    answer.result = "offline";
    Complete(Sent(), answer);
    ASSERT_THAT(SentEvents(), SizeIs(1));
    EXPECT_EQ(SentEvents()[0]["data"]["result"].asString(), "offline");
    EXPECT_THAT(Requests(), IsEmpty());
}

TEST_F(Evaluation, OnlineResultThatIsQueuedBehindTheSwitch_IsDropped) {
    UseEverything();
    RequestSingle("k");
    // The timeout's task comes first in the queue, and the result's finds another evaluator in its place.
    Timer::OnTimerFired(Timers().at("k").get(), true);
    handler().OnEvaluateCompleted(Sent(), VoiceResult("k"));
    EXPECT_EQ(Access::RunTasks(handler()), 2u);
    EXPECT_THAT(DebugLines("HandleEvaluateResult"), ElementsAre(_, "evaluator not match, return."));
    EXPECT_THAT(SentEvents(), IsEmpty());
    EXPECT_THAT(Requests(), SizeIs(1));
    EXPECT_THAT(EngineOf(Sent()).evaluations, SizeIs(1));
}

TEST_F(Evaluation, OnlineAnswerToAnotherRequestAfterTheSwitch_LeavesItsTimerWhichThenFindsTheSwitchMade) {
    UseEverything();
    SpeechEvaluator* const online = Sent();
    RequestSingle("a");
    RequestSingle("b");
    FireTimer("a");
    log().Clear();
    Complete(online, VoiceResult("b"));
    EXPECT_THAT(DebugLines("HandleEvaluateResult"), ElementsAre(_, "evaluator not match, return."));
    EXPECT_THAT(log().OfFunction("IpcHandler::StopEvaluatorTimer"), IsEmpty());
    EXPECT_THAT(Requests(), SizeIs(2));
    ASSERT_THAT(Timers(), ElementsAre(testing::Key("b")));
    FireTimer("b");
    EXPECT_THAT(DebugLines("HandleEvaluatorTimeout"),
                ElementsAre("timeout task begin b",
                            "evaluation result of b has not returned, try to changed to offline",
                            "current evaluator is offline do not request again"));
    EXPECT_THAT(SentEvents(), IsEmpty());
}

TEST_F(Evaluation, Switch_IsReportedBetweenTheEnginesStartAndTheRepeatedRequest) {
    UseEverything();
    RequestSingle("k");
    std::vector<std::string> steps;
    SetSpeechCallHook([&steps](const std::string& call) {
        steps.push_back(call.substr(0, call.find('(')) + " behind " +
                        std::to_string(TrackwireRecords("vdk_use_offline_evaluator").size()));
    });
    FireTimer("k");
    SetSpeechCallHook(nullptr);
    EXPECT_THAT(steps, ElementsAre("5:evaluator behind 0", "5:start behind 0", "5:evaluate behind 1"));
}

TEST_F(Evaluation, TimeoutWhoseEntryIsGone_ClearsItsTimer) {
    UseEverything();
    RequestSingle("k");
    delete[] Requests().at("k").audio_data;
    Requests().clear();
    FireTimer("k");
    EXPECT_THAT(Timers(), IsEmpty());
    EXPECT_THAT(DebugLines("HandleEvaluatorTimeout"), ElementsAre("timeout task begin k"));
    EXPECT_EQ(Access::OfflineEvaluator(handler()), nullptr);
}

TEST_F(Evaluation, OfflineEngineThatDoesNotStart_IsKeptAndUsed) {
    UseEverything();
    RequestSingle("k");
    SetSpeechStartResult(false);
    FireTimer("k");
    EXPECT_EQ(Sent(), Access::OfflineEvaluator(handler()));
    EXPECT_THAT(EngineOf(Sent()).evaluations, SizeIs(1));
    Complete(Sent(), VoiceResult("k"));
    EXPECT_THAT(SentEvents(), SizeIs(1));
}

TEST_F(Evaluation, RequestAfterTheSwitch_GoesOfflineWithoutATimer) {
    UseEverything();
    RequestSingle("a");
    FireTimer("a");
    RequestSingle("b");
    EXPECT_THAT(Timers(), IsEmpty());
    EXPECT_THAT(EngineOf(Access::OfflineEvaluator(handler())).evaluations, SizeIs(2));
    Complete(Sent(), VoiceResult("b"));
    EXPECT_THAT(SentEvents(), SizeIs(1));
}

TEST_F(Evaluation, TimeoutOfAKeyWithoutAnEntry_Ends) {
    UseEverything();
    Access::HandleEvaluatorTimeout(handler(), "nobody");
    EXPECT_THAT(DebugLines("HandleEvaluatorTimeout"), ElementsAre("timeout task begin nobody"));
    EXPECT_EQ(Access::OfflineEvaluator(handler()), nullptr);
}

TEST_F(Evaluation, StopOfATimerThatIsAbsent_IsNoError) {
    Access::StopEvaluatorTimer(handler(), "nobody");
    const auto lines = log().OfFunction("IpcHandler::StopEvaluatorTimer");
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].level, LogLevel::Trace);
}

TEST_F(Evaluation, AfterTheSwitchAndANewStart_OldPointersAreComparedAndNeverCalledThrough) {
    UseEverything();
    RequestSingle("a");
    FireTimer("a");
    Access::UninitSpeechEvaluator(handler());
    Access::InitSpeechEvaluator(handler());
    RequestSingle("b");
    EXPECT_EQ(EngineOf(Sent()).mode, 0);
    if (Sent() != Access::OfflineEvaluator(handler())) {  // a new engine may have got the old one's address
        FireTimer("b");
    }
    EXPECT_THAT(EngineOf(Sent()).evaluations, SizeIs(1));
    Complete(Sent(), VoiceResult("b"));
    EXPECT_THAT(SentEvents(), SizeIs(1));
    EXPECT_THAT(TrackwireRecords("vdk_use_offline_evaluator"), SizeIs(1));
}

}  // namespace
}  // namespace vdipc::test
