// What the base station's library calls, and what comes of it.
#include "unit/drivers/support/RV2Fixture.h"
#include "unit/drivers/support/Slots.h"

#include <chrono>
#include <filesystem>
#include <fstream>

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::Return;

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kPatternA = 0xFFF0FFF0;
constexpr std::uint32_t kPatternB = 0xF0FFF0FF;

void PutWord(Bytes& bytes, std::size_t place, std::uint32_t word) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[place + i] = static_cast<std::uint8_t>(word >> (8 * i));
    }
}

std::size_t PlaceOfSample(std::size_t size, std::size_t k) {
    return 44 + k * ((size - 44) / 11);
}

/// A recording whose ten tested words hold the fill pattern, and nothing else does.
Bytes FillPattern(std::size_t size) {
    Bytes bytes(size, 0x11);
    for (std::size_t k = 1; k <= 10; ++k) {
        PutWord(bytes, PlaceOfSample(size, k), k % 2 == 0 ? kPatternA : kPatternB);
    }
    return bytes;
}

class MockKeypadAudio : public IKeypadAudio {
public:
    virtual ~MockKeypadAudio() = default;
    MOCK_METHOD(void, Reserved0, (), (override));
    MOCK_METHOD(void, Reserved1, (), (override));
    MOCK_METHOD(bool, IsValid, (), (override));
    MOCK_METHOD(void, Reserved3, (), (override));
    MOCK_METHOD(const std::uint8_t*, GetData, (), (override));
    MOCK_METHOD(std::int32_t, GetSize, (), (override));
    MOCK_METHOD(void, Release, (), (override));
};

std::int32_t Check(const Bytes& bytes) {
    return VoteDeckObject_RV2::CheckAudioData(bytes.data(), static_cast<std::int32_t>(bytes.size()));
}

TEST(CheckAudioData, NullPointer_Gives0) {
    EXPECT_EQ(VoteDeckObject_RV2::CheckAudioData(nullptr, 5000), 0);
}

TEST(CheckAudioData, ShorterThan88Bytes_Gives3) {
    EXPECT_EQ(Check(Bytes(87)), 3);
    EXPECT_EQ(Check(Bytes(44)), 3);
    EXPECT_EQ(VoteDeckObject_RV2::CheckAudioData(Bytes(88).data(), -1), 3);
    EXPECT_EQ(VoteDeckObject_RV2::CheckAudioData(Bytes(88).data(), INT32_MIN), 3);
    EXPECT_EQ(Check(Bytes(88)), 1);
}

TEST(CheckAudioData, NullPointerOrTooShort_PrintsNothing) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(VoteDeckObject_RV2::CheckAudioData(nullptr, 5000), 0);
    EXPECT_EQ(Check(Bytes(87)), 3);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(CheckAudioData, Print_NeverReachesTheLog) {
    const LogCapture log;
    testing::internal::CaptureStdout();
    EXPECT_EQ(Check(Bytes(4096)), 1);
    EXPECT_EQ(Check(FillPattern(4096)), 2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "check redio 0\ncheck redio 1\n");
    EXPECT_THAT(log.Rests(), ElementsAre("", "")) << "the two entries";
}

TEST(CheckAudioData, AllTenWordsOfEitherPattern_Gives2AndPrints1) {
    const Bytes bytes = FillPattern(4096);
    testing::internal::CaptureStdout();
    EXPECT_EQ(Check(bytes), 2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "check redio 1\n");
}

TEST(CheckAudioData, OneWordOfTenDiffers_IsGoodAndPrints0) {
    for (std::size_t k = 1; k <= 10; ++k) {
        Bytes bytes = FillPattern(3072);
        PutWord(bytes, PlaceOfSample(bytes.size(), k), 0xFFF0FFF1);
        testing::internal::CaptureStdout();
        EXPECT_EQ(Check(bytes), 1) << "word " << k;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "check redio 0\n");
    }
}

