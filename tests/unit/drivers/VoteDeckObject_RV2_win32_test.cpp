// The station's script and the closed library's file, on the real system calls.
#include "common/closed/Grundkit.h"
#include "support/ImportHook_win32.h"
#include "unit/drivers/support/ChildProgram_win32.h"
#include "unit/drivers/support/RV2Fixture.h"

#include <windows.h>

#include <shellapi.h>
#include <shlobj.h>

#include <filesystem>

// The slot through which this program calls the imported function.
extern "C" void* __imp_ShellExecuteExA;
extern "C" void* __imp_SHGetKnownFolderPath;

namespace vdipc::test {
namespace {

using testing::ElementsAre;

/// Exit codes of the job below, above all statuses.
constexpr int kStatusBase = 100;

std::string Folder(const std::string& program) {
    return program.substr(0, program.rfind('\\'));
}

BOOL WINAPI NoteExecution(SHELLEXECUTEINFOA* execute) {
    const auto text = [](const char* value) {
        return value == nullptr ? std::string("(none)") : std::string(value);
    };
    const bool rest_is_zero = execute->hInstApp == nullptr && execute->lpIDList == nullptr &&
                              execute->lpClass == nullptr && execute->hkeyClass == nullptr &&
                              execute->dwHotKey == 0 && execute->hIcon == nullptr &&
                              execute->hProcess == nullptr;
    WriteFileText(Folder(ThisProgram()) + "\\fields",
                  "size " + std::to_string(execute->cbSize) + ", mask " + std::to_string(execute->fMask) +
                      ", window " + std::to_string(reinterpret_cast<std::uintptr_t>(execute->hwnd)) +
                      ", verb " + text(execute->lpVerb) + ", file " + text(execute->lpFile) +
                      ", parameters " + text(execute->lpParameters) + ", directory " +
                      text(execute->lpDirectory) + ", show " + std::to_string(execute->nShow) + ", rest " +
                      (rest_is_zero ? "0" : "set"));
    return FALSE;
}

// The probe in a program that lies beside a script of the test's own: this program, copied.
const ChildJob g_probe("probe", [] {
    ResetClosedDoubles();
    ScriptedRV2 object;
    const DWORD start = GetTickCount();
    const std::int32_t status = object.RealProbe();
    WriteFileText(Folder(ThisProgram()) + "\\took", std::to_string(GetTickCount() - start));
    return kStatusBase + status;
});

// A whole check with the real probe: the station is up by the object's own account.
const ChildJob g_check("check", [] {
    class Real : public ScriptedRV2 {
        std::int32_t ProbeBaseStation() override { return RealProbe(); }
    };
    ResetClosedDoubles();
    HandlerRecorder handler;
    Real object;
    object.SetEventListener(&handler);
    object.status_ = -1;
    VoteDeckObject_RV2Access::CheckStatusTask(object);
    std::string told;
    for (const std::string& note : handler.TakeNotes()) {
        told += note + "\n";
    }
    WriteFileText(Folder(ThisProgram()) + "\\told", told);
    return kStatusBase + object.status_;
});

// What the system is asked to start, by a program whose path holds blanks. Nothing is started.
const ChildJob g_fields("fields", [] {
    decltype(&NoteExecution)* const not_called = nullptr;
    const ImportHook hook(&__imp_ShellExecuteExA, &NoteExecution, not_called);
    ResetClosedDoubles();
    ScriptedRV2 object;
    return kStatusBase + object.RealProbe();
});

class RV2ProbeTest : public testing::Test {
protected:
    RV2ProbeTest() { std::filesystem::copy_file(ThisProgram(), program_); }

    /// Wine's script host can't sleep.
    static std::string Wait(int seconds) {
        return "began = Timer\r\nDo While Abs(Timer - began) < " + std::to_string(seconds) + "\r\nLoop\r\n";
    }
    void Script(const std::string& text) { WriteFileText(folder_.File("rv2.vbs"), text); }
    std::int32_t Probe() { return static_cast<std::int32_t>(RunChildJob("probe", program_)) - kStatusBase; }

