// Life of the USB receivers' object, and the commands that go down through it.
#include "unit/drivers/support/TQFixture.h"

#include <stdexcept>

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::Return;
using enum DeviceType;

// ---- life

class TQLifeTest : public TQTest {};

TEST_F(TQLifeTest, New_HasUnknownStatusAndIsNotInitialized) {
    ForEachKind({}, [&](DeviceType, bool) {
        EXPECT_EQ(object_->GetDeviceStatus(), -2);
        EXPECT_FALSE(Access::IsInitialized(*object_));
        EXPECT_FALSE(Access::AllGeneral(*object_));
        EXPECT_THAT(Take(), IsEmpty());
    });
}

TEST_F(TQLifeTest, New_KindWithoutAFactory_HasNoLibraryObject) {
    OpenTQ object(RV2);
    EXPECT_THAT(ClosedFactories().calls, IsEmpty());
    EXPECT_EQ(Access::Deck(object), nullptr);
    EXPECT_EQ(Access::Control(object), nullptr);
    EXPECT_EQ(object.Initialize(), 1);
    EXPECT_EQ(object.GetDeviceStatus(), -2) << "the status isn't touched";
    EXPECT_FALSE(USBListenerAccess::IsListed(&object));
    EXPECT_FALSE(Access::IsInitialized(object));
}

TEST_F(TQLifeTest, New_LogsItsEntryBeforeItCallsTheFactory) {
    bool logged = false;
    ClosedFactories().create_vdo = [&](const std::string&, zq::IVoteDeck**, IVoteDeckControl**) {
        logged = !log_.OfFunction("VoteDeckObject_TQ::VoteDeckObject_TQ").empty();
    };
    for (const DeviceType kind : kKinds) {
        logged = false;
        ExpectEntry("VoteDeckObject_TQ", [kind] { const OpenTQ object(kind); });
        EXPECT_TRUE(logged);
    }
}

TEST_F(TQLifeTest, EachOperation_LogsItsEntryAtTraceWithoutAReceiverToo) {
    const auto expect_entries = [this](OpenTQ& object) {
        ExpectEntry("Initialize", [&] { EXPECT_EQ(object.Initialize(), 1); });
        ExpectEntry("HandleHi", [&] { object.HandleHi(CommandHi()); });
        ExpectEntry("StartQuestion", [&] { object.StartQuestion("12", QuestionType::General); });
        ExpectEntry("StopQuestion", [&] { object.StopQuestion("12"); });
        ExpectEntry("SetText", [&] { object.SetText("12", true, "", true, "", true, ""); });
        ExpectEntry("OnDeviceArrival", [&] { object.OnDeviceArrival(0, L"p"); });
        ExpectEntry("OnDeviceRemoved", [&] { object.OnDeviceRemoved(1, L"p"); });
        ExpectEntry("HandleDrop", [&] { object.HandleDrop(CommandDrop()); });
        ExpectEntry("StartQuestion", [&] { object.StartQuestion("12", QuestionType::General); });
        ExpectEntry("StopQuestion", [&] { object.StopQuestion("12"); });
        ExpectEntry("Uninitialize", [&] { object.Uninitialize(); });
    };
    ForEachKind({}, [&](DeviceType, bool) {
        deck_.connected = false;
        expect_entries(*object_);
    });
    OpenTQ without_library(RV2);
    expect_entries(without_library);
}

TEST_F(TQLifeTest, FactoryThatGivesNothing_CommandsAndEndDoNothing) {
    ClosedFactories().create_vdo = nullptr;
    ForEachKind({}, [&](DeviceType, bool) {
        EXPECT_EQ(object_->Initialize(), 1);
        AddKeypad("12");
        CommandHi hi;
        hi.device = "12";
        object_->HandleHi(hi);
        object_->StartQuestion("12", QuestionType::SingleChoice);
        object_->StopQuestion("12");
        object_->SetText("12", true, "x", true, "y", true, "z");
        object_->Uninitialize();
        EXPECT_THAT(Take(), IsEmpty());
        EXPECT_EQ(RowsOf("12"), "||");
        EXPECT_EQ(object_->GetDeviceStatus(), -2);
    });
}

