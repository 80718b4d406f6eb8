#include "support/HandlerTest.h"

#include "drivers/VoteDeckObject_RV2.h"
#include "drivers/VoteDeckObject_TQ.h"
#include "messages/MessageCodec.h"
#include "support/VoteDeckObjectBaseAccess.h"
#include "unit/pipe/RefusedAllocation.h"

#include <cstdio>
#include <stdexcept>

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

class HandlerDevices : public HandlerTest {
protected:
    /// The one "device-inited" event that this call gives.
    Json::Value DeviceInited() {
        UseServer();
        log().Clear();
        Access::SendEventDeviceInited(handler());
        const auto events = SentEvents();
        EXPECT_EQ(events.size(), 1u);
        return events.empty() ? Json::Value() : events[0];
    }

    TrackwireRecord LastRecord() { return TrackwireRecords("ipc_vdk_event_device_inited").back(); }
};

TEST_F(HandlerDevices, CreateVoteDeckObjects_MakesOneObjectOfEachKindInOrder) {
    Access::CreateVoteDeckObjects(handler());
    auto& objects = Access::DeviceObjects(handler());
    ASSERT_EQ(objects.size(), 5u);
    for (const DeviceType kind : kAllKinds) {
        if (kind == DeviceType::RV2) {
            EXPECT_NE(dynamic_cast<VoteDeckObject_RV2*>(objects[kind].get()), nullptr);
        } else {
            EXPECT_NE(dynamic_cast<VoteDeckObject_TQ*>(objects[kind].get()), nullptr);
        }
        EXPECT_EQ(objects[kind]->GetDeviceStatus(), kDeviceStatusUnknown) << "nothing is initialised yet";
    }
    EXPECT_THAT(ClosedFactories().calls,
                ElementsAre("CreateVDOTQ1", "CreateVDOTQ2", "CreateVDORV1", "CreateVDOLW"));
}

TEST_F(HandlerDevices, CreateVoteDeckObjects_TellsEachKindItsAudioFolderAndItsListener) {
    std::snprintf(Access::AudioStoragePath(handler()).data(), 260, "%s", "C:\\class room\\audio");
    Access::CreateVoteDeckObjects(handler());
    for (const DeviceType kind : kAllKinds) {
        const auto& object = dynamic_cast<const VoteDeckObjectBase&>(*Access::DeviceObjects(handler())[kind]);
        EXPECT_EQ(VoteDeckObjectBaseAccess::AudioFileStorageBasePath(object), "C:\\class room\\audio");
        EXPECT_EQ(VoteDeckObjectBaseAccess::Listener(object), &handler());
    }
}

/// How far CreateVoteDeckObjects is with one object.
struct ObjectsProgress {
    bool in_map = false;
    bool folder = false;
    bool listener = false;
    bool set = false;
};

// Nothing tells of the steps. But most of them take memory, so that each allocation is a look at what is done by then.
TEST_F(HandlerDevices,
       CreateVoteDeckObjects_PutsEachObjectIntoTheMap_ThenTellsItsFolder_ItsListener_AndItsSet) {
    if (!CanRefuseAllocation()) {
        GTEST_SKIP() << "the allocation functions are the sanitizer's";
    }
    const std::string folder(200, 'f');
    std::snprintf(Access::AudioStoragePath(handler()).data(), 260, "%s", folder.c_str());
    for (const DeviceType kind : kAllKinds) {
        Access::ActiveDevices(handler())[kind] = {"7"};
    }
    std::set<DeviceType> only_in_map;
    std::set<DeviceType> all_but_the_set;
    std::vector<std::string> out_of_order;
    const std::function<void()> look = [&] {
        for (const auto& [kind, object] : Access::DeviceObjects(handler())) {
            const auto* const base = dynamic_cast<const VoteDeckObjectBase*>(object.get());
            if (base == nullptr) {
                continue;
            }
            const ObjectsProgress progress{
                true, VoteDeckObjectBaseAccess::AudioFileStorageBasePath(*base) == folder,
                VoteDeckObjectBaseAccess::Listener(*base) == &handler(),
                !object->GetActivatedDeviceSet().empty()};
            if (!progress.folder && !progress.listener && !progress.set) {
                only_in_map.insert(kind);
            }
            if (progress.folder && progress.listener && !progress.set) {
                all_but_the_set.insert(kind);
            }
            if ((progress.listener && !progress.folder) || (progress.set && !progress.listener)) {
                out_of_order.push_back(Access::DeviceNames(handler())[kind]);
            }
        }
    };
    WatchAllocationsOfThread(&look);
    Access::CreateVoteDeckObjects(handler());
    WatchAllocationsOfThread(nullptr);
    EXPECT_THAT(out_of_order, IsEmpty());
    EXPECT_THAT(only_in_map, testing::ElementsAreArray(kAllKinds));
    EXPECT_THAT(all_but_the_set, testing::ElementsAreArray(kAllKinds));
}

