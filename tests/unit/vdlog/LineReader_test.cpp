#include "tools/vdlog/LineReader.h"

#include "support/Logs.h"

#include <gtest/gtest.h>

#include <string>

namespace vdipc::log::test {
namespace {

const std::string kPrefix = "[2026-11-22 10:00:00.250][Info][006f8] ";
const std::string kSecond = "[2026-11-22 10:00:00.251][Trace][0012a] ";

TEST(LineReader, OrdinaryLine_IsCutIntoItsFields) {
    const auto lines =
        LinesOf(kPrefix + "VoteDeckObject_RV2::OnKeypadEvent:76 ushDeviceId=7, enKeyValue=2\r\n");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].number, 1U);
    EXPECT_EQ(IsoTimeText(lines[0].time), "2026-11-22T10:00:00.250");
    EXPECT_EQ(lines[0].level, "Info");
    EXPECT_EQ(lines[0].thread, 0x6f8U);
    EXPECT_EQ(lines[0].function, "VoteDeckObject_RV2::OnKeypadEvent");
    EXPECT_FALSE(lines[0].in_lambda);
    EXPECT_EQ(lines[0].text, "ushDeviceId=7, enKeyValue=2");
}

TEST(LineReader, LambdasOfBothCompilers_BelongToTheirFunction) {
    for (const std::string lambda : {"<lambda>", "<lambda_7fe766545100c05f98f5ed1ea669f372>"}) {
        const auto lines =
            LinesOf(kPrefix + "IpcHandler::Initialize::" + lambda + "::operator ():37 IPC connected\r\n");
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_EQ(lines[0].function, "IpcHandler::Initialize");
        EXPECT_TRUE(lines[0].in_lambda);
        EXPECT_EQ(lines[0].text, "IPC connected");
    }
}

TEST(LineReader, BareEntry_HasNoText) {
    const auto lines = LinesOf(kPrefix + "IpcHandler::CallInit:139\r\n");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].function, "IpcHandler::CallInit");
    EXPECT_EQ(lines[0].text, "");
}

TEST(LineReader, TwoLinesThatRanIntoEachOther_AreTwo) {
    const auto lines = LinesOf(kPrefix + "IpcHandler::CallAsk:211" + kSecond + "PipeIO::Start:21\r\n\r\n" +
                               kPrefix + "PipeIO::Stop:28\r\n");
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].function, "IpcHandler::CallAsk");
    EXPECT_EQ(lines[1].function, "PipeIO::Start");
    EXPECT_EQ(lines[1].thread, 0x12aU);
    EXPECT_EQ(lines[1].number, 1U);
    EXPECT_EQ(lines[2].number, 3U);
}

TEST(LineReader, StyledJson_IsOneTextAndItsLinesCount) {
    const std::string json = "{\n\t\"event\" : \"arrived\",\n\t\"id\" : \"1\"\n}\n";
    const auto lines =
        LinesOf(kPrefix + "PipeServer::SendMsg:71 " + json + "\r\n" + kSecond + "PipeIO::Start:21\r\n");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].text, json.substr(0, json.size() - 1));
    EXPECT_EQ(lines[1].number, 6U);
}

TEST(LineReader, CopyWithoutCarriageReturns_KeepsJsonTogether) {
    const auto lines = LinesOf(kPrefix + "IpcHandler::CallAsk:211\n" + kPrefix +
                               "PipeServer::SendMsg:71 {\n\t\"a\" : \"}\"\n}\n\nSIMULATED receiver\n" +
                               kPrefix + "PipeIO::Start:21\n");
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[1].text, "{\n\t\"a\" : \"}\"\n}");
    EXPECT_EQ(lines[2].function, "");
    EXPECT_EQ(lines[2].text, "SIMULATED receiver");
}

TEST(LineReader, LinesOfOtherForm_AreGivenAsTheyStand) {
    const auto lines =
        LinesOf("half a line\r\n" + kPrefix + "PipeIO::Start:21\r\nSIMULATED receiver TQ1" + kSecond +
                "PipeIO::Stop:28\r\n\r\n" + kPrefix + "no function here\r\n[2026-11-22 nonsense\r\n");
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[0].text, "half a line");
    EXPECT_EQ(lines[2].text, "SIMULATED receiver TQ1");
    EXPECT_EQ(lines[3].function, "PipeIO::Stop");
    EXPECT_EQ(lines[4].function, "");
    EXPECT_EQ(lines[4].text, "no function here");
    EXPECT_EQ(lines[5].text, "[2026-11-22 nonsense");
}

TEST(LineReader, AnyCutOfTheBytes_GivesTheSameLines) {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("7").StationKey("7", 2).Found("7", false);
    const std::string text = "tail of a line\r\n" + log.Text() + "SIMULATED" + kPrefix + "PipeIO::Start:21";
    const auto whole = LinesOf(text);
    ASSERT_GT(whole.size(), 20U);
    for (const std::size_t piece : {1U, 2U, 7U, 64U, 1000U}) {
        const auto cut = LinesOf(text, piece);
        ASSERT_EQ(cut.size(), whole.size()) << piece;
        for (std::size_t i = 0; i < cut.size(); ++i) {
            EXPECT_EQ(cut[i].text, whole[i].text) << piece;
            EXPECT_EQ(cut[i].number, whole[i].number) << piece;
            EXPECT_EQ(cut[i].function, whole[i].function) << piece;
        }
    }
}

TEST(LineReader, NulBytesAndEndlessText_AreBounded) {
    const std::string text = kPrefix + "PipeServer::SendMsg:71 {" + std::string(300000, '\0') + "\r\n" +
                             kPrefix + "PipeIO::Start:21\r\n" + std::string(200000, 'x');
    const auto lines = LinesOf(text);
    EXPECT_GE(lines.size(), 6U);
    for (const SeenLine& line : lines) {
        EXPECT_LE(line.text.size(), LineReader::kLongestText);
    }
    EXPECT_EQ(lines.back().text.back(), 'x');
}

TEST(LineReader, Settle_GivesWhatEndsWithALineEnd) {
    struct Counter final : LineSink {
        void OnLine(const LogLine&) override { ++count; }
        int count = 0;
    } counter;
    LineReader reader(counter);
    const std::string first = kPrefix + "PipeIO::Start:21\r\n" + kPrefix + "PipeIO::Sto";
    reader.Feed(first.data(), first.size());
    reader.Settle();
    EXPECT_EQ(counter.count, 1);
    reader.Feed("p:28\r\n", 6);
    EXPECT_EQ(counter.count, 1);
    reader.Settle();
    EXPECT_EQ(counter.count, 2);
}

TEST(LogTime, ReadTime_TakesDatesAndTimesOfDay) {
    std::int64_t time = 0;
    bool of_day = false;
    ASSERT_TRUE(ReadTime("2026-11-22 10:00:00.250", time, of_day));
    EXPECT_FALSE(of_day);
    EXPECT_EQ(TimeText(time, true), "2026-11-22 10:00:00.250");
    ASSERT_TRUE(ReadTime("2024-02-29T23:59", time, of_day));
    EXPECT_EQ(TimeText(time, true), "2024-02-29 23:59:00.000");
    ASSERT_TRUE(ReadTime("10:04:05.5", time, of_day));
    EXPECT_TRUE(of_day);
    EXPECT_EQ(TimeText(time), "10:04:05.500");
    for (const char* const bad :
         {"", "now", "25:00", "10:61", "2026-13-01", "2026-11-22 10", "10:00:00.1234"}) {
        EXPECT_FALSE(ReadTime(bad, time, of_day)) << bad;
    }
}

}  // namespace
}  // namespace vdipc::log::test
