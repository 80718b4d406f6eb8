#include "common/TextEncoding.h"
#include "support/SpeechTest.h"

#include <thread>

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::Return;
using testing::SizeIs;

class Recognition : public SpeechTest {
protected:
    static RecognitionResult Result(const std::string& text = "text") {
        RecognitionResult result;
        result.request_id = Template<EventAudioRecognized>();
        result.error_code = 3;
        result.reserved_text = "not used";
        result.result = text;
        result.start_time = 1234567890123;
        result.end_time = 1234567891234;
        return result;
    }

    void Complete(const RecognitionResult& result) {
        handler().OnRecognizeCompleted(Access::Recognizer(handler()), result);
        EXPECT_EQ(Access::RunTasks(handler()), 1u);
    }
};

TEST_F(Recognition, Request_GoesToTheRecognizerAndItsResultBack) {
    Access::InitSpeechRecognizer(handler());
    SetSpeechRequestResult(5);
    const std::uint8_t bytes[] = {1, 2};
    RecognizeRequest request;
    request.request_id = "id";
    request.audio_data = bytes;
    request.audio_size = 2;
    log().Clear();
    EXPECT_EQ(handler().RequestRecognize(request), 5);
    const SpeechEngine engine = EngineOf(Access::Recognizer(handler()));
    ASSERT_THAT(engine.recognitions, SizeIs(1));
    EXPECT_EQ(engine.recognitions[0].request_id, "id");
    EXPECT_EQ(engine.recognitions[0].audio_data, bytes);
    const auto lines = log().OfFunction("IpcHandler::RequestRecognize");
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].level, LogLevel::Trace);
}

TEST_F(Recognition, RequestWithoutARecognizer_DoesNothing) {
    EXPECT_EQ(handler().RequestRecognize(RecognizeRequest()), 0);
    EXPECT_THAT(SpeechCalls(), IsEmpty());
}

TEST_F(Recognition, Completion_IsLoggedAndOnlyQueuedOnTheLibrarysThread) {
    UseEverything();
    std::thread library([this] {
        const RecognitionResult result = Result();
        handler().OnRecognizeCompleted(nullptr, result);
    });
    library.join();
    const std::string line =
        "result.request_id=" + Template<EventAudioRecognized>() + ", result.error_code=3, result.result=text";
    ASSERT_THAT(log().Lines(), SizeIs(1)) << log().Text();
    EXPECT_TRUE(log().Has(LogLevel::Info, line));
    EXPECT_THAT(SentEvents(), IsEmpty());
    EXPECT_EQ(Access::RunTasks(handler()), 1u);
    EXPECT_THAT(DebugLines("HandleRecognizeResult"),
                ElementsAre(line, "device=7 custom match, custom=custom"));
    EXPECT_THAT(SentEvents(), SizeIs(1));
}

TEST_F(Recognition, Result_FillsTheTemplateAndGoesOut) {
    UseEverything();
    Complete(Result());
    ASSERT_THAT(SentEvents(), SizeIs(1));
    const Json::Value event = SentEvents()[0];
    EXPECT_EQ(event["event"].asString(), "audio-recognized");
    EXPECT_THAT(event["id"].asString(), SizeIs(36));
    EXPECT_EQ(event["device"].asString(), "7");
    EXPECT_EQ(event["key"].asString(), "");
    EXPECT_EQ(event["extra"].asString(), "x.wav");
    EXPECT_EQ(event["custom"].asString(), "custom");
    EXPECT_EQ(event["data"]["start_time"].asInt64(), 1234567890123);
    EXPECT_EQ(event["data"]["end_time"].asInt64(), 1234567891234);
    EXPECT_EQ(event["data"]["result"].asString(), "text");
    EXPECT_EQ(event["data"]["score"].asInt(), 0);
    EXPECT_DOUBLE_EQ(event["data"]["lost_package_rate"].asDouble(), 0.25);
    EXPECT_THAT(Telemetry("ipc_vdk_event_audio_recognized"),
                ElementsAre("uniq_id=" + event["id"].asString() + ":s", "device=7:s", "key=:s",
                            "start_time=1234567890123:s", "end_time=1234567891234:s", "result=text:s",
                            "extra=x.wav:s", "custom=custom:s"));
}

