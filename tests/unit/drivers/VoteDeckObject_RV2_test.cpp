// Lifecycle and commands of the base station's object.
#include "support/LogEntries.h"
#include "unit/drivers/support/RV2Fixture.h"

#include <stdexcept>

namespace vdipc::test {
namespace {

using testing::_;
using testing::AnyNumber;
using testing::AtLeast;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::Return;
using testing::StrEq;

constexpr std::uint32_t kAddress = 0xC0A8EA0A;  // 192.168.234.10

class RV2LifecycleTest : public RV2Test {
protected:
    ~RV2LifecycleTest() override {
        testing::Mock::VerifyAndClearExpectations(&deck_);
        EXPECT_CALL(deck_, CloseSocket()).Times(AnyNumber());
    }

    void ExpectSession() {
        EXPECT_CALL(deck_, SetSessionMode(6, 0));
        EXPECT_CALL(deck_, StartSession());
        EXPECT_CALL(deck_, SetSessionEnabled(true));
    }
    void ExpectInfo(const std::string& text) {
        const auto lines = log_.Find(text);
        ASSERT_EQ(lines.size(), 1u) << log_.Text();
        EXPECT_EQ(lines[0].level, LogLevel::Info);
        EXPECT_EQ(lines[0].function, "VoteDeckObject_RV2::Initialize");
    }
    void ExpectNoWatch() {
        EXPECT_FALSE(Access::HasThread(*object_));
        EXPECT_EQ(Access::StatusEvent(*object_), nullptr);
        EXPECT_FALSE(USBListenerAccess::IsListed(object_.get()));
    }
};

TEST_F(RV2LifecycleTest, New_HasUnknownStatusAndNoLibraryObject) {
    EXPECT_EQ(object_->GetDeviceStatus(), -2);
    EXPECT_EQ(Access::Deck(*object_), nullptr);
    EXPECT_FALSE(Access::HasThread(*object_));
    EXPECT_EQ(Access::StatusEvent(*object_), nullptr);
    EXPECT_EQ(Creations(), 0u);
}

TEST_F(RV2LifecycleTest, Initialize_StationUp_OpensSocketAndSessionInOrder) {
    {
        InSequence order;
        EXPECT_CALL(deck_, SetListener(static_cast<IVoteDeckEvent*>(object_.get())));
        EXPECT_CALL(deck_, InitSocket(kAddress, 4567, 10000)).WillOnce(Return(0));
        ExpectSession();
    }
    EXPECT_EQ(object_->Initialize(), -1);
    EXPECT_EQ(object_->GetDeviceStatus(), -1);
    EXPECT_TRUE(Access::HasThread(*object_));
    EXPECT_TRUE(USBListenerAccess::IsListed(object_.get()));
    ExpectInfo("rv2.0 init socket ok, start session");
    EXPECT_THAT(handler_.TakeNotes(), IsEmpty());
}

TEST_F(RV2LifecycleTest, Initialize_Again_ClosesTheOldSocketAndKeepsObjectAndListener) {
    EXPECT_CALL(deck_, SetListener(_)).Times(1);
    EXPECT_CALL(deck_, InitSocket(_, _, _)).WillOnce(Return(0));
    ExpectSession();
    object_->Initialize();
    testing::Mock::VerifyAndClearExpectations(&deck_);
    {
        InSequence order;
        EXPECT_CALL(deck_, CloseSocket());
        EXPECT_CALL(deck_, InitSocket(kAddress, 4567, 10000)).WillOnce(Return(0));
        ExpectSession();
    }
    EXPECT_EQ(object_->Initialize(), -1);
    EXPECT_EQ(Creations(), 1u);
}

TEST_F(RV2LifecycleTest, Initialize_Again_StopsTheWatchBeforeItProbes) {
    object_->answers = {1};
    object_->Initialize();
    ASSERT_TRUE(Access::HasThread(*object_));
    ASSERT_TRUE(USBListenerAccess::IsListed(object_.get()));
    AttachDeck();
    object_->answers = {-2, -1};
    object_->during_probe = [this] { ExpectNoWatch(); };
    EXPECT_CALL(deck_, CloseSocket());
    EXPECT_CALL(deck_, InitSocket(_, _, _)).WillOnce([this] {
        ExpectNoWatch();
        return 1;
    });
    EXPECT_EQ(object_->Initialize(), 2);
    EXPECT_EQ(object_->probes, 3);
    EXPECT_TRUE(Access::HasThread(*object_));
}

TEST_F(RV2LifecycleTest, Initialize_SdkConfigFileGoesBetweenTheOldSocketAndTheNew) {
    AttachDeck();
    const std::string deletion = "VoteDeckObject_RV2::DeleteSdkConfigFile:";
    EXPECT_CALL(deck_, CloseSocket()).WillOnce([&] { EXPECT_FALSE(log_.Contains(deletion)); });
    EXPECT_CALL(deck_, InitSocket(_, _, _)).WillOnce([&] {
        EXPECT_TRUE(log_.Contains(deletion));
        return 1;
    });
    object_->Initialize();
}

TEST_F(RV2LifecycleTest, Initialize_StationDownWithALibraryObjectThere_LeavesSocketAndConfigurationAlone) {
    AttachDeck();
    for (const std::int32_t answer : {0, 1}) {
        object_->answers = {answer};
        EXPECT_EQ(object_->Initialize(), answer);
        EXPECT_EQ(Access::Deck(*object_), &deck_);
    }
    EXPECT_TRUE(log_.OfFunction("VoteDeckObject_RV2::DeleteSdkConfigFile").empty()) << log_.Text();
}

TEST_F(RV2LifecycleTest, Initialize_SdkConfigFileGoesBeforeTheLibrarysObjectIsMade) {
    ClosedFactories().create_vote_deck_obj = [this] {
        EXPECT_TRUE(log_.Contains("VoteDeckObject_RV2::DeleteSdkConfigFile:"));
        return &deck_;
    };
    EXPECT_CALL(deck_, SetListener(_));
    EXPECT_CALL(deck_, InitSocket(_, _, _)).WillOnce(Return(1));
    object_->Initialize();
    EXPECT_EQ(Creations(), 1u);
}

TEST_F(RV2LifecycleTest, Initialize_WatchStartsBehindTheSession) {
    EXPECT_CALL(deck_, SetListener(_));
    EXPECT_CALL(deck_, InitSocket(_, _, _)).WillOnce(Return(0));
    EXPECT_CALL(deck_, SetSessionMode(6, 0)).WillOnce([this] { ExpectNoWatch(); });
    EXPECT_CALL(deck_, StartSession()).WillOnce([this] { ExpectNoWatch(); });
    EXPECT_CALL(deck_, SetSessionEnabled(true)).WillOnce([this] { ExpectNoWatch(); });
    object_->Initialize();
    EXPECT_TRUE(Access::HasThread(*object_));
}

TEST_F(RV2LifecycleTest, Initialize_SdkConfigFileAbsent_GoesOnAsUsual) {
    EXPECT_CALL(deck_, SetListener(_));
    EXPECT_CALL(deck_, InitSocket(_, _, _)).WillOnce(Return(0));
    ExpectSession();
    EXPECT_EQ(object_->Initialize(), -1);
    const auto lines = log_.OfFunction("VoteDeckObject_RV2::DeleteSdkConfigFile");
    ASSERT_EQ(lines.size(), 2u) << log_.Text();
    EXPECT_EQ(lines[1].level, LogLevel::Debug);
    EXPECT_THAT(lines[1].rest, testing::MatchesRegex("file not exists .*.HDP417K.sdkConfig.txt"));
}

TEST_F(RV2LifecycleTest, Initialize_ScriptGivesNoAnswer_ProbesUntilItDoes) {
    object_->answers = std::deque<std::int32_t>(50, -2);
    object_->answers.push_back(1);
    EXPECT_EQ(object_->Initialize(), 1);
    EXPECT_EQ(object_->probes, 51);
}

TEST_F(RV2LifecycleTest, Initialize_ScriptGivesNoAnswer_ProbesAgainWithoutAPause) {
    constexpr int kProbes = 20000;
    object_->answers = std::deque<std::int32_t>(kProbes, -2);
    object_->answers.push_back(1);
    const auto start = std::chrono::steady_clock::now();
    object_->Initialize();
    EXPECT_EQ(object_->probes, kProbes + 1);
    // A pause of one millisecond would make twice as much.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(kProbes / 2));
}

TEST_F(RV2LifecycleTest, Initialize_ForgetsTheOldStatusFirst) {
    object_->status_ = -1;
    object_->answers = {0};
    EXPECT_EQ(object_->Initialize(), 0);
    EXPECT_EQ(object_->probes, 1);
}

TEST_F(RV2LifecycleTest, Initialize_NoPower_LeavesTheLibraryAloneAndWatches) {
    object_->answers = {0};
    EXPECT_EQ(object_->Initialize(), 0);
    ExpectInfo("rv2.0 power off");
    EXPECT_EQ(Creations(), 0u);
    EXPECT_TRUE(Access::HasThread(*object_));
    EXPECT_TRUE(USBListenerAccess::IsListed(object_.get()));
}

TEST_F(RV2LifecycleTest, Initialize_UsbNotConnected_LeavesTheLibraryAloneAndWatches) {
    object_->answers = {1};
    EXPECT_EQ(object_->Initialize(), 1);
    ExpectInfo("rv2.0 usb not connected");
    EXPECT_EQ(Creations(), 0u);
    EXPECT_TRUE(Access::HasThread(*object_));
}

TEST_F(RV2LifecycleTest, Initialize_InitSocketFails_GivesIpNotSetAndWatches) {
    EXPECT_CALL(deck_, SetListener(_));
    EXPECT_CALL(deck_, InitSocket(_, _, _)).WillOnce(Return(-5));
    EXPECT_EQ(object_->Initialize(), 2);
    EXPECT_EQ(object_->GetDeviceStatus(), 2);
    ExpectInfo("rv2.0 init socket failed");
    EXPECT_EQ(Access::Deck(*object_), &deck_);
    EXPECT_TRUE(Access::HasThread(*object_));
}

TEST_F(RV2LifecycleTest, Initialize_LibraryHasNoObject_CountsAsAFailedSocket) {
    ClosedFactories().create_vote_deck_obj = nullptr;
    EXPECT_EQ(object_->Initialize(), 2);
    ExpectInfo("rv2.0 init socket failed");
}

TEST_F(RV2LifecycleTest, Uninitialize_StopsTheWatchThenClosesTheSocket) {
    EXPECT_CALL(deck_, SetListener(_));
    EXPECT_CALL(deck_, InitSocket(_, _, _)).WillOnce(Return(0));
    ExpectSession();
    object_->Initialize();
    EXPECT_CALL(deck_, CloseSocket()).WillOnce([&] {
        EXPECT_FALSE(Access::HasThread(*object_));
        EXPECT_FALSE(USBListenerAccess::IsListed(object_.get()));
    });
    object_->Uninitialize();
    EXPECT_EQ(Access::StatusEvent(*object_), nullptr);
    EXPECT_EQ(object_->GetDeviceStatus(), -1) << "the status stays as it was";
    EXPECT_EQ(Access::Deck(*object_), &deck_);
}

TEST_F(RV2LifecycleTest, TakenDownAndBroughtUpAgain_KeepsQuestionsAnswersAndDroppedKeypads) {
    EXPECT_CALL(deck_, CloseSocket()).Times(AnyNumber());
    EXPECT_CALL(deck_, SetListener(_)).Times(AnyNumber());
    EXPECT_CALL(deck_, InitSocket(_, _, _)).WillRepeatedly(Return(0));
    EXPECT_CALL(deck_, SetSessionMode(_, _)).Times(AnyNumber());
    EXPECT_CALL(deck_, StartSession()).Times(AnyNumber());
    EXPECT_CALL(deck_, SetSessionEnabled(_)).Times(AnyNumber());
    AddKeypads({"7"});
    object_->last_question_map_["7"].stopped = false;
    object_->last_question_map_["7"].ask.custom = "c";
    object_->last_answer_map_["7"].key_event.key = "AB";
    object_->dropped_device_set_ = {"9"};
    for (const std::int32_t answer : {-1, 0, 1, -1}) {
        object_->answers = {answer};
        object_->Uninitialize();
        object_->Initialize();
        EXPECT_TRUE(object_->CheckLastQuestionCustom("7", "c")) << answer;
        EXPECT_EQ(object_->last_answer_map_["7"].key_event.key, "AB") << answer;
        EXPECT_THAT(object_->dropped_device_set_, ElementsAre("9")) << answer;
        EXPECT_THAT(object_->GetActivatedDeviceSet(), ElementsAre("7")) << answer;
    }
}

TEST_F(RV2LifecycleTest, Uninitialize_NeverInitialized_CallsNothing) {
    object_->Uninitialize();
    EXPECT_FALSE(log_.OfFunction("VoteDeckObject_RV2::Uninitialize").empty());
}

TEST_F(RV2LifecycleTest, Destructor_StopsTheWatchAndClosesTheSocketOnce) {
    EXPECT_CALL(deck_, SetListener(_));
    EXPECT_CALL(deck_, InitSocket(_, _, _)).WillOnce(Return(0));
    ExpectSession();
    object_->Initialize();
    DeviceChangedListener* const listener = object_.get();
    EXPECT_CALL(deck_, CloseSocket()).Times(1);
    object_.reset();
    EXPECT_FALSE(USBListenerAccess::IsListed(listener));
    EXPECT_EQ(log_.Count("RV2 status check thread end"), 1u);
    EXPECT_TRUE(log_.OfFunction("VoteDeckObject_RV2::Uninitialize").empty());
}

TEST_F(RV2LifecycleTest, Destructor_WithoutLibraryObject_CallsNothing) {
    object_.reset();
    EXPECT_TRUE(log_.Contains("VoteDeckObject_RV2::~VoteDeckObject_RV2")) << log_.Text();
}

class RV2CommandTest : public RV2Test {
protected:
    RV2CommandTest() { AttachDeck(); }
    ~RV2CommandTest() override { EXPECT_CALL(deck_, CloseSocket()).Times(AnyNumber()); }

