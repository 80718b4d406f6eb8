// The chosen channel in the real registry: what is called, in which order, and what a failure leaves behind.
#include "support/ImportHook_win32.h"
#include "unit/drivers/support/TQFixture.h"

#include <windows.h>

// Calls of the registry go through the program's import table, where a test can put itself in between.
extern "C" {
extern void* __imp_RegOpenKeyA;
extern void* __imp_RegCreateKeyA;
extern void* __imp_RegQueryValueExA;
extern void* __imp_RegSetValueExA;
extern void* __imp_RegCloseKey;
}

namespace vdipc::test {
namespace {

using testing::ElementsAre;

constexpr char kKeyName[] = "SOFTWARE\\ZVN\\VDShell";

std::vector<std::string>* g_calls = nullptr;
LSTATUS g_set_value_result = ERROR_SUCCESS;
decltype(&RegOpenKeyA) g_open = nullptr;
decltype(&RegCreateKeyA) g_create = nullptr;
decltype(&RegQueryValueExA) g_query = nullptr;
decltype(&RegSetValueExA) g_set = nullptr;
decltype(&RegCloseKey) g_close = nullptr;

LSTATUS Note(const std::string& call, LSTATUS result) {
    g_calls->push_back(call + (result == ERROR_SUCCESS ? " ok" : " failed"));
    return result;
}

LSTATUS APIENTRY NoteOpen(HKEY root, LPCSTR name, PHKEY key) {
    EXPECT_EQ(root, HKEY_CURRENT_USER);
    EXPECT_STREQ(name, kKeyName);
    return Note("open", g_open(root, name, key));
}

LSTATUS APIENTRY NoteCreate(HKEY root, LPCSTR name, PHKEY key) {
    EXPECT_EQ(root, HKEY_CURRENT_USER);
    EXPECT_STREQ(name, kKeyName);
    return Note("create", g_create(root, name, key));
}

LSTATUS APIENTRY NoteQuery(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
    EXPECT_STREQ(name, "using_channel");
    EXPECT_NE(type, nullptr);
    EXPECT_EQ(*size, 4u);
    return Note("query", g_query(key, name, reserved, type, data, size));
}

LSTATUS APIENTRY NoteSet(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    EXPECT_STREQ(name, "using_channel");
    EXPECT_EQ(type, static_cast<DWORD>(REG_DWORD));
    EXPECT_EQ(size, 4u);
    if (g_set_value_result != ERROR_SUCCESS) {
        return Note("set", g_set_value_result);
    }
    return Note("set", g_set(key, name, reserved, type, data, size));
}

LSTATUS APIENTRY NoteClose(HKEY key) {
    g_calls->push_back("close");
    return g_close(key);
}

class TQRegistryTest : public TQTest {
protected:
    TQRegistryTest() {
        Make(TQ2);
        g_calls = &calls_;
        g_set_value_result = ERROR_SUCCESS;
    }

    static constexpr DeviceType TQ2 = DeviceType::TQ2;

    void SetValue(DWORD type, const void* data, DWORD size) {
        ASSERT_EQ(RegSetKeyValueA(HKEY_CURRENT_USER, kKeyName, "using_channel", type, data, size),
                  ERROR_SUCCESS);
        calls_.clear();
    }
    std::int32_t Read() { return Access::ReadChannel(*object_); }
    void ExpectTold(std::int32_t channel) { ExpectLine(LogLevel::Info, fmt::format("channel: {}", channel)); }