TEST_F(TQLifeTest, Initialize_ReceiverConnected_StepsInOrder) {
    channel_.Set(5);
    const std::pair<DeviceType, Journal> cases[] = {
        {TQ1, {"deck listens", "control listens", "query info", "enable bind"}},
        {TQ2, {"deck listens", "control listens", "query info", "channel 5 without callback", "enable bind"}},
        {RV1, {"deck listens", "control listens", "query info", "enable bind"}},
        {LW, {"deck listens", "control listens", "query info", "question 128 to 0", "enable bind"}}};
    for (const auto& [kind, steps] : cases) {
        Make(kind);
        EXPECT_EQ(object_->Initialize(), -1);
        EXPECT_EQ(Take(), steps);
        EXPECT_EQ(object_->GetDeviceStatus(), -1);
        EXPECT_TRUE(Access::IsInitialized(*object_));
        EXPECT_TRUE(USBListenerAccess::IsListed(object_.get()));
        ExpectLine(LogLevel::Info, "zq::IVoteDeck connected, enable bind card");
        EXPECT_EQ(handler_.QueuedTasks(), 0u);
    }
}

TEST_F(TQLifeTest, Initialize_GivesTheLibraryItsOwnSides) {
    Make(TQ1);
    EXPECT_CALL(deck_, SetListener(static_cast<IVoteDeckEventOld*>(object_.get())));
    EXPECT_CALL(control_, SetListener(static_cast<IInternalEventListener*>(object_.get())));
    object_->Initialize();
    testing::Mock::VerifyAndClearExpectations(&deck_);
}

TEST_F(TQLifeTest, Initialize_IsOnTheListOfUsbListenersBeforeTheLibraryGetsIt) {
    ForEachKind({}, [&](DeviceType, bool) {
        const auto expect_listed = [this] { EXPECT_TRUE(USBListenerAccess::IsListed(object_.get())); };
        EXPECT_CALL(deck_, SetListener(_)).WillOnce(expect_listed);
        EXPECT_CALL(control_, SetListener(_)).WillOnce(expect_listed);
        object_->Initialize();
        testing::Mock::VerifyAndClearExpectations(&deck_);
        testing::Mock::VerifyAndClearExpectations(&control_);
    });
}

TEST_F(TQLifeTest, LinkChangeFromInsideEnableBindCard_IsIgnored) {
    ForEachKind({}, [&](DeviceType, bool) {
        EXPECT_CALL(control_, EnableBindCard(_)).WillOnce([this](const VoteDeckCallback&) {
            object_->OnDeviceConnectedChange(true);
            object_->OnDeviceConnectedChange(false);
        });
        EXPECT_EQ(object_->Initialize(), -1);
        EXPECT_EQ(handler_.QueuedTasks(), 0u);
        EXPECT_EQ(log_.Count("initialization not finished, return."), 2u);
        testing::Mock::VerifyAndClearExpectations(&control_);
    });
}

TEST_F(TQLifeTest, Initialize_NoReceiver_WaitsForIt) {
    ForEachKind({}, [&](DeviceType, bool) {
        deck_.connected = false;
        EXPECT_EQ(object_->Initialize(), 1);
        EXPECT_THAT(Take(), ElementsAre("deck listens", "control listens"));
        EXPECT_EQ(object_->GetDeviceStatus(), 1);
        EXPECT_TRUE(Access::IsInitialized(*object_));
        EXPECT_TRUE(USBListenerAccess::IsListed(object_.get()));
    });
}

TEST_F(TQLifeTest, Initialize_AgainOnLWWithTheFlagSet_LogsTheStopWhichThenRefuses) {
    MakeInitialized(LW);
    Drop("12");
    object_->Uninitialize();
    Forget();
    EXPECT_EQ(object_->Initialize(), -1);
    EXPECT_THAT(Take(), ElementsAre("deck listens", "control listens", "query info", "enable bind"));
    ExpectLine(LogLevel::Info, "LW StopQuestion when init");
    ExpectLine(LogLevel::Info, "LW donot stop question");
    EXPECT_TRUE(Access::AllGeneral(*object_));
}

