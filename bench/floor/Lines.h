// The library's own log lines of one operation each, as a run of the library left them: so the floor logs as many, as long.
#pragma once

#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace vdipc::bench::floor {

class Lines {
public:
    /// "@NAME" begins an operation, "| " each line, "+ " what goes on in a further line of the same call.
    explicit Lines(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        if (!file) {
            throw std::runtime_error("there is no " + path);
        }
        std::vector<std::string>* lines = nullptr;
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with("@")) {
                lines = &operations_[line.substr(1)];
            } else if (lines != nullptr && line.starts_with("| ")) {
                lines->push_back(line.substr(2));
            } else if (lines != nullptr && !lines->empty() && line.starts_with("+ ")) {
                lines->back() += "\n" + line.substr(2);
            }
        }
    }

    const std::vector<std::string>& Of(const std::string& operation) const {
        const auto found = operations_.find(operation);
        if (found == operations_.end() || found->second.empty()) {
            throw std::runtime_error("no lines of '" + operation + "'");
        }
        return found->second;
    }

private:
    std::map<std::string, std::vector<std::string>> operations_;
};

}  // namespace vdipc::bench::floor
