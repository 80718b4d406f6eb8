// What a receiver tells about itself, and how a TQ2 is brought onto the chosen channel.
#include "unit/drivers/support/TQFixture.h"

#include <limits>
#include <thread>

namespace vdipc::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;
using enum DeviceType;

constexpr char kCompleteInfo[] = R"({"DeviceType":"t","UID":"u","SoftWare":"s","HardWare":"h","Company":"c",
    "Channel":"7","TX_POWER":"p","Other":"o"})";

std::string Shown(const DeviceInfoRecord& info) {
    return info.device_type + "," + info.uid + "," + info.software + "," + info.hardware + "," +
           info.company + "," + info.channel + "," + info.tx_power;
}

class TQInfoTest : public TQTest {
protected:
    TQInfoTest() { Make(TQ1); }
    std::string Read(const std::string& text) {
        control_.info = text;
        Access::ReadDeviceInfo(*object_);
        return Shown(object_->GetDeviceInfo());
    }
};

TEST_F(TQInfoTest, CompleteText_FillsAllSevenFields) {
    EXPECT_EQ(Read(kCompleteInfo), "t,u,s,h,c,7,p");
    ExpectLine(LogLevel::Debug, std::string("device_info=") + kCompleteInfo);
}

TEST_F(TQInfoTest, OneKeyAfterACompleteRecord_OnlyThatFieldChanges) {
    Read(kCompleteInfo);
    EXPECT_EQ(Read(R"({"UID":"ab"})"), "t,ab,s,h,c,7,p");
}

TEST_F(TQInfoTest, ChannelThatIsNoString_KeepsWhatItHad) {
    Read(kCompleteInfo);
    EXPECT_EQ(Read(R"({"Channel":7})"), "t,u,s,h,c,7,p");
    EXPECT_EQ(
        Read(R"({"Channel":8,"UID":null,"Company":["c"],"SoftWare":true,"HardWare":{},"TX_POWER":1.5})"),
        "t,u,s,h,c,7,p");
}

TEST_F(TQInfoTest, EmptyString_IsAValue) {
    Read(kCompleteInfo);
    EXPECT_EQ(Read(R"({"Channel":""})"), "t,u,s,h,c,,p");
}

TEST_F(TQInfoTest, TextNestedDeeperThanTheParserFollows_LeavesTheRecordAlone) {
    Read(kCompleteInfo);
    EXPECT_EQ(Read(R"({"UID":"x","more":)" + std::string(2000, '{')), "t,u,s,h,c,7,p");
    EXPECT_EQ(Read(R"({"UID":"x","more":)" + std::string(2000, '[')), "t,u,s,h,c,7,p");
}

TEST_F(TQInfoTest, TextThatIsNoJsonObject_LeavesTheRecordAloneAndLogsOneLine) {
    Read(kCompleteInfo);
    for (const char* text : {"", "receiver", R"({"UID":"x")", R"(["UID","x"])", R"("UID")", "7", "null"}) {
        log_.Clear();
        EXPECT_EQ(Read(text), "t,u,s,h,c,7,p") << text;
        EXPECT_EQ(log_.Lines().size(), 1u) << text;
    }
}

TEST_F(TQInfoTest, NoTextAtAll_LeavesTheRecordAlone) {
    Read(kCompleteInfo);
    EXPECT_CALL(control_, QueryDeviceInfo()).WillOnce(Return(nullptr));
    EXPECT_EQ(Read(""), "t,u,s,h,c,7,p");
    testing::Mock::VerifyAndClearExpectations(&control_);
}

