#include "support/DeviceTest.h"

#include <limits>
#include <regex>
#include <stdexcept>

#if !defined(_WIN32)
#include "native/NativeSeam.h"
#endif

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class DeviceObject : public DeviceTest {
protected:
    /// The text of the exception that parsing an id raises.
    template <typename Exception>
    std::string ParseFailure(const std::string& id) {
        try {
            device_.ParseDeviceID(id);
        } catch (const Exception& exception) {
            return exception.what();
        }
        return "nothing raised";
    }
};

TEST_F(DeviceObject, Construction_LeavesEverythingEmptyAndLogsItsEntry) {
    EXPECT_EQ(device_.device_type_, DeviceType::RV2);
    EXPECT_EQ(device_.GetDeviceStatus(), -2);
    EXPECT_THAT(device_.last_question_map_, IsEmpty());
    EXPECT_THAT(device_.last_answer_map_, IsEmpty());
    EXPECT_THAT(device_.text_record_map_, IsEmpty());
    EXPECT_THAT(device_.dropped_device_set_, IsEmpty());
    EXPECT_THAT(device_.audio_file_storage_base_path_, IsEmpty());
    EXPECT_THAT(VoteDeckObjectBaseAccess::ReservedRequests(device_), IsEmpty());
    EXPECT_THAT(VoteDeckObjectBaseAccess::ReservedIds(device_), IsEmpty());
    const DeviceInfoRecord info = device_.GetDeviceInfo();
    EXPECT_EQ(info.device_type + info.uid + info.software + info.hardware + info.company + info.channel +
                  info.tx_power,
              "");
    const auto lines = log_.OfFunction("VoteDeckObjectBase::VoteDeckObjectBase");
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].level, LogLevel::Trace);
    EXPECT_EQ(lines[0].rest, "");
}

TEST_F(DeviceObject, Construction_StartsWithoutAListener) {
    const TestDevice fresh(DeviceType::TQ1);
    EXPECT_EQ(fresh.listener_, nullptr);
}

TEST_F(DeviceObject, Destruction_LogsItsEntry) {
    ExpectEntry("~VoteDeckObjectBase", "", [] { const TestDevice fresh(DeviceType::TQ1); });
    EXPECT_THAT(log_.OfFunction("VoteDeckObjectBase::~VoteDeckObjectBase"), SizeIs(1));
}

TEST_F(DeviceObject, StatusAndInfo_AreHandedOutAsTheyStand) {
    device_.status_ = 1;
    device_.device_info_.software = "1.0";
    EXPECT_EQ(device_.GetDeviceStatus(), 1);
    EXPECT_EQ(device_.GetDeviceInfo().software, "1.0");
}

TEST_F(DeviceObject, AudioFileStorageBasePath_IsKept) {
    device_.SetAudioFileStorageBasePath("d");
    EXPECT_EQ(device_.audio_file_storage_base_path_, "d");
}

TEST_F(DeviceObject, WrapDeviceID_ZeroIsAllDevices) {
    EXPECT_EQ(device_.WrapDeviceID(0), "0");
}

TEST_F(DeviceObject, WrapDeviceID_LargestNumberGivesItsTenDigits) {
    EXPECT_EQ(device_.WrapDeviceID(std::numeric_limits<std::uint32_t>::max()), "4294967295");
}

TEST_F(DeviceObject, ParseDeviceID_TextZeroIsZero) {
    EXPECT_EQ(device_.ParseDeviceID("0"), 0u);
}

TEST_F(DeviceObject, ParseDeviceID_DigitsWithLettersBehindGiveTheNumberOfTheDigits) {
    EXPECT_EQ(device_.ParseDeviceID("123abc"), 123u);
    EXPECT_EQ(device_.ParseDeviceID(" +7"), 7u);
}

TEST_F(DeviceObject, ParseDeviceID_MinusOneGivesTheLargestNumber) {
    EXPECT_EQ(device_.ParseDeviceID("-1"), 4294967295u);
}

TEST_F(DeviceObject, ParseDeviceID_EmptyTextOrALetterRaisesInvalidArgument) {
    EXPECT_EQ(ParseFailure<std::invalid_argument>(""), "invalid stoul argument");
    EXPECT_EQ(ParseFailure<std::invalid_argument>("a1"), "invalid stoul argument");
}

TEST_F(DeviceObject, ParseDeviceID_OneAboveTheLargestNumberRaisesOutOfRange) {
    EXPECT_EQ(device_.ParseDeviceID("4294967295"), 4294967295u);
    EXPECT_EQ(ParseFailure<std::out_of_range>("4294967296"), "stoul argument out of range");
}

TEST_F(DeviceObject, ActivatedDeviceSet_IsInTheByteOrderOfTheTexts) {
    device_.SetActivatedDeviceSet({"9", "10"});
    EXPECT_THAT(device_.GetActivatedDeviceSet(), ElementsAre("10", "9"));
}

TEST_F(DeviceObject, SetActivatedDeviceSet_AddsAndNeverRemoves) {
    device_.SetActivatedDeviceSet({"1", "2"});
    device_.text_record_map_["1"].row1 = "shown";
    device_.SetActivatedDeviceSet({"1", "3"});
    EXPECT_THAT(device_.GetActivatedDeviceSet(), ElementsAre("1", "2", "3"));
    EXPECT_EQ(device_.text_record_map_["1"].row1, "shown");
}

