// What the receiver's library and the computer report, and what comes of it.
#include "unit/drivers/support/TQFixture.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

namespace vdipc::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum DeviceType;

using Bytes = std::vector<std::uint8_t>;

// ---- keys

class TQKeyTest : public TQTest {
protected:
    void Open(const std::string& device, QuestionType type, const std::string& custom = "c") {
        object_->last_question_map_[device] = {false, Ask(device, type, custom)};
    }
};

TEST_F(TQKeyTest, Key_PostsATaskWhichLogsAndSends) {
    Make(TQ1);
    Open("12", QuestionType::SingleChoice);
    object_->OnKeyEvent(12, 2, 3, 4, 98, 99, 77);
    ExpectLine(LogLevel::Info, "ushDeviceId=12, enKeyValue=2, pressTimes=3, recvTimes=4");
    EXPECT_THAT(Take(), IsEmpty()) << "nothing happens on the library's thread";
    EXPECT_EQ(handler_.QueuedTasks(), 1u);
    EXPECT_THAT(Run(), ElementsAre("key-pressed 12 B"));
    ExpectLine(LogLevel::Debug, "task begin ushDeviceId=12, enKeyValue=2, pressTimes=3, recvTimes=4");
    ExpectTaskLine(LogLevel::Debug, "device_id=12, need_send=true", "OnKeyEvent");
    const auto records = TrackwireRecords("ipc_vdk_event_key_pressed");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].Value("rssi"), "77");
    EXPECT_EQ(records[0].Value("device_name"), "TQ1");
}

TEST_F(TQKeyTest, NeedSendIsToldBetweenTheFilterAndTheSending) {
    Make(TQ1);
    Open("12", QuestionType::MultipleChoice);
    Key(12, 1);
    EXPECT_THAT(Run(), IsEmpty());
    ExpectLine(LogLevel::Debug, "device_id=12, need_send=false");
    log_.Clear();
    Key(12, 5);
    EXPECT_THAT(Run(), ElementsAre("key-pressed 12 A"));
    std::vector<std::string> order;
    for (const LogLine& line : log_.Lines()) {
        if (line.rest == "key T, commit" || line.rest == "device_id=12, need_send=true" ||
            line.function == "VoteDeckObjectBase::SendEventKeyPressed") {
            order.push_back(line.rest);
        }
    }
    EXPECT_THAT(order, ElementsAre("key T, commit", "device_id=12, need_send=true", "device=12"));
}

TEST_F(TQKeyTest, KeyOfALargeNumber_KeepsAll32Bits) {
    Make(TQ2);
    Open("4294967295", QuestionType::General);
    Key(4294967295, 3);
    EXPECT_THAT(Run(), ElementsAre("key-pressed 4294967295 C"));
}

TEST_F(TQKeyTest, RV1KeyWithNoQuestionOpen_ActivatesAndSendsTheTextAgainButNoKeyPressed) {
    MakeInitialized(RV1);
    Key(12, 1);
    EXPECT_THAT(Run(), ElementsAre("active devices changed", "activated 12", "rows || to 12"));
    EXPECT_THAT(object_->GetActivatedDeviceSet(), ElementsAre("12"));
}

TEST_F(TQKeyTest, RV1Key_RunsTheStepsOfComingInOrder) {
    MakeInitialized(RV1);
    Key(12, 1);
    Run();
    EXPECT_EQ(StepsOfTheCycle(log_), kStepsOfComing);
    ExpectTaskLine(LogLevel::Debug, "send activate before key press for rv1.0", "OnKeyEvent");
    ExpectTaskLine(LogLevel::Debug, "recover context for rv1.0", "OnKeyEvent");
}

TEST_F(TQKeyTest, RV1SecondKeyOfTheSameDevice_ActivatesASecondTime) {
    MakeInitialized(RV1);
    AddKeypad("12", "a", "b", "c");
    Key(12, 1);
    Key(12, 1);
    EXPECT_THAT(Run(), ElementsAre("active devices changed", "activated 12", "rows a|b|c to 12",
                                   "active devices changed", "activated 12", "rows a|b|c to 12"));
}

