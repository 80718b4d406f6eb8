#include "tools/vdlog/Output.h"

#include "tools/vdlog/Platform.h"

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string>
#include <system_error>

namespace vdipc::log {

void AddOutputOption(CLI::App& app, Options& options, const char* what) {
    app.add_option("-o,--output", options.output, what)->required();
}

OutputFile::OutputFile(const Options& options, std::ostream& standard)
    : name_(options.output), is_standard_(name_ == "-"), stream_(is_standard_ ? standard : file_) {
    if (is_standard_) {
        return;
    }
    std::error_code error;
    path_ = PathOf(name_);
    if (name_.empty() || std::filesystem::is_directory(path_, error)) {
        throw std::runtime_error("can't write \"" + name_ + "\": that is no name of a file");
    }
    part_ = path_;
    // A device is written as it is.
    if (!std::filesystem::exists(path_, error) || std::filesystem::is_regular_file(path_, error)) {
        part_ += ".part";
    }
    for (const std::string& log : options.files) {
        const auto is = [&log](const std::filesystem::path& path) {
            std::error_code absent;
            return std::filesystem::equivalent(PathOf(log), path, absent) && !absent;
        };
        if (log != "-" && (is(path_) || is(part_))) {
            throw std::runtime_error("can't write " + name_ + ": " +
                                     (is(path_) ? "it" : "what it is first written to") +
                                     " is the log that is read");
        }
    }
    file_.open(part_, std::ios::binary);
    if (!file_.is_open()) {
        throw std::runtime_error("can't write " + name_ + "; is its folder there, and may you write to it?");
    }
}

OutputFile::~OutputFile() {
    if (file_.is_open()) {
        file_.close();
        if (part_ != path_) {
            std::error_code ignored;
            std::filesystem::remove(part_, ignored);
        }
    }
}

void OutputFile::Finish() {
    stream_.flush();
    if (!stream_) {
        throw std::runtime_error("can't write all of " + name_ + "; the disk may be full");
    }
    if (is_standard_) {
        return;
    }
    file_.close();
    std::error_code error;
    if (part_ != path_) {
        std::filesystem::rename(part_, path_, error);
    }
    if (error) {
        throw std::runtime_error("can't write " + name_ + " (" + error.message() +
                                 "); what was to stand there is in " + name_ + ".part");
    }
}

}  // namespace vdipc::log
