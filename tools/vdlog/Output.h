// The file that a command makes.
#pragma once

#include "tools/vdlog/Options.h"

#include <filesystem>
#include <fstream>
#include <iosfwd>

namespace CLI {
class App;
}

namespace vdipc::log {

/// "-o FILE", which has to be there; `what` says what stands in the file.
void AddOutputOption(CLI::App& app, Options& options, const char* what);

/// Takes the place of a file of that name once it is whole, and not before. "-" is standard output.
class OutputFile {
public:
    /// Raises std::runtime_error where it can't be written, or where it would take the place of a log that is read.
    OutputFile(const Options& options, std::ostream& standard);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    std::ostream& Stream() { return stream_; }
    bool IsStandard() const { return is_standard_; }
    /// All is written. Raises std::runtime_error where it isn't.
    void Finish();

private:
    std::string name_;
    bool is_standard_;
    std::filesystem::path path_;
    std::filesystem::path part_;  // what is written to
    std::ofstream file_;
    std::ostream& stream_;
};

}  // namespace vdipc::log