TEST_F(TQKeyTest, RV1AnyKeyBringsADroppedDeviceBack) {
    MakeInitialized(RV1);
    AddKeypad("12", "a", "b", "c");
    Drop("12");
    Forget();
    Key(12, 3);
    EXPECT_THAT(Run(), ElementsAre("active devices changed", "activated 12", "rows || to 12"));
    EXPECT_THAT(object_->dropped_device_set_, IsEmpty());
    EXPECT_THAT(object_->GetActivatedDeviceSet(), ElementsAre("12"));
}

TEST_F(TQKeyTest, RV1TextIsSentAgainThroughTheVirtualTable) {
    class Overridden : public OpenTQ {
    public:
        using OpenTQ::OpenTQ;
        void SetText(const std::string& device, bool has_row1, const std::string& row1, bool has_row2,
                     const std::string& row2, bool has_row3, const std::string& row3) override {
            calls.push_back(
                fmt::format("{} {}{} {}{} {}{}", device, has_row1, row1, has_row2, row2, has_row3, row3));
        }
        std::vector<std::string> calls;
    };
    Overridden object(RV1);
    object.SetEventListener(&handler_);
    object.OnKeyEvent(12, 1, 1, 1, 0, 0, 0);
    handler_.RunTasks();
    EXPECT_THAT(object.calls, ElementsAre("12 false false false"));
}

/// An LW object whose keypad 12 was dropped, so that all are on a general question, with a question open for all.
class TQReturnTest : public TQKeyTest {
protected:
    void MakeDropped() {
        MakeInitialized(LW);
        AddKeypad("12");
        Drop("12");
        object_->HandleAsk(Ask("0", QuestionType::RedEnvelope, "of all"));
        Forget();
    }
};

TEST_F(TQReturnTest, LWDroppedDeviceKey9_ActivatedNoKeyPressedAndTheQuestionOfAllDevices) {
    MakeDropped();
    Key(12, 9);
    EXPECT_THAT(Run(), ElementsAre("active devices changed", "activated 12"));
    EXPECT_EQ(StepsOfTheCycle(log_), kStepsOfComing);
    ExpectTaskLine(LogLevel::Debug, "device 12 has been droped, send activate before key press for lw",
                   "OnKeyEvent");
    EXPECT_THAT(object_->dropped_device_set_, IsEmpty());
    EXPECT_THAT(object_->GetActivatedDeviceSet(), ElementsAre("12"));
    EXPECT_TRUE(object_->CheckLastQuestionCustom("12", "of all"));
    EXPECT_EQ(object_->last_question_map_["12"].ask.type, QuestionType::RedEnvelope);
    Key(12, 9);
    EXPECT_THAT(Run(), ElementsAre("key-pressed 12 G")) << "only the next key counts";
}

TEST_F(TQReturnTest, LWDroppedDeviceOtherKey_StaysDroppedAndGoesOnToItsQuestion) {
    MakeDropped();
    for (const std::int32_t key : {1, 5, 8, 10, 0}) {
        Key(12, key);
    }
    EXPECT_THAT(Run(), IsEmpty());
    EXPECT_THAT(object_->dropped_device_set_, ElementsAre("12"));
    EXPECT_EQ(log_.OfFunction("VoteDeckObjectBase::FindLastQuestion").size(), 10u)
        << "two lines for each key";
    EXPECT_FALSE(log_.Contains("has been droped"));
}

TEST_F(TQReturnTest, LWFlagClearDroppedDeviceKey9_IsAKeyLikeAnyOther) {
    MakeInitialized(LW);
    object_->dropped_device_set_.insert("12");
    Open("12", QuestionType::RedEnvelope);
    Forget();
    Key(12, 9);
    EXPECT_THAT(Run(), ElementsAre("key-pressed 12 G"));
    EXPECT_THAT(object_->dropped_device_set_, ElementsAre("12"));
}

TEST_F(TQReturnTest, LWFlagSetKey9OfADeviceThatWasNotDropped_IsAKeyLikeAnyOther) {
    MakeDropped();
    Open("13", QuestionType::RedEnvelope);
    Key(13, 9);
    EXPECT_THAT(Run(), ElementsAre("key-pressed 13 G"));
}

// ---- the link

class TQLinkTest : public TQTest {};

