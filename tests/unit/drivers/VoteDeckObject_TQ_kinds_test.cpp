// How the four kinds of USB receiver differ: one test for each difference, which runs over all of them.
#include "common/closed/Grundkit.h"
#include "unit/drivers/support/TQFixture.h"

namespace vdipc::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum DeviceType;

class TQKindsTest : public TQTest {
protected:
    static bool Has(const Journal& journal, const std::string& note) {
        return std::count(journal.begin(), journal.end(), note) != 0;
    }
};

TEST_F(TQKindsTest, Factory_IsTheKindsOwn) {
    const std::pair<DeviceType, const char*> factories[] = {
        {TQ1, "CreateVDOTQ1"}, {TQ2, "CreateVDOTQ2"}, {RV1, "CreateVDORV1"}, {LW, "CreateVDOLW"}};
    for (const auto& [kind, factory] : factories) {
        ClosedFactories().calls.clear();
        OpenTQ object(kind);
        EXPECT_THAT(ClosedFactories().calls, ElementsAre(factory));
        EXPECT_EQ(Access::Deck(object), &deck_);
        EXPECT_EQ(Access::Control(object), &control_);
    }
}

TEST_F(TQKindsTest, ChannelIsSynchronizedWhenTheReceiverIsUp_TQ2Alone) {
    channel_.Set(5);
    ForEachKind({TQ2}, [&](DeviceType, bool does) {
        control_.info = R"({"Channel":"7"})";
        object_->Initialize();
        EXPECT_EQ(Has(Take(), "channel 5 without callback"), does);
        EXPECT_EQ(object_->device_info_.channel, does ? "5" : "7");
        object_->OnDeviceConnectedChange(true);
        EXPECT_EQ(Has(Run(), "channel 5 without callback"), does);
    });
}

TEST_F(TQKindsTest, InitializeStopsTheQuestionOfAllDevices_LWAlone) {
    ForEachKind({LW}, [&](DeviceType, bool does) {
        object_->Initialize();
        EXPECT_EQ(Has(Take(), "question 128 to 0"), does);
        EXPECT_EQ(log_.Has(LogLevel::Info, "LW StopQuestion when init"), does);
    });
}

TEST_F(TQKindsTest, DropOpensAGeneralQuestionForAllDevices_LWAlone) {
    ForEachKind({LW}, [&](DeviceType, bool does) {
        AddKeypad("12");
        Drop("12");
        if (does) {
            EXPECT_THAT(Take(), ElementsAre("active devices changed", "question 6 to 0"));
            ExpectLine(LogLevel::Info, "LW StartQuestion General when drop");
        } else {
            EXPECT_THAT(Take(), ElementsAre("active devices changed"));
        }
        EXPECT_EQ(Access::AllGeneral(*object_), does);
        EXPECT_THAT(object_->dropped_device_set_, ElementsAre("12"));
    });
}

TEST_F(TQKindsTest, StartAndStopDoNothingOnceAllAreOnAGeneralQuestion_LWAlone) {
    ForEachKind({LW}, [&](DeviceType, bool does) {
        object_->StartQuestion("12", QuestionType::SingleChoice);
        object_->StopQuestion("12");
        EXPECT_THAT(Take(), ElementsAre("question 1 to 12", "question 128 to 12"));
        Access::AllGeneral(*object_) = true;
        object_->StartQuestion("12", QuestionType::SingleChoice);
        object_->StopQuestion("12");
        if (does) {
            EXPECT_THAT(Take(), IsEmpty());
            ExpectLine(LogLevel::Info, "LW donot start question");
            ExpectLine(LogLevel::Info, "LW donot stop question");
        } else {
            EXPECT_THAT(Take(), ElementsAre("question 1 to 12", "question 128 to 12"));
        }
    });
}

