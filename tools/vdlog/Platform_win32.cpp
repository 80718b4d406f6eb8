#include "tools/vdlog/Platform.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

namespace vdipc::log {
namespace {

std::string Utf8Of(const wchar_t* text, int length) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(size > 0 ? size : 0), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, length, result.data(), size, nullptr, nullptr);
    return result;
}

class CodePageConverter final : public Converter {
public:
    explicit CodePageConverter(UINT code_page) : code_page_(code_page) {}

    bool ToUtf8(std::string_view bytes, std::string& text) override {
        text.clear();
        if (bytes.empty()) {
            return true;
        }
        const int length = static_cast<int>(std::min<std::size_t>(bytes.size(), 1 << 20));
        bool good = true;
        int size = MultiByteToWideChar(code_page_, MB_ERR_INVALID_CHARS, bytes.data(), length, nullptr, 0);
        if (size == 0) {
            good = false;
            size = MultiByteToWideChar(code_page_, 0, bytes.data(), length, nullptr, 0);
        }
        std::wstring wide(static_cast<std::size_t>(size), L'\0');
        MultiByteToWideChar(code_page_, 0, bytes.data(), length, wide.data(), size);
        text = Utf8Of(wide.data(), size);
        return good;
    }

private:
    UINT code_page_;
};

bool IsTerminal(DWORD which) {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(which), &mode) != 0;
}

}  // namespace

std::vector<std::string> Arguments(int, char**) {
    // What main() gets is in the active code page, and has lost what that can't hold.
    int count = 0;
    wchar_t** const values = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) {
        std::string argument = Utf8Of(values[i], -1);
        argument.resize(argument.find('\0') == std::string::npos ? argument.size() : argument.find('\0'));
        arguments.push_back(std::move(argument));
    }
    LocalFree(values);
    return arguments;
}

std::filesystem::path PathOf(const std::string& text) {
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
    return wide;
}

void PrepareStreams() {
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
}

bool IsOutputTerminal() {
    return IsTerminal(STD_OUTPUT_HANDLE);
}

bool IsErrorTerminal() {
    return IsTerminal(STD_ERROR_HANDLE);
}

bool IsClosedPipe(int reason) {
    // The C library has no word of its own for a pipe whose other end is being closed.
    return reason == EPIPE || ((reason == EINVAL || reason == 0) &&
                               GetFileType(GetStdHandle(STD_OUTPUT_HANDLE)) == FILE_TYPE_PIPE);
}

std::unique_ptr<Converter> MakeConverter(const std::string& name) {
    static constexpr std::pair<const char*, UINT> kNames[] = {
        {"utf-8", CP_UTF8}, {"utf8", CP_UTF8}, {"gbk", 936},          {"gb2312", 936},   {"gb18030", 54936},
        {"big5", 950},      {"latin1", 28591}, {"iso-8859-1", 28591}, {"shift_jis", 932}};
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    UINT code_page = 0;
    for (const auto& [known, number] : kNames) {
        if (lower == known) {
            code_page = number;
        }
    }
    for (const std::string prefix : {"windows-", "cp", ""}) {
        if (code_page == 0 && lower.rfind(prefix, 0) == 0) {
            code_page = static_cast<UINT>(std::strtoul(lower.c_str() + prefix.size(), nullptr, 10));
        }
    }
    if (code_page == 0 || IsValidCodePage(code_page) == FALSE) {
        return nullptr;
    }
    return std::make_unique<CodePageConverter>(code_page);
}

}  // namespace vdipc::log
