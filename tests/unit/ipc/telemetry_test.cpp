#include "support/HandlerTest.h"

#include <regex>
#include <utility>

#if !defined(_WIN32)
#include "native/NativeSeam.h"
#endif

namespace vdipc::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::Return;

class HandlerTelemetry : public HandlerTest {
protected:
    void ReadCommandLine(const std::string& text) {
        WriteFile("command_line", text);
        Access::ReadCommandlineForTrackwire(handler());
    }

    /// Levels and texts of the reading's lines.
    std::vector<std::string> Said() {
        std::vector<std::string> said;
        for (const LogLine& line : log().OfFunction("IpcHandler::ReadCommandlineForTrackwire")) {
            said.push_back(line.level_name + " " + line.rest);
        }
        return said;
    }
};

TEST_F(HandlerTelemetry, Version_IsToldAsWideText) {
    Access::SetVersionForTrackwire(handler());
    EXPECT_THAT(TrackwireSetters(), ElementsAre(Pair("SetVDShellVersionW", "2.0.54")));
}

TEST_F(HandlerTelemetry, EveryRecord_EndsWithReporttime) {
    CTrackwire record;
    record.Push("Action", "x");
    record.Push("number", std::int32_t{3});
    handler().SendTrackwire(record);
    ASSERT_EQ(TrackwireRecords().size(), 1u);
    const auto pairs = TrackwireRecords()[0].pairs;
    ASSERT_EQ(pairs.size(), 3u);
    EXPECT_EQ(pairs[2].key, "reporttime");
    EXPECT_TRUE(std::regex_match(pairs[2].value, std::regex(R"(\d{4}\.\d\d\.\d\d \d\d:\d\d:\d\d\.\d{3})")))
        << pairs[2].value;
}

#if !defined(_WIN32)
TEST_F(HandlerTelemetry, Reporttime_IsYearMonthDayHourMinuteSecondAndMilliseconds) {
    SetNativeLocalTime(LocalTime{2026, 3, 5, 14, 7, 9, 45});
    EXPECT_EQ(Access::GetCurrentTimeString(handler()), "2026.03.05 14:07:09.045");
    CTrackwire record;
    handler().SendTrackwire(record);
    SetNativeLocalTime(std::nullopt);
    ASSERT_EQ(TrackwireRecords().size(), 1u);
    EXPECT_EQ(TrackwireRecords()[0].Value("reporttime"), "2026.03.05 14:07:09.045");
}
#endif

TEST_F(HandlerTelemetry, NoCommandLineFile_IsOneWarnLine) {
    Access::ReadCommandlineForTrackwire(handler());
    EXPECT_TRUE(log().Has(LogLevel::Warn, "open command line file failed: command_line"));
    EXPECT_THAT(TrackwireSetters(), IsEmpty());
}

TEST_F(HandlerTelemetry, CommandLine_IsHandedOnInOrderAsRead) {
    ReadCommandLine(
        "{\"login_cid\":\"c\xC3\xA9\",\"login_lnum\":\"l\",\"login_cnum\":\"n\",\"other\":\"x\"}");
    EXPECT_THAT(TrackwireSetters(), ElementsAre(Pair("SetBigClassIdA", "l"), Pair("SetLessonNumA", "n"),
                                                Pair("SetClassIdA", "c\xC3\xA9")));
    EXPECT_THAT(Said(),
                ElementsAre("Trace ",
                            "Debug read command line: {\"login_cid\":\"c\xC3\xA9\",\"login_lnum\":\"l\","
                            "\"login_cnum\":\"n\",\"other\":\"x\"}",
                            "Debug live_id=l", "Debug lesson_num=n", "Debug class_id=c\xC3\xA9"));
}

TEST_F(HandlerTelemetry, KeyThatHoldsANumber_IsSkippedAndOtherKeysApply) {
    ReadCommandLine(R"({"login_cid":7,"login_cnum":"n","login_lnum":null})");
    EXPECT_THAT(TrackwireSetters(), ElementsAre(Pair("SetLessonNumA", "n")));
    EXPECT_THAT(Said(),
                ElementsAre("Trace ",
                            R"(Debug read command line: {"login_cid":7,"login_cnum":"n","login_lnum":null})",
                            "Debug lesson_num=n"))
        << "a key that is skipped has no line";
}

TEST_F(HandlerTelemetry, CommandLineOfAnArray_IsRefused) {
    ReadCommandLine(R"(["login_cid"])");
    EXPECT_TRUE(log().Has(LogLevel::Warn, "parse command line failed"));
    EXPECT_THAT(TrackwireSetters(), IsEmpty());
}

TEST_F(HandlerTelemetry, CommandLineThatIsNoJson_IsRefused) {
    ReadCommandLine("--login_cid=7");
    EXPECT_TRUE(log().Has(LogLevel::Warn, "parse command line failed"));
}

TEST_F(HandlerTelemetry, CommandLineNestedDeeperThanTheParserFollows_IsRefused) {
    ReadCommandLine(R"({"login_cid":"c","more":)" + std::string(2000, '['));
    EXPECT_TRUE(log().Has(LogLevel::Warn, "parse command line failed"));
    EXPECT_THAT(TrackwireSetters(), IsEmpty());
}

TEST_F(HandlerTelemetry, Rv2AndTq1Connected_ReportsTheDataOfTq1) {
    AddAll(kDeviceStatusNotConnected);
    SetStatus(DeviceType::RV2, kDeviceStatusConnected);
    SetStatus(DeviceType::TQ1, kDeviceStatusConnected);
    ON_CALL(Device(DeviceType::TQ1), GetDeviceInfo())
        .WillByDefault(Return(DeviceInfoRecord{"t", "u", "s1", "h", "c1", "17", "p"}));
    Access::UpdateDeviceInfoForTrackwire(handler());
    EXPECT_THAT(TrackwireSetters(),
                ElementsAre(Pair("SetVdkReceiveVersionA", "s1"), Pair("SetVdkManufactorA", "c1"),
                            Pair("SetVdkChannelNumberA", "17")));
}

TEST_F(HandlerTelemetry, Rv2Alone_ReportsItsNameAndLeavesVersionAndChannel) {
    AddAll(kDeviceStatusNotConnected);
    Access::DeviceObjects(handler())[DeviceType::TQ1].reset();
    SetStatus(DeviceType::RV2, kDeviceStatusConnected);
    SetStatus(DeviceType::LW, kDeviceStatusConnected);
    Access::UpdateDeviceInfoForTrackwire(handler());
    EXPECT_THAT(TrackwireSetters(), ElementsAre(Pair("SetVdkManufactorA", "RV2.0")));
}

TEST_F(HandlerTelemetry, NothingConnected_ReportsThreeEmptyTexts) {
    AddAll(kDeviceStatusUnknown);
    Access::UpdateDeviceInfoForTrackwire(handler());
    EXPECT_THAT(TrackwireSetters(),
                ElementsAre(Pair("SetVdkReceiveVersionA", ""), Pair("SetVdkManufactorA", ""),
                            Pair("SetVdkChannelNumberA", "")));
}

}  // namespace
}  // namespace vdipc::test
