// What the classroom needs of the system it runs on.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace vdipc::classroom {

/// A USB notice as Windows hands it to a window.
struct UsbNotice {
    enum class Type { None, Interface, Port, Volume };
    std::uint32_t what = 0;  // wParam of the message
    Type type = Type::None;  // None: a null pointer
    std::string name;        // UTF-8
};

inline constexpr std::uint32_t kNoticeNodes = 7;
inline constexpr std::uint32_t kNoticeArrival = 0x8000;
inline constexpr std::uint32_t kNoticeRemoved = 0x8004;

namespace platform {

/// Text in the active code page as UTF-8; what isn't text becomes replacement characters.
std::string Utf8FromActive(const std::string& text);
std::string Utf8FromWide(const wchar_t* text);

std::filesystem::path HostDirectory();
/// The system's number of the calling thread, the one that logs show.
std::uint32_t ThreadNumber();
/// Empty where the variable isn't set.
std::string Environment(const char* name);
/// Keeps this library in the process even when everybody lets go of it: its threads never end.
void StayLoaded();
/// Straight to standard error, without a lock that a thread could hold while the process ends.
void WriteError(const std::string& text);
/// Hands the notice to every window of this process that listens for devices, waiting for one for so long at most.
/// Returns how many answered.
int SendUsbNotice(const UsbNotice& notice, std::uint32_t wait_ms);

}  // namespace platform
}  // namespace vdipc::classroom
