// Files and registry in every bad shape: the library starts, serves and stops all the same, and writes what it can.

#include "tests/system/support/FaultTest.h"

#include "tools/common/WideText.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vdipc::test {
namespace {

using Sets = std::map<std::string, std::set<std::string>>;

class FileFaults : public FaultTest {
protected:
    std::filesystem::path InStage(const std::string& name) const {
        return std::filesystem::path(Directory()) / tools::WideFromUtf8(name);
    }
};

// ---- devices.json ---------------------------------------------------------------------------------------------------

/// A host of its own, without a client, for files that are read at the start alone. Several run at once.
class FileHost {
public:
    explicit FileHost(const std::wstring& directory) : directory_(directory), log_(directory) {
        tools::PrepareStage(tools::OwnDirectory(), directory);
        std::filesystem::remove(directory_ / L"vdhost.exe");
        std::filesystem::copy_file(std::filesystem::path(tools::OwnDirectory()) / L"fault_host.exe",
                                   directory_ / L"vdhost.exe");
        tools::HostOptions options;
        options.directory = directory;
        options.environment["CLASSROOM_SAW_LIMIT"] = "500";
        options.on_output = [this](const std::string& line) {
            const std::lock_guard lock(mutex_);
            last_ = line;
        };
        host_ = std::make_unique<tools::Host>(options);
        EXPECT_TRUE(WaitForState("started"));
    }

    tools::Process& TheProcess() { return host_->TheProcess(); }
    bool WaitForEnd() { return host_->WaitForEnd(60000); }
    bool WaitForState(const std::string& state) {
        const bool said = WaitBriefly(
            [&] {
                const std::lock_guard lock(mutex_);
                return last_.find('"' + state + '"') != std::string::npos;
            },
            kStopDeadline);
        if (state == "down") {
            return said;
        }
        // A stop that comes before the library has made its pipe would find nothing to end its wait with.
        const bool listens = log_.WaitFor(" CreateServerPipe end", 1, kStopDeadline);
        log_.Mark();
        return said && listens;
    }

    void Put(const std::string& content) {
        std::ofstream(directory_ / L"devices.json", std::ios::binary) << content;
    }

    Sets Saved() const {
        Sets sets;
        const Json::Value root = Parsed(tools::ReadWholeFile((directory_ / L"devices.json").wstring()));
        for (const std::string& kind : root.getMemberNames()) {
            for (const Json::Value& device : root[kind]) {
                sets[kind].insert(device.asString());
            }
        }
        return sets;
    }

private:
    std::filesystem::path directory_;
    LogTail log_;
    std::mutex mutex_;
    std::string last_;
    std::unique_ptr<tools::Host> host_;
};

/// A file, and the sets that it puts in place of what was known.
struct Damage {
    std::string content;
    Sets replaced;
};

std::vector<Damage> AllDamages() {
    const std::string whole = R"({"RV2":["10","7"],"TQ1":["8"]})";
    std::vector<Damage> damages;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        damages.push_back({whole.substr(0, size), {}});
    }
    for (const char* const nothing :
         {"null", "[]", "7", "\"RV2\"", "{}", R"({"TQ1":7})", R"({"TQ1":null})", R"({"TQ9":["1"]})",
          R"({"TQ1":{"a":["1"]}})", R"({'TQ1':['1']})", "\r\n"}) {
        damages.push_back({nothing, {}});
    }
    damages.push_back({R"({"TQ1":)" + std::string(100000, '['), {}});
    damages.push_back({std::string(65536, '\0'), {}});
    damages.push_back({std::string(65536, '\xFF'), {}});
    damages.push_back({R"({"TQ1":["5"],"RV2":7})", {{"TQ1", {"5"}}}});
    damages.push_back({R"({"TQ1":[5,"6",{},[]]})", {{"TQ1", {"5", "6"}}}});
    damages.push_back({R"({"TQ2":["1"],"TQ2":["2","2"]})", {{"TQ2", {"2"}}}});
    damages.push_back({R"({"LW":[]})", {{"LW", {}}}});
    Damage many{"{\"RV1\":[\"1\"", {{"RV1", {"1"}}}};
    for (int device = 2; device <= 10000; ++device) {
        many.content += ",\"" + std::to_string(device) + '"';
        many.replaced["RV1"].insert(std::to_string(device));
    }
    many.content += "]}";
    damages.push_back(many);
    damages.push_back({whole, {{"RV2", {"10", "7"}}, {"TQ1", {"8"}}}});
    return damages;
}

