#include "unit/drivers/support/ChildProgram_win32.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <system_error>

#include <gtest/gtest.h>

namespace vdipc::test {
namespace {

constexpr const char* kJobVariable = "VDIPC_DRIVERS_CHILD_JOB";

std::map<std::string, std::function<int()>>& Jobs() {
    static std::map<std::string, std::function<int()>> jobs;
    return jobs;
}

/// Does the job ahead of all tests, and ends the process.
class JobEnvironment : public testing::Environment {
public:
    void SetUp() override {
        char names[128] = {};
        if (GetEnvironmentVariableA(kJobVariable, names, sizeof(names)) == 0) {
            return;
        }
        const std::string all = names;
        const std::size_t end = all.find(';');
        SetEnvironmentVariableA(kJobVariable, end == std::string::npos ? nullptr : names + end + 1);
        const auto job = Jobs().find(all.substr(0, end));
        const int code = job == Jobs().end() ? 9997 : job->second();
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
    }
};

const testing::Environment* const g_environment = testing::AddGlobalTestEnvironment(new JobEnvironment());

}  // namespace

ChildJob::ChildJob(const std::string& name, std::function<int()> job) {
    Jobs()[name] = std::move(job);
}

std::string ThisProgram() {
    char path[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    return path;
}

std::uint32_t RunChildJob(const std::string& names, const std::string& program) {
    const std::string path = program.empty() ? ThisProgram() : program;
    std::string command_line = "\"" + path + "\"";
    STARTUPINFOA startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    SetEnvironmentVariableA(kJobVariable, names.c_str());
    // The job is one of the framework's surroundings, which stay away where a filter leaves no test.
    SetEnvironmentVariableA("GTEST_FILTER", nullptr);
    const BOOL started = CreateProcessA(path.c_str(), command_line.data(), nullptr, nullptr, FALSE, 0,
                                        nullptr, nullptr, &startup, &process);
    SetEnvironmentVariableA(kJobVariable, nullptr);
    if (!started) {
        return 9998;
    }
    DWORD code = 9999;
    if (WaitForSingleObject(process.hProcess, 60000) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process.hProcess, &code);
    } else {
        TerminateProcess(process.hProcess, code);
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

TemporaryFolder::TemporaryFolder(const std::string& name) {
    char temporary[MAX_PATH] = {};
    GetTempPathA(MAX_PATH, temporary);
    path_ = std::string(temporary) + "vdipc-" + std::to_string(GetCurrentProcessId()) + "-" +
            std::to_string(GetTickCount()) + "-" + name;
    std::filesystem::create_directories(path_);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string ReadFileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteFileText(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
}

}  // namespace vdipc::test
