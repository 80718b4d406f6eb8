#include "support/DeviceTest.h"

#include <functional>
#include <stdexcept>
#include <utility>

#if !defined(_WIN32)
#include "native/NativeSeam.h"
#endif

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// GUIDs and telemetry records.
using Made = std::pair<std::size_t, std::size_t>;

#if defined(_WIN32)
// The system's own GUIDs are not counted.
constexpr std::size_t kIdsCounted = 0;
Made MadeSoFar() {
    return {0, TrackwiresMade()};
}
#else
constexpr std::size_t kIdsCounted = 1;
Made MadeSoFar() {
    return {NativeGuidsMade(), TrackwiresMade()};
}
#endif

class Events : public DeviceTest {
protected:
    Events() { device_.device_info_.channel = "12"; }

    /// The one telemetry record of the one event; its pairs behind "Action" and "uniq_id" are the result. Checks that
    /// the event went first, and that both have one id.
    std::vector<std::string> TelemetryOf(const std::string& event, const std::string& action) {
        EXPECT_THAT(steps_, ElementsAre("message", "telemetry"));
        EXPECT_THAT(messages_, SizeIs(1));
        EXPECT_THAT(TrackwireRecords(), SizeIs(1));
        if (messages_.size() != 1 || TrackwireRecords().size() != 1) {
            return {};
        }
        EXPECT_EQ(messages_[0]["event"].asString(), event);
        std::vector<std::string> shown = Shown(TrackwireRecords()[0]);
        EXPECT_EQ(shown[0], "Action=" + action + ":s");
        EXPECT_EQ(shown[1], "uniq_id=" + messages_[0]["id"].asString() + ":s");
        shown.erase(shown.begin(), shown.begin() + 2);
        return shown;
    }

    void ExpectEntry(const std::string& function, const std::string& rest) {
        const auto lines = log_.OfFunction("VoteDeckObjectBase::" + function);
        ASSERT_THAT(lines, SizeIs(1)) << function;
        EXPECT_EQ(lines[0].level, LogLevel::Trace);
        EXPECT_EQ(lines[0].rest, rest);
    }
};

TEST_F(Events, Activated_GoesOutWithItsTelemetry) {
    device_.SendEventActivated("7");
    EXPECT_THAT(TelemetryOf("activated", "ipc_vdk_event_activated"),
                ElementsAre("device=7:s", "device_name=RV2:s", "channel=12:s"));
    EXPECT_EQ(messages_[0]["device"].asString(), "7");
    EXPECT_THAT(messages_[0]["id"].asString(), SizeIs(36));
    ExpectEntry("SendEventActivated", "device=7");
    ExpectEntry("SendIPCMesage", "");
}

TEST_F(Events, Inactivated_GoesOutWithItsTelemetry) {
    device_.SendEventInactivated("7");
    EXPECT_THAT(TelemetryOf("inactivated", "ipc_vdk_event_inactivated"),
                ElementsAre("device=7:s", "device_name=RV2:s", "channel=12:s"));
    EXPECT_EQ(messages_[0]["device"].asString(), "7");
    ExpectEntry("SendEventInactivated", "device=7");
}

TEST_F(Events, ActivatedWithoutAListener_MakesNoIdAndNoTelemetry) {
    device_.SetEventListener(nullptr);
    const Made before = MadeSoFar();
    device_.SendEventActivated("7");
    device_.SendEventInactivated("7");
    EXPECT_EQ(MadeSoFar(), before);
    EXPECT_THAT(steps_, IsEmpty());
    ExpectEntry("SendEventActivated", "device=7");
    ExpectEntry("SendEventInactivated", "device=7");
    EXPECT_THAT(log_.OfFunction("VoteDeckObjectBase::SendIPCMesage"), IsEmpty());
    // All others go through their steps, up to the calls that have nobody to go to.
    device_.SendEventArrived();
    EXPECT_EQ(MadeSoFar(), (Made{before.first + kIdsCounted, before.second + 1}));
    EXPECT_THAT(log_.OfFunction("VoteDeckObjectBase::SendIPCMesage"), SizeIs(1));
}