TEST_F(TQLifeTest, Uninitialize_LeavesTheUsbNoticesAndSilencesTheLibrary) {
    MakeInitialized(TQ1);
    EXPECT_CALL(deck_, SetListener(nullptr)).WillOnce([&](IVoteDeckEventOld*) {
        EXPECT_FALSE(USBListenerAccess::IsListed(object_.get()));
    });
    object_->Uninitialize();
    EXPECT_EQ(object_->GetDeviceStatus(), -1) << "the status stays as it was";
    EXPECT_EQ(Access::Deck(*object_), &deck_);
    const auto lines = log_.OfFunction("VoteDeckObject_TQ::Uninitialize");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, LogLevel::Trace);
    testing::Mock::VerifyAndClearExpectations(&deck_);
}

TEST_F(TQLifeTest, Uninitialize_ControlSideKeepsItsListenerAndALinkChangeIsStillHeard) {
    ForEachKind({}, [&](DeviceType kind, bool) {
        object_->Initialize();
        Forget();
        object_->Uninitialize();
        EXPECT_THAT(Take(), ElementsAre("deck is silent"));
        object_->OnDeviceConnectedChange(false);
        EXPECT_THAT(Run(),
                    ElementsAre("removed not-connected", fmt::format("status {} 1", static_cast<int>(kind))));
    });
}

TEST_F(TQLifeTest, TakenDownAndBroughtUpAgain_KeepsQuestionsAnswersAndDroppedKeypads) {
    for (const bool connected : {true, false}) {
        ForEachKind({}, [&](DeviceType, bool) {
            deck_.connected = connected;
            object_->Initialize();
            AddKeypad("12", "a", "b", "c");
            object_->last_question_map_["12"] = {false, Ask("12", QuestionType::MultipleChoice)};
            object_->last_answer_map_["12"].key_event.key = "AB";
            object_->dropped_device_set_ = {"9"};
            object_->Uninitialize();
            object_->Initialize();
            EXPECT_TRUE(object_->CheckLastQuestionCustom("12", "c"));
            EXPECT_EQ(object_->last_answer_map_["12"].key_event.key, "AB");
            EXPECT_THAT(object_->dropped_device_set_, ElementsAre("9"));
            EXPECT_EQ(RowsOf("12"), "a|b|c");
        });
    }
}

TEST_F(TQLifeTest, Destructor_SilencesLeavesTheNoticesAndFreesTheLibraryObjectInThisOrder) {
    MakeInitialized(TQ1);
    DeviceChangedListener* const listener = object_.get();
    {
        InSequence order;
        EXPECT_CALL(deck_, SetListener(nullptr)).WillOnce([&](IVoteDeckEventOld*) {
            EXPECT_TRUE(USBListenerAccess::IsListed(listener));
        });
        EXPECT_CALL(deck_, DeletingDestructor(1u)).WillOnce([&](unsigned int) -> void* {
            EXPECT_FALSE(USBListenerAccess::IsListed(listener));
            return nullptr;
        });
    }
    object_.reset();
    EXPECT_THAT(Take(), IsEmpty()) << "the control side isn't touched";
    const auto lines = log_.OfFunction("VoteDeckObject_TQ::~VoteDeckObject_TQ");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, LogLevel::Trace);
    EXPECT_EQ(lines[0].rest, "");
    testing::Mock::VerifyAndClearExpectations(&deck_);
}

TEST_F(TQLifeTest, Destructor_OnTheListenersTable_DestroysNothing) {
    Make(TQ1);
    IVoteDeckEventOld* const event = object_.get();
    EXPECT_EQ(event->DeletingDestructor(1), static_cast<VoteDeckObject_TQ*>(object_.get()));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ(Access::Deck(*object_), &deck_);
}

// ---- signals

struct SentSignal {
    std::uint32_t device;
    std::vector<int> values;
    bool operator==(const SentSignal&) const = default;
};

