#include "support/DeviceTest.h"

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::SizeIs;

class Texts : public DeviceTest {
protected:
    bool IsActivated(const std::string& device) const { return device_.text_record_map_.count(device) == 1; }
    bool IsDropped(const std::string& device) const { return device_.dropped_device_set_.count(device) == 1; }

    /// What a receiver does when it reports a keypad.
    void Connect(const std::string& device) {
        device_.CreateTextRecordForDevice(device);
        device_.NotifyActiveDevicesChanged();
        device_.EraseDeviceFromDropSet(device);
        device_.SendEventActivated(device);
    }

    void Disconnect(const std::string& device) {
        device_.EraseTextRevordForDevice(device);
        device_.NotifyActiveDevicesChanged();
        device_.EraseDeviceFromDropSet(device);
        device_.SendEventInactivated(device);
    }
};

TEST_F(Texts, NewTextRecord_HoldsItsDeviceAndThreeSetFlags) {
    device_.CreateTextRecordForDevice("7");
    const CommandText& record = device_.text_record_map_["7"];
    EXPECT_EQ(static_cast<int>(record.command_type), 3);
    EXPECT_EQ(record.device, "7");
    EXPECT_TRUE(record.has_row1 && record.has_row2 && record.has_row3);
    EXPECT_EQ(record.id + record.row1 + record.row2 + record.row3, "");
}

TEST_F(Texts, EachOperation_LogsItsEntryAtTrace) {
    ExpectEntry("CreateTextRecordForDevice", "device=7", [&] { device_.CreateTextRecordForDevice("7"); });
    ExpectEntry("EraseTextRevordForDevice", "device=7", [&] { device_.EraseTextRevordForDevice("7"); });
    ExpectEntry("EraseDeviceFromDropSet", "device=7", [&] { device_.EraseDeviceFromDropSet("7"); });
    ExpectEntry("HandleText", "", [&] { device_.HandleText(CommandText()); });
    ExpectEntry("HandleDrop", "", [&] { device_.HandleDrop(Drop("7")); });
    ExpectEntry("HandleDrop", "", [&] { device_.HandleDrop(Drop("0")); });
    ExpectEntry("ClearTextForAllDevices", "", [&] { device_.ClearTextForAllDevices(); });
}

TEST_F(Texts, TextRecordThatExists_KeepsItsRows) {
    device_.CreateTextRecordForDevice("7");
    device_.text_record_map_["7"].row2 = "shown";
    device_.CreateTextRecordForDevice("7");
    EXPECT_EQ(device_.text_record_map_["7"].row2, "shown");
}

TEST_F(Texts, TextRecords_SurviveAskAndStop) {
    device_.CreateTextRecordForDevice("7");
    device_.text_record_map_["7"].row1 = "shown";
    device_.HandleAsk(Ask("7", QuestionType::General));
    device_.HandleStop(Stop("7"));
    device_.HandleAsk(Ask("0", QuestionType::General));
    device_.HandleStop(Stop("0"));
    EXPECT_THAT(device_.GetActivatedDeviceSet(), ElementsAre("7"));
    EXPECT_EQ(device_.text_record_map_["7"].row1, "shown");
}

TEST_F(Texts, Text_OnlyCallsSetText) {
    CommandText text;
    text.device = "7";
    text.has_row1 = true;
    text.row1 = "r1";
    text.row2 = "r2";
    text.has_row3 = true;
    text.row3 = "r3";
    EXPECT_CALL(device_, SetText("7", true, "r1", false, "r2", true, "r3"));
    device_.HandleText(text);
    EXPECT_THAT(device_.text_record_map_, IsEmpty());
    ASSERT_THAT(log_.OfFunction("VoteDeckObjectBase::HandleText"), SizeIs(1));
}

TEST_F(Texts, Text_WritesNoRecordItself) {
    device_.CreateTextRecordForDevice("7");
    device_.text_record_map_["7"].row1 = "shown";
    for (const char* device : {"7", "0"}) {
        CommandText text;
        text.id = "id of the text";
        text.device = device;
        text.has_row1 = text.has_row2 = text.has_row3 = true;
        text.row1 = text.row2 = text.row3 = "new";
        device_.HandleText(text);
        ASSERT_THAT(device_.text_record_map_, SizeIs(1)) << device;
        const CommandText& record = device_.text_record_map_["7"];
        EXPECT_EQ(record.row1, "shown") << device;
        EXPECT_EQ(record.id + record.row2 + record.row3, "") << device;
    }
}

