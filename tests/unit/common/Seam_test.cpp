#include "common/AppendFile.h"
#include "common/Clock.h"
#include "common/Event.h"
#include "common/Guid.h"
#include "common/HostPath.h"

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

namespace vdipc {
namespace {

TEST(Clock, LocalTime_IsBrokenDownWithinItsRanges) {
    const LocalTime time = GetLocalTimeNow();
    EXPECT_GE(time.year, 2020);
    EXPECT_TRUE(time.month >= 1 && time.month <= 12) << time.month;
    EXPECT_TRUE(time.day >= 1 && time.day <= 31) << time.day;
    EXPECT_TRUE(time.hour >= 0 && time.hour <= 23) << time.hour;
    EXPECT_TRUE(time.minute >= 0 && time.minute <= 59) << time.minute;
    EXPECT_TRUE(time.second >= 0 && time.second <= 60) << time.second;
    EXPECT_TRUE(time.milliseconds >= 0 && time.milliseconds <= 999) << time.milliseconds;
}

TEST(Clock, Sleep_LastsAtLeastAsLongAsTold_InTicksToo) {
    const auto begin = std::chrono::steady_clock::now();
    const std::uint32_t ticks = GetTickCountNow();
    SleepMilliseconds(50);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(45));
    EXPECT_GE(GetTickCountNow() - ticks, 30u);
}

TEST(Clock, ThreadNumbers_DifferBetweenThreadsThatLiveAtOnce) {
    std::uint32_t other = 0;
    std::thread([&other] { other = GetThreadNumber(); }).join();
    EXPECT_NE(other, GetThreadNumber());
    EXPECT_EQ(GetThreadNumber(), GetThreadNumber());
}

TEST(Clock, ProcessorCount_IsAtLeastOne) {
    EXPECT_GE(GetProcessorCount(), 1u);
}

TEST(Event, NewEvent_IsNotSignalled_AndResetsItselfBehindAWait) {
    const EventHandle event = CreateAutoResetEvent();
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(WaitForEvent(event, 0), kWaitTimeout);
    EXPECT_TRUE(SignalEvent(event));
    EXPECT_EQ(WaitForEvent(event, kWaitForever), kWaitSignalled);
    EXPECT_EQ(WaitForEvent(event, 0), kWaitTimeout);
    CloseEvent(event);
}

TEST(Event, SignalFromAnotherThread_EndsAWaitWithoutTimeOut) {
    const EventHandle event = CreateAutoResetEvent();
    std::thread signaller([event] { SignalEvent(event); });
    EXPECT_EQ(WaitForEvent(event, kWaitForever), kWaitSignalled);
    signaller.join();
    CloseEvent(event);
}

TEST(Event, WaitForEither_TellsWhichOneWasSignalled) {
    const EventHandle first = CreateAutoResetEvent();
    const EventHandle second = CreateAutoResetEvent();
    EXPECT_EQ(WaitForEitherEvent(first, second, 1), kWaitTimeout);
    SignalEvent(second);
    EXPECT_EQ(WaitForEitherEvent(first, second, kWaitForever), 1u);
    SignalEvent(first);
    EXPECT_EQ(WaitForEitherEvent(first, second, kWaitForever), 0u);
    CloseEvent(first);
    CloseEvent(second);
}

TEST(Event, NullHandle_FailsAtOnceEverywhere) {
    EXPECT_EQ(WaitForEvent(nullptr, kWaitForever), kWaitFailed);
    EXPECT_FALSE(SignalEvent(nullptr));
    CloseEvent(nullptr);
}

TEST(Guid, TwoGuids_Differ_AndAreNotZero) {
    const Guid first = CreateGuid();
    const Guid second = CreateGuid();
    const Guid zero;
    EXPECT_NE(std::memcmp(&first, &second, sizeof first), 0);
    EXPECT_NE(std::memcmp(&first, &zero, sizeof first), 0);
}

TEST(HostPath, Directory_IsThePartUpToTheLastBackslash) {
    EXPECT_EQ(DirectoryWithBackslash("C:\\Class\\Room\\host.exe"), "C:\\Class\\Room\\");
    EXPECT_EQ(DirectoryWithBackslash("C:\\"), "C:\\");
}

TEST(HostPath, PathWithoutBackslash_GivesTheCurrentDirectory) {
    EXPECT_EQ(DirectoryWithBackslash("host.exe"), "");
    EXPECT_EQ(DirectoryWithBackslash("C:/Class/host.exe"), "");
    EXPECT_EQ(DirectoryWithBackslash(""), "");
}

TEST(AppendFile, File_IsMadeAndThenAppendedTo) {
    const std::string path =
        (std::filesystem::temp_directory_path() / ("vdipc-append-" + std::to_string(GetThreadNumber()) + "-" +
                                                   std::to_string(GetTickCountNow()) + ".txt"))
            .string();
    for (const char* text : {"one", "two"}) {
        AppendToFile(OpenAppendFile(path), text, 3);
    }
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "onetwo");
    file.close();
    std::error_code ignored;  // an open file stays, where the system keeps it
    std::filesystem::remove(path, ignored);
}

TEST(AppendFile, MissingDirectory_IsHarmless) {
    const std::string path =
        (std::filesystem::temp_directory_path() / "vdipc-no-such-directory" / "file.txt").string();
    const FileHandle file = OpenAppendFile(path);
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(file), -1);
    AppendToFile(file, "text", 4);
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace vdipc