TEST_F(TQLinkTest, BeforeInitializeHasEnded_IsIgnored) {
    ForEachKind({}, [&](DeviceType, bool) {
        object_->OnDeviceConnectedChange(true);
        object_->OnDeviceConnectedChange(false);
        EXPECT_EQ(handler_.QueuedTasks(), 0u);
        ExpectLine(LogLevel::Info, "connected=true");
        const auto lines = log_.Find("initialization not finished, return.");
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0].level, LogLevel::Debug);
    });
}

TEST_F(TQLinkTest, DuringInitialize_NoEffectAndInitializeHasItsOwnAnswer) {
    MakeInitialized(TQ1);
    deck_.connected = false;
    EXPECT_CALL(deck_, IsConnected()).WillOnce([&] {
        // A second Initialize starts from the beginning.
        object_->OnDeviceConnectedChange(true);
        return false;
    });
    EXPECT_EQ(object_->Initialize(), 1);
    EXPECT_EQ(handler_.QueuedTasks(), 0u);
    EXPECT_EQ(object_->GetDeviceStatus(), 1);
    ExpectLine(LogLevel::Debug, "initialization not finished, return.");
    testing::Mock::VerifyAndClearExpectations(&deck_);
}

TEST_F(TQLinkTest, Lost_Status1RemovedAndOneNotification) {
    ForEachKind({}, [&](DeviceType kind, bool) {
        object_->Initialize();
        Forget();
        object_->OnDeviceConnectedChange(false);
        EXPECT_THAT(Take(), IsEmpty());
        EXPECT_EQ(object_->GetDeviceStatus(), -1);
        const std::string status = fmt::format("status {} 1", static_cast<int>(kind));
        EXPECT_THAT(Run(), ElementsAre("removed not-connected", status));
        EXPECT_EQ(object_->GetDeviceStatus(), 1);
        ExpectLine(LogLevel::Debug, "task begin connected=false");
    });
}

TEST_F(TQLinkTest, LostTwiceInARow_IsRemovedTwice) {
    ForEachKind({}, [&](DeviceType kind, bool) {
        object_->Initialize();
        Forget();
        object_->OnDeviceConnectedChange(false);
        object_->OnDeviceConnectedChange(false);
        const std::string status = fmt::format("status {} 1", static_cast<int>(kind));
        EXPECT_THAT(Run(), ElementsAre("removed not-connected", status, "removed not-connected", status));
        object_->OnDeviceConnectedChange(false);
        EXPECT_THAT(Run(), ElementsAre("removed not-connected", status))
            << "one that is heard when it is known";
    });
}

TEST_F(TQLinkTest, Back_ReadsTheInformationAnewThenArrivedThenNotification) {
    MakeInitialized(TQ1);
    control_.info = R"({"UID":"new"})";
    object_->OnDeviceConnectedChange(true);
    EXPECT_THAT(Run(), ElementsAre("query info", "arrived", "status 0 -1")) << "no cards are enabled again";
    EXPECT_EQ(object_->GetDeviceInfo().uid, "new");
    EXPECT_EQ(object_->GetDeviceStatus(), -1);
}

TEST_F(TQLinkTest, BackOnTQ2_ChannelComesBeforeArrived) {
    channel_.Set(5);
    MakeInitialized(TQ2);
    control_.info = R"({"Channel":"7"})";
    object_->OnDeviceConnectedChange(true);
    EXPECT_THAT(Run(), ElementsAre("query info", "channel 5 without callback", "arrived", "status 1 -1"));
}

TEST_F(TQLinkTest, TrueWhileIsConnectedIsFalse_Status1NoArrivedOneNotification) {
    ForEachKind({}, [&](DeviceType kind, bool) {
        object_->Initialize();
        Forget();
        deck_.connected = false;
        object_->OnDeviceConnectedChange(true);
        const std::string status = fmt::format("status {} 1", static_cast<int>(kind));
        EXPECT_THAT(Run(), ElementsAre(status));
        EXPECT_EQ(object_->GetDeviceStatus(), 1);
    });
}