TEST_F(Recognition, Result_LeavesAheadOfItsTelemetryAndWithoutSendIPCMesage) {
    UseEverything();
    Complete(Result());
    EXPECT_THAT(FunctionsAmong({"PipeServer::SendMsg", "IpcHandler::SendTrackwire"}),
                ElementsAre("PipeServer::SendMsg", "IpcHandler::SendTrackwire"));
    EXPECT_THAT(log().OfFunction("IpcHandler::SendIPCMesage"), IsEmpty());
}

TEST_F(Recognition, TwoResultsForOneDeviceAndCustom_AreTwoEventsWithIdsOfTheirOwn) {
    UseEverything();
    Complete(Result());
    Complete(Result());
    ASSERT_THAT(SentEvents(), SizeIs(2));
    EXPECT_NE(SentEvents()[0]["id"], SentEvents()[1]["id"]);
}

TEST_F(Recognition, ResultOfAQuestionThatHasEnded_IsDropped) {
    UseEverything();
    ON_CALL(Device(DeviceType::RV2), CheckLastQuestionCustom(_, _)).WillByDefault(Return(false));
    Complete(Result());
    EXPECT_THAT(SentEvents(), IsEmpty());
    EXPECT_EQ(DebugLines("HandleRecognizeResult").back(), "device=7 event not match");
    EXPECT_THAT(TrackwireRecords(), IsEmpty());
}

TEST_F(Recognition, ResultOfAQuestionThatWasReplacedByAnotherCustom_IsDropped) {
    UseEverything();
    RecognitionResult result = Result();
    result.request_id = Template<EventAudioRecognized>("x.wav", "former custom");
    Complete(result);
    EXPECT_THAT(SentEvents(), IsEmpty());
}

// The question for all is recorded for activated keypads alone, so that of any other keypad goes on.
TEST_F(Recognition, LateResultOfAQuestionForOneKeypad_ComesAfterAQuestionForAllThatDidNotReachIt) {
    UseEverything();
    Access::CreateVoteDeckObjects(handler());
    for (const DeviceType kind : kAllKinds) {
        const auto object = Access::DeviceObjects(handler()).at(kind);
        CommandAsk ask;
        ask.type = QuestionType::Audio;
        ask.device = "7";
        ask.custom = "one";
        object->HandleAsk(ask);
        ask.device = "0";
        ask.custom = "all";
        object->HandleAsk(ask);
        RecognitionResult result = Result();
        result.request_id = Template<EventAudioRecognized>("x.wav", "one");
        log().Clear();
        Complete(result);
        ASSERT_THAT(SentEvents(), SizeIs(1)) << static_cast<int>(kind);
        EXPECT_EQ(SentEvents()[0]["custom"].asString(), "one");
        // Once the keypad is activated, a question for all replaces its own.
        object->SetActivatedDeviceSet({"7"});
        object->HandleAsk(ask);
        log().Clear();
        Complete(result);
        EXPECT_THAT(SentEvents(), IsEmpty()) << static_cast<int>(kind);
    }
}

TEST_F(Recognition, ResultWhoseIdHasNoCustom_IsThatOfAQuestionWithAnEmptyOne) {
    UseEverything();
    EXPECT_CALL(Device(DeviceType::RV2), CheckLastQuestionCustom("7", "")).WillOnce(Return(true));
    RecognitionResult result = Result();
    result.request_id = WithoutCustom(result.request_id);
    Complete(result);
    ASSERT_THAT(SentEvents(), SizeIs(1));
    EXPECT_EQ(SentEvents()[0]["custom"].asString(), "");
}

TEST_F(Recognition, ResultWhoseIdIsNoTemplate_SearchesWithEmptyTextsAndIsDropped) {
    UseEverything();
    EXPECT_CALL(Device(DeviceType::RV2), CheckLastQuestionCustom("", ""))
        .Times(4)
        .WillRepeatedly(Return(false));
    for (const std::string& id :
         {std::string("no json"), std::string(), std::string("[]"), Template<EventVoiceEvaluated>()}) {
        RecognitionResult result = Result();
        result.request_id = id;
        log().Clear();
        Complete(result);
        EXPECT_EQ(DebugLines("HandleRecognizeResult").back(), "device= event not match");
        EXPECT_THAT(SentEvents(), IsEmpty());
    }
}