    std::vector<std::string> calls_;
    ImportHook open_{&__imp_RegOpenKeyA, &NoteOpen, &g_open};
    ImportHook create_{&__imp_RegCreateKeyA, &NoteCreate, &g_create};
    ImportHook query_{&__imp_RegQueryValueExA, &NoteQuery, &g_query};
    ImportHook set_{&__imp_RegSetValueExA, &NoteSet, &g_set};
    ImportHook close_{&__imp_RegCloseKey, &NoteClose, &g_close};
};

TEST_F(TQRegistryTest, Read_ValueThere_GivesItAndClosesTheKey) {
    const DWORD value = 5;
    SetValue(REG_DWORD, &value, sizeof(value));
    EXPECT_EQ(Read(), 5);
    EXPECT_THAT(calls_, ElementsAre("open ok", "query ok", "close"));
    ExpectTold(5);
}

TEST_F(TQRegistryTest, Read_HighestBitSet_IsNegative) {
    const DWORD value = 0xFFFFFFFE;
    SetValue(REG_DWORD, &value, sizeof(value));
    EXPECT_EQ(Read(), -2);
}

TEST_F(TQRegistryTest, Read_NoKey_WarnsAndClosesAllTheSame) {
    EXPECT_EQ(Read(), -1);
    EXPECT_THAT(calls_, ElementsAre("open failed", "close"));
    ExpectLine(LogLevel::Warn, "Failed to RegOpenKey: SOFTWARE\\ZVN\\VDShell");
    ExpectTold(-1);
}

TEST_F(TQRegistryTest, Read_NoValue_Warns) {
    HKEY key = nullptr;
    ASSERT_EQ(g_create(HKEY_CURRENT_USER, kKeyName, &key), ERROR_SUCCESS);
    g_close(key);
    EXPECT_EQ(Read(), -1);
    EXPECT_THAT(calls_, ElementsAre("open ok", "query failed", "close"));
    ExpectLine(LogLevel::Warn, "Failed to RegQueryValueEx: using_channel");
    ExpectTold(-1);
}

TEST_F(TQRegistryTest, Read_ValueTooLong_Warns) {
    SetValue(REG_SZ, "seven", 6);
    EXPECT_EQ(Read(), -1);
    ExpectLine(LogLevel::Warn, "Failed to RegQueryValueEx: using_channel");
}

TEST_F(TQRegistryTest, Read_FourBytesOfAnotherType_AreTakenForANumber) {
    const BYTE bytes[] = {7, 0, 0, 0};
    SetValue(REG_BINARY, bytes, sizeof(bytes));
    EXPECT_EQ(Read(), 7);
}

TEST_F(TQRegistryTest, Write_NoKey_CreatesItAndSetsTheValue) {
    Access::WriteChannel(*object_, 7);
    EXPECT_THAT(calls_, ElementsAre("open failed", "create ok", "set ok", "close"));
    EXPECT_EQ(channel_.Get(), 7);
    EXPECT_THAT(log_.Lines(), testing::IsEmpty());
}

TEST_F(TQRegistryTest, Write_KeyThere_SetsTheValue) {
    channel_.Set(5);
    calls_.clear();
    Access::WriteChannel(*object_, 7);
    EXPECT_THAT(calls_, ElementsAre("open ok", "set ok", "close"));
    EXPECT_EQ(channel_.Get(), 7);
}

TEST_F(TQRegistryTest, Write_KeyCannotBeCreated_WarnsAndCloses) {
    // Below a key that doesn't outlive the system no other may be made.
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, "SOFTWARE\\ZVN", 0, nullptr, REG_OPTION_VOLATILE,
                              KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    g_close(key);
    calls_.clear();
    Access::WriteChannel(*object_, 7);
    EXPECT_THAT(calls_, ElementsAre("open failed", "create failed", "close"));
    ExpectLine(LogLevel::Warn, "Failed to RegCreateKey: SOFTWARE\\ZVN\\VDShell");
    EXPECT_EQ(channel_.Get(), std::nullopt);
}

TEST_F(TQRegistryTest, Write_ValueCannotBeSet_WarnsAndCloses) {
    channel_.Set(5);
    calls_.clear();
    g_set_value_result = ERROR_ACCESS_DENIED;
    Access::WriteChannel(*object_, 7);
    EXPECT_THAT(calls_, ElementsAre("open ok", "set failed", "close"));
    ExpectLine(LogLevel::Warn, "Failed to RegSetValueEx: value_name");
    EXPECT_EQ(channel_.Get(), 5);
}

}  // namespace
}  // namespace vdipc::test