TEST_F(TQInfoTest, NoControlSide_DoesNothing) {
    Access::Control(*object_) = nullptr;
    EXPECT_EQ(Read(kCompleteInfo), ",,,,,,");
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(TQInfoTest, ReceiverGone_RecordStays) {
    object_->Initialize();
    Read(kCompleteInfo);
    object_->OnDeviceConnectedChange(false);
    Run();
    EXPECT_EQ(Shown(object_->GetDeviceInfo()), "t,u,s,h,c,7,p");
}

TEST_F(TQInfoTest, TakenDown_RecordStays) {
    object_->Initialize();
    Read(kCompleteInfo);
    object_->Uninitialize();
    EXPECT_EQ(Shown(object_->GetDeviceInfo()), "t,u,s,h,c,7,p");
    deck_.connected = false;
    object_->Initialize();
    EXPECT_EQ(Shown(object_->GetDeviceInfo()), "t,u,s,h,c,7,p")
        << "nor does a start without a receiver clear it";
}

TEST_F(TQInfoTest, TextBeyondAscii_IsKeptByteForByte) {
    const std::string company = "\xe4\xbd\xa0\xe5\xa5\xbd \xc3\xa9";
    for (const char* code_page : {"CP1252", "CP936"}) {
        SetActiveCodePage(code_page);
        EXPECT_EQ(Read("{\"Company\":\"" + company + "\"}"), ",,,," + company + ",,") << code_page;
    }
}

TEST_F(TQInfoTest, OnGetDeviceInfo_SendsItsRecordOnTheCallingThread) {
    object_->device_info_.channel = "7";
    std::thread([this] { object_->OnGetDeviceInfo("text of the library", -3); }).join();
    EXPECT_EQ(handler_.QueuedTasks(), 0u);
    EXPECT_TRUE(log_.Has(LogLevel::Trace, "text of the library -3"));
    const auto records = TrackwireRecords();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_THAT(records[0].Keys(), ElementsAre("Action", "uniq_id", "result", "device_name", "channel"));
    EXPECT_EQ(records[0].Value("Action"), "vdk_get_device_info");
    EXPECT_EQ(records[0].Value("uniq_id"), "text of the library");
    EXPECT_EQ(records[0].Value("result"), "-3");
    EXPECT_EQ(records[0].pairs[2].kind, 'i');
    EXPECT_EQ(records[0].Value("device_name"), "TQ1");
    EXPECT_EQ(records[0].Value("channel"), "7");
}

TEST_F(TQInfoTest, OnGetDeviceInfoWithoutText_SendsItsRecordWithAnEmptyOne) {
    object_->OnGetDeviceInfo(nullptr, 7);
    const auto records = TrackwireRecords();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].Value("uniq_id"), "");
    EXPECT_EQ(records[0].Value("result"), "7");
    EXPECT_THAT(log_.Rests(), ElementsAre(" 7"));
    EXPECT_EQ(log_.Lines()[0].level, LogLevel::Trace);
}

TEST_F(TQInfoTest, OnGetDeviceInfoWithoutListener_SendsNothing) {
    object_->SetEventListener(nullptr);
    object_->OnGetDeviceInfo(nullptr, 0);
    EXPECT_THAT(TrackwireRecords(), IsEmpty());
}

class TQChannelTest : public TQTest {
protected:
    TQChannelTest() { Make(TQ2); }
    void Synchronize(const std::string& channel_of_receiver) {
        object_->device_info_.channel = channel_of_receiver;
        Access::SynchronizeChannel(*object_);
    }
};

TEST_F(TQChannelTest, Chosen5ReceiverOn5_NothingIsSent) {
    channel_.Set(5);
    Synchronize("5");
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_FALSE(log_.Contains("change channel"));
}

TEST_F(TQChannelTest, Chosen5ReceiverOn7_SetChannel5AndTheRecordReads5AtOnce) {
    channel_.Set(5);
    Synchronize("7");
    EXPECT_THAT(Take(), ElementsAre("channel 5 without callback"));
    EXPECT_EQ(object_->device_info_.channel, "5");
    ExpectLine(LogLevel::Info, "change channel 5");
    EXPECT_EQ(channel_.Get(), 5);
}