TEST_F(DeviceObject, IdsOfTextRecords_AreKeptAsTheyStandAndNeverNormalised) {
    device_.SetActivatedDeviceSet({"7", "007", "00"});
    EXPECT_THAT(device_.GetActivatedDeviceSet(), ElementsAre("00", "007", "7"));
    EXPECT_EQ(device_.text_record_map_["007"].device, "007");
    device_.EraseTextRevordForDevice("07");
    EXPECT_THAT(device_.GetActivatedDeviceSet(), SizeIs(3));
}

TEST_F(DeviceObject, SetActivatedDeviceSet_NotifiesNobodyAndSendsNothing) {
    EXPECT_CALL(listener_, OnActiveDevicesChanged).Times(0);
    device_.SetActivatedDeviceSet({"1"});
    EXPECT_THAT(steps_, IsEmpty());
}

TEST_F(DeviceObject, GenerateEventId_HasThirtySixCharactersAndTwoEqualPairsAtItsEnd) {
    const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{8}([0-9a-f]{2})\\1");
    const std::string id = device_.GenerateEventId();
    EXPECT_THAT(id, SizeIs(36));
    EXPECT_TRUE(std::regex_match(id, form)) << id;
    EXPECT_NE(id, device_.GenerateEventId());
}

#if !defined(_WIN32)

TEST_F(DeviceObject, GenerateEventId_PrintsAllBytesInOrderButTheLastInThePlaceOfTheSeventh) {
    SetNativeGuid(Guid{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}});
    const std::string id = device_.GenerateEventId();
    SetNativeGuid(Guid{});
    const std::string zero = device_.GenerateEventId();
    SetNativeGuid(std::nullopt);
    EXPECT_EQ(id, "01020304-0506-0708-090a-0b0c0d0e1010");
    EXPECT_EQ(zero, "00000000-0000-0000-0000-000000000000");
}

#endif

TEST_F(DeviceObject, SendTrackwire_ForEachKindAddsItsNameAndTheChannel) {
    const std::pair<DeviceType, std::string> kinds[] = {{DeviceType::TQ1, "TQ1"},
                                                        {DeviceType::TQ2, "TQ2"},
                                                        {DeviceType::RV1, "RV1"},
                                                        {DeviceType::RV2, "RV2"},
                                                        {DeviceType::LW, "LW"}};
    for (const auto& [kind, name] : kinds) {
        TestDevice device(kind);
        device.SetEventListener(&listener_);
        device.device_info_.channel = "12";
        CTrackwire record;
        record.Push("Action", "x");
        device.SendTrackwire(record);
        EXPECT_THAT(Shown(TrackwireRecords().back()),
                    ElementsAre("Action=x:s", "device_name=" + name + ":s", "channel=12:s"));
    }
}

TEST_F(DeviceObject, SendTrackwire_ForLWWithoutDeviceInfoHasAnEmptyChannel) {
    TestDevice device(DeviceType::LW);
    device.SetEventListener(&listener_);
    CTrackwire record;
    device.SendTrackwire(record);
    EXPECT_THAT(Shown(TrackwireRecords().back()), ElementsAre("device_name=LW:s", "channel=:s"));
}

TEST_F(DeviceObject, SendTrackwire_ForAnyOtherKindAddsTheChannelAlone) {
    TestDevice device(static_cast<DeviceType>(5));
    device.SetEventListener(&listener_);
    CTrackwire record;
    device.SendTrackwire(record);
    EXPECT_THAT(TrackwireRecords().back().Keys(), ElementsAre("channel"));
}

TEST_F(DeviceObject, SendIPCMesage_LogsItsEntryAndPassesTheText) {
    EXPECT_CALL(listener_, SendIPCMesage("{}")).WillOnce(testing::Return());
    device_.SendIPCMesage("{}");
    EXPECT_THAT(log_.OfFunction("VoteDeckObjectBase::SendIPCMesage"), SizeIs(1));
}

TEST_F(DeviceObject, PostTask_HandsTheTaskUp) {
    std::function<void()> posted;
    EXPECT_CALL(listener_, PostTask).WillOnce([&posted](std::function<void()> task) { posted = task; });
    bool ran = false;
    device_.PostTask([&ran] { ran = true; });
    EXPECT_FALSE(ran);
    posted();
    EXPECT_TRUE(ran);
}

TEST_F(DeviceObject, WithoutAListener_TasksAreDroppedUnrunAndDestroyed) {
    device_.SetEventListener(nullptr);
    auto held = std::make_shared<int>(1);
    bool ran = false;
    device_.PostTask([held, &ran] { ran = true; });
    EXPECT_FALSE(ran);
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(DeviceObject, WithoutAListener_EverythingElseWorks) {
    device_.SetEventListener(nullptr);
    CTrackwire record;
    device_.SendTrackwire(record);
    device_.SendIPCMesage("{}");
    device_.CreateTextRecordForDevice("1");
    device_.HandleAsk(Ask("0", QuestionType::General));
    EXPECT_EQ(Press(1, 2), "sent");
    EXPECT_EQ(device_.last_answer_map_["1"].key_event.key, "B");
    device_.HandleDrop(Drop("1"));
    device_.NotifyStatusChanged();
    device_.NotifyBadStatusForRV2();
    EXPECT_THAT(steps_, IsEmpty());
    EXPECT_THAT(TrackwireRecords(), IsEmpty());
}

}  // namespace
}  // namespace vdipc::test
