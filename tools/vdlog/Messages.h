// The texts of the pipe: what a command says and why it couldn't be decoded, and members of the library's own JSON.
#pragma once

#include "tools/vdlog/Facts.h"

#include <string>
#include <string_view>

namespace vdipc::log {

/// Of longer texts the log has only the beginning: it cuts its lines at 16384 bytes, prefix and all.
inline constexpr std::size_t kWholeText = 16000;

/// Fills a command's fields from its text. `complaint` says what is wrong with one that can't be decoded.
void ReadCommand(Command& command);

/// A text member at the top of an event as the library writes it, in UTF-8; empty where it isn't there. Looks at the
/// library's own styled form alone, in which a text can't imitate a member.
std::string MemberOf(std::string_view styled, std::string_view name);

/// A whole number behind a member's name, at any depth of that form.
std::int64_t NumberMemberOf(std::string_view styled, std::string_view name, std::int64_t fallback = 0);

/// Whether this is a number that the library takes for a device id; others end the host's process.
bool IsDeviceNumber(std::string_view device);

}  // namespace vdipc::log