TEST(CheckAudioData, PatternInAllBytes_Gives2AtEveryStrideAndInEitherPhase) {
    testing::internal::CaptureStdout();
    for (std::size_t stride = 4; stride <= 40; ++stride) {
        for (const std::uint32_t pattern : {kPatternA, kPatternB}) {
            Bytes bytes(44 + 11 * stride);
            for (std::size_t place = 44; place < bytes.size(); ++place) {
                bytes[place] = static_cast<std::uint8_t>(pattern >> (8 * (place % 2)));
            }
            EXPECT_EQ(Check(bytes), 2) << "stride " << stride << ", pattern " << std::hex << pattern;
        }
    }
    testing::internal::GetCapturedStdout();
}

TEST(CheckAudioData, SmallestTestableSize_ReadsItsLastWordWithinTheRecording) {
    // 44 bytes of samples: stride 4, the tenth word ends with the recording.
    Bytes bytes(88, 0x11);
    for (std::size_t k = 1; k <= 10; ++k) {
        PutWord(bytes, 44 + 4 * k, kPatternB);
    }
    EXPECT_EQ(Check(bytes), 2);
}

class RV2CallbackTest : public RV2Test {
protected:
    RV2CallbackTest() {
        static int number = 0;
        const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
        folder_ = std::filesystem::temp_directory_path() /
                  ("vdipc-rv2-" + std::to_string(now) + "-" + std::to_string(++number));
        std::filesystem::create_directories(folder_ / "audio");
        object_->SetAudioFileStorageBasePath(AudioPath());
    }
    ~RV2CallbackTest() override {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    std::string AudioPath() const { return (folder_ / "audio").string(); }
    /// A question as it stands after an "ask" for the keypad.
    void Ask(const std::string& device, QuestionType type) {
        QuestionRecord& record = object_->last_question_map_[device];
        record.stopped = false;
        record.ask.device = device;
        record.ask.type = type;
        record.ask.custom = "c";
        record.ask.param = "{}";
        record.ask.stems = {"stem"};
        record.ask.audio_file_name_prefix = "rv2test-";
    }
    void Record(const Bytes& bytes, bool error = false) {
        testing::StrictMock<MockKeypadAudio> audio;
        Bytes lent = bytes;
        EXPECT_CALL(audio, IsValid()).WillOnce(Return(true));
        EXPECT_CALL(audio, GetSize()).WillRepeatedly(Return(static_cast<std::int32_t>(lent.size())));
        EXPECT_CALL(audio, GetData()).WillRepeatedly(Return(lent.data()));
        const std::size_t queued = handler_.QueuedTasks();
        EXPECT_CALL(audio, Release()).WillOnce([&] {
            EXPECT_EQ(handler_.QueuedTasks(), queued) << "the task comes after the release";
            lent.assign(lent.size(), 0xDD);
        });
        object_->OnKeypadAudioEvent(7, &audio, error);
        EXPECT_EQ(handler_.QueuedTasks(), queued + 1);
    }
    /// The error number that reached the client, by way of an evaluation that was not made.
    std::int32_t ErrorTold(const Bytes& bytes, bool error = false) {
        Ask("7", QuestionType::VoiceEvaluation);
        Record(bytes, error);
        handler_.RunTasks();
        const auto notes = handler_.TakeNotes();
        const bool told = notes == std::vector<std::string>{"evaluated 7"};
        return told ? handler_.Events().back()["data"]["error"].asInt() : 0;
    }
    /// The text was logged once, at this level; by this function, where one is named.
    void ExpectOneLine(LogLevel level, const std::string& text, const std::string& function = {}) {
        const auto lines = log_.Find(text);
        ASSERT_EQ(lines.size(), 1u) << log_.Text();
        EXPECT_EQ(lines[0].level, level);
        if (!function.empty()) {
            EXPECT_EQ(lines[0].function, function);
        }
    }

    std::filesystem::path folder_;
};

TEST_F(RV2CallbackTest, KeypadConnect_RecordsNotifiesAndSendsActivatedInATask) {
    object_->dropped_device_set_ = {"7"};
    object_->OnKeypadConnect(1234, 7, true);
    ExpectOneLine(LogLevel::Info, "ushDeviceId=7, bConnect=true");
    EXPECT_TRUE(object_->text_record_map_.empty()) << "nothing happens on the library's thread";
    EXPECT_THAT(handler_.TakeNotes(), IsEmpty());
    handler_.RunTasks();
    ExpectOneLine(LogLevel::Debug, "task begin ushDeviceId=7, bConnect=true");
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("active devices changed", "activated 7"));
    EXPECT_EQ(StepsOfTheCycle(log_), kStepsOfComing);
    ASSERT_EQ(object_->text_record_map_.count("7"), 1u);
    EXPECT_EQ(object_->text_record_map_["7"].device, "7");
    EXPECT_TRUE(object_->text_record_map_["7"].has_row1);
    EXPECT_TRUE(object_->text_record_map_["7"].has_row2);
    EXPECT_TRUE(object_->text_record_map_["7"].has_row3);
    EXPECT_TRUE(object_->dropped_device_set_.empty());
}

