// The receiver channel in the user's part of the registry, for the time of a lesson or a test.
#pragma once

#include <optional>
#include <string>

namespace vdipc::tools {

/// Sets the value on construction ("none": removes it), and puts the former one back on destruction.
class ChannelInRegistry {
public:
    explicit ChannelInRegistry(const std::string& channel);
    ChannelInRegistry(const ChannelInRegistry&) = delete;
    ChannelInRegistry& operator=(const ChannelInRegistry&) = delete;
    ~ChannelInRegistry();

private:
    std::optional<unsigned long> former_;
};

}  // namespace vdipc::tools
