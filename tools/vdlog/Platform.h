// What differs between the systems that this program runs on.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vdipc::log {

/// The arguments in UTF-8, without the program's name.
std::vector<std::string> Arguments(int count, char** values);

/// A path from its text in UTF-8.
std::filesystem::path PathOf(const std::string& text);

/// Text goes out in UTF-8 and unchanged, and standard input comes in unchanged.
void PrepareStreams();

bool IsOutputTerminal();
bool IsErrorTerminal();

/// Whether a write to standard output that failed with this errno did so because nobody reads on.
bool IsClosedPipe(int reason);

/// Turns text of one encoding into UTF-8.
class Converter {
public:
    Converter() = default;
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    virtual ~Converter() = default;
    /// False, and any text, where bytes aren't of this encoding; what can't be converted then shows as U+FFFD.
    virtual bool ToUtf8(std::string_view bytes, std::string& text) = 0;
};

/// An encoding by its name or the number of its code page: "936", "cp936", "gbk", "windows-1252", "utf-8". Null for one
/// that the system doesn't know.
std::unique_ptr<Converter> MakeConverter(const std::string& name);

}  // namespace vdipc::log