TEST_F(Events, AllOthersWithoutAListener_GoEveryStepUpToTheCallsThatNobodyTakes) {
    device_.HandleAsk(Ask("7", QuestionType::General));
    ASSERT_EQ(Press(7, 1), "sent");
    const std::string id = device_.last_answer_map_["7"].key_event.id;
    device_.SetEventListener(nullptr);
    messages_.clear();
    steps_.clear();
    device_.status_ = 1;
    const std::pair<std::size_t, std::function<void()>> table[] = {
        {kIdsCounted, [this] { device_.SendEventKeyPressed("7", 0); }},
        {0, [this] { device_.SendEventEvaluated({}); }},
        {0, [this] { device_.SendEventVoiceRecord({}); }},
        {0, [this] { device_.SendEventVoiceEvaluated({}); }},
        {kIdsCounted, [this] { device_.SendEventArrived(); }},
        {kIdsCounted, [this] { device_.SendEventRemoved(); }}};
    int row = 0;
    for (const auto& [ids, send] : table) {
        log_.Clear();
        const Made before = MadeSoFar();
        send();
        EXPECT_EQ(MadeSoFar(), (Made{before.first + ids, before.second + 1})) << row;
        EXPECT_THAT(log_.OfFunction("VoteDeckObjectBase::SendIPCMesage"), SizeIs(1)) << row;
        EXPECT_THAT(log_.Lines(), SizeIs(2)) << row << "\n" << log_.Text();
        ++row;
    }
    EXPECT_NE(device_.last_answer_map_["7"].key_event.id, id) << "the record keeps the new one";
    EXPECT_THAT(steps_, IsEmpty());
}

TEST_F(Events, ActivatedAndInactivated_MakeOneIdAndOneTelemetryRecordEach) {
    const Made before = MadeSoFar();
    device_.SendEventActivated("7");
    EXPECT_EQ(MadeSoFar(), (Made{before.first + kIdsCounted, before.second + 1}));
    device_.SendEventInactivated("7");
    EXPECT_EQ(MadeSoFar(), (Made{before.first + 2 * kIdsCounted, before.second + 2}));
}

TEST_F(Events, KeyPressed_TelemetryHasTheRecordsFieldsAndTheSignalStrength) {
    device_.HandleAsk(Ask("7", QuestionType::SingleChoice, "mine"));
    Press(7, 2, 4000000000u);
    EXPECT_THAT(TelemetryOf("key-pressed", "ipc_vdk_event_key_pressed"),
                ElementsAre("device=7:s", "key=B:s", "extra=:s", "custom=mine:s", "rssi=4000000000:u",
                            "device_name=RV2:s", "channel=12:s"));
    EXPECT_EQ(device_.last_answer_map_["7"].key_event.id, messages_[0]["id"].asString());
    ExpectEntry("SendEventKeyPressed", "device=7");
}

TEST_F(Events, TwoKeysOfOneGeneralQuestion_HaveDifferentIdsAndEachTelemetryItsKey) {
    device_.HandleAsk(Ask("7", QuestionType::General));
    Press(7, 1);
    Press(7, 2);
    ASSERT_THAT(messages_, SizeIs(2));
    EXPECT_NE(messages_[0]["id"], messages_[1]["id"]);
    const auto records = TrackwireRecords("ipc_vdk_event_key_pressed");
    ASSERT_THAT(records, SizeIs(2));
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(records[i].Value("uniq_id"), messages_[static_cast<Json::ArrayIndex>(i)]["id"].asString());
        EXPECT_EQ(records[i].Value("key"), i == 0 ? "A" : "B");
    }
}

TEST_F(Events, KeyPressedForADeviceWithoutAnAnswer_MakesAnEntry) {
    // Nothing in the product comes here: the entry has no device yet, and so has the event.
    EXPECT_CALL(listener_, SendIPCMesage(testing::HasSubstr("\"key\" : \"\""))).WillOnce(testing::Return());
    device_.SendEventKeyPressed("7", 0);
    EXPECT_THAT(device_.last_answer_map_, SizeIs(1));
}

TEST_F(Events, Evaluated_TelemetryHasItsKeysInOrder) {
    EventEvaluated event;
    event.id = device_.GenerateEventId();
    event.device = "7";
    event.extra = "x.wav";
    event.custom = "c";
    event.error = -201;
    event.lost_package_rate = 0.25;
    event.raw_result = "{\"a\":1}";
    device_.SendEventEvaluated(event);
    EXPECT_THAT(TelemetryOf("evaluated", "ipc_vdk_event_evaluated"),
                ElementsAre("device=7:s", "extra=x.wav:s", "custom=c:s", "error=-201:i",
                            "lost_package_rate=0.250000:s", "raw_result={\"a\":1}:s", "device_name=RV2:s",
                            "channel=12:s"));
    ExpectEntry("SendEventEvaluated", "");
}