TEST_F(TQKindsTest, Row2IsStoredInRow3AndRowsGoOutAsUtf8_LWAlone) {
    const std::string accented = "\xE9";
    const std::string in_utf8 =
        CStringConvert::WString2String(CStringConvert::String2WString(accented, 0), 65001);
    ForEachKind({LW}, [&](DeviceType kind, bool does) {
        AddKeypad("12", "a", "b", "c");
        object_->SetText("12", true, accented, true, "second", false, "third");
        const std::string sent =
            does ? "rows " + in_utf8 + "|b|second to 12" : "rows " + accented + "|second|c to 12";
        if (kind == TQ2) {
            EXPECT_THAT(Take(), ElementsAre("question 17 to 12", sent));
        } else {
            EXPECT_THAT(Take(), ElementsAre(sent));
        }
        EXPECT_EQ(RowsOf("12"), accented + (does ? "|b|second" : "|second|c"))
            << "the record keeps the code page";
    });
}

TEST_F(TQKindsTest, AllThreeRowsOfADroppedDeviceGoOutInTheirPlaces_AsUtf8ForLWAlone) {
    const auto in_utf8 = [](const std::string& row) {
        return CStringConvert::WString2String(CStringConvert::String2WString(row, 0), 65001);
    };
    ForEachKind({LW}, [&](DeviceType, bool does) {
        object_->SetText("12", true, "\xE9", true, "\xE8", true, "\xEA");
        const std::string sent =
            does ? in_utf8("\xE9") + "|" + in_utf8("\xE8") + "|" + in_utf8("\xEA") : "\xE9|\xE8|\xEA";
        EXPECT_THAT(Take(), ElementsAre("rows " + sent + " to 12"));
    });
}

TEST_F(TQKindsTest, RowsOfLW_CodePage936_GoOutAsUtf8) {
    SetActiveCodePage("CP936");
    ForEachKind({LW}, [&](DeviceType, bool does) {
        object_->SetText("12", true, "\xC4\xE3\xBA\xC3", false, "", false, "");
        EXPECT_THAT(Take(), ElementsAre(does ? "rows \xE4\xBD\xA0\xE5\xA5\xBD|| to 12"
                                             : "rows \xC4\xE3\xBA\xC3|| to 12"));
    });
}

TEST_F(TQKindsTest, TextForOneDeviceSendsALockFirst_TQ2Alone) {
    ForEachKind({TQ2}, [&](DeviceType, bool does) {
        AddKeypad("12", "a", "b", "c");
        object_->SetText("12", true, "x", false, "", false, "");
        if (does) {
            EXPECT_THAT(Take(), ElementsAre("question 17 to 12", "rows x|b|c to 12"));
            ExpectLine(LogLevel::Info, "Setting context for special device 12, lock it!");
        } else {
            EXPECT_THAT(Take(), ElementsAre("rows x|b|c to 12"));
            EXPECT_FALSE(log_.Contains("lock it!"));
        }
    });
}

TEST_F(TQKindsTest, BindingLocksAndUnbindingUnlocks_TQ2Alone) {
    ForEachKind({TQ2}, [&](DeviceType, bool does) {
        object_->OnBindCard(12);
        if (does) {
            EXPECT_THAT(Run(), ElementsAre("question 17 to 12", "active devices changed", "activated 12"));
            ExpectLine(LogLevel::Debug, "TQ2.0 send question lock 12");
        } else {
            EXPECT_THAT(Run(), ElementsAre("active devices changed", "activated 12"));
        }
        object_->OnUnbindCard(12);
        if (does) {
            EXPECT_THAT(Run(), ElementsAre("question 18 to 12", "active devices changed", "inactivated 12"));
            ExpectLine(LogLevel::Debug, "TQ2.0 send question unlock 12");
        } else {
            EXPECT_THAT(Run(), ElementsAre("active devices changed", "inactivated 12"));
        }
    });
}

TEST_F(TQKindsTest, BindingGivesTheDeviceTheQuestionOfAllDevices_LWAlone) {
    ForEachKind({LW}, [&](DeviceType, bool does) {
        object_->HandleAsk(Ask("0", QuestionType::SingleChoice, "of all"));
        Forget();
        object_->OnBindCard(12);
        Run();
        EXPECT_EQ(object_->last_question_map_.count("12"), does ? 1u : 0u);
        EXPECT_EQ(object_->CheckLastQuestionCustom("12", "of all"), does);
    });
}

