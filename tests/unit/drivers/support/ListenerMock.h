#pragma once

#include "drivers/DeviceChangedListener.h"

#include <cstdint>
#include <string>

#include <gmock/gmock.h>

namespace vdipc::test {

class MockDeviceChangedListener : public DeviceChangedListener {
public:
    MOCK_METHOD(void, OnDeviceNodesChanged, (), (override));
    MOCK_METHOD(void, OnDeviceArrival, (std::int32_t device_kind, std::wstring name), (override));
    MOCK_METHOD(void, OnDeviceRemoved, (std::int32_t device_kind, std::wstring name), (override));
};

}  // namespace vdipc::test