TEST_F(Events, VoiceRecord_HasAnEmptyIdInEventAndTelemetry) {
    EventVoiceRecord event;
    event.device = "7";
    event.extra = "x.wav";
    event.custom = "c";
    event.lost_package_rate = 1.0 / 3.0;
    device_.SendEventVoiceRecord(event);
    EXPECT_THAT(TelemetryOf("voice-record", "ipc_vdk_event_voice_record"),
                ElementsAre("device=7:s", "extra=x.wav:s", "custom=c:s", "lost_package_rate=0.333333:s",
                            "device_name=RV2:s", "channel=12:s"));
    EXPECT_EQ(messages_[0]["id"].asString(), "");
    EXPECT_EQ(TrackwireRecords()[0].Value("uniq_id"), "");
    ExpectEntry("SendEventVoiceRecord", "");
}

TEST_F(Events, VoiceEvaluated_TelemetryHasItsKeysInOrder) {
    EventVoiceEvaluated event;
    event.id = device_.GenerateEventId();
    event.device = "7";
    event.key = "k";
    event.extra = "x.wav";
    event.custom = "c";
    event.result = "r";
    event.score = -203;
    device_.SendEventVoiceEvaluated(event);
    EXPECT_THAT(TelemetryOf("voice-evaluated", "ipc_vdk_event_voice_evaluated"),
                ElementsAre("device=7:s", "key=k:s", "result=r:s", "score=-203:i",
                            "lost_package_rate=0.000000:s", "extra=x.wav:s", "custom=c:s",
                            "device_name=RV2:s", "channel=12:s"));
    ExpectEntry("SendEventVoiceEvaluated", "");
}

TEST_F(Events, LostPackageRateInTelemetry_HasSixDecimalPlacesWhateverItsValue) {
    const std::pair<double, std::string> table[] = {{0.0, "0.000000"},
                                                    {0.25, "0.250000"},
                                                    {0.1234567, "0.123457"},
                                                    {1e20, "100000000000000000000.000000"}};
    for (const auto& [rate, text] : table) {
        EventVoiceRecord event;
        event.device = "7";
        event.lost_package_rate = rate;
        device_.SendEventVoiceRecord(event);
        EXPECT_EQ(TrackwireRecords().back().Value("lost_package_rate"), text);
    }
}

TEST_F(Events, Arrived_HasNoFurtherTelemetry) {
    device_.SendEventArrived();
    EXPECT_THAT(TelemetryOf("arrived", "ipc_vdk_event_arrived"),
                ElementsAre("device_name=RV2:s", "channel=12:s"));
    EXPECT_THAT(messages_[0]["id"].asString(), SizeIs(36));
    ExpectEntry("SendEventArrived", "");
}

TEST_F(Events, Removed_CarriesTheReasonByItsWireName) {
    const std::pair<std::int32_t, std::string> table[] = {
        {0, "no-power"}, {1, "not-connected"}, {2, "ip-not-set"}};
    for (const auto& [status, name] : table) {
        messages_.clear();
        steps_.clear();
        log_.Clear();
        ResetClosedDoubles();
        device_.status_ = status;
        device_.SendEventRemoved();
        EXPECT_THAT(TelemetryOf("removed", "ipc_vdk_event_removed"),
                    ElementsAre("info=" + name + ":s", "device_name=RV2:s", "channel=12:s"));
        EXPECT_EQ(messages_[0]["info"].asString(), name);
        ExpectEntry("SendEventRemoved", "");
    }
}

TEST_F(Events, RemovedWithAStatusThatIsNoReason_RaisesBeforeAnythingIsSent) {
    device_.status_ = -2;
    try {
        device_.SendEventRemoved();
        FAIL() << "nothing raised";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid map<K, T> key");
    }
    EXPECT_THAT(steps_, IsEmpty());
}

TEST_F(Events, RemovedWhileConnected_SendsTheEventWithoutInfoAndRaisesInTelemetry) {
    device_.status_ = -1;
    try {
        device_.SendEventRemoved();
        FAIL() << "nothing raised";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid map<K, T> key");
    }
    EXPECT_THAT(steps_, ElementsAre("message"));
    EXPECT_FALSE(messages_[0].isMember("info"));
}

TEST_F(Events, Notifications_EachCallOneOperationOfTheListener) {
    device_.status_ = 2;
    EXPECT_CALL(listener_, OnRv2BadStatusNotified(2));
    device_.NotifyBadStatusForRV2();
    EXPECT_CALL(listener_, OnActiveDevicesChanged());
    device_.NotifyActiveDevicesChanged();
    EXPECT_CALL(listener_, OnVoteDeckStatusChanged(DeviceType::RV2, 2));
    device_.NotifyStatusChanged();
    ExpectEntry("NotifyBadStatusForRV2", "");
    ExpectEntry("NotifyActiveDevicesChanged", "");
    ExpectEntry("NotifyStatusChanged", "");
    EXPECT_THAT(steps_, IsEmpty());
}

}  // namespace
}  // namespace vdipc::test