TEST_F(TQKindsTest, EveryKeyActivatesAndTheTextIsSentAgain_RV1Alone) {
    ForEachKind({RV1}, [&](DeviceType, bool does) {
        AddKeypad("12", "a", "b", "c");
        object_->last_question_map_["12"] = {false, Ask("12", QuestionType::SingleChoice)};
        Key(12, 2);
        if (does) {
            EXPECT_THAT(Run(), ElementsAre("active devices changed", "activated 12", "key-pressed 12 B",
                                           "rows a|b|c to 12"));
            ExpectLine(LogLevel::Debug, "send activate before key press for rv1.0");
            ExpectLine(LogLevel::Debug, "recover context for rv1.0");
        } else {
            EXPECT_THAT(Run(), ElementsAre("key-pressed 12 B"));
        }
    });
}

TEST_F(TQKindsTest, Key9BringsADroppedDeviceBack_LWAloneAndOnlyWhileAllAreOnAGeneralQuestion) {
    for (const bool all_general : {false, true}) {
        SCOPED_TRACE(all_general);
        ForEachKind({LW}, [&](DeviceType kind, bool does) {
            object_->last_question_map_["0"] = {false, Ask("0", QuestionType::RedEnvelope)};
            object_->dropped_device_set_.insert("12");
            Access::AllGeneral(*object_) = all_general;
            Key(12, 9);
            if (does && all_general) {
                EXPECT_THAT(Run(), ElementsAre("active devices changed", "activated 12"));
                ExpectLine(LogLevel::Debug,
                           "device 12 has been droped, send activate before key press for lw");
                EXPECT_TRUE(object_->CheckLastQuestionCustom("12", "c"));
            } else if (kind == RV1) {
                EXPECT_THAT(Run(), ElementsAre("active devices changed", "activated 12", "rows || to 12"));
            } else {
                EXPECT_THAT(Run(), IsEmpty());
                EXPECT_THAT(object_->dropped_device_set_, ElementsAre("12"));
            }
        });
    }
}

TEST_F(TQKindsTest, QuestionIsSentToAllDevicesAgainWhenTheReceiverReconnects_LWAlone) {
    channel_.Set(3);
    for (const bool all_general : {false, true}) {
        SCOPED_TRACE(all_general);
        ForEachKind({LW}, [&](DeviceType kind, bool does) {
            control_.info = R"({"Channel":"3"})";
            object_->Initialize();
            Access::AllGeneral(*object_) = all_general;
            Forget();
            object_->OnDeviceConnectedChange(true);
            const std::string status = fmt::format("status {} -1", static_cast<int>(kind));
            if (does) {
                EXPECT_THAT(Run(), ElementsAre("query info",
                                               all_general ? "question 6 to 0 without callback"
                                                           : "question 128 to 0 without callback",
                                               "arrived", status));
                ExpectTaskLine(LogLevel::Info, "LW StopQuestion when connected if all_general_for_lw_",
                               "OnDeviceConnectedChange");
            } else {
                EXPECT_THAT(Run(), ElementsAre("query info", "arrived", status));
            }
        });
    }
}

TEST_F(TQKindsTest, UsbNoticesArePassedOn_OfInterfacesToTQ1AndTQ2OfPortsToRV1AndNoneToLW) {
    const std::wstring path = L"\\\\?\\usb";
    for (const std::int32_t device_kind : {kDeviceKindInterface, kDeviceKindPort, 2, -1}) {
        SCOPED_TRACE(device_kind);
        ForEachKind({}, [&](DeviceType kind, bool) {
            object_->OnDeviceArrival(device_kind, path);
            object_->OnDeviceRemoved(device_kind, path);
            const bool passed = (device_kind == kDeviceKindInterface && (kind == TQ1 || kind == TQ2)) ||
                                (device_kind == kDeviceKindPort && kind == RV1);
            EXPECT_EQ(handler_.QueuedTasks(), passed ? 2u : 0u);
            if (passed) {
                EXPECT_THAT(Run(), ElementsAre(fmt::format("kind {} arrived at \\\\?\\usb", device_kind),
                                               fmt::format("kind {} removed at \\\\?\\usb", device_kind)));
            } else {
                EXPECT_THAT(Run(), IsEmpty());
            }
        });
    }
}

}  // namespace
}  // namespace vdipc::test
