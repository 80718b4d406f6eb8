#include "support/HandlerTest.h"

#include "common/HostPath.h"
#include "common/TextEncoding.h"

#include <stdexcept>

#if defined(_WIN32)
#include <windows.h>
#else
#include "native/NativeSeam.h"
#endif

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::Return;

class HandlerPersistence : public HandlerTest {
protected:
    void Load(const std::string& text) {
        WriteFile(DevicesFile(), text);
        log().Clear();
        Access::LoadActiveDevices(handler());
    }

    std::string Save() {
        log().Clear();
        Access::SaveActiveDevices(handler());
        return ReadFile(DevicesFile());
    }

    auto& Active() { return Access::ActiveDevices(handler()); }

    std::size_t Warnings() {
        std::size_t count = 0;
        for (const LogLine& line : log().Lines()) {
            count += line.level == LogLevel::Warn ? 1u : 0u;
        }
        return count;
    }
};

TEST_F(HandlerPersistence, File_LiesBesideTheHostsExecutable) {
#if defined(_WIN32)
    // The system's own word, by another of its functions than the library's.
    std::wstring host(32768, L'\0');
    host.resize(GetModuleFileNameW(nullptr, host.data(), static_cast<DWORD>(host.size())));
    const std::filesystem::path beside = std::filesystem::path(host).parent_path() / "devices.json";
    Active()[DeviceType::LW] = {"4"};
    Save();
    EXPECT_TRUE(std::filesystem::is_regular_file(beside)) << beside;
    EXPECT_EQ(std::filesystem::path(DevicesFile()), beside);
#else
    const std::string former = GetHostExecutablePath();
    SetNativeHostPath("C:\\Class Room\\bin\\host.exe");
    EXPECT_EQ(DevicesFile(), "C:\\Class Room\\bin\\devices.json");
    SetNativeHostPath("host.exe");
    EXPECT_EQ(DevicesFile(), "devices.json");
    Active()[DeviceType::LW] = {"4"};
    Save();
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::current_path() / "devices.json"));
    SetNativeHostPath(former);
#endif
}

TEST_F(HandlerPersistence, FirstStartWithNoFile_IsOneWarnLineAndAllSetsEmpty) {
    log().Clear();
    Access::LoadActiveDevices(handler());
    EXPECT_EQ(Warnings(), 1u) << log().Text();
    EXPECT_TRUE(log().Has(LogLevel::Warn, "open file failed. file_path=" + DevicesFile()));
    EXPECT_THAT(Active(), IsEmpty());
}

TEST_F(HandlerPersistence, LoadOfAFile_ReplacesTheSetsOfItsKinds) {
    Active()[DeviceType::TQ1] = {"1"};
    Active()[DeviceType::RV2] = {"7", "8"};
    Load(R"({"RV2":["12","345"],"LW":[]})");
    EXPECT_THAT(Active(), ElementsAre(Pair(DeviceType::TQ1, ElementsAre("1")),
                                      Pair(DeviceType::RV2, ElementsAre("12", "345")),
                                      Pair(DeviceType::LW, IsEmpty())));
    EXPECT_TRUE(log().Has(LogLevel::Debug, "open file OK. file_path=" + DevicesFile() +
                                               "  stream={\"RV2\":[\"12\",\"345\"],\"LW\":[]}"));
    EXPECT_TRUE(log().Has(LogLevel::Debug, "parse json OK."));
}

TEST_F(HandlerPersistence, Load_HandsACopyToAnObjectThatExists) {
    AddAll(kDeviceStatusUnknown);
    EXPECT_CALL(Device(DeviceType::TQ2), SetActivatedDeviceSet(std::set<std::string>{"5"}));
    EXPECT_CALL(Device(DeviceType::TQ1), SetActivatedDeviceSet(_)).Times(0);
    Load(R"({"TQ2":["5"]})");
    EXPECT_THAT(Active()[DeviceType::TQ2], ElementsAre("5"));
}

TEST_F(HandlerPersistence, Load_MakesAnEmptyEntryForAKindWithoutObject) {
    Load(R"({"RV1":["5"]})");
    ASSERT_EQ(Access::DeviceObjects(handler()).count(DeviceType::RV1), 1u);
    EXPECT_EQ(Access::DeviceObjects(handler())[DeviceType::RV1], nullptr);
}