TEST_F(TQChannelTest, ChosenIsComparedAsText) {
    channel_.Set(5);
    Synchronize("05");
    EXPECT_THAT(Take(), ElementsAre("channel 5 without callback"));
    EXPECT_EQ(object_->device_info_.channel, "5");
}

TEST_F(TQChannelTest, NoneChosenReceiverOn7_7IsSavedAndNothingSent) {
    Synchronize("7");
    EXPECT_EQ(channel_.Get(), 7);
    EXPECT_THAT(Take(), IsEmpty());
    ExpectLine(LogLevel::Info, "save channel to reg 7");
    EXPECT_EQ(object_->device_info_.channel, "7");
}

TEST_F(TQChannelTest, NoneChosenChannelEmpty_0IsSaved) {
    Synchronize("");
    EXPECT_EQ(channel_.Get(), 0);
    ExpectLine(LogLevel::Info, "save channel to reg 0");
}

TEST_F(TQChannelTest, NoneChosenChannelNotANumber_WhatAtoiMakesOfItIsSaved) {
    const std::pair<const char*, std::int32_t> rows[] = {
        {"eleven", 0},
        {" 12", 12},
        {"13abc", 13},
        {"+4", 4},
        {"2147483647", std::numeric_limits<std::int32_t>::max()},
        {"99999999999999999999999", std::numeric_limits<std::int32_t>::max()}};
    for (const auto& [text, saved] : rows) {
        channel_.Set(-1);
        Synchronize(text);
        EXPECT_EQ(channel_.Get(), saved) << text;
    }
}

TEST_F(TQChannelTest, NoneChosenChannelMinus3_NothingIsSavedAndTheWarningIsLogged) {
    Synchronize("-3");
    EXPECT_EQ(channel_.Get(), std::nullopt);
    EXPECT_THAT(Take(), IsEmpty());
    ExpectLine(LogLevel::Warn, "device info channel error: -3  do not save");
}

TEST_F(TQChannelTest, ChosenMinus1_AsNoneChosen) {
    for (const std::int32_t none : {-1, -2, std::numeric_limits<std::int32_t>::min()}) {
        channel_.Set(none);
        Synchronize("7");
        EXPECT_EQ(channel_.Get(), 7) << none;
        EXPECT_THAT(Take(), IsEmpty());
    }
}

TEST_F(TQChannelTest, Chosen0_IsAChannelLikeAnyOther) {
    channel_.Set(0);
    Synchronize("7");
    EXPECT_THAT(Take(), ElementsAre("channel 0 without callback"));
    EXPECT_EQ(channel_.Get(), 0);
}

TEST_F(TQChannelTest, NoBoundOnTheChosenChannel) {
    channel_.Set(std::numeric_limits<std::int32_t>::max());
    Synchronize("7");
    EXPECT_THAT(Take(), ElementsAre("channel 2147483647 without callback"));
    EXPECT_EQ(object_->device_info_.channel, "2147483647");
}

TEST_F(TQChannelTest, InformationIsReadBeforeTheChannelIsCompared) {
    channel_.Set(5);
    control_.info = R"({"Channel":"5"})";
    object_->Initialize();
    EXPECT_THAT(Take(), ElementsAre("deck listens", "control listens", "query info", "enable bind"));
}

TEST_F(TQChannelTest, OtherKinds_FillTheRecordAndLeaveTheChosenChannelAlone) {
    for (const DeviceType kind : {TQ1, RV1, LW}) {
        Make(kind);
        control_.info = R"({"Channel":"7"})";
        object_->Initialize();
        object_->OnDeviceConnectedChange(true);
        Run();
        EXPECT_EQ(object_->device_info_.channel, "7");
        EXPECT_EQ(channel_.Get(), std::nullopt);
        EXPECT_FALSE(log_.Contains(" channel: "));
    }
}

}  // namespace
}  // namespace vdipc::test