TEST_F(HandlerDevices, CreateVoteDeckObjects_ReplacesWhatIsThere) {
    Add(DeviceType::RV2, kDeviceStatusConnected);
    const std::weak_ptr<IVoteDeckObject> old = Access::DeviceObjects(handler())[DeviceType::RV2];
    Access::CreateVoteDeckObjects(handler());
    EXPECT_TRUE(old.expired());
}

TEST_F(HandlerDevices, ActivatedSetLoadedFromTheFile_IsInTheObjectBeforeTheFirstInit) {
    WriteFile(DevicesFile(), R"({"RV2":["12","345"],"LW":["9"]})");
    Access::LoadActiveDevices(handler());
    Access::CreateVoteDeckObjects(handler());
    auto& objects = Access::DeviceObjects(handler());
    EXPECT_THAT(objects[DeviceType::RV2]->GetActivatedDeviceSet(), ElementsAre("12", "345"));
    EXPECT_THAT(objects[DeviceType::LW]->GetActivatedDeviceSet(), ElementsAre("9"));
    EXPECT_THAT(objects[DeviceType::TQ1]->GetActivatedDeviceSet(), IsEmpty());
}

TEST_F(HandlerDevices, DeleteVoteDeckObjects_TakesTheSetsDropsTheObjectsAndLeavesRv2Alone) {
    AddAll(kDeviceStatusConnected);
    ON_CALL(Device(DeviceType::TQ2), GetActivatedDeviceSet())
        .WillByDefault(Return(std::set<std::string>{"2"}));
    ON_CALL(Device(DeviceType::RV2), GetActivatedDeviceSet())
        .WillByDefault(Return(std::set<std::string>{"3"}));
    EXPECT_CALL(Device(DeviceType::RV2), Uninitialize()).Times(0);
    for (const DeviceType kind : {DeviceType::TQ1, DeviceType::TQ2, DeviceType::RV1, DeviceType::LW}) {
        EXPECT_CALL(Device(kind), Uninitialize());
    }
    Access::DeleteVoteDeckObjects(handler());
    for (const DeviceType kind : kAllKinds) {
        EXPECT_EQ(Access::DeviceObjects(handler())[kind] != nullptr, kind == DeviceType::RV2);
    }
    EXPECT_THAT(Access::ActiveDevices(handler())[DeviceType::TQ2], ElementsAre("2"));
    EXPECT_THAT(Access::ActiveDevices(handler())[DeviceType::RV2], ElementsAre("3"));
    EXPECT_TRUE(log().Has(LogLevel::Debug, "do not destroy rv2.0"));
}

TEST_F(HandlerDevices, IsAnyDeviceConnectedBeforeAnyInit_AsksNobodyAndSaysNotConnected) {
    AddAll(kDeviceStatusConnected);
    for (const DeviceType kind : kAllKinds) {
        EXPECT_CALL(Device(kind), GetDeviceStatus()).Times(0);
    }
    std::int32_t info = 99;
    std::vector<DeviceType> kinds;
    EXPECT_FALSE(Access::IsAnyDeviceConnected(handler(), info, kinds));
    EXPECT_EQ(info, kDeviceStatusNotConnected);
    EXPECT_TRUE(kinds.empty());
}