TEST_F(HandlerPersistence, NamesThatNoKindHasAndValuesThatAreNoArrays_GetNoLine) {
    Load(R"({"XX":["9"],"tq1":["9"],"":["9"],"TQ1":7,"LW":null,"RV2":{"12":1}})");
    std::vector<std::string> said;
    for (const LogLine& line : log().Lines()) {
        said.push_back(line.level_name + " " + line.function + " " + line.rest.substr(0, 14));
    }
    EXPECT_THAT(said, ElementsAre("Trace IpcHandler::LoadActiveDevices ",
                                  "Debug IpcHandler::LoadActiveDevices open file OK. ",
                                  "Debug IpcHandler::LoadActiveDevices parse json OK."));
}

class HandlerPersistenceRefused : public HandlerPersistence,
                                  public testing::WithParamInterface<const char*> {};

TEST_P(HandlerPersistenceRefused, File_IsRefusedAsParseJsonFailed) {
    Active()[DeviceType::TQ1] = {"1"};
    Load(GetParam());
    EXPECT_TRUE(log().Has(LogLevel::Warn, "parse json failed."));
    EXPECT_FALSE(log().Contains("parse json OK."));
    EXPECT_THAT(Active(), ElementsAre(Pair(DeviceType::TQ1, ElementsAre("1"))));
}

// An array, an empty file (a crash between opening and flushing), the word null, bad JSON.
INSTANTIATE_TEST_SUITE_P(All, HandlerPersistenceRefused,
                         testing::Values("[]", "", "null", "7", R"({"TQ1":)", "hello"));

TEST_F(HandlerPersistence, FileNestedDeeperThanTheParserFollows_IsRefusedAsParseJsonFailed) {
    Active()[DeviceType::TQ1] = {"1"};
    Load(R"({"TQ1":["2"],"more":)" + std::string(1000, '[') + std::string(1000, ']') + "}");
    EXPECT_TRUE(log().Has(LogLevel::Warn, "parse json failed."));
    EXPECT_THAT(Active(), ElementsAre(Pair(DeviceType::TQ1, ElementsAre("1"))));
}

TEST_F(HandlerPersistence, NumberUnderAKind_LeavesItsSet_AndAnArrayUnderNoKindIsDropped) {
    Active()[DeviceType::TQ1] = {"1"};
    Load(R"({"TQ1":5,"XX":["9"],"tq1":["9"],"TQ1 ":["9"],"":["9"]})");
    EXPECT_THAT(Active(), ElementsAre(Pair(DeviceType::TQ1, ElementsAre("1"))));
    EXPECT_EQ(Warnings(), 0u);
}

TEST_F(HandlerPersistence, KindWithoutActivatedKeypads_IsSavedAsNullAndLoadsNoSet) {
    AddAll(kDeviceStatusUnknown);
    ON_CALL(Device(DeviceType::RV2), GetActivatedDeviceSet())
        .WillByDefault(Return(std::set<std::string>{"12", "345"}));
    const Json::Value root = ParseJson(Save());
    EXPECT_EQ(root.size(), 5u);
    EXPECT_TRUE(root.isMember("TQ1") && root["TQ1"].isNull());
    EXPECT_THAT(Texts(root["RV2"]), ElementsAre("12", "345"));
    Active().clear();
    Access::LoadActiveDevices(handler());
    EXPECT_THAT(Active(), ElementsAre(Pair(DeviceType::RV2, ElementsAre("12", "345"))));
}

TEST_F(HandlerPersistence, NullInTheFile_LeavesTheSetAsItWas) {
    Active()[DeviceType::LW] = {"4"};
    Load(R"({"LW":null})");
    EXPECT_THAT(Active()[DeviceType::LW], ElementsAre("4"));
}

TEST_F(HandlerPersistence, SavingWithNoEntry_WritesTheWordNull_WhichLoadingRefuses) {
    EXPECT_EQ(Save(), "null");
    Access::LoadActiveDevices(handler());
    EXPECT_TRUE(log().Has(LogLevel::Warn, "parse json failed."));
}