TEST_F(RV2CallbackTest, KeypadDisconnect_ForgetsNotifiesAndSendsInactivated) {
    AddKeypads({"7", "8"});
    object_->dropped_device_set_ = {"7"};
    log_.Clear();
    object_->OnKeypadConnect(0, 7, false);
    handler_.RunTasks();
    EXPECT_EQ(StepsOfTheCycle(log_), kStepsOfGoing);
    ExpectOneLine(LogLevel::Debug, "task begin ushDeviceId=7, bConnect=false");
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("active devices changed", "inactivated 7"));
    EXPECT_THAT(object_->GetActivatedDeviceSet(), ElementsAre("8"));
    EXPECT_TRUE(object_->dropped_device_set_.empty());
}

TEST_F(RV2CallbackTest, KeypadThatLeavesAndComesBack_KeepsItsQuestionAndItsAnswer) {
    AddKeypads({"7"});
    Ask("7", QuestionType::MultipleChoice);
    object_->OnKeypadEvent(7, 1);
    object_->OnKeypadConnect(0, 7, false);
    object_->OnKeypadConnect(0, 7, true);
    handler_.RunTasks();
    handler_.TakeNotes();
    EXPECT_TRUE(object_->CheckLastQuestionCustom("7", "c"));
    object_->OnKeypadEvent(7, 2);
    object_->OnKeypadEvent(7, 5);
    handler_.RunTasks();
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("key-pressed 7 AB"));
    object_->OnKeypadConnect(0, 7, false);
    object_->OnKeypadConnect(0, 7, true);
    handler_.RunTasks();
    handler_.TakeNotes();
    object_->OnKeypadEvent(7, 5);
    handler_.RunTasks();
    EXPECT_THAT(handler_.TakeNotes(), IsEmpty()) << "the answer is still finished";
}

TEST_F(RV2CallbackTest, Callbacks_WithValues_WriteOneLineOnTheLibrarysThread) {
    log_.Clear();
    object_->OnKeypadConnect(0, 65535, true);
    object_->OnKeypadEvent(65535, -1);
    Record(Bytes(100));
    EXPECT_THAT(log_.Rests(), ElementsAre("ushDeviceId=65535, bConnect=true",
                                          "ushDeviceId=65535, enKeyValue=-1", "ushDeviceID=7"));
    EXPECT_EQ(log_.Lines()[0].function, "VoteDeckObject_RV2::OnKeypadConnect");
}

TEST_F(RV2CallbackTest, Callbacks_ObjectIsGoneBeforeTheTaskRuns_TheTaskIsDropped) {
    object_->OnKeypadConnect(0, 7, true);
    object_->OnKeypadEvent(7, 2);
    Record(Bytes(4000));
    object_.reset();
    handler_.RunTasks();
    EXPECT_THAT(handler_.TakeNotes(), IsEmpty());
    EXPECT_EQ(log_.Count("task begin"), 0u);
}

TEST_F(RV2CallbackTest, KeypadEvent_RunsTheKeyPathInATaskAndReportsRssiZero) {
    Ask("7", QuestionType::SingleChoice);
    object_->OnKeypadEvent(7, 2);
    ExpectOneLine(LogLevel::Info, "ushDeviceId=7, enKeyValue=2");
    EXPECT_THAT(handler_.TakeNotes(), IsEmpty());
    handler_.RunTasks();
    ExpectOneLine(LogLevel::Debug, "task begin ushDeviceId=7, enKeyValue=2");
    ExpectOneLine(LogLevel::Debug, "need_send=true",
                  "VoteDeckObject_RV2::OnKeypadEvent::<lambda>::operator ()");
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("key-pressed 7 B"));
    const auto records = TrackwireRecords("ipc_vdk_event_key_pressed");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].Value("rssi"), "0");
}