TEST_F(FileFaults, DevicesFileDamagedInEveryWay_LeavesWhatWasKnown) {
    const std::vector<Damage> damages = AllDamages();
    constexpr std::size_t kHosts = 8;
    std::vector<std::unique_ptr<FileHost>> hosts;
    std::vector<std::unique_ptr<FaultRow>> rows;
    std::vector<Sets> known(kHosts);
    for (std::size_t i = 0; i < kHosts; ++i) {
        hosts.push_back(std::make_unique<FileHost>(Directory() + L"\\" + std::to_wstring(i)));
        ASSERT_FALSE(HasFailure());
    }
    const auto tell_all = [&hosts](const std::string& order, const std::string& state) {
        for (const auto& host : hosts) {
            host->TheProcess().WriteLine(order);
        }
        return std::all_of(hosts.begin(), hosts.end(),
                           [&state](const auto& host) { return host->WaitForState(state); });
    };
    ASSERT_TRUE(tell_all("stop", "down"));
    for (std::size_t at = 0; at < damages.size(); at += kHosts) {
        for (std::size_t i = 0; i < kHosts && at + i < damages.size(); ++i) {
            hosts[i]->Put(damages[at + i].content);
        }
        ASSERT_TRUE(tell_all("start", "up")) << at;
        ASSERT_TRUE(tell_all("stop", "down")) << at;
        for (std::size_t i = 0; i < kHosts && at + i < damages.size(); ++i) {
            Sets expected = known[i];
            for (const auto& [kind, devices] : damages[at + i].replaced) {
                expected[kind] = devices;
            }
            std::erase_if(expected, [](const auto& entry) { return entry.second.empty(); });
            Sets saved = hosts[i]->Saved();
            std::erase_if(saved, [](const auto& entry) { return entry.second.empty(); });
            EXPECT_EQ(saved, expected) << damages[at + i].content.substr(0, 100);
            known[i] = expected;
        }
        if (at == 0) {
            for (std::size_t i = 0; i < kHosts; ++i) {
                rows.push_back(std::make_unique<FaultRow>("devices.json damaged, host " + std::to_string(i),
                                                          hosts[i]->TheProcess().Id()));
            }
        } else {
            for (std::size_t i = 0; i < kHosts && at + i < damages.size(); ++i) {
                rows[i]->Count();
            }
        }
    }
    std::cout << "row devices.json damaged: " << damages.size() << " files" << std::endl;
    // Each host plays few files: all of them together may not hold a handle more for each file.
    std::size_t before = 0;
    std::size_t after = 0;
    std::size_t files = 0;
    for (std::size_t i = 0; i < kHosts; ++i) {
        rows[i]->Finish({FaultRow::kLockRoom, 0, 2 * FaultRow::kHeapRoomKib});
        before += rows[i]->Before().handles;
        after += rows[i]->Now().handles;
        files += rows[i]->Times();
        hosts[i]->TheProcess().CloseInput();
        EXPECT_TRUE(hosts[i]->WaitForEnd());
        EXPECT_EQ(hosts[i]->TheProcess().ExitCode(), 0U);
    }
    EXPECT_LT(after, before + files - 4);
}

// ---- disks that refuse ----------------------------------------------------------------------------------------------

