#include "tests/system/support/RawPipe.h"

#include "pipe/PipeServer.h"

#include <windows.h>

#include <cstring>

namespace vdipc::test {

bool RawPipe::Open() {
    Close();
    pipe_ = CreateFileA(kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (pipe_ == INVALID_HANDLE_VALUE) {
        pipe_ = nullptr;
    }
    return pipe_ != nullptr;
}

void RawPipe::Close() {
    if (pipe_ != nullptr) {
        CloseHandle(pipe_);
        pipe_ = nullptr;
    }
}

bool RawPipe::IsOpen() const {
    return pipe_ != nullptr;
}

bool RawPipe::Write(const std::string& bytes) {
    DWORD written = 0;
    return WriteFile(pipe_, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) != FALSE &&
           written == bytes.size();
}

bool RawPipe::WriteAndDrain(const std::string& bytes) {
    return Write(bytes) && FlushFileBuffers(pipe_) != FALSE;
}

std::size_t RawPipe::Available() const {
    DWORD available = 0;
    return PeekNamedPipe(pipe_, nullptr, 0, nullptr, &available, nullptr) != FALSE ? available : 0;
}

std::string RawPipe::Read(std::size_t size, std::chrono::milliseconds timeout) {
    std::string bytes;
    while (bytes.size() < size && WaitBriefly([this] { return Available() > 0 || IsLost(); }, timeout) &&
           !IsLost()) {
        std::string part(size - bytes.size(), '\0');
        DWORD got = 0;
        if (ReadFile(pipe_, part.data(), static_cast<DWORD>(part.size()), &got, nullptr) == FALSE) {
            break;
        }
        bytes.append(part, 0, got);
    }
    return bytes;
}

bool RawPipe::IsLost() const {
    return PeekNamedPipe(pipe_, nullptr, 0, nullptr, nullptr, nullptr) == FALSE;
}

bool RawPipe::WaitUntilLost(std::chrono::milliseconds timeout) const {
    return WaitBriefly([this] { return IsLost(); }, timeout);
}

std::string Header(std::int32_t type, std::int32_t length, std::int32_t command) {
    const std::int32_t fields[3] = {type, length, command};
    std::string bytes(sizeof fields, '\0');
    std::memcpy(bytes.data(), fields, sizeof fields);
    return bytes;
}

void Breathe() {
    Sleep(1);
}

}  // namespace vdipc::test
