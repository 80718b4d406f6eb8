// Runs this test program once more as another process, to do one job that has to have a process of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace vdipc::test {

/// Registers a job under a name; its result is the exit code. Before main().
struct ChildJob {
    ChildJob(const std::string& name, std::function<int()> job);
};

/// Runs this program, or a copy of it elsewhere, with a job; returns its exit code, 9999 when it doesn't end within a
/// minute (it is killed then) and 9998 when it doesn't start. Of names with ";" between them, the first is for the
/// program, and the rest for copies of it that it starts in turn.
std::uint32_t RunChildJob(const std::string& names, const std::string& program = {});

/// Full path of this program.
std::string ThisProgram();

/// A new directory below the temporary one, whose name ends as told; removed at the end.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const std::string& name);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "\\" + name; }

private:
    std::string path_;
};

std::string ReadFileText(const std::string& path);
void WriteFileText(const std::string& path, const std::string& text);

}  // namespace vdipc::test
