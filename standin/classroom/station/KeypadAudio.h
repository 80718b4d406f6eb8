// A recording of the base station, as the library lends it to its listener for one callback.
#pragma once

#include "classroom/world/World.h"

#include "drivers/closed/SocketVoteDeck.h"

#include <atomic>
#include <cstdint>

namespace vdipc::classroom {

class KeypadAudio final : public IKeypadAudio {
public:
    KeypadAudio(World& world, const Place& place, const Bytes& bytes, bool valid);
    virtual ~KeypadAudio() = default;

    void Reserved0() override;
    void Reserved1() override;
    bool IsValid() override;
    void Reserved3() override;
    const std::uint8_t* GetData() override;
    std::int32_t GetSize() override;
    void Release() override;

    /// The callback has returned.
    void End();
    const Bytes& TheBytes() const { return bytes_; }

private:
    void Check(const char* call);

    World& world_;
    const Place place_;
    Bytes bytes_;
    const bool valid_;
    std::atomic<bool> released_{false};
    std::atomic<bool> over_{false};
};

}  // namespace vdipc::classroom