TEST_F(HandlerDevices, IsAnyDeviceConnectedWithoutAnObjectOfAKind_LooksAtTheOthers) {
    AddAll(kDeviceStatusConnected);
    Prefer(PreferredDeviceType::Any);
    Access::DeviceObjects(handler())[DeviceType::TQ1] = nullptr;
    Access::DeviceObjects(handler()).erase(DeviceType::RV1);
    std::int32_t info = 0;
    std::vector<DeviceType> kinds;
    EXPECT_TRUE(Access::IsAnyDeviceConnected(handler(), info, kinds));
    EXPECT_THAT(kinds, testing::UnorderedElementsAre(DeviceType::TQ2, DeviceType::RV2, DeviceType::LW));
}

TEST_F(HandlerDevices, IsAnyDeviceConnected_LooksAtTheKindsOfThePreferredType) {
    AddAll(kDeviceStatusConnected);
    const struct {
        PreferredDeviceType preferred;
        std::vector<DeviceType> kinds;
    } rows[] = {{PreferredDeviceType::None, {}},
                {PreferredDeviceType::NonAudio, {DeviceType::TQ1, DeviceType::RV1, DeviceType::LW}},
                {PreferredDeviceType::Audio, {DeviceType::TQ2, DeviceType::RV2}},
                {PreferredDeviceType::Any,
                 {DeviceType::TQ1, DeviceType::RV1, DeviceType::LW, DeviceType::TQ2, DeviceType::RV2}}};
    for (const auto& row : rows) {
        Prefer(row.preferred);
        std::int32_t info = 0;
        std::vector<DeviceType> kinds;
        EXPECT_EQ(Access::IsAnyDeviceConnected(handler(), info, kinds), !row.kinds.empty());
        EXPECT_EQ(kinds, row.kinds);
        EXPECT_EQ(info, row.kinds.empty() ? 1 : -1);
    }
}

TEST_F(HandlerDevices, InfoOfAFailure_IsThatOfRv2Alone) {
    AddAll(kDeviceStatusUnknown);
    SetStatus(DeviceType::RV2, kDeviceStatusIpNotSet);
    for (const auto& [preferred, expected] : {std::pair{PreferredDeviceType::NonAudio, 1},
                                              {PreferredDeviceType::Audio, 2},
                                              {PreferredDeviceType::Any, 2}}) {
        Prefer(preferred);
        std::int32_t info = 0;
        std::vector<DeviceType> kinds;
        EXPECT_FALSE(Access::IsAnyDeviceConnected(handler(), info, kinds));
        EXPECT_EQ(info, expected);
    }
}

TEST_F(HandlerDevices, AudioWithOnlyANonAudioReceiver_IsNotReadyAndInfoIsThatOfRv2) {
    AddAll(kDeviceStatusNotConnected);
    SetStatus(DeviceType::TQ1, kDeviceStatusConnected);
    SetStatus(DeviceType::RV2, kDeviceStatusNoPower);
    Prefer(PreferredDeviceType::Audio);
    const Json::Value event = DeviceInited();
    EXPECT_EQ(event["event"], "device-inited");
    EXPECT_EQ(event["id"].asString().size(), 36u);
    EXPECT_EQ(event["ready"], false);
    EXPECT_EQ(event["info"], "no-power");
    EXPECT_TRUE(event["avaliable-device"].isNull());
    EXPECT_TRUE(event["avaliable-device-info"].isNull());
    EXPECT_TRUE(log().Has(LogLevel::Debug, "send device-inited event ready=false, info=0"));
}

TEST_F(HandlerDevices, AnyWithRv1AndRv2_NamesRv1First) {
    AddAll(kDeviceStatusNotConnected);
    SetStatus(DeviceType::RV1, kDeviceStatusConnected);
    SetStatus(DeviceType::RV2, kDeviceStatusConnected);
    Prefer(PreferredDeviceType::Any);
    EXPECT_THAT(Texts(DeviceInited()["avaliable-device"]), ElementsAre("RV1", "RV2"));
    EXPECT_EQ(LastRecord().Value("avaliable-device"), "[RV1,RV2]");
}