TEST_F(TQLinkTest, ErrorOfThisDeck_IsHandedToTheControlSide) {
    Make(TQ1);
    object_->OnDeviceIOError(&deck_);
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ(log_.Lines().size(), 1u);
    ASSERT_EQ(log_.OfFunction("VoteDeckObject_TQ::OnDeviceIOError").size(), 1u);
    EXPECT_TRUE(log_.Has(LogLevel::Trace, ""));
    EXPECT_THAT(Run(), ElementsAre("handle error"));
    EXPECT_EQ(object_->GetDeviceStatus(), -2);
    EXPECT_EQ(log_.Lines().size(), 1u) << "the task logs nothing";
}

TEST_F(TQLinkTest, ErrorOfAnotherDeck_DoesNothing) {
    Make(TQ1);
    testing::NiceMock<MockVoteDeck> other(journal_);
    object_->OnDeviceIOError(&other);
    object_->OnDeviceIOError(nullptr);
    EXPECT_EQ(handler_.QueuedTasks(), 2u);
    EXPECT_THAT(Run(), IsEmpty());
}

TEST_F(TQLinkTest, WithoutControlSide_ErrorAndNoticesDoNothing) {
    Make(TQ1);
    Access::Control(*object_) = nullptr;
    object_->OnDeviceIOError(&deck_);
    object_->OnDeviceArrival(0, L"p");
    object_->OnDeviceRemoved(0, L"p");
    EXPECT_EQ(handler_.QueuedTasks(), 3u);
    EXPECT_THAT(Run(), IsEmpty());
}

TEST_F(TQLinkTest, NodesChanged_DoesNotCare) {
    Make(TQ1);
    object_->OnDeviceNodesChanged();
    ExpectLine(LogLevel::Trace, "do not care");
    EXPECT_EQ(handler_.QueuedTasks(), 0u);
}

// ---- recordings

class TQAudioTest : public TQTest {
protected:
    TQAudioTest() : folder_(std::filesystem::temp_directory_path().string()) {}

    void Open(QuestionType type) {
        object_->SetAudioFileStorageBasePath(folder_);
        CommandAsk ask = Ask("12", type);
        ask.audio_file_name_prefix = "tqtest-";
        object_->last_question_map_["12"] = {false, ask};
    }
    /// Both buffers are overwritten when the call returns, as the library does.
    void Receive(Bytes first, Bytes second, float rate) {
        object_->OnAudioDataReceived(12, first.data(), static_cast<std::uint32_t>(first.size()),
                                     second.data(), static_cast<std::uint32_t>(second.size()), rate);
        first.assign(first.size(), 0xDD);
        second.assign(second.size(), 0xDD);
    }
    /// What was saved under the name of the event; the file is removed.
    Bytes TakeFile(const std::string& name) {
        const std::string path = folder_ + "\\" + name;
        std::ifstream file(path, std::ios::binary);
        EXPECT_TRUE(file.is_open()) << path;
        const Bytes bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        file.close();
        std::filesystem::remove(path);
        return bytes;
    }

    std::string folder_;
};

TEST_F(TQAudioTest, SecondBufferIsTheRecording_SavedAndToldWithTheRateAsADouble) {
    Make(TQ1);
    Open(QuestionType::VoiceRecord);
    Receive({9, 9, 9}, {1, 2, 3, 4}, 0.25F);
    ExpectLine(LogLevel::Info, "ushDeviceID=12");
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_THAT(Run(), ElementsAre("voice-record 12"));
    ExpectLine(LogLevel::Debug, "task begin ushDeviceID=12");
    const auto records = TrackwireRecords("ipc_vdk_event_voice_record");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].Value("lost_package_rate"), "0.250000");
    const std::string name = records[0].Value("extra");
    EXPECT_EQ(name.rfind("tqtest-12-", 0), 0u) << name;
    EXPECT_THAT(TakeFile(name), ElementsAre(1, 2, 3, 4));
}

TEST_F(TQAudioTest, AnyRecordingCountsAsGood) {
    Make(TQ1);
    Open(QuestionType::Audio);
    Receive({}, Bytes(100, 0xF0), 1.0F);
    EXPECT_THAT(Run(), ElementsAre("recognize 100"));
    EXPECT_EQ(handler_.recognized, Bytes(100, 0xF0));
    EXPECT_FALSE(log_.Contains("audio error"));
    ExpectLine(LogLevel::Debug, "lastquestion found, custom=c");
    Json::Value request;
    std::istringstream stream(handler_.request_id);
    Json::parseFromStream(Json::CharReaderBuilder(), stream, &request, nullptr);
    EXPECT_EQ(request["data"]["lost_package_rate"].asDouble(), 1.0);
    EXPECT_EQ(TakeFile(request["extra"].asString()), Bytes(100, 0xF0));
}

