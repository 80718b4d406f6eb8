// The audio directory on the real file system and the real registry.
#include "support/HandlerTest.h"

#include <array>
#include <cstring>

#include <windows.h>

namespace vdipc::test {
namespace {

constexpr char kKey[] = "SOFTWARE\\ZVN\\daemon";

class HandlerPaths : public HandlerTest {
protected:
    HandlerPaths() { RegDeleteKeyA(HKEY_LOCAL_MACHINE, kKey); }
    ~HandlerPaths() override { RegDeleteKeyA(HKEY_LOCAL_MACHINE, kKey); }

    static void SetTempPath(const std::string& value, DWORD bytes, const char* name = "temp path") {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, kKey, &key), ERROR_SUCCESS);
        ASSERT_EQ(RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()), bytes),
                  ERROR_SUCCESS);
        RegCloseKey(key);
    }

    std::string Retrieve() {
        std::array<char, 260> buffer{};
        std::memset(buffer.data(), 'x', buffer.size() - 1);
        Access::RetrieveAudioStoragePathFromRegistry(handler(), buffer.data());
        return buffer.data();
    }

    static std::string TemporaryZvn() {
        char path[MAX_PATH] = {};
        GetTempPathA(MAX_PATH, path);
        return std::string(path) + "ZVN";
    }

    bool CreateMultiDir(const char* path) { return Access::CreateMultiDir(handler(), path); }
};

TEST_F(HandlerPaths, WithoutTheKey_IsTheTemporaryDirectorysZvn) {
    std::filesystem::remove_all(TemporaryZvn());
    EXPECT_EQ(Retrieve(), TemporaryZvn());
    EXPECT_TRUE(std::filesystem::is_directory(TemporaryZvn())) << "made when it is missing";
    EXPECT_EQ(Retrieve(), TemporaryZvn());
}

TEST_F(HandlerPaths, KeyWithoutTheValue_IsTheTemporaryDirectorysZvn) {
    SetTempPath("C:\\elsewhere", 13, "another value");
    EXPECT_EQ(Retrieve(), TemporaryZvn());
}

TEST_F(HandlerPaths, RegistryValue_IsTheParentOfStuAudios) {
    SetTempPath("C:\\recordings", 14);
    EXPECT_EQ(Retrieve(), "C:\\recordings\\stuAudios");
    SetTempPath("C:\\recordings\\", 15);
    EXPECT_EQ(Retrieve(), "C:\\recordings\\stuAudios");
}

TEST_F(HandlerPaths, ValueStoredWithoutItsTerminator_IsTakenAsLongAsItIs) {
    SetTempPath("C:\\recordings", 13);
    EXPECT_EQ(Retrieve(), "C:\\recordings\\stuAudios");
}

TEST_F(HandlerPaths, ValueThatIsTooLong_FallsBackToTheTemporaryDirectory) {
    const std::string value = "C:\\" + std::string(300, 'a');
    SetTempPath(value, static_cast<DWORD>(value.size() + 1));
    EXPECT_EQ(Retrieve(), TemporaryZvn());
}

TEST_F(HandlerPaths, CreateMultiDir_BuildsAllMissingLevels) {
    const std::string base = std::filesystem::current_path().string();
    const std::string path = base + "\\one\\two\\three";
    EXPECT_TRUE(CreateMultiDir(path.c_str()));
    EXPECT_TRUE(std::filesystem::is_directory(path));
}

TEST_F(HandlerPaths, CreateMultiDirOfADirectoryThatExists_IsTrueAtOnce) {
    const std::string base = std::filesystem::current_path().string();
    log().Clear();
    EXPECT_TRUE(CreateMultiDir(base.c_str()));
    EXPECT_EQ(log().OfFunction("IpcHandler::CreateMultiDir").size(), 1u) << "no step up";
}

TEST_F(HandlerPaths, CreateMultiDirWithoutABackslash_IsFalse) {
    EXPECT_FALSE(CreateMultiDir(nullptr));
    EXPECT_FALSE(CreateMultiDir(""));
    EXPECT_FALSE(CreateMultiDir("C:"));
    EXPECT_FALSE(CreateMultiDir("plain"));
    EXPECT_FALSE(std::filesystem::exists("plain"));
}

TEST_F(HandlerPaths, CreateMultiDirBelowAFile_IsFalse) {
    const std::string file = std::filesystem::current_path().string() + "\\file";
    WriteFile(file, "x");
    EXPECT_FALSE(CreateMultiDir((file + "\\below").c_str()));
    EXPECT_FALSE(CreateMultiDir(file.c_str())) << "a file is no directory, and can't become one";
}

TEST_F(HandlerPaths, CreateMultiDirAtTheRootOfTheDrive_StopsAtTheFirstCharacter) {
    log().Clear();
    const std::string name = "\\vdipc-" + std::to_string(GetCurrentProcessId());
    EXPECT_TRUE(CreateMultiDir(name.c_str()));
    EXPECT_EQ(log().OfFunction("IpcHandler::CreateMultiDir").size(), 2u)
        << "once for the empty text before it";
    std::filesystem::remove(name);
}

TEST_F(HandlerPaths, CreateMultiDirOfAParentBeyond259Characters_EndsTheProcess) {
    const std::string longest = "\\" + std::string(258, 'a');
    EXPECT_FALSE(CreateMultiDir((longest + "\\b").c_str())) << "fits, but no directory can have such a name";
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(CreateMultiDir((longest + "a\\b").c_str()), "");
}

}  // namespace
}  // namespace vdipc::test