TEST_F(HandlerDevices, AnyWithTq2AndLw_NamesLwFirst) {
    AddAll(kDeviceStatusNotConnected);
    SetStatus(DeviceType::TQ2, kDeviceStatusConnected);
    SetStatus(DeviceType::LW, kDeviceStatusConnected);
    Prefer(PreferredDeviceType::Any);
    EXPECT_THAT(Texts(DeviceInited()["avaliable-device"]), ElementsAre("LW", "TQ2"));
    EXPECT_EQ(LastRecord().Value("avaliable-device"), "[LW,TQ2]");
}

TEST_F(HandlerDevices, NonAudioWithNothingPluggedIn_IsNotConnectedWithoutAskingRv2) {
    AddAll(kDeviceStatusNotConnected);
    SetStatus(DeviceType::RV2, kDeviceStatusNoPower);
    Prefer(PreferredDeviceType::NonAudio);
    EXPECT_CALL(Device(DeviceType::RV2), GetDeviceStatus()).Times(0);
    EXPECT_EQ(DeviceInited()["info"], "not-connected");
    EXPECT_EQ(LastRecord().Value("avaliable-device"), "[]");
    EXPECT_EQ(LastRecord().Value("info"), "not-connected");
}

TEST_F(HandlerDevices, InfoKey_IsAbsentFromEventAndTelemetryWhenAnythingIsUsable) {
    AddAll(kDeviceStatusNotConnected);
    SetStatus(DeviceType::LW, kDeviceStatusConnected);
    Prefer(PreferredDeviceType::Any);
    const Json::Value event = DeviceInited();
    EXPECT_FALSE(event.isMember("info"));
    EXPECT_EQ(event["ready"], true);
    EXPECT_THAT(LastRecord().Keys(),
                ElementsAre("Action", "uniq_id", "avaliable-device", "ready", "reporttime"));
    EXPECT_EQ(LastRecord().Value("ready"), "1");
    EXPECT_EQ(LastRecord().Value("uniq_id"), event["id"].asString());
}

TEST_F(HandlerDevices, TelemetryOfDeviceInitedWithNothingUsable_HasReady0AndInfo) {
    AddAll(kDeviceStatusNotConnected);
    Prefer(PreferredDeviceType::Any);
    DeviceInited();
    const TrackwireRecord record = LastRecord();
    EXPECT_THAT(record.Keys(),
                ElementsAre("Action", "uniq_id", "avaliable-device", "ready", "info", "reporttime"));
    EXPECT_EQ(record.pairs[3].value, "0");
    EXPECT_EQ(record.pairs[3].kind, 'i') << "pushed as a 32-bit signed value";
}

TEST_F(HandlerDevices, Event_CarriesTheIdentificationOfEachUsableKind) {
    AddAll(kDeviceStatusNotConnected);
    SetStatus(DeviceType::TQ1, kDeviceStatusConnected);
    Prefer(PreferredDeviceType::NonAudio);
    ON_CALL(Device(DeviceType::TQ1), GetDeviceInfo())
        .WillByDefault(Return(DeviceInfoRecord{"inside", "u", "s", "h", "c", "17", "p"}));
    const Json::Value event = DeviceInited();
    const Json::Value& info = event["avaliable-device-info"]["TQ1"];
    EXPECT_EQ(info["uid"], "u");
    EXPECT_EQ(info["software-version"], "s");
    EXPECT_EQ(info["hardware-version"], "h");
    EXPECT_EQ(info["company"], "c");
    EXPECT_EQ(info["channel"], "17");
    EXPECT_EQ(info["tx-power"], "p");
    EXPECT_EQ(event.toStyledString().find("inside"), std::string::npos);
}

