#include "common/closed/Grundkit.h"
#include "doubles/ClosedDoubles.h"
#include "doubles/InsideDouble.h"

#include <mutex>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <iconv.h>

#include <map>
#include <utility>
#endif

namespace vdipc::test {

namespace {

std::mutex g_mutex;
std::string g_active = "CP1252";

}  // namespace

void SetActiveCodePage(const std::string& iconv_name) {
    std::lock_guard lock(g_mutex);
    g_active = iconv_name;
}

void SetActiveCodePageDefault() {
    SetActiveCodePage("CP1252");
}

}  // namespace vdipc::test

#if defined(_WIN32)

std::wstring CStringConvert::String2WString(const std::string& text, unsigned int code_page) {
    const vdipc::test::InsideDouble inside;
    ++vdipc::test::conversions;
    const int size = static_cast<int>(text.size());
    std::wstring wide(
        static_cast<std::size_t>(MultiByteToWideChar(code_page, 0, text.data(), size, nullptr, 0)), L'\0');
    MultiByteToWideChar(code_page, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string CStringConvert::WString2String(const std::wstring& text, unsigned int code_page) {
    const vdipc::test::InsideDouble inside;
    ++vdipc::test::conversions;
    const int size = static_cast<int>(text.size());
    std::string narrow(static_cast<std::size_t>(WideCharToMultiByte(code_page, 0, text.data(), size, nullptr,
                                                                    0, nullptr, nullptr)),
                       '\0');
    WideCharToMultiByte(code_page, 0, text.data(), size, narrow.data(), static_cast<int>(narrow.size()),
                        nullptr, nullptr);
    return narrow;
}

#else

namespace {

std::string CodePageName(unsigned int code_page) {
    if (code_page == 65001) {
        return "UTF-8";
    }
    std::lock_guard lock(vdipc::test::g_mutex);
    return vdipc::test::g_active;
}

/// A converter stays open: the system would load and unload its tables for each text.
class Converter {
public:
    Converter(const std::string& to, const std::string& from)
        : handle_(iconv_open(to.c_str(), from.c_str())) {}
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter() { iconv_close(handle_); }

    iconv_t Begin() const {
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        return handle_;
    }

private:
    const iconv_t handle_;
};

iconv_t BeginConversion(const std::string& to, const std::string& from) {
    thread_local std::map<std::pair<std::string, std::string>, Converter> converters;
    return converters.try_emplace({to, from}, to, from).first->second.Begin();
}

/// Converts as far as it goes; what can't be converted becomes one question mark for each unit.
std::string Convert(const std::string& text, const std::string& to, const std::string& from, std::size_t unit,
                    const std::string& replacement) {
    const iconv_t converter = BeginConversion(to, from);
    std::string result;
    std::string input = text;
    char* in = input.data();
    std::size_t in_left = input.size();
    while (in_left > 0) {
        char buffer[256];
        char* out = buffer;
        std::size_t out_left = sizeof buffer;
        const std::size_t done = iconv(converter, &in, &in_left, &out, &out_left);
        result.append(buffer, sizeof buffer - out_left);
        if (done == static_cast<std::size_t>(-1) && out_left > 32 && in_left > 0) {
            const std::size_t skipped = in_left < unit ? in_left : unit;
            in += skipped;
            in_left -= skipped;
            result += replacement;
        }
    }
    return result;
}

}  // namespace

std::wstring CStringConvert::String2WString(const std::string& text, unsigned int code_page) {
    const vdipc::test::InsideDouble inside;
    ++vdipc::test::conversions;
    const wchar_t mark = L'?';
    const std::string bytes = Convert(text, "WCHAR_T", CodePageName(code_page), 1,
                                      std::string(reinterpret_cast<const char*>(&mark), sizeof mark));
    std::wstring wide(bytes.size() / sizeof(wchar_t), L'\0');
    bytes.copy(reinterpret_cast<char*>(wide.data()), wide.size() * sizeof(wchar_t));
    return wide;
}

std::string CStringConvert::WString2String(const std::wstring& text, unsigned int code_page) {
    const vdipc::test::InsideDouble inside;
    ++vdipc::test::conversions;
    const std::string bytes(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    return Convert(bytes, CodePageName(code_page), "WCHAR_T", sizeof(wchar_t), "?");
}

#endif