    /// A busy machine may not start the script host in time, which is no answer yet.
    std::int32_t ProbeUntilAnswered() {
        std::int32_t status = Probe();
        for (int i = 0; i < 20 && status == -2; ++i) {
            status = Probe();
        }
        return status;
    }

    // Without a blank in its path: that goes to the script host without quotes.
    TemporaryFolder folder_{"probe"};
    std::string program_ = folder_.File("probe.exe");
};

TEST_F(RV2ProbeTest, ExitCode2_StationIsUp) {
    Script("WScript.Quit 2");
    EXPECT_EQ(ProbeUntilAnswered(), -1);
}

TEST_F(RV2ProbeTest, ExitCode7_NoPower) {
    Script("WScript.Quit 7");
    EXPECT_EQ(ProbeUntilAnswered(), 0);
}

TEST_F(RV2ProbeTest, AnyOtherExitCode_UsbLinkMissing) {
    for (const char* code : {"0", "1", "3", "259"}) {
        Script(std::string("WScript.Quit ") + code);
        EXPECT_EQ(ProbeUntilAnswered(), 1) << code;
    }
}

TEST_F(RV2ProbeTest, ScriptIsMissing_UsbLinkMissing) {
    EXPECT_EQ(ProbeUntilAnswered(), 1);
}

TEST_F(RV2ProbeTest, ScriptRunsLongerThan2Seconds_NoAnswerAndItsProcessStaysAlive) {
    Script("Set files = CreateObject(\"Scripting.FileSystemObject\")\r\n"
           "folder = files.GetParentFolderName(WScript.ScriptFullName)\r\n"
           "began = Timer\r\n"
           "Do Until files.FileExists(folder & \"\\go on\") Or Abs(Timer - began) > 120\r\nLoop\r\n"
           "files.CreateTextFile(folder & \"\\alive\").Close\r\n"
           "WScript.Quit 2\r\n");
    EXPECT_EQ(Probe(), -2);
    const int took = std::stoi(ReadFileText(folder_.File("took")));
    EXPECT_GE(took, 1990);
    EXPECT_FALSE(std::filesystem::exists(folder_.File("alive")));
    WriteFileText(folder_.File("go on"), "");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!std::filesystem::exists(folder_.File("alive")) && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_TRUE(std::filesystem::exists(folder_.File("alive"))) << "the script was ended";
}

TEST_F(RV2ProbeTest, Check_ScriptRunsLongerThan2Seconds_ChangesNothing) {
    Script(Wait(4) + "WScript.Quit 7\r\n");
    EXPECT_EQ(static_cast<std::int32_t>(RunChildJob("check", program_)) - kStatusBase, -1);
    EXPECT_EQ(ReadFileText(folder_.File("told")), "");
}

TEST_F(RV2ProbeTest, Check_ScriptSaysNoPower_RemovedIsTold) {
    Script("WScript.Quit 7");
    std::int32_t status = -1;
    for (int i = 0; i < 20 && status == -1; ++i) {
        status = static_cast<std::int32_t>(RunChildJob("check", program_)) - kStatusBase;
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ReadFileText(folder_.File("told")), "removed no-power\nstatus 3 0\n");
}

TEST(RV2Probe, ProcessNotStarted_NoAnswerAndTheSystemGotExactlyTheseFields) {
    TemporaryFolder host("host with blanks");
    std::filesystem::copy_file(ThisProgram(), host.File("host.exe"));
    EXPECT_EQ(static_cast<std::int32_t>(RunChildJob("fields", host.File("host.exe"))) - kStatusBase, -2);
    EXPECT_EQ(ReadFileText(host.File("fields")), "size 112, mask 64, window 0, verb open, file wscript.exe, "
                                                 "parameters //e:vbscript " +
                                                     host.Path() +
                                                     "\\rv2.vbs, directory (none), show 0, rest 0");
}

TEST(RV2Address, StationAddress_IsInHostByteOrder) {
    EXPECT_EQ(VoteDeckObject_RV2Access::StationAddress(), 0xC0A8EA0Au);
}

class SdkConfigTest : public RV2Test {
protected:
    SdkConfigTest() {
        PWSTR local = nullptr;
        EXPECT_EQ(SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &local), S_OK);
        folder_ = std::filesystem::path(local) / L"HDP417K";
        CoTaskMemFree(local);
        std::filesystem::remove_all(folder_);
        log_.Clear();
    }
    ~SdkConfigTest() override { std::filesystem::remove_all(folder_); }

