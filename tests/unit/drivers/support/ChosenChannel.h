// The place where the chosen channel of a TQ2 is kept, empty at first and the test's own while this lives. On Windows it
// is the real registry: the user's part of it is another, new key for this process meanwhile.
#pragma once

#include <cstdint>
#include <optional>

namespace vdipc::test {

class ChosenChannel {
public:
    ChosenChannel();
    ~ChosenChannel();
    ChosenChannel(const ChosenChannel&) = delete;
    ChosenChannel& operator=(const ChosenChannel&) = delete;

    void Set(std::int32_t channel);
    std::optional<std::int32_t> Get() const;
};

}  // namespace vdipc::test