class TQHiTest : public TQTest {
protected:
    TQHiTest() {
        ON_CALL(deck_, Activate)
            .WillByDefault([&](std::uint32_t device, std::uint8_t beep_times, std::uint8_t beep_unit,
                               std::uint8_t beep_interval, std::uint8_t motor_times, std::uint8_t motor_unit,
                               std::uint8_t motor_interval, std::uint8_t light_times, std::uint8_t light_unit,
                               std::uint8_t light_interval, std::uint8_t light_color) {
                sent_.push_back({device,
                                 {beep_times, beep_unit, beep_interval, motor_times, motor_unit,
                                  motor_interval, light_times, light_unit, light_interval, light_color}});
            });
    }
    static CommandHi::Argument Argument(HiArgumentType type, std::int32_t times, std::int32_t duration,
                                        std::int32_t interval,
                                        HiArgumentColor color = HiArgumentColor::None) {
        CommandHi::Argument argument;
        argument.type = type;
        argument.times = times;
        argument.duration = duration;
        argument.interval = interval;
        argument.color = color;
        return argument;
    }
    std::vector<SentSignal> Hi(const std::string& device, const std::vector<CommandHi::Argument>& arguments) {
        CommandHi hi;
        hi.device = device;
        hi.arguments = arguments;
        object_->HandleHi(hi);
        return std::exchange(sent_, {});
    }

    std::vector<SentSignal> sent_;
};

TEST_F(TQHiTest, EachTypeFillsItsOwnThreeValues) {
    ForEachKind({}, [&](DeviceType, bool) {
        EXPECT_THAT(Hi("12", {Argument(HiArgumentType::Beep, 1, 2, 3)}),
                    ElementsAre(SentSignal{12, {1, 2, 3, 0, 0, 0, 0, 0, 0, 4}}));
        EXPECT_THAT(Hi("12", {Argument(HiArgumentType::Motor, 1, 2, 3)}),
                    ElementsAre(SentSignal{12, {0, 0, 0, 1, 2, 3, 0, 0, 0, 4}}));
        EXPECT_THAT(Hi("12", {Argument(HiArgumentType::Led, 1, 2, 3, HiArgumentColor::Blue)}),
                    ElementsAre(SentSignal{12, {0, 0, 0, 0, 0, 0, 1, 2, 3, 3}}));
        EXPECT_THAT(Hi("12", {Argument(HiArgumentType::None, 1, 2, 3)}),
                    ElementsAre(SentSignal{12, {0, 0, 0, 0, 0, 0, 0, 0, 0, 4}}));
    });
}

TEST_F(TQHiTest, AllThreeTogether_OneCallAndOneLine) {
    Make(TQ1);
    EXPECT_THAT(Hi("12", {Argument(HiArgumentType::Led, 7, 8, 9, HiArgumentColor::Green),
                          Argument(HiArgumentType::Motor, 4, 5, 6), Argument(HiArgumentType::Beep, 1, 2, 3)}),
                ElementsAre(SentSignal{12, {1, 2, 3, 4, 5, 6, 7, 8, 9, 2}}));
    ExpectLine(LogLevel::Info,
               "Activate device_id=12, beep_times=1, beep_unit=2, beep_interval=3, motor_times=4, "
               "motor_unit=5, motor_interval=6, light_times=7, light_unit=8, light_interval=9, "
               "light_color=2",
               "HandleHi");
}

TEST_F(TQHiTest, LedBlueThenLedWhite_OneActivateWithColour7) {
    Make(TQ1);
    EXPECT_THAT(Hi("12", {Argument(HiArgumentType::Led, 9, 9, 9, HiArgumentColor::Blue),
                          Argument(HiArgumentType::Led, 1, 2, 3, HiArgumentColor::White)}),
                ElementsAre(SentSignal{12, {0, 0, 0, 0, 0, 0, 1, 2, 3, 7}}));
}

