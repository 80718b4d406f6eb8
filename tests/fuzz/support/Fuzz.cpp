#include "fuzz/support/Fuzz.h"

#include "common/Log.h"
#include "doubles/ClosedDoubles.h"
#include "native/NativeSeam.h"
#include "support/IpcHandlerAccess.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace vdipc::fuzz {
namespace {

class Directory {
public:
    Directory() : path_(std::filesystem::temp_directory_path() / ("vdipc-fuzz-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(path_);
    }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    ~Directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string Path() const { return path_.string(); }

private:
    std::filesystem::path path_;
};

const Directory& TheDirectory() {
    static const Directory directory;
    return directory;
}

IpcHandler* MakeHandler() {
    test::ResetClosedDoubles();
    test::SetNativeHostPath(TheDirectory().Path() + "/\\host");
    IpcHandler* const handler = IpcHandlerAccess::Make().release();
    ExchangeLogHandler(nullptr);
    return handler;
}

bool ParsesWith(const Json::CharReaderBuilder& builder, const std::string& text, Json::Value* root) {
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    try {
        return reader->parse(text.data(), text.data() + text.size(), root, nullptr);
    } catch (const Json::RuntimeError&) {
        return false;  // nested too deep
    }
}

}  // namespace

void Broken(const char* rule, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: doesn't hold: %s\n", file, line, rule);
    std::abort();
}

std::string Text(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

std::vector<std::string> Pieces(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> pieces(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            pieces.emplace_back();
        } else {
            pieces.back().push_back(static_cast<char>(data[i]));
        }
    }
    return pieces;
}

bool Parses(const std::string& text, Json::Value* root) {
    return ParsesWith(Json::CharReaderBuilder(), text, root);
}

bool ParsesStrictly(const std::string& text, Json::Value* root) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    return ParsesWith(builder, text, root);
}

void ChooseCodePage(std::size_t size) {
    test::SetActiveCodePage(size % 2 == 0 ? "CP1252" : "CP936");
}

IpcHandler& Handler() {
    static IpcHandler& handler = *MakeHandler();
    return handler;
}

InHandlersDirectory::InHandlersDirectory() : former_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    FUZZ_REQUIRE(former_ >= 0 && chdir(TheDirectory().Path().c_str()) == 0);
}

InHandlersDirectory::~InHandlersDirectory() {
    FUZZ_REQUIRE(fchdir(former_) == 0);
    close(former_);
}

void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace vdipc::fuzz
