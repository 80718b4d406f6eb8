#include "tools/common/Stage.h"

#include "tools/common/WideText.h"

#include <windows.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace vdipc::tools {
namespace {

constexpr const wchar_t* kFiles[] = {L"vdhost.exe",   L"VDIPC.dll",     L"Classroom.dll",
                                     L"Grundkit.dll", L"Trackwire.dll", L"SocketVoteDeck.dll",
                                     L"VoteDeck.dll", L"ZVNSpeech.dll", L"rv2.vbs"};

/// A link is quick and gives the same path to the program; where links can't be made, a copy does.
void Place(const std::filesystem::path& from, const std::filesystem::path& to) {
    DeleteFileW(to.c_str());
    if (CreateHardLinkW(to.c_str(), from.c_str(), nullptr) == FALSE &&
        CopyFileW(from.c_str(), to.c_str(), FALSE) == FALSE) {
        const DWORD error = GetLastError();
        throw std::runtime_error(
            "can't put " + Utf8FromWide(from.wstring()) + " to " + Utf8FromWide(to.wstring()) + ": " +
            SystemErrorText(error) +
            (error == ERROR_SHARING_VIOLATION
                 ? ". A host still runs in that folder, or another program holds the file: "
                   "end it first, or use another folder"
                 : ""));
    }
}

}  // namespace

void PrepareStage(const std::wstring& source, const std::wstring& directory) {
    const std::filesystem::path from(source);
    const std::filesystem::path to(directory);
    std::filesystem::create_directories(to);
    for (const wchar_t* const file : kFiles) {
        Place(from / file, to / file);
    }
}

std::string ReadWholeFile(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::wstring FindLogFile(const std::wstring& directory) {
    std::wstring found;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(directory))) {
        const std::wstring name = entry.path().filename().wstring();
        if (name.starts_with(L"vote_deck.") && name.ends_with(L".log") && entry.path().wstring() > found) {
            found = entry.path().wstring();
        }
    }
    return found;
}

Host::Host(const HostOptions& options) {
    const std::filesystem::path directory(options.directory);
    const std::filesystem::path port_file = directory / L"classroom.port";
    std::error_code ignored;
    std::filesystem::remove(port_file, ignored);
    ProcessOptions process;
    process.executable = (directory / L"vdhost.exe").wstring();
    process.arguments = options.arguments;
    process.directory = directory.wstring();
    process.environment = options.environment;
    process.environment.emplace("CLASSROOM_PORT", "0");
    process.on_output = [this, heard = options.on_output](const std::string& line) {
        if (line.find(R"("state":"stopped")") != std::string::npos) {
            last_word_ = true;
        }
        if (heard) {
            heard(line);
        }
    };
    process.on_error = [this, heard = options.on_error](const std::string& line) {
        if (line.starts_with("terminate called")) {
            last_word_ = true;
        }
        if (heard) {
            heard(line);
        } else {
            std::cerr << line << std::endl;
        }
    };
    process_ = std::make_unique<Process>(process);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (;;) {
        const std::string port = ReadWholeFile(port_file.wstring());
        if (!port.empty()) {
            port_ = std::stoi(port);
            break;
        }
        if (!process_->IsRunning()) {
            throw std::runtime_error("vdhost.exe ended at once, with exit code " +
                                     std::to_string(process_->ExitCode()));
        }
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("the simulated classroom has not come up within 30 seconds");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    classroom_ = std::make_unique<ClassroomClient>(port_);
}

bool Host::WaitForEnd(std::uint32_t timeout_ms) {
    if (process_->Wait(timeout_ms)) {
        return true;
    }
    if (last_word_) {
        throw HungAtItsEnd();
    }
    return false;
}

}  // namespace vdipc::tools