TEST_F(TQHiTest, Times300OnTQ2_GoOutAs44) {
    Make(TQ2);
    EXPECT_THAT(Hi("12", {Argument(HiArgumentType::Beep, 300, -1, 256)}),
                ElementsAre(SentSignal{12, {44, 255, 0, 0, 0, 0, 0, 0, 0, 4}}));
    EXPECT_TRUE(log_.Contains("beep_times=44, beep_unit=255, beep_interval=0,"));
}

TEST_F(TQHiTest, WithoutArguments_AllZerosAndColour4ToEachTarget) {
    Make(TQ1);
    const std::vector<int> zeros = {0, 0, 0, 0, 0, 0, 0, 0, 0, 4};
    EXPECT_THAT(Hi("12", {}), ElementsAre(SentSignal{12, zeros}));
    AddKeypad("9");
    AddKeypad("10");
    EXPECT_THAT(Hi("0", {}), ElementsAre(SentSignal{10, zeros}, SentSignal{9, zeros}));
}

TEST_F(TQHiTest, ForAllWithNoKeypad_SendsNothing) {
    Make(TQ1);
    EXPECT_THAT(Hi("0", {Argument(HiArgumentType::Beep, 1, 1, 1)}), IsEmpty());
    EXPECT_FALSE(log_.Contains("Activate device_id"));
}

TEST_F(TQHiTest, ReceiverNotConnected_SaysAndSendsNothing) {
    Make(TQ1);
    deck_.connected = false;
    EXPECT_THAT(Hi("12", {}), IsEmpty());
    EXPECT_FALSE(log_.Contains("Activate device_id"));
}

TEST_F(TQHiTest, ColourTable) {
    const std::pair<int, int> rows[] = {{1, 3}, {2, 2}, {3, 6}, {4, 1},  {5, 5}, {6, 4},
                                        {7, 7}, {0, 1}, {8, 1}, {-1, 1}, {99, 1}};
    for (const auto& [in, out] : rows) {
        EXPECT_EQ(VoteDeckObject_TQ::ConvertColor(static_cast<HiArgumentColor>(in)), out) << in;
    }
}

// ---- questions

class TQQuestionTest : public TQTest {};

TEST_F(TQQuestionTest, TypeTable) {
    const std::pair<int, int> rows[] = {{0, 1}, {1, 4}, {2, 3},  {3, 6},  {4, 2},  {5, 8},  {6, 8}, {7, 8},
                                        {8, 8}, {9, 8}, {10, 8}, {11, 6}, {12, 5}, {13, 0}, {-1, 0}};
    for (const auto& [in, out] : rows) {
        EXPECT_EQ(VoteDeckObject_TQ::ConvertQuestionType(static_cast<QuestionType>(in)), out) << in;
    }
}

TEST_F(TQQuestionTest, Start_SendsTheConvertedType) {
    ForEachKind({}, [&](DeviceType, bool) {
        object_->StartQuestion("0", QuestionType::MultipleChoice);
        EXPECT_THAT(Take(), ElementsAre("question 4 to 0"));
        ExpectLine(LogLevel::Info, "SendQuestion type=4, device_id=0");
    });
}

TEST_F(TQQuestionTest, Stop_Sends128) {
    ForEachKind({}, [&](DeviceType, bool) {
        object_->StopQuestion("4294967295");
        EXPECT_THAT(Take(), ElementsAre("question 128 to 4294967295"));
        ExpectLine(LogLevel::Info, "SendQuestion device_id=4294967295");
    });
}

TEST_F(TQQuestionTest, ReceiverNotConnected_SaysAndSendsNothing) {
    ForEachKind({}, [&](DeviceType, bool) {
        deck_.connected = false;
        object_->StartQuestion("12", QuestionType::SingleChoice);
        object_->StopQuestion("12");
        object_->SetText("12", true, "x", true, "y", true, "z");
        EXPECT_THAT(Take(), IsEmpty());
        std::vector<std::string> functions;
        for (const LogLine& line : log_.Lines()) {
            EXPECT_EQ(line.level, LogLevel::Trace) << line.message;
            functions.push_back(line.function);
        }
        EXPECT_THAT(functions, ElementsAre("VoteDeckObject_TQ::StartQuestion",
                                           "VoteDeckObject_TQ::StopQuestion", "VoteDeckObject_TQ::SetText"));
    });
}