/// A file that nobody else may open, as long as the object lives.
class LockedFile {
public:
    explicit LockedFile(const std::filesystem::path& path)
        : handle_(
              CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr)) {}
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;
    ~LockedFile() { CloseHandle(handle_); }
    bool IsLocked() const { return handle_ != INVALID_HANDLE_VALUE; }
    std::uint64_t Size() const {
        LARGE_INTEGER size{};
        GetFileSizeEx(handle_, &size);
        return static_cast<std::uint64_t>(size.QuadPart);
    }

private:
    HANDLE handle_;
};

TEST_F(FileFaults, DevicesFileThatCantBeOpened_CostsTheSavingAlone) {
    std::filesystem::create_directory(InStage("devices.json"));
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 5);
    FaultRow row("devices.json can't be opened", HostId());
    for (std::size_t round = 0; round < Repeated(20); ++round) {
        if (round == 10) {
            // The other way to refuse: somebody holds it.
            std::filesystem::remove(InStage("devices.json"));
        }
        std::unique_ptr<LockedFile> locked;
        if (round >= 10) {
            locked = std::make_unique<LockedFile>(InStage("devices.json"));
            ASSERT_TRUE(locked->IsLocked());
        }
        Tail().Mark();
        Do(R"({"do":"leave","from":1,"to":5})");
        Do(R"({"do":"connect","from":1,"to":5})");
        for (int pupil = 1; pupil <= 5; ++pupil) {
            client.Expect("inactivated", R"({"device":")" + std::to_string(pupil) + R"("})");
            client.Expect("activated", R"({"device":")" + std::to_string(pupil) + R"("})");
        }
        Tail().Refresh();
        EXPECT_EQ(Tail().Count("open file failed. file_path="), 10U);
        row.Count(10);
    }
    Do(R"({"do":"leave","keypad":5})");
    client.Expect("inactivated");
    EXPECT_EQ(Parsed(GetFile("devices.json"))["RV2"].size(), 4U);
    row.Finish();
}

TEST_F(FileFaults, LogFileLocked_CostsTheLogAlone) {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    char name[64] = {};
    std::snprintf(name, sizeof name, "vote_deck.%d.%02d.%02d.log", now.wYear, now.wMonth, now.wDay);
    const LockedFile locked(InStage(name));
    ASSERT_TRUE(locked.IsLocked());
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 5);
    FaultRow row("log file locked", HostId());
    for (std::size_t round = 0; round < Repeated(50); ++round) {
        client.Send("ask 0 single-choice custom=l" + std::to_string(round));
        PassTasks(client);
        Do(R"({"do":"key","from":1,"to":5,"key":"C"})");
        for (int pupil = 1; pupil <= 5; ++pupil) {
            client.Expect("key-pressed", R"({"key":"C","device":")" + std::to_string(pupil) +
                                             R"(","custom":"l)" + std::to_string(round) + R"("})");
        }
        row.Count();
    }
    EXPECT_EQ(locked.Size(), 0U);
    row.Finish();
    Stop();
    EXPECT_EQ(locked.Size(), 0U);
}

TEST_F(FileFaults, AudioDirectoryMissingOrAFile_CostsTheFilesAlone) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 5);
    client.Send("ask 0 voice-record custom=diary");
    PassTasks(client);
    const std::filesystem::path directory = InStage("ZVN");
    const auto files = [&directory] {
        return std::filesystem::is_directory(directory)
                   ? std::distance(std::filesystem::directory_iterator(directory), {})
                   : 0;
    };
    std::size_t told = 0;
    const auto speak = [&] {
        Do(R"({"do":"audio","from":1,"to":5,"make":"tone","bytes":6444})");
        told += 5;
        ASSERT_TRUE(WaitFor([&] { return client.All("voice-record").size() >= told; }));
        PassTasks(client);
    };
    speak();
    EXPECT_EQ(files(), 5);
    FaultRow row("audio directory missing or a file", HostId());
    for (std::size_t round = 0; round < Repeated(20); ++round) {
        std::filesystem::remove_all(directory);
        if (round % 2 == 1) {
            std::ofstream(directory) << "no directory";
        }
        speak();
        EXPECT_FALSE(std::filesystem::is_directory(directory)) << "the directory is made at the start alone";
        row.Count(5);
    }
    EXPECT_EQ(client.All("voice-record").size(), told);
    row.Finish();
    std::filesystem::remove_all(directory);
    std::filesystem::create_directory(directory);
    speak();
    EXPECT_EQ(files(), 5);
}

