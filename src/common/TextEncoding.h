// Text conversion between the wire (UTF-8) and everything behind it (active code page), by way of wide text.
#pragma once

#include <string>

namespace vdipc {

inline constexpr unsigned int kActiveCodePage = 0;
inline constexpr unsigned int kUtf8CodePage = 65001;

/// UTF-8 to the active code page. What the code page can't hold becomes what the conversion gives; never fails.
std::string ToActiveCodePage(const std::string& text);

/// Active code page to UTF-8.
std::string ToUtf8(const std::string& text);

/// Active code page to wide text, and back.
std::wstring ToWide(const std::string& text);
std::string ToNarrow(const std::wstring& text);

}  // namespace vdipc