TEST_F(RV2CallbackTest, KeypadEvent_NeedSendIsToldBetweenTheFilterAndTheSending) {
    Ask("7", QuestionType::SingleChoice);
    object_->OnKeypadEvent(7, 2);
    handler_.RunTasks();
    std::vector<std::string> order;
    for (const std::string& rest : log_.Rests()) {
        if (rest == "key=B" || rest == "need_send=true" || rest == "device=7") {
            order.push_back(rest);
        }
    }
    // The first is that of the question's lookup.
    EXPECT_THAT(order, ElementsAre("device=7", "key=B", "need_send=true", "device=7"));
}

TEST_F(RV2CallbackTest, KeypadEvent_KeyThatDoesNotCount_IsDecidedAndNotSent) {
    Ask("7", QuestionType::SingleChoice);
    object_->OnKeypadEvent(7, 9);
    handler_.RunTasks();
    ExpectOneLine(LogLevel::Debug, "need_send=false");
    EXPECT_THAT(handler_.TakeNotes(), IsEmpty());
}

TEST_F(RV2CallbackTest, KeypadEvent_AfterTheQuestionIsStopped_EmitsNothing) {
    Ask("7", QuestionType::General);
    object_->last_question_map_["7"].stopped = true;
    object_->OnKeypadEvent(7, 2);
    handler_.RunTasks();
    EXPECT_THAT(handler_.TakeNotes(), IsEmpty());
    EXPECT_EQ(log_.Count("need_send"), 0u);
}

TEST_F(RV2CallbackTest, KeypadEvent_AfterTheAnswerIsFinished_EmitsNothing) {
    Ask("7", QuestionType::SingleChoice);
    object_->OnKeypadEvent(7, 2);
    object_->OnKeypadEvent(7, 3);
    handler_.RunTasks();
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("key-pressed 7 B"));
}

TEST_F(RV2CallbackTest, AudioEvent_InvalidBuffer_IsNeitherCopiedNorReleased) {
    testing::StrictMock<MockKeypadAudio> audio;
    EXPECT_CALL(audio, IsValid()).WillOnce(Return(false));
    object_->OnKeypadAudioEvent(7, &audio, true);
    ExpectOneLine(LogLevel::Info, "ushDeviceID=7");
    EXPECT_EQ(handler_.QueuedTasks(), 0u);
}

TEST_F(RV2CallbackTest, AudioEvent_IsCopiedBeforeItIsReleased) {
    Ask("7", QuestionType::SingleChoice);
    Bytes bytes(4000);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 7);
    }
    Record(bytes);
    ASSERT_EQ(handler_.QueuedTasks(), 1u);
    handler_.RunTasks();
    ExpectOneLine(LogLevel::Debug, "task begin ushDeviceID=7");
    const std::string saved = "saved audio file ";
    std::string name;
    for (const std::string& rest : log_.Rests()) {
        if (rest.rfind(saved, 0) == 0) {
            name = rest.substr(saved.size());
        }
    }
    ASSERT_EQ(name.rfind("rv2test-7-", 0), 0u) << log_.Text();
    // Without a Windows a backslash is a character of the name like any other.
    std::ifstream file(AudioPath() + "\\" + name, std::ios::binary);
    EXPECT_EQ(Bytes(std::istreambuf_iterator<char>(file), {}), bytes);
}

TEST_F(RV2CallbackTest, AudioEvent_Exactly3072Bytes_IsTested) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(ErrorTold(FillPattern(3072)), -201);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "check redio 1\n");
}