TEST_F(Texts, DropForAll_IsRefusedWithAWarning) {
    device_.CreateTextRecordForDevice("7");
    device_.HandleAsk(Ask("0", QuestionType::General));
    EXPECT_CALL(listener_, OnActiveDevicesChanged).Times(0);
    device_.HandleDrop(Drop("0"));
    EXPECT_TRUE(log_.Has(LogLevel::Warn, "device can not be 0"));
    EXPECT_TRUE(IsActivated("7"));
    EXPECT_FALSE(IsDropped("0"));
    EXPECT_FALSE(device_.last_question_map_["0"].stopped);
    EXPECT_THAT(messages_, IsEmpty());
}

TEST_F(Texts, Drop_ErasesNotifiesClosesAndRemembersInThisOrder) {
    device_.CreateTextRecordForDevice("7");
    device_.HandleAsk(Ask("7", QuestionType::SingleChoice));
    Press(7, 1);
    messages_.clear();
    log_.Clear();
    EXPECT_CALL(listener_, OnActiveDevicesChanged).WillOnce([this] {
        EXPECT_FALSE(IsActivated("7"));
        EXPECT_THAT(device_.last_answer_map_, SizeIs(1));
        EXPECT_FALSE(device_.last_question_map_["7"].stopped);
        EXPECT_FALSE(IsDropped("7"));
        EXPECT_THAT(DebugLines(), IsEmpty());
    });
    device_.HandleDrop(Drop("7"));
    EXPECT_THAT(DebugLines(), ElementsAre("erase last_answer_map_[7]", "stop last_question_map_[7]",
                                          "insert 7 to dropped_device_set_"));
    EXPECT_THAT(DebugLines("HandleDrop"), ElementsAre("insert 7 to dropped_device_set_"));
    EXPECT_THAT(device_.last_answer_map_, IsEmpty());
    EXPECT_TRUE(device_.last_question_map_["7"].stopped);
    EXPECT_TRUE(IsDropped("7"));
    EXPECT_THAT(messages_, IsEmpty());
}

TEST_F(Texts, Drop_TellsTheHardwareNothing) {
    device_.CreateTextRecordForDevice("7");
    device_.HandleAsk(Ask("7", QuestionType::SingleChoice));
    EXPECT_CALL(device_, StartQuestion(_, _)).Times(0);
    EXPECT_CALL(device_, StopQuestion(_)).Times(0);
    EXPECT_CALL(device_, SetText(_, _, _, _, _, _, _)).Times(0);
    device_.HandleDrop(Drop("7"));
    EXPECT_TRUE(IsDropped("7"));
}

TEST_F(Texts, IdOfADrop_IsTakenAsItStandsAndNeverNormalised) {
    device_.CreateTextRecordForDevice("7");
    device_.HandleAsk(Ask("7", QuestionType::General));
    device_.HandleDrop(Drop("007"));
    device_.HandleDrop(Drop("00"));
    EXPECT_THAT(device_.dropped_device_set_, ElementsAre("00", "007")) << "and 00 is not refused";
    EXPECT_TRUE(IsActivated("7"));
    EXPECT_EQ(Press(7, 1), "sent");
    device_.EraseDeviceFromDropSet("7");
    EXPECT_TRUE(IsDropped("007"));
}

TEST_F(Texts, DropOfAnIdThatIsNoNumber_IsRememberedAsItStands) {
    device_.HandleDrop(Drop("abc"));
    EXPECT_THAT(device_.dropped_device_set_, ElementsAre("abc"));
    EXPECT_CALL(device_, SetText("0", true, "", true, "", true, ""));
    EXPECT_CALL(device_, SetText("abc", true, "", true, "", true, ""));
    device_.ClearTextForAllDevices();
}

