#include "common/closed/Grundkit.h"

#include <windows.h>

#include <cstddef>

std::wstring CStringConvert::String2WString(const std::string& text, unsigned int code_page) {
    const int length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(code_page, 0, text.data(), length, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(code_page, 0, text.data(), length, wide.data(), size);
    return wide;
}

std::string CStringConvert::WString2String(const std::wstring& text, unsigned int code_page) {
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(code_page, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(code_page, 0, text.data(), length, narrow.data(), size, nullptr, nullptr);
    return narrow;
}
