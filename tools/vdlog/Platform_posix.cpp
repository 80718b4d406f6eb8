#include "tools/vdlog/Platform.h"

#include <iconv.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace vdipc::log {
namespace {

class IconvConverter final : public Converter {
public:
    explicit IconvConverter(iconv_t handle) : handle_(handle) {}
    ~IconvConverter() override { iconv_close(handle_); }

    bool ToUtf8(std::string_view bytes, std::string& text) override {
        text.clear();
        bool good = true;
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        std::string source(bytes);  // iconv takes it as changeable
        char* in = source.data();
        std::size_t in_left = source.size();
        while (in_left > 0) {
            std::array<char, 1024> buffer{};
            char* out = buffer.data();
            std::size_t out_left = buffer.size();
            const std::size_t result = iconv(handle_, &in, &in_left, &out, &out_left);
            text.append(buffer.data(), buffer.size() - out_left);
            if (result == static_cast<std::size_t>(-1) && errno != E2BIG) {
                good = false;
                text += "\xEF\xBF\xBD";
                ++in;
                --in_left;
            }
        }
        return good;
    }

private:
    iconv_t handle_;
};

}  // namespace

std::vector<std::string> Arguments(int count, char** values) {
    return {values + 1, values + count};
}

std::filesystem::path PathOf(const std::string& text) {
    return text;
}

void PrepareStreams() {}

bool IsOutputTerminal() {
    return isatty(STDOUT_FILENO) != 0;
}

bool IsErrorTerminal() {
    return isatty(STDERR_FILENO) != 0;
}

bool IsClosedPipe(int reason) {
    return reason == EPIPE;
}

std::unique_ptr<Converter> MakeConverter(const std::string& name) {
    const bool number =
        !name.empty() && std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
    const std::string known = name == "65001" ? "UTF-8" : number ? "CP" + name : name;
    const iconv_t handle = iconv_open("UTF-8", known.c_str());
    if (handle == reinterpret_cast<iconv_t>(-1)) {  // NOLINT(performance-no-int-to-ptr): the system's own way
        return nullptr;
    }
    return std::make_unique<IconvConverter>(handle);
}

}  // namespace vdipc::log