TEST_F(FileFaults, AudioDirectoryThatCantBeMade_HindersNoStart) {
    std::ofstream(InStage("ZVN")) << "no directory";
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 1);
    client.Send("ask 1 voice-record custom=diary");
    PassTasks(client);
    Do(R"({"do":"audio","keypad":1,"make":"tone","bytes":32044})");
    EXPECT_FALSE(client.Expect("voice-record")["extra"].asString().empty());
    EXPECT_EQ(GetFile("ZVN"), "no directory");
}

// ---- registry -------------------------------------------------------------------------------------------------------

/// A key that is the test's own, gone with the object. The prefix is ours alone meanwhile.
class TestKey {
public:
    TestKey(HKEY root, const char* name) : root_(root), name_(name) { Remove(); }
    TestKey(const TestKey&) = delete;
    TestKey& operator=(const TestKey&) = delete;
    ~TestKey() { Remove(); }

    void Remove() const { RegDeleteKeyA(root_, name_); }
    bool Set(const char* value, DWORD type, const std::string& bytes) const {
        HKEY key = nullptr;
        const bool made = RegCreateKeyA(root_, name_, &key) == ERROR_SUCCESS;
        const bool set =
            made && (value == nullptr ||
                     RegSetValueExA(key, value, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                                    static_cast<DWORD>(bytes.size())) == ERROR_SUCCESS);
        RegCloseKey(key);
        return set;
    }
    /// The value's bytes behind its type.
    std::pair<DWORD, std::string> Get(const char* value) const {
        HKEY key = nullptr;
        DWORD type = REG_NONE;
        char bytes[64] = {};
        DWORD size = sizeof bytes;
        if (RegOpenKeyA(root_, name_, &key) != ERROR_SUCCESS ||
            RegQueryValueExA(key, value, nullptr, &type, reinterpret_cast<BYTE*>(bytes), &size) !=
                ERROR_SUCCESS) {
            type = REG_NONE;
            size = 0;
        }
        RegCloseKey(key);
        return {type, std::string(bytes, size)};
    }

private:
    HKEY root_;
    const char* name_;
};

/// Plays each of the shapes, the first one once before the row measures. Fewer handles than shapes may be held after it.
template <typename Shape, std::size_t kCount, typename Play>
void FinishWithEach(FaultRow& row, const Shape (&shapes)[kCount], const Play& play) {
    play(shapes[0]);
    row.FinishPlaying(
        [&] {
            for (std::size_t round = 0; round < Repeated(1); ++round) {
                for (const Shape& shape : shapes) {
                    ASSERT_NO_FATAL_FAILURE(play(shape));
                    row.Count();
                }
            }
        },
        {kCount - 2, 0, FaultRow::kHeapRoomKib});
}

