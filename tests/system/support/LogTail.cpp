#include "tests/system/support/LogTail.h"

#include "tests/system/support/RawPipe.h"

#include "tools/common/Stage.h"

#include <filesystem>
#include <fstream>
#include <utility>

namespace vdipc::test {
std::size_t CountIn(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

LogTail::LogTail(std::wstring directory) : directory_(std::move(directory)) {}

void LogTail::Refresh() {
    if (path_.empty()) {
        path_ = tools::FindLogFile(directory_);
        if (path_.empty()) {
            return;
        }
    }
    std::ifstream file(std::filesystem::path(path_), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(offset_));
    char buffer[65536];
    while (file.read(buffer, sizeof buffer), file.gcount() > 0) {
        const auto got = static_cast<std::size_t>(file.gcount());
        offset_ += got;
        unfinished_.append(buffer, got);
    }
    const std::size_t end = unfinished_.rfind('\n');
    if (end == std::string::npos) {
        return;
    }
    text_.append(unfinished_, 0, end + 1);
    unfinished_.erase(0, end + 1);
}

std::size_t LogTail::Count(const std::string& text) const {
    return CountIn(text_, text);
}

void LogTail::Mark() {
    Refresh();
    text_.clear();
}

bool LogTail::WaitFor(const std::string& text, std::size_t count, std::chrono::milliseconds timeout) {
    return WaitBriefly(
        [&] {
            Refresh();
            return Count(text) >= count;
        },
        timeout);
}

}  // namespace vdipc::test