    static CommandHi::Argument Argument(HiArgumentType type, std::int32_t duration, std::int32_t interval,
                                        std::int32_t times, HiArgumentColor color = HiArgumentColor::None) {
        CommandHi::Argument argument;
        argument.type = type;
        argument.times = times;
        argument.color = color;
        argument.interval = interval;
        argument.duration = duration;
        return argument;
    }
    void Hi(const std::string& device, const std::vector<CommandHi::Argument>& arguments) {
        CommandHi hi;
        hi.device = device;
        hi.arguments = arguments;
        object_->HandleHi(hi);
    }
    /// The one line with which the operation announced the call under way.
    void ExpectAnnounced(const std::string& operation, const std::string& text) {
        const auto lines = log_.Find(text);
        ASSERT_EQ(lines.size(), 1u) << log_.Text();
        EXPECT_EQ(lines[0].level, LogLevel::Info);
        EXPECT_EQ(lines[0].function, "VoteDeckObject_RV2::" + operation);
    }
};

TEST_F(RV2CommandTest, HandleHi_Led_SendsFlashing) {
    EXPECT_CALL(deck_, SendFlashing(12, EnumFlashingColor{6}, 30, 20, 10)).WillOnce([&] {
        ExpectAnnounced("HandleHi",
                        "rv2.0 SendFlashing device=12, color=6, duration=30, interval=20, times=10");
    });
    Hi("12", {Argument(HiArgumentType::Led, 30, 20, 10, HiArgumentColor::Yellow)});
}

TEST_F(RV2CommandTest, HandleHi_Motor_SendsVibrate) {
    EXPECT_CALL(deck_, SendVibrate(12, 30, 20, 10)).WillOnce([&] {
        ExpectAnnounced("HandleHi", "rv2.0 SendVibrate device=12, duration=30, interval=20, times=10");
    });
    Hi("12", {Argument(HiArgumentType::Motor, 30, 20, 10)});
}

TEST_F(RV2CommandTest, HandleHi_Beep_SendsAlarm) {
    EXPECT_CALL(deck_, SendAlarm(12, 30, 20, 10)).WillOnce([&] {
        ExpectAnnounced("HandleHi", "rv2.0 SendAlarm device=12, duration=30, interval=20, times=10");
    });
    Hi("12", {Argument(HiArgumentType::Beep, 30, 20, 10)});
}

TEST_F(RV2CommandTest, HandleHi_AnyOtherType_IsSkipped) {
    EXPECT_CALL(deck_, SendAlarm(12, 1, 1, 1));
    Hi("12", {Argument(HiArgumentType::None, 1, 1, 1), Argument(static_cast<HiArgumentType>(3), 1, 1, 1),
              Argument(HiArgumentType::Beep, 1, 1, 1)});
}

TEST_F(RV2CommandTest, HandleHi_ValuesAreNarrowedToUnsigned16Bits_TheDeviceIsNot) {
    EXPECT_CALL(deck_, SendAlarm(70000, 4464, 65535, 0)).WillOnce([&] {
        ExpectAnnounced("HandleHi", "rv2.0 SendAlarm device=70000, duration=4464, interval=65535, times=0");
    });
    Hi("70000", {Argument(HiArgumentType::Beep, 70000, -1, 65536)});
}

TEST_F(RV2CommandTest, HandleHi_ForAllWithNoKeypadConnected_SendsNothing) {
    Hi("0", {Argument(HiArgumentType::Beep, 1, 1, 1), Argument(HiArgumentType::Motor, 1, 1, 1)});
    EXPECT_FALSE(log_.Contains("rv2.0 Send"));
}

TEST_F(RV2CommandTest, HandleHi_BeepAndMotorForTwoKeypads_FourSendsDeviceByDeviceInTextOrder) {
    AddKeypads({"9", "10"});
    InSequence order;
    EXPECT_CALL(deck_, SendAlarm(10, 1, 2, 3));
    EXPECT_CALL(deck_, SendVibrate(10, 4, 5, 6));
    EXPECT_CALL(deck_, SendAlarm(9, 1, 2, 3));
    EXPECT_CALL(deck_, SendVibrate(9, 4, 5, 6));
    Hi("0", {Argument(HiArgumentType::Beep, 1, 2, 3), Argument(HiArgumentType::Motor, 4, 5, 6)});
}

TEST_F(RV2CommandTest, HandleHi_SingleDeviceNobodyKnows_IsSentAllTheSame) {
    AddKeypads({"9"});
    EXPECT_CALL(deck_, SendAlarm(77, 1, 1, 1));
    Hi("77", {Argument(HiArgumentType::Beep, 1, 1, 1)});
}

TEST_F(RV2CommandTest, HandleHi_LettersBehindTheNumber_AreNeitherSentNorLogged) {
    InSequence order;
    EXPECT_CALL(deck_, SendFlashing(12, EnumFlashingColor{4}, 1, 2, 3)).WillOnce([&] {
        ExpectAnnounced("HandleHi", "rv2.0 SendFlashing device=12, color=4, duration=1, interval=2, times=3");
    });
    EXPECT_CALL(deck_, SendVibrate(12, 4, 5, 6)).WillOnce([&] {
        ExpectAnnounced("HandleHi", "rv2.0 SendVibrate device=12, duration=4, interval=5, times=6");
    });
    EXPECT_CALL(deck_, SendAlarm(12, 7, 8, 9)).WillOnce([&] {
        ExpectAnnounced("HandleHi", "rv2.0 SendAlarm device=12, duration=7, interval=8, times=9");
    });
    Hi("12abc", {Argument(HiArgumentType::Led, 1, 2, 3), Argument(HiArgumentType::Motor, 4, 5, 6),
                 Argument(HiArgumentType::Beep, 7, 8, 9)});
}

TEST_F(RV2CommandTest, HandleHi_DeviceIsNoNumber_RaisesBeforeTheLineOfTheCall) {
    for (const HiArgumentType type : {HiArgumentType::Led, HiArgumentType::Motor, HiArgumentType::Beep}) {
        EXPECT_THROW(Hi("abc", {Argument(type, 1, 1, 1)}), std::invalid_argument);
    }
    EXPECT_FALSE(log_.Contains("rv2.0 Send")) << log_.Text();
    Hi("abc", {Argument(HiArgumentType::None, 1, 1, 1)});
}

TEST_F(RV2CommandTest, IdsOfCommands_AreTakenAsTheyStandAndNeverNormalised) {
    AddKeypads({"7"});
    object_->text_record_map_["7"].row1 = "shown";
    // None of these is all keypads, and none is keypad 7's own record.
    EXPECT_CALL(deck_, SendAlarm(0, 1, 1, 1));
    Hi("00", {Argument(HiArgumentType::Beep, 1, 1, 1)});
    EXPECT_CALL(deck_, SendContext(StrEq("new"), StrEq(""), StrEq(""), 0, 0));
    object_->SetText("00", true, "new", false, "", false, "");
    EXPECT_CALL(deck_, SendContext(StrEq("new"), StrEq(""), StrEq(""), 0, 7));
    object_->SetText("007", true, "new", false, "", false, "");
    EXPECT_EQ(object_->text_record_map_["7"].row1, "shown");
    EXPECT_CALL(deck_, StartQuestion(_, _, _, _, _, _, 7)).WillOnce([this] {
        ExpectAnnounced("StartQuestion", "rv2.0 StartQuestion type=0 device_id=007");
    });
    object_->StartQuestion("007", QuestionType::General);
    EXPECT_CALL(deck_, EndQuestion(7, _)).WillOnce([this] {
        ExpectAnnounced("StopQuestion", "rv2.0 EndQuestion device_id=007");
    });
    object_->StopQuestion("007");
}

TEST_F(RV2CommandTest, ConvertColor_PassesTheKnownColoursAndMakesAllElseRed) {
    const std::pair<int, int> rows[] = {{1, 1}, {2, 2}, {3, 3}, {4, 4},  {5, 5},  {6, 6},
                                        {7, 7}, {8, 4}, {0, 4}, {-1, 4}, {255, 4}};
    for (const auto& [in, out] : rows) {
        EXPECT_EQ(VoteDeckObject_RV2::ConvertColor(static_cast<HiArgumentColor>(in)), out) << in;
    }
}

TEST_F(RV2CommandTest, HandleHi_ColourRedOrUnknown_GoesOutAsFour) {
    EXPECT_CALL(deck_, SendFlashing(5, EnumFlashingColor{4}, 1, 1, 1)).Times(3);
    Hi("5", {Argument(HiArgumentType::Led, 1, 1, 1, HiArgumentColor::Red),
             Argument(HiArgumentType::Led, 1, 1, 1, HiArgumentColor::None),
             Argument(HiArgumentType::Led, 1, 1, 1, static_cast<HiArgumentColor>(99))});
}

TEST_F(RV2CommandTest, ConvertQuestionType_FollowsTheTable) {
    const std::pair<int, int> rows[] = {{0, 2}, {1, 0}, {2, 4},  {3, 4},  {4, 1},  {5, 3},  {6, 3},  {7, 3},
                                        {8, 3}, {9, 3}, {10, 3}, {11, 0}, {12, 0}, {13, 0}, {-1, 0}, {99, 0}};
    for (const auto& [in, out] : rows) {
        EXPECT_EQ(VoteDeckObject_RV2::ConvertQuestionType(static_cast<QuestionType>(in)), out) << in;
    }
}

TEST_F(RV2CommandTest, StartQuestion_SendsTheConvertedType) {
    EXPECT_CALL(deck_, StartQuestion(EnumQuestionType{2}, StrEq(""), StrEq(""), StrEq(""), 0, true, 17))
        .WillOnce([&] { ExpectAnnounced("StartQuestion", "rv2.0 StartQuestion type=2 device_id=17"); });
    object_->StartQuestion("17", QuestionType::SingleChoice);
}

TEST_F(RV2CommandTest, StartQuestion_ForAll_IsOneCallForDeviceZero) {
    AddKeypads({"1", "2"});
    EXPECT_CALL(deck_, StartQuestion(EnumQuestionType{0}, _, _, _, 0, true, 0));
    object_->StartQuestion("0", QuestionType::General);
}

TEST_F(RV2CommandTest, StartQuestion_DeviceNumberIsNarrowedTo16Bits) {
    EXPECT_CALL(deck_, StartQuestion(EnumQuestionType{1}, _, _, _, 0, true, 4464));
    object_->StartQuestion("70000", QuestionType::TrueFalse);
}

TEST_F(RV2CommandTest, StopQuestion_EndsTheQuestionWithAnEmptyText) {
    EXPECT_CALL(deck_, EndQuestion(70000, StrEq(""))).WillOnce([&] {
        ExpectAnnounced("StopQuestion", "rv2.0 EndQuestion device_id=70000");
    });
    object_->StopQuestion("70000");
}

TEST_F(RV2CommandTest, SetText_Row2MarkedAndEmpty_SendsABlankAndKeepsTheOtherRows) {
    AddKeypads({"7"});
    object_->text_record_map_["7"].row1 = "one";
    object_->text_record_map_["7"].row2 = "two";
    object_->text_record_map_["7"].row3 = "three";
    EXPECT_CALL(deck_, SendContext(StrEq("one"), StrEq(" "), StrEq("three"), 0, 7)).WillOnce([&] {
        ExpectAnnounced("SetText", "rv2.0 SendContext device_id=7, row1='one', row2=' ', row3='three'");
    });
    object_->SetText("7", false, "ignored", true, "", false, "");
    EXPECT_EQ(object_->text_record_map_["7"].row1, "one");
    EXPECT_EQ(object_->text_record_map_["7"].row2, " ");
    EXPECT_EQ(object_->text_record_map_["7"].row3, "three");
}

TEST_F(RV2CommandTest, SetText_ForAll_StoresAndSendsForEachRecordInTextOrder) {
    AddKeypads({"9", "10"});
    object_->text_record_map_["9"].row3 = "nine";
    object_->text_record_map_["10"].row3 = "ten";
    {
        InSequence order;
        EXPECT_CALL(deck_, SendContext(StrEq("a"), StrEq("b"), StrEq("ten"), 0, 10));
        EXPECT_CALL(deck_, SendContext(StrEq("a"), StrEq("b"), StrEq("nine"), 0, 9));
    }
    object_->SetText("0", true, "a", true, "b", false, "c");
    EXPECT_EQ(object_->text_record_map_["10"].row1, "a");
    EXPECT_EQ(object_->text_record_map_["9"].row2, "b");
    EXPECT_EQ(object_->text_record_map_.size(), 2u);
}

TEST_F(RV2CommandTest, SetText_ForAllWithNoKeypad_SendsNothing) {
    object_->SetText("0", true, "a", true, "b", true, "c");
    EXPECT_TRUE(object_->text_record_map_.empty());
}

TEST_F(RV2CommandTest, SetText_DroppedDevice_GetsTheRowsWhateverTheirFlagsAndNoRecord) {
    EXPECT_CALL(deck_, SendContext(StrEq("a"), StrEq(""), StrEq(" "), 0, 8)).WillOnce([&] {
        ExpectAnnounced(
            "SetText",
            "rv2.0  device has been dropped but still SetContext device_id=8, row1='a', row2='', row3=' '");
    });
    object_->SetText("8", false, "a", false, "", true, "");
    EXPECT_TRUE(object_->text_record_map_.empty());
}

TEST_F(RV2CommandTest, SetText_RowOfTheRecordItself_IsCopiedFirst) {
    AddKeypads({"1", "2"});
    object_->text_record_map_["1"].row1 = "shown";
    EXPECT_CALL(deck_, SendContext(StrEq(" "), StrEq("shown"), _, 0, 1));
    EXPECT_CALL(deck_, SendContext(StrEq(" "), StrEq("shown"), _, 0, 2));
    object_->SetText("0", true, "", true, object_->text_record_map_["1"].row1, false, "");
}

TEST_F(RV2CommandTest, DropOfAnIdThatIsNoNumber_RaisesOnlyWhenTheTextsAreCleared) {
    CommandDrop drop;
    drop.device = "abc";
    object_->HandleDrop(drop);
    EXPECT_THAT(object_->dropped_device_set_, ElementsAre("abc"));
    EXPECT_THROW(object_->ClearTextForAllDevices(), std::invalid_argument);
}

/// The operations, by their names, with or without the library's object.
class RV2EntryTest : public RV2Test, public testing::WithParamInterface<bool> {
protected:
    RV2EntryTest() {
        if (GetParam()) {
            AttachDeck();
        }
        EXPECT_CALL(deck_, CloseSocket()).Times(AnyNumber());
        EXPECT_CALL(deck_, InitSocket(_, _, _)).WillRepeatedly(Return(1));
        EXPECT_CALL(deck_, SetListener(_)).Times(AnyNumber());
        EXPECT_CALL(deck_, StartQuestion(_, _, _, _, _, _, _)).Times(AnyNumber());
        EXPECT_CALL(deck_, EndQuestion(_, _)).Times(AnyNumber());
        EXPECT_CALL(deck_, SendContext(_, _, _, _, _)).Times(AnyNumber());
    }

