// Closed library Grundkit.dll: text conversion between code pages.
#pragma once

#include <string>

#if defined(GRUNDKIT_EXPORTS)
#define GRUNDKIT_API __declspec(dllexport)
#else
#define GRUNDKIT_API
#endif

/// Conversions by way of a code page number: 0 is the active code page, 65001 is UTF-8. They always give some text.
class GRUNDKIT_API CStringConvert {
public:
    static std::wstring String2WString(const std::string& text, unsigned int code_page);
    static std::string WString2String(const std::wstring& text, unsigned int code_page);
};