TEST_F(FileFaults, TempPathInRegistryOfAnyShape_GivesADirectoryOrTheFallBack) {
    const TestKey key(HKEY_LOCAL_MACHINE, "SOFTWARE\\ZVN\\daemon");
    if (!key.Set(nullptr, REG_NONE, {})) {
        GTEST_SKIP() << "the machine's registry can't be written";
    }
    UseCycleHost();
    Start();
    FaultRow row("temp path in the registry", HostId());
    const std::string here = tools::Utf8FromWide(Directory()) + "\\";
    struct Shape {
        const char* name;
        DWORD type;
        std::string bytes;
        std::string directory;  // that is made; the first level of a path without a root never is
    };
    const Shape shapes[] = {{"no value", REG_NONE, "", "ZVN"},
                            {"text", REG_SZ, here + "a\\b\\c" + '\0', "a\\b\\c\\stuAudios"},
                            {"text without its end", REG_SZ, here + "d", "d\\stuAudios"},
                            {"text of another type", REG_BINARY, here + "e" + '\0', "e\\stuAudios"},
                            {"number, taken for a short text", REG_DWORD, std::string("num\0", 4), ""},
                            {"too long", REG_SZ, here + std::string(300, 'x') + '\0', "ZVN"}};
    const auto play = [&](const Shape& shape) {
        key.Remove();
        ASSERT_TRUE(key.Set(shape.type == REG_NONE ? nullptr : "temp path", shape.type, shape.bytes))
            << shape.name;
        std::filesystem::remove_all(InStage("ZVN"));
        ASSERT_TRUE(WaitForListening());
        ASSERT_TRUE(Tell("again", "again", kStopDeadline)) << shape.name;
        ASSERT_TRUE(WaitForListening());
        if (shape.directory.empty()) {
            EXPECT_FALSE(std::filesystem::exists(InStage("num")) ||
                         std::filesystem::exists(InStage("stuAudios")));
        } else {
            EXPECT_TRUE(std::filesystem::is_directory(InStage(shape.directory))) << shape.name;
        }
        EXPECT_EQ(std::filesystem::is_directory(InStage("ZVN")), shape.directory == "ZVN") << shape.name;
    };
    FinishWithEach(row, shapes, play);
}

TEST_F(FileFaults, ChannelInRegistryOfAnyShape_IsTakenForWhatItsBytesSay) {
    environment_["CLASSROOM_PLUGGED"] = "TQ2";
    const TestKey key(HKEY_CURRENT_USER, "SOFTWARE\\ZVN\\VDShell");
    Start();
    TestClient client;
    Init(client);
    FaultRow row("channel in the registry", HostId());
    struct Shape {
        const char* name;
        DWORD type;
        std::string bytes;
        int set;  // the channel that the receiver is set to; -1: none, and the receiver's own is saved
    };
    const Shape shapes[] = {{"no key", REG_NONE, "", -1},
                            {"number", REG_DWORD, std::string("\5\0\0\0", 4), 5},
                            {"number below zero", REG_DWORD, "\xFE\xFF\xFF\xFF", -1},
                            {"bytes", REG_BINARY, std::string("\11\0\0\0", 4), 9},
                            {"text, too long", REG_SZ, std::string("12345\0", 6), -1},
                            {"short text", REG_SZ, std::string("5\0", 2), -1},
                            {"long number", REG_QWORD, std::string("\5\0\0\0\0\0\0\0", 8), -1}};
    const auto play = [&](const Shape& shape) {
        key.Remove();
        ASSERT_TRUE(shape.type == REG_NONE || key.Set("using_channel", shape.type, shape.bytes))
            << shape.name;
        Do(R"({"do":"reset-saw"})");
        // The receiver tells its channel anew each time.
        Do(R"({"do":"device-info","kind":"TQ2","text":"{\"Channel\":\"7\"}"})");
        client.Send("init audio");
        client.Expect("device-inited");
        const std::vector<Json::Value> calls = Calls("SetChannel");
        if (shape.set >= 0) {
            ASSERT_EQ(calls.size(), 1U) << shape.name;
            EXPECT_EQ(calls[0]["args"]["channel"], shape.set) << shape.name;
            EXPECT_EQ(key.Get("using_channel"), std::make_pair(shape.type, shape.bytes)) << shape.name;
        } else {
            EXPECT_TRUE(calls.empty()) << shape.name;
            EXPECT_EQ(key.Get("using_channel"), std::make_pair(DWORD{REG_DWORD}, std::string("\7\0\0\0", 4)))
                << shape.name;
        }
    };
    FinishWithEach(row, shapes, play);
}

}  // namespace
}  // namespace vdipc::test