TEST_F(HandlerDevices, Event_GoesStraightToThePipeServerAndBeforeItsTelemetry) {
    AddAll(kDeviceStatusConnected);
    Prefer(PreferredDeviceType::Any);
    DeviceInited();
    std::vector<std::string> order;
    for (const LogLine& line : log().Lines()) {
        if (line.function == "PipeServer::SendMsg" || line.function == "IpcHandler::SendTrackwire" ||
            line.function == "IpcHandler::SendIPCMesage") {
            order.push_back(line.function);
        }
    }
    EXPECT_THAT(order, ElementsAre("PipeServer::SendMsg", "IpcHandler::SendTrackwire"));
}

TEST_F(HandlerDevices, DeviceThatGoesAway_GivesADeviceInitedEventOnItsOwn) {
    AddAll(kDeviceStatusNotConnected);
    SetStatus(DeviceType::RV1, kDeviceStatusConnected);
    UseServer();
    Route(R"({"command":"init","preferred-device-type":"non-audio"})");
    log().Clear();
    bool event_came_first = false;
    std::vector<std::int32_t> numbers;
    Access::StatusChangedCallbackOf(handler()) = [&](const std::int32_t* reported, const std::wstring&) {
        numbers.assign(reported, reported + 5);
        event_came_first = SentEvents().size() == 1;
    };
    SetStatus(DeviceType::RV1, kDeviceStatusNotConnected);
    handler().OnVoteDeckStatusChanged(DeviceType::RV1, kDeviceStatusNotConnected);
    ASSERT_EQ(SentEvents().size(), 1u);
    EXPECT_EQ(SentEvents()[0]["ready"], false);
    EXPECT_TRUE(event_came_first);
    EXPECT_THAT(numbers, ElementsAre(200, -1, 200, 200, 200));
}

TEST_F(HandlerDevices, StatusChange_LooksAtNeitherArgument) {
    AddAll(kDeviceStatusNotConnected);
    SetStatus(DeviceType::LW, kDeviceStatusConnected);
    UseServer();
    Prefer(PreferredDeviceType::NonAudio);
    handler().OnVoteDeckStatusChanged(static_cast<DeviceType>(77), 4711);
    ASSERT_EQ(SentEvents().size(), 1u);
    EXPECT_THAT(Texts(SentEvents()[0]["avaliable-device"]), ElementsAre("LW"));
}

TEST_F(HandlerDevices, BadStatusOfRv2_StaysSilentWhileAnotherKindIsUsable) {
    AddAll(kDeviceStatusNotConnected);
    UseServer();
    Prefer(PreferredDeviceType::Any);
    SetStatus(DeviceType::TQ2, kDeviceStatusConnected);
    handler().OnRv2BadStatusNotified(kDeviceStatusNoPower);
    EXPECT_TRUE(SentEvents().empty());
    SetStatus(DeviceType::TQ2, kDeviceStatusNotConnected);
    SetStatus(DeviceType::RV2, kDeviceStatusNoPower);
    handler().OnRv2BadStatusNotified(kDeviceStatusIpNotSet);
    ASSERT_EQ(SentEvents().size(), 1u);
    EXPECT_EQ(SentEvents()[0]["info"], "no-power") << "the argument isn't looked at";
}

TEST_F(HandlerDevices, WithoutAPipeServer_NothingIsSentOrReported) {
    AddAll(kDeviceStatusConnected);
    Prefer(PreferredDeviceType::Any);
    Access::SendEventDeviceInited(handler());
    EXPECT_TRUE(log().Has(LogLevel::Debug, "send device-inited event ready=true, info=-1"));
    EXPECT_TRUE(TrackwireRecords().empty());
}

TEST_F(HandlerDevices, InfoWithoutARow_RaisesInvalidMapKey) {
    AddAll(kDeviceStatusNotConnected);
    SetStatus(DeviceType::RV2, kDeviceStatusUnknown);
    UseServer();
    Prefer(PreferredDeviceType::Audio);
    try {
        Access::SendEventDeviceInited(handler());
        FAIL() << "nothing was raised";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid map<K, T> key");
    }
}

}  // namespace
}  // namespace vdipc::test
