#include "common/TextEncoding.h"

#include "common/closed/Grundkit.h"

namespace vdipc {

std::string ToActiveCodePage(const std::string& text) {
    const std::wstring wide = CStringConvert::String2WString(text, kUtf8CodePage);
    return CStringConvert::WString2String(wide, kActiveCodePage);
}

std::string ToUtf8(const std::string& text) {
    const std::wstring wide = CStringConvert::String2WString(text, kActiveCodePage);
    return CStringConvert::WString2String(wide, kUtf8CodePage);
}

std::wstring ToWide(const std::string& text) {
    return CStringConvert::String2WString(text, kActiveCodePage);
}

std::string ToNarrow(const std::wstring& text) {
    return CStringConvert::WString2String(text, kActiveCodePage);
}

}  // namespace vdipc