TEST_F(Texts, DropTwice_IsHeldOnceAndNotifiedTwice) {
    device_.CreateTextRecordForDevice("7");
    EXPECT_CALL(listener_, OnActiveDevicesChanged).Times(2);
    device_.HandleDrop(Drop("7"));
    device_.HandleDrop(Drop("7"));
    EXPECT_THAT(device_.dropped_device_set_, ElementsAre("7"));
}

TEST_F(Texts, DropOfADeviceNeverSeen_WorksAllTheSameAndMakesNoQuestion) {
    EXPECT_CALL(listener_, OnActiveDevicesChanged);
    device_.HandleDrop(Drop("99"));
    EXPECT_TRUE(IsDropped("99"));
    EXPECT_THAT(device_.last_question_map_, IsEmpty());
}

TEST_F(Texts, DropClosesTheQuestion_KeysAreDroppedUntilAnAskForThatDeviceAndNotForAll) {
    device_.CreateTextRecordForDevice("7");
    device_.HandleAsk(Ask("0", QuestionType::General));
    EXPECT_EQ(Press(7, 1), "sent");
    device_.HandleDrop(Drop("7"));
    EXPECT_EQ(Press(7, 1), "dropped");
    device_.HandleAsk(Ask("0", QuestionType::General));
    EXPECT_EQ(Press(7, 1), "dropped");
    device_.HandleAsk(Ask("7", QuestionType::General));
    EXPECT_EQ(Press(7, 1), "sent");
}

TEST_F(Texts, ClearTextWithNothingDropped_IsExactlyOneSetText) {
    device_.SetActivatedDeviceSet({"1", "2"});
    EXPECT_CALL(device_, SetText(_, _, _, _, _, _, _)).Times(0);
    EXPECT_CALL(device_, SetText("0", true, "", true, "", true, ""));
    device_.ClearTextForAllDevices();
    EXPECT_THAT(log_.OfFunction("VoteDeckObjectBase::ClearTextForAllDevices"), SizeIs(1));
}

TEST_F(Texts, ClearTextAfterDrops_AlsoReachesEachDroppedDeviceInOrder) {
    device_.HandleDrop(Drop("9"));
    device_.HandleDrop(Drop("10"));
    {
        InSequence order;
        EXPECT_CALL(device_, SetText("0", true, "", true, "", true, ""));
        EXPECT_CALL(device_, SetText("10", true, "", true, "", true, ""));
        EXPECT_CALL(device_, SetText("9", true, "", true, "", true, ""));
    }
    device_.ClearTextForAllDevices();
}

TEST_F(Texts, SetActivatedDeviceSetWithADroppedDevice_LeavesItDroppedAndGivesItATextRecord) {
    device_.HandleDrop(Drop("7"));
    device_.SetActivatedDeviceSet({"7"});
    EXPECT_TRUE(IsDropped("7"));
    EXPECT_TRUE(IsActivated("7"));
}

TEST_F(Texts, ActivationCycle_SetsBothContainersAsTheTableSays) {
    struct Row {
        const char* event;
        bool activated_after;
        int dropped_after;  // -1: unchanged
    };
    const Row table[] = {
        {"connect", true, 0}, {"disconnect", false, 0}, {"drop", false, 1}, {"set", true, -1}};
    for (const Row& row : table) {
        for (const bool activated : {false, true}) {
            for (const bool dropped : {false, true}) {
                SCOPED_TRACE(std::string(row.event) + (activated ? " activated" : "") +
                             (dropped ? " dropped" : ""));
                device_.text_record_map_.clear();
                device_.dropped_device_set_.clear();
                if (activated) {
                    device_.CreateTextRecordForDevice("7");
                }
                if (dropped) {
                    device_.dropped_device_set_.insert("7");
                }
                const std::string event = row.event;
                if (event == "connect") {
                    Connect("7");
                } else if (event == "disconnect") {
                    Disconnect("7");
                } else if (event == "drop") {
                    device_.HandleDrop(Drop("7"));
                } else {
                    device_.SetActivatedDeviceSet({"7"});
                }
                EXPECT_EQ(IsActivated("7"), row.activated_after);
                EXPECT_EQ(IsDropped("7"), row.dropped_after == -1 ? dropped : row.dropped_after == 1);
            }
        }
    }
}

}  // namespace
}  // namespace vdipc::test
