#include "tools/common/WideText.h"

#include <windows.h>

#include <shellapi.h>

namespace vdipc::tools {

std::wstring WideFromUtf8(const std::string& text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string Utf8FromWide(const std::wstring& text) {
    const int size = static_cast<int>(text.size());
    std::string narrow(static_cast<std::size_t>(
                           WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr)),
                       '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), static_cast<int>(narrow.size()),
                        nullptr, nullptr);
    return narrow;
}

std::wstring OwnDirectory() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.find_last_of(L'\\') + 1);
}

std::vector<std::string> Utf8Arguments() {
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> result;
    for (int i = 1; i < count; ++i) {
        result.push_back(Utf8FromWide(arguments[i]));
    }
    LocalFree(arguments);
    return result;
}

}  // namespace vdipc::tools