TEST_F(RV2CallbackTest, AudioEvent_3071Bytes_IsTooShortAndNeverTested) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(ErrorTold(FillPattern(3071)), -203);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(RV2CallbackTest, AudioEvent_LibrarysErrorFlag_GoesAheadOfAllElse) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(ErrorTold(Bytes(10), true), -202);
    EXPECT_EQ(ErrorTold(Bytes(4000), true), -202);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(RV2CallbackTest, AudioEvent_GoodRecording_IsEvaluated) {
    Ask("7", QuestionType::VoiceEvaluation);
    Record(Bytes(4000));
    handler_.RunTasks();
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("evaluate 4000"));
}

TEST_F(RV2CallbackTest, AudioEvent_NoDataAtAll_IsBadAndHarmless) {
    Ask("7", QuestionType::VoiceEvaluation);
    testing::StrictMock<MockKeypadAudio> audio;
    EXPECT_CALL(audio, IsValid()).WillOnce(Return(true));
    EXPECT_CALL(audio, GetSize()).WillRepeatedly(Return(5000));
    EXPECT_CALL(audio, GetData()).WillRepeatedly(Return(nullptr));
    EXPECT_CALL(audio, Release());
    object_->OnKeypadAudioEvent(7, &audio, false);
    handler_.RunTasks();
    ASSERT_THAT(handler_.TakeNotes(), ElementsAre("evaluated 7"));
    EXPECT_EQ(handler_.Events().back()["data"]["error"].asInt(), -201);
}

TEST_F(RV2CallbackTest, AudioEvent_OneByte_IsARecordingLikeAnyOther) {
    Ask("7", QuestionType::Audio);
    Record(Bytes(1, 42));
    handler_.RunTasks();
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("recognize 1"));
}

TEST_F(RV2CallbackTest, AudioEvent_BadRecordingOfAnAudioQuestion_GoesToRecognitionAllTheSame) {
    Ask("7", QuestionType::Audio);
    Record(Bytes(100));
    handler_.RunTasks();
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("recognize 100"));
}

TEST_F(RV2CallbackTest, OtherCallbacks_LogTheirEntryAndNothingElse) {
    IVoteDeckEvent* const event = object_.get();
    const std::pair<void (IVoteDeckEvent::*)(), const char*> rows[] = {
        {&IVoteDeckEvent::OnKeypadStateEvent, "VoteDeckObject_RV2::OnKeypadStateEvent"},
        {&IVoteDeckEvent::OnKeypadLowBatteryEvent, "VoteDeckObject_RV2::OnKeypadLowBatteryEvent"},
        {&IVoteDeckEvent::OnMCUUpdateProgress, "VoteDeckObject_RV2::OnMCUUpdateProgress"},
        {&IVoteDeckEvent::OnRepeatedConnectionKeypad, "VoteDeckObject_RV2::OnRepeatedConnectionKeypad"},
        {&IVoteDeckEvent::OnLogEvent, "VoteDeckObject_RV2::OnLogEvent"}};
    for (const auto& [callback, name] : rows) {
        log_.Clear();
        (event->*callback)();
        ASSERT_EQ(log_.Lines().size(), 1u) << name;
        EXPECT_EQ(log_.Lines()[0].level, LogLevel::Trace);
        EXPECT_EQ(log_.Lines()[0].function, name);
        EXPECT_EQ(log_.Lines()[0].rest, "");
    }
    EXPECT_EQ(handler_.QueuedTasks(), 0u);
}

TEST_F(RV2CallbackTest, DeletingDestructor_DestroysNothing) {
    IVoteDeckEvent* const event = object_.get();
    EXPECT_EQ(event->DeletingDestructor(1), object_.get());
    EXPECT_EQ(object_->GetDeviceStatus(), -2);
}

TEST_F(RV2CallbackTest, LibrarysTable_LeadsToTheObject) {
    void* const event = static_cast<IVoteDeckEvent*>(object_.get());
    SlotRow<1, void, std::uintptr_t, std::uint16_t, bool>::Call(event, 99, 7, true);
    handler_.RunTasks();
    EXPECT_THAT(object_->GetActivatedDeviceSet(), ElementsAre("7"));
    Ask("7", QuestionType::General);
    handler_.TakeNotes();
    SlotRow<2, void, std::uint16_t, std::int32_t>::Call(event, 7, 3);
    handler_.RunTasks();
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("key-pressed 7 C"));
}

}  // namespace
}  // namespace vdipc::test