TEST_F(HandlerPersistence, NumbersAndNullInAnArray_EnterTheSetAsText) {
    Load(R"({"RV2":[null,12,"345",true]})");
    EXPECT_THAT(Active()[DeviceType::RV2], ElementsAre("", "12", "345", "true"));
}

TEST_F(HandlerPersistence, ElementThatNoTextCanBeMadeOf_IsSkipped) {
    Load(R"({"RV2":["1",["2"],{"3":4},"5"]})");
    EXPECT_THAT(Active()[DeviceType::RV2], ElementsAre("1", "5"));
}

TEST_F(HandlerPersistence, LoadedText_IsConvertedTowardsUtf8OnceMore) {
    Load("{\"RV2\":[\"\xC3\xA9\"]}");
    EXPECT_THAT(Active()[DeviceType::RV2], ElementsAre(ToUtf8("\xC3\xA9")));
#if !defined(_WIN32)
    EXPECT_THAT(Active()[DeviceType::RV2], ElementsAre("\xC3\x83\xC2\xA9"));
#endif
}

TEST_F(HandlerPersistence, SavedText_IsConvertedOnce) {
    Active()[DeviceType::RV2] = {"\xE9"};
    EXPECT_EQ(ParseJson(Save())["RV2"][0].asString(), ToUtf8("\xE9"));
}

TEST_F(HandlerPersistence, Save_TakesTheSetsOfTheObjectsAndKeepsThoseOfDroppedOnes) {
    Add(DeviceType::TQ1, kDeviceStatusUnknown);
    ON_CALL(Device(DeviceType::TQ1), GetActivatedDeviceSet())
        .WillByDefault(Return(std::set<std::string>{"10", "9"}));
    Access::DeviceObjects(handler())[DeviceType::LW] = nullptr;
    Active()[DeviceType::TQ1] = {"old"};
    Active()[DeviceType::LW] = {"4"};
    const Json::Value root = ParseJson(Save());
    EXPECT_THAT(Active()[DeviceType::TQ1], ElementsAre("10", "9"));
    EXPECT_THAT(Texts(root["TQ1"]), ElementsAre("10", "9"));
    EXPECT_THAT(Texts(root["LW"]), ElementsAre("4"));
    EXPECT_TRUE(log().Has(LogLevel::Debug, "file_path=" + DevicesFile()));
    EXPECT_TRUE(log().Has(LogLevel::Debug, "decvices: " + root.toStyledString()));
}

TEST_F(HandlerPersistence, FileThatCannotBeOpenedForWriting_LeavesTheSetsUnrefreshed) {
    Add(DeviceType::TQ1, kDeviceStatusUnknown);
    EXPECT_CALL(Device(DeviceType::TQ1), GetActivatedDeviceSet()).Times(0);
    Active()[DeviceType::TQ1] = {"old"};
    std::filesystem::create_directory(DevicesFile());
    Access::SaveActiveDevices(handler());
    EXPECT_TRUE(log().Has(LogLevel::Warn, "open file failed. file_path=" + DevicesFile()));
    EXPECT_THAT(Active()[DeviceType::TQ1], ElementsAre("old"));
}

TEST_F(HandlerPersistence, NumberWithoutAName_RaisesWithTheFileEmptiedAlready) {
    WriteFile(DevicesFile(), R"({"TQ1":["1"]})");
    Active()[static_cast<DeviceType>(9)] = {"1"};
    try {
        Access::SaveActiveDevices(handler());
        FAIL() << "nothing was raised";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid map<K, T> key");
    }
    EXPECT_EQ(ReadFile(DevicesFile()), "");
}

TEST_F(HandlerPersistence, EveryChangeOfASet_RewritesTheFile) {
    Add(DeviceType::RV2, kDeviceStatusUnknown);
    ON_CALL(Device(DeviceType::RV2), GetActivatedDeviceSet())
        .WillByDefault(Return(std::set<std::string>{"1", "2", "3", "4", "5"}));
    handler().OnActiveDevicesChanged();
    ON_CALL(Device(DeviceType::RV2), GetActivatedDeviceSet())
        .WillByDefault(Return(std::set<std::string>{"1"}));
    handler().OnActiveDevicesChanged();
    EXPECT_THAT(Texts(ParseJson(ReadFile(DevicesFile()))["RV2"]), ElementsAre("1"));
}

}  // namespace
}  // namespace vdipc::test