    /// The call logs the operation's entry.
    void ExpectEntry(const std::string& operation, const std::function<void()>& call) {
        test::ExpectEntry(log_, "VoteDeckObject_RV2::" + operation, "", call);
    }
};

INSTANTIATE_TEST_SUITE_P(WithoutAndWithLibraryObject, RV2EntryTest, testing::Bool());

TEST_P(RV2EntryTest, EachOperation_LogsItsEntryAtTrace) {
    ExpectEntry("HandleHi", [this] { object_->HandleHi(CommandHi()); });
    ExpectEntry("StartQuestion", [this] { object_->StartQuestion("7", QuestionType::General); });
    ExpectEntry("StopQuestion", [this] { object_->StopQuestion("7"); });
    ExpectEntry("SetText", [this] { object_->SetText("7", true, "", true, "", true, ""); });
    ExpectEntry("StartStatusCheck", [this] { Access::StartStatusCheck(*object_); });
    ExpectEntry("StopStatusCheck", [this] { Access::StopStatusCheck(*object_); });
    ExpectEntry("DeleteSdkConfigFile", [this] { Access::DeleteSdkConfigFile(*object_); });
    for (const std::int32_t answer : {0, 1, -1}) {
        object_->answers = {answer};
        ExpectEntry("Initialize", [this] { object_->Initialize(); });
    }
    ExpectEntry("OnDeviceNodesChanged", [this] { object_->OnDeviceNodesChanged(); });
    ExpectEntry("Uninitialize", [this] { object_->Uninitialize(); });
    ExpectEntry("~VoteDeckObject_RV2", [this] { object_.reset(); });
    ExpectEntry("VoteDeckObject_RV2", [] { const ScriptedRV2 object; });
    ExpectEntry("CheckAudioData", [] { VoteDeckObject_RV2::CheckAudioData(nullptr, 0); });
}

TEST_F(RV2CommandTest, AllCommands_WithoutLibraryObject_DoNothing) {
    AddKeypads({"7"});
    Access::Deck(*object_) = nullptr;
    Hi("abc", {Argument(HiArgumentType::Beep, 1, 1, 1)});
    object_->StartQuestion("abc", QuestionType::Audio);
    object_->StopQuestion("abc");
    object_->SetText("7", true, "a", true, "b", true, "c");
    EXPECT_EQ(object_->text_record_map_["7"].row1, "");
    EXPECT_FALSE(log_.Contains("rv2.0"));
}

TEST_F(RV2CommandTest, Commands_AfterAFailedSocket_StillReachTheLibrary) {
    object_->status_ = 2;
    EXPECT_CALL(deck_, EndQuestion(4, _));
    object_->StopQuestion("4");
}

}  // namespace
}  // namespace vdipc::test
