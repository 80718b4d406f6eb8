// What the fuzzers share. A rule that doesn't hold, an exception that nobody may raise, and whatever a sanitizer sees end
// the process, and libFuzzer keeps the input.
#pragma once

#include "ipc/IpcHandler.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <json/json.h>

/// Ends the process with the words of the rule when it doesn't hold.
#define FUZZ_REQUIRE(rule)                                                                                   \
    (static_cast<bool>(rule) ? static_cast<void>(0) : ::vdipc::fuzz::Broken(#rule, __FILE__, __LINE__))

namespace vdipc::fuzz {

[[noreturn]] void Broken(const char* rule, const char* file, int line);

std::string Text(const std::uint8_t* data, std::size_t size);

/// The pieces of an input between bytes of 0, which no text of the closed libraries can hold.
std::vector<std::string> Pieces(const std::uint8_t* data, std::size_t size);

/// Parses as the library's own parser is set up, and takes an exception of it for "no JSON".
bool Parses(const std::string& text, Json::Value* root);

/// Parses as somebody would who takes nothing but JSON.
bool ParsesStrictly(const std::string& text, Json::Value* root);

/// One of two active code pages for the input, by its size.
void ChooseCodePage(std::size_t size);

/// One handler for all inputs, with nothing in it; its log lines are formatted and dropped. Its executable lies in a new
/// directory of this process, which is removed at exit.
IpcHandler& Handler();

/// Makes that directory the working directory for as long as it lives. libFuzzer wants the former one in between.
class InHandlersDirectory {
public:
    InHandlersDirectory();
    InHandlersDirectory(const InHandlersDirectory&) = delete;
    InHandlersDirectory& operator=(const InHandlersDirectory&) = delete;
    ~InHandlersDirectory();

private:
    int former_;
};

void WriteFile(const std::string& path, const std::string& text);
std::string ReadFile(const std::string& path);

}  // namespace vdipc::fuzz