TEST_F(TQAudioTest, EmptyRecording_IsSavedAsAnEmptyFile) {
    Make(LW);
    Open(QuestionType::VoiceRecord);
    object_->OnAudioDataReceived(12, nullptr, 0, nullptr, 0, 0.0F);
    EXPECT_THAT(Run(), ElementsAre("voice-record 12"));
    EXPECT_THAT(TakeFile(TrackwireRecords("ipc_vdk_event_voice_record").at(0).Value("extra")), IsEmpty());
}

TEST_F(TQAudioTest, RecordingOfOneByte_IsSavedAndSentLikeAnyOther) {
    Make(TQ1);
    Open(QuestionType::Audio);
    Receive({1}, {42}, 0.0F);
    EXPECT_THAT(Run(), ElementsAre("recognize 1"));
    EXPECT_THAT(handler_.recognized, ElementsAre(42));
    Json::Value request;
    std::istringstream stream(handler_.request_id);
    Json::parseFromStream(Json::CharReaderBuilder(), stream, &request, nullptr);
    EXPECT_THAT(TakeFile(request["extra"].asString()), ElementsAre(42));
}

TEST_F(TQAudioTest, NullPointersWithASize_AreAnEmptyRecording) {
    Make(TQ1);
    Open(QuestionType::VoiceRecord);
    object_->OnAudioDataReceived(12, nullptr, 5000, nullptr, 5000, 0.0F);
    EXPECT_THAT(Run(), ElementsAre("voice-record 12"));
    EXPECT_THAT(TakeFile(TrackwireRecords("ipc_vdk_event_voice_record").at(0).Value("extra")), IsEmpty());
}

TEST_F(TQAudioTest, NoQuestion_SavesNothing) {
    Make(TQ1);
    Receive({1}, {2}, 0.0F);
    EXPECT_THAT(Run(), IsEmpty());
    EXPECT_FALSE(log_.Contains("saved audio file"));
}

// ---- all others

class TQOtherCallbackTest : public TQTest {};