TEST_F(TQQuestionTest, DeviceIdThatIsNoNumber_RaisesBehindTheLine) {
    Make(TQ1);
    EXPECT_THROW(object_->StartQuestion("x", QuestionType::SingleChoice), std::invalid_argument);
    EXPECT_TRUE(log_.Contains("SendQuestion type=1, device_id=x"));
    EXPECT_THROW(object_->StopQuestion("4294967296"), std::out_of_range);
    EXPECT_THROW(object_->SetText("x", false, "", false, "", false, ""), std::invalid_argument);
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(TQQuestionTest, AskAfterTheFirstDropOnLW_ReachesTheRecordsButSendsNoQuestion) {
    MakeInitialized(LW);
    AddKeypad("12");
    AddKeypad("13");
    object_->HandleAsk(Ask("0", QuestionType::SingleChoice, "first"));
    Drop("12");
    Forget();
    object_->HandleAsk(Ask("0", QuestionType::TrueFalse, "second"));
    EXPECT_THAT(Take(), ElementsAre("rows || to 13"));
    EXPECT_TRUE(object_->CheckLastQuestionCustom("13", "second"));
    ExpectLine(LogLevel::Info, "LW donot start question");
    CommandStop stop;
    stop.device = "0";
    object_->HandleStop(stop);
    EXPECT_THAT(Take(), ElementsAre("rows || to 13"));
    EXPECT_FALSE(object_->CheckLastQuestionCustom("13", "second")) << "the record is stopped";
    ExpectLine(LogLevel::Info, "LW donot stop question");
}

TEST_F(TQQuestionTest, SecondDropOnLW_DoesNotOpenTheQuestionAgain) {
    MakeInitialized(LW);
    Drop("12");
    EXPECT_THAT(Take(), ElementsAre("active devices changed", "question 6 to 0"));
    Drop("13");
    EXPECT_THAT(Take(), ElementsAre("active devices changed"));
    EXPECT_EQ(log_.Count("LW StartQuestion General when drop"), 1u);
}

TEST_F(TQQuestionTest, DropOfAllOnLW_IsRefusedByTheRecordsAndOpensTheQuestionAllTheSame) {
    MakeInitialized(LW);
    AddKeypad("12");
    Drop("0");
    EXPECT_THAT(Take(), ElementsAre("question 6 to 0"));
    ExpectLine(LogLevel::Warn, "device can not be 0");
    EXPECT_TRUE(Access::AllGeneral(*object_));
    EXPECT_THAT(object_->dropped_device_set_, IsEmpty());
    EXPECT_EQ(object_->text_record_map_.count("12"), 1u);
}

TEST_F(TQQuestionTest, DropOnLW_StartsTheQuestionThroughTheVirtualTable) {
    class Overridden : public OpenTQ {
    public:
        using OpenTQ::OpenTQ;
        void StartQuestion(const std::string& device, QuestionType type) override {
            calls.push_back(
                fmt::format("{} {} {}", device, static_cast<int>(type), Access::AllGeneral(*this)));
        }
        std::vector<std::string> calls;
    };
    Overridden object(LW);
    object.SetEventListener(&handler_);
    CommandDrop drop;
    drop.device = "12";
    object.HandleDrop(drop);
    EXPECT_THAT(object.calls, ElementsAre("0 11 false"));
    EXPECT_TRUE(Access::AllGeneral(object));
}

TEST_F(TQQuestionTest, LWOnAGeneralQuestion_SaysThatItDoesNotStartOrStopWithoutAReceiverToo) {
    Make(LW);
    Access::AllGeneral(*object_) = true;
    deck_.connected = false;
    object_->StartQuestion("12", QuestionType::SingleChoice);
    object_->StopQuestion("12");
    ExpectLine(LogLevel::Info, "LW donot start question", "StartQuestion");
    ExpectLine(LogLevel::Info, "LW donot stop question", "StopQuestion");
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(TQQuestionTest, IdsOfCommands_AreTakenAsTheyStandAndNeverNormalised) {
    ForEachKind({}, [&](DeviceType, bool) {
        AddKeypad("12", "a", "b", "c");
        AddKeypad("13", "a", "b", "c");
        // None of these is all keypads, and none is keypad 12's own record.
        object_->SetText("00", true, "x", false, "", false, "");
        object_->SetText("012", true, "x", false, "", false, "");
        EXPECT_THAT(Take(), ElementsAre("rows x|| to 0", "rows x|| to 12"));
        EXPECT_EQ(RowsOf("12"), "a|b|c");
        object_->StartQuestion("012", QuestionType::SingleChoice);
        object_->StopQuestion("012");
        EXPECT_THAT(Take(), ElementsAre("question 1 to 12", "question 128 to 12"));
        ExpectLine(LogLevel::Info, "SendQuestion type=1, device_id=012");
        ExpectLine(LogLevel::Info, "SendQuestion device_id=012");
        CommandHi hi;
        hi.device = "00";
        EXPECT_CALL(deck_, Activate(0u, _, _, _, _, _, _, _, _, _, _));
        object_->HandleHi(hi);
        testing::Mock::VerifyAndClearExpectations(&deck_);
    });
}

TEST_F(TQQuestionTest, DropOfAnIdThatIsNoNumber_RaisesOnlyWhenTheTextsAreCleared) {
    ForEachKind({}, [&](DeviceType, bool) {
        object_->Initialize();
        Drop("abc");
        EXPECT_THAT(object_->dropped_device_set_, ElementsAre("abc"));
        EXPECT_THROW(object_->ClearTextForAllDevices(), std::invalid_argument);
        deck_.connected = false;
        EXPECT_NO_THROW(object_->ClearTextForAllDevices());
    });
}

TEST_F(TQQuestionTest, DropOnLWWithoutReceiver_SetsTheFlagThoughNothingWasSent) {
    MakeInitialized(LW);
    deck_.connected = false;
    Drop("12");
    EXPECT_THAT(Take(), ElementsAre("active devices changed"));
    EXPECT_TRUE(Access::AllGeneral(*object_));
}

// ---- text

class TQTextTest : public TQTest {};

TEST_F(TQTextTest, OneDevice_OnlyTheRowsWithTheirFlagReplace) {
    Make(TQ1);
    AddKeypad("12", "a", "b", "c");
    object_->SetText("12", true, "x", false, "y", false, "z");
    object_->SetText("12", false, "x", true, "y", false, "z");
    object_->SetText("12", false, "x", false, "y", true, "z");
    EXPECT_THAT(Take(), ElementsAre("rows x|b|c to 12", "rows x|y|c to 12", "rows x|y|z to 12"));
    ExpectLine(LogLevel::Info, "SetContext device_id=12, row1='x', row2='y', row3='z'", "SetText");
}

TEST_F(TQTextTest, EmptyRow_StaysEmptyOnSetContext) {
    ForEachKind({}, [&](DeviceType kind, bool) {
        AddKeypad("12", "a", "b", "c");
        object_->SetText("0", true, "", true, "", true, "");
        EXPECT_THAT(Take(), ElementsAre(kind == LW ? "rows |b| to 12" : "rows || to 12"));
        object_->SetText("99", true, "", true, "", true, "");
        EXPECT_THAT(Take(), ElementsAre("rows || to 99"));
    });
}

TEST_F(TQTextTest, LWWithRow2AndRow3_OldRow2StaysAndRow3HoldsRow2) {
    Make(LW);
    AddKeypad("12", "a", "old", "c");
    object_->SetText("12", false, "", true, "two", true, "three");
    EXPECT_EQ(RowsOf("12"), "a|old|two");
    EXPECT_THAT(Take(), ElementsAre("rows a|old|two to 12"));
    object_->SetText("12", true, "one", false, "two", true, "three");
    EXPECT_EQ(RowsOf("12"), "one|old|three");
}

TEST_F(TQTextTest, ForAll_InTheOrderOfTheIdsTextAndEachItsOwnRows) {
    Make(TQ1);
    AddKeypad("9", "", "nine", "");
    AddKeypad("10", "", "ten", "");
    object_->SetText("0", true, "x", false, "", false, "");
    EXPECT_THAT(Take(), ElementsAre("rows x|ten| to 10", "rows x|nine| to 9"));
    ExpectLine(LogLevel::Info, "SetContext device_id=10, row1='x', row2='ten', row3=''");
}

TEST_F(TQTextTest, TQ2_LockForAKnownDeviceAloneNotForAllAndNotForADroppedOne) {
    Make(TQ2);
    AddKeypad("12");
    object_->SetText("0", true, "x", false, "", false, "");
    EXPECT_THAT(Take(), ElementsAre("rows x|| to 12"));
    object_->SetText("12", true, "y", false, "", false, "");
    EXPECT_THAT(Take(), ElementsAre("question 17 to 12", "rows y|| to 12"));
    ExpectLine(LogLevel::Info, "Setting context for special device 12, lock it!", "SetText");
    object_->SetText("13", true, "z", false, "", false, "");
    EXPECT_THAT(Take(), ElementsAre("rows z|| to 13"));
}

TEST_F(TQTextTest, DeviceWithoutARecord_GetsTheGivenRowsInTheirPlacesAndNothingIsStored) {
    ForEachKind({}, [&](DeviceType, bool) {
        object_->SetText("12", false, "one", false, "two", false, "three");
        EXPECT_THAT(Take(), ElementsAre("rows one|two|three to 12"));
        ExpectLine(LogLevel::Info, "device has been dropped but still SetContext device_id=12, row1='one', "
                                   "row2='two', row3='three'");
        EXPECT_THAT(object_->text_record_map_, IsEmpty());
    });
}

TEST_F(TQTextTest, RowsThatBelongToARecord_AreCopiedBeforeTheyAreReplaced) {
    Make(TQ1);
    AddKeypad("12", "one", "two", "three");
    const CommandText& record = object_->text_record_map_["12"];
    object_->SetText("12", true, record.row2, true, record.row3, true, record.row1);
    EXPECT_EQ(RowsOf("12"), "two|three|one");
}

TEST_F(TQTextTest, ReceiverNotConnected_LeavesTheRecordsAsTheyAre) {
    ForEachKind({}, [&](DeviceType, bool) {
        AddKeypad("12", "a", "b", "c");
        deck_.connected = false;
        object_->SetText("12", true, "x", true, "y", true, "z");
        object_->SetText("0", true, "x", true, "y", true, "z");
        EXPECT_EQ(RowsOf("12"), "a|b|c");
        EXPECT_THAT(Take(), IsEmpty());
    });
}

TEST_F(TQTextTest, LinesOfSetContext_HaveTheCodePagesBytesOnEveryKind) {
    ForEachKind({}, [&](DeviceType, bool) {
        AddKeypad("12", "\xE9", "\xE8", "\xEA");
        object_->SetText("12", true, "\xE7", false, "", false, "");
        ExpectLine(LogLevel::Info, "SetContext device_id=12, row1='\xE7', row2='\xE8', row3='\xEA'",
                   "SetText");
        object_->SetText("13", true, "\xE7", true, "\xE8", true, "\xEA");
        ExpectLine(LogLevel::Info,
                   "device has been dropped but still SetContext device_id=13, row1='\xE7', row2='\xE8', "
                   "row3='\xEA'",
                   "SetText");
    });
}

TEST_F(TQTextTest, ClearTextForAllDevices_ReachesDroppedOnesToo) {
    Make(TQ1);
    AddKeypad("12", "a", "b", "c");
    AddKeypad("13", "a", "b", "c");
    Drop("13");
    Forget();
    object_->ClearTextForAllDevices();
    EXPECT_THAT(Take(), ElementsAre("rows || to 12", "rows || to 13"));
}

}  // namespace
}  // namespace vdipc::test