    std::filesystem::path folder_;
    const std::string shown_ = [] {
        PWSTR local = nullptr;
        SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &local);
        const std::wstring path = std::wstring(local) + L"\\HDP417K\\sdkConfig.txt";
        CoTaskMemFree(local);
        return CStringConvert::WString2String(path, 0);
    }();
};

TEST_F(SdkConfigTest, FileIsThere_IsDeleted) {
    std::filesystem::create_directories(folder_);
    WriteFileText((folder_ / "sdkConfig.txt").string(), "old address");
    Access::DeleteSdkConfigFile(*object_);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "sdkConfig.txt"));
    EXPECT_TRUE(std::filesystem::exists(folder_));
    EXPECT_THAT(log_.Rests(), ElementsAre("", "delete file " + shown_ + " result=1"));
    EXPECT_EQ(log_.Lines()[0].level, LogLevel::Trace);
    EXPECT_EQ(log_.Lines()[1].level, LogLevel::Debug);
}

TEST_F(SdkConfigTest, FileIsAbsent_IsOnlyLogged) {
    Access::DeleteSdkConfigFile(*object_);
    EXPECT_THAT(log_.Rests(), ElementsAre("", "file not exists " + shown_));
    EXPECT_EQ(log_.Lines()[1].level, LogLevel::Debug);
}

TEST_F(SdkConfigTest, DeletionFails_ChangesNothingFurther) {
    std::filesystem::create_directories(folder_ / "sdkConfig.txt");
    Access::DeleteSdkConfigFile(*object_);
    EXPECT_TRUE(std::filesystem::exists(folder_ / "sdkConfig.txt"));
    EXPECT_THAT(log_.Rests(), ElementsAre("", "delete file " + shown_ + " result=0"));
}

decltype(&SHGetKnownFolderPath) g_known_folder = nullptr;

HRESULT WINAPI KnowNoFolder(REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path) {
    *path = nullptr;
    return E_FAIL;
}

TEST_F(SdkConfigTest, FolderIsNotKnown_WhatLiesAtTheRootOfTheDriveStays) {
    const std::filesystem::path working = std::filesystem::current_path();
    std::filesystem::current_path(folder_.root_path());
    const std::filesystem::path others = folder_.root_path() / "HDP417K";
    std::filesystem::create_directories(others);
    WriteFileText((others / "sdkConfig.txt").string(), "another's");
    {
        const ImportHook unknown(&__imp_SHGetKnownFolderPath, &KnowNoFolder, &g_known_folder);
        Access::DeleteSdkConfigFile(*object_);
    }
    EXPECT_TRUE(std::filesystem::exists(others / "sdkConfig.txt"));
    EXPECT_THAT(log_.Rests(), ElementsAre("", "file not exists \\HDP417K\\sdkConfig.txt"));
    std::filesystem::remove_all(others);
    std::filesystem::current_path(working);
}

TEST_F(SdkConfigTest, Initialize_FileAbsent_GoesOnAsUsual) {
    EXPECT_CALL(deck_, SetListener(testing::_));
    EXPECT_CALL(deck_, InitSocket(0xC0A8EA0A, 4567, 10000)).WillOnce(testing::Return(0));
    EXPECT_CALL(deck_, SetSessionMode(6, 0));
    EXPECT_CALL(deck_, StartSession());
    EXPECT_CALL(deck_, SetSessionEnabled(true));
    EXPECT_EQ(object_->Initialize(), -1);
    EXPECT_CALL(deck_, CloseSocket());
    object_.reset();
}

}  // namespace
}  // namespace vdipc::test