TEST_F(TQOtherCallbackTest, CallbacksThatAreNotUsed_LogTheirEntryAndNothingElse) {
    Make(TQ1);
    const std::pair<const char*, std::function<void()>> callbacks[] = {
        {"OnSetContextSuccess", [&] { object_->OnSetContextSuccess(); }},
        {"OnSendToDevice", [&] { object_->OnSendToDevice(); }},
        {"OnDataSentFailed", [&] { object_->OnDataSentFailed(); }},
        {"OnReSendCommend", [&] { object_->OnReSendCommend(); }},
        {"OnSendData", [&] { object_->OnSendData(); }},
        {"OnReceiveData", [&] { object_->OnReceiveData(); }}};
    for (const auto& [name, call] : callbacks) {
        log_.Clear();
        call();
        const auto lines = log_.Lines();
        ASSERT_EQ(lines.size(), 1u) << name;
        EXPECT_EQ(lines[0].function, std::string("VoteDeckObject_TQ::") + name);
        EXPECT_EQ(lines[0].level, LogLevel::Trace);
        EXPECT_EQ(lines[0].rest, "");
    }
    log_.Clear();
    object_->Reserved3();
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_EQ(handler_.QueuedTasks(), 0u);
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(TQOtherCallbackTest, CallbacksWithValues_WriteExactlyOneLine) {
    const Bytes bytes(10);
    ForEachKind({}, [&](DeviceType kind, bool) {
        object_->Initialize();
        const std::int32_t port = kDeviceKindPort;
        const std::pair<const char*, std::function<void()>> callbacks[] = {
            {"OnKeyEvent", [&] { object_->OnKeyEvent(4294967295, -1, 1, 2, 3, 4, 5); }},
            {"OnDeviceConnectedChange", [&] { object_->OnDeviceConnectedChange(true); }},
            {"OnBindCard", [&] { object_->OnBindCard(12); }},
            {"OnAudioDataReceived",
             [&] { object_->OnAudioDataReceived(12, bytes.data(), 10, bytes.data(), 10, 0.5F); }},
            {"OnGetDeviceInfo", [&] { object_->OnGetDeviceInfo("text", 1); }},
            {"OnUnbindCard", [&] { object_->OnUnbindCard(12); }},
            {"OnDeviceIOError", [&] { object_->OnDeviceIOError(&deck_); }},
            {"OnDeviceArrival", [&] { object_->OnDeviceArrival(kind == RV1 ? port : 0, L"p"); }},
            {"OnDeviceRemoved", [&] { object_->OnDeviceRemoved(kind == RV1 ? port : 0, L"p"); }}};
        for (const auto& [name, call] : callbacks) {
            log_.Clear();
            call();
            ASSERT_EQ(log_.Lines().size(), 1u) << name << "\n" << log_.Text();
            EXPECT_EQ(log_.Lines()[0].function, std::string("VoteDeckObject_TQ::") + name);
        }
        EXPECT_EQ(handler_.QueuedTasks(), kind == LW ? 6u : 8u);
        handler_.DropTasks();
    });
}

TEST_F(TQOtherCallbackTest, WithoutListener_TasksAreDroppedUnrun) {
    MakeInitialized(TQ2);
    object_->SetEventListener(nullptr);
    const Bytes bytes(10);
    object_->OnKeyEvent(12, 1, 1, 1, 0, 0, 0);
    object_->OnDeviceConnectedChange(false);
    object_->OnBindCard(12);
    object_->OnUnbindCard(12);
    object_->OnAudioDataReceived(12, bytes.data(), 10, bytes.data(), 10, 0.0F);
    object_->OnDeviceIOError(&deck_);
    object_->OnDeviceArrival(0, L"p");
    EXPECT_EQ(handler_.QueuedTasks(), 0u);
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ(object_->GetDeviceStatus(), -1);
}

TEST_F(TQOtherCallbackTest, ObjectGoneBeforeItsTasks_TheyDoNothing) {
    MakeInitialized(TQ2);
    Key(12, 1);
    object_->OnBindCard(12);
    object_->OnDeviceConnectedChange(false);
    object_.reset();
    Forget();
    EXPECT_EQ(handler_.QueuedTasks(), 3u);
    EXPECT_THAT(Run(), IsEmpty());
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(TQOtherCallbackTest, FromSeveralThreadsAtOnce_EachKeyIsAnsweredOnceAndUnderItsOwnDevice) {
    constexpr std::uint32_t kThreads = 4;
    constexpr std::uint32_t kEach = 50;
    MakeInitialized(TQ1);
    std::vector<std::string> expected;
    for (std::uint32_t device = 1; device <= kThreads * kEach; ++device) {
        const std::string id = std::to_string(device);
        object_->last_question_map_[id] = {false, Ask(id, QuestionType::SingleChoice)};
        expected.push_back("key-pressed " + id + " " + std::string(1, static_cast<char>('A' + device % 4)));
    }
    std::vector<std::thread> threads;
    for (std::uint32_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([this, thread] {
            for (std::uint32_t i = 1; i <= kEach; ++i) {
                const std::uint32_t device = thread * kEach + i;
                Key(device, static_cast<std::int32_t>(1 + device % 4));
            }
        });
    }
    constexpr std::size_t kReports = 50;
    std::atomic<bool> reported{false};
    threads.emplace_back([this, &reported] {
        for (std::size_t i = 0; i < kReports; ++i) {
            object_->OnDeviceConnectedChange(true);
        }
        reported = true;
    });
    // The task thread meanwhile brings the object up again and again, and a report that comes in between is ignored.
    do {
        object_->Initialize();
    } while (!reported);
    for (std::thread& thread : threads) {
        thread.join();
    }
    Take();
    Journal notes = Run();
    std::erase_if(notes, [](const std::string& note) { return note.rfind("key-pressed ", 0) != 0; });
    EXPECT_THAT(notes, testing::UnorderedElementsAreArray(expected));
    EXPECT_EQ(log_.Count("OnDeviceConnectedChange::<lambda>::operator ()") +
                  log_.Count("initialization not finished, return."),
              kReports);
}

}  // namespace
}  // namespace vdipc::test
