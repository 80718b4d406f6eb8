// The classroom's platform where there is no Windows: no windows to notify, and an active code page of Latin-1.
#if !defined(_WIN32)

#include "classroom/system/Platform.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace vdipc::classroom::platform {
namespace {

void Put(std::string& utf8, std::uint32_t code) {
    if (code < 0x80) {
        utf8.push_back(static_cast<char>(code));
    } else if (code < 0x800) {
        utf8.push_back(static_cast<char>(0xC0 | (code >> 6)));
        utf8.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
        utf8.push_back(static_cast<char>(0xE0 | (code >> 12)));
        utf8.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        utf8.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else {
        utf8.push_back(static_cast<char>(0xF0 | (code >> 18)));
        utf8.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
        utf8.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        utf8.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
}

}  // namespace

std::string Utf8FromActive(const std::string& text) {
    std::string utf8;
    for (const char c : text) {
        Put(utf8, static_cast<unsigned char>(c));
    }
    return utf8;
}

std::string Utf8FromWide(const wchar_t* text) {
    std::string utf8;
    for (; *text != L'\0'; ++text) {
        Put(utf8, static_cast<std::uint32_t>(*text));
    }
    return utf8;
}

std::filesystem::path HostDirectory() {
    return std::filesystem::temp_directory_path();
}

std::uint32_t ThreadNumber() {
    static std::atomic<std::uint32_t> count{0};
    thread_local const std::uint32_t number = ++count;
    return number;
}

std::string Environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

void StayLoaded() {}

void WriteError(const std::string& text) {
    std::fputs(text.c_str(), stderr);
}

int SendUsbNotice(const UsbNotice&, std::uint32_t) {
    return 0;
}

}  // namespace vdipc::classroom::platform

#endif