TEST_F(Recognition, ResultWithAnErrorCode_GoesOutAsUsual) {
    UseEverything();
    RecognitionResult result = Result("");
    result.error_code = -1;
    Complete(result);
    ASSERT_THAT(SentEvents(), SizeIs(1));
    EXPECT_EQ(SentEvents()[0]["data"]["result"].asString(), "");
}

TEST_F(Recognition, ResultWithChineseText_ArrivesUnchangedInMeaning) {
    UseEverything();
    SetActiveCodePage("CP936");
    const std::string chinese = "\xE4\xBD\xA0\xE5\xA5\xBD";
    Complete(Result(chinese));
    ASSERT_THAT(SentEvents(), SizeIs(1));
    // On Windows the code page is the system's, which may be unable to hold it.
    const std::string expected = ToUtf8(ToActiveCodePage(chinese));
#if !defined(_WIN32)
    EXPECT_EQ(expected, chinese);
#endif
    EXPECT_EQ(SentEvents()[0]["data"]["result"].asString(), expected);
    EXPECT_EQ(TrackwireRecords("ipc_vdk_event_audio_recognized").at(0).Value("result"),
              ToActiveCodePage(chinese));
}

TEST_F(Recognition, Search_AsksAllFiveObjectsInOrderAndEndsAtTheFirstThatAccepts) {
    UseEverything();
    AddAll(kDeviceStatusNotConnected);
    {
        InSequence order;
        EXPECT_CALL(Device(DeviceType::TQ1), CheckLastQuestionCustom("7", "custom")).WillOnce(Return(false));
        EXPECT_CALL(Device(DeviceType::TQ2), CheckLastQuestionCustom("7", "custom")).WillOnce(Return(false));
        EXPECT_CALL(Device(DeviceType::RV1), CheckLastQuestionCustom("7", "custom")).WillOnce(Return(true));
    }
    EXPECT_CALL(Device(DeviceType::RV2), CheckLastQuestionCustom(_, _)).Times(0);
    EXPECT_CALL(Device(DeviceType::LW), CheckLastQuestionCustom(_, _)).Times(0);
    Complete(Result());
    EXPECT_THAT(SentEvents(), SizeIs(1));
}

TEST_F(Recognition, Event_IsTheSameWhicheverObjectAccepts) {
    UseEverything();
    AddAll(kDeviceStatusNotConnected);
    std::vector<Json::Value> events;
    for (const DeviceType accepting : kAllKinds) {
        for (const DeviceType kind : kAllKinds) {
            ON_CALL(Device(kind), CheckLastQuestionCustom("7", "custom"))
                .WillByDefault(Return(kind == accepting));
        }
        log().Clear();
        Complete(Result());
        ASSERT_THAT(SentEvents(), SizeIs(1)) << static_cast<int>(accepting);
        events.push_back(SentEvents()[0]);
        EXPECT_EQ(events.back()["data"]["result"].asString(), "text");
        events.back().removeMember("id");
        EXPECT_EQ(events.back(), events.front()) << static_cast<int>(accepting);
    }
}

TEST_F(Recognition, Search_ReachesTheLastObjectAndPassesOverEmptyPointers) {
    UseEverything();
    AddAll(kDeviceStatusNotConnected);
    Access::DeviceObjects(handler())[DeviceType::TQ1] = nullptr;
    EXPECT_CALL(Device(DeviceType::RV2), CheckLastQuestionCustom("7", "custom")).WillOnce(Return(false));
    EXPECT_CALL(Device(DeviceType::LW), CheckLastQuestionCustom("7", "custom")).WillOnce(Return(true));
    Complete(Result());
    EXPECT_THAT(SentEvents(), SizeIs(1));
}

TEST_F(Recognition, ResultWithoutAPipeServer_IsDroppedSilently) {
    UseEverything();
    delete Access::Server(handler()).exchange(nullptr);
    Complete(Result());
    EXPECT_EQ(DebugLines("HandleRecognizeResult").back(), "device=7 custom match, custom=custom");
    EXPECT_THAT(TrackwireRecords(), IsEmpty());
}

}  // namespace
}  // namespace vdipc::test
